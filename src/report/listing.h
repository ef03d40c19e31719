#pragma once

#include "run/trvspace.h"

namespace torve {

// The echo of options and data that opens the listing. False when the run has to end.
bool list_options(RunState& run);

}  // namespace torve
