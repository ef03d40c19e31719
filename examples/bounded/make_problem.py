#!/usr/bin/env python3
"""Writes bounded.trv into FOLDER (default: this folder)."""
import math
import random
import sys
from pathlib import Path

HEAD = """\
# Conversion in a batch reactor over time (h): a share, so that no model may leave 0 to 1.
ninputs 1
noutputs 1
xlabels t
zlabels conversion
xmin 0
xmax 8
zmin 0
zmax 1
modeler 3                       # AICc: a bounded model of each size, and the best of them

ncustombas 3
begin_custombas
t^2
t^3
sqrt(t)
end_custombas

ndata {points}
begin_data
"""


def main():
    folder = Path(sys.argv[1]) if len(sys.argv) > 1 else Path(__file__).parent
    draw = random.Random(7)
    text = HEAD.format(points=15)
    for i in range(15):
        t = 0.1 + 0.5 * i
        conversion = 1 - math.exp(-0.9 * t) + draw.gauss(0, 0.01)
        text += f"{t:4.1f} {conversion:7.3f}\n"
    (folder / "bounded.trv").write_text(text + "end_data\n")


if __name__ == "__main__":
    main()
