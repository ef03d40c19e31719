// Files as they are written for a solver, against the stand-in that tries every choice.
#include <gtest/gtest.h>

#include "mirsolve/run/solvers.h"
#include "mirsolve/tests/selection_brute_force.h"
#include "solver_files.h"

namespace mirsolve::test {

namespace {

class SelectionFiles : public testing::TestWithParam<const char*> {};

TEST_P(SelectionFiles, GiveWhatEveryChoiceGives) {
  // The files try how a number like 1e+20 is written, beside which the stand-in has no digits left.
  std::string text = text_of_file(GetParam());
  for (const char* large : {"1e+20", "8.333333333333333e+18", "3.333333333333333e+19"}) {
    text = replaced(text, large, "7");
  }
  const std::optional<Solved> solved = solve_as_by_every_choice(text, solve_selection);
  if (!solved) return;
  ASSERT_FALSE(solved->answer.points.empty());
  EXPECT_EQ(broken_by(solved->problem, solved->answer.points.front()), "");
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
