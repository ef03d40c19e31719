"""What the tests share: paths, and the program's own values."""

from __future__ import annotations

import json
import os
import tempfile
from pathlib import Path

import numpy as np
import pytest

from torve import TorveRegressor, _assemble, _core, calls

ROOT = Path(__file__).resolve().parents[2]


@pytest.fixture
def program():
    """The built program; named by the environment, since it needn't be built."""
    path = os.environ.get("TORVE_PROGRAM")
    if not path:
        pytest.skip("TORVE_PROGRAM doesn't name the program")
    return str(Path(path).resolve())


@pytest.fixture(autouse=True)
def _clear_state():
    """No test finds what another has left, and none leaves a file in the current folder."""
    _core.reset()
    before = set(os.listdir("."))
    yield
    _core.reset()
    assert set(os.listdir(".")) - before <= {".pytest_cache", "__pycache__"}


def certified(name):
    """A data set with certified answers."""
    return json.loads((ROOT / "tests" / "data" / "nist" / f"{name}.json").read_text())


def fit_and_program_values(parameters, X, y, points, **sets):
    """The estimator's predictions at points, and the program's own for the same run."""
    estimator = TorveRegressor(**parameters).fit(X, y, **sets)
    data = _assemble.read_data(TorveRegressor(**parameters), X, y, _assemble.Sets(**sets))
    problem = _assemble.assemble(TorveRegressor(**parameters), data)
    with calls.session():
        with tempfile.TemporaryDirectory() as folder:
            problem.load(Path(folder))
            calls.trvsetint("print_to_file", 0)
            calls.trvrun(check=True, capture=True)
        values = _core.program_predictions(np.asarray(points, dtype=float))
    modelled = np.array(estimator._modelled)
    return estimator, values[:, modelled]


def longley():
    """X, y and names of Longley's data."""
    lines = (ROOT / "examples" / "longley" / "longley.trv").read_text().splitlines()
    first, last = lines.index("begin_data"), lines.index("end_data")
    table = np.array([[float(v) for v in line.split()] for line in lines[first + 1 : last]])
    names = next(line for line in lines if line.startswith("xlabels")).split()[1:]
    return table[:, :-1], table[:, -1], names
