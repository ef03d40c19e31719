"""Formulas: their words, and their values by NumPy from the program's compiled code."""

from __future__ import annotations

import re
from collections.abc import Mapping, Sequence
from dataclasses import dataclass
from typing import Callable

import numpy as np

FUNCTIONS = (
    "abs",
    "exp",
    "log10",
    "log",
    "sqrt",
    "sinh",
    "cosh",
    "tanh",
    "sin",
    "cos",
    "tan",
    "asin",
    "acos",
    "atan",
)

_PUSH_NUMBER = 1
_NEGATE = 2
_FIRST_BINARY = 3
_FIRST_FUNCTION = 8
_FIRST_VARIABLE = 22

# A name in backticks, a number with its exponent, or a name.
_WORDS = re.compile(r"`([^`]*)`|((?:\d+\.?\d*|\.\d+)(?:[eEdD][+-]?\d+)?)|([^\W\d]\w*)")


def rename(formula: str, names: Mapping[str, str]) -> str:
    """Replace names in a formula.

    Parameters
    ----------
    formula : str
        Names that are no words stand in backticks: ```flow rate`^2``.
    names : mapping of str
        From the names as users know them to those of the program. Names are looked up as they stand
        and then without regard to case; a function's name before a parenthesis is left alone.
    """
    folded = {name.lower(): label for name, label in names.items()}

    def replaced(match: re.Match[str]) -> str:
        quoted, number, word = match.groups()
        if number is not None:
            return number
        if quoted is not None:
            if quoted not in names:
                raise ValueError(f"unknown name `{quoted}` in the formula {formula!r}")
            return names[quoted]
        if word.lower() in FUNCTIONS and formula[match.end() :].lstrip().startswith("("):
            return word
        return names.get(word, folded.get(word.lower(), word))

    return _WORDS.sub(replaced, formula)


def _divide(a: np.ndarray, b: np.ndarray) -> np.ndarray:
    return np.where(b == 0.0, np.nan, a / b)


def _power(a: np.ndarray, b: np.ndarray) -> np.ndarray:
    undefined = ((a == 0.0) & (b < 0.0)) | ((a <= 0.0) & (np.trunc(b) != b))
    return np.where(undefined, np.nan, np.power(a, b))


_BINARY: tuple[Callable[[np.ndarray, np.ndarray], np.ndarray], ...] = (
    np.add,
    np.subtract,
    np.multiply,
    _divide,
    _power,
)


def _where_positive(function: Callable[[np.ndarray], np.ndarray]) -> Callable[..., np.ndarray]:
    return lambda x: np.where(x <= 0.0, np.nan, function(x))


# In the order of the codes.
_UNARY: tuple[Callable[[np.ndarray], np.ndarray], ...] = (
    np.abs,
    np.exp,
    _where_positive(np.log10),
    _where_positive(np.log),
    np.sqrt,
    np.sinh,
    np.cosh,
    np.tanh,
    np.sin,
    np.cos,
    np.tan,
    np.arcsin,
    np.arccos,
    np.arctan,
)


@dataclass(frozen=True)
class Formula:
    """A formula as the program compiled it: codes of a stack machine and their numbers."""

    codes: tuple[int, ...]
    numbers: tuple[float, ...]

    @property
    def variables(self) -> frozenset[int]:
        """The variables that the formula reads, from 0."""
        return frozenset(c - _FIRST_VARIABLE for c in self.codes if c >= _FIRST_VARIABLE)

    def __call__(self, variables: Sequence[np.ndarray]) -> np.ndarray:
        """Return the values at many points.

        Parameters
        ----------
        variables : sequence of ndarray of shape (n_points,)
            In the order of the names that the formula was compiled with.

        Returns
        -------
        ndarray of shape (n_points,)
            NaN where the formula isn't defined. A NaN stays one on its way through the operations,
            but for a power of 0, and so does the fault that it tells of.
        """
        stack: list[np.ndarray] = []
        numbers = iter(self.numbers)
        points = np.zeros(len(variables[0]))
        fault = np.zeros(len(points), dtype=bool)
        with np.errstate(all="ignore"):
            for code in self.codes:
                if code >= _FIRST_VARIABLE:
                    stack.append(variables[code - _FIRST_VARIABLE])
                    continue
                if code == _PUSH_NUMBER:
                    stack.append(points + next(numbers))
                    continue
                if _FIRST_BINARY <= code < _FIRST_FUNCTION:
                    right = stack.pop()
                    stack[-1] = _BINARY[code - _FIRST_BINARY](stack[-1], right)
                elif code == _NEGATE:
                    stack[-1] = -stack[-1]
                else:
                    stack[-1] = _UNARY[code - _FIRST_FUNCTION](stack[-1])
                fault |= np.isnan(stack[-1])
        return np.where(fault, np.nan, stack[-1] + points)


def formulas(compiled: Sequence[tuple[Sequence[int], Sequence[float]]]) -> list[Formula]:
    """Return the formulas of the run state."""
    return [Formula(tuple(codes), tuple(numbers)) for codes, numbers in compiled]
