#include "text/number_edits.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string_view>
#include <system_error>

#include "text/strings.h"

namespace torve {
namespace {

/// A finite value as 0.digits times a power of ten.
struct Decimal {
  bool negative = false;
  std::string digits;
  int exponent = 0;  // of ten; 0 for the value zero
};

std::size_t room_of(int width) {
  return static_cast<std::size_t>(std::max(width, 0));
}

std::string right_justified(const std::string& text, int width) {
  const std::size_t room = room_of(width);
  if (text.size() > room) return std::string(room, '*');
  return std::string(room - text.size(), ' ') + text;
}

/// Removes the zero of "0.5" and "-0.5", but not of "0.", where nothing would be left to read.
void drop_leading_zero(std::string& text) {
  const std::size_t at = text.front() == '-' ? 1 : 0;
  if (text.size() < at + 3 || text[at] != '0' || text[at + 1] != '.') return;
  if (is_digit(text[at + 2])) text.erase(at, 1);
}

/// Right-justifies a finite number.
std::string placed(std::string text, int width) {
  if (text.size() == room_of(width) + 1) drop_leading_zero(text);
  return right_justified(text, width);
}

std::string not_finite_edit(double v, int width) {
  if (std::isnan(v)) return right_justified("NaN", width);
  const std::string sign = std::signbit(v) ? "-" : "";
  const std::string full = sign + "Infinity";
  return right_justified(full.size() <= room_of(width) ? full : sign + "Inf", width);
}

/// `v` with `decimals` digits behind the point, and with the point also when there are none.
std::string fixed_text(double v, int decimals) {
  assert(decimals >= 0);
  constexpr std::size_t sign_and_point = 2;
  constexpr std::size_t whole_digits = std::numeric_limits<double>::max_exponent10 + 1;
  std::string text(sign_and_point + whole_digits + room_of(decimals), '\0');
  const auto made = std::to_chars(text.data(), text.data() + text.size(), v,
                                  std::chars_format::fixed, std::max(decimals, 0));
  assert(made.ec == std::errc());
  text.resize(static_cast<std::size_t>(made.ptr - text.data()));
  if (decimals <= 0) text += '.';
  return text;
}

Decimal rounded(double v, int digits) {
  assert(digits >= 1);
  const int count = std::max(digits, 1);
  constexpr std::size_t sign_point_exponent = 8;
  std::string text(sign_point_exponent + room_of(count), '\0');
  const auto made = std::to_chars(text.data(), text.data() + text.size(), std::fabs(v),
                                  std::chars_format::scientific, count - 1);
  assert(made.ec == std::errc());
  text.resize(static_cast<std::size_t>(made.ptr - text.data()));

  Decimal decimal;
  decimal.negative = std::signbit(v);
  const std::size_t mark = text.find('e');
  for (const char c : std::string_view(text).substr(0, mark)) {
    if (is_digit(c)) decimal.digits += c;
  }
  if (v != 0.0) {
    const std::size_t from = text[mark + 1] == '+' ? mark + 2 : mark + 1;
    std::from_chars(text.data() + from, text.data() + text.size(), decimal.exponent);
    ++decimal.exponent;  // the point moves from behind the first digit to before it
  }
  return decimal;
}

template <typename Number>
std::string shortest(Number v) {
  std::array<char, 32> text{};
  const auto made = std::to_chars(text.data(), text.data() + text.size(), v);
  assert(made.ec == std::errc());
  return {text.data(), made.ptr};
}

}  // namespace

std::string fixed_edit(double v, int width, int decimals) {
  if (!std::isfinite(v)) return not_finite_edit(v, width);
  return placed(fixed_text(v, decimals), width);
}

std::string exponent_edit(double v, int width, int digits, int exponent_digits) {
  if (!std::isfinite(v)) return not_finite_edit(v, width);
  const Decimal decimal = rounded(v, digits);
  const std::string exponent = free_form(std::abs(decimal.exponent));
  const std::size_t exponent_room = room_of(exponent_digits);
  if (exponent.size() > exponent_room) return std::string(room_of(width), '*');

  std::string text = decimal.negative ? "-0." : "0.";
  text += decimal.digits;
  text += decimal.exponent < 0 ? "E-" : "E+";
  text.append(exponent_room - exponent.size(), '0');
  text += exponent;
  return placed(std::move(text), width);
}

std::string general_edit(double v, int width, int digits, int exponent_digits) {
  if (!std::isfinite(v)) return not_finite_edit(v, width);
  constexpr int letter_and_sign = 2;
  const int blanks = exponent_digits + letter_and_sign;
  // Zero counts as a number with one digit before the point.
  const int before_point = v == 0.0 ? 1 : rounded(v, digits).exponent;
  if (before_point < 0 || before_point > digits) {
    return exponent_edit(v, width, digits, exponent_digits);
  }
  if (width <= blanks) return std::string(room_of(width), '*');
  return fixed_edit(v, width - blanks, digits - before_point) + std::string(room_of(blanks), ' ');
}

std::string free_form(double v) {
  if (std::isnan(v)) return "NaN";
  if (std::isinf(v)) return v < 0.0 ? "-Infinity" : "Infinity";
  return fmt::format("{}", v);
}

std::string free_form(int v) {
  return shortest(v);
}
std::string free_form(long v) {
  return shortest(v);
}
std::string free_form(long long v) {
  return shortest(v);
}
std::string free_form(std::size_t v) {
  return shortest(v);
}

std::string time_text(double seconds) {
  return std::isfinite(seconds) ? fixed_text(seconds, 4) : free_form(seconds);
}

}  // namespace torve
