#!/usr/bin/env python3
"""The lasso path of the benchmarks beside scikit-learn's, on the same data and penalties.

    OMP_NUM_THREADS=1 bench/lasso_beside_python.py build/release/bench/torve_bench

Both go through 100 penalties on one thread. They don't end alike: a sweep here ends a point when no
coefficient moves by a thousandth of its size, or of 1; scikit-learn ends it by its duality gap. Its
time is given for two tolerances, its own and a coarse one, each in the faster of its two ways.
"""
import json
import math
import os
import subprocess
import sys
import time

os.environ.setdefault("OMP_NUM_THREADS", "1")
os.environ.setdefault("OPENBLAS_NUM_THREADS", "1")

try:
    import numpy
    from sklearn.linear_model import lasso_path
except ImportError:
    sys.exit("scikit-learn isn't installed: nothing to compare with")

ROWS, COLUMNS, POINTS = 1000, 500, 100
ROUNDS = 5


def numbers():
    """Between -1 and 1, as in lasso_bench.cpp."""
    state = 1
    while True:
        state = (state * 6364136223846793005 + 1442695040888963407) % 2**64
        yield (state >> 11) * 2.0**-52 - 1.0


def problem():
    """Standardised columns and the centred output of lasso_bench.cpp."""
    source = numbers()
    x = numpy.empty((ROWS, COLUMNS), order="F")
    z = numpy.empty(ROWS)
    for i in range(ROWS):
        common = next(source), next(source)
        x[i] = [next(source) + common[j % 2] for j in range(COLUMNS)]
        z[i] = next(source)
        for j in range(0, COLUMNS, 10):
            z[i] += (2.0 if j % 20 == 0 else -1.0) * x[i, j]
    x = (x - x.mean(axis=0)) / x.std(axis=0, ddof=1)
    return numpy.asfortranarray(x), z - z.mean()


def python_seconds(x, z, tolerance, gram):
    largest = numpy.abs(x.T @ z).max() / ROWS
    penalties = numpy.exp(numpy.linspace(math.log(largest), math.log(0.001 * largest), POINTS))
    times = []
    for _ in range(ROUNDS):
        start = time.process_time()
        lasso_path(x, z, alphas=penalties, tol=tolerance, precompute=gram, max_iter=100000)
        times.append(time.process_time() - start)
    return sorted(times)[ROUNDS // 2]


def our_seconds(program):
    """A path a second is the benchmark's counter "ours"."""
    size = f"lasso_path/rows:{ROWS}/columns:{COLUMNS}"
    done = subprocess.run(
        [program, f"--benchmark_filter={size}", "--benchmark_format=json"],
        check=True, capture_output=True, text=True)
    return 1.0 / json.loads(done.stdout)["benchmarks"][0]["ours"]


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    print(f"{POINTS} points, {ROWS} rows, {COLUMNS} columns, one thread")
    print(f"torve                        {1e3 * our_seconds(sys.argv[1]):8.1f} ms")
    x, z = problem()
    for tolerance in 1e-4, 1e-2:
        best = min(python_seconds(x, z, tolerance, gram) for gram in (True, False))
        print(f"scikit-learn, tol {tolerance:<7g}    {1e3 * best:8.1f} ms")


main()
