#pragma once

#include "run/trvspace.h"

namespace torve {

// Fills the transformed outputs of rows first to last - 1 of a table of points: each formula is
// evaluated on the row's inputs (in the user's units, before scaling) and outputs, in order. A
// formula that names an output that the row doesn't have gives `preset`. Returns the first row that
// can't be evaluated, or -1.
int transform_rows(RunState& run, const Table<double>& x, Table<double>& z, int first, int last);

// The same for all points that the file gave. False (code 126) when one can't be evaluated.
bool transform_given_points(RunState& run);

}  // namespace torve
