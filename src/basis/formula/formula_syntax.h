// Reads the text of a formula into tokens and finds its first syntax error.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace torve::formula {

struct Token {
  enum class Kind : std::uint8_t { number, variable, function, minus, opening, closing, binary };

  Kind kind = Kind::number;
  std::int32_t code = 0;  // of a variable, a function or a binary operator
  double value = 0.0;     // of a number
};

struct SyntaxError {
  std::string message;
  std::size_t position =
      0;  // in the text as it was given, from 0; its length for an error at the end
};

/// Leaves in `tokens` the tokens up to the end or to the first error. Without an error they are a
/// whole formula: operands and binary operators alternate, signs stand only before an operand that
/// opens the formula or a parenthesis, each function is followed by a parenthesis, and parentheses
/// match.
std::optional<SyntaxError> read_formula(std::string_view text,
                                        std::span<const std::string> varnames,
                                        std::vector<Token>& tokens);

/// An error in three lines for the reader of the problem file.
std::vector<std::string> error_lines(std::string_view text, const SyntaxError& error);

}  // namespace torve::formula
