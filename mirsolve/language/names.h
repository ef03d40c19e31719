#pragma once

#include <algorithm>
#include <string_view>
#include <unordered_map>

#include "mirsolve/language/oddities.h"
#include "mirsolve/problem/problem.h"

namespace mirsolve {

// Variables by name. The names are those of the text, which outlives its reading.
using VariableIndex = std::unordered_map<std::string_view, int>;

// Letters compare in either case.
inline bool same_word(std::string_view a, std::string_view b) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  return std::ranges::equal(a, b, {}, lower, lower);
}

// Keeps the name of an oddity that was met, once. Whether it is the first time.
inline bool note(Problem& problem, std::string_view name) {
  const bool is_first = std::ranges::find(problem.oddities, name) == problem.oddities.end();
  if (is_first) problem.oddities.emplace_back(name);
  return is_first;
}
inline bool note(Problem& problem, Oddity oddity) {
  return note(problem, row_of(oddity).name);
}

}  // namespace mirsolve
