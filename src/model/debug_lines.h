#pragma once

#include <span>
#include <string_view>

#include "run/trvspace.h"

namespace torve {

// The blocks of arguments and results that routines write to the listing under debug. Each routine
// asks first, so that an ordinary run pays for one test.
inline bool debugging(const RunState& run) {
  return run.options.debug && run.files.listing.is_open();
}

void debug_line(RunState& run, std::string_view text);
void debug_value(RunState& run, std::string_view label, double value);
void debug_whole(RunState& run, std::string_view label, long long value);
void debug_logical(RunState& run, std::string_view label, bool value);
void debug_mask(RunState& run, std::string_view label, std::span<const bool> values);
void debug_reals(RunState& run, std::string_view label, std::span<const double> values);
// The rows of the regression matrix that are in use, a line each.
void debug_matrix(RunState& run, std::string_view label);

// The arguments that the selection routines have in common: sizes, matrix, columns, output.
void debug_selection(RunState& run, int k);
// The result of a selection.
void debug_choice(RunState& run);

}  // namespace torve
