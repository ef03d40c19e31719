#pragma once

#include "run/trvspace.h"

namespace torve {

// One pass of the search for points where the model of output k (from 0) breaks its constraints;
// the points join the output's bounding set. Returns how many were found. Until the search is built
// it ends the run with code 73.
int crfind(RunState& run, int k);

}  // namespace torve
