#pragma once

#include <string>
#include <vector>

#include "run/trvspace.h"
#include "system/command.h"

namespace torve {

// Runs an outside solver in the current folder for what is left of maxtime. Its time on the wall
// joins `timer` and the run's total. When it had to be ended the run has code 68.
CommandResult run_solver(RunState& run, const std::string& command, double& timer);

// Copies a file for whoever looks into a run with debug on. False, with code 74 and the location,
// when that fails.
bool keep_copy(RunState& run, const std::string& from, const std::string& to, int location);

// Removes those of the files that exist.
void remove_files(const std::vector<std::string>& names);

}  // namespace torve
