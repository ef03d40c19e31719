#pragma once

#include "run/trvspace.h"

namespace torve {

// The best subset of at most `it` terms for output k (from 0) by an outside solver. `betabound`
// bounds the scaled coefficients, `bestmetric` is the metric to beat. miperr: 0 solved (the subset
// stands in thischoice and thisbeta), 1 no solution, 2 file trouble, 3 other. Ends the run with
// code 33 when the solver fails, 74 when a copy for debug does, 68 when the time is over.
void trvsolvemip(RunState& run, int it, int k, double betabound, double bestmetric, int& miperr);

}  // namespace torve
