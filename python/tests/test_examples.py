"""The examples of Python run, and say what their pages promise."""

from __future__ import annotations

import doctest
import os
import re
import subprocess
import sys

import pytest
from conftest import ROOT

import torve
from torve import _regressor, calls

EXAMPLES = ROOT / "examples" / "python"


def run(script, folder):
    environment = {**os.environ, "MPLBACKEND": "Agg"}
    done = subprocess.run(
        [sys.executable, str(EXAMPLES / script)],
        cwd=folder,
        env=environment,
        capture_output=True,
        text=True,
        timeout=300,
        check=False,
    )
    assert done.returncode == 0, done.stderr
    return done.stdout


def test_longley(tmp_path):
    text = run("longley.py", tmp_path)
    digits = [float(d) for d in re.findall(r"([\d.]+) digits", text)]
    assert len(digits) == 6
    assert min(digits) > 11
    assert not list(tmp_path.iterdir())


def test_parity(tmp_path):
    pytest.importorskip("matplotlib")
    text = run("parity.py", tmp_path)
    exponents = re.search(r"exponents (.*)", text)[1]
    found = {name: float(v) for name, v in re.findall(r"'(ln\(\w\))': .*?(-?\d+\.\d+)", exponents)}
    expected = {"ln(L)": 1.0, "ln(D)": -1.25, "ln(v)": 1.75}
    assert found == pytest.approx(expected, abs=0.03)
    assert (tmp_path / "parity.png").read_bytes().startswith(b"\x89PNG")


@pytest.mark.parametrize("module", [torve, calls, _regressor], ids=lambda module: module.__name__)
def test_examples_in_the_documentation(module):
    result = doctest.testmod(module)
    assert result.attempted
    assert not result.failed


def test_first_example_of_the_readme():
    readme = (ROOT / "python" / "README.md").read_text()
    code, shown = re.search(r"```python\n(.*?)```\s+```text\n(.*?)```", readme, re.DOTALL).groups()
    done = subprocess.run(
        [sys.executable, "-c", code], capture_output=True, text=True, timeout=120, check=True
    )
    assert done.stdout == shown
