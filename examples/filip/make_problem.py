#!/usr/bin/env python3
"""Writes filip.trv and filip_centred.trv beside this script, or into the folder given.

The data: A. Filippelli, NIST, the linear regression set Filip.
"""
import json
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
DATA = HERE.parent.parent / "tests" / "data" / "nist" / "filip.json"


def problem(heading, options, data):
    x = [row[0] for row in data["x"]]
    lines = [f"# {line}" for line in heading]
    lines += [
        "ninputs 1",
        "noutputs 1",
        "xlabels x",
        "zlabels y",
        f"xmin {min(x)}",
        f"xmax {max(x)}",
        "modeler 6",
        "olrdgels 0",
        *options,
        f"ndata {data['n_obs']}",
        "begin_data",
    ]
    lines += [f"{a} {b}" for a, b in zip(x, data["y"])]
    lines.append("end_data")
    return "\n".join(lines) + "\n"


def main():
    folder = Path(sys.argv[1]) if len(sys.argv) > 1 else HERE
    data = json.loads(DATA.read_text())
    subject = "A polynomial of degree 10 through 82 points (Filippelli, NIST)."
    (folder / "filip.trv").write_text(problem(
        [subject, "Powers of x: their condition number is 2e15."],
        ["monomialpower 2 3 4 5 6 7 8 9 10"], data))
    centred = [f"((x+6)/3)^{power}" for power in range(1, 11)]
    (folder / "filip_centred.trv").write_text(problem(
        [subject, "The same polynomial in powers of (x+6)/3."],
        ["linfcns 0", "ncustombas 10", "begin_custombas", *centred, "end_custombas"], data))


if __name__ == "__main__":
    main()
