// Files as they are written for a solver, against the stand-in that tries every choice.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <iterator>

#include "mirsolve/language/problem_reader.h"
#include "mirsolve/run/solvers.h"
#include "mirsolve/tests/selection_brute_force.h"
#include "support/mir_solver.h"

namespace mirsolve::test {

namespace {

std::string text_of(const std::string& name) {
  std::ifstream file(std::string(TORVE_TEST_DATA) + "/solvers/" + name + ".mir", std::ios::binary);
  if (!file) throw std::runtime_error("cannot open " + name);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

class SelectionFiles : public testing::TestWithParam<const char*> {};

TEST_P(SelectionFiles, GiveWhatEveryChoiceGives) {
  // The files try how a number like 1e+20 is written, beside which the stand-in has no digits left.
  std::string text = text_of(GetParam());
  for (const char* large : {"1e+20", "8.333333333333333e+18", "3.333333333333333e+19"}) {
    for (std::size_t i = text.find(large); i != std::string::npos; i = text.find(large)) {
      text.replace(i, std::string(large).size(), "7");
    }
  }
  std::string error;
  const std::optional<Problem> problem = read_problem(text, GetParam(), error);
  ASSERT_TRUE(problem) << error;
  const std::optional<Answer> answer = solve_selection(*problem, Deadline(60.0));
  ASSERT_TRUE(answer);
  const std::optional<torve::test::MirSolved> best =
      torve::test::solve_mir(torve::test::read_mir(text));
  if (!best) {
    EXPECT_EQ(answer->status, Status::infeasible);
    return;
  }
  // The proof may come with the first model.
  const bool is_done = answer->status == Status::proven ||
                       (problem->options.first_feasible && answer->status == Status::wanted);
  ASSERT_TRUE(is_done);
  EXPECT_EQ(broken_by(*problem, answer->points.front()), "");
  const double gap = std::max(problem->options.absolute_gap,
                              problem->options.relative_gap * std::abs(best->objective));
  const double slack = 1e-6 * (1.0 + std::abs(best->objective));
  const double allowed = problem->options.first_feasible ? infinite : gap + slack;
  EXPECT_LE(answer->objective, best->objective + allowed);
  EXPECT_GE(answer->objective, best->objective - slack);
  EXPECT_LE(answer->bound, best->objective + slack);
}

INSTANTIATE_TEST_SUITE_P(All, SelectionFiles,
                         testing::Values("aicc", "all_options", "bic", "bic_any_size",
                                         "bounding_set", "bounding_set_below", "cp", "custom",
                                         "custom_with_scalebases", "exact_fit", "exact_fit_of_mse",
                                         "groups", "groups_and_start", "hqc", "mse", "no_term",
                                         "no_term_but_groups", "no_term_of_aicc", "prbf",
                                         "prbf_screened_out", "relerror", "relerror_of_mse", "ric",
                                         "scalebases", "scalez", "shortcut", "sselimit",
                                         "sselimit_with_relerror", "ssep", "ssep_penalty", "start",
                                         "wide_bounds"),
                         [](const auto& test) { return std::string(test.param); });

}  // namespace

}  // namespace mirsolve::test
