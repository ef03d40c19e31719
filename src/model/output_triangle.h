#pragma once

#include "run/trvspace.h"

namespace torve {

// What the searches that fit few of their candidates have in common.

// The triangle of the output's screened columns, made at its first use. The usable rows must be
// marked for a series of fits. False where values on it can't be relied on.
bool has_triangle(RunState& run, int k);

// Whether a smaller sum of squares never has a larger metric with as many terms.
bool rises_with_squares(const RunState& run);

// The largest percentage error is at least this many times the root of the mean square: for every
// row the error counts at least so much.
double least_weight(std::span<const double> z, RowMask rows);

// Values within a millionth of each other are compared by fits, beyond the margin that the data ask
// for.
inline constexpr double near_the_best = 1.0 + 1e-6;

}  // namespace torve
