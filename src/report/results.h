#pragma once

#include "run/trvspace.h"

namespace torve {

// Writes what the run found: errors at every point (listing only), quality and terms of every
// output's model, predictions, and predictions in the extrapolation box.
void writereport(RunState& run);

}  // namespace torve
