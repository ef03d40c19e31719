// Decimals against std::from_chars, bit for bit: named texts, and random ones by the hundred
// thousand. Each text stands at the end of a block of memory that is no longer than is promised, so
// that a sanitizer sees what looks further.
#include "text/read_decimal.h"

#include <gtest/gtest.h>

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "support/rows.h"
#include "text/free_format.h"

namespace torve {
namespace {

struct Reading {
  bool is_number = false;
  std::size_t length = 0;
  double value = 0.0;
};

bool same(const Reading& a, const Reading& b) {
  return a.is_number == b.is_number && a.length == b.length &&
         std::bit_cast<std::uint64_t>(a.value) == std::bit_cast<std::uint64_t>(b.value);
}

std::ostream& operator<<(std::ostream& out, const Reading& reading) {
  if (!reading.is_number) return out << "no number";
  return out << testing::PrintToString(reading.value) << " of " << reading.length << " characters";
}

Reading as_the_library_does(const std::string& text) {
  double value = 0.0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), value);
  if (read.ec != std::errc()) return {};
  return {true, static_cast<std::size_t>(read.ptr - text.data()), value};
}

Reading as_we_do(const std::string& text) {
  const auto block = std::make_unique<char[]>(text.size() + decimal_reach);
  std::memcpy(block.get(), text.data(), text.size());
  double value = 0.0;
  const char* const after = read_decimal(block.get(), value);
  if (after == nullptr) return {};
  return {true, static_cast<std::size_t>(after - block.get()), value};
}

// The two ways, of which the first may leave a text to the second.
void expect_as_the_library(const std::string& text) {
  const Reading expected = as_the_library_does(text);
  const Reading ours = as_we_do(text);
  if (ours.is_number) {
    EXPECT_TRUE(same(ours, expected)) << text << ": " << ours << ", not " << expected;
  }
  const auto exact = std::make_unique<char[]>(text.size());
  std::memcpy(exact.get(), text.data(), text.size());
  Reading plain;
  const char* const after = read_plain_real(exact.get(), exact.get() + text.size(), plain.value);
  plain.is_number = after != nullptr;
  if (after != nullptr) plain.length = static_cast<std::size_t>(after - exact.get());
  if (!plain.is_number) plain.value = 0.0;
  EXPECT_TRUE(same(plain, expected)) << text << ": " << plain << ", not " << expected;
}

// ---- Named texts -------------------------------------------------------------------------------

// Who gets to read a text: we, or the library behind us. Without products of 128 bits more is left
// to the library.
enum class By { us, library };
#if defined(__SIZEOF_INT128__)
constexpr bool has_products = true;
#else
constexpr bool has_products = false;
#endif

struct Row {
  std::string name;
  std::string text;
  By by = By::us;
};

class Decimal : public testing::TestWithParam<Row> {};

TEST_P(Decimal, is_the_nearest_double) {
  const Row& row = GetParam();
  if (has_products) {
    EXPECT_EQ(as_we_do(row.text).is_number, row.by == By::us);
  }
  expect_as_the_library(row.text);
  expect_as_the_library("-" + row.text);
  expect_as_the_library(row.text +
                        " 7.25 -1e5 and more, for as far as this may look ahead of itself");
  expect_as_the_library(row.text + "\r\n12345678901234567890123456789012345678901234567890123456");
}

const Row rows[] = {
    {"zero", "0"},
    {"zero_with_decimals", "0.000"},
    {"zero_of_30_digits", std::string(30, '0'), By::library},
    {"zero_with_an_exponent", "0e5"},
    {"zero_with_a_large_exponent", "0.0e300", By::library},
    {"whole", "7"},
    {"point_last", "7."},
    {"point_first", ".7"},
    {"decimal", "7.25"},
    {"exponent", "1.2345678e-05"},
    {"capital_exponent", "1.2345678E-05"},
    {"exponent_with_plus", "1.5e+05"},
    {"exponent_without_sign", "15e5"},
    {"exponent_with_zeros", "1.5e0005"},
    {"exponent_of_five_digits", "1.5e00005", By::library},
    {"exponent_behind_point", "5.e3"},
    {"exponent_behind_point_first", ".5e3"},
    {"fifteen_digits", "123456789.012345"},
    {"sixteen_digits", "1234567890.123456"},
    {"seventeen_digits", "0.10000000000000001"},
    {"seventeen_digits_and_exponent", "1.2345678901234567e-05"},
    {"seventeen_digits_behind_zeros", "0.00012345678901234567"},
    {"nineteen_digits", "1234567890.123456789"},
    {"nineteen_nines", "9999999999999999999"},
    {"nineteen_nines_behind_point", ".9999999999999999999"},
    {"nineteen_digits_behind_four_zeros", "0.0001234567890123456789"},
    {"nineteen_digits_behind_five_zeros", "0.00001234567890123456789", By::library},
    {"twenty_digits", "12345678901234567890", By::library},
    {"twenty_five_digits", "1234567890.123456789012345", By::library},
    {"thirty_digits", "123456789012345678901234567890", By::library},
    {"forty_digits", "1234567890123456789012345678901234567890", By::library},
    {"four_hundred_digits", std::string(400, '9'), By::library},
    {"two_to_53", "9007199254740992"},
    {"halfway_above_two_to_53", "9007199254740993", By::library},
    {"halfway_to_an_even_one", "9007199254740995", By::library},
    {"halfway_with_decimals", "9007199254740993.00", By::library},
    {"above_halfway", "9007199254740993.1"},
    {"below_halfway", "9007199254740992.9"},
    {"halfway_by_a_power", "900719925474099.3e1", By::library},
    {"halfway_above_one", "1.00000000000000011102230246251565404236316680908203125", By::library},
    {"above_that", "1.00000000000000011102230246251565404236316680908203126", By::library},
    {"rounded_up_to_a_power_of_two", "9007199254740991.99"},
    {"largest_power_kept", "12345678901234567e64"},
    {"power_beyond", "12345678901234567e65", By::library},
    {"smallest_power_kept", "12345678901234567e-64"},
    {"power_below", "12345678901234567e-65", By::library},
    {"largest_exact_power", "123e22"},
    {"largest_exact_product", "999999999999999e22"},
    {"smallest_exact_power", "123e-22"},
    {"largest", "1.7976931348623157e308", By::library},
    {"too_large", "1.7976931348623159e308", By::library},
    {"far_too_large", "1e9999", By::library},
    {"smallest_normal", "2.2250738585072014e-308", By::library},
    {"denormal", "1.2345678901234567e-310", By::library},
    {"smallest_denormal", "4.9406564584124654e-324", By::library},
    {"half_of_that", "2.4703282292062327e-324", By::library},
    {"too_small", "1e-400", By::library},
    {"ended_by_a_comma", "1.5,7"},
    {"ended_by_a_letter", "1.5d3"},
    {"two_points", "1.2.3"},
    {"whole_and_two_points", "1..2"},
    {"hexadecimal", "0x10"},
    {"ended_by_a_nul", std::string("1.5\0007", 5)},
    {"ended_by_a_byte_above_127", "1.5\xB5"},
    {"ended_by_a_slash", "1/2"},
    {"ended_by_a_colon", "1:2"},
};

INSTANTIATE_TEST_SUITE_P(Rows, Decimal, testing::ValuesIn(rows), test::RowName());

struct OtherRow {
  std::string name;
  std::string text;
};

class NoDecimal : public testing::TestWithParam<OtherRow> {};

TEST_P(NoDecimal, is_left_alone) {
  EXPECT_FALSE(as_we_do(GetParam().text).is_number);
  const std::string& text = GetParam().text;
  double value = 0.0;
  EXPECT_EQ(read_plain_real(text.data(), text.data() + text.size(), value), nullptr);
}

const OtherRow other_rows[] = {
    {"nothing", ""},       {"blank", " 1"},    {"minus", "-"},        {"point", "."},
    {"minus_point", "-."}, {"plus", "+1"},     {"two_signs", "--1"},  {"nan", "nan"},
    {"minus_nan", "-nan"}, {"inf", "inf"},     {"minus_inf", "-inf"}, {"letter", "e5"},
    {"comma", ",1"},       {"point_e", ".e5"}, {"return", "\r\n1"},   {"nul", std::string(1, '\0')},
};

INSTANTIATE_TEST_SUITE_P(Rows, NoDecimal, testing::ValuesIn(other_rows), test::RowName());

// A letter without an exponent isn't part of the number.
TEST(Decimal, ends_ahead_of_a_letter_without_exponent) {
  for (const char* text : {"1.5e", "1.5e+", "1.5e-", "1.5ex", "15E", "1.5e +1"}) {
    SCOPED_TRACE(text);
    expect_as_the_library(text);
  }
}

// ---- Random texts ------------------------------------------------------------------------------

class Texts {
 public:
  // A decimal of up to `most` digits with a point at any place or none.
  std::string digits(std::size_t most) {
    std::string text(1 + below(most), '0');
    for (char& c : text) c = static_cast<char>('0' + below(10));
    if (below(4) == 0) text.insert(0, below(6), '0');
    if (below(4) == 0) text += std::string(below(6), '0');
    if (below(5) != 0) text.insert(below(text.size() + 1), 1, '.');
    return (below(2) == 0 ? "-" : "") + text;
  }
  std::string exponent(int most) {
    const char* const sign[] = {"", "+", "-"};
    std::string text = std::to_string(below(static_cast<std::uint64_t>(most) + 1));
    if (text.size() < 2 && below(2) == 0) text.insert(0, 1, '0');
    return (below(2) == 0 ? "e" : "E") + std::string(sign[below(3)]) + text;
  }
  double value() { return std::bit_cast<double>(random_()); }
  std::uint64_t below(std::uint64_t bound) { return random_() % bound; }

 private:
  std::mt19937_64 random_{20};
};

TEST(RandomDecimals, of_1_to_25_digits) {
  Texts texts;
  for (int i = 0; i < 300'000; ++i) expect_as_the_library(texts.digits(25));
}

TEST(RandomDecimals, with_small_exponents) {
  Texts texts;
  for (int i = 0; i < 300'000; ++i) expect_as_the_library(texts.digits(19) + texts.exponent(40));
}

TEST(RandomDecimals, with_any_exponents) {
  Texts texts;
  for (int i = 0; i < 200'000; ++i) expect_as_the_library(texts.digits(22) + texts.exponent(345));
}

std::string in_format(const char* format, double value) {
  std::vector<char> text(400);
  const int length = std::snprintf(text.data(), text.size(), format, value);
  return {text.data(), static_cast<std::size_t>(length)};
}

// What programs write of doubles is read without the library, and gives the double back.
TEST(RandomDecimals, as_programs_write_them) {
  Texts texts;
  for (int i = 0; i < 200'000; ++i) {
    const double value =
        std::ldexp(texts.value() > 0 ? 1.0 : -1.0, static_cast<int>(texts.below(80)) - 40) *
        (1.0 + static_cast<double>(texts.below(1U << 30U)) * 0x1p-30 +
         static_cast<double>(texts.below(1U << 22U)) * 0x1p-52);
    for (const char* format : {"%.5g", "%.8e", "%.16e", "%.17g"}) {
      const std::string text = in_format(format, value);
      EXPECT_TRUE(as_we_do(text).is_number || !has_products) << text;
      expect_as_the_library(text);
    }
    double value_again = 0.0;
    const std::string text = in_format("%.17g", value);
    read_plain_real(text.data(), text.data() + text.size(), value_again);
    EXPECT_EQ(value_again, value);
  }
}

// Halfway between two neighbours, written out in full and cut, and a last digit to either side.
TEST(RandomDecimals, next_to_halfway) {
  Texts texts;
  for (int i = 0; i < 100'000; ++i) {
    const std::uint64_t mantissa =
        (std::uint64_t{1} << 53U) + (texts.below(std::uint64_t{1} << 53U) | 1U);
    const int exponent = static_cast<int>(texts.below(120)) - 100;
    // 54 bits, of which the last one is set; a long double holds them.
    const long double middle = std::ldexp(static_cast<long double>(mantissa), exponent);
    std::vector<char> text(400);
    const int length =
        std::snprintf(text.data(), text.size(), "%.*Lf", std::max(0, -exponent), middle);
    const std::string whole(text.data(), static_cast<std::size_t>(length));
    expect_as_the_library(whole);
    expect_as_the_library(whole.substr(0, 20));
    expect_as_the_library(whole.substr(0, 19));
    std::string beside = whole;
    if (beside.back() > '0') --beside.back();
    expect_as_the_library(beside);
  }
}

// Every character behind and within a number.
TEST(RandomDecimals, spoilt_by_any_byte) {
  for (const std::string& text : {std::string("-123.456e-7"), std::string("1234567890.12345678")}) {
    for (std::size_t at = 0; at <= text.size(); ++at) {
      for (int byte = 0; byte < 256; ++byte) {
        std::string spoilt = text;
        spoilt.insert(at, 1, static_cast<char>(byte));
        if (spoilt.starts_with("+")) continue;
        expect_as_the_library(spoilt);
        if (at < text.size()) {
          spoilt.erase(at + 1, 1);
          expect_as_the_library(spoilt);
        }
      }
    }
  }
}

// ---- The steps by words, which another processor takes -----------------------------------------

TEST(DecimalByWords, marks_the_same_characters) {
  std::mt19937_64 random(3);
  for (int i = 0; i < 100'000; ++i) {
    char text[16];
    for (char& c : text) {
      c = static_cast<char>(random() % 3 == 0 ? random() : '0' + random() % 10);
    }
    std::uint32_t expected = 0;
    for (unsigned j = 0; j < 16; ++j) {
      if (text[j] < '0' || text[j] > '9') expected |= 1U << j;
    }
    ASSERT_EQ(decimal::others_by_words(text), expected);
    ASSERT_EQ(decimal::others_of(text), expected);
  }
}

TEST(DecimalByWords, joins_the_same_digits) {
  std::mt19937_64 random(4);
  for (int i = 0; i < 100'000; ++i) {
    char text[decimal_reach];
    for (char& c : text) c = static_cast<char>('0' + random() % 10);
    const auto count = static_cast<std::ptrdiff_t>(1 + random() % 20);
    const auto wholes =
        static_cast<std::ptrdiff_t>(random() % (static_cast<std::uint64_t>(count) + 1));
    std::string digits(text, text + wholes);
    digits.append(text + wholes + 1, text + count + 1);
    digits.resize(static_cast<std::size_t>(decimal::first_digits), '0');
    std::int64_t expected = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), expected);
    ASSERT_EQ(decimal::join_first_by_words(text, wholes, count), expected);
    ASSERT_EQ(decimal::join_first(text, wholes, count), expected);
  }
}

}  // namespace
}  // namespace torve
