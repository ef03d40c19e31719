"""Problem files as parameters of the estimator: as much of them as the examples use."""

from __future__ import annotations

from dataclasses import dataclass, field
from typing import Any

import numpy as np

from torve import TorveRegressor, _options

_SECTIONS = ("data", "custombas", "transforms", "zmin", "zmax")
_NUMBERS = ("reals", "wholes", "logicals", "powers")


@dataclass
class ProblemFile:
    """The items of a problem file."""

    options: dict[str, list[str]] = field(default_factory=dict)
    sections: dict[str, list[str]] = field(default_factory=dict)

    @classmethod
    def of(cls, text):
        problem = cls()
        section = None
        for raw in text.splitlines():
            line = raw.split("#")[0].split("!")[0].strip()
            if not line or line[0] in "*%/":
                continue
            word, *values = line.split()
            if word.startswith("begin_"):
                section = problem.sections.setdefault(word.removeprefix("begin_"), [])
            elif word.startswith("end_"):
                section = None
            elif section is not None:
                section.append(line)
            else:
                problem.options[word.lower()] = values
        return problem

    def count(self, name):
        return int(self.options.get(name, ["0"])[0])

    def points(self):
        """X and y."""
        table = np.array([[float(v) for v in row.split()] for row in self.sections.get("data", [])])
        if not len(table):
            return None, None
        n = self.count("ninputs")
        y = table[:, n:]
        return table[:, :n], y[:, 0] if y.shape[1] == 1 else y

    def parameters(self):
        """Of the estimator."""
        given = {
            name: _value(name, values)
            for name, values in self.options.items()
            if name not in _options.DERIVED
        }
        given["custom_bases"] = self.sections.get("custombas")
        given["transforms"] = self._transforms(given.get("zlabels"))
        return given

    def _transforms(self, labels):
        formulas = self.sections.get("transforms", [])
        return dict(zip(labels[-len(formulas) :], formulas)) if formulas else None

    def estimator(self, **more):
        return TorveRegressor(**self.parameters(), **more)


def _value(name: str, values: list[str]) -> Any:
    kind = _options.TABLE[name].kind
    if kind in ("whole", "logical"):
        return int(values[0])
    if kind == "real":
        return float(values[0])
    if kind in _NUMBERS:
        return [float(value) for value in values]
    if kind == "labels":
        return values
    return " ".join(values)
