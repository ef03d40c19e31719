#pragma once

#include "run/trvspace.h"

namespace torve {

// Grows the tables of the data to ndatacap rows; new rows hold no value of any output yet. Code 51
// when the memory can't be had.
bool grow_points(RunState& run);

// Makes room in the tables of test points for those that are to be sampled: rows of a section stay
// together, the ones of the file first, and the table of a section's first rows comes back in
// starts. ntestdata still counts the rows of the file.
bool widen_test_points(RunState& run, Array<int>& starts);

// Closes the gaps that sections with fewer points than asked for have left; found holds the points
// sampled for each section, which join ntestdata and ntestdatasum.
void close_test_gaps(RunState& run, const Array<int>& starts, const Array<int>& found);

}  // namespace torve
