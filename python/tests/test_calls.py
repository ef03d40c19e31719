"""The calls: what they store, and every code that they can be made to give."""

from __future__ import annotations

import pickle
import re
import signal
import threading
import time
from importlib.metadata import version

import numpy as np
import pytest

from torve import TorveError, __version__, calls

X = np.arange(1.0, 9.0)
Y = 2 * X + 1


def set_problem(points=True):
    calls.trvsetint("ninputs", 1)
    calls.trvsetint("noutputs", 1)
    calls.trvsetrealvector("xmin", [1])
    calls.trvsetrealvector("xmax", [8])
    if points:
        calls.trvsetint("ndata", len(X))
        calls.trvsetrealvector("data", np.column_stack([X, Y]))
    calls.trvsetint("print_to_file", 0)
    calls.trvsetint("usescratch", 0)


def run():
    return calls.trvrun(capture=True, check=True)


def test_a_whole_run():
    with calls.session():
        set_problem()
        assert "Normal termination" in run()
        assert calls.trvgetstatus() == 0
        assert calls.trvgettime() >= 0.0
        text = calls.trvgetmodel(1)
        assert calls.trvgetmodellength(1) == len(text)
        name, _, right = text.partition(" = ")
        assert name == " Z1"
        slope, constant = right.split(" * X1 + ")
        assert float(slope) == pytest.approx(2.0)
        assert float(constant) == pytest.approx(1.0)
    assert calls.trvgetstatus() == 0


def test_points_by_parts_and_labels():
    with calls.session():
        set_problem(points=False)
        calls.trvsetlabels("xlabels", ["speed"])
        calls.trvsetlabels("zlabels", "way ")
        calls.trvsetint("NDATA", np.int64(len(X)))
        calls.trvsetrealvector("xdata", X.astype(np.float32))
        calls.trvsetrealvector("zdata", Y.tolist())
        calls.trvsetintvector("ignore", [False])
        calls.trvsetreal("sigma", 1)
        run()
        assert re.match(r" way = [0-9.]+ \* speed \+ ", calls.trvgetmodel(1))


def test_a_second_run_after_trvinit():
    for _ in range(2):
        set_problem()
        run()
        calls.trvinit()


def test_version_is_that_of_the_package():
    assert __version__ == ".".join(map(str, calls.trvgetversion()))
    assert tuple(map(int, version("torve").split("."))) == calls.trvgetversion()


def after_a_run():
    set_problem()
    run()


def nothing():
    pass


def sized():
    calls.trvsetint("ninputs", 2)
    calls.trvsetint("noutputs", 1)


# Name of the case: the code, what comes before, and the call.
CODES = {
    "a number that is infinite": (8, nothing, lambda: calls.trvsetreal("sigma", np.inf)),
    "a list with NaN": (8, sized, lambda: calls.trvsetrealvector("xmin", [0, np.nan])),
    "xmin before ninputs": (9, nothing, lambda: calls.trvsetrealvector("xmin", [0])),
    "xmax before ninputs": (10, nothing, lambda: calls.trvsetrealvector("xmax", [0])),
    "xfactors before ninputs": (11, nothing, lambda: calls.trvsetrealvector("xfactors", [1])),
    "xlabels before ninputs": (12, nothing, lambda: calls.trvsetlabels("xlabels", ["a"])),
    "zlabels before noutputs": (13, nothing, lambda: calls.trvsetlabels("zlabels", ["a"])),
    "monomialpower twice": (14, lambda: calls.trvsetrealvector("monomialpower", [2]),
                            lambda: calls.trvsetrealvector("monomialpower", [3])),
    "data before ndata": (17, sized, lambda: calls.trvsetrealvector("data", [1])),
    "multi2power twice": (28, lambda: calls.trvsetrealvector("multi2power", [2]),
                          lambda: calls.trvsetrealvector("multi2power", [3])),
    "multi3power twice": (29, lambda: calls.trvsetrealvector("multi3power", [2]),
                          lambda: calls.trvsetrealvector("multi3power", [3])),
    "ratiopower twice": (32, lambda: calls.trvsetrealvector("ratiopower", [2]),
                         lambda: calls.trvsetrealvector("ratiopower", [3])),
    "a scale of zero": (39, sized, lambda: calls.trvsetrealvector("xfactors", [1, 0])),
    "more than memory": (51, nothing, lambda: calls.trvsetint("ninputs", 2**31 - 1)),
    "extrapxmin before ninputs": (59, nothing, lambda: calls.trvsetrealvector("extrapxmin", [0])),
    "extrapxmax before ninputs": (60, nothing, lambda: calls.trvsetrealvector("extrapxmax", [0])),
    "zmin before noutputs": (62, nothing, lambda: calls.trvsetrealvector("zmin", [0])),
    "ninputs twice": (64, sized, lambda: calls.trvsetint("ninputs", 2)),
    "tolmeanerror early": (70, nothing, lambda: calls.trvsetrealvector("tolmeanerror", [0])),
    "a label that begins with a digit": (80, sized, lambda: calls.trvsetlabels("zlabels", ["1a"])),
    "a label with a hyphen": (81, sized, lambda: calls.trvsetlabels("zlabels", ["a-b"])),
    "a label twice": (82, sized, lambda: calls.trvsetlabels("xlabels", ["a", "A"])),
    "tolrelmetric early": (91, nothing, lambda: calls.trvsetrealvector("tolrelmetric", [0])),
    "tolabsmetric early": (92, nothing, lambda: calls.trvsetrealvector("tolabsmetric", [0])),
    "ntrans before noutputs": (97, nothing, lambda: calls.trvsetint("ntrans", 1)),
    "zisint before noutputs": (99, nothing, lambda: calls.trvsetintvector("zisint", [1])),
    "xisint before ninputs": (99, nothing, lambda: calls.trvsetintvector("xisint", [1])),
    "exclude before ninputs": (121, nothing, lambda: calls.trvsetintvector("exclude", [1])),
    "ignore before noutputs": (122, nothing, lambda: calls.trvsetintvector("ignore", [1])),
    "zmax before noutputs": (128, nothing, lambda: calls.trvsetrealvector("zmax", [0])),
    "prbfpower twice": (129, lambda: calls.trvsetrealvector("prbfpower", [2]),
                        lambda: calls.trvsetrealvector("prbfpower", [3])),
    "tolmaxerror early": (131, nothing, lambda: calls.trvsetrealvector("tolmaxerror", [0])),
    "a label that is reserved": (133, sized, lambda: calls.trvsetlabels("zlabels", ["TRV_a"])),
    "nbank before ndata": (135, nothing, lambda: calls.trvsetint("nbank", 1)),
    "an empty name": (142, nothing, lambda: calls.trvsetint("", 1)),
    "a name of blanks": (142, nothing, lambda: calls.trvsetreal("  ", 1)),
    "an unknown integer": (143, nothing, lambda: calls.trvsetint("nothing", 1)),
    "an unknown real": (143, nothing, lambda: calls.trvsetreal("convpen", 1)),
    "an unknown text": (143, nothing, lambda: calls.trvsetstring("modeler", "BIC")),
    "an unknown list": (143, nothing, lambda: calls.trvsetintvector("modeler", [1])),
    "unknown labels": (143, nothing, lambda: calls.trvsetlabels("labels", ["a"])),
    "a list that is too long": (146, sized, lambda: calls.trvsetrealvector("xmin", [1, 2, 3])),
    "too few labels": (146, sized, lambda: calls.trvsetlabels("xlabels", ["a"])),
    "output 0": (147, sized, lambda: calls.trvgetmodel(0)),
    "output 2 of 1": (147, sized, lambda: calls.trvgetmodellength(2)),
    "a call after a run": (148, after_a_run, lambda: calls.trvsetint("modeler", 1)),
    "a second run": (148, after_a_run, run),
    "an empty text": (149, nothing, lambda: calls.trvsetstring("fname", "")),
    "a text of 8193": (149, nothing, lambda: calls.trvsetstring("fname", "a" * 8193)),
    "too little room": (150, after_a_run, lambda: calls.trvgetmodel(1, 5)),
}  # fmt: skip


@pytest.mark.parametrize("case", CODES)
def test_code(case):
    code, before, call = CODES[case]
    before()
    with pytest.raises(TorveError) as caught:
        call()
    assert caught.value.code == code
    assert caught.value.message
    assert caught.value.location > 0
    assert str(code) in str(caught.value)
    assert caught.value.message in str(caught.value)


# Name of the case: the code that the run ends with, and what is set.
def without_zdata():
    set_problem(points=False)
    calls.trvsetint("ndata", 1)
    calls.trvsetrealvector("xdata", [1])


def without_xdata():
    set_problem(points=False)
    calls.trvsetint("ndata", 1)
    calls.trvsetrealvector("zdata", [1])


RUNS = {
    "nothing is set": (22, lambda: calls.trvsetint("print_to_file", 0)),
    "inputs without outputs": (145, without_zdata),
    "outputs without inputs": (144, without_xdata),
    "a file that isn't there": (4, lambda: calls.trvsetstring("fname", "/nowhere/at.trv")),
}


@pytest.mark.parametrize("case", RUNS)
def test_code_of_a_run(case):
    code, before = RUNS[case]
    before()
    calls.trvrun(capture=True)
    assert calls.trvgetstatus() == code


def test_a_failed_call_changes_nothing():
    set_problem()
    with pytest.raises(TorveError):
        calls.trvsetrealvector("xmin", [1, 2])
    run()
    assert "X1" in calls.trvgetmodel(1)


@pytest.mark.parametrize(
    ("error", "call"),
    [
        (TypeError, lambda: calls.trvsetint("modeler", 1.5)),
        (TypeError, lambda: calls.trvsetint("modeler", "1")),
        (TypeError, lambda: calls.trvsetint(5, 1)),
        (OverflowError, lambda: calls.trvsetint("seed", 2**40)),
        (TypeError, lambda: calls.trvsetintvector("ignore", [0.5])),
        (OverflowError, lambda: calls.trvsetintvector("maxterms", [2**40])),
        (TypeError, lambda: calls.trvsetrealvector("xmin", [1j])),
        (ValueError, lambda: calls.trvsetrealvector("xmin", ["a"])),
        (ValueError, lambda: calls.trvsetstring("fname", "a\0b")),
        (TypeError, lambda: calls.trvsetstring("fname", None)),
    ],
)
def test_what_is_no_value_of_the_kind(error, call):
    with pytest.raises(error):
        call()


def test_a_session_clears_what_an_exception_leaves():
    with pytest.raises(KeyError), calls.session():
        calls.trvsetint("ninputs", 3)
        raise KeyError
    calls.trvsetint("ninputs", 1)


def test_an_error_travels():
    error = pickle.loads(pickle.dumps(TorveError(73, "words", 12, "lines")))
    assert (error.code, error.message, error.location, error.details) == (73, "words", 12, "lines")


def test_the_screen_stays_free(capfd):
    set_problem()
    text = run()
    assert text.startswith("TORVE")
    assert capfd.readouterr().out == ""
    calls.trvinit()
    set_problem()
    calls.trvrun()
    assert "Normal termination" in capfd.readouterr().out


def test_echo_gets_every_line_and_its_exceptions_end_nothing():
    pieces = []
    set_problem()
    text = calls.trvrun(echo=pieces.append)
    assert "".join(pieces) == text


@pytest.mark.filterwarnings("ignore::pytest.PytestUnraisableExceptionWarning")
def test_an_exception_of_echo_ends_nothing():
    set_problem()
    calls.trvrun(echo=lambda text: 1 / 0, check=True)


def set_endless_problem():
    """More subsets than anybody can wait for, of noise, so that no stop rule ends the walk."""
    rng = np.random.default_rng(1)
    n = 50
    calls.trvsetint("ninputs", n)
    calls.trvsetint("noutputs", 1)
    calls.trvsetrealvector("xmin", np.zeros(n))
    calls.trvsetrealvector("xmax", np.ones(n))
    calls.trvsetint("ndata", 90)
    calls.trvsetrealvector("data", rng.uniform(size=(90, n + 1)))
    calls.trvsetint("enumall", -1)
    calls.trvsetrealvector("tolrelmetric", [-1e9])
    calls.trvsetrealvector("tolabsmetric", [-1e9])
    calls.trvsetint("print_to_file", 0)
    calls.trvsetint("usescratch", 0)


@pytest.fixture
def handled_interrupts():
    """Ctrl-C as it is for who runs Python by hand: in the background it may be ignored."""
    before = signal.signal(signal.SIGINT, signal.default_int_handler)
    yield
    signal.signal(signal.SIGINT, before)


@pytest.mark.usefixtures("handled_interrupts")
def test_ctrl_c_ends_a_run():
    set_endless_problem()
    calls.trvsetreal("maxtime", 60.0)  # should it go on
    before = signal.getsignal(signal.SIGINT)
    timer = threading.Timer(0.3, signal.raise_signal, [signal.SIGINT])
    timer.start()
    start = time.monotonic()
    try:
        with pytest.raises(KeyboardInterrupt):
            calls.trvrun(capture=True)
    finally:
        timer.cancel()
    assert time.monotonic() - start < 20
    assert signal.getsignal(signal.SIGINT) is before
    calls.trvinit()
    set_problem()
    run()


def test_threads_go_on_during_a_run():
    set_endless_problem()
    calls.trvsetreal("maxtime", 0.5)
    counted = []

    def count():
        for i in range(20):
            counted.append(i)
            time.sleep(0.01)

    thread = threading.Thread(target=count)
    thread.start()
    calls.trvrun(capture=True)
    assert calls.trvgetstatus() == 68
    assert len(counted) == 20
    thread.join()
