#include "mirsolve/language/options.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "mirsolve/language/names.h"

namespace mirsolve {

namespace {

constexpr double huge = std::numeric_limits<double>::max();

}  // namespace

const std::array<OptionRow, 16> option_rows = {{
    {"epsa", 0.0, huge, &Options::absolute_gap},
    {"epsr", 0.0, huge, &Options::relative_gap},
    {"cutoff", -huge, huge, &Options::cutoff},
    {"maxtime", 0.0, huge, &Options::seconds},
    {"firstfeas", 0.0, 1.0, &Options::first_feasible},
    {"NumSol", 1.0, 100000.0, &Options::solutions},
    {"isoltol", 0.0, huge, &Options::isolation},
    {"AbsIntFeasTol", 0.0, 0.5, &Options::absolute_integer_tolerance},
    {"RelIntFeasTol", 0.0, 0.5, &Options::relative_integer_tolerance},
    {"prlevel", -1000.0, 1000.0, &Options::print_level},
    {"allowcplex", -huge, huge, {}},
    {"maxiphdives", -huge, huge, {}},
    {"deltaTerm", -huge, huge, {}},
    {"deltaT", -huge, huge, {}},
    {"deltaA", -huge, huge, {}},
    {"deltaR", -huge, huge, {}},
}};

const OptionRow* find_option(std::string_view name) {
  const auto row = std::ranges::find_if(
      option_rows, [&](const OptionRow& known) { return same_word(known.name, name); });
  return row == option_rows.end() ? nullptr : &*row;
}

bool store_option(Options& options, const OptionRow& row, double value, Tokens& tokens,
                  const Token& token) {
  const bool is_whole = !std::holds_alternative<double Options::*>(row.target) &&
                        !std::holds_alternative<std::monostate>(row.target);
  if (is_whole && value != std::floor(value)) return tokens.fail(Slip::option_not_whole, token);
  if (value < row.lowest || value > row.highest) {
    return tokens.fail(Slip::option_out_of_range, token);
  }
  if (const auto* real = std::get_if<double Options::*>(&row.target)) options.*(*real) = value;
  if (const auto* number = std::get_if<int Options::*>(&row.target)) {
    options.*(*number) = static_cast<int>(value);
  }
  if (const auto* flag = std::get_if<bool Options::*>(&row.target)) options.*(*flag) = value != 0.0;
  return true;
}

}  // namespace mirsolve
