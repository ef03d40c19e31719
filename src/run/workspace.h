#pragma once

#include <string>

#include "run/trvspace.h"

namespace torve {

// Records the execution folder, makes an empty scratch folder with the group file in it, and works
// out where the solver's files lie. False when the run has to end.
bool trvworkspace(RunState& run);

// Finds the program of a command: its first word as a path (tried from the scratch folder when one
// is in use), then along PATH. The result is the name to run; blank when the program can't be
// found. The run's code is set only when a folder can't be entered.
std::string trvfindprogram(RunState& run, const std::string& command);

// True when the program can be run: a path that exists, or a name found along PATH.
bool trvonpath(const std::string& name);

// True when the folder may not be removed: it is the folder of the run, one that holds it or the
// problem file, or the root.
bool is_protected_folder(const RunState& run, const std::string& name);

}  // namespace torve
