"""Models kept inside bounds over a whole box, from end to end: for 1 to 6 inputs a run without
bounds, and one with a lower bound, an upper bound and a constraint by formula, by an installed
program and the solver that is installed with it. An independent search over the box looks for a
point where the bounded model breaks one of the three by more than the tolerance; there must be none,
while the model without bounds must break one. Prints a table.

    bounded_runs.py BUILD [MOST_INPUTS]
"""

import itertools
import math
import os
import random
import re
import subprocess
import sys
import tempfile
import time
from pathlib import Path

TOLERANCE = 1e-3  # the program's crtol
TRIALS = 100_000
GUARANTEED = "Constraints guaranteed within tolerance"

# A share that rises with every input, the faster the smaller it is: 1 - exp(-s) of the sum s below.
# It lies between 0 and 1, and never above s.
RATES = (4.0, 2.0, 1.5, 1.0, 0.8, 0.6)


def total(x):
    return sum(rate * value for rate, value in zip(RATES, x))


def names(inputs):
    return [f"x{i + 1}" for i in range(inputs)]


def products(inputs):
    pairs = [f"{a}*{b}" for a, b in itertools.combinations(names(inputs), 2)]
    return [f"ncustombas {len(pairs)}", "begin_custombas", *pairs, "end_custombas"] if pairs else []


def problem(inputs, bounded):
    draw = random.Random(inputs)
    points = 20 + 10 * inputs
    lines = [
        f"ninputs {inputs}", "noutputs 1", "xlabels " + " ".join(names(inputs)), "zlabels share",
        "xmin " + "0 " * inputs, "xmax " + "1 " * inputs,
        "monomialpower 2 3", "expfcns 1", "modeler 3", "maxterms 6", *products(inputs),
        f"ndata {points}", "begin_data",
    ]
    for _ in range(points):
        x = [draw.uniform(0.0, 1.0) for _ in range(inputs)]
        share = 1.0 - math.exp(-total(x)) + draw.gauss(0.0, 0.05)
        lines.append(" ".join(f"{value:.4f}" for value in (*x, share)))
    lines.append("end_data")
    if bounded:
        sum_text = "+".join(f"{rate}*{name}" for rate, name in zip(RATES, names(inputs)))
        lines += [
            "zmin 0", "zmax 1", "crncustom 1", "begin_customcon", f"1 share-({sum_text})-0.02",
            "end_customcon",
        ]
    return "\n".join(lines) + "\n"


def violation(x, z):
    """By how much a value breaks the worst of the three bounds; negative inside all of them."""
    return max(-z, z - 1.0, z - total(x) - 0.02)


def model_of(listing, inputs):
    """The last model of a listing as a function of a list of inputs."""
    text = [line for line in listing.splitlines() if line.startswith(" ----")][-1]
    text = text.split(" share = ", 1)[1].replace("^", "**")
    for i, name in enumerate(names(inputs)):
        text = re.sub(rf"\b{name}\b", f"x[{i}]", text)
    return eval("lambda x: " + text, {"exp": math.exp})


def worst_violation(model, inputs):
    """Corners, random points, and from the worst of these steps along single inputs."""
    def worth(x):
        return violation(x, model(x))

    draw = random.Random(1)
    starts = [list(corner) for corner in itertools.product((0.0, 1.0), repeat=inputs)]
    starts += [[draw.uniform(0.0, 1.0) for _ in range(inputs)] for _ in range(TRIALS)]
    starts = sorted(starts, key=worth)[-50:]
    worst = -math.inf
    for x in starts:
        best, step = worth(x), 0.1
        while step > 1e-7:
            moved = False
            for i, sign in itertools.product(range(inputs), (-1.0, 1.0)):
                trial = list(x)
                trial[i] = min(1.0, max(0.0, x[i] + sign * step))
                value = worth(trial)
                if value > best:
                    x, best, moved = trial, value, True
            if not moved:
                step /= 2.0
        worst = max(worst, best)
    return worst


def run(tree, inputs, bounded, debug):
    """Screen, listing and seconds of one run, in a folder of its own and without other solvers."""
    with tempfile.TemporaryDirectory() as folder:
        file = Path(folder) / "share.trv"
        file.write_text(problem(inputs, bounded) + ("debug 1\n" if debug else ""))
        start = time.monotonic()
        done = subprocess.run(
            [tree / "bin" / "torve", file.name], cwd=folder, text=True, capture_output=True,
            env={**os.environ, "PATH": "/usr/bin:/bin"}, timeout=1800,
        )
        seconds = time.monotonic() - start
        if "Normal termination" not in done.stdout:
            sys.exit(f"a run of {inputs} inputs ended with:\n{done.stdout}")
        return done.stdout, file.with_suffix(".lst").read_text(), seconds


def searches(screen):
    found = re.search(r"MINLP time: .* in (\d+) optimization problems", screen)
    return int(found.group(1)) if found else 0


def compare(tree, most):
    print("| Inputs | Points | Columns | Passes | Solver calls | Seconds | Seconds, free | Worst point "
          "| Worst point, free |")
    print("|" + "---:|" * 9)
    for inputs in range(1, most + 1):
        _, listing, free_seconds = run(tree, inputs, False, False)
        free = worst_violation(model_of(listing, inputs), inputs)
        screen, listing, seconds = run(tree, inputs, True, False)
        bounded = worst_violation(model_of(listing, inputs), inputs)
        passes = run(tree, inputs, True, True)[1].count(">>> Entering crfind")
        columns = 4 * inputs + math.comb(inputs, 2) + 1
        print(f"| {inputs} | {20 + 10 * inputs} | {columns} | {passes} | {searches(screen)} "
              f"| {seconds:.2f} | {free_seconds:.3f} | {bounded:.1e} | {free:.1e} |", flush=True)
        if GUARANTEED not in screen:
            sys.exit(f"nothing was guaranteed with {inputs} inputs:\n{screen}")
        if bounded > TOLERANCE:
            sys.exit(f"the bounded model of {inputs} inputs is outside by {bounded}")
        if free <= TOLERANCE:
            sys.exit(f"the model of {inputs} inputs would have been inside without bounds")


def main():
    most = int(sys.argv[2]) if len(sys.argv) > 2 else len(RATES)
    with tempfile.TemporaryDirectory() as tree:
        subprocess.run(["cmake", "--install", sys.argv[1], "--prefix", tree], check=True,
                       capture_output=True, timeout=300)
        compare(Path(tree), most)


main()
