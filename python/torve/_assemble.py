"""From the estimator's parameters and data to a problem."""

from __future__ import annotations

import os
from collections.abc import Mapping, Sequence
from dataclasses import dataclass
from typing import Any

import numpy as np

from . import _core, _groups, _options, _problem, _scikit
from ._errors import TorveError, error_of
from ._formula import rename
from ._labels import Names

_LONGEST_FORMULA = 8192
_CUSTOM_SYNTAX, _CONSTRAINT_SYNTAX, _TRANSFORM_SYNTAX = 79, 84, 95
_FEWEST_POINTS = 2


@dataclass(frozen=True)
class Sets:
    """The further points of `fit`."""

    X_bank: Any = None
    y_bank: Any = None
    X_test: Any = None
    y_test: Any = None
    test_sets: Sequence[tuple[Any, Any]] = ()
    X_predict: Any = None

    @property
    def tests(self) -> list[tuple[Any, Any]]:
        """All test sets."""
        first = [] if self.X_test is None else [(self.X_test, self.y_test)]
        return [*first, *self.test_sets]


@dataclass
class Data:
    """All points of a fit, and the names that come with them.

    Attributes
    ----------
    X, Z : ndarray of shape (n_points, n_inputs) and (n_points, n_given_outputs)
        The bank comes last. NaN in Z is a missing value.
    is_flat : bool
        y was one-dimensional.
    n_bank : int
    tests : list of (ndarray, ndarray)
    X_predict : ndarray or None
    input_names, output_names : list of str or None
        As the data have them.
    """

    X: np.ndarray
    Z: np.ndarray
    is_flat: bool
    n_bank: int
    tests: list[tuple[np.ndarray, np.ndarray]]
    X_predict: np.ndarray | None
    input_names: list[str] | None
    output_names: list[str] | None


# --- data -----------------------------------------------------------------------------------------


def _texts(values: Any) -> list[str] | None:
    names = list(values)
    return names if names and all(isinstance(name, str) for name in names) else None


def _output_names(y: Any) -> list[str] | None:
    if hasattr(y, "columns"):
        return _texts(y.columns)
    name = getattr(y, "name", None)
    return [name] if isinstance(name, str) else None


def _checked_outputs(estimator: Any, y: Any, rows: int, width: int | None, name: str) -> np.ndarray:
    Z = _scikit.finite_or_missing(y, name)
    if Z.shape[0] != rows:
        raise ValueError(f"{name} has {Z.shape[0]} rows, not {rows} like its X")
    Z = Z.reshape(rows, -1)
    if width is not None and Z.shape[1] != width:
        raise ValueError(f"{name} has {Z.shape[1]} outputs, not {width} like y")
    if not estimator.missing_outputs and np.isnan(Z).any():
        raise ValueError(f"Input {name} contains NaN; missing_outputs=True allows that")
    return Z


def _read_main(estimator: Any, X: Any, y: Any) -> tuple[np.ndarray, np.ndarray]:
    """Return X and y with scikit-learn's own tests and messages."""
    fewest = {"ensure_min_samples": _FEWEST_POINTS}
    if y is None or not estimator.missing_outputs:
        X, y = _scikit.validate(estimator, X, y, multi_output=True, y_numeric=True, **fewest)
        return X, y
    X = _scikit.validate(estimator, X, **fewest)
    y = _scikit.finite_or_missing(y, "y")
    empty = np.isnan(y.reshape(len(y), -1)).all(axis=0)
    if empty.any():
        raise ValueError("y has an output without a single value")
    return X, _checked_outputs(estimator, y, len(X), None, "y") if y.ndim > 1 else y


def _without_data(estimator: Any) -> tuple[np.ndarray, np.ndarray]:
    """Return empty X and y for a run that samples all its points."""
    if estimator.simulator is None:
        raise ValueError("X is None, and there is no simulator that points could come from")
    if estimator.xmin is None or estimator.xmax is None:
        raise ValueError("without X, xmin and xmax have to be given")
    inputs = max(np.size(estimator.xmin), np.size(estimator.xmax), len(estimator.xlabels or ()))
    outputs = len(estimator.zlabels or ("Z1",)) - len(estimator.transforms or ())
    estimator.n_features_in_ = inputs
    return np.empty((0, inputs)), np.empty((0, max(outputs, 1)))


def read_data(estimator: Any, X: Any, y: Any, more: Sets) -> Data:
    """Return all points of a fit, tested.

    Raises
    ------
    ValueError, TypeError
        As scikit-learn has it.
    """
    output_names = _output_names(y)
    if X is None and y is None:
        X, y = _without_data(estimator)
        is_flat = y.shape[1] == 1
    else:
        X, y = _read_main(estimator, X, y)
        is_flat = y.ndim == 1
    if len(y) != len(X):
        raise ValueError(f"y has {len(y)} rows, not {len(X)} like X")
    Z = y.reshape(len(X), -1).astype(float) if len(X) else y
    names = getattr(estimator, "feature_names_in_", None)

    def pair(points: Any, values: Any, name: str) -> tuple[np.ndarray, np.ndarray]:
        inputs = _scikit.validate(estimator, points, reset=False)
        return inputs, _checked_outputs(estimator, values, len(inputs), Z.shape[1], name)

    n_bank = int(estimator.nbank or 0)
    if not 0 <= n_bank <= len(X):
        raise ValueError(f"nbank must lie between 0 and the {len(X)} rows of X, not {n_bank}")
    if more.X_bank is not None:
        if n_bank:
            raise ValueError("the bank is given by nbank and by X_bank")
        X_bank, Z_bank = pair(more.X_bank, more.y_bank, "y_bank")
        n_bank = len(X_bank)
        X, Z = np.vstack([X, X_bank]), np.vstack([Z, Z_bank])
    predict = more.X_predict
    return Data(
        X=X,
        Z=Z,
        is_flat=is_flat,
        n_bank=n_bank,
        tests=[pair(points, values, "y_test") for points, values in more.tests],
        X_predict=None if predict is None else _scikit.validate(estimator, predict, reset=False),
        input_names=None if names is None else [str(name) for name in names],
        output_names=output_names,
    )


# --- names ----------------------------------------------------------------------------------------


def _listed(formulas: Any) -> list[Any]:
    if formulas is None:
        return []
    return [formulas] if isinstance(formulas, str) else list(formulas)


def _numbered(letter: str, count: int, taken: Sequence[str]) -> list[str]:
    names = [f"{letter}{i + 1}" for i in range(count)]
    used = {name.lower() for name in taken}
    # Not under the name of an input.
    return names if used.isdisjoint(name.lower() for name in names) else [f"{n}_" for n in names]


def _given_labels(name: str, labels: Any, counts: Sequence[int]) -> list[str]:
    if isinstance(labels, str):
        labels = labels.split()
    if len(labels) not in counts or not all(isinstance(label, str) for label in labels):
        raise ValueError(f"{name} must have {counts[0]} texts, not {labels!r}")
    if len({label.lower() for label in labels}) < len(labels):
        raise ValueError(f"{name} has a name twice: {labels!r}")
    return list(labels)


def _name_variables(estimator: Any, data: Data, transforms: Mapping[str, str]) -> Names:
    n, given = data.X.shape[1], data.Z.shape[1]
    inputs = data.input_names or _numbered("X", n, ())
    if estimator.xlabels is not None:
        inputs = _given_labels("xlabels", estimator.xlabels, [n])
    outputs = data.output_names or _numbered("Z", given, inputs)
    if estimator.zlabels is not None:
        counts = [given + len(transforms), given]
        outputs = _given_labels("zlabels", estimator.zlabels, counts)
    if len(outputs) == given:
        outputs = outputs + list(transforms)
    formulas = _listed(estimator.custom_bases) + _listed(estimator.custom_constraints)
    in_formulas = bool(transforms or formulas)
    return Names.of(inputs, outputs, in_formulas)


def _named_transforms(transforms: Any, given: int) -> dict[str, str]:
    if transforms is None:
        return {}
    if isinstance(transforms, Mapping):
        return {str(name): str(formula) for name, formula in transforms.items()}
    return {f"Z{given + i + 1}": str(formula) for i, formula in enumerate(_listed(transforms))}


# --- formulas -------------------------------------------------------------------------------------


def _formula(text: str, names: Mapping[str, str], labels: Sequence[str], code: int) -> str:
    """Return a formula in labels; its syntax is tested here, where the user's text is at hand."""
    if not isinstance(text, str):
        raise TypeError(f"a formula must be a text, not {text!r}")
    formula = " ".join(rename(text, names).split())
    if len(formula) > _LONGEST_FORMULA:
        raise ValueError(f"a formula has more than {_LONGEST_FORMULA} characters")
    fault = _core.check_formula(formula, list(labels)) if formula else ["an empty formula"]
    if fault:
        raise TorveError(code, error_of(code).message, 0, "\n".join([*fault[:1], text]))
    return formula


def _custom_bases(estimator: Any, names: Names) -> list[str]:
    formulas = _listed(estimator.custom_bases)
    to_labels = names.to_labels(inputs_only=True)
    return [_formula(f, to_labels, names.input_labels, _CUSTOM_SYNTAX) for f in formulas]


def _transforms(formulas: Mapping[str, str], names: Names) -> list[str]:
    labels = names.input_labels + names.output_labels
    to_labels = names.to_labels()
    return [_formula(f, to_labels, labels, _TRANSFORM_SYNTAX) for f in formulas.values()]


def _constraints(estimator: Any, names: Names) -> list[tuple[int, str]]:
    rows = _listed(estimator.custom_constraints)
    constraints = []
    for row in rows:
        output, text = (0, row) if isinstance(row, str) else row
        if isinstance(row, str) and len(names.outputs) > 1:
            raise ValueError("with several outputs a custom constraint is (output, formula)")
        k = names.outputs.index(output) if isinstance(output, str) else int(output)
        labels = [*names.input_labels, names.output_labels[k]]
        constraints.append((k, _formula(text, names.to_labels(), labels, _CONSTRAINT_SYNTAX)))
    return constraints


# --- the whole ------------------------------------------------------------------------------------


def _box(estimator: Any, data: Data, inputs: Sequence[str]) -> tuple[np.ndarray, np.ndarray]:
    X = data.X
    lowest = X.min(axis=0) if estimator.xmin is None else estimator.xmin
    highest = X.max(axis=0) if estimator.xmax is None else estimator.xmax
    return _options.spread("xmin", lowest, inputs), _options.spread("xmax", highest, inputs)


def _options_of(estimator: Any) -> dict[str, Any]:
    given = _options.checked({name: getattr(estimator, name) for name in _options.parameters()})
    # Named here, since the current folder may change before the file is opened.
    if given.get("trace") and "tracefname" not in given:
        given["tracefname"] = os.path.abspath("trace.trc")
    return given


def _add_groups(estimator: Any, problem: _problem.Problem) -> None:
    names = problem.names
    universe = _groups.Universe(
        inputs=names.inputs,
        outputs=names.outputs,
        groups=_groups.group_names(estimator.groups),
        points=len(problem.X) - problem.n_bank,
        custom=len(problem.custom_bases),
    )
    problem.n_groups = len(universe.groups)
    problem.groups = _groups.group_rows(estimator.groups, universe)
    constraints = estimator.group_constraints
    problem.group_constraints = _groups.constraint_rows(constraints, universe)


def assemble(estimator: Any, data: Data) -> _problem.Problem:
    """Return the problem of a fit.

    Raises
    ------
    ValueError, TypeError
        A parameter can't be used.
    TorveError
        The syntax of a formula is wrong.
    """
    transforms = _named_transforms(estimator.transforms, data.Z.shape[1])
    names = _name_variables(estimator, data, transforms)
    xmin, xmax = _box(estimator, data, names.inputs)
    problem = _problem.Problem(
        names=names,
        options=_options_of(estimator),
        xmin=xmin,
        xmax=xmax,
        X=data.X,
        Z=data.Z,
        n_bank=data.n_bank,
        tests=data.tests,
        X_predict=data.X_predict,
        custom_bases=_custom_bases(estimator, names),
        transforms=_transforms(transforms, names),
        constraints=_constraints(estimator, names),
        zmin=_problem.bounds("zmin", estimator.zmin, names.outputs),
        zmax=_problem.bounds("zmax", estimator.zmax, names.outputs),
    )
    _add_groups(estimator, problem)
    return problem


def scratch_folder(scratch: Any) -> str | None:
    """Return the absolute name of a scratch folder, which must not hold anything yet."""
    if scratch is None:
        return None
    folder: str = os.path.abspath(scratch)
    # The program would remove what is there.
    if os.path.lexists(folder) and not (os.path.isdir(folder) and not os.listdir(folder)):
        raise ValueError(f"the scratch folder exists and isn't empty: {folder}")
    return folder
