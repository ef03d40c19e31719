#pragma once

#include "model/least_squares.h"
#include "run/subset_triangle.h"

namespace torve::fast_walk {

// Reduces the columns that the problem lists. False where the walk can't rely on the values: no
// number but zeros or infinities, sizes near the ends of the range, columns so nearly orthogonal to
// an output of such size that the check of a fit might reject any answer.
bool reduce(const Regression& problem, Triangle& triangle);

}  // namespace torve::fast_walk
