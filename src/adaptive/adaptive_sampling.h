#pragma once

#include "run/trvspace.h"

namespace torve {

// One pass of adaptive sampling: new points test the models of the outputs that haven't converged,
// and models are rejected or converge. The new rows join the data in either case, unless the run
// got a code on the way.
void trvadaptivesampling(RunState& run);

// Largest (z - prediction)^2 of output k over rows first to last (from 0), whether the simulator
// gave values there or not; stops looking beyond bound. Rows of the catalogue have to be filled.
// 0 when first > last or bound < 0; not a number when a value isn't one.
double maxsqerror(const RunState& run, int first, int last, int k, double bound);

// The same over the rows that have a value, with the relative error 1 - prediction/z where |z| is
// above 0.001.
double maxrelsqerror(const RunState& run, int first, int last, int k, double bound);

}  // namespace torve
