#pragma once

#include "run/trvspace.h"

namespace torve {

// Builds a model for every output that is neither ignored nor converged; one iteration of the main
// loop. Results stand in run.models; a failure sets the run's code and leaves the remaining
// outputs.
void trvsurr(RunState& run);

// Builds the model of output k (from 0) with at most nmax terms; with doenum by full enumeration if
// that works.
void trvsurr1(RunState& run, int k, int nmax, bool doenum);

// Work arrays of model building, and the results of each output.
bool request_model_work(RunState& run);
bool request_model_results(RunState& run);

}  // namespace torve
