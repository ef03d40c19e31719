// Numbers from text, in the free format of the problem file and of all files that come back from
// other programs.

#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <system_error>

namespace torve {

/// The number that `token` starts with: a sign, digits with at most one point, and an exponent of a
/// letter e, d or q in either case, a sign and digits; sign, point and exponent may be left out. A
/// comma or a slash ends the number and what follows it is ignored. Nothing is returned when any
/// other character follows, when there is no digit, for "nan", "inf" and hexadecimal text, and when
/// the value is too large for a double. A value too small for one becomes the nearest: zero or a
/// denormal. Allocates nothing.
std::optional<double> read_free_real(std::string_view token);

/// A decimal without exponent whose digits make a whole number below 2^53, with at most 22 of them
/// behind the point: a whole number divided by an exact power of ten, so that the one rounding is
/// that of the division. Returns nullptr for any other text, also for a letter behind it.
/// Source: Clinger, PLDI 1990, 92.
inline const char* read_short_decimal(const char* begin, const char* end, double& value) {
  static constexpr double powers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                      1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                      1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
  constexpr int most_digits = 19;  // fit in 64 bits
  const auto digit = [end](const char* c) {
    return c < end ? static_cast<unsigned>(*c) - unsigned{'0'} : 10U;
  };
  const char* c = begin;
  const bool negative = c < end && *c == '-';
  if (negative) ++c;
  std::uint64_t whole = 0;
  const char* const first = c;
  for (; digit(c) < 10; ++c) whole = whole * 10 + digit(c);
  std::ptrdiff_t digits = c - first;
  std::ptrdiff_t decimals = 0;
  if (c < end && *c == '.') {
    const char* const point = c++;
    for (; digit(c) < 10; ++c) whole = whole * 10 + digit(c);
    decimals = c - point - 1;
    digits += decimals;
  }
  if (digits == 0 || digits > most_digits || whole > std::uint64_t{1} << 53) return nullptr;
  if (c < end && ((*c | 0x20) >= 'a' && (*c | 0x20) <= 'z')) return nullptr;
  const double magnitude = static_cast<double>(whole) / powers[decimals];
  value = negative ? -magnitude : magnitude;
  return c;
}

/// The part of that which nearly all numbers need: a decimal with a letter e, if any, that fits a
/// double, read from `begin` up to `end` at most. Returns the place behind its last character, or
/// nullptr when there is something else, which may still be a number of the free format.
inline const char* read_plain_real(const char* begin, const char* end, double& value) {
  if (const char* const after = read_short_decimal(begin, end, value)) return after;
  const auto is_mantissa = [end](const char* c) {
    return c < end && ((*c >= '0' && *c <= '9') || *c == '.');
  };
  // Keeps out the words that std::from_chars would take for numbers.
  if (!is_mantissa(begin) && !(begin < end && *begin == '-' && is_mantissa(begin + 1))) {
    return nullptr;
  }
  const auto read = std::from_chars(begin, end, value);
  return read.ec == std::errc() ? read.ptr : nullptr;
}

}  // namespace torve
