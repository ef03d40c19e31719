#pragma once

#include <cstdint>
#include <span>

#include "run/matrix_view.h"

namespace torve {

// The walk over subsets of the screened columns, in lexicographic order of their column numbers:
// the first subset holds the first `size` screened columns (all of them when there are fewer), and
// the last position moves fastest. The subset is kept as a mask, in place.
void first_subset(ColumnMask screened, int size, std::span<bool> choice);

// The next subset; false when the last one stands in `choice`, which then stays.
bool next_subset(ColumnMask screened, std::span<bool> choice);

// From the number of subsets of size - 1 of nbas columns, in prev, that of `size`, saturating at
// 2147483647; 0 when an argument is below 1. 32-bit arithmetic that wraps; a negative result is 0.
std::int32_t nextcombos(std::int32_t size, std::int32_t nbas, std::int32_t prev);

// The largest number of subsets of one size that nextcombos meets for sizes up to nbas / 2.
std::int32_t most_combos(std::int32_t nbas);

}  // namespace torve
