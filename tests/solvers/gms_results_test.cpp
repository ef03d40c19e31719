// Reading of res.put: every model status, and every way in which the file can be no good.
#include "solvers/gms_results.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "support/rows.h"
#include "support/small_problem.h"

namespace torve::test {
namespace {

constexpr int columns = 3;

GmsAnswer read(const std::string& text, NoSolution no_solution = NoSolution::is_a_failure) {
  return read_gms_answer(text, columns, no_solution);
}

TEST(GmsResults, hold_status_objective_and_columns) {
  const GmsAnswer answer = read("  1\n 12.5\n1 -2.5\n0 0.0\n1 1.25E-3\n");
  EXPECT_EQ(answer.miperr, 0);
  EXPECT_EQ(answer.modelstat, 1);
  EXPECT_EQ(answer.value, 12.5);
  EXPECT_EQ(answer.subset.chosen, (std::vector<bool>{true, false, true}));
  EXPECT_EQ(answer.subset.beta, (std::vector<double>{-2.5, 0.0, 1.25e-3}));
}

// --- status -------------------------------------------------------------------------------------

class GmsStatus : public testing::TestWithParam<int> {};

int expected_miperr(int modelstat, bool may_miss) {
  static const std::vector<int> solved = {1, 2, 3, 7, 8, 15, 16, 17};
  static const std::vector<int> infeasible = {4, 10, 19};
  if (std::ranges::find(solved, modelstat) != solved.end()) return 0;
  if (std::ranges::find(infeasible, modelstat) != infeasible.end()) return 1;
  return modelstat == 14 && may_miss ? 1 : 3;
}

TEST_P(GmsStatus, decides_whether_there_is_an_answer) {
  const std::string text = fmt::format("{:3}\n1\n1 1\n1 1\n1 1\n", GetParam());
  EXPECT_EQ(read(text).miperr, expected_miperr(GetParam(), false));
  EXPECT_EQ(read(text, NoSolution::is_an_answer).miperr, expected_miperr(GetParam(), true));
}

INSTANTIATE_TEST_SUITE_P(All, GmsStatus, testing::Range(-1, 21));

// --- texts --------------------------------------------------------------------------------------

struct TextRow {
  const char* name;
  std::string text;
  int miperr;
};

class GmsResultTexts : public testing::TestWithParam<TextRow> {};

TEST_P(GmsResultTexts, are_classified) {
  EXPECT_EQ(read(GetParam().text).miperr, GetParam().miperr);
}

INSTANTIATE_TEST_SUITE_P(
    Good, GmsResultTexts,
    testing::Values(TextRow{"no_line_end", "  8\n1\n1 1\n0 0\n0 0", 0},
                    TextRow{"line_ends_of_another_system", "  1\r\n1\r\n1 1\r\n0 0\r\n0 0\r\n", 0},
                    TextRow{"status_on_the_left", "1\n1\n1 1\n0 0\n0 0\n", 0},
                    TextRow{"something_behind_the_status", "  1 1.00\n1\n1 1\n0 0\n0 0\n", 0},
                    TextRow{"commas_and_tabs", "  1\n1\n1,1\n0\t0\n0 ,0\n", 0},
                    TextRow{"more_records", "  1\n1\n1 1\n0 0\n0 0\n1 1\n", 0},
                    TextRow{"value_with_remark", "  1\n1 of sseplus\n1 1 a\n0 0 b\n0 0\n", 0},
                    TextRow{"exponents_of_fortran", "  1\n1D2\n1 1.5d+01\n0 0\n0 0\n", 0},
                    TextRow{"no_solution_and_nothing_else", "  4\n", 1},
                    TextRow{"no_solution_and_nonsense", " 19\n1e999\n***\n", 1},
                    TextRow{"other_and_nothing_else", " 13", 3}),
    RowName());

INSTANTIATE_TEST_SUITE_P(
    Bad, GmsResultTexts,
    testing::Values(TextRow{"empty", "", 2}, TextRow{"blank_status", "   \n1\n1 1\n0 0\n0 0\n", 2},
                    TextRow{"word_for_status", "abc\n", 2},
                    TextRow{"broken_status", "1 1\n1\n1 1\n0 0\n0 0\n", 2},
                    TextRow{"status_with_point", "1.0\n1\n1 1\n0 0\n0 0\n", 2},
                    TextRow{"only_the_status", "  1\n", 2},
                    TextRow{"only_the_status_and_objective", "  1\n1\n", 2},
                    TextRow{"a_record_is_missing", "  1\n1\n1 1\n0 0\n", 2},
                    TextRow{"cut_within_a_record", "  1\n1\n1 1\n0 0\n0", 2},
                    TextRow{"cut_behind_a_sign", "  1\n1\n1 1\n0 0\n0 -", 2},
                    TextRow{"infinite_objective", "  1\n+INF\n1 1\n0 0\n0 0\n", 2},
                    TextRow{"objective_is_no_number", "  1\nNaN\n1 1\n0 0\n0 0\n", 2},
                    TextRow{"objective_not_available", "  1\nNA\n1 1\n0 0\n0 0\n", 2},
                    TextRow{"infinite_coefficient", "  1\n1\n1 Infinity\n0 0\n0 0\n", 2},
                    TextRow{"coefficient_too_large", "  1\n1\n1 1e999\n0 0\n0 0\n", 2},
                    TextRow{"coefficient_is_no_number", "  1\n1\n1 nan\n0 0\n0 0\n", 2},
                    TextRow{"coefficient_left_out", "  1\n1\n1 /\n0 0\n0 0\n", 2},
                    TextRow{"choice_left_out", "  1\n1\n, 1\n0 0\n0 0\n", 2},
                    TextRow{"choice_too_wide_for_its_field", "  1\n1\n* 1\n0 0\n0 0\n", 2},
                    TextRow{"half_a_choice", "  1\n1\n0.5 1\n0 0\n0 0\n", 2},
                    TextRow{"choice_too_large", "  1\n1\n1e10 1\n0 0\n0 0\n", 2},
                    TextRow{"choice_is_a_word", "  1\n1\nT 1\n0 0\n0 0\n", 2},
                    TextRow{"dropped_row_is_no_number", "  1\n1\n1 1\n0 0\n0 x\n", 2}),
    RowName());

TEST(GmsResults, are_read_at_any_cut) {
  const std::string text = "  1\n-12.5\n1 -2.5\n0 0.0\n1 1.25E-3\n";
  for (std::size_t length = 0; length < text.size(); ++length) {
    const int miperr = read(text.substr(0, length)).miperr;
    EXPECT_TRUE(miperr == 0 || miperr == 2 || miperr == 3) << length;
  }
}

TEST(GmsResults, are_read_whatever_stands_there) {
  Random random(11);
  const std::string signs = "0123456789 .,-+eE*/\n\rNaInf\t";
  for (int trial = 0; trial < 20000; ++trial) {
    std::string text = random.chance(0.5) ? "  1\n" : "";
    for (int length = random.whole(0, 40); length > 0; --length) {
      text += signs[static_cast<std::size_t>(random.whole(0, static_cast<int>(signs.size()) - 1))];
    }
    const GmsAnswer answer = read(text);
    if (answer.miperr != 0) continue;
    ASSERT_EQ(answer.subset.chosen.size(), 3U);
    for (const double beta : answer.subset.beta) EXPECT_TRUE(std::isfinite(beta));
  }
}

// The subset of no columns.
TEST(GmsResults, of_no_column_are_status_and_objective) {
  EXPECT_EQ(read_gms_answer("  1\n0\n", 0, NoSolution::is_a_failure).miperr, 0);
}

}  // namespace
}  // namespace torve::test
