#!/usr/bin/env python3
"""Writes longley.trv and longley_full.trv beside this script, or into the folder given.

The data: J. W. Longley, J. Amer. Statist. Assoc. 62 (1967) 819, as certified by NIST.
"""
import json
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
DATA = HERE.parent.parent / "tests" / "data" / "nist" / "longley.json"

LABELS = ["deflator", "gnp", "unemployed", "armed", "population", "year"]


def problem(heading, options, data):
    columns = list(zip(*data["x"]))
    lines = [f"# {line}" for line in heading]
    lines += [
        "ninputs 6",
        "noutputs 1",
        "xlabels " + " ".join(LABELS),
        "zlabels employed",
        "xmin " + " ".join(str(min(column)) for column in columns),
        "xmax " + " ".join(str(max(column)) for column in columns),
        *options,
        f"ndata {data['n_obs']}",
        "begin_data",
    ]
    lines += [" ".join(map(str, row)) + f" {y}" for row, y in zip(data["x"], data["y"])]
    lines.append("end_data")
    return "\n".join(lines) + "\n"


def main():
    folder = Path(sys.argv[1]) if len(sys.argv) > 1 else HERE
    data = json.loads(DATA.read_text())
    subject = "Employment in the United States, 1947 to 1962, in thousands (Longley 1967)."
    (folder / "longley.trv").write_text(problem(
        [subject, "Which of the six inputs does BIC keep?"], [], data))
    (folder / "longley_full.trv").write_text(problem(
        [subject, "All inputs, the certified model: SSEp without a penalty takes the full fit.",
         "Without DGELS the refined solver answers, which gives 14 digits in place of 12."],
        ["modeler 6", "olrdgels 0"], data))


if __name__ == "__main__":
    main()
