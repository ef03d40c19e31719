#pragma once

#include "run/trvspace.h"

namespace torve {

// Fixes the divisor of every input and the scaled bounds: the given factors, or the range of the
// input where that is above 1; all ones without xscaling.
void find_scales(RunState& run);

// Divides every stored input by its scale: data, bank, test points, prediction points.
void scale_points(RunState& run);

// Marks, per output, the rows of the data that hold a usable value: not within 0.0001 of preset.
void mark_bad_points(RunState& run);

// True when the value says that an output could not be had.
bool is_bad_value(double value, double preset);

}  // namespace torve
