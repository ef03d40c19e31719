"""What the estimator finds, against answers from elsewhere."""

from __future__ import annotations

import itertools

import numpy as np
import pytest
from conftest import certified, longley
from sklearn.exceptions import ConvergenceWarning

from torve import TorveError, TorveRegressor

RNG = np.random.default_rng(11)
X = RNG.uniform(1, 3, size=(40, 2))
Y = X[:, 0] ** 2 - X[:, 1] + 0.01 * RNG.standard_normal(40)


def all_terms(**more):
    """SSEp without a penalty takes the fit of all columns, here by the refined solver."""
    return TorveRegressor(modeler="SSEp", olrdgels=False, **more)


def assert_certified(model, data, digits):
    wanted = [float(value) for value in data["certified"]["beta"]]
    found = [*([model.intercept_] if data["intercept"] else []), *model.coef_]
    np.testing.assert_allclose(found, wanted, rtol=10.0**-digits)


def test_longley_is_certified():
    data = certified("longley")
    assert_certified(all_terms().fit(data["x"], data["y"]), data, 12)


@pytest.mark.parametrize("name", ["norris", "noint1", "noint2"])
def test_certified_line(name):
    data = certified(name)
    model = all_terms(constant=int(data["intercept"])).fit(data["x"], data["y"])
    assert_certified(model, data, 12)


def test_longley_by_name():
    inputs, y, names = longley()
    model = TorveRegressor(xlabels=names, zlabels=["employed"]).fit(inputs, y)
    chosen = [names.index(term) for term in model.terms_]
    columns = np.column_stack([inputs[:, chosen], np.ones(len(y))])
    expected = np.linalg.lstsq(columns / columns.max(axis=0), y, rcond=None)[0]
    np.testing.assert_allclose(
        [*model.coef_, model.intercept_], expected / columns.max(axis=0), rtol=1e-8
    )


def bic(columns, y):
    n, p = columns.shape
    if p == 0:
        return n * np.log(y @ y / n)
    residual = y - columns @ np.linalg.lstsq(columns, y, rcond=None)[0]
    return n * np.log(residual @ residual / n) + p * np.log(n)


def best_subset(columns, y):
    """The subset of the least BIC among all."""
    indices = range(columns.shape[1])
    subsets = (s for k in range(1, len(indices) + 1) for s in itertools.combinations(indices, k))
    return min(subsets, key=lambda subset: bic(columns[:, list(subset)], y))


@pytest.mark.parametrize("seed", range(8))
def test_the_best_subset_by_brute_force(seed):
    rng = np.random.default_rng(seed)
    inputs = rng.normal(size=(25, 6))
    y = inputs @ rng.choice([0, 0, 1.0, -2.0], size=6) + 0.5 * rng.normal(size=25) + 1
    model = TorveRegressor(enumall=-1).fit(inputs, y)
    columns = np.column_stack([inputs, np.ones(25)])
    best = best_subset(columns, y)
    names = [f"X{j + 1}" for j in best if j < 6]
    assert model.terms_ == names
    assert (model.intercept_ != 0) == (6 in best)
    assert model.metrics_["value"] == pytest.approx(bic(columns[:, list(best)], y), rel=1e-9)


def test_metrics():
    model = TorveRegressor(monomialpower=[2]).fit(X, Y)
    metrics = model.metrics_
    error = Y - model.predict(X)
    assert metrics["sse"] == pytest.approx(error @ error, rel=1e-9)
    assert metrics["rmse"] == pytest.approx(np.sqrt(np.mean(error**2)), rel=1e-9)
    assert metrics["r2"] == pytest.approx(model.score(X, Y), rel=1e-12)
    assert metrics["max_error"] == pytest.approx(np.max(np.abs(error)), rel=1e-9)
    assert metrics["max_error_percent"] == pytest.approx(100 * np.max(np.abs(error / Y)), rel=1e-9)
    assert metrics["n_terms"] == len(model.terms_) + (model.intercept_ != 0)
    assert metrics["criterion"] == "BIC"
    assert metrics["value"] == metrics["criteria"]["BIC"]
    assert (metrics["code"], metrics["message"]) == (0, "Normal termination")
    assert metrics["columns"] == 5
    assert metrics["bank"] is None
    assert metrics["tests"] == []
    assert metrics["time"] > 0


def test_test_sets():
    new = RNG.uniform(1, 3, size=(9, 2))
    values = new[:, 0] ** 2 - new[:, 1]
    model = TorveRegressor(monomialpower=[2]).fit(
        X, Y, X_test=new, y_test=values, test_sets=[(X[:5], Y[:5])]
    )
    first, second = model.metrics_["tests"]
    assert first["r2"] == pytest.approx(model.score(new, values))
    assert second["r2"] == pytest.approx(model.score(X[:5], Y[:5]))
    assert (first["points"], second["points"]) == (9, 5)


def test_missing_outputs():
    outputs = np.column_stack([Y, 3 * X[:, 1]])
    outputs[3, 0] = outputs[7, 1] = np.nan
    with pytest.raises(ValueError, match="NaN"):
        TorveRegressor().fit(X, outputs)
    model = TorveRegressor(monomialpower=[2], missing_outputs=True).fit(X, outputs)
    rest = np.delete(np.arange(40), 3)
    alone = TorveRegressor(monomialpower=[2]).fit(X[rest], Y[rest])
    np.testing.assert_allclose(model.coef_[0], alone.coef_, rtol=1e-9)
    assert np.isnan(model.values_[3, 0])
    assert not np.isnan(model.values_[4]).any()


def test_a_value_that_looks_like_a_missing_one():
    inputs = np.arange(6.0)[:, None]
    y = -111111.0 * inputs[:, 0]
    model = TorveRegressor(constant=0).fit(inputs, y)
    assert model.metrics_["sse"] == pytest.approx(0.0, abs=1e-12)
    np.testing.assert_array_equal(model.values_[:, 0], y)


def test_groups():
    groups = {"x1": [("lin", "X1"), ("mono", "X1", 2)], "x2": [("lin", 1), ("mono", 1, 2)]}
    free = TorveRegressor(monomialpower=[2]).fit(X, Y)
    assert {"X1^2", "X2"} <= set(free.terms_)
    without = TorveRegressor(
        monomialpower=[2], groups=groups, group_constraints=[("x2", None, "nmt", 0)]
    ).fit(X, Y)
    assert without.terms_
    assert all("X1" in term for term in without.terms_)
    apart = TorveRegressor(
        monomialpower=[2], groups=groups, group_constraints=[("x1", 0, "xcl", "x2")]
    ).fit(X, Y)
    assert len({term[:2] for term in apart.terms_}) == 1
    listed = TorveRegressor(
        monomialpower=[2],
        groups=list(groups.values()),
        group_constraints=[(1, "Z1", "nmt", 0)],
    ).fit(X, Y)
    assert listed.model_ == without.model_


def test_groups_of_groups_points_and_custom_functions():
    model = TorveRegressor(
        custom_bases=["X1^2", "X2^2"],
        grbfcns=True,
        groups=[["const", ("cust", 0, 1)], [("grbf", 3), ("grbf", -1)], [("grp", 1), ("lin", -1)]],
        group_constraints=[(2, None, "nmt", 0)],
    ).fit(X, Y)
    assert set(model.terms_) <= {"X1^2", "X2^2"}


BAD_GROUPS = {
    "kind": ([["nothing"]], ()),
    "input": ([[("lin", "X9")]], ()),
    "place": ([[("lin", 2)]], ()),
    "fraction": ([[("lin", 0.5)]], ()),
    "no power": ([[("mono", 0)]], ()),
    "no items": ([["lin"]], ()),
    "too many items": ([[("const", 1)]], ()),
    "no members": ([[]], ()),
    "rule": ([["const"]], [(0, None, "never", 1)]),
    "group": ([["const"]], [(1, None, "nmt", 1)]),
    "other group": ([["const"]], [(0, None, "req", 5)]),
    "output": ([["const"]], [(0, 1, "nmt", 1)]),
}


@pytest.mark.parametrize("case", BAD_GROUPS)
def test_bad_groups(case):
    groups, constraints = BAD_GROUPS[case]
    with pytest.raises(ValueError, match=r"group|const|lin|mono"):
        TorveRegressor(groups=groups, group_constraints=constraints).fit(X, Y)


def test_a_power_of_a_group_that_is_no_candidate():
    with pytest.raises(TorveError) as caught:
        TorveRegressor(groups=[[("mono", 0, 3)]], group_constraints=[(0, None, "nmt", 0)]).fit(X, Y)
    assert caught.value.code == 110


# Constraints without a solver, and the code that the program ends with.
CONSTRAINED = {
    "lower bound": {"zmin": 0},
    "upper bound of the second output": {"zmax": [None, 5]},
    "custom": {"custom_constraints": [(0, "Z1 - 5")]},
}


@pytest.mark.parametrize("case", CONSTRAINED)
def test_constraints_need_a_solver(case, monkeypatch):
    monkeypatch.setenv("PATH", "/nowhere")
    with pytest.raises(TorveError) as caught:
        TorveRegressor(**CONSTRAINED[case]).fit(X, np.column_stack([Y, 2 * Y]))
    assert caught.value.code in (73, 132)
    assert caught.value.message


def test_a_constraint_of_the_only_output(monkeypatch):
    monkeypatch.setenv("PATH", "/nowhere")
    with pytest.raises(TorveError):
        TorveRegressor(custom_constraints="Z1 - 5").fit(X, Y)


def test_a_solver_that_is_needed(monkeypatch):
    monkeypatch.setenv("PATH", "/nowhere")
    with pytest.raises(TorveError) as caught:
        TorveRegressor(builder=0, enum1=0, monomialpower=[2, 3, 4]).fit(X, Y)
    assert caught.value.code == 132


# --- further points -------------------------------------------------------------------------------


def bowl(points):
    return points[:, 0] ** 2 + 2 * points[:, 1] ** 2 + 1


def grid(n):
    axis = np.linspace(-1, 1, n)
    return np.array(list(itertools.product(axis, axis)))


SAMPLING = {"custom_bases": ["X1^2", "X2^2"], "maxiter": 5, "tolmaxerror": 0.01}


def test_a_bank():
    points = grid(7)
    bounds = {"xmin": -1, "xmax": 1}
    model = TorveRegressor(**SAMPLING, **bounds).fit(
        points[::9], bowl(points[::9]), X_bank=points[1::3], y_bank=bowl(points[1::3])
    )
    assert model.metrics_["bank"]["points"] == len(points[1::3])
    assert model.metrics_["bank"]["r2"] == pytest.approx(1.0)
    assert len(model.points_) > len(points[::9])
    np.testing.assert_allclose(model.values_[:, 0], bowl(model.points_))
    joined = np.vstack([points[::9], points[1::3]])
    same = TorveRegressor(**SAMPLING, **bounds, nbank=len(points[1::3])).fit(joined, bowl(joined))
    assert same.model_ == model.model_


def test_a_point_outside_the_bounds():
    points = grid(5)
    with pytest.raises(TorveError) as caught:
        TorveRegressor(**SAMPLING, xmin=-0.5, xmax=1, nbank=3).fit(points, bowl(points))
    assert caught.value.code == 41
    assert "outside" in caught.value.details


def test_a_function_as_simulator():
    seen = []

    def simulate(points):
        seen.append(len(points))
        return bowl(points)

    model = TorveRegressor(
        **SAMPLING, simulator=simulate, xmin=[-1, -1], xmax=[1, 1], initialpoints=9
    ).fit()
    assert model.n_features_in_ == 2
    assert sum(seen) == model.metrics_["simulated_points"] == len(model.points_)
    np.testing.assert_allclose(model.values_[:, 0], bowl(model.points_), rtol=1e-12)
    np.testing.assert_allclose(model.predict(grid(4)), bowl(grid(4)), rtol=1e-9)


def test_a_function_with_two_outputs_beside_data():
    model = TorveRegressor(
        **SAMPLING, simulator=lambda p: np.column_stack([bowl(p), p[:, 0]]), ntestsample=[5]
    ).fit(grid(3), np.column_stack([bowl(grid(3)), grid(3)[:, 0]]))
    assert len(model.model_) == 2
    assert model.metrics_[0]["tests"][0]["points"] == 5


def test_an_exception_of_the_simulator_comes_out():
    def simulate(points):
        raise LookupError("no bench today")

    with pytest.raises(LookupError, match="no bench"):
        TorveRegressor(**SAMPLING, simulator=simulate, xmin=[0, 0], xmax=[1, 1]).fit()


SCRIPT = """#!/bin/sh
awk 'NR == 1 { n = $1; next } NR <= n + 1 {
  x = substr($0, 1, 20) + 0; y = substr($0, 21, 20) + 0
  printf "%.17g %.17g %.17g\\n", x, y, x * x + 2 * y * y + 1 }' input.txt > output.txt
"""


@pytest.mark.parametrize("where", ["simulate", "with a blank"])
def test_a_program_as_simulator(where, tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    script = tmp_path / where
    script.write_text(SCRIPT)
    script.chmod(0o755)
    before = sorted(tmp_path.iterdir())
    model = TorveRegressor(
        **SAMPLING,
        simulator=f"./{where}",
        xmin=[-1, -1],
        xmax=[1, 1],
        initialpoints=9,
        listing=True,
    ).fit()
    np.testing.assert_allclose(model.predict(grid(4)), bowl(grid(4)), rtol=1e-9)
    assert sorted(tmp_path.iterdir()) == before


def test_a_simulator_that_is_not_there():
    with pytest.raises(TorveError) as caught:
        TorveRegressor(**SAMPLING, simulator="no-such-program", xmin=0, xmax=[1, 1]).fit()
    assert caught.value.code == 123


def test_without_data_and_simulator():
    with pytest.raises(ValueError, match="simulator"):
        TorveRegressor().fit()
    with pytest.raises(ValueError, match="xmin"):
        TorveRegressor(simulator=bowl).fit()


# --- texts and files ------------------------------------------------------------------------------


def test_listing(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    model = TorveRegressor(listing=tmp_path / "fit.lst", monomialpower=[2]).fit(X, Y)
    assert (tmp_path / "fit.lst").read_text() == model.listing_
    assert "Normal termination" in model.listing_
    assert TorveRegressor().fit(X, Y).listing_ is None
    assert [path.name for path in tmp_path.iterdir()] == ["fit.lst"]


def test_trace(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    TorveRegressor(trace=True, listing=True).fit(X, Y)
    TorveRegressor(tracefname="other.trc", listing=True).fit(X, Y)
    assert sorted(path.name for path in tmp_path.iterdir()) == ["other.trc", "trace.trc"]
    assert len((tmp_path / "trace.trc").read_text().splitlines()) == 2


def test_verbose(capfd):
    model = TorveRegressor().fit(X, Y)
    assert capfd.readouterr().out == ""
    model = TorveRegressor(verbose=True).fit(X, Y)
    assert capfd.readouterr().out == model.screen_


def test_scratch(tmp_path):
    kept = TorveRegressor(usescratch=True, removescratch=False, scratch=tmp_path / "work")
    kept.fit(X, Y)
    assert (tmp_path / "work" / "grps.txt").exists()
    with pytest.raises(ValueError, match="isn't empty"):
        kept.fit(X, Y)
    assert (tmp_path / "work" / "grps.txt").exists()


def test_a_used_up_time_leaves_models_and_a_warning():
    rng = np.random.default_rng(1)
    model = TorveRegressor(modeler="SSEp", convpen=1e-12, enum1=-1, maxtime=0.2)
    with pytest.warns(ConvergenceWarning, match="68"):
        model.fit(rng.uniform(size=(60, 26)), rng.uniform(size=60))
    assert model.metrics_["code"] == 68
    assert model.terms_


def test_used_up_iterations_leave_models_and_a_warning():
    model = TorveRegressor(simulator=bowl, xmin=[-1, -1], xmax=[1, 1], maxiter=2, seed=5)
    with pytest.warns(ConvergenceWarning, match="31"):
        model.fit()
    assert model.metrics_["iterations"] == 2
