// Numbers from text, in the free format of the problem file and of all files that come back from
// other programs.

#pragma once

#include <optional>
#include <string_view>

namespace torve {

/// The number that `token` starts with: a sign, digits with at most one point, and an exponent of a
/// letter e, d or q in either case, a sign and digits; sign, point and exponent may be left out. A
/// comma or a slash ends the number and what follows it is ignored. Nothing is returned when any
/// other character follows, when there is no digit, for "nan", "inf" and hexadecimal text, and when
/// the value is too large for a double. A value too small for one becomes the nearest: zero or a
/// denormal. Allocates nothing.
std::optional<double> read_free_real(std::string_view token);

/// The part of that which nearly all numbers need: a decimal with a letter e, if any, that fits a
/// double, read from `begin` up to `end` at most. Returns the place behind its last character, or
/// nullptr when there is something else, which may still be a number of the free format.
const char* read_plain_real(const char* begin, const char* end, double& value);

}  // namespace torve
