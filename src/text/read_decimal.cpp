#include "text/read_decimal.h"

#include <array>

namespace torve::decimal {
namespace {

/// The first 128 bits of a power of five, and the exponent bits that a double has when it is the
/// product of that power of ten and of a number below 2^64 with its first bit set, the product's
/// own first bit being set as well.
struct Power {
  std::uint64_t high;
  std::uint64_t low;
  std::uint64_t exponent;
};
constexpr int most_scale = 64;  // powers that are kept, on either side of 0

/// Whole numbers below 2^320, the lowest 32 bits first.
using Long = std::array<std::uint64_t, 10>;

constexpr void multiply_by_five(Long& number) {
  std::uint64_t carry = 0;
  for (std::uint64_t& part : number) {
    carry += part * 5;
    part = carry & 0xFFFFFFFFU;
    carry >>= 32U;
  }
}

constexpr void divide_by_five(Long& number) {
  std::uint64_t rest = 0;
  for (auto part = number.rbegin(); part != number.rend(); ++part) {
    rest = rest << 32U | *part;
    *part = rest / 5;
    rest %= 5;
  }
}

constexpr bool bit_of(const Long& number, int bit) {
  return bit >= 0 && (number[static_cast<std::size_t>(bit / 32)] >> (bit % 32) & 1U) != 0;
}

/// Of number * 2^-shift, which is 5^scale.
constexpr Power top_of(const Long& number, int shift, int scale) {
  int top = 319;
  while (!bit_of(number, top)) --top;
  // The first bits of both factors are worth 2^(top - shift) and 2^63. A product with its first bit
  // set reaches one bit further, which the implicit bit of a double adds when it is put in.
  constexpr int bias = 1023;
  const int exponent = top - shift + scale + 63 + bias;
  Power power{0, 0, static_cast<std::uint64_t>(exponent)};
  for (int i = 0; i < 64; ++i) {
    power.high = power.high << 1U | (bit_of(number, top - i) ? 1U : 0U);
    power.low = power.low << 1U | (bit_of(number, top - 64 - i) ? 1U : 0U);
  }
  return power;
}

/// Dividing a quotient without its rest again gives the same as dividing once by the product of
/// both, so that all bits kept are right: 5^64 has 149 of them, and 2^319 / 5^64 has 171.
constexpr std::array<Power, 2 * most_scale + 1> make_powers() {
  std::array<Power, 2 * most_scale + 1> rows{};
  constexpr int shift = 319;
  Long product{1};
  Long quotient{};
  quotient.back() = std::uint64_t{1} << 31U;
  constexpr auto middle = static_cast<std::size_t>(most_scale);
  for (int n = 0; n <= most_scale; ++n) {
    const auto distance = static_cast<std::size_t>(n);
    rows[middle + distance] = top_of(product, 0, n);
    rows[middle - distance] = top_of(quotient, shift, -n);
    multiply_by_five(product);
    divide_by_five(quotient);
  }
  return rows;
}

constexpr std::array<Power, 2 * most_scale + 1> powers = make_powers();

constexpr int most_digits = 19;  // fit in 64 bits
constexpr auto ten_to = [] {
  std::array<std::uint64_t, most_digits + 1> row{1};
  for (std::size_t i = 1; i < row.size(); ++i) row[i] = row[i - 1] * 10;
  return row;
}();

/// All digits as one number, which stands for itself times 10^scale. False beyond 19 digits, zeros
/// in front not counted.
bool join_digits(const char* c, const Parts& parts, std::uint64_t& digits, std::ptrdiff_t& scale) {
  digits = static_cast<std::uint64_t>(join_first(c, parts.whole_count, parts.count));
  scale = parts.whole_count - first_digits;
  if (parts.count <= first_digits) return true;
  const std::ptrdiff_t more = parts.count - first_digits;
  if (more > 8) return false;
  // Those ahead must leave room for what follows.
  if (digits >= ten_to[static_cast<std::size_t>(most_digits - more)]) return false;
  const std::uint64_t last = eight_digits(c + first_digits, parts.whole_count - first_digits, 8)
                             << (64 - 8 * more);
  digits = digits * ten_to[static_cast<std::size_t>(more)] + join_eight(last);
  scale -= more;
  return true;
}

/// The bits of the double nearest to digits * 10^scale. False where the product doesn't tell, and
/// beyond the powers that are kept.
/// Source: Lemire, Softw. Pract. Exper. 51 (2021) 1700, with a plainer test of the bits behind the
/// last one: what was cut off the power and off the product is less than 4 in the last place of
/// the normalised 128 bits, so that only a rest next to halfway leaves the rounding open.
bool scale_digits(std::uint64_t digits, std::ptrdiff_t scale, std::uint64_t& bits) {
#if defined(__SIZEOF_INT128__)
  __extension__ using Wide = unsigned __int128;
  const auto row = static_cast<std::size_t>(scale + most_scale);
  if (row >= powers.size()) return false;
  const Power& power = powers[row];
  const int empty = std::countl_zero(digits | 1U);
  const std::uint64_t factor = digits << empty;
  const Wide product =
      static_cast<Wide>(power.high) * factor + (static_cast<Wide>(power.low) * factor >> 64U);
  auto high = static_cast<std::uint64_t>(product >> 64U);
  auto low = static_cast<std::uint64_t>(product);
  const std::uint64_t missing = ~high >> 63U;  // 1 when the first bit isn't set
  high = high << missing | (low >> 63U & missing);
  low <<= missing;

  constexpr std::uint64_t half = std::uint64_t{1} << 63U;
  const std::uint64_t rest = high << 53U | low >> 11U;  // behind the 53 bits of a double
  if (rest - (half - 1) <= 1) return false;
  // Rounding up may carry into the exponent, which is as it should be.
  const std::uint64_t exponent = power.exponent - missing - static_cast<std::uint64_t>(empty);
  const std::uint64_t rounded = (exponent << 52U) + (high >> 11U) + (rest >> 63U);
  bits = digits == 0 ? 0 : rounded;
  return true;
#else
  static_cast<void>(digits + static_cast<std::uint64_t>(scale) + bits);
  return false;
#endif
}

}  // namespace

const char* read_long_decimal(const char* c, const Parts& parts, double& value) {
  std::uint64_t digits = 0;
  std::ptrdiff_t scale = 0;
  if (!join_digits(c + parts.sign_count, parts, digits, scale)) return nullptr;
  const char* after = c + parts.end;
  if ((*after | 0x20) == 'e') {
    after = add_exponent(after, scale);
    if (after == nullptr) return nullptr;
  }
  std::uint64_t bits = 0;
  if (!scale_digits(digits, scale, bits)) return nullptr;
  value = with_sign(std::bit_cast<double>(bits), parts);
  return after;
}

}  // namespace torve::decimal
