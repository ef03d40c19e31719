#!/usr/bin/env python3
"""Employment in the United States, 1947 to 1962 (Longley 1967): which inputs tell it."""

import numpy as np

from torve import TorveRegressor

NAMES = ["deflator", "gnp", "unemployed", "armed", "population", "year"]
DATA = np.array(
    [
        [83.0, 234289, 2356, 1590, 107608, 1947, 60323],
        [88.5, 259426, 2325, 1456, 108632, 1948, 61122],
        [88.2, 258054, 3682, 1616, 109773, 1949, 60171],
        [89.5, 284599, 3351, 1650, 110929, 1950, 61187],
        [96.2, 328975, 2099, 3099, 112075, 1951, 63221],
        [98.1, 346999, 1932, 3594, 113270, 1952, 63639],
        [99.0, 365385, 1870, 3547, 115094, 1953, 64989],
        [100.0, 363112, 3578, 3350, 116219, 1954, 63761],
        [101.2, 397469, 2904, 3048, 117388, 1955, 66019],
        [104.6, 419180, 2822, 2857, 118734, 1956, 67857],
        [108.4, 442769, 2936, 2798, 120445, 1957, 68169],
        [110.8, 444546, 4681, 2637, 121950, 1958, 66513],
        [112.6, 482704, 3813, 2552, 123366, 1959, 68655],
        [114.2, 502601, 3931, 2514, 125368, 1960, 69564],
        [115.7, 518173, 4806, 2572, 127852, 1961, 69331],
        [116.9, 554894, 4007, 2827, 130081, 1962, 70551],
    ]
)
CERTIFIED = {
    "deflator": 15.0618722713733,
    "gnp": -0.0358191792925910,
    "unemployed": -2.02022980381683,
    "armed": -1.03322686717359,
    "population": -0.0511041056535807,
    "year": 1829.15146461355,
}


def main() -> None:
    """Print both models."""
    X, y = DATA[:, :-1], DATA[:, -1]
    names = {"xlabels": NAMES, "zlabels": ["employed"]}

    chosen = TorveRegressor(**names).fit(X, y)
    print("BIC keeps", ", ".join(chosen.terms_))
    print(chosen.model_)

    # SSEp without a penalty takes all terms; without DGELS the refined solver answers.
    full = TorveRegressor(modeler="SSEp", olrdgels=False, **names).fit(X, y)
    for name, coefficient in zip(full.terms_, full.coef_):
        digits = -np.log10(max(abs(coefficient / CERTIFIED[name] - 1), 1e-16))
        print(f"{name:>10} {coefficient:20.12f}  {digits:4.1f} digits as certified")


if __name__ == "__main__":
    main()
