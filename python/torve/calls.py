"""The calls of TORVE: set options and data by name, run, read the models.

Order of calls: set everything, `trvrun`, read; `trvinit` before the next run. Names are those of
the problem file, in any case. Sizes come before the lists that need them.

There is one run state in a process. Every function here takes the module's lock; a caller with
several threads holds it over a whole sequence by ``with torve.calls.session():``, which also clears
the state before and after. `TorveRegressor` works in such a session, so that what was set by calls
outside of one is gone after a fit.

Every function raises `TorveError` where the call gives a termination code.

Examples
--------
>>> from torve import calls
>>> with calls.session():
...     calls.trvsetint("ninputs", 1)
...     calls.trvsetint("noutputs", 1)
...     calls.trvsetrealvector("xmin", [0])
...     calls.trvsetrealvector("xmax", [3])
...     calls.trvsetint("ndata", 4)
...     calls.trvsetrealvector("xdata", [0, 1, 2, 3])
...     calls.trvsetrealvector("zdata", [1, 3, 5, 7])
...     calls.trvsetint("print_to_file", 0)
...     calls.trvsetint("usescratch", 0)
...     screen = calls.trvrun(capture=True)
...     model = calls.trvgetmodel(1)
>>> model.split(" = ")[0].strip()
'Z1'
"""

from __future__ import annotations

import os
import threading
from collections.abc import Iterator, Sequence
from contextlib import contextmanager
from pathlib import Path
from typing import Callable

import numpy as np
from numpy.typing import ArrayLike

from . import _core
from ._errors import TorveError, error_of

__all__ = [
    "TorveError",
    "session",
    "trvgetmodel",
    "trvgetmodellength",
    "trvgetstatus",
    "trvgettime",
    "trvgetversion",
    "trvinit",
    "trvrun",
    "trvsetint",
    "trvsetintvector",
    "trvsetlabels",
    "trvsetreal",
    "trvsetrealvector",
    "trvsetstring",
]

_LEAST, _MOST = np.iinfo(np.int32).min, np.iinfo(np.int32).max
_lock = threading.RLock()


def _renew_lock() -> None:
    # A thread that held the lock doesn't live on in a forked child.
    global _lock
    _lock = threading.RLock()


os.register_at_fork(after_in_child=_renew_lock)


def _check(code: int) -> None:
    if code != 0:
        raise error_of(code)


def _text(value: object, what: str) -> str:
    if not isinstance(value, (str, os.PathLike)):
        raise TypeError(f"{what} must be a text, not {type(value).__name__}")
    text = os.fspath(value)
    if not isinstance(text, str):
        raise TypeError(f"{what} must be a text, not bytes")
    if "\0" in text:
        raise ValueError(f"{what} holds a zero byte")
    return text


def _whole(value: object, what: str) -> int:
    if isinstance(value, (bool, np.bool_)):
        return int(value)
    if isinstance(value, (float, np.floating)) and float(value).is_integer():
        value = int(value)
    if not isinstance(value, (int, np.integer)):
        raise TypeError(f"{what} must be a whole number, not {value!r}")
    if not _LEAST <= int(value) <= _MOST:
        raise OverflowError(f"{what} doesn't fit in 32 bits: {value!r}")
    return int(value)


def _reals(values: ArrayLike) -> np.ndarray:
    array = np.asarray(values)
    if array.dtype.kind == "c":
        raise TypeError("values must be real numbers")
    return np.ascontiguousarray(array.ravel(), dtype=np.float64)


def _wholes(values: ArrayLike, what: str) -> np.ndarray:
    array = np.asarray(values).ravel()
    if array.dtype.kind not in "biuf" and array.size:
        raise TypeError(f"{what} must hold whole numbers")
    rounded = array.astype(np.float64)
    if not np.all(rounded == np.trunc(rounded)):
        raise TypeError(f"{what} must hold whole numbers")
    if array.size and not (rounded.min() >= _LEAST and rounded.max() <= _MOST):
        raise OverflowError(f"{what} doesn't fit in 32 bits")
    return np.ascontiguousarray(rounded, dtype=np.intc)


@contextmanager
def session() -> Iterator[None]:
    """Hold the run state for a sequence of calls.

    The state is clear when the block begins, and cleared again when it ends, also by an exception.
    Other threads wait until then. Sessions don't nest.
    """
    with _lock:
        _core.reset()
        try:
            yield
        finally:
            _core.reset()


def trvsetint(name: str, value: int) -> None:
    """Set an integer or logical option; a logical is true for 1 or True."""
    with _lock:
        _check(_core.trvsetint(_text(name, "name"), _whole(value, name)))


def trvsetreal(name: str, value: float) -> None:
    """Set a real option; convpen has the name convepen here."""
    with _lock:
        _check(_core.trvsetreal(_text(name, "name"), float(value)))


def trvsetstring(name: str, value: str | Path) -> None:
    """Set a text option: fname, scratchin, simulator, simin, simout, gams, tracefname ..."""
    with _lock:
        _check(_core.trvsetstring(_text(name, "name"), _text(value, name)))


def trvsetintvector(name: str, values: ArrayLike) -> None:
    """Set a list of whole numbers or logicals.

    Parameters
    ----------
    name : str
        exclude, xisint (one value an input), ignore, zisint, maxterms (one an output), ntestdata,
        ntestsample (one a test set).
    values : array-like of whole numbers
        Of any shape; taken row after row.
    """
    with _lock:
        _check(_core.trvsetintvector(_text(name, "name"), _wholes(values, name)))


def trvsetrealvector(name: str, values: ArrayLike) -> None:
    """Set a list of reals, or points.

    Parameters
    ----------
    name : str
        A list with one value an input (xmin, xmax, xfactors ...) or output (zmin, tolmeanerror
        ...), a power list (monomialpower ...), or the points data, xdata, zdata, testdata,
        xpredata.
    values : array-like of numbers
        Of any shape; taken row after row, so that a matrix with one row a point will do.
    """
    with _lock:
        _check(_core.trvsetrealvector(_text(name, "name"), _reals(values)))


def trvsetlabels(name: str, labels: str | Sequence[str]) -> None:
    """Set xlabels or zlabels, given as a sequence or as one text with blanks between them."""
    words = labels.split() if isinstance(labels, str) else [_text(word, name) for word in labels]
    with _lock:
        _check(_core.trvsetlabels(_text(name, "name"), len(words), " ".join(words)))


def trvrun(
    *,
    check: bool = False,
    capture: bool = False,
    echo: Callable[[str], object] | None = None,
) -> str | None:
    """Run.

    Ctrl-C in the main thread ends the run by way of its final report, and raises KeyboardInterrupt.
    Other threads of Python go on while it runs.

    Parameters
    ----------
    check : bool
        Raise `TorveError` when the run ends with a termination code; `trvgetstatus` has it too.
    capture : bool
        Return what the program has for the screen instead of letting it out.
    echo : callable, optional
        Called with each piece of that text while the run goes on; implies `capture`.

    Returns
    -------
    str or None
        The text for the screen, with `capture`.
    """
    with _lock:
        watch = threading.current_thread() is threading.main_thread()
        text: str | None = _core.trvrun(echo, capture or echo is not None, watch)
        if check:
            _check(_core.trvgetstatus())
        return text


def trvinit() -> None:
    """Go back to the state before any call, if a run has taken place; otherwise change nothing."""
    with _lock:
        _check(_core.trvinit())


def trvgetstatus() -> int:
    """Return the termination code of the run; 0 while all is well."""
    with _lock:
        return int(_core.trvgetstatus())


def trvgettime() -> float:
    """Return the seconds that the run took."""
    with _lock:
        return float(_core.trvgettime())


def trvgetversion() -> tuple[int, int, int]:
    """Return the version: year, month, day."""
    version: tuple[int, int, int] = _core.trvgetversion()
    return version


def trvgetmodellength(output: int) -> int:
    """Return the number of characters of an output's model; 0 without a model."""
    with _lock:
        code, length = _core.trvgetmodellength(_whole(output, "output"))
        _check(code)
        return int(length)


def trvgetmodel(output: int, length: int | None = None) -> str:
    """Return the model of an output as one line.

    Parameters
    ----------
    output : int
        Counts from 1.
    length : int, optional
        Room for the text and its closing zero byte; by default as much as it needs.
    """
    with _lock:
        if length is None:
            length = trvgetmodellength(output) + 1
        code, text = _core.trvgetmodel(_whole(output, "output"), _whole(length, "length"))
        _check(code)
        return str(text)
