// Options that change what is stated to a solver, as whole runs by either route: the model has to
// be the best subset of the problem as stated.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

#include "solvers/standin_runs.h"
#include "support/stated_selection.h"

namespace torve::test {
namespace {

constexpr double missing = -999.0;

// Columns: the inputs and the constant.
std::vector<std::vector<double>> columns_of(const SmallProblem& problem) {
  std::vector<std::vector<double>> columns(problem.x[0].size() + 1);
  for (const std::vector<double>& row : problem.x) {
    for (std::size_t j = 0; j < row.size(); ++j) columns[j].push_back(row[j]);
    columns.back().push_back(1.0);
  }
  return columns;
}

// --- data ---------------------------------------------------------------------------------------

SmallProblem random_data(Random& random, int inputs, int points, double low,
                         const std::function<double(const std::vector<double>&)>& z) {
  SmallProblem problem;
  for (int i = 0; i < points; ++i) {
    std::vector<double> row(static_cast<std::size_t>(inputs));
    for (double& value : row) value = random.real(low, 3.0);
    problem.z.push_back({z(row)});
    problem.x.push_back(std::move(row));
  }
  return problem;
}

SmallProblem large_values(Random& random) {
  return random_data(random, 3, 12, 0.5, [&](const std::vector<double>& x) {
    return 6.0 + 2.0 * x[0] - 1.5 * x[1] + 0.4 * random.normal();
  });
}

// Of either sign; two of them too small to divide by.
SmallProblem values_near_zero(Random& random) {
  SmallProblem problem = random_data(random, 2, 9, 0.5, [&](const std::vector<double>& x) {
    return 0.8 * x[0] - 0.9 * x[1] + 0.1 * random.normal();
  });
  problem.z[2][0] = 0.0005;
  problem.z[8][0] = -0.001;
  return problem;
}

SmallProblem small_values(Random& random) {
  return random_data(random, 3, 12, 0.5, [&](const std::vector<double>& x) {
    return 0.05 * x[0] - 0.04 * x[2] + 0.01 * random.normal();
  });
}

SmallProblem exact_values(Random& random) {
  return random_data(random, 3, 9, 0.5,
                     [](const std::vector<double>& x) { return 3.0 * x[1] - 1.25 * x[2]; });
}

// Errors balance for columns of both signs alone.
SmallProblem balanced_columns(Random& random) {
  return random_data(random, 2, 6, -3.0, [&](const std::vector<double>& x) {
    return 2.0 * x[0] + 0.3 * x[1] + 0.5 * random.normal();
  });
}

SmallProblem balanced_columns_with_gaps(Random& random) {
  SmallProblem problem = balanced_columns(random);
  problem.z[4][0] = missing;
  problem.options = "preset -999\n";
  return problem;
}

SmallProblem exact_balanced_columns(Random& random) {
  return random_data(random, 2, 6, -3.0,
                     [](const std::vector<double>& x) { return 2.0 * x[0] + 1.5; });
}

// --- runs ---------------------------------------------------------------------------------------

struct OptionRow {
  std::string name;
  SmallProblem (*data)(Random& random);
  std::string options;  // in the problem's file
  void (*state)(StatedOptions& options);
  int modeler;
  double convpen = 0.0;
};

void PrintTo(const OptionRow& row, std::ostream* out) {
  *out << row.name;
}

StatedSelection stated(Route route, const SmallProblem& problem, const OptionRow& row) {
  StatedOptions options;
  options.route = route;
  options.metric.modeler = row.modeler;
  options.metric.cvxbic = true;
  options.metric.convpen = row.convpen;
  const std::vector<std::vector<double>> columns = columns_of(problem);
  options.metric.nbasmax = options.metric.nmax = static_cast<int>(columns.size());
  row.state(options);
  std::vector<double> z;
  std::vector<bool> use;
  for (const std::vector<double>& value : problem.z) {
    z.push_back(value[0]);
    use.push_back(value[0] != missing);
  }
  return {columns, z, use, (Mask{1} << columns.size()) - 1, options};
}

SmallProblem problem_of(const OptionRow& row, std::uint64_t seed) {
  Random random(seed);
  SmallProblem problem = row.data(random);
  problem.options +=
      fmt::format("modeler {}\ncvxbic 1\nconvpen {}\n{}", row.modeler, row.convpen, row.options);
  return problem;
}

class StatedBySolvers : public testing::TestWithParam<std::tuple<Route, OptionRow>> {};

TEST_P(StatedBySolvers, is_solved) {
  const auto& [route, row] = GetParam();
  for (std::uint64_t seed = 1; seed <= 5; ++seed) {
    SCOPED_TRACE(seed);
    const SmallProblem problem = problem_of(row, seed);
    SmallRun run = run_by_standin(route, problem);
    ASSERT_TRUE(run.ended_normally()) << run.screen();
    EXPECT_GT(run.state().counters.n_mip, 0);
    StatedSelection selection = stated(route, problem, row);
    expect_least(run, 0, selection, selection.run());
    if (HasFailure()) FAIL() << problem.text();
  }
}

void plainly(StatedOptions&) {}
void relatively(StatedOptions& o) {
  o.relerror = true;
}
void relatively_by_sigma(StatedOptions& o) {
  o.relerror = true;
  o.metric.sigma = 0.5;
}
void by_sigma(StatedOptions& o) {
  o.metric.sigma = 0.125;
}
void absolutely(StatedOptions& o) {
  o.linearerror = true;
}
void absolutely_by_sigma(StatedOptions& o) {
  o.linearerror = true;
  o.metric.sigma = 0.125;
}
void absolutely_unscaled(StatedOptions& o) {
  o.linearerror = true;
  o.scalebases = false;
}
void absolutely_of_scaled_values(StatedOptions& o) {
  o.linearerror = o.scalez = true;
}
void absolutely_limited(StatedOptions& o) {
  o.linearerror = o.sselimit = o.metric.estimate_sigma = true;
}
void unscaled(StatedOptions& o) {
  o.scalebases = false;
}
void of_scaled_values(StatedOptions& o) {
  o.scalez = true;
}
void relatively_of_scaled_values(StatedOptions& o) {
  o.relerror = o.scalez = true;
}
void exactly(StatedOptions& o) {
  o.metric.estimate_sigma = true;
}
void exactly_limited(StatedOptions& o) {
  o.metric.estimate_sigma = o.sselimit = true;
}

const std::string l1 = "linearerror 1\n";

const std::vector<OptionRow> option_rows = {
    // The sum of errors; which columns it can take depends on the balance of errors.
    {"absolute_bic", balanced_columns, l1, absolutely, 1},
    {"absolute_cp", balanced_columns, l1, absolutely, 2},
    {"absolute_aicc", balanced_columns, l1, absolutely, 3},
    {"absolute_hqc", balanced_columns, l1, absolutely, 4},
    {"absolute_mse", balanced_columns, l1, absolutely, 5},
    {"absolute_ssep", balanced_columns, l1, absolutely, 6, 0.1},
    {"absolute_ric", balanced_columns, l1, absolutely, 7},
    {"absolute_with_sigma", balanced_columns, l1 + "sigma 0.125\n", absolutely_by_sigma, 2},
    {"absolute_without_scales", balanced_columns, l1 + "scalebases 0\n", absolutely_unscaled, 6,
     0.1},
    {"absolute_of_scaled_values", balanced_columns, l1 + "scalez 1\n", absolutely_of_scaled_values,
     6, 0.1},
    {"absolute_with_gaps", balanced_columns_with_gaps, l1, absolutely, 6, 0.1},
    {"absolute_before_relative", balanced_columns, l1 + "relerror 1\n", absolutely, 6, 0.1},
    {"absolute_exact", exact_balanced_columns, l1, absolutely, 6, 0.1},
    {"absolute_limited", exact_balanced_columns, l1 + "sigma -1\nsselimit 1\n", absolutely_limited,
     2},

    // Squares of relative errors, those of small values as they are.
    {"relative_cp", values_near_zero, "relerror 1\n", relatively, 2},
    {"relative_aicc", values_near_zero, "relerror 1\n", relatively, 3},
    {"relative_mse", large_values, "relerror 1\n", relatively, 5},
    {"relative_ssep", large_values, "relerror 1\n", relatively, 6, 0.02},
    {"relative_with_sigma", values_near_zero, "relerror 1\nsigma 0.5\n", relatively_by_sigma, 2},
    {"relative_of_scaled_values", values_near_zero, "relerror 1\nscalez 1\n",
     relatively_of_scaled_values, 7},

    // A price weighs more against squares in units of the output.
    {"scaled_cp", large_values, "scalez 1\n", of_scaled_values, 2},
    {"scaled_ssep", large_values, "scalez 1\n", of_scaled_values, 6, 0.005},
    // The cut-off stays in the units of the data.
    {"scaled_aicc", small_values, "scalez 1\n", of_scaled_values, 3},
    {"scaled_hqc", small_values, "scalez 1\n", of_scaled_values, 4},
    {"scaled_mse", small_values, "scalez 1\n", of_scaled_values, 5},
    {"cp_without_scales", large_values, "scalebases 0\n", unscaled, 2},
    {"bic_with_sigma", large_values, "sigma 0.125\n", by_sigma, 1},
    {"ssep_with_sigma", large_values, "sigma 0.125\n", by_sigma, 6, 0.75},

    // Without a limit an exact fit costs as much as any other, so that no terms are best.
    {"exact_bic", exact_values, "sigma -1\n", exactly, 1},
    {"exact_cp", exact_values, "sigma -1\n", exactly, 2},
    {"exact_bic_limited", exact_values, "sigma -1\nsselimit 1\n", exactly_limited, 1},
    {"exact_cp_limited", exact_values, "sigma -1\nsselimit 1\n", exactly_limited, 2},
    {"exact_ric_limited", exact_values, "sigma -1\nsselimit 1\n", exactly_limited, 7},
    {"exact_ssep", exact_values, "", plainly, 6, 0.1},
    {"not_exact_cp_limited", large_values, "sigma -1\nsselimit 1\n", exactly_limited, 2},

    {"madp", values_near_zero, "", plainly, 8},
    {"madp_with_price", values_near_zero, "", plainly, 8, 4.0},
    {"madp_of_large_values", large_values, "", plainly, 8, 1.5},
    {"madp_of_scaled_values", large_values, "scalez 1\n", of_scaled_values, 8, 1.5},
    {"madp_without_scales", large_values, "scalebases 0\n", unscaled, 8, 1.5},
};

std::string option_row_name(const testing::TestParamInfo<std::tuple<Route, OptionRow>>& info) {
  const auto& [route, row] = info.param;
  return (route == Route::mirak ? "mirak_" : "gams_") + row.name;
}

INSTANTIATE_TEST_SUITE_P(Rows, StatedBySolvers,
                         testing::Combine(testing::Values(Route::mirak, Route::gams),
                                          testing::ValuesIn(option_rows)),
                         option_row_name);

// --- columns that are screened out --------------------------------------------------------------

class PriceBySolvers : public testing::TestWithParam<Route> {};

// The metric counts the columns that may be chosen. The third of the inputs is too small for that;
// the constant is worth the one price, not the other.
TEST_P(PriceBySolvers, counts_columns_that_are_screened_out) {
  Random random(3);
  SmallProblem problem =
      random_data(random, 3, 12, 0.5, [](const std::vector<double>& x) { return 2.0 * x[0]; });
  for (std::size_t i = 0; i < problem.x.size(); ++i) {
    problem.z[i][0] += 1.35 + (i % 2 == 0 ? 0.1 : -0.1);
    problem.x[i][2] *= 1e-6;
  }
  problem.options = "modeler 7\n";
  SmallRun run = run_by_standin(GetParam(), problem);
  ASSERT_TRUE(run.ended_normally()) << run.screen();
  ASSERT_EQ(run.state().sizes.nbasmax, 3);
  StatedOptions options;
  options.route = GetParam();
  options.metric.modeler = 7;
  options.metric.nbasmax = options.metric.nmax = 3;
  std::vector<double> z;
  for (const std::vector<double>& value : problem.z) z.push_back(value[0]);
  const std::vector<bool> use(z.size(), true);
  constexpr Mask without_third = 0b1011;
  StatedSelection selection(columns_of(problem), z, use, without_third, options);
  expect_least(run, 0, selection, selection.run());
  ReferenceSelection metric(columns_of(problem), z, use, without_third, options.metric);
  EXPECT_EQ(metric.exhaust().mask, Mask{0b1001});
  EXPECT_EQ(chosen_mask(run, 0), Mask{0b0001});
}

INSTANTIATE_TEST_SUITE_P(Routes, PriceBySolvers, testing::Values(Route::mirak, Route::gams),
                         [](const testing::TestParamInfo<Route>& route) {
                           return std::string(route.param == Route::mirak ? "mirak" : "gams");
                         });

// --- bounds at points ---------------------------------------------------------------------------

// The conditions of the last solve: those of the points that the run has found.
std::vector<PointBound> bounds_of(SmallRun& run) {
  std::vector<PointBound> bounds;
  const CRELEM& set = run.state().models.bounding[0];
  const Outputs& outputs = run.state().outputs;
  for (int i = 0; i < set.crndata; ++i) {
    std::vector<double> columns;
    for (int j = 0; j < run.state().sizes.nbas; ++j) columns.push_back(set.crxij(i, j));
    const int type = set.type[static_cast<std::size_t>(i)];
    if ((type & 1) != 0) bounds.push_back({columns, outputs.zmin[0], true});
    if ((type & 2) != 0) bounds.push_back({columns, outputs.zmax[0], false});
  }
  return bounds;
}

class BoundedBySolvers : public testing::TestWithParam<std::tuple<Route, OptionRow>> {};

TEST_P(BoundedBySolvers, is_solved) {
  const auto& [route, row] = GetParam();
  for (std::uint64_t seed = 1; seed <= 4; ++seed) {
    SCOPED_TRACE(seed);
    SmallProblem problem = problem_of(row, seed);
    problem.options += "crrobust 0\ncrntrials 1000\ncrmaxiter 50\n";
    SmallRun run = run_by_standin(route, problem);
    ASSERT_TRUE(run.ended_normally()) << run.screen();
    ASSERT_NE(run.screen().find("--   Constraints approximated within tolerance"),
              std::string::npos)
        << run.screen();
    StatedSelection selection = stated(route, problem, row);
    const StatedModel free = stated(route, problem, row).run();
    selection.bounds = bounds_of(run);
    ASSERT_FALSE(selection.bounds.empty());
    const StatedModel expected = selection.run();
    EXPECT_GT(expected.objective, free.objective + 1e-4);
    expect_least(run, 0, selection, expected);
    if (HasFailure()) FAIL() << problem.text();
  }
}

const std::vector<OptionRow> bounded_rows = {
    {"cp_from_below", large_values, "zmin 6\n", plainly, 2},
    {"ssep_from_above", large_values, "zmax 9\n", plainly, 6, 0.3},
    {"bic_from_both_sides", large_values, "zmin 5\nzmax 10\n", plainly, 1},
    {"ssep_of_scaled_values", large_values, "zmin 6\nscalez 1\n", of_scaled_values, 6, 0.002},
    {"cp_without_scales", large_values, "zmin 6\nscalebases 0\n", unscaled, 2},
    {"cp_with_sigma", large_values, "zmin 6\nsigma 0.125\n", by_sigma, 2},
    {"relative_ssep", large_values, "zmin 6\nrelerror 1\n", relatively, 6, 0.001},
};

INSTANTIATE_TEST_SUITE_P(Rows, BoundedBySolvers,
                         testing::Combine(testing::Values(Route::mirak, Route::gams),
                                          testing::ValuesIn(bounded_rows)),
                         option_row_name);

}  // namespace
}  // namespace torve::test
