#include "data/simulator_files.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <ostream>
#include <string_view>
#include <vector>

#include "support/rows.h"

namespace torve {
namespace {

using Outcome = RecordReader::Outcome;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

TEST(SimulatorInput, has_a_line_for_each_point_and_a_flag_for_each_output) {
  const std::array<double, 4> x{1.0, -2.5e-7, 1.0 / 3.0, 123456789.0};
  const std::array<bool, 3> ignore{false, true, false};
  EXPECT_EQ(simulator_input({x.data(), 2, 2, 2}, 4711, ignore),
            " 2 4711\n"
            "  1.00000000000      0.333333333333     \n"
            "-0.250000000000E-006  123456789.000     \n"
            " T F T\n");
}

TEST(SimulatorInput, takes_rows_out_of_a_table) {
  const std::array<double, 6> x{1, 2, 3, 4, 5, 6};
  EXPECT_EQ(simulator_input({x.data() + 1, 1, 2, 3}, 7, std::array{false}),
            " 1 7\n  2.00000000000       5.00000000000     \n T\n");
}

// A file and what two records of three values each come to; places that aren't filled keep -1.
struct RecordCase {
  std::string_view name;
  std::string_view text;
  std::vector<double> values;
  Outcome last = Outcome::end_of_file;
};

void PrintTo(const RecordCase& row, std::ostream* out) {
  *out << row.name;
}

class Records : public testing::TestWithParam<RecordCase> {};

TEST_P(Records, are_read) {
  RecordReader reader(GetParam().text);
  std::vector<double> all;
  Outcome outcome = Outcome::read;
  while (outcome == Outcome::read) {
    std::array<double, 3> values{-1, -1, -1};
    outcome = reader.next(values);
    if (outcome == Outcome::read) all.insert(all.end(), values.begin(), values.end());
    ASSERT_LE(all.size(), 30U);
  }
  EXPECT_EQ(outcome, GetParam().last);
  ASSERT_EQ(all.size(), GetParam().values.size());
  for (std::size_t i = 0; i < all.size(); ++i) {
    if (std::isnan(GetParam().values[i])) {
      EXPECT_TRUE(std::isnan(all[i])) << i;
    } else {
      EXPECT_EQ(all[i], GetParam().values[i]) << i;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Records,
    testing::Values(
        RecordCase{"plain", "1 2 3\n4 5 6\n", {1, 2, 3, 4, 5, 6}},
        RecordCase{"no_last_line_end", "1 2 3\n4 5 6", {1, 2, 3, 4, 5, 6}},
        RecordCase{"windows_line_ends", "1 2 3\r\n4 5 6\r\n", {1, 2, 3, 4, 5, 6}},
        RecordCase{"tabs_and_commas", "1,\t2 ,3\n 4\t5,6\n", {1, 2, 3, 4, 5, 6}},
        RecordCase{"over_several_lines", "1\n2\n\n3\n4 5\n6\n", {1, 2, 3, 4, 5, 6}},
        RecordCase{"rest_of_the_line_ignored", "1 2 3 99 words\n4 5 6\n", {1, 2, 3, 4, 5, 6}},
        RecordCase{"blank_lines", "\n\n1 2 3\n   \n4 5 6\n\n", {1, 2, 3, 4, 5, 6}},
        RecordCase{"the_same_twice", "1 2 3\n1 2 3\n", {1, 2, 3, 1, 2, 3}},
        RecordCase{"exponents", "1d3 2Q-1 -.5E+2\n", {1000, 0.2, -50}},
        RecordCase{"signs", "+1 -2 +.5\n", {1, -2, 0.5}},
        RecordCase{"repeats", "2*1.5 3\n3*7\n", {1.5, 1.5, 3, 7, 7, 7}},
        RecordCase{"repeat_longer_than_the_record", "99*2\n4 5 6\n", {2, 2, 2, 4, 5, 6}},
        RecordCase{"repeat_of_nothing", "2* 3\n", {-1, -1, 3}},
        RecordCase{"left_out", "1,,3\n,5,\n6\n", {1, -1, 3, -1, 5, 6}},
        RecordCase{"slash", "1 2 / and words\n4/5 6\n", {1, 2, -1, 4, -1, -1}},
        RecordCase{"not_a_number", "NaN nan(ind) -nan\n", {nan, nan, nan}},
        RecordCase{"nothing", "", {}}, RecordCase{"blanks_alone", "  \n \n", {}},
        RecordCase{"cut_off", "1 2 3\n4 5", {1, 2, 3}},
        RecordCase{"word", "1 2 3\n4 five 6\n", {1, 2, 3}, Outcome::no_number},
        RecordCase{"infinity", "1 2 Infinity\n", {}, Outcome::no_number},
        RecordCase{"overflow", "1 2 1e400\n", {}, Outcome::no_number},
        RecordCase{"asterisks", "1 2 ***\n", {}, Outcome::no_number},
        RecordCase{"repeat_of_zero", "0*1 2 3\n", {}, Outcome::no_number},
        RecordCase{"repeat_beyond_counts", "99999999999999999999*1\n", {}, Outcome::no_number},
        RecordCase{"words_for_nan", "nanx 2 3\n", {}, Outcome::no_number},
        RecordCase{"null_byte", std::string_view("1 \0 3\n", 6), {}, Outcome::no_number},
        RecordCase{"byte_above_ascii", "1 \xb5 3\n", {}, Outcome::no_number}),
    test::RowName());

}  // namespace
}  // namespace torve
