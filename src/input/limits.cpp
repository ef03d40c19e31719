#include <fmt/format.h>

#include <cmath>
#include <limits>

#include "input/problem_reader.h"
#include "report/printer.h"
#include "text/number_edits.h"

namespace torve {

namespace {

constexpr double whole_tolerance = 1e-06;

double present(const RunState& run, const OptionRow& row) {
  if (const auto* member = std::get_if<int Options::*>(&row.storage)) return run.options.*(*member);
  if (const auto* member = std::get_if<int Sizes::*>(&row.storage)) return run.sizes.*(*member);
  return 0.0;
}

double replacement(const RunState& run, const OptionRow& row) {
  switch (row.limits.replacement.kind) {
    case OnError::constant:
      return row.limits.replacement.value;
    case OnError::present_value:
      return present(run, row);
    case OnError::twice_ninputs:
      return 2.0 * run.sizes.ninputs;
  }
  return 0.0;
}

// Rows without a keyword are of the kind that is stored.
bool is_whole(const OptionRow& row) {
  return row.kind != Kind::reals && !std::holds_alternative<double Options::*>(row.storage);
}

}  // namespace

int to_whole(double value) {
  if (std::isnan(value)) return 0;
  if (value >= std::numeric_limits<int>::max()) return std::numeric_limits<int>::max();
  if (value <= std::numeric_limits<int>::min()) return std::numeric_limits<int>::min();
  return static_cast<int>(value);
}

void checkoption(RunState& run, std::string_view name, double& value, bool verbose) {
  const std::optional<OptionName> option = look_up(name);
  if (!option || !option->shares_limits || !option->row->limits.exist) return;
  const OptionRow& row = *option->row;
  const auto replace = [&](std::string_view reason) {
    const double mended = replacement(run, row);
    if (verbose) {
      print_to_console(run, fmt::format("Supplied value for {} is {}", name, free_form(value)));
      print_to_console(run, reason);
      print_to_console(run,
                       fmt::format("Setting {} to {} and continuing.", name, free_form(mended)));
    }
    value = mended;
  };
  if (is_whole(row) && std::abs(value - std::trunc(value)) > whole_tolerance) {
    replace("Noninteger values are not allowable for this option.");
    return;
  }
  if (value < row.limits.lowest) replace("This is below allowable minimum for this option.");
  if (value > row.limits.highest) replace("This is above allowable maximum for this option.");
}

}  // namespace torve
