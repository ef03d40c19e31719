"""The estimator among scikit-learn's tools."""

from __future__ import annotations

import pickle
import warnings

import numpy as np
import pandas as pd
import pytest
from sklearn.base import clone
from sklearn.ensemble import BaggingRegressor
from sklearn.model_selection import GridSearchCV, cross_val_score
from sklearn.pipeline import make_pipeline
from sklearn.preprocessing import PolynomialFeatures, StandardScaler
from sklearn.utils.estimator_checks import parametrize_with_checks

from torve import TorveRegressor

# Checks that fail, with a reason each: none do.
EXPECTED_FAILURES: dict[str, str] = {}

RNG = np.random.default_rng(3)
X = RNG.uniform(1, 3, size=(40, 2))
Y = X[:, 0] ** 2 - X[:, 1] + 0.01 * RNG.standard_normal(40)


@parametrize_with_checks([TorveRegressor(), TorveRegressor(logfcns=True, maxterms=2)])
def test_check_estimator(estimator, check):
    name = getattr(check, "func", check).__name__
    if name in EXPECTED_FAILURES:
        pytest.xfail(EXPECTED_FAILURES[name])
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        check(estimator)


def test_grid_search():
    grid = {"modeler": ["BIC", "AICc"], "monomialpower": [[2], [3]]}
    search = GridSearchCV(TorveRegressor(), grid, cv=4).fit(X, Y)
    assert search.best_params_["monomialpower"] == [2]
    assert search.best_score_ > 0.99


def test_processes():
    scores = cross_val_score(TorveRegressor(monomialpower=[2]), X, Y, n_jobs=2)
    assert np.all(scores > 0.99)


def test_threads_of_joblib():
    model = BaggingRegressor(TorveRegressor(monomialpower=[2]), n_estimators=6, n_jobs=2)
    assert model.fit(X, Y).score(X, Y) > 0.99


def test_pipeline():
    model = make_pipeline(StandardScaler(), PolynomialFeatures(2), TorveRegressor(maxterms=4))
    model.fit(X, Y)
    assert model.score(X, Y) > 0.99
    assert "<table" in model[-1]._repr_html_()
    assert model._repr_html_()


def test_pickle_and_clone():
    model = TorveRegressor(custom_bases=["a^2"], grbfcns=True, xlabels=["a", "b"], maxterms=3).fit(
        X, Y
    )
    again = pickle.loads(pickle.dumps(model))
    np.testing.assert_array_equal(again.predict(X), model.predict(X))
    assert again.model_ == model.model_
    fresh = clone(model)
    assert not hasattr(fresh, "model_")
    np.testing.assert_array_equal(fresh.fit(X, Y).predict(X), model.predict(X))


def test_data_frames_in_and_out():
    frame = pd.DataFrame(X, columns=["a", "b"])
    outputs = pd.DataFrame({"u": Y, "v": 2 * X[:, 1]})
    model = TorveRegressor(monomialpower=[2]).fit(frame, outputs)
    assert model.outputs_ == ["u", "v"]
    assert [text.split(" = ")[0] for text in model.model_] == ["u", "v"]
    assert list(model.get_feature_names_out()) == ["b", "a^2"]
    assert model.predict(frame).shape == (40, 2)
    with pytest.raises(ValueError, match="feature names"):
        model.predict(frame.rename(columns={"a": "c"}))


def test_shape_of_predictions_is_that_of_y():
    assert TorveRegressor().fit(X, Y).predict(X).shape == (40,)
    assert TorveRegressor().fit(X, Y[:, None]).predict(X).shape == (40, 1)
    model = TorveRegressor().fit(X, np.column_stack([Y, Y]))
    assert model.predict(X).shape == (40, 2)
    assert len(model.coef_) == len(model.terms_) == len(model.metrics_) == 2
    assert model.intercept_.shape == (2,)


def test_display():
    model = TorveRegressor(monomialpower=[2], ratiopower=[2]).fit(X, Y)
    bundle = model._repr_mimebundle_()
    assert "X1^2" in bundle["text/html"]
    assert bundle["text/plain"].startswith("TorveRegressor(")
    assert model.to_latex().startswith("Z_{1} &= ")
    assert "X_{1}^{2}" in model.to_latex()
    assert TorveRegressor()._repr_html_()
    assert "text/plain" in TorveRegressor()._repr_mimebundle_()


def test_a_subclass_may_have_parameters_of_its_own():
    class Small(TorveRegressor):
        def __init__(self, terms=2):
            self.terms = terms
            super().__init__(maxterms=terms)

    assert Small(1).get_params() == {"terms": 1}
    assert len(Small(1).fit(X, Y).terms_) <= 1
