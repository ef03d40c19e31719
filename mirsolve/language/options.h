// The options of a text: a row each.
#pragma once

#include <array>
#include <string_view>
#include <variant>

#include "mirsolve/language/tokens.h"
#include "mirsolve/problem/problem.h"

namespace mirsolve {

// What an option sets. Those that set nothing steer searches that this solver doesn't make; they
// are accepted and passed over.
using OptionTarget =
    std::variant<std::monostate, double Options::*, int Options::*, bool Options::*>;

struct OptionRow {
  std::string_view name;  // in letters of either case
  double lowest;          // of reals and whole numbers
  double highest;
  OptionTarget target;
};

extern const std::array<OptionRow, 16> option_rows;

// Nullptr for an option that isn't known.
const OptionRow* find_option(std::string_view name);

// Stores the value. False, with a slip at the token, when the option doesn't take it.
bool store_option(Options& options, const OptionRow& row, double value, Tokens& tokens,
                  const Token& token);

}  // namespace mirsolve
