"""The example problems: the program, the calls and the estimator find the same models."""

from __future__ import annotations

import re
import shutil
import subprocess
import warnings

import pytest
from conftest import ROOT
from problem_file import ProblemFile

from torve import TorveError, calls

EXAMPLES = sorted((ROOT / "examples").glob("*/*.trv"))
NUMBER = re.compile(r"(?<![A-Za-z_0-9.])\d+\.\d*(?:E[+-]\d+)?|(?<![A-Za-z_0-9.])\.\d+")


@pytest.fixture(params=EXAMPLES, ids=lambda path: path.stem)
def example(request, tmp_path, monkeypatch):
    """An example's folder, in which it is run."""
    work = tmp_path / "work"
    shutil.copytree(request.param.parent, work)
    monkeypatch.chdir(work)
    return work / request.param.name


def program_run(program, file):
    """The last model of each output, and the termination code."""
    done = subprocess.run(
        [program, file.name], capture_output=True, text=True, timeout=300, check=False
    )
    code = re.search(r"terminated with termination code (\d+)", done.stdout)
    models = {}
    for line in file.with_suffix(".lst").read_text().splitlines():
        found = re.match(r" ---- .* with (\w+) = (.*)", line)
        if found:
            models[found[1]] = f"{found[1]} = {found[2]}".strip()
    return models, int(code[1]) if code else 0


def assert_same_model(ours, program):
    """The same words, and coefficients that differ in the last digits at most."""
    assert NUMBER.sub("?", ours) == NUMBER.sub("?", program)
    numbers = [float(n) for n in NUMBER.findall(program)]
    assert [float(n) for n in NUMBER.findall(ours)] == pytest.approx(numbers, rel=1e-9)


def test_by_calls(example, program):
    expected, code = program_run(program, example)
    with calls.session():
        calls.trvsetstring("fname", str(example))
        calls.trvrun(capture=True)
        assert calls.trvgetstatus() == code
        outputs = ProblemFile.of(example.read_text()).count("noutputs")
        models = [calls.trvgetmodel(k + 1).strip() for k in range(outputs)]
    found = {model.split(" = ")[0]: model for model in models if model}
    if code == 0:
        assert set(found) == set(expected)
    for name, model in found.items():
        assert_same_model(model, expected[name])


def test_by_the_estimator(example, program):
    expected, code = program_run(program, example)
    problem = ProblemFile.of(example.read_text())
    parameters = problem.parameters()
    if "simulator" in parameters:
        # The program looks for it from the scratch folder, the estimator from the current one.
        parameters["simulator"] = parameters["simulator"].removeprefix("../").join(("./", ""))
    problem.parameters = lambda: parameters
    estimator = problem.estimator()
    if code not in (0, 31):
        with pytest.raises(TorveError) as caught:
            estimator.fit(*problem.points())
        assert caught.value.code == code
        return
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        estimator.fit(*problem.points())
    models = [estimator.model_] if isinstance(estimator.model_, str) else estimator.model_
    assert {model.split(" = ")[0] for model in models} == set(expected)
    for model in models:
        assert_same_model(model, expected[model.split(" = ")[0]])


def test_there_are_examples():
    assert len(EXAMPLES) > 5
