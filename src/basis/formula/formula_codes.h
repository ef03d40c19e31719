// The codes of compiled formulas, shared by the reader, the compiler and the evaluator.

#pragma once

#include <cstdint>

namespace torve::formula {

inline constexpr std::int32_t push_immediate = 1;
inline constexpr std::int32_t first_variable = 22;  // from here on: push the variable

/// Codes that replace the two top entries by one. Their order is also their precedence.
enum class Binary : std::int32_t { add = 3, subtract, multiply, divide, power };

/// Codes that replace the top entry.
enum class Unary : std::int32_t {
  negate = 2,
  abs = 8,
  exp,
  log10,
  log,
  sqrt,
  sinh,
  cosh,
  tanh,
  sin,
  cos,
  tan,
  asin,
  acos,
  atan
};

static_assert(static_cast<std::int32_t>(Unary::atan) + 1 == first_variable,
              "variables follow the last function");

constexpr bool is_binary(std::int32_t code) {
  return code >= static_cast<std::int32_t>(Binary::add) &&
         code <= static_cast<std::int32_t>(Binary::power);
}

}  // namespace torve::formula
