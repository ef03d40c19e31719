#pragma once

#include <cstdint>

#include "run/trvspace.h"

namespace torve {

// The value of the model of output k (from 0) on a filled row of the catalogue: row[j * stride] is
// the value of column j. Rounded to the nearest whole number for an output of whole numbers.
double predict(const RunState& run, int k, const double* row, std::int64_t stride);

}  // namespace torve
