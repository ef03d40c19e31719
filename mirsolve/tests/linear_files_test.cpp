// Files as they are written for a solver, against the stand-in that tries every choice.
#include <gtest/gtest.h>

#include "mirsolve/language/problem_reader.h"
#include "mirsolve/run/solvers.h"
#include "solver_files.h"

namespace mirsolve::test {
namespace {

class LinearFiles : public testing::TestWithParam<const char*> {};

// The files try how a number like 1e+20 is written. Beside others in one row no solver can weigh
// it.
TEST_P(LinearFiles, give_what_every_choice_gives) {
  const std::string text = replaced(text_of_file(GetParam()), "1e+20", "7");
  solve_as_by_every_choice(text, solve_linear);
}

INSTANTIATE_TEST_SUITE_P(Linear, LinearFiles,
                         testing::Values("madp", "madp_penalty_and_start",
                                         "scalez_and_scalebases_of_madp", "linearerror",
                                         "sselimit_with_linearerror", "exact_fit",
                                         "exact_fit_of_mse"),
                         [](const auto& row) { return std::string(row.param); });

// 1e20 beside 1 in one row: what the search takes for a point doesn't hold the statements.
TEST(LinearFile, of_numbers_too_far_apart_has_no_answer) {
  std::string error;
  const std::optional<Problem> problem = read_problem(text_of_file("linearerror"), "file", error);
  ASSERT_TRUE(problem) << error;
  const std::optional<Answer> answer = solve_linear(*problem, Deadline(60.0));
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->status, Status::failed);
  EXPECT_TRUE(answer->points.empty());
  ASSERT_FALSE(answer->remarks.empty());
  EXPECT_EQ(answer->remarks.front().substr(0, 19), "a point was dropped");
}

}  // namespace
}  // namespace mirsolve::test
