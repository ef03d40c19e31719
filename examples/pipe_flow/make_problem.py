#!/usr/bin/env python3
"""Writes pipe_flow.trv beside this script, or into the folder given.

Heat transfer to a fluid that is heated in turbulent flow through a smooth pipe:

    Nu = 0.023 Re^0.8 Pr^0.4

F. W. Dittus and L. M. K. Boelter, Univ. Calif. Publ. Eng. 2 (1930) 443, with the coefficient of
W. H. McAdams, Heat Transmission, McGraw-Hill, 1942. It holds for Re above 10,000, Pr from 0.7 to
160 and pipes longer than 10 diameters.

The measurements are made up: points at random in that range, even in the logarithm, with a
multiplicative error of 2 %. The length of the pipe in diameters has no effect and is there to be
rejected.
"""
import math
import random
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent

SEED = 1942
POINTS = 40
TEST_POINTS = 15
ERROR = 0.02
RANGES = {"re": (1.0e4, 1.2e5), "pr": (0.7, 120.0), "length": (20.0, 200.0)}


def nusselt(re, pr):
    return 0.023 * re**0.8 * pr**0.4


def measure(generator):
    """One row: Re, Pr, length in diameters, Nu."""
    re, pr, length = (math.exp(generator.uniform(math.log(low), math.log(high)))
                      for low, high in RANGES.values())
    re, pr, length = float(f"{re:.4g}"), float(f"{pr:.3g}"), float(f"{length:.3g}")
    nu = nusselt(re, pr) * math.exp(generator.gauss(0.0, ERROR))
    return f"{re:g} {pr:g} {length:g} {nu:.4g}"


def problem():
    generator = random.Random(SEED)
    rows = [measure(generator) for _ in range(POINTS)]
    tests = [measure(generator) for _ in range(TEST_POINTS)]
    lines = [
        "# Heat transfer in turbulent pipe flow: Nusselt number over Reynolds number, Prandtl",
        "# number and length of the pipe in diameters.",
        "ninputs 3",
        "noutputs 2",
        "ntrans 1",
        "xlabels re pr length",
        "zlabels nu lnnu",
        "xmin " + " ".join(f"{low:g}" for low, _ in RANGES.values()),
        "xmax " + " ".join(f"{high:g}" for _, high in RANGES.values()),
        "",
        "# The second output is the logarithm of the first, and the only one to be modelled.",
        "begin_transforms",
        "log(nu)",
        "end_transforms",
        "ignore 1 0",
        "",
        "# Candidates: x, ln x, 1/x and x^0.5 of every input, and a constant.",
        "logfcns 1",
        "monomialpower -1 0.5",
        "",
        f"ndata {POINTS}",
        "begin_data",
        *rows,
        "end_data",
        "",
        f"ntestdata {TEST_POINTS}",
        "begin_testdata",
        *tests,
        "end_testdata",
    ]
    return "\n".join(lines) + "\n"


def main():
    folder = Path(sys.argv[1]) if len(sys.argv) > 1 else HERE
    (folder / "pipe_flow.trv").write_text(problem())


if __name__ == "__main__":
    main()
