"""How good models are, as dictionaries."""

from __future__ import annotations

from collections.abc import Sequence
from typing import Any

from ._options import CRITERIA
from ._run import Outcome

_NO_ADJUSTED_R2 = -1e30  # what the program has for it where there is no degree of freedom is below
_MEASURES = ("sse", "rmse", "r2", "r2_adjusted", "max_error", "max_error_percent")
_BANK = -1


def _number(value: float, preset: float) -> float:
    return float("nan") if value == preset or value <= _NO_ADJUSTED_R2 else float(value)


def _measures(fields: dict[str, Any], preset: float) -> dict[str, Any]:
    measures: dict[str, Any] = {name: _number(fields[name], preset) for name in _MEASURES}
    measures["points"] = fields["rows"]
    # A perfect fit has a criterion of -1e30 and less.
    measures["criteria"] = {
        name: float("nan") if value == preset else float(value)
        for name, value in zip(CRITERIA, fields["criteria"])
    }
    return measures


def _output_metrics(output: dict[str, Any], name: str, outcome: Outcome) -> dict[str, Any]:
    results = outcome.results
    metrics: dict[str, Any] = {"output": name, "code": outcome.code, "message": outcome.message}
    metrics.update(time=outcome.seconds, **results["counts"])
    criterion = CRITERIA[results["modeler"] - 1]
    metrics.update(criterion=criterion, value=float("nan"), n_terms=0)
    if not output["has_model"] or not output["sets"]:
        return metrics
    preset = results["preset"]
    data, *others = output["sets"]
    metrics.update(_measures(data, preset))
    metrics.update(
        value=metrics["criteria"][criterion],
        n_terms=output["size"],
        sse_full=_number(output["sse_full"], preset),
        converged=output["converged"],
        bank=next((_measures(s, preset) for s in others if s["number"] == _BANK), None),
        tests=[_measures(s, preset) for s in others if s["number"] != _BANK],
    )
    return metrics


def metrics_of(outcome: Outcome, names: Sequence[str]) -> list[dict[str, Any]]:
    """Return the measures of each modelled output.

    Parameters
    ----------
    outcome : Outcome
    names : sequence of str
        Of all outputs.

    Returns
    -------
    list of dict
        Of the data: criterion, value, n_terms, sse, rmse, r2, r2_adjusted, max_error,
        max_error_percent, criteria, points, sse_full (of the fit of all candidates), converged;
        bank (a dict or None) and tests (a list) with the same measures. Of the run: code, message,
        time, iterations, columns, active_columns, regressions and other counts. NaN is a measure
        that doesn't exist.
    """
    outputs = outcome.results["outputs"]
    return [
        _output_metrics(output, name, outcome)
        for output, name in zip(outputs, names)
        if not output["ignored"]
    ]
