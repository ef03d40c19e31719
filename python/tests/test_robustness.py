"""Data that can't be used, failures, threads, memory."""

from __future__ import annotations

import os
import resource
import subprocess
import sys
import threading

import numpy as np
import pytest
from scipy import sparse

from torve import TorveError, TorveRegressor, calls

RNG = np.random.default_rng(5)
X = RNG.uniform(1, 3, size=(20, 2))
Y = X[:, 0] * 2 - X[:, 1]

BAD_DATA = {
    "one dimension": (Y, Y),
    "three dimensions": (X[None], Y),
    "rows differ": (X, Y[:5]),
    "NaN in X": (np.where(X > 2.9, np.nan, X + 0.9), Y),
    "infinity in X": (np.where(X > 1, np.inf, X), Y),
    "NaN in y": (X, np.full(20, np.nan)),
    "infinity in y": (X, np.full(20, np.inf)),
    "no rows": (np.empty((0, 2)), np.empty(0)),
    "no columns": (np.empty((20, 0)), Y),
    "one row": (X[:1], Y[:1]),
    "texts": (np.array([["a", "b"]] * 20), Y),
    "objects": (np.array([[object(), 1]] * 20), Y),
    "complex": (X + 1j, Y),
    "no y": (X, None),
    "no X": (None, Y),
}


@pytest.mark.parametrize("case", BAD_DATA)
def test_bad_data(case):
    bad, y = BAD_DATA[case]
    with pytest.raises((ValueError, TypeError)):
        TorveRegressor().fit(bad, y)
    TorveRegressor().fit(X, Y)


def test_sparse_data():
    with pytest.raises(TypeError, match=r"[Ss]parse"):
        TorveRegressor().fit(sparse.csr_matrix(X), Y)


@pytest.mark.parametrize(
    "sets",
    [
        {"X_bank": X, "y_bank": Y[:3]},
        {"X_bank": X[:, :1], "y_bank": Y},
        {"X_test": X, "y_test": np.column_stack([Y, Y])},
        {"X_test": X, "y_test": Y * np.nan},
        {"X_predict": X[:, :1]},
        {"test_sets": [(X, None)]},
    ],
)
def test_bad_further_points(sets):
    with pytest.raises((ValueError, TypeError)):
        TorveRegressor().fit(X, Y, **sets)


def test_a_bank_given_twice():
    with pytest.raises(ValueError, match="nbank"):
        TorveRegressor(nbank=2).fit(X, Y, X_bank=X, y_bank=Y)
    with pytest.raises(ValueError, match="nbank"):
        TorveRegressor(nbank=21).fit(X, Y)


def test_constant_columns():
    model = TorveRegressor().fit(np.column_stack([X, np.ones(20)]), Y)
    assert model.terms_ == ["X1", "X2"]
    model = TorveRegressor(constant=0).fit(np.ones((20, 2)), Y)
    assert model.terms_ == []
    assert model.intercept_ == pytest.approx(Y.mean())
    flat = TorveRegressor().fit(X, np.full(20, 7.0))
    np.testing.assert_allclose(flat.predict(X), 7.0, rtol=1e-9)


def test_two_rows_and_many_columns():
    wide = RNG.uniform(size=(2, 50))
    model = TorveRegressor().fit(wide, [1.0, 2.0])
    assert np.isfinite(model.predict(wide)).all()


def test_large_and_small_numbers():
    model = TorveRegressor().fit(X * 1e12, Y * 1e-12)
    assert np.isfinite(model.predict(X * 1e12)).all()


def test_predict_before_fit():
    with pytest.raises(ValueError, match="fitted"):
        TorveRegressor().predict(X)


def test_predict_with_other_columns():
    with pytest.raises(ValueError, match="features"):
        TorveRegressor().fit(X, Y).predict(X[:, :1])


def test_no_points_to_predict():
    with pytest.raises(ValueError, match="0 sample"):
        TorveRegressor().fit(X, Y).predict(X[:0])


def test_a_failed_fit_leaves_everything_usable():
    expected = TorveRegressor().fit(X, Y).model_
    for bad in ({"ignore": True}, {"xmin": [5, 5], "xmax": [4, 4]}, {"simulator": "nowhere"}):
        with pytest.raises(TorveError):
            TorveRegressor(**bad).fit(X, Y)
        assert TorveRegressor().fit(X, Y).model_ == expected
    with calls.session():
        calls.trvsetint("ninputs", 1)
    with pytest.raises(KeyboardInterrupt):
        TorveRegressor(verbose=True, simulator=interrupting, maxiter=3).fit(X, Y)
    assert TorveRegressor().fit(X, Y).model_ == expected


def interrupting(points):
    raise KeyboardInterrupt


def test_leftovers_of_calls_do_not_reach_a_fit():
    calls.trvsetint("ninputs", 7)
    calls.trvsetint("modeler", 5)
    assert TorveRegressor().fit(X, Y).metrics_["criterion"] == "BIC"


def test_the_current_folder_stays():
    here = os.getcwd()
    groups = {"groups": [["const"]], "group_constraints": [(0, None, "nmt", 1)]}
    TorveRegressor(listing=True, **groups).fit(X, Y)
    with pytest.raises(TorveError):
        TorveRegressor(listing=True, ignore=True).fit(X, Y)
    assert os.getcwd() == here


def test_fits_at_once():
    problems = [(X[:, [k % 2]] * (k + 1), Y + k, {"monomialpower": [k + 2]}) for k in range(8)]
    expected = [TorveRegressor(**p).fit(x, y).model_ for x, y, p in problems]
    found: list[list[str]] = [[] for _ in problems]

    def work(k):
        x, y, parameters = problems[k]
        for _ in range(10):
            found[k].append(TorveRegressor(**parameters).fit(x, y).model_)

    threads = [threading.Thread(target=work, args=(k,)) for k in range(len(problems))]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert found == [[model] * 10 for model in expected]


def test_a_forked_child_may_fit():
    script = """
import multiprocessing, threading, numpy as np
from torve import TorveRegressor, calls
X = np.arange(10.0)[:, None]
def child():
    assert TorveRegressor().fit(X, 2 * X[:, 0]).terms_ == ["X1"]
if __name__ == "__main__":
    held, done = threading.Event(), threading.Event()
    def hold():
        with calls.session():
            held.set()
            done.wait()
    thread = threading.Thread(target=hold)
    thread.start()
    held.wait()
    process = multiprocessing.get_context("fork").Process(target=child)
    process.start()
    process.join(60)
    process.kill()
    done.set()
    thread.join()
    raise SystemExit(process.exitcode != 0)
"""
    done = subprocess.run([sys.executable, "-W", "ignore", "-c", script], timeout=120, check=False)
    assert done.returncode == 0


def resident():
    with open("/proc/self/statm") as file:
        return int(file.read().split()[1]) * resource.getpagesize()


@pytest.mark.skipif(not os.path.exists("/proc/self/statm"), reason="no account of memory")
def test_memory_stays():
    inputs, y = RNG.uniform(1, 2, size=(2000, 10)), RNG.uniform(size=2000)
    parameters = {"monomialpower": [2, 3], "logfcns": True, "custom_bases": ["X1*X2"]}

    def fit():
        TorveRegressor(maxterms=1, **parameters).fit(inputs, y).predict(inputs)

    for _ in range(10):
        fit()
    before = resident()
    for _ in range(50):
        fit()
    # One run holds about 2000 x 40 numbers.
    assert resident() - before < 4e6


def test_a_run_of_another_program_is_not_disturbed(tmp_path):
    """Files of the name that the run has by default don't reach it."""
    (tmp_path / "trvapi").write_text("nonsense\n")
    here = os.getcwd()
    os.chdir(tmp_path)
    try:
        TorveRegressor().fit(X, Y)
    finally:
        os.chdir(here)
