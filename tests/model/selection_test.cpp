// Whole runs on random small problems against a selection that is written out again in the test:
// over all subsets where nothing ends the search, and over the walk where its rules do.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "support/random_cases.h"
#include "support/reference_selection.h"
#include "support/small_problem.h"

namespace torve::test {
namespace {

// Columns, coefficients and criterion of output k of the run against the reference's model.
void expect_model(SmallRun& run, int k, const ReferenceModel& expected) {
  ASSERT_EQ(run.state().models.hasmodel[static_cast<std::size_t>(k)], expected.exists);
  const std::vector<bool> chosen = run.chosen(k);
  Mask mask = 0;
  for (std::size_t j = 0; j < chosen.size(); ++j) mask |= chosen[j] ? Mask{1} << j : 0;
  ASSERT_EQ(mask, expected.mask) << run.listing();
  if (!expected.exists) return;
  EXPECT_EQ(run.state().models.ModelSize[static_cast<std::size_t>(k)],
            ReferenceSelection::count(mask));
  const std::vector<double> beta = run.beta(k);
  double largest = 0.0;
  for (const double b : expected.beta) largest = std::max(largest, std::abs(b));
  for (std::size_t j = 0; j < beta.size(); ++j) {
    EXPECT_NEAR(chosen[j] ? beta[j] : 0.0, expected.beta[j], 1e-8 * largest) << "column " << j;
  }
  const std::string label = fmt::format("Z{}", k + 1);
  EXPECT_NEAR(run.reported_metric(label), expected.metric,
              1e-8 * std::max(1.0, std::abs(expected.metric)));
}

class Selection : public testing::TestWithParam<RandomRow> {};

// Full enumeration has to find the best subset there is.
TEST_P(Selection, finds_the_best_of_all_subsets) {
  for (int round = 0; round < endless_rounds; ++round) {
    SCOPED_TRACE(round);
    const RandomCase made = endless_case(GetParam(), round);
    SmallProblem problem = made.problem;
    problem.options += "enumall -1\n";
    const std::string text = problem.text();
    SmallRun run(text);
    ASSERT_TRUE(run.ended_normally()) << run.screen();
    ASSERT_EQ(run.state().sizes.nbas, static_cast<int>(made.columns.size()));
    for (const int k : made.modelled) {
      expect_model(run, k, made.reference(k).exhaust());
      if (HasFailure()) FAIL() << text;
    }
    if (GetParam().twist.twist == Twist::ignored_output) {
      EXPECT_FALSE(run.state().models.hasmodel[0]);
    }
  }
}

// The walk over sizes as it is told, by full enumeration or size by size with the other strategies
// behind it.
TEST_P(Selection, walks_the_sizes_until_a_rule_ends_it) {
  for (int round = 0; round < ending_rounds; ++round) {
    SCOPED_TRACE(round);
    const RandomCase made = ending_case(GetParam(), round);
    const bool all = round % 3 == 0;
    SmallProblem problem = made.problem;
    problem.options +=
        fmt::format("enumall {}\nbackstepper {}\n", all ? -1 : 0, made.options.backstepper ? 1 : 0);
    const std::string text = problem.text();
    SmallRun run(text);
    ASSERT_TRUE(run.ended_normally()) << run.screen();
    for (const int k : made.modelled) {
      ReferenceSelection reference = made.reference(k);
      // A budget of one term is covered by full enumeration without being asked for.
      const bool enumerated = all || made.options.nmax == 1;
      expect_model(run, k, enumerated ? reference.enumerate_all() : reference.walk());
      if (HasFailure()) FAIL() << text;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Random, Selection, testing::ValuesIn(all_random_rows()), random_row_name);

}  // namespace
}  // namespace torve::test
