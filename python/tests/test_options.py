"""No option is forgotten, and none is taken that the program would replace in silence."""

from __future__ import annotations

import inspect
import re

import numpy as np
import pytest
from conftest import ROOT

from torve import TorveRegressor, _options

OWN = {
    "transforms",
    "missing_outputs",
    "custom_bases",
    "groups",
    "group_constraints",
    "custom_constraints",
    "listing",
    "scratch",
    "verbose",
}
SIGNATURE = inspect.signature(TorveRegressor.__init__).parameters


def documented():
    """The keywords and sections on the page about the problem file."""
    page = (ROOT / "docs" / "problem-file.md").read_text()
    page = page[page.index("## Sections") : page.index("### Other names")]
    return set(re.findall(r"^\| `(\w+)` \|", page, re.MULTILINE))


def test_every_option_is_a_parameter_or_told_to_be_none():
    reachable = {row.name for row in _options.TABLE.values() if row.kind != "unreachable"}
    parameters = set(SIGNATURE) - {"self"}
    assert reachable == (parameters - OWN) | set(_options.DERIVED)
    assert not (parameters - OWN) & set(_options.DERIVED)


def test_every_documented_keyword_is_in_the_table():
    names = documented()
    assert len(names) > 150
    assert names - set(_options.TABLE) <= {"begin_zmin", "begin_zmax"}


def test_default_of_every_option_is_not_given():
    options = set(SIGNATURE) - OWN - {"self"}
    assert all(SIGNATURE[name].default is None for name in options)
    assert all(SIGNATURE[name].kind is inspect.Parameter.KEYWORD_ONLY for name in options)


def test_init_stores_every_parameter_as_it_is():
    given = {name: object() for name in SIGNATURE if name != "self"}
    estimator = TorveRegressor(**given)
    assert all(getattr(estimator, name) is value for name, value in given.items())
    assert set(estimator.get_params(deep=False)) == set(given)


X = np.column_stack([np.linspace(1, 2, 12), np.linspace(3, 1, 12) ** 2])
Y = X[:, 0] + X[:, 1] ** 2

# A value that differs from the default, for every option that a plain run can do with.
VALUES = {
    "whole": 1,
    "logical": True,
    "real": 0.25,
    "reals": 0.5,
    "wholes": 2,
    "logicals": [0, 1],
    "powers": [2, 3],
    "text": "/nowhere",
    "token": "other",
}
SPECIAL = {
    "exclude": [0, 1],
    "xmin": [0, 0],
    "xmax": [10, 10],
    "extrapxmin": [0, 0],
    "extrapxmax": [9, 9],
    "xlabels": ["a", "b"],
    "zlabels": ["c"],
    "ignore": False,
    "zisint": True,
    "nbank": 2,
    "nsample": 0,
    "initialpoints": 12,
    "preset": -5.0,
    "maxiter": 1,
    "minpoints": 1,
    "ncvf": 3,
    "npenl": 50,
    "simulator": None,
    "simin": "in.txt",
    "simout": "out.txt",
    "zmin": None,
    "zmax": None,
    "ntestsample": None,
    "builder": 1,
    "tracefname": None,
    "trace": False,
    "xfactors": [2, 3],
    "gams": "nogams",
    "maxtime": 100.0,
    "mipoptcr": 1e-3,
    "prbfpower": [2],
    "removescratch": True,
    "usescratch": False,
}


@pytest.mark.parametrize("name", _options.parameters())
def test_the_program_takes_every_option(name):
    kind = _options.TABLE[name].kind
    value = SPECIAL[name] if name in SPECIAL else VALUES[kind]
    model = TorveRegressor(**{name: value}).fit(X, Y)
    assert model.metrics_["code"] == 0


NUMBERS = ("whole", "real", "logical")
RANGED = [
    name
    for name in _options.parameters()
    if _options.TABLE[name].kind in NUMBERS and _options.TABLE[name].highest is not None
]


def beyond(limit, direction):
    return int(limit) + direction if abs(limit) < 1e15 else limit * 10.0


@pytest.mark.parametrize("name", RANGED)
def test_a_number_outside_its_range_is_refused(name):
    option = _options.TABLE[name]
    for value in (beyond(option.lowest, -1), beyond(option.highest, 1)):
        with pytest.raises(ValueError, match=f"{name} must"):
            TorveRegressor(**{name: value}).fit(X, Y)


@pytest.mark.parametrize(
    ("error", "parameters"),
    [
        (TypeError, {"modeler": 1.5}),
        (ValueError, {"modeler": "best"}),
        (TypeError, {"maxiter": "2"}),
        (ValueError, {"maxtime": np.nan}),
        (TypeError, {"sigma": "1"}),
        (ValueError, {"linfcns": 2}),
        (TypeError, {"maxterms": 1.5}),
        (ValueError, {"maxterms": [1, 2]}),
        (ValueError, {"exclude": [1]}),
        (ValueError, {"exclude": ["nothing"]}),
        (ValueError, {"prbfpower": [1.5]}),
        (TypeError, {"simin": 5}),
        (ValueError, {"simin": ""}),
        (ValueError, {"monomialpower": ["a"]}),
    ],
)
def test_a_value_of_the_wrong_kind_is_refused(error, parameters):
    with pytest.raises(error):
        TorveRegressor(**parameters).fit(X, Y)


@pytest.mark.parametrize("number", range(1, 9))
def test_a_criterion_has_a_name_and_a_number(number):
    name = _options.CRITERIA[number - 1]
    by_name = TorveRegressor(modeler=name.lower(), convpen=0.1).fit(X, Y)
    by_number = TorveRegressor(modeler=number, convpen=0.1).fit(X, Y)
    assert by_name.metrics_["criterion"] == name
    assert by_name.model_ == by_number.model_


def test_inputs_and_outputs_by_name():
    labels = {"xlabels": ["a", "b"]}
    model = TorveRegressor(exclude=["b"], **labels).fit(X, Y)
    assert model.terms_ == ["a"]
    with pytest.raises(ValueError, match="nothing"):
        TorveRegressor(ignore=["nothing"], **labels).fit(X, Y)
