// What the solver's result files are taken for, and every way in which they can be no good.
#include "solvers/mir_results.h"

#include <gtest/gtest.h>

#include <string>

#include "support/rows.h"

namespace torve::test {
namespace {

constexpr const char* good_tim = " surrogate  12 9 4 0  1.5e+00 1.5d0  0 1 0\n";

struct StatusRow {
  const char* name;
  std::string tim;
  std::optional<int> status;
};

class MirStatus : public testing::TestWithParam<StatusRow> {};

TEST_P(MirStatus, is_the_second_of_the_last_three) {
  EXPECT_EQ(read_mir_status(GetParam().tim), GetParam().status);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, MirStatus,
    testing::Values(
        StatusRow{"plain", good_tim, 1},
        StatusRow{"no_line_end", "surrogate 1 2 3 4 5.0 6.0 7 2 9", 2},
        StatusRow{"several_lines", "surrogate\n1 2\n\n3 4 5 6\n7\n8\n9\n", 8},
        StatusRow{"commas", "surrogate,1,2,3,4,5.,6.,7,4,9 and more\n", 4},
        StatusRow{"quoted_name", "'a problem' 1 2 3 4 5 6 7 3 9\n", 3},
        StatusRow{"long_name", "a_name_longer_than_ten 1 2 3 4 5 6 7 3 9\n", 3},
        StatusRow{"repeated", "surrogate 4*0 2*1.5 3*6\n", 6},
        StatusRow{"repeated_across_kinds", "surrogate 9*5\n", 5},
        StatusRow{"signs_and_tabs", "surrogate\t+1 -2 3 4 -5e-3 +6 7 -8 9\r\n", -8},
        StatusRow{"empty", "", std::nullopt}, StatusRow{"blank", "\n \n", std::nullopt},
        StatusRow{"name_only", "surrogate", std::nullopt},
        StatusRow{"cut_before_the_last", "surrogate 1 2 3 4 5 6 7 8", std::nullopt},
        StatusRow{"cut_before_the_status", "surrogate 1 2 3 4 5 6 7\n", std::nullopt},
        StatusRow{"count_with_fraction", "surrogate 1 2.5 3 4 5 6 7 8 9", std::nullopt},
        StatusRow{"count_too_large", "surrogate 1 2 3 99999999999 5 6 7 8 9", std::nullopt},
        StatusRow{"status_too_large", "surrogate 1 2 3 4 5 6 7 2147483648 9", std::nullopt},
        StatusRow{"status_is_real", "surrogate 1 2 3 4 5 6 7 1.0 9", std::nullopt},
        StatusRow{"word_for_a_real", "surrogate 1 2 3 4 none 6 7 8 9", std::nullopt},
        StatusRow{"not_a_number", "surrogate 1 2 3 4 NaN 6 7 8 9", std::nullopt},
        StatusRow{"infinity", "surrogate 1 2 3 4 5 Infinity 7 8 9", std::nullopt},
        StatusRow{"beyond_doubles", "surrogate 1 2 3 4 5 1e999 7 8 9", std::nullopt},
        StatusRow{"left_out", "surrogate 1 2 3 4 5 6 7,,9", std::nullopt},
        StatusRow{"ended_by_a_slash", "surrogate 1 2 3 4 5 6 7 / 8 9", std::nullopt},
        StatusRow{"repeated_nothing", "surrogate 4* 5 6 7 8 9", std::nullopt},
        StatusRow{"repeated_never", "surrogate 0*1 1 2 3 4 5 6 7 8 9", std::nullopt},
        StatusRow{"open_quote", "'surrogate 1 2 3 4 5 6 7 8 9", std::nullopt},
        StatusRow{"name_left_out", ", 1 2 3 4 5 6 7 8 9", std::nullopt}),
    RowName());

TEST(MirEnd, has_the_first_real) {
  const std::optional<MirEnd> end = read_mir_end("surrogate 1 2 3 4 -0.25d1 6 7 8 9");
  ASSERT_TRUE(end);
  EXPECT_EQ(end->bound, -2.5);
  EXPECT_EQ(end->status, 8);
}

TEST(MirStatusMeaning, is_told_by_the_status) {
  for (const int status : {-7, 0, 1, 3, 4}) EXPECT_EQ(miperr_of_status(status), 0) << status;
  EXPECT_EQ(miperr_of_status(2), 1);
  for (const int status : {5, 6, 1000}) EXPECT_EQ(miperr_of_status(status), 3) << status;
}

// Two terms, a group, two positive variables.
constexpr MirLayout small_layout{2, 1, 2, 2};

const std::string heading =
    "Some words\nThe best solution was sought\nThe best solution found after 3 nodes\n"
    "skipped The best solution found\n\n";
const std::string binaries =
    "  trv_y_1   0.0  1.0\n trv_y_2  0.0 0.25  and more\n  trv_yg_1  0 1\n";
const std::string positives = "anything\n\n";
const std::string free_ones = " trv_beta_1  -100  2.5\n trv_beta_2 -100\n -3.0D-1\n";

TEST(MirSolution, is_read_by_position) {
  const std::string text = heading + binaries + positives + free_ones + "rest";
  const std::optional<MirSolution> solution = read_mir_solution(text, small_layout);
  ASSERT_TRUE(solution);
  EXPECT_EQ(solution->y, (std::vector<double>{1.0, 0.25}));
  EXPECT_EQ(solution->beta, (std::vector<double>{2.5, -0.3}));
}

TEST(MirSolution, may_have_no_variable) {
  const std::optional<MirSolution> solution = read_mir_solution(heading, MirLayout{});
  ASSERT_TRUE(solution);
  EXPECT_TRUE(solution->y.empty());
  EXPECT_TRUE(solution->beta.empty());
}

TEST(MirSolution, may_have_long_names_and_line_ends_of_two_bytes) {
  const std::string text =
      "The best solution found\r\n\r\n\r\na_name_of_more_than_23_characters 0 1\r\nb 0 4\r\n";
  const std::optional<MirSolution> solution = read_mir_solution(text, {1, 0, 0, 1});
  ASSERT_TRUE(solution);
  EXPECT_EQ(solution->beta, (std::vector<double>{4.0}));
}

// Every text that a file may be cut to ends the reading, but for the last characters of the last
// number.
TEST(MirSolution, needs_the_whole_file) {
  const std::string text = heading + binaries + positives + free_ones;
  const std::size_t last_number = text.rfind("-3");
  for (std::size_t size = 0; size <= last_number; ++size) {
    EXPECT_FALSE(read_mir_solution(text.substr(0, size), small_layout)) << size;
  }
}

struct BadSolution {
  const char* name;
  std::string text;
};

class MirBadSolution : public testing::TestWithParam<BadSolution> {};

TEST_P(MirBadSolution, is_refused) {
  EXPECT_FALSE(read_mir_solution(GetParam().text, small_layout));
}

std::string with_beta(const std::string& value) {
  return heading + binaries + positives + "trv_beta_1 0 " + value + "\ntrv_beta_2 0 1\n";
}

INSTANTIATE_TEST_SUITE_P(
    Texts, MirBadSolution,
    testing::Values(
        BadSolution{"empty", ""}, BadSolution{"no_heading", binaries + positives + free_ones},
        BadSolution{"indented_heading",
                    " The best solution found\n\n\n" + binaries + positives + free_ones},
        BadSolution{"heading_in_capitals",
                    "THE BEST SOLUTION FOUND\n\n\n" + binaries + positives + free_ones},
        BadSolution{"heading_alone", "The best solution found"},
        BadSolution{"one_line_behind_the_heading", "The best solution found\nobjective\n"},
        BadSolution{"word_for_a_choice",
                    heading + "trv_y_1 0 yes\n trv_y_2 0 1\n g 0 1\n" + positives + free_ones},
        BadSolution{"no_number_of_a_group",
                    heading + "trv_y_1 0 1\n trv_y_2 0 1\n g 0 -\n" + positives + free_ones},
        BadSolution{"a_positive_variable_is_missing", heading + binaries + "mad 0 1\n" + free_ones},
        BadSolution{"not_a_number", with_beta("NaN")},
        BadSolution{"infinite", with_beta("-Infinity")},
        BadSolution{"short_infinite", with_beta("inf")},
        BadSolution{"beyond_doubles", with_beta("1e400")},
        BadSolution{"hexadecimal", with_beta("0x10")}, BadSolution{"stars", with_beta("****")},
        BadSolution{"left_out", with_beta(",")}, BadSolution{"slash", with_beta("/")},
        BadSolution{"nul_byte", with_beta(std::string(1, '\0'))}),
    RowName());

}  // namespace
}  // namespace torve::test
