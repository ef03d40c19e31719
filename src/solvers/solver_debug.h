#pragma once

#include <string_view>

#include "run/trvspace.h"

namespace torve {

// Under debug, what both routes to a best subset start from: `routine` is the name of the route.
void debug_subset_entry(RunState& run, std::string_view routine, int k);

}  // namespace torve
