// Decimals from text that stands in a buffer with room behind it: the innermost step of reading
// data. Nothing here branches on the length of a number or on its sign, which differ from one
// number to the next, so that a processor would often foresee them wrong.

#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__x86_64__)
#include <emmintrin.h>
#endif

namespace torve {

/// Bytes that read_decimal may look at from the first one of a number on. A buffer has as many
/// zeros behind its text.
inline constexpr std::size_t decimal_reach = 64;

namespace decimal {

/// Eight characters, the first one in the lowest byte.
inline std::uint64_t eight(const char* c) {
  std::uint64_t word = 0;
  std::memcpy(&word, c, sizeof word);
  if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
  return word;
}

constexpr std::uint64_t in_each_byte(std::uint64_t byte) {
  return byte * 0x0101010101010101U;
}

/// The top bits of the eight bytes, as the lowest eight bits.
constexpr std::uint32_t top_bits(std::uint64_t word) {
  return static_cast<std::uint32_t>(((word >> 7U & in_each_byte(1)) * 0x0102040810204080U) >> 56U);
}

/// The top bit of each byte that isn't below `bound`, which is 1 to 128. No byte carries into
/// the next one.
constexpr std::uint64_t not_below(std::uint64_t word, std::uint64_t bound) {
  return ((word & in_each_byte(0x7F)) + in_each_byte(0x80 - bound)) | word;
}

/// Which of 16 characters are no digits, the first one in the lowest bit; by arithmetic on words,
/// for any processor.
inline std::uint32_t others_by_words(const char* c) {
  const std::uint64_t zeros = in_each_byte('0');
  return top_bits(not_below(eight(c) ^ zeros, 10)) | top_bits(not_below(eight(c + 8) ^ zeros, 10))
                                                         << 8U;
}

#if defined(__x86_64__)
/// The same by the instructions that every processor of this kind has.
inline std::uint32_t others_of(const char* c) {
  const __m128i text = _mm_loadu_si128(reinterpret_cast<const __m128i*>(c));
  // Moved to the lower end of the signed bytes, digits are below all others.
  const __m128i moved = _mm_add_epi8(text, _mm_set1_epi8(static_cast<char>(0x80 - '0')));
  const __m128i digits = _mm_cmplt_epi8(moved, _mm_set1_epi8(-128 + 10));
  return static_cast<std::uint32_t>(_mm_movemask_epi8(digits)) ^ 0xFFFFU;
}
#else
inline std::uint32_t others_of(const char* c) {
  return others_by_words(c);
}
#endif

/// 32 bytes of ones and as many of zeros, from which a mask of the first n bytes is loaded, n
/// being any number from -16 to 32.
alignas(64) inline constexpr auto mask_bytes = [] {
  std::array<char, 64> bytes{};
  for (std::size_t i = 0; i < 32; ++i) bytes[i] = '\xFF';
  return bytes;
}();
inline const char* first_bytes(std::ptrdiff_t count) {
  return mask_bytes.data() + 32 - count;
}

/// Eight digits as a number: pairs, fours and all eight are joined by one multiplication each.
constexpr std::uint64_t join_eight(std::uint64_t digits) {
  digits = (digits * 10 + (digits >> 8U)) & 0x00FF00FF00FF00FFU;
  digits = (digits * 100 + (digits >> 16U)) & 0x0000FFFF0000FFFFU;
  return (digits * 10000 + (digits >> 32U)) & 0xFFFFFFFFU;
}

/// Eight characters from `c` on as digits, those behind the first `whole_count` one place further
/// on, behind the point, and what is behind the first `count` as zeros.
inline std::uint64_t eight_digits(const char* c, std::ptrdiff_t whole_count, std::ptrdiff_t count) {
  const std::uint64_t whole = eight(first_bytes(whole_count));
  const std::uint64_t text = (eight(c) & whole) | (eight(c + 1) & ~whole);
  return (text ^ in_each_byte('0')) & eight(first_bytes(count));
}

inline constexpr int first_digits = 15;  // make a whole number that is an exact double

/// The first 15 digits as a number, with zeros behind the first `count`.
inline std::int64_t join_first_by_words(const char* c, std::ptrdiff_t whole_count,
                                        std::ptrdiff_t count) {
  const std::uint64_t high = eight_digits(c, whole_count, count);
  const std::uint64_t low = eight_digits(c + 8, whole_count - 8, count - 8);
  return static_cast<std::int64_t>(join_eight(high << 8U) * 100'000'000U +
                                   join_eight(high >> 56U | low << 8U));
}

#if defined(__x86_64__)
/// The same with all digits side by side.
inline std::int64_t join_first(const char* c, std::ptrdiff_t whole_count, std::ptrdiff_t count) {
  const auto sixteen = [](const char* at) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
  };
  const __m128i whole = sixteen(first_bytes(whole_count));
  const __m128i text =
      _mm_or_si128(_mm_and_si128(whole, sixteen(c)), _mm_andnot_si128(whole, sixteen(c + 1)));
  const __m128i digits = _mm_slli_si128(
      _mm_and_si128(_mm_sub_epi8(text, _mm_set1_epi8('0')), sixteen(first_bytes(count))), 1);
  const __m128i tens =
      _mm_mullo_epi16(_mm_and_si128(digits, _mm_set1_epi16(0xFF)), _mm_set1_epi16(10));
  const __m128i pairs = _mm_add_epi16(tens, _mm_srli_epi16(digits, 8));
  const __m128i fours = _mm_madd_epi16(pairs, _mm_set1_epi32(1 << 16U | 100));
  const __m128i eights =
      _mm_madd_epi16(_mm_packs_epi32(fours, fours), _mm_set1_epi32(1 << 16U | 10000));
  const auto both = static_cast<std::uint64_t>(_mm_cvtsi128_si64(eights));
  return static_cast<std::int64_t>((both & 0xFFFFFFFFU) * 100'000'000U + (both >> 32U));
}
#else
inline std::int64_t join_first(const char* c, std::ptrdiff_t whole_count, std::ptrdiff_t count) {
  return join_first_by_words(c, whole_count, count);
}
#endif

inline constexpr double exact_powers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                          1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                          1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
inline constexpr std::ptrdiff_t most_exact = 22;

/// 1 or 0, by arithmetic. A comparison would set eight bits of a register and wait for the rest of
/// it, which may be the result of the last division.
inline std::uint32_t is_equal(char c, char other) {
  return ((static_cast<unsigned char>(c) ^ static_cast<unsigned char>(other)) - 1U) >> 31U;
}

/// Where the parts of a number are, counted from its first character, the sign.
struct Parts {
  std::ptrdiff_t sign_count;
  std::ptrdiff_t whole_count;  // digits ahead of the point
  std::ptrdiff_t count;        // digits
  std::ptrdiff_t end;          // of the digits
};

/// What stands at `c`, from the `others` of its first characters. False where they don't reach to
/// the end of the digits or there are none.
inline bool find_parts(const char* c, std::uint32_t others, Parts& parts) {
  const std::uint32_t negative = is_equal(*c, '-');
  others &= ~negative;
  if (others == 0) return false;
  const auto first_of = [](std::uint32_t marks) {
    return static_cast<std::ptrdiff_t>(static_cast<unsigned>(__builtin_ctz(marks)));
  };
  parts.sign_count = negative;
  parts.end = first_of(others);
  parts.whole_count = parts.count = parts.end - parts.sign_count;
  if (c[parts.end] == '.') [[likely]] {
    others &= others - 1;
    if (others == 0) return false;
    parts.end = first_of(others);
    parts.count = parts.end - parts.sign_count - 1;
  }
  return parts.count > 0;
}

inline double with_sign(double magnitude, const Parts& parts) {
  return std::bit_cast<double>(std::bit_cast<std::uint64_t>(magnitude) |
                               static_cast<std::uint64_t>(parts.sign_count) << 63U);
}

/// Steps over the letter e of an exponent, its sign and its digits, and adds it to `scale`; nullptr
/// where they aren't all there or are many.
inline const char* add_exponent(const char* c, std::ptrdiff_t& scale) {
  ++c;
  const bool negative = *c == '-';
  if (negative || *c == '+') ++c;
  constexpr int most_digits = 4;
  const char* const first = c;
  std::ptrdiff_t exponent = 0;
  for (; *c >= '0' && *c <= '9'; ++c) {
    if (c - first == most_digits) return nullptr;
    exponent = exponent * 10 + (*c - '0');
  }
  if (c == first) return nullptr;
  scale += negative ? -exponent : exponent;
  return c;
}

/// The rest of read_decimal: more than 15 digits, or a power of ten that is no exact double.
const char* read_long_decimal(const char* c, const Parts& parts, double& value);
inline const char* read_long_decimal_apart(const char* c, Parts parts, double& value) {
  // The value is a copy as well, so that it stays in a register on the way that most numbers take.
  double long_value = 0.0;
  const char* const after = read_long_decimal(c, parts, long_value);
  value = long_value;
  return after;
}

}  // namespace decimal

/// Reads a decimal as std::from_chars does, to the same double and the same end: a minus sign,
/// digits with at most one point, and an exponent of a letter e. Returns the place behind it, or
/// nullptr where it isn't one or is left to std::from_chars: a number of more than 19 digits or 30
/// characters ahead of the exponent, one next to halfway between two doubles, and one with a power
/// of ten beyond those that are kept. `decimal_reach` bytes at `c` must be readable.
inline const char* read_decimal(const char* c, double& value) {
  std::uint32_t others = decimal::others_of(c);
  decimal::Parts parts{};
  if (!decimal::find_parts(c, others, parts)) {
    others |= decimal::others_of(c + 16) << 16U;
    if (!decimal::find_parts(c, others, parts)) return nullptr;
  }
  if (parts.count > decimal::first_digits) [[unlikely]] {
    return decimal::read_long_decimal_apart(c, parts, value);
  }
  const auto digits = static_cast<double>(
      decimal::join_first(c + parts.sign_count, parts.whole_count, parts.count));
  std::ptrdiff_t scale = parts.whole_count - decimal::first_digits;
  const char* after = c + parts.end;
  if ((*after | 0x20) == 'e') [[unlikely]] {
    after = decimal::add_exponent(after, scale);
    if (after == nullptr) return nullptr;
    if (scale < -decimal::most_exact || scale > decimal::most_exact) {
      return decimal::read_long_decimal_apart(c, parts, value);
    }
  }
  // Both are exact, so that the one rounding is that of the division or multiplication.
  // Source: Clinger, PLDI 1990, 92.
  double magnitude = 0.0;
  if (scale <= 0) [[likely]] {
    magnitude = digits / decimal::exact_powers[-scale];
  } else {
    magnitude = digits * decimal::exact_powers[scale];
  }
  value = decimal::with_sign(magnitude, parts);
  return after;
}

}  // namespace torve
