#include "text/number_edits.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <string_view>

#include "text/free_format.h"

namespace torve {
namespace {

constexpr double denormal = std::numeric_limits<double>::denorm_min();
constexpr double largest = std::numeric_limits<double>::max();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

// The expected digits below were found with Python's decimal module, which expands a double exactly
// and rounds once, half to even.

struct FixedRow {
  std::string_view name;
  double value;
  int width;
  int decimals;
  std::string_view text;
};

class FixedEdit : public testing::TestWithParam<FixedRow> {};

TEST_P(FixedEdit, gives_the_text) {
  const FixedRow& row = GetParam();
  EXPECT_EQ(fixed_edit(row.value, row.width, row.decimals), row.text);
}

constexpr FixedRow fixed_rows[] = {
    {"zero", 0.0, 8, 2, "    0.00"},
    {"minus_zero", -0.0, 8, 2, "   -0.00"},
    {"zero_no_decimals", 0.0, 4, 0, "  0."},
    {"one", 1.0, 12, 2, "        1.00"},
    {"minus_one", -1.0, 12, 2, "       -1.00"},
    {"one_no_decimals", 1.0, 4, 0, "  1."},
    {"ten", 10.0, 8, 3, "  10.000"},
    {"hundred", 100.0, 8, 3, " 100.000"},
    {"tenth", 0.1, 8, 3, "   0.100"},
    {"tie_to_even_down", 0.125, 8, 2, "    0.12"},
    {"tie_to_even_up", 0.375, 8, 2, "    0.38"},
    {"tie_two_and_half", 2.5, 4, 0, "  2."},
    {"tie_three_and_half", 3.5, 4, 0, "  4."},
    {"tie_half", 0.5, 4, 0, "  0."},
    {"binary_value_below_tie", 1.005, 8, 2, "    1.00"},
    {"binary_value_above_tie", 0.025, 8, 2, "    0.03"},
    {"carry_into_new_digit", 9.999, 8, 2, "   10.00"},
    {"carry_all_the_way", 999.9996, 8, 3, "1000.000"},
    {"too_small_to_show", 0.004, 12, 2, "        0.00"},
    {"negative_too_small_keeps_sign", -0.004, 12, 2, "       -0.00"},
    {"exact_width", 12.25, 5, 2, "12.25"},
    {"one_too_wide", 112.25, 5, 2, "*****"},
    {"zero_dropped", 0.25, 3, 2, ".25"},
    {"zero_dropped_behind_sign", -0.25, 4, 2, "-.25"},
    {"zero_kept_with_room", 0.25, 4, 2, "0.25"},
    {"two_too_wide_with_zero", -0.25, 3, 2, "***"},
    {"minus_zero_dropped", -0.0, 4, 2, "-.00"},
    {"no_zero_to_drop", 1.25, 3, 2, "***"},
    {"no_decimals_zero_not_dropped", 0.25, 1, 0, "*"},
    {"no_decimals_fits", 0.25, 2, 0, "0."},
    {"width_zero", 1.0, 0, 2, ""},
    {"screen_too_wide", 123456789012.0, 12, 2, "************"},
    {"denormal", denormal, 12, 2, "        0.00"},
    {"many_decimals", 0.1, 60, 55, "   0.1000000000000000055511151231257827021181583404541015625"},
    {"nan", nan, 6, 2, "   NaN"},
    {"minus_nan", -nan, 6, 2, "   NaN"},
    {"nan_too_wide", nan, 2, 2, "**"},
    {"infinity", infinity, 12, 2, "    Infinity"},
    {"infinity_exact_width", infinity, 8, 2, "Infinity"},
    {"infinity_short", infinity, 7, 2, "    Inf"},
    {"infinity_shortest", infinity, 3, 2, "Inf"},
    {"infinity_too_wide", infinity, 2, 2, "**"},
    {"minus_infinity", -infinity, 9, 2, "-Infinity"},
    {"minus_infinity_short", -infinity, 8, 2, "    -Inf"},
    {"minus_infinity_too_wide", -infinity, 3, 2, "***"},
};

INSTANTIATE_TEST_SUITE_P(Rows, FixedEdit, testing::ValuesIn(fixed_rows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(FixedEditOfLargest, has_all_309_digits) {
  const std::string text = fixed_edit(largest, 313, 2);
  ASSERT_EQ(text.size(), 313U);
  EXPECT_EQ(text.substr(0, 41), " 1797693134862315708145274237317043567980");
  EXPECT_EQ(text.substr(263), "44723168738177180919299881250404026184124858368.00");
  EXPECT_EQ(fixed_edit(largest, 311, 2), std::string(311, '*'));
}

struct DigitsRow {
  std::string_view name;
  double value;
  int width;
  int digits;
  int exponent_digits;
  std::string_view text;
};

class ExponentEdit : public testing::TestWithParam<DigitsRow> {};

TEST_P(ExponentEdit, gives_the_text) {
  const DigitsRow& row = GetParam();
  EXPECT_EQ(exponent_edit(row.value, row.width, row.digits, row.exponent_digits), row.text);
}

constexpr DigitsRow exponent_rows[] = {
    {"zero", 0.0, 12, 4, 3, " 0.0000E+000"},
    {"minus_zero", -0.0, 12, 4, 2, " -0.0000E+00"},
    {"one", 1.0, 12, 4, 2, "  0.1000E+01"},
    {"minus_one", -1.0, 12, 4, 3, "-0.1000E+001"},
    {"half", 0.5, 12, 4, 2, "  0.5000E+00"},
    {"ten", 10.0, 12, 4, 2, "  0.1000E+02"},
    {"tenth", 0.1, 12, 4, 2, "  0.1000E+00"},
    {"hundredth", 0.01, 12, 4, 2, "  0.1000E-01"},
    {"carry_into_new_power", 9.9999, 12, 4, 2, "  0.1000E+02"},
    {"carry_to_one", 0.99999, 12, 4, 2, "  0.1000E+01"},
    {"tie_to_even_down", 0.125, 12, 2, 2, "    0.12E+00"},
    {"tie_to_even_up", 0.375, 12, 2, 2, "    0.38E+00"},
    {"one_digit", 2.5, 8, 1, 2, " 0.2E+01"},
    {"exact_width", 1.5, 10, 4, 2, "0.1500E+01"},
    {"zero_dropped", 1.5, 9, 4, 2, ".1500E+01"},
    {"zero_dropped_behind_sign", -1.5, 10, 4, 2, "-.1500E+01"},
    {"too_wide", 1.5, 8, 4, 2, "********"},
    {"too_wide_negative", -1.5, 9, 4, 2, "*********"},
    {"exponent_fills_digits", 1e+98, 12, 4, 2, "  0.1000E+99"},
    {"exponent_too_long", 1e+99, 12, 4, 2, "************"},
    {"exponent_one_digit", 100000000.0, 12, 4, 1, "   0.1000E+9"},
    {"exponent_one_digit_too_long", 1000000000.0, 12, 4, 1, "************"},
    {"negative_exponent_too_long", 1e-101, 12, 4, 2, "************"},
    {"exponent_four_digits", 1e+99, 14, 4, 4, "  0.1000E+0100"},
    {"largest", largest, 30, 23, 3, "0.17976931348623157081453E+309"},
    {"denormal", denormal, 30, 23, 3, "0.49406564584124654417657E-323"},
    {"denormal_two_exponent_digits", denormal, 30, 23, 2, "******************************"},
    {"nan", nan, 12, 4, 2, "         NaN"},
    {"infinity", infinity, 12, 4, 2, "    Infinity"},
    {"minus_infinity", -infinity, 12, 4, 2, "   -Infinity"},
};

INSTANTIATE_TEST_SUITE_P(Rows, ExponentEdit, testing::ValuesIn(exponent_rows),
                         [](const auto& row) { return std::string(row.param.name); });

class GeneralEdit : public testing::TestWithParam<DigitsRow> {};

TEST_P(GeneralEdit, gives_the_text) {
  const DigitsRow& row = GetParam();
  EXPECT_EQ(general_edit(row.value, row.width, row.digits, row.exponent_digits), row.text);
}

constexpr DigitsRow general_rows[] = {
    {"zero", 0.0, 30, 23, 3, " 0.0000000000000000000000     "},
    {"minus_zero", -0.0, 30, 23, 3, "-0.0000000000000000000000     "},
    {"one", 1.0, 30, 23, 3, " 1.0000000000000000000000     "},
    {"minus_one", -1.0, 30, 23, 3, "-1.0000000000000000000000     "},
    {"half", 0.5, 30, 23, 3, "0.50000000000000000000000     "},
    {"tenth", 0.1, 30, 23, 3, "0.10000000000000000555112     "},
    {"minus_tenth", -0.1, 30, 23, 3, "-.10000000000000000555112     "},
    {"below_tenth", 0.09999999999999999, 30, 23, 3, "0.99999999999999991673327E-001"},
    {"hundredth", 0.01, 30, 23, 3, "0.10000000000000000208167E-001"},
    {"third", 0.3333333333333333, 30, 23, 3, "0.33333333333333331482962     "},
    {"two_thirds", -0.6666666666666666, 30, 23, 3, "-.66666666666666662965923     "},
    {"pi", 3.141592653589793, 30, 23, 3, " 3.1415926535897931159980     "},
    {"preset", -111111.0, 30, 23, 3, "-111111.00000000000000000     "},
    {"no_model_yet", 1e+31, 30, 23, 3, "0.99999999999999996358963E+031"},
    {"hundred_and_more", 123.456, 30, 23, 3, " 123.45600000000000306954     "},
    {"ten_to_22", 1e+22, 30, 23, 3, " 10000000000000000000000.     "},
    {"ten_to_23", 1e+23, 30, 23, 3, " 99999999999999991611392.     "},
    {"above_ten_to_23", 1.0000000000000001e+23, 30, 23, 3, "0.10000000000000000838861E+024"},
    {"float_hundredth", 0.009999999776482582, 30, 23, 3, "0.99999997764825820922852E-002"},
    {"million_and_a_bit", 1000000.1, 30, 23, 3, " 1000000.0999999999767169     "},
    {"largest", largest, 30, 23, 3, "0.17976931348623157081453E+309"},
    {"minus_largest", -largest, 30, 23, 3, "-.17976931348623157081453E+309"},
    {"smallest_normal", 2.2250738585072014e-308, 30, 23, 3, "0.22250738585072013830902E-307"},
    {"denormal", denormal, 30, 23, 3, "0.49406564584124654417657E-323"},
    {"short_two", 2.0, 19, 12, 3, " 2.00000000000     "},
    {"short_two_and_half", 2.5, 19, 12, 3, " 2.50000000000     "},
    {"short_tenth", 0.1, 19, 12, 3, "0.100000000000     "},
    {"short_minus_tenth", -0.1, 19, 12, 3, "-.100000000000     "},
    {"short_millionth", 1e-06, 19, 12, 3, "0.100000000000E-005"},
    {"short_rounds_up_to_tenth", 0.09999999999999, 19, 12, 3, "0.100000000000     "},
    {"short_rounds_up_to_ten", 9.99999999999999, 19, 12, 3, " 10.0000000000     "},
    {"short_all_digits", 999999999999.0, 19, 12, 3, " 999999999999.     "},
    {"short_rounds_out_of_range", 999999999999.9, 19, 12, 3, "0.100000000000E+013"},
    {"short_ten_to_12", 1000000000000.0, 19, 12, 3, "0.100000000000E+013"},
    {"short_ten_to_11", 100000000000.0, 19, 12, 3, " 100000000000.     "},
    {"short_ten_to_200", 1e+200, 19, 12, 3, "0.100000000000E+201"},
    {"simulator_field", -12345.678, 20, 12, 3, " -12345.6780000     "},
    {"simulator_field_small", -1.25e-07, 20, 12, 3, "-0.125000000000E-006"},
    {"tie_to_even", 0.125, 10, 2, 2, "  0.12    "},
    {"tie_to_odd_neighbour", 0.375, 10, 2, 2, "  0.38    "},
    {"one_digit_ten", 10.0, 10, 1, 2, "   0.1E+02"},
    {"one_digit_nine", 9.0, 10, 1, 2, "    9.    "},
    {"one_digit_half", 0.5, 10, 1, 2, "   0.5    "},
    {"zero_one_digit", 0.0, 10, 1, 2, "    0.    "},
    {"fixed_part_too_wide", -1.5, 9, 4, 3, "****     "},
    {"exponent_too_wide", -15000000000.0, 8, 4, 2, "********"},
    {"no_room_beside_blanks", 1.5, 5, 4, 3, "*****"},
    {"one_place_beside_blanks", 1.5, 6, 4, 3, "*     "},
    {"nan_takes_the_whole_width", nan, 12, 4, 3, "         NaN"},
    {"infinity_takes_the_whole_width", infinity, 12, 4, 3, "    Infinity"},
    {"minus_infinity_narrow", -infinity, 5, 4, 3, " -Inf"},
};

INSTANTIATE_TEST_SUITE_P(Rows, GeneralEdit, testing::ValuesIn(general_rows),
                         [](const auto& row) { return std::string(row.param.name); });

struct FreeFormRow {
  std::string_view name;
  double value;
  std::string_view text;
};

class FreeForm : public testing::TestWithParam<FreeFormRow> {};

TEST_P(FreeForm, gives_the_text) {
  EXPECT_EQ(free_form(GetParam().value), GetParam().text);
}

constexpr FreeFormRow free_form_rows[] = {
    {"zero", 0.0, "0"},
    {"minus_zero", -0.0, "-0"},
    {"one", 1.0, "1"},
    {"five", 5.0, "5"},
    {"half", -0.5, "-0.5"},
    {"hundredth", 0.01, "0.01"},
    {"float_hundredth", 0.009999999776482582, "0.009999999776482582"},
    {"preset", -111111.0, "-111111"},
    {"no_model_yet", 1e31, "1e+31"},
    {"plain_up_to_sixteen_digits", 100000.0, "100000"},
    {"last_plain", 1e15, "1000000000000000"},
    {"exponent_from_sixteen_zeros", 1e16, "1e+16"},
    {"last_plain_fraction", 0.0001, "0.0001"},
    {"exponent_of_small", 0.00001, "1e-05"},
    {"third", 1.0 / 3.0, "0.3333333333333333"},
    {"tenth_and_fifth", 0.1 + 0.2, "0.30000000000000004"},
    {"largest", largest, "1.7976931348623157e+308"},
    {"denormal", denormal, "5e-324"},
    {"nan", nan, "NaN"},
    {"minus_nan", -nan, "NaN"},
    {"infinity", infinity, "Infinity"},
    {"minus_infinity", -infinity, "-Infinity"},
};

INSTANTIATE_TEST_SUITE_P(Rows, FreeForm, testing::ValuesIn(free_form_rows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(FreeFormOfWholeNumbers, keeps_every_digit) {
  EXPECT_EQ(free_form(0), "0");
  EXPECT_EQ(free_form(100000), "100000");
  EXPECT_EQ(free_form(std::numeric_limits<int>::min()), "-2147483648");
  EXPECT_EQ(free_form(std::numeric_limits<long long>::min()), "-9223372036854775808");
  EXPECT_EQ(free_form(std::numeric_limits<long long>::max()), "9223372036854775807");
  EXPECT_EQ(free_form(9007199254740993L), "9007199254740993");
  EXPECT_EQ(free_form(std::numeric_limits<std::size_t>::max()), "18446744073709551615");
}

/// Finite doubles of all magnitudes, most of them with 17 significant digits.
class RandomDoubles {
 public:
  double next() {
    for (;;) {
      const auto value = std::bit_cast<double>(std::uint64_t{bits_()});
      if (std::isfinite(value)) return value;
    }
  }

 private:
  std::mt19937_64 bits_{20240917};
};

TEST(FreeFormProperty, reads_back_as_the_same_bits) {
  RandomDoubles doubles;
  for (int i = 0; i < 20'000; ++i) {
    const double value = doubles.next();
    const auto back = read_free_real(free_form(value));
    ASSERT_TRUE(back.has_value()) << free_form(value);
    ASSERT_EQ(std::bit_cast<std::uint64_t>(*back), std::bit_cast<std::uint64_t>(value))
        << free_form(value);
  }
}

/// `value` with `digits` significant digits, read back.
double through_digits(double value, int digits) {
  char text[40];
  const auto made =
      std::to_chars(text, text + sizeof text, value, std::chars_format::scientific, digits - 1);
  double back = 0.0;
  std::from_chars(text, made.ptr, back);
  return back;
}

TEST(FreeFormProperty, has_no_digit_too_many) {
  RandomDoubles doubles;
  int tested = 0;
  for (int i = 0; i < 20'000; ++i) {
    const std::string text = free_form(doubles.next());
    // Without an exponent the digits before the point are needed for their places.
    if (text.find('e') == std::string::npos) continue;
    const std::string mantissa = text.substr(0, text.find('e'));
    const auto digits = static_cast<int>(std::count_if(
        mantissa.begin(), mantissa.end(), [](char c) { return c >= '0' && c <= '9'; }));
    if (digits < 2) continue;
    const double value = *read_free_real(text);
    ASSERT_NE(through_digits(value, digits - 1), value) << text;
    ++tested;
  }
  EXPECT_GT(tested, 10'000);
}

TEST(GeneralEditProperty, reads_back_as_the_same_bits_at_full_digits) {
  RandomDoubles doubles;
  for (int i = 0; i < 20'000; ++i) {
    const double value = doubles.next();
    const std::string text = general_edit(value, 30, 23, 3);
    ASSERT_EQ(text.size(), 30U);
    const std::size_t from = text.find_first_not_of(' ');
    const auto back = read_free_real(text.substr(from, text.find_last_not_of(' ') + 1 - from));
    ASSERT_EQ(back, value) << text;
  }
}

struct TimeRow {
  std::string_view name;
  double seconds;
  std::string_view text;
};

class TimeText : public testing::TestWithParam<TimeRow> {};

TEST_P(TimeText, gives_the_text) {
  EXPECT_EQ(time_text(GetParam().seconds), GetParam().text);
}

constexpr TimeRow time_rows[] = {
    {"zero", 0.0, "0.0000"},
    {"one_tick", 0.0001, "0.0001"},
    {"below_a_tick", 0.00004, "0.0000"},
    {"rounds", 1.23456, "1.2346"},
    {"a_day", 86400.0, "86400.0000"},
    {"clock_set_back", -0.25, "-0.2500"},
    {"longer_than_any_field", 1e15, "1000000000000000.0000"},
    {"nan", nan, "NaN"},
};

INSTANTIATE_TEST_SUITE_P(Rows, TimeText, testing::ValuesIn(time_rows),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace torve
