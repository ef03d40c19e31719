"""Options: which of the program's the estimator has, and what values they take."""

from __future__ import annotations

import os
from collections.abc import Mapping, Sequence
from dataclasses import dataclass
from numbers import Integral, Real
from typing import Any

import numpy as np

from . import _core, calls


@dataclass(frozen=True)
class Option:
    """A row of the program's option table.

    Attributes
    ----------
    name : str
    kind : str
        whole, logical, real, reals, wholes, logicals, labels, powers, text, token, section, ignored
        or unreachable.
    needs : str
        The count that a list has values for: ninputs or noutputs.
    lowest, highest : float or None
        The range of a number; None for any.
    """

    name: str
    kind: str
    needs: str
    lowest: float | None
    highest: float | None


TABLE: Mapping[str, Option] = {row["name"]: Option(**row) for row in _core.option_rows()}

# Options that the estimator has no parameter for, and what stands for them.
DERIVED: Mapping[str, str] = {
    "ninputs": "the columns of X",
    "noutputs": "the columns of y, and transforms",
    "ngroups": "groups",
    "ntrans": "transforms",
    "ndata": "the rows of X",
    "npredata": "X_predict of fit",
    "ntestsets": "test_sets of fit",
    "ntestdata": "test_sets of fit",
    "mono": "monomialpower",
    "multi2": "multi2power",
    "multi3": "multi3power",
    "ratios": "ratiopower",
    "ncustombas": "custom_bases",
    "crncustom": "custom_constraints",
    "print_to_screen": "verbose",
    "print_to_file": "listing",
    "conreg": "nothing: the program reads and forgets it",
    "begin_data": "X and y",
    "begin_xdata": "X",
    "begin_zdata": "y",
    "begin_testdata": "test_sets of fit",
    "begin_xpredata": "X_predict of fit",
    "begin_customcon": "custom_constraints",
    "begin_custombas": "custom_bases",
    "begin_transforms": "transforms",
    "begin_groups": "groups",
    "begin_groupcon": "group_constraints",
    "begin_comment": "nothing: a comment",
}

# Parameters that aren't handed on as they are: the problem decides with more in view.
_HANDLED_ELSEWHERE = frozenset(
    ("xlabels", "zlabels", "xmin", "xmax", "zmin", "zmax", "nbank", "preset", "usescratch")
)

CRITERIA = ("BIC", "Cp", "AICc", "HQC", "MSE", "SSEp", "RIC", "MADp")  # in the order of modeler

_REAL_NAMES = {"convpen": "convepen"}  # the names of the set call where they differ
_PATHS = ("tracefname", "snobfitpath", "minqpath")


def parameters() -> list[str]:
    """Return the options that are parameters of the estimator, in the order of the table."""
    return [
        row.name for row in TABLE.values() if row.name not in DERIVED and row.kind != "unreachable"
    ]


def _modeler(name: str) -> int:
    folded = [criterion.lower() for criterion in CRITERIA]
    if name.lower() not in folded:
        raise ValueError(f"modeler must be one of {', '.join(CRITERIA)}, not {name!r}")
    return folded.index(name.lower()) + 1


def _number(option: Option, value: Any) -> float:
    whole = option.kind != "real"
    if option.name == "modeler" and isinstance(value, str):
        value = _modeler(value)
    if isinstance(value, (float, np.floating)) and whole and float(value).is_integer():
        value = int(value)
    kinds: tuple[Any, ...] = (Integral if whole else Real, np.bool_)
    if not isinstance(value, kinds):
        wanted = "a whole number" if whole else "a number"
        raise TypeError(f"{option.name} must be {wanted}, not {value!r}")
    if not np.isfinite(float(value)):
        raise ValueError(f"{option.name} must be finite, not {value!r}")
    if option.kind == "logical" and value not in (0, 1):
        raise ValueError(f"{option.name} must be True or False, not {value!r}")
    if option.lowest is not None and option.highest is not None:
        low, high = option.lowest, option.highest
        if not low <= value <= high:
            raise ValueError(f"{option.name} must lie between {low:g} and {high:g}, not {value!r}")
    return int(value) if whole else float(value)


def _text(option: Option, value: Any) -> str:
    if not isinstance(value, (str, os.PathLike)):
        raise TypeError(f"{option.name} must be a text, not {value!r}")
    text = os.fspath(value)
    if not text:
        raise ValueError(f"{option.name} must not be empty")
    return os.path.abspath(text) if option.name in _PATHS else text


def spread(name: str, value: Any, names: Sequence[str], dtype: type = float) -> np.ndarray:
    """Return one value for each input or output.

    Parameters
    ----------
    name : str
        Of the option, for messages.
    value : number, sequence of numbers, or sequence of names
        One number stands for all. Names choose the ones that get a 1.
    names : sequence of str
        Of the inputs or outputs.
    dtype : type
        float or int.

    Returns
    -------
    ndarray of shape (len(names),)
    """
    if isinstance(value, str):
        value = [value]
    if np.ndim(value) > 0 and len(value) > 0 and all(isinstance(item, str) for item in value):
        unknown = [item for item in value if item not in names]
        if unknown:
            raise ValueError(f"{name} names what isn't there: {unknown}")
        return np.array([item in value for item in names], dtype=dtype)
    array = np.asarray(value, dtype=float)
    if array.ndim == 0:
        array = np.full(len(names), float(array))
    if array.shape != (len(names),):
        raise ValueError(f"{name} must have {len(names)} values, not {array.size}")
    if dtype is int:
        if not np.all(array == np.trunc(array)):
            raise TypeError(f"{name} must hold whole numbers, not {value!r}")
        return array.astype(int)
    return array


def checked(values: Mapping[str, Any]) -> dict[str, Any]:
    """Return the options that were given, tested one by one; lists of inputs and outputs untested.

    Parameters
    ----------
    values : mapping
        Parameters by name; None stands for the program's default.

    Raises
    ------
    TypeError, ValueError
        A value isn't of the option's kind, or outside its range.
    """
    given: dict[str, Any] = {}
    for name, value in values.items():
        if value is None:
            continue
        option = TABLE[name]
        if option.kind in ("whole", "logical", "real"):
            given[name] = _number(option, value)
        elif option.kind in ("text", "token"):
            given[name] = value if callable(value) else _text(option, value)
        elif option.kind == "powers":
            powers = np.atleast_1d(np.asarray(value, dtype=float)).ravel()
            if name == "prbfpower" and not np.all(powers == np.trunc(powers)):
                raise ValueError(f"prbfpower must hold whole numbers, not {value!r}")
            given[name] = powers
        else:
            given[name] = value
    return given


def hand_over(given: Mapping[str, Any], inputs: Sequence[str], outputs: Sequence[str]) -> None:
    """Set the options by calls; the sizes have been set.

    Parameters
    ----------
    given : mapping
        From `checked`.
    inputs, outputs : sequence of str
        Names, as many as there are.
    """
    for name, value in given.items():
        if name in _HANDLED_ELSEWHERE:
            continue
        option = TABLE[name]
        names = inputs if option.needs == "ninputs" else outputs
        if option.kind in ("whole", "logical"):
            calls.trvsetint(name, value)
        elif option.kind == "real":
            calls.trvsetreal(_REAL_NAMES.get(name, name), value)
        elif option.kind in ("text", "token"):
            calls.trvsetstring(name, value)
        elif option.kind == "powers":
            calls.trvsetrealvector(name, value)
        elif option.kind == "reals":
            calls.trvsetrealvector(name, spread(name, value, names))
        elif option.needs:
            calls.trvsetintvector(name, spread(name, value, names, int))
        else:
            calls.trvsetintvector(name, np.atleast_1d(value))
