#!/usr/bin/env python3
"""Writes camel.trv and camel_bank.trv into FOLDER (default: this folder)."""
import sys
from pathlib import Path

HEAD = """\
# {title}
ninputs 2
noutputs 1
xlabels x y
zlabels camel
xmin -2 -1
xmax 2 1

{source}
maxiter 20
modeler 6                       # least sum of squares: more terms as long as they help
tolmeanerror 0.0001             # and no more than this takes

ncustombas 11                   # powers that can also be had where x or y is 0
begin_custombas
x^2
x^3
x^4
x^5
x^6
y^2
y^3
y^4
y^5
y^6
x*y
end_custombas
"""
SIMULATOR = """\
simulator ../camel_simulator    # started in the scratch folder, one level down
initialpoints 6"""
BANK = """\
ndata {points}
nbank {bank}                        # the last rows wait until the run asks for points"""


def camel(x, y):
    return (4 - 2.1 * x**2 + x**4 / 3) * x**2 + x * y + (4 * y**2 - 4) * y**2


def halton(index, base):
    value, weight = 0.0, 1.0
    while index:
        weight /= base
        value += weight * (index % base)
        index //= base
    return value


def main():
    folder = Path(sys.argv[1]) if len(sys.argv) > 1 else Path(__file__).parent
    title = "The six-hump camel function by a simulator: no data at the start, points where the model is weak."
    (folder / "camel.trv").write_text(HEAD.format(title=title, source=SIMULATOR))
    points = [(round(4 * halton(i, 2) - 2, 4), round(2 * halton(i, 3) - 1, 4)) for i in range(1, 61)]
    title = "The six-hump camel function from 60 measured points, 54 of which form a bank."
    text = HEAD.format(title=title, source=BANK.format(points=60, bank=54))
    text += "\nbegin_data\n" + "".join(f"{x:8.4f} {y:8.4f} {camel(x, y):10.6f}\n" for x, y in points)
    (folder / "camel_bank.trv").write_text(text + "end_data\n")


if __name__ == "__main__":
    main()
