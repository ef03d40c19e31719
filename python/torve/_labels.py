"""Names of inputs and outputs: as the user knows them, and as the program takes them."""

from __future__ import annotations

import re
import unicodedata
from collections.abc import Iterable, Mapping, Sequence
from dataclasses import dataclass, field

from ._formula import FUNCTIONS

_LONGEST = 128
_LEGAL = re.compile(r"[A-Za-z][A-Za-z0-9_]*\Z")
_WORD = re.compile(r"[A-Za-z][A-Za-z0-9_]*")
_PREFIX = "v_"


def _is_legal(name: str, in_formulas: bool) -> bool:
    folded = name.lower()
    if not _LEGAL.match(name) or len(name) > _LONGEST or folded.startswith("trv_"):
        return False
    # A function's name at the start of an operand is always read as that function.
    return not in_formulas or not (folded == "pi" or folded.startswith(FUNCTIONS))


def _made_legal(name: str, in_formulas: bool) -> str:
    plain = unicodedata.normalize("NFKD", name).encode("ascii", "ignore").decode()
    label = re.sub(r"[^A-Za-z0-9_]+", "_", plain).strip("_")[: _LONGEST - 10]
    return label if _is_legal(label, in_formulas) else _PREFIX + label


def _free(label: str, taken: set[str]) -> str:
    candidate, number = label, 1
    while candidate.lower() in taken:
        number += 1
        candidate = f"{label}_{number}"
    return candidate


def legal_labels(names: Sequence[str], taken: Iterable[str], in_formulas: bool) -> list[str]:
    """Return one legal label a name; names that are legal and free stay as they are.

    Parameters
    ----------
    names : sequence of str
    taken : iterable of str
        Labels that are in use, in any case.
    in_formulas : bool
        Formulas name the variables, so that labels mustn't look like a function.
    """
    used = {label.lower() for label in taken}
    labels = [""] * len(names)
    legal = [_is_legal(name, in_formulas) for name in names]
    # Legal names first: none loses its name to one that has to be changed.
    for wanted in (True, False):
        for i, name in enumerate(names):
            if legal[i] != wanted:
                continue
            label = _free(name if wanted else _made_legal(name, in_formulas), used)
            used.add(label.lower())
            labels[i] = label
    return labels


@dataclass(frozen=True)
class Names:
    """Names and labels of inputs and outputs; the outputs that are formulas come last."""

    inputs: list[str]
    outputs: list[str]
    input_labels: list[str] = field(default_factory=list)
    output_labels: list[str] = field(default_factory=list)

    @classmethod
    def of(cls, inputs: Sequence[str], outputs: Sequence[str], in_formulas: bool) -> Names:
        """Find a legal label for every name."""
        input_labels = legal_labels(inputs, (), in_formulas)
        output_labels = legal_labels(outputs, input_labels, in_formulas)
        return cls(list(inputs), list(outputs), input_labels, output_labels)

    def _pairs(self) -> list[tuple[str, str]]:
        pairs = [*zip(self.inputs, self.input_labels), *zip(self.outputs, self.output_labels)]
        return [(name, label) for name, label in pairs]

    def to_labels(self, inputs_only: bool = False) -> Mapping[str, str]:
        """Return the label of each name; a name that several variables have isn't there."""
        pairs = self._pairs()[: len(self.inputs) if inputs_only else None]
        names = [name for name, _ in pairs]
        return {name: label for name, label in pairs if names.count(name) == 1}

    def shown(self, text: str) -> str:
        """Return a text of the program with the user's names in place of the labels."""
        changed = {label: quoted(name) for name, label in self._pairs() if label != name}
        if not changed:
            return text
        return _WORD.sub(lambda match: changed.get(match.group(), match.group()), text)


def quoted(name: str) -> str:
    """Return a name as formulas take it: in backticks unless it is a word."""
    return name if name.isidentifier() else f"`{name}`"
