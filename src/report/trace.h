#pragma once

#include <string>

#include "run/trvspace.h"

namespace torve {

// The names of all columns in one line; readers skip it by its first character.
std::string trace_header();
void write_trace_header(RunState& run);

// One row for each modelled output and set of points: the data, the bank, the test sections.
void write_trace_rows(RunState& run);

}  // namespace torve
