#pragma once

#include "run/trvspace.h"

namespace torve {

// One pass of adaptive sampling: new points test the models, and models are rejected or converged.
// Until the samplers are built it ends the run with code 66.
void trvadaptivesampling(RunState& run);

}  // namespace torve
