"""Models as HTML and LaTeX."""

from __future__ import annotations

import html
import re
from collections.abc import Callable, Sequence
from typing import Any

from ._model import Catalogue, OutputModel, Term

_SPECIAL = re.compile(r"([_%&#${}])")


# --- HTML -----------------------------------------------------------------------------------------


def _rows(model: OutputModel) -> list[str]:
    return [
        f"<tr><td style='text-align:right'>{term.coefficient:.6g}</td>"
        f"<td style='text-align:left'>{'1' if term.family == 'const' else html.escape(term.text)}"
        "</td></tr>"
        for term in model.terms
    ]


def html_of(models: Sequence[OutputModel], metrics: Any) -> str:
    """Return one table for each model: coefficients and terms, and how good it is."""
    measured = metrics if isinstance(metrics, list) else [metrics]
    tables = []
    for model, measures in zip(models, measured):
        caption = html.escape(model.name)
        if not model.exists:
            tables.append(f"<p>{caption}: no model</p>")
            continue
        quality = f"{measures['criterion']} {measures['value']:.6g}"
        quality += f", R² {measures.get('r2', float('nan')):.6g}"
        head = "<tr><th>coefficient</th><th>term</th></tr>"
        table = f"<table><caption>{caption} ({quality})</caption><thead>{head}</thead><tbody>"
        tables.append(table + "".join(_rows(model)) + "</tbody></table>")
    return "\n".join(tables)


# --- LaTeX ----------------------------------------------------------------------------------------


def _escaped(text: str) -> str:
    escaped = _SPECIAL.sub(r"\\\1", text.replace("\\", r"\textbackslash "))
    return escaped.replace("^", r"\textasciicircum ").replace("~", r"\textasciitilde ")


def _name(text: str) -> str:
    numbered = re.fullmatch(r"([A-Za-z])_?(\d+)", text)
    if numbered:
        return f"{numbered[1]}_{{{numbered[2]}}}"
    return text if re.fullmatch(r"[A-Za-z]", text) else rf"\text{{{_escaped(text)}}}"


def _number(value: float) -> str:
    text = f"{value:.6g}"
    mantissa, e, exponent = text.partition("e")
    return rf"{mantissa} \cdot 10^{{{int(exponent)}}}" if e else mantissa


def _call(function: str) -> Callable[[Term, Sequence[str]], str]:
    return lambda term, x: rf"\{function}\left({x[0]}\right)"


def _powered(base: Callable[..., str], brackets: bool) -> Callable[[Term, Sequence[str]], str]:
    def text(term: Term, x: Sequence[str]) -> str:
        inside = base(*x)
        if term.power == 1.0:
            return inside
        shown = rf"\left({inside}\right)" if brackets or "frac" in inside else inside
        return f"{shown}^{{{_number(term.power)}}}"

    return text


def _plain(term: Term, x: Sequence[str]) -> str:
    return rf"\text{{{_escaped(term.text)}}}"


_FAMILIES: dict[str, Callable[[Term, Sequence[str]], str]] = {
    "lin": lambda term, x: x[0],
    "log": _call("ln"),
    "exp": _call("exp"),
    "sin": _call("sin"),
    "cos": _call("cos"),
    "mono": _powered(lambda a, b, c: a, brackets=False),
    "multi2": _powered(lambda a, b, c: rf"{a} \, {b}", brackets=True),
    "multi3": _powered(lambda a, b, c: rf"{a} \, {b} \, {c}", brackets=True),
    "ratio": _powered(lambda a, b, c: rf"\frac{{{a}}}{{{b}}}", brackets=True),
    "const": lambda term, x: "",
}


def _inputs(term: Term, catalogue: Catalogue, names: Sequence[str]) -> list[str]:
    shown = []
    for j in term.inputs:
        scale = catalogue.scales[j]
        name = _name(names[j])
        shown.append(name if abs(scale - 1.0) <= 1e-9 else rf"\frac{{{name}}}{{{_number(scale)}}}")
    return shown


def _term(term: Term, catalogue: Catalogue, names: Sequence[str]) -> str:
    size = abs(term.coefficient)
    text = _FAMILIES.get(term.family, _plain)(term, _inputs(term, catalogue, names))
    if not text:
        return _number(size)
    return text if size == 1.0 else rf"{_number(size)} \, {text}"


def latex_of(models: Sequence[OutputModel], catalogue: Catalogue, names: Sequence[str]) -> str:
    """Return one line of LaTeX for each model."""
    lines = []
    for model in models:
        right = "" if model.terms else "0"
        for term in model.terms:
            sign = "-" if term.coefficient < 0 else "+"
            lead = f" {sign} " if right else ("-" if sign == "-" else "")
            right += lead + _term(term, catalogue, names)
        if model.is_whole:
            right = rf"\operatorname{{nint}}\left({right}\right)"
        lines.append(f"{_name(model.name)} &= {right}")
    return " \\\\\n".join(lines)
