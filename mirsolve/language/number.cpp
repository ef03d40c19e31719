#include "mirsolve/language/number.h"

#include <optional>

#include "text/free_format.h"

namespace mirsolve {

namespace {

// Digits with at most one point, and an exponent of a letter e or d with a sign, if any, and
// digits. What hangs together as a number begins with a digit, or with a point and a digit.
bool is_well_formed(std::string_view text) {
  constexpr std::string_view digits = "0123456789";
  const auto skip = [&](std::string_view characters) {
    text.remove_prefix(std::min(text.find_first_not_of(characters), text.size()));
  };
  skip(digits);
  if (text.starts_with('.')) text.remove_prefix(1);
  skip(digits);
  if (text.empty()) return true;
  if (std::string_view("eEdD").find(text.front()) == std::string_view::npos) return false;
  text.remove_prefix(1);
  if (text.starts_with('+') || text.starts_with('-')) text.remove_prefix(1);
  if (text.empty()) return false;
  skip(digits);
  return text.empty();
}

}  // namespace

bool read_number(Tokens& tokens, double& value) {
  if (tokens.now().kind != TokenKind::number) return tokens.fail(Slip::number_expected);
  if (!is_well_formed(tokens.now().text)) return tokens.fail(Slip::malformed_number);
  const std::optional<double> read = torve::read_free_real(tokens.now().text);
  if (!read) return tokens.fail(Slip::number_too_large);
  value = *read;
  tokens.advance();
  return true;
}

bool read_signed_number(Tokens& tokens, double& value) {
  const bool is_negative = tokens.accept("-");
  if (!is_negative) tokens.accept("+");
  if (!read_number(tokens, value)) return false;
  if (is_negative) value = -value;
  return true;
}

}  // namespace mirsolve
