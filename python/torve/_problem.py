"""A whole problem, and how it gets into the run state.

Numbers, data and names go by calls, which lose no digit. What the calls can't carry goes through a
problem file: formulas, groups, and bounds on some of the outputs.
"""

from __future__ import annotations

import os
import shutil
from collections.abc import Sequence
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any

import numpy as np

from . import _options, calls
from ._labels import Names

_DEFAULT_PRESET = -111111.0
_PRESET_DISTANCE = 0.001  # the program takes values within 0.0001 of preset for missing ones


@dataclass
class Problem:
    """What a run stands on.

    Attributes
    ----------
    names : Names
    options : dict
        From `_options.checked`.
    xmin, xmax : ndarray of shape (n_inputs,)
    X : ndarray of shape (n_points, n_inputs)
        The last n_bank rows are the bank.
    Z : ndarray of shape (n_points, n_given_outputs)
        NaN where a value is missing.
    n_bank : int
    tests : list of (ndarray, ndarray)
    X_predict : ndarray or None
    custom_bases, transforms : list of str
        Formulas in labels.
    constraints : list of (int, str)
        Outputs, from 0, and formulas in labels.
    zmin, zmax : ndarray of shape (n_outputs,) or None
        NaN for no bound.
    groups, group_constraints : list of str
        Rows of their sections.
    n_groups : int
    """

    names: Names
    options: dict[str, Any]
    xmin: np.ndarray
    xmax: np.ndarray
    X: np.ndarray
    Z: np.ndarray
    n_bank: int = 0
    tests: list[tuple[np.ndarray, np.ndarray]] = field(default_factory=list)
    X_predict: np.ndarray | None = None
    custom_bases: list[str] = field(default_factory=list)
    transforms: list[str] = field(default_factory=list)
    constraints: list[tuple[int, str]] = field(default_factory=list)
    zmin: np.ndarray | None = None
    zmax: np.ndarray | None = None
    groups: list[str] = field(default_factory=list)
    group_constraints: list[str] = field(default_factory=list)
    n_groups: int = 0

    @property
    def is_constrained(self) -> bool:
        """Whether models have to keep bounds or conditions."""
        return bool(self.constraints) or self.zmin is not None or self.zmax is not None

    @property
    def needs_scratch(self) -> bool:
        """Whether the run may write files for other programs, or for groups."""
        given = self.options.get("usescratch")
        if given is not None:
            return bool(given)
        options = self.options
        gams = str(options.get("gams", "gams")).split(" ")[0]
        samples = "simulator" in options or options.get("maxiter", 1) != 1
        solvers = shutil.which("mirak") or shutil.which(gams)
        return bool(self.is_constrained or self.groups or samples or solvers)

    @property
    def preset(self) -> float:
        """The mark of a missing value: the option, or a number that no value is close to."""
        if "preset" in self.options:
            return float(self.options["preset"])
        values = [self.Z.ravel(), *(Z.ravel() for _, Z in self.tests)]
        present = np.concatenate(values)
        mark = _DEFAULT_PRESET
        while np.any(np.abs(present - mark) <= _PRESET_DISTANCE):
            mark = 10.0 * mark - 1.0
        return mark

    # --- what the file holds ----------------------------------------------------------------------

    def sections(self) -> str:
        """Return the text of the problem file: the sections alone, their sizes go by calls."""
        constraints = [f"{output + 1} {formula}" for output, formula in self.constraints]
        rows = {
            "custombas": self.custom_bases,
            "transforms": self.transforms,
            "customcon": constraints,
            "zmin": _bound_rows(self.zmin),
            "zmax": _bound_rows(self.zmax),
            "groups": self.groups,
            "groupcon": self.group_constraints,
        }
        lines: list[str] = []
        for section, content in rows.items():
            if content:
                lines += [f"begin_{section}", *content, f"end_{section}"]
        return "\n".join(lines) + "\n"

    # --- what calls carry -------------------------------------------------------------------------

    def _set_sizes(self) -> None:
        calls.trvsetint("ninputs", len(self.names.inputs))
        calls.trvsetint("noutputs", len(self.names.outputs))
        counts = {
            "ntrans": len(self.transforms),
            "ncustombas": len(self.custom_bases),
            "crncustom": len(self.constraints),
            "ngroups": self.n_groups,
        }
        for name, count in counts.items():
            if count:
                calls.trvsetint(name, count)

    def _set_points(self) -> None:
        preset = self.preset
        calls.trvsetreal("preset", preset)
        if len(self.X):
            calls.trvsetint("ndata", len(self.X))
            if self.n_bank:
                calls.trvsetint("nbank", self.n_bank)
            calls.trvsetrealvector("data", _rows(self.X, self.Z, preset))
        if self.X_predict is not None and len(self.X_predict):
            calls.trvsetint("npredata", len(self.X_predict))
            calls.trvsetrealvector("xpredata", self.X_predict)
        self._set_tests(preset)

    def _set_tests(self, preset: float) -> None:
        sampled = np.atleast_1d(self.options.get("ntestsample", ()))
        sections = max(len(self.tests), len(sampled))
        if not sections:
            return
        counts = [len(X) for X, _ in self.tests] + [0] * (sections - len(self.tests))
        calls.trvsetint("ntestsets", sections)
        calls.trvsetintvector("ntestdata", counts)
        if self.tests:
            rows = [_rows(X, Z, preset) for X, Z in self.tests]
            calls.trvsetrealvector("testdata", np.vstack(rows))

    def load(self, folder: Path, scratch: str | None = None) -> None:
        """Set everything.

        Parameters
        ----------
        folder : Path
            An absolute folder of this run alone, for the problem file and the scratch folder.
        scratch : str, optional
            Another scratch folder.

        Raises
        ------
        TorveError
            The program refuses something.
        """
        names = self.names
        self._set_sizes()
        calls.trvsetrealvector("xmin", self.xmin)
        calls.trvsetrealvector("xmax", self.xmax)
        calls.trvsetlabels("xlabels", names.input_labels)
        calls.trvsetlabels("zlabels", names.output_labels)
        calls.trvsetint("usescratch", int(self.needs_scratch))
        self._set_points()
        _options.hand_over(self.options, names.inputs, names.outputs)
        calls.trvsetstring("scratchin", scratch or str(folder / "scratch"))
        file = folder / "problem.trv"
        file.write_text(self.sections(), encoding="utf-8")
        calls.trvsetstring("fname", str(file))


def _bound_rows(bounds: np.ndarray | None) -> list[str]:
    # A section has as many rows as there are outputs. An output without a bound gives its row to
    # one that has it.
    if bounds is None:
        return []
    bounded = np.flatnonzero(~np.isnan(bounds))
    order = [*bounded, *[bounded[0]] * (len(bounds) - len(bounded))]
    return [f"{k + 1} {float(bounds[k])!r}" for k in order]


def _rows(X: np.ndarray, Z: np.ndarray, preset: float) -> np.ndarray:
    return np.hstack([X, np.where(np.isnan(Z), preset, Z)])


def bounds(name: str, value: Any, outputs: Sequence[str]) -> np.ndarray | None:
    """Return one bound an output, NaN for none; or None when there is none at all."""
    if value is None:
        return None
    if np.ndim(value) > 0:
        value = [np.nan if item is None else item for item in value]
    spread = _options.spread(name, value, outputs)
    spread = np.where(np.isinf(spread), np.nan, spread)
    return None if np.all(np.isnan(spread)) else spread


def simulator_command(command: str, folder: Path) -> str:
    """Return a simulator's command that works from the scratch folder.

    Parameters
    ----------
    command : str
        A program, by a path from the current folder, or a name on the path; then its arguments.
    folder : Path
        Takes a link to a program whose path has blanks, which the program would cut it at.
    """
    if os.path.exists(command) and " " in os.path.abspath(command):
        link = folder / "simulator"
        link.symlink_to(os.path.abspath(command))
        return str(link)
    program, blank, arguments = command.partition(" ")
    if os.sep in program or os.path.isfile(program):
        program = os.path.abspath(program)
    return program + blank + arguments
