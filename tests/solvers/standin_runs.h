// Whole runs that leave the selection to a solver, with the stand-in of a route, and what their
// models have to be. TORVE_MIRAK_STANDIN and TORVE_GAMS_STANDIN are the stand-ins.
#pragma once

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

#include "support/small_problem.h"
#include "support/stated_selection.h"

namespace torve::test {

inline SmallRun run_by_standin(Route route, SmallProblem problem) {
  problem.options += "solvemip 1\nenumall 0\nenum1 0\nbuilder 0\n";
  if (route == Route::gams) {
    problem.options += fmt::format("gams {}\nusegams 1\n", TORVE_GAMS_STANDIN);
  }
  return SmallRun(problem.text(), [](RunState& run) { run.files.mirakpath = TORVE_MIRAK_STANDIN; });
}

inline Mask chosen_mask(SmallRun& run, int k) {
  const std::vector<bool> chosen = run.chosen(k);
  Mask mask = 0;
  for (std::size_t j = 0; j < chosen.size(); ++j) mask |= chosen[j] ? Mask{1} << j : 0;
  return mask;
}

// No other model has an objective that is less, and the run says of it what the metric says. Models
// that are as good are as good.
inline void expect_least(SmallRun& run, int k, StatedSelection& stated,
                         const StatedModel& expected) {
  ASSERT_EQ(run.state().models.hasmodel[static_cast<std::size_t>(k)], expected.exists);
  if (!expected.exists) return;
  const Mask mask = chosen_mask(run, k);
  const double tolerance = 1e-7 * (1.0 + std::abs(expected.objective));
  ASSERT_NEAR(stated.objective_at(mask, run.beta(k)), expected.objective, tolerance)
      << mask << " for " << expected.mask << "\n"
      << run.listing();
  // Of an exact fit rounding decides whether it is 0, and the metric with it.
  if (stated.fit_of(mask, run.beta(k)) < 1e-20) return;
  const double metric = stated.metric_of(mask, run.beta(k));
  EXPECT_NEAR(run.reported_metric(fmt::format("Z{}", k + 1)), metric,
              1e-8 * (1.0 + std::abs(metric)));
}

inline void expect_same_model(SmallRun& run, int k, Mask mask, const std::vector<double>& beta) {
  ASSERT_EQ(chosen_mask(run, k), mask) << run.listing();
  double largest = 1.0;
  for (const double value : beta) largest = std::max(largest, std::abs(value));
  for (std::size_t j = 0; j < beta.size(); ++j) {
    const bool chosen = ((mask >> j) & 1U) != 0;
    EXPECT_NEAR(chosen ? run.beta(k)[j] : 0.0, chosen ? beta[j] : 0.0, 1e-6 * largest) << j;
  }
}

}  // namespace torve::test
