#pragma once

#include "run/trvspace.h"

namespace torve {

// The way to a solver that leads through GAMS: the program is written to the current folder, GAMS
// is run on it, and what it answers in res.put is read back. The files stay there after a failure.
// trvolrgms of olr_routes.h goes the same way.

// The best subset of at most `it` terms for output k (from 0); see trvsolvemip. Ends the run with
// code 68 when the time is over, 74 when a copy for debug fails, 33 when GAMS fails and leaves no
// answer.
void trvsolvemipgms(RunState& run, int it, int k, double betabound, double bestmetric, int& miperr);

}  // namespace torve
