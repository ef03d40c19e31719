"""Groups of columns and the conditions on them, as rows of the problem file."""

from __future__ import annotations

from collections.abc import Mapping, Sequence
from dataclasses import dataclass
from typing import Any

# What the items of a member are: inputs, inputs and a power, or indices of a kind.
_KINDS: Mapping[str, tuple[str, int]] = {
    "lin": ("inputs", 0),
    "log": ("inputs", 0),
    "exp": ("inputs", 0),
    "sin": ("inputs", 0),
    "cos": ("inputs", 0),
    "mono": ("power", 1),
    "multi2": ("power", 2),
    "multi3": ("power", 3),
    "ratio": ("power", 2),
    "grbf": ("points", 0),
    "prbf": ("points", 0),
    "lk": ("points", 0),
    "cust": ("custom functions", 0),
    "const": ("nothing", 0),
    "grp": ("groups", 0),
}
_RULES = ("nmt", "atl", "req", "xcl")
_ALL = -1


@dataclass(frozen=True)
class Universe:
    """What groups can speak of.

    Attributes
    ----------
    inputs, outputs, groups : sequence of str
        Names.
    points, custom : int
        How many data points and custom functions there are.
    """

    inputs: Sequence[str]
    outputs: Sequence[str]
    groups: Sequence[str]
    points: int
    custom: int


def group_names(groups: Any) -> list[str]:
    """Return the names of groups: the keys of a mapping, or the places in a list."""
    if groups is None:
        return []
    if isinstance(groups, Mapping):
        return [str(name) for name in groups]
    return [str(place) for place in range(len(groups))]


def _index(item: Any, names: Sequence[str], what: str) -> int:
    """Return an index as the program counts, from 1, or -1 for all."""
    if item in (_ALL, "all"):
        return _ALL
    if isinstance(item, str):
        if item not in names:
            raise ValueError(f"a group names {what} that isn't there: {item!r}")
        return list(names).index(item) + 1
    place = int(item)
    if place != item or not 0 <= place < len(names):
        raise ValueError(f"a group names {what} that isn't there: {item!r}")
    return place + 1


def _member(member: Any, universe: Universe) -> str:
    kind, *items = (member,) if isinstance(member, str) else tuple(member)
    kind = str(kind).lower()
    if kind not in _KINDS:
        raise ValueError(f"unknown kind of member {kind!r} in a group: one of {', '.join(_KINDS)}")
    counted, inputs = _KINDS[kind]
    if counted == "nothing":
        if items:
            raise ValueError("const takes nothing in a group")
        return kind
    if counted == "power":
        if len(items) != inputs + 1:
            raise ValueError(f"{kind} takes {inputs} inputs and a power in a group, not {items}")
        indices = [_index(item, universe.inputs, "an input") for item in items[:-1]]
        return " ".join([kind, *map(str, indices), repr(float(items[-1]))])
    if not items:
        raise ValueError(f"{kind} takes at least one of the {counted} in a group")
    names: dict[str, Sequence[str]] = {
        "inputs": universe.inputs,
        "groups": universe.groups,
        "points": [str(i) for i in range(universe.points)],
        "custom functions": [str(i) for i in range(universe.custom)],
    }
    return " ".join([kind, *(str(_index(item, names[counted], counted)) for item in items)])


def group_rows(groups: Any, universe: Universe) -> list[str]:
    """Return the rows of the section of groups.

    Parameters
    ----------
    groups : mapping or sequence of lists of members
        A member is a kind and its items: ``("lin", "x1", "x2")``, ``("mono", "x1", 2)``,
        ``("grbf", 0)``, ``"const"``. Inputs and groups by name or by place from 0, the others by
        place; -1 or "all" for all.
    universe : Universe

    Raises
    ------
    ValueError
        A member doesn't exist.
    """
    if groups is None:
        return []
    members = groups.values() if isinstance(groups, Mapping) else groups
    rows = []
    for number, group in enumerate(members, start=1):
        rows += [f"{number} {_member(member, universe)}" for member in group]
        if not len(group):
            raise ValueError(f"group {universe.groups[number - 1]!r} has no members")
    return rows


def constraint_rows(constraints: Any, universe: Universe) -> list[str]:
    """Return the rows of the section of conditions on groups.

    Parameters
    ----------
    constraints : sequence of (group, output, rule, parameter), or None
        group and output by name or by place from 0; output None for all. The rule is nmt or atl
        with a count, or req or xcl with another group.
    universe : Universe

    Raises
    ------
    ValueError
        A condition speaks of what doesn't exist.
    """
    rows = []
    for group, output, rule, parameter in constraints or ():
        word = str(rule).lower()
        if word not in _RULES:
            raise ValueError(f"unknown condition {rule!r} on a group: one of {', '.join(_RULES)}")
        first = _index(group, universe.groups, "a group")
        which = _ALL if output is None else _index(output, universe.outputs, "an output")
        is_count = word in ("nmt", "atl")
        value = int(parameter) if is_count else _index(parameter, universe.groups, "a group")
        rows.append(f"{first} {which} {word} {value}")
    return rows
