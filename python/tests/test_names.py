"""Names that the program doesn't take, and back."""

from __future__ import annotations

import contextlib

import numpy as np
import pandas as pd
import pytest

from torve import TorveError, TorveRegressor
from torve._formula import rename
from torve._labels import legal_labels

RNG = np.random.default_rng(7)
X = RNG.uniform(1, 2, size=(20, 2))


# Names, labels without and with formulas.
LABELS = {
    "legal": (["a", "b_2"], ["a", "b_2"], ["a", "b_2"]),
    "blank": (["flow rate", "b"], ["flow_rate", "b"], ["flow_rate", "b"]),
    "digit first": (["1st"], ["v_1st"], ["v_1st"]),
    "underscore first": (["_x"], ["x"], ["x"]),
    "reserved": (["trv_a"], ["v_trv_a"], ["v_trv_a"]),
    "same but for case": (["a", "A"], ["a", "A_2"], ["a", "A_2"]),
    "same twice": (["a", "a"], ["a", "a_2"], ["a", "a_2"]),
    "taken by a changed one": (["a b", "a_b"], ["a_b_2", "a_b"], ["a_b_2", "a_b"]),
    "a function": (["log", "Pi"], ["log", "Pi"], ["v_log", "v_Pi"]),
    "begins like a function": (["single", "expo"], ["single", "expo"], ["v_single", "v_expo"]),
    "accents": (["débit", "ÉCART"], ["debit", "ECART"], ["debit", "ECART"]),
    "no letter that is left": (["流量", "%"], ["v_", "v__2"], ["v_", "v__2"]),
    "empty": ([""], ["v_"], ["v_"]),
}


@pytest.mark.parametrize("case", LABELS)
def test_labels(case):
    names, plain, in_formulas = LABELS[case]
    assert legal_labels(names, (), False) == plain
    assert legal_labels(names, (), True) == in_formulas


def test_long_names_stay_apart():
    names = ["a" * 200, "a" * 200 + "b"]
    labels = legal_labels(names, (), True)
    assert len(set(labels)) == 2
    assert all(len(label) <= 128 for label in labels)


# Formula, names, the same in labels.
RENAMES = {
    "words": ("x*y+1e3", {"x": "a", "y": "b", "e3": "c"}, "a*b+1e3"),
    "a function stays": ("log(log)", {"log": "v_log"}, "log(v_log)"),
    "backticks": ("`flow rate`^2/a", {"flow rate": "flow_rate"}, "flow_rate^2/a"),
    "any case": ("X", {"x": "a"}, "a"),
    "case decides where it can": ("X", {"x": "a", "X": "b"}, "b"),
    "the constant": ("2*pi", {"x": "a"}, "2*pi"),
    "point first": (".5e-3*e", {"e": "v"}, ".5e-3*v"),
    "letters that aren't ASCII": ("µ+1", {"µ": "m"}, "m+1"),
}


@pytest.mark.parametrize("case", RENAMES)
def test_rename(case):
    formula, names, expected = RENAMES[case]
    assert rename(formula, names) == expected


def test_names_of_a_data_frame_come_back():
    frame = pd.DataFrame(X, columns=["flow rate", "exp. time"])
    y = pd.Series(X[:, 0] ** 2 - 3 * np.log(X[:, 1]), name="yield %")
    model = TorveRegressor(
        custom_bases=["`flow rate`^2", "log(`exp. time`)"], listing=True, linfcns=False
    ).fit(frame, y)
    assert model.outputs_ == ["yield %"]
    assert sorted(model.terms_) == ["ln(`exp. time`)", "`flow rate`^2"] or model.terms_ == [
        "`flow rate`^2",
        "ln(`exp. time`)",
    ]
    assert model.model_.startswith("`yield %` = ")
    assert "Quality metrics for output `yield %`" in model.listing_
    assert list(model.feature_names_in_) == list(frame.columns)
    np.testing.assert_allclose(model.predict(frame), y, rtol=1e-9)
    assert "flow rate" in model.to_html()
    assert r"\text{yield \%}" in model.to_latex()


def test_equal_names_of_columns():
    frame = pd.DataFrame(X, columns=["a", "a"])
    # Some versions of scikit-learn refuse them; otherwise they are told apart.
    with contextlib.suppress(ValueError):
        model = TorveRegressor().fit(frame, X[:, 1])
        np.testing.assert_allclose(model.predict(frame), X[:, 1])
    with pytest.raises(ValueError, match="xlabels"):
        TorveRegressor(xlabels=["a", "a"]).fit(X, X[:, 1])


def test_an_input_may_have_the_name_of_an_output():
    frame = pd.DataFrame(X, columns=["Z1", "b"])
    model = TorveRegressor().fit(frame, X[:, 0] * 2)
    assert model.terms_ == ["Z1"]
    same = TorveRegressor().fit(frame, pd.Series(X[:, 0], name="Z1"))
    np.testing.assert_allclose(same.predict(frame), X[:, 0])


def test_columns_that_are_numbers_have_no_names():
    model = TorveRegressor().fit(pd.DataFrame(X), X[:, 1])
    assert model.terms_ == ["X2"]


@pytest.mark.parametrize(
    ("code", "parameters"),
    [
        (79, {"custom_bases": ["X1*"]}),
        (79, {"custom_bases": ["X1", "nothing^2"]}),
        (79, {"custom_bases": ["X1 % 2"]}),
        (79, {"custom_bases": [""]}),
        (79, {"custom_bases": ["X1 &"]}),
        (84, {"custom_constraints": ["X1 -"]}),
        (95, {"transforms": {"a": "log(Z2)"}}),
    ],
)
def test_syntax_of_formulas(code, parameters):
    with pytest.raises(TorveError) as caught:
        TorveRegressor(**parameters).fit(X, X[:, 0])
    assert caught.value.code == code
    assert caught.value.details


def test_an_unknown_name_in_backticks():
    with pytest.raises(ValueError, match="flow rate"):
        TorveRegressor(custom_bases=["`flow rate`"]).fit(X, X[:, 0])
