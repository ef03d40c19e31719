"""A simulator that is a function of Python."""

from __future__ import annotations

import os
import select
import shlex
import threading
from collections.abc import Callable, Iterator
from contextlib import contextmanager
from pathlib import Path
from typing import Any

import numpy as np

_FIELD = 20  # characters of a number in the program's file
_REQUEST, _ANSWER = "simulator.request", "simulator.answer"
# The program starts this in its scratch folder. It says so, and waits for one word.
_SCRIPT = """#!/bin/sh
pwd > {request}
read -r answer < {answer}
test "$answer" = done
"""


def _read_points(file: Path) -> np.ndarray:
    lines = file.read_text(encoding="ascii").splitlines()
    count = int(lines[0].split()[0])
    rows = [
        [float(line[i : i + _FIELD]) for i in range(0, len(line.rstrip()), _FIELD)]
        for line in lines[1 : count + 1]
    ]
    return np.array(rows, dtype=float)


def _write_values(file: Path, points: np.ndarray, values: np.ndarray) -> None:
    rows = np.hstack([points, values])
    text = "".join(" ".join(repr(float(value)) for value in row) + "\n" for row in rows)
    file.write_text(text, encoding="ascii")


class _Server:
    """Answers the requests of the script by calling the function, in a thread of its own."""

    def __init__(self, function: Callable[[np.ndarray], Any], folder: Path) -> None:
        self.function = function
        self.fault: BaseException | None = None
        names = [folder / _REQUEST, folder / _ANSWER]
        for name in names:
            os.mkfifo(name)
        # Opened for both directions, so that neither end waits for the other to open.
        self.request, self.answer = (os.open(name, os.O_RDWR) for name in names)
        self.stop_reading, self.stop = os.pipe()
        self.thread = threading.Thread(target=self._serve, daemon=True)
        self.thread.start()
        script = folder / "call_simulator"
        request, answer = (shlex.quote(str(name)) for name in names)
        script.write_text(_SCRIPT.format(request=request, answer=answer), encoding="utf-8")
        script.chmod(0o700)
        self.command = str(script)

    def _serve(self) -> None:
        pending = b""
        while True:
            ready, _, _ = select.select([self.request, self.stop_reading], [], [])
            if self.stop_reading in ready:
                return
            pending += os.read(self.request, 65536)
            while b"\n" in pending:
                folder, pending = pending.split(b"\n", 1)
                os.write(self.answer, self._evaluated(Path(os.fsdecode(folder))))

    def _evaluated(self, folder: Path) -> bytes:
        try:
            points = _read_points(folder / "input.txt")
            values = np.asarray(self.function(points), dtype=float).reshape(len(points), -1)
            _write_values(folder / "output.txt", points, values)
        except BaseException as fault:  # told by the thread that runs the program
            self.fault = fault
            return b"failed\n"
        return b"done\n"

    def close(self) -> None:
        os.write(self.stop, b".")
        self.thread.join()
        for descriptor in (self.request, self.answer, self.stop_reading, self.stop):
            os.close(descriptor)


@contextmanager
def served(simulator: Any, folder: Path) -> Iterator[str | None]:
    """Give the command of a simulator.

    Parameters
    ----------
    simulator : str, callable or None
        A callable takes an ndarray of shape (n_points, n_inputs) and returns values of shape
        (n_points,) or (n_points, n_given_outputs). Its exceptions come out of this block.
    folder : Path
        For the files of the exchange.
    """
    if not callable(simulator):
        yield simulator
        return
    server = _Server(simulator, folder)
    try:
        yield server.command
    finally:
        server.close()
    if server.fault is not None:
        raise server.fault
