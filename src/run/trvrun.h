#pragma once

#include "run/trvspace.h"

namespace torve {

// A whole run, from the start clock to the termination message. The outcome is the run's status;
// the final report always runs.
void trvrun(RunState& run);

// The end of every run: quality, results, times, the trace's rows, the termination message, and the
// scratch folder.
void trvfinish(RunState& run);

}  // namespace torve
