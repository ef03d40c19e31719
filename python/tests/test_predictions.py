"""Predictions by NumPy are the program's own."""

from __future__ import annotations

import numpy as np
import pytest
from conftest import fit_and_program_values

from torve import TorveRegressor

RNG = np.random.default_rng(20261121)
X3 = RNG.uniform(0.6, 2.4, size=(30, 3))
NEW3 = RNG.uniform(0.6, 2.4, size=(200, 3))

# Name, parameters, and an output that the family alone can give, so that it is chosen.
FAMILIES = {
    "lin": ({}, lambda X: 2 * X[:, 0] - X[:, 2] + 1),
    "log": ({"linfcns": False, "logfcns": True}, lambda X: np.log(X[:, 1]) - 3),
    "exp": ({"linfcns": False, "expfcns": True}, lambda X: np.exp(X[:, 0]) + np.exp(X[:, 2])),
    "sin": ({"linfcns": False, "sinfcns": True}, lambda X: 2 * np.sin(X[:, 0])),
    "cos": ({"linfcns": False, "cosfcns": True}, lambda X: 2 * np.cos(X[:, 1]) + 5),
    "mono": ({"monomialpower": [-1.5, 2, 3.7]}, lambda X: X[:, 0] ** 3.7 - 2 / X[:, 1] ** 1.5),
    "multi2": ({"multi2power": [0.5, 2]}, lambda X: (X[:, 0] * X[:, 2]) ** 0.5 + 1),
    "multi3": ({"multi3power": [-1, 1.5]}, lambda X: X.prod(axis=1) ** 1.5),
    "ratio": ({"ratiopower": [-2, 0.3]}, lambda X: (X[:, 2] / X[:, 0]) ** 0.3),
    "grbf": ({"linfcns": False, "grbfcns": True, "rbfparam": 0.7}, lambda X: gaussian(X, 4)),
    "prbf": ({"linfcns": False, "prbfpower": [2]}, lambda X: thin_plate(X, 0)),
    "cust": ({"custom_bases": ["x1*x2/x3 - pi^2", "-log10(x1)^2"]}, lambda X: 7 - np.log(X[:, 0])),
}


def assert_same(ours, program):
    np.testing.assert_allclose(ours, program, rtol=1e-12, atol=0.0)


@pytest.mark.parametrize("scaling", [{}, {"xfactors": [2.0, 0.3, 7.0]}], ids=["plain", "scaled"])
@pytest.mark.parametrize("family", FAMILIES)
def test_family(family, scaling):
    parameters, function = FAMILIES[family]
    y = function(X3) + 0.001 * RNG.standard_normal(len(X3))
    parameters = {**parameters, **scaling, "maxterms": 3}
    model, program = fit_and_program_values(parameters, X3, y, NEW3)
    assert family in {term.family for m in model._models for term in m.terms}
    assert_same(model.predict(NEW3), program[:, 0])


def gaussian(X, point):
    return np.exp(-0.7 * np.linalg.norm(X - X[point], axis=1))


def thin_plate(X, point):
    r = np.linalg.norm(X - X[point], axis=1)
    return np.where(r >= 1.0, r**2 * np.log(np.maximum(r, 1.0)), (r**2 - 1.0) * np.log(r**r))


def test_excluded_input_has_no_part_in_distances():
    parameters = {"linfcns": False, "grbfcns": True, "exclude": [0, 1, 0], "maxterms": 2}
    y = gaussian(X3[:, [0, 2]], 3)
    model, program = fit_and_program_values(parameters, X3, y, NEW3)
    assert model.terms_
    assert_same(model.predict(NEW3), program[:, 0])


# Formulas that aren't defined at some of the points, where a value takes the place that the rest of
# the formula could make look like one.
UNDEFINED = {
    "division": ("1/(1/(X1-1))", [1, 2, 3]),
    "power": ("1/(X1-1)^(-2)", [1, 2, 3]),
    "root of a power": ("(X1-1)^0.5 + 1", [0, 1, 2]),
    "logarithm": ("0*log(X1-1)+1", [0, 1, 2]),
}


@pytest.mark.parametrize("case", UNDEFINED)
def test_where_a_formula_is_not_defined(case):
    formula, points = UNDEFINED[case]
    inputs = np.linspace(1.5, 3, 9)[:, None]
    parameters = {"linfcns": False, "custom_bases": [formula], "xmin": 0, "xmax": 4}
    model = TorveRegressor(**parameters).fit(inputs, inputs[:, 0])
    values = model._catalogue.custom[0]([np.array(points, dtype=float)])
    assert np.isnan(values[0])
    assert np.isfinite(values[-1])


def random_case(seed):
    rng = np.random.default_rng(seed)
    n, k = int(rng.integers(1, 5)), int(rng.integers(1, 4))
    X = rng.uniform(0.5, 3.0, size=(int(rng.integers(12, 40)), n))
    y = rng.normal(size=(n, k)).T @ np.log(X).T
    y = (y + rng.normal(scale=0.1, size=y.shape)).T * 10.0 ** rng.integers(-3, 4)
    powers = rng.choice([-2, -1, -0.5, 0.5, 2, 3], size=2, replace=False)
    parameters = {
        "monomialpower": powers,
        "modeler": int(rng.choice([1, 3, 4, 5])),
        "maxterms": int(rng.integers(1, 4)),
        **{name: bool(rng.integers(2)) for name in ("logfcns", "expfcns", "sinfcns", "xscaling")},
    }
    if n > 1:
        parameters["ratiopower"] = [2.0]
        parameters["multi2power"] = [0.5]
    if rng.integers(2):
        parameters["grbfcns"] = True
    if rng.integers(2):
        parameters["zisint"] = [bool(rng.integers(2)) for _ in range(k)]
    return parameters, X, y, rng.uniform(0.5, 3.0, size=(50, n))


@pytest.mark.parametrize("seed", range(60))
def test_random_problem(seed):
    parameters, X, y, new = random_case(seed)
    model, program = fit_and_program_values(parameters, X, y, new)
    ours = model.predict(new)
    assert ours.shape == program.shape
    # Terms of opposite sign cancel: a last bit of a term may be many of the sum.
    terms = sum(np.abs(t.coefficient * model._catalogue.values(t, new)) for t in all_terms(model))
    whole = [m.is_whole for m in model._models]
    for k, is_whole in enumerate(whole):
        slack = 1e-12 * np.maximum(terms, np.abs(program[:, k]))
        error = np.abs(ours[:, k] - program[:, k])
        assert np.all(error <= (0.0 if is_whole else slack))


def all_terms(model):
    return [term for m in model._models for term in m.terms]


def test_prediction_points_of_a_listing():
    X, y = X3, 1 / X3[:, 0] + X3[:, 1]
    y = y + 0.01 * RNG.standard_normal(len(y))
    model = TorveRegressor(monomialpower=[-1, 2], listing=True).fit(X, y, X_predict=NEW3[:7])
    lines = model.listing_.splitlines()
    first = lines.index(" (for each data point: xpredata, zpredata):") + 1
    table = np.array([[float(v) for v in line.split()] for line in lines[first : first + 7]])
    np.testing.assert_allclose(table[:, :3], NEW3[:7], rtol=1e-15)
    assert_same(model.predict(NEW3[:7]), table[:, 3])


def test_transformed_output():
    X = np.linspace(1, 9, 25)[:, None]
    y = 3 * X[:, 0] ** 1.5
    parameters = {"transforms": {"lny": "log(Z1)"}, "ignore": ["Z1"], "logfcns": True}
    model, program = fit_and_program_values(parameters, X, y, X + 0.1)
    assert model.outputs_ == ["lny"]
    assert model.terms_ == ["ln(X1)"]
    np.testing.assert_allclose(model.coef_, [1.5], rtol=1e-12)
    assert_same(model.predict(X + 0.1), program[:, 0])
    np.testing.assert_allclose(model.transform_outputs(X, y), np.log(y))
    assert model.score(X, y) == pytest.approx(1.0)


def test_transforms_stand_on_each_other():
    X = np.linspace(1, 4, 12)[:, None]
    y = np.exp(X[:, 0])
    model = TorveRegressor(transforms={"a": "log(Z1)", "b": "a*2 + X1"}).fit(X, y)
    assert model.outputs_ == ["Z1", "a", "b"]
    np.testing.assert_allclose(model.transform_outputs(X, y)[:, 2], 3 * X[:, 0])
    np.testing.assert_allclose(model.predict(X)[:, 1:], np.hstack([X, 3 * X]))


def test_whole_numbers_are_rounded_away_from_zero():
    X = np.arange(-4.0, 5.0)[:, None]
    model = TorveRegressor(zisint=True, constant=0).fit(X, 0.5 * X[:, 0])
    assert model.model_.startswith("Z1 =  nint(")
    np.testing.assert_array_equal(model.predict(X), [-2, -2, -1, -1, 0, 1, 1, 2, 2])


def test_what_cannot_be_evaluated_is_nan():
    X = np.linspace(0.5, 3, 15)[:, None]
    model = TorveRegressor(linfcns=False, logfcns=True).fit(X, np.log(X[:, 0]) + 1)
    assert model.terms_ == ["ln(X1)"]
    np.testing.assert_array_equal(np.isnan(model.predict([[-1.0], [0.0], [1.0]])), [1, 1, 0])


def test_zero_is_a_point_like_others():
    # The program's guards refuse a power of 0; the model's formula doesn't.
    X = np.array([-2.0, -1.5, -1.0, 1.0, 1.5, 2.0])[:, None]
    model = TorveRegressor(linfcns=False, monomialpower=[2]).fit(X, X[:, 0] ** 2 + 1)
    assert model.terms_ == ["X1^2"]
    np.testing.assert_allclose(model.predict([[0.0]]), [1.0], rtol=1e-12)


def test_columns_that_hold_preset_do_so_in_predictions():
    X = np.array([-2.0, -1.0, 0.0, 1.0, 2.0, 3.0])[:, None]
    y = 2 * np.where(X[:, 0] == 0.0, -111111.0, X[:, 0] ** 2)
    parameters = {"linfcns": False, "monomialpower": [2], "numlimitbasis": False}
    model, program = fit_and_program_values(parameters, X, y, X)
    assert model.terms_ == ["X1^2"]
    assert_same(model.predict(X), program[:, 0])
