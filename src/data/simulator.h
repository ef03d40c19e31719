#pragma once

#include "run/trvspace.h"

namespace torve {

// Gets values for rows first to last (from 0) of the data: from the bank while it lasts, the
// remaining rows from the simulator. lastobtained is the last row that has values, first - 1 when
// none has. isfresh: rows without values for an output are marked as such. On an error the run has
// its code: 36 the simulator can't be run or fails, 37 and 38 its files, 41 an input out of range,
// 42 and 43 values that are no numbers, 126 a transform, 34 and 35 the folders, 68 time is up.
void runsimulator(RunState& run, int first, int last, int& lastobtained, bool isfresh);

}  // namespace torve
