"""One run: from a problem to what came of it."""

from __future__ import annotations

import os
import tempfile
from collections.abc import Iterator
from contextlib import contextmanager
from dataclasses import dataclass
from pathlib import Path
from typing import Any, Callable

from . import _core, calls
from ._errors import error_of
from ._problem import Problem, simulator_command
from ._simulator import served

# A budget is used up, and the models up to then stand.
BUDGET_CODES = (31, 68)

_BANNER_LINES = 3
_DETAIL_LINES = 4
_ROUTINE = "Checking input"
_FRAME = "TORVE terminated"


@dataclass(frozen=True)
class Outcome:
    """What a run left.

    Attributes
    ----------
    code : int
        The termination code, 0 or that of a used-up budget.
    message : str
    seconds : float
    results : dict
        Of the run state.
    models : list of str
        One line an output; empty without a model.
    screen : str
        What the program had to say.
    listing : str or None
    """

    code: int
    message: str
    seconds: float
    results: dict[str, Any]
    models: list[str]
    screen: str
    listing: str | None


@contextmanager
def _current_folder(folder: Path) -> Iterator[None]:
    # By descriptor, since the folder may be one that its name doesn't lead to any more.
    here = os.open(".", os.O_RDONLY)
    try:
        os.chdir(folder)
        yield
    finally:
        os.fchdir(here)
        os.close(here)


@contextmanager
def _where_listing_goes(folder: Path, listing: bool) -> Iterator[None]:
    # The program writes its listing into the current folder.
    if not listing:
        yield
        return
    with _current_folder(folder):
        yield


def _details(screen: str) -> str:
    lines = [line.strip() for line in screen.split(_FRAME, maxsplit=1)[0].splitlines()]
    said = [line for line in lines[_BANNER_LINES:] if line and not line.startswith(_ROUTINE)]
    return "\n".join(said[-_DETAIL_LINES:])


def _has_models(results: dict[str, Any]) -> bool:
    wanted = [output for output in results["outputs"] if not output["ignored"]]
    return bool(wanted) and all(output["has_model"] for output in wanted)


def execute(
    problem: Problem,
    *,
    listing: bool = False,
    scratch: str | None = None,
    echo: Callable[[str], object] | None = None,
) -> Outcome:
    """Run a problem; the run state is clear before and after.

    Parameters
    ----------
    problem : Problem
    listing : bool
        Keep the text of the listing. The process's current folder changes while the run goes on.
    scratch : str, optional
        An absolute folder to work in, made by the run.
    echo : callable, optional
        Takes what the program has for the screen, piece by piece.

    Raises
    ------
    TorveError
        The program refuses something, or the run ends with a code and without models.
    KeyboardInterrupt
        Ctrl-C ended the run.
    """
    with calls.session(), tempfile.TemporaryDirectory(prefix="torve-") as name:
        folder = Path(os.path.realpath(name))
        with served(problem.options.get("simulator"), folder) as command:
            if command is not None:
                problem.options["simulator"] = simulator_command(command, folder)
            problem.load(folder, scratch)
            calls.trvsetint("print_to_file", int(listing))
            with _where_listing_goes(folder, listing):
                screen = calls.trvrun(capture=True, echo=echo) or ""
        code = calls.trvgetstatus()
        results = _core.results()
        if code != 0 and not (code in BUDGET_CODES and _has_models(results)):
            raise error_of(code, _details(screen))
        written = folder / "problem.lst"
        return Outcome(
            code=code,
            message=_core.message(code),
            seconds=calls.trvgettime(),
            results=results,
            models=[calls.trvgetmodel(k + 1).strip() for k in range(len(results["outputs"]))],
            screen=screen,
            listing=written.read_text("utf-8", "replace") if written.exists() else None,
        )
