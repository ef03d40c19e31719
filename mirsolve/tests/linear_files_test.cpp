// Files as they are written for a solver, against the stand-in that tries every choice.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <iterator>

#include "mirsolve/language/problem_reader.h"
#include "mirsolve/run/solvers.h"
#include "support/mir_solver.h"

namespace {

using namespace mirsolve;

std::string text_of(const std::string& name) {
  std::ifstream file(std::string(TORVE_TEST_DATA) + "/solvers/" + name, std::ios::binary);
  if (!file) throw std::runtime_error("cannot open " + name);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at))
    text.replace(at, from.size(), to);
  return text;
}

class LinearFiles : public testing::TestWithParam<const char*> {};

// The files try how a number like 1e+20 is written. Beside others in one row no solver can weigh
// it.
TEST_P(LinearFiles, give_what_every_choice_gives) {
  const std::string text = replaced(text_of(std::string(GetParam()) + ".mir"), "1e+20", "7");
  std::string error;
  const std::optional<Problem> problem = read_problem(text, GetParam(), error);
  ASSERT_TRUE(problem) << error;
  const std::optional<Answer> answer = solve_linear(*problem, Deadline(60.0));
  ASSERT_TRUE(answer);
  const std::optional<torve::test::MirSolved> best =
      torve::test::solve_mir(torve::test::read_mir(text));
  if (!best) {
    EXPECT_EQ(answer->status, Status::infeasible);
    return;
  }
  ASSERT_EQ(answer->status, Status::proven);
  const double gap = std::max(problem->options.absolute_gap,
                              problem->options.relative_gap * std::abs(best->objective));
  EXPECT_LE(answer->objective, best->objective + gap);
  EXPECT_GE(answer->objective, best->objective - 1e-6 * (1.0 + std::abs(best->objective)));
  EXPECT_LE(answer->bound, best->objective + 1e-6 * (1.0 + std::abs(best->objective)));
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
  const std::optional<Problem> problem = read_problem(text_of("linearerror.mir"), "file", error);
  ASSERT_TRUE(problem) << error;
  const std::optional<Answer> answer = solve_linear(*problem, Deadline(60.0));
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->status, Status::failed);
  EXPECT_TRUE(answer->points.empty());
  ASSERT_FALSE(answer->remarks.empty());
  EXPECT_EQ(answer->remarks.front().substr(0, 19), "a point was dropped");
}

}  // namespace
