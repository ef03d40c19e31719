#pragma once

#include <string_view>

#include "run/trvspace.h"

namespace torve {

// Set calls by option name. A call returns 0 or a termination code, which isn't stored in the run's
// status. Known so far are the four names that the main routine needs: cmdcount, cmdlength,
// scratchin and fname; any other name gives 143.
int trvsetint(RunState& run, std::string_view name, int value);
int trvsetstring(RunState& run, std::string_view name, std::string_view value);

}  // namespace torve
