"""Bounds and conditions with a solver: the stand-ins of the program's own tests."""

from __future__ import annotations

import os
from pathlib import Path

import numpy as np
import pytest

from torve import TorveRegressor

X = np.linspace(0, 4, 17)[:, None]
NEW = np.linspace(0, 4, 401)[:, None]
Y = 1 - np.exp(-1.5 * X[:, 0]) + 0.02 * np.sin(9 * X[:, 0])
BASES = {"custom_bases": ["X1^2", "X1^3", "sqrt(X1)"], "modeler": "AICc"}


@pytest.fixture(params=["mirak", "gams"], autouse=True)
def solver(request, tmp_path, monkeypatch):
    """A path on which one solver stands; TORVE_SOLVERS names the folder of the stand-ins."""
    folder = os.environ.get("TORVE_SOLVERS")
    program = Path(folder or "/nowhere") / f"{request.param}_standin"
    if not program.exists():
        pytest.skip("TORVE_SOLVERS doesn't name a folder with the stand-ins of solvers")
    names = ["mirak"] if request.param == "mirak" else ["gams", "gdxmerge"]
    for name in names:
        (tmp_path / name).symlink_to(program)
    monkeypatch.setenv("PATH", str(tmp_path) + os.pathsep + os.environ["PATH"])
    return {"usegams": True} if request.param == "gams" else {}


def test_bounds(solver):
    free = TorveRegressor(**BASES).fit(X, Y).predict(NEW)
    assert free.min() < -0.001 or free.max() > 1.0005
    bounded = TorveRegressor(**BASES, **solver, zmin=0, zmax=1).fit(X, Y)
    values = bounded.predict(NEW)
    assert values.min() > -0.002
    assert values.max() < 1.002
    assert bounded.metrics_["constrained_regressions"] > 0


def test_bounds_on_one_of_two_outputs(solver):
    outputs = np.column_stack([2 * Y, Y])
    model = TorveRegressor(**BASES, **solver, zmax=[None, 0.5]).fit(X, outputs)
    values = model.predict(NEW)
    assert values[:, 0].max() > 1
    assert values[:, 1].max() < 0.502


def test_a_condition(solver):
    model = TorveRegressor(**BASES, **solver, custom_constraints=["Z1 - 0.2 - 0.1*X1"]).fit(X, Y)
    assert (model.predict(NEW) <= 0.2 + 0.1 * NEW[:, 0] + 0.002).all()
