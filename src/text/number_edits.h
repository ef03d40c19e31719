// Numbers as text. Every digit comes from the exact decimal expansion of the double, rounded once
// and to even on a tie, so that a listing is the same on every machine and in every locale.

#pragma once

#include <cstddef>
#include <string>

namespace torve {

/// Fixed edit Fw.d: `decimals` digits behind the point, right-justified in `width` characters. A
/// value that doesn't fit gives asterisks. The zero before the point goes only when it is the one
/// character too many; a negative value keeps its sign even when it rounds to zero. The point
/// stands also with no decimals. Not-a-number is "NaN"; infinity is "Infinity", or "Inf" in a
/// narrow field, without a plus sign.
std::string fixed_edit(double v, int width, int decimals);

/// Exponent edit Ew.dEe: 0.ddddE+eee with `digits` (at least 1) significant digits and exactly
/// `exponent_digits` (at least 1) digits of exponent. Asterisks when the exponent needs more
/// digits or the text more room; for the rest as `fixed_edit`.
std::string exponent_edit(double v, int width, int digits, int exponent_digits);

/// General edit Gw.dEe: a value that has, rounded to `digits` significant digits, between none and
/// `digits` of them before the point, takes the fixed edit and then as many blanks as an exponent
/// would take; zero does so too. Any other value takes the exponent edit.
std::string general_edit(double v, int width, int digits, int exponent_digits);

/// The fewest digits that read back as the same value, with an exponent only outside 1e-4 to 1e16:
/// 0.01, 5, 100000, 1e+31, NaN, -Infinity.
std::string free_form(double v);
std::string free_form(int v);
std::string free_form(long v);
std::string free_form(long long v);
std::string free_form(std::size_t v);

/// A span of time: seconds with four decimals, since the clock ticks in 1/10000 s, and no leading
/// blanks.
std::string time_text(double seconds);

}  // namespace torve
