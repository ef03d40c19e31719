"""A finished model: its terms, their values by NumPy, and its forms in text."""

from __future__ import annotations

import math
from collections.abc import Mapping, Sequence
from dataclasses import dataclass, field
from typing import Any, Callable

import numpy as np

from ._formula import Formula, formulas

_COLUMN_LIMIT = 1e10  # the largest magnitude that the program lets a column have
_SMALLEST_COEFFICIENT = 1e-10  # smaller ones don't count


@dataclass(frozen=True)
class Term:
    """One column of the catalogue with its coefficient.

    Attributes
    ----------
    family : str
        lin, log, exp, sin, cos, mono, multi2, multi3, ratio, grbf, prbf, lk, cust or const.
    inputs : tuple of int
        The inputs of the column, from 0; as many as the family has count.
    power : float
        Of the families mono to ratio.
    radial_power : int
        Of the family prbf.
    index : int
        The custom function of a cust column, from 0.
    centre : ndarray
        Of radial families: the point, scaled like the inputs.
    coefficient : float
    text : str
        The term without its coefficient, as in the model.
    """

    family: str
    inputs: tuple[int, ...]
    power: float
    radial_power: int
    index: int
    centre: np.ndarray
    coefficient: float
    text: str

    @classmethod
    def of(cls, fields: Mapping[str, Any], text: str) -> Term:
        """Take a term from the run state."""
        return cls(
            family=fields["family"],
            inputs=tuple(fields["inputs"]),
            power=fields["power"],
            radial_power=fields["radial_power"],
            index=fields["index"],
            centre=np.array(fields["centre"], dtype=float),
            coefficient=fields["coefficient"],
            text=text,
        )


@dataclass(frozen=True)
class Catalogue:
    """What the columns of all outputs have in common.

    Attributes
    ----------
    scales : ndarray of shape (n_inputs,)
        Divisors of the inputs.
    excluded : ndarray of bool of shape (n_inputs,)
        Inputs that are left out of distances.
    rbfparam : float
        The width parameter of Gaussian columns.
    preset : float or None
        What a column holds where the program's guards refuse it, in a run that keeps such columns;
        None for a run without them.
    custom : list of Formula
        The custom functions.
    """

    scales: np.ndarray
    excluded: np.ndarray
    rbfparam: float
    preset: float | None
    custom: list[Formula] = field(default_factory=list)

    @classmethod
    def of(cls, results: Mapping[str, Any]) -> Catalogue:
        """Take the catalogue from the run state."""
        return cls(
            scales=np.array(results["xscale"], dtype=float),
            excluded=np.array(results["excluded"], dtype=bool),
            rbfparam=results["rbfparam"],
            preset=None if results["numlimitbasis"] else results["preset"],
            custom=formulas(results["custom"]),
        )

    def values(self, term: Term, X: np.ndarray) -> np.ndarray:
        """Return a term's values without its coefficient.

        Parameters
        ----------
        term : Term
        X : ndarray of shape (n_points, n_inputs)
            Points in the user's units.

        Returns
        -------
        ndarray of shape (n_points,)
            NaN where the term can't be evaluated, or `preset` if columns of the run hold it.
        """
        x = [X[:, j] / self.scales[j] for j in range(X.shape[1])]
        with np.errstate(all="ignore"):
            found, refused = _FAMILIES[term.family](self, term, x)
            value: np.ndarray = np.broadcast_to(np.asarray(found, dtype=float), (len(X),))
            if self.preset is not None:
                value = np.where(refused, self.preset, value)
            else:
                value = np.where(np.isfinite(value), value, np.nan)
        return value


# --- families -------------------------------------------------------------------------------------
# Each gives the values of a term, and where the program's guards refuse them.

_Inputs = Sequence[np.ndarray]
_Values = tuple[Any, Any]


def _checked(value: np.ndarray) -> _Values:
    return value, ~(np.abs(value) <= _COLUMN_LIMIT)


def _unsafe(base: np.ndarray, exponent: float) -> np.ndarray:
    whole = float(exponent).is_integer()
    if exponent in (0.0, 1.0):
        return np.ones(base.shape, dtype=bool)
    too_large = (base > 0.0) & (exponent * np.log(base) > np.log(_COLUMN_LIMIT))
    unsafe: np.ndarray = np.isnan(base) | (base == 0.0) | ((base < 0.0) & (not whole)) | too_large
    return unsafe


def _guarded_power(base: np.ndarray, exponent: float) -> _Values:
    return np.power(base, exponent), _unsafe(base, exponent)


def _plain(function: Callable[[np.ndarray], Any]) -> Callable[..., _Values]:
    return lambda catalogue, term, x: (function(x[term.inputs[0]]), False)


def _guarded(function: Callable[[np.ndarray], np.ndarray]) -> Callable[..., _Values]:
    return lambda catalogue, term, x: _checked(function(x[term.inputs[0]]))


def _powers(base: Callable[..., np.ndarray]) -> Callable[..., _Values]:
    def values(catalogue: Catalogue, term: Term, x: _Inputs) -> _Values:
        return _guarded_power(base(*(x[j] for j in term.inputs)), term.power)

    return values


def _distance(catalogue: Catalogue, term: Term, x: _Inputs) -> np.ndarray:
    total = np.zeros(len(x[0]))
    for j, column in enumerate(x):
        if not catalogue.excluded[j]:
            difference = column - term.centre[j]
            total = total + difference * difference
    return np.sqrt(total)


def _gaussian(catalogue: Catalogue, term: Term, x: _Inputs) -> _Values:
    return _checked(np.exp(-catalogue.rbfparam * _distance(catalogue, term, x)))


def _power_radial(catalogue: Catalogue, term: Term, x: _Inputs) -> _Values:
    r = _distance(catalogue, term, x)
    k = float(term.radial_power)
    if term.radial_power % 2 != 0:
        return _guarded_power(r, k)
    power = np.power(r, k)
    return _checked(np.where(r >= 1.0, power * np.log(r), (power - 1.0) * np.log(np.power(r, r))))


def _kernel(catalogue: Catalogue, term: Term, x: _Inputs) -> _Values:
    total = np.zeros(len(x[0]))
    for j, column in enumerate(x):
        if not catalogue.excluded[j]:
            total = total + column * term.centre[j]
    return _checked(total)


def _custom(catalogue: Catalogue, term: Term, x: _Inputs) -> _Values:
    # Formulas see the inputs in the user's units, by way of the scaled ones as in the program.
    unscaled = [column * scale for column, scale in zip(x, catalogue.scales)]
    return _checked(catalogue.custom[term.index](unscaled))


_FAMILIES: dict[str, Callable[[Catalogue, Term, _Inputs], _Values]] = {
    "lin": _plain(lambda x: x),
    "log": _guarded(np.log),
    "exp": _guarded(np.exp),
    "sin": _plain(np.sin),
    "cos": _plain(np.cos),
    "mono": _powers(lambda a, b, c: a),
    "multi2": _powers(lambda a, b, c: a * b),
    "multi3": _powers(lambda a, b, c: a * b * c),
    "ratio": _powers(lambda a, b, c: a / b),
    "grbf": _gaussian,
    "prbf": _power_radial,
    "lk": _kernel,
    "cust": _custom,
    "const": lambda catalogue, term, x: (1.0, False),
}


# --- models ---------------------------------------------------------------------------------------


def _nearest_whole(value: np.ndarray) -> np.ndarray:
    whole = np.trunc(value)
    nearest: np.ndarray = np.where(
        np.abs(value - whole) >= 0.5, whole + np.copysign(1.0, value), whole
    )
    return nearest


@dataclass(frozen=True)
class OutputModel:
    """The model of one output.

    Attributes
    ----------
    name : str
        The output's name.
    terms : list of Term
        The constant comes last.
    is_whole : bool
        Values are rounded to the nearest whole number.
    text : str
        One line of algebra; empty for an output without a model.
    """

    name: str
    terms: list[Term]
    is_whole: bool
    text: str

    @property
    def exists(self) -> bool:
        """Whether the output has a model."""
        return bool(self.text)

    @property
    def functions(self) -> list[Term]:
        """The terms but the constant."""
        return [term for term in self.terms if term.family != "const"]

    @property
    def constant(self) -> float:
        """The constant term, 0 without one."""
        return math.fsum(term.coefficient for term in self.terms if term.family == "const")

    def predict(self, catalogue: Catalogue, X: np.ndarray) -> np.ndarray:
        """Return the model's values.

        Parameters
        ----------
        catalogue : Catalogue
        X : ndarray of shape (n_points, n_inputs)

        Returns
        -------
        ndarray of shape (n_points,)
            NaN where a term can't be evaluated, and everywhere without a model.
        """
        if not self.exists:
            return np.full(len(X), np.nan)
        # The program sums in the widest format there is and rounds once.
        total = np.zeros(len(X), dtype=np.longdouble)
        for term in self.terms:
            if abs(term.coefficient) > _SMALLEST_COEFFICIENT:
                total += np.longdouble(term.coefficient) * catalogue.values(term, X)
        value = total.astype(np.float64)
        return _nearest_whole(value) if self.is_whole else value
