#include "text/free_format.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <string_view>

namespace torve {
namespace {

struct ReadableRow {
  std::string_view name;
  std::string_view token;
  double value;
};

class Readable : public testing::TestWithParam<ReadableRow> {};

TEST_P(Readable, gives_the_value) {
  const auto value = read_free_real(GetParam().token);
  ASSERT_TRUE(value.has_value());
  EXPECT_EQ(*value, GetParam().value);
  EXPECT_EQ(std::signbit(*value), std::signbit(GetParam().value));
}

constexpr double denormal = std::numeric_limits<double>::denorm_min();
constexpr double largest = std::numeric_limits<double>::max();

constexpr ReadableRow readable_rows[] = {
    {"whole", "5", 5.0},
    {"decimal", "5.0", 5.0},
    {"point_last", "5.", 5.0},
    {"point_first", ".5", 0.5},
    {"leading_zeros", "0005", 5.0},
    {"plus", "+12.5", 12.5},
    {"plus_point_first", "+.5", 0.5},
    {"minus", "-12.5", -12.5},
    {"zero", "0", 0.0},
    {"minus_zero", "-0", -0.0},
    {"zero_with_huge_exponent", "0e99999999999999999999", 0.0},
    {"preset", "-111111.0", -111111.0},
    {"exponent_e", "-1e-3", -1e-3},
    {"exponent_capital_e", "1.5E+3", 1500.0},
    {"exponent_behind_point", "5.e2", 500.0},
    {"exponent_with_zeros", "1e0003", 1000.0},
    {"exponent_d", "1d3", 1000.0},
    {"exponent_capital_d", "-2.5D-1", -0.25},
    {"exponent_d_plus", "+1d+03", 1000.0},
    {"exponent_q", "1q-2", 0.01},
    {"exponent_capital_q", "1Q2", 100.0},
    {"exponent_behind_point_d", ".5d1", 5.0},
    {"comma_ends", "1,2", 1.0},
    {"comma_ends_d", "1d1,x", 10.0},
    {"comma_ends_e", "1e1,1e5", 10.0},
    {"slash_ends", "3/4", 3.0},
    {"slash_last", "3/", 3.0},
    {"slash_ends_d", "3d0/4", 3.0},
    {"anything_behind_comma", "7,nan(x)", 7.0},
    {"exact_to_the_last_bit", "0.1000000000000000055511151231257827021181583404541015625", 0.1},
    {"halfway_above_one_goes_to_even", "1.00000000000000011102230246251565404236316680908203125",
     1.0},
    {"past_halfway_above_one", "1.00000000000000011102230246251565404236316680908203126",
     1.0 + std::numeric_limits<double>::epsilon()},
    {"largest", "1.7976931348623157e308", largest},
    {"largest_d", "-1.7976931348623157d308", -largest},
    {"smallest_denormal", "4.9406564584124654e-324", denormal},
    {"rounds_up_to_denormal", "3e-324", denormal},
    {"rounds_up_to_denormal_d", "3d-324", denormal},
    {"rounds_down_to_zero", "2e-324", 0.0},
    {"underflow", "1e-400", 0.0},
    {"underflow_negative", "-1e-400", -0.0},
    {"underflow_d", "1d-400", 0.0},
    {"underflow_plus", "+1e-400", 0.0},
    {"underflow_huge_exponent", "1e-99999999999999999999", 0.0},
    {"underflow_ended_by_comma", "1e-400,1e400", 0.0},
    {"small_mantissa_large_exponent", "0.00001e310", 1e305},
    {"large_mantissa_small_exponent", "100000e-310", 1e-305},
};

INSTANTIATE_TEST_SUITE_P(Rows, Readable, testing::ValuesIn(readable_rows),
                         [](const auto& row) { return std::string(row.param.name); });

struct UnreadableRow {
  std::string_view name;
  std::string_view token;
};

class Unreadable : public testing::TestWithParam<UnreadableRow> {};

TEST_P(Unreadable, gives_nothing) {
  EXPECT_FALSE(read_free_real(GetParam().token).has_value());
}

constexpr UnreadableRow unreadable_rows[] = {
    {"empty", ""},
    {"lone_plus", "+"},
    {"lone_minus", "-"},
    {"lone_point", "."},
    {"signed_point", "-."},
    {"point_with_exponent", ".e5"},
    {"point_with_exponent_d", ".d5"},
    {"lone_exponent", "e5"},
    {"lone_comma", ","},
    {"comma_first", ",1"},
    {"slash_first", "/1"},
    {"two_signs", "--1"},
    {"plus_minus", "+-1"},
    {"minus_plus", "-+1"},
    {"two_points", "1.2.3"},
    {"two_points_together", "1..2"},
    {"letters_behind", "12a"},
    {"blank_before", " 1"},
    {"blank_behind", "1 "},
    {"semicolon_behind", "1;"},
    {"sign_behind", "1+5"},
    {"exponent_without_digits", "1e"},
    {"exponent_sign_without_digits", "1e+"},
    {"exponent_d_without_digits", "1d"},
    {"exponent_d_sign_without_digits", "1d-"},
    {"exponent_d_ended_by_comma", "1d,5"},
    {"exponent_ended_by_comma", "1e,5"},
    {"exponent_with_point", "1e5.0"},
    {"exponent_d_with_point", "1d5.0"},
    {"two_exponents_e_d", "1e5d3"},
    {"two_exponents_d_e", "1d5e3"},
    {"letters_behind_d", "1d5x"},
    {"nan", "nan"},
    {"capital_nan", "NaN"},
    {"inf", "inf"},
    {"minus_inf", "-inf"},
    {"plus_infinity", "+Infinity"},
    {"hexadecimal", "0x10"},
    {"hexadecimal_float", "0x1p3"},
    {"word", "true"},
    {"overflow", "1e400"},
    {"overflow_negative", "-1e400"},
    {"overflow_d", "1d400"},
    {"overflow_past_largest", "1.7976931348623159e308"},
    {"overflow_huge_exponent", "1e99999999999999999999"},
    {"overflow_ended_by_comma", "1e400,1"},
};

INSTANTIATE_TEST_SUITE_P(Rows, Unreadable, testing::ValuesIn(unreadable_rows),
                         [](const auto& row) { return std::string(row.param.name); });

// The point and the exponent cancel, so that neither alone tells the range.
TEST(FreeFormat, sees_through_long_mantissas) {
  const std::string zeros(400, '0');
  EXPECT_EQ(read_free_real("0." + zeros + "1e401"), 1.0);
  EXPECT_EQ(read_free_real("0." + zeros + "1d401"), 1.0);
  EXPECT_EQ(read_free_real("1" + zeros + "e-400"), 1.0);
  EXPECT_EQ(read_free_real("1" + zeros + "D-400"), 1.0);
  EXPECT_EQ(read_free_real("0." + zeros + "1"), 0.0);
  EXPECT_EQ(read_free_real("1" + zeros), std::nullopt);
  EXPECT_EQ(read_free_real("1" + zeros + "e-1"), std::nullopt);
  EXPECT_EQ(read_free_real("0." + zeros + "1e50"), 0.0);
}

TEST(FreeFormat, reads_a_number_as_long_as_a_line) {
  const std::string digits(9990, '1');
  EXPECT_EQ(read_free_real("0." + digits), 1.0 / 9.0);
  EXPECT_EQ(read_free_real("0." + digits + "d1"), 10.0 / 9.0);
  // Only a number with a foreign exponent has to fit the copy.
  const std::string longer(20'000, '1');
  EXPECT_EQ(read_free_real("0." + longer), 1.0 / 9.0);
  EXPECT_EQ(read_free_real("0." + longer + "d1"), std::nullopt);
}

// Tokens are views into a line, and what stands behind a token is no part of it.
TEST(FreeFormat, stops_at_the_end_of_the_view) {
  constexpr std::string_view line = "12345e6d7";
  EXPECT_EQ(read_free_real(line.substr(0, 2)), 12.0);
  EXPECT_EQ(read_free_real(line.substr(0, 7)), 12345e6);
  EXPECT_EQ(read_free_real(line.substr(6, 3)), 6e7);
  EXPECT_EQ(read_free_real(line.substr(6, 2)), std::nullopt);
}

// --- plain decimals -----------------------------------------------------------------------------

// The C library's strtod rounds correctly, too.
void expect_read_as_by_strtod(const std::string& text) {
  double value = 0.0;
  const char* const end = text.data() + text.size();
  ASSERT_EQ(read_plain_real(text.data(), end, value), end) << text;
  const double expected = std::strtod(text.c_str(), nullptr);
  EXPECT_EQ(std::bit_cast<std::uint64_t>(value), std::bit_cast<std::uint64_t>(expected)) << text;
}

TEST(PlainReal, is_the_nearest_double) {
  std::mt19937_64 random(5);
  for (int i = 0; i < 100'000; ++i) {
    std::string digits = std::to_string(random() >> (random() % 64));
    const auto length = static_cast<std::uint64_t>(digits.size());
    const std::uint64_t decimals = random() % 25;
    if (decimals > length) digits.insert(0, decimals - length, '0');
    if (decimals > 0 || random() % 2 == 0) digits.insert(digits.size() - decimals, 1, '.');
    expect_read_as_by_strtod((random() % 2 == 0 ? "-" : "") + digits);
  }
}

TEST(PlainReal, holds_at_the_ends_of_what_is_exact) {
  for (const char* text :
       {"0", "-0", "-0.0", ".5", "5.", "9007199254740992", "9007199254740993", "9007199254740991",
        "-9007199254740993", "0.9007199254740993", "1234567890123456789", "12345678901234567890",
        "18446744073709551616", "0.0000000000000000000001", "0.00000000000000000000001",
        "0000000000000000000000001", "1e5", "1.5E-3"}) {
    expect_read_as_by_strtod(text);
  }
}

TEST(PlainReal, leaves_other_texts_alone) {
  for (const std::string_view text : {"", "-", ".", "-.", "+1", "x", "inf", "nan", "-inf", ",1"}) {
    double value = 7.0;
    EXPECT_EQ(read_plain_real(text.data(), text.data() + text.size(), value), nullptr) << text;
  }
}

TEST(PlainReal, ends_where_the_number_ends) {
  constexpr std::string_view text = "12.5 7";
  double value = 0.0;
  EXPECT_EQ(read_plain_real(text.data(), text.data() + text.size(), value), text.data() + 4);
  EXPECT_EQ(value, 12.5);
  EXPECT_EQ(read_plain_real(text.data(), text.data() + 2, value), text.data() + 2);
  EXPECT_EQ(value, 12.0);
}

}  // namespace
}  // namespace torve
