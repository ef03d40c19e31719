// Whole runs that leave the selection to GAMS, with a stand-in that tries every subset, on random
// small problems: models of metrics that walk the sizes, bounds, fits, and how such runs end.
// TORVE_GAMS_STANDIN is the stand-in.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/rows.h"
#include "support/small_problem.h"

namespace torve::test {
namespace {

constexpr double missing = -999.0;

struct SelectionRow {
  std::string name;
  int modeler;
  std::string options;
  bool groups = false;
  bool missing_values = false;
};

SmallProblem random_problem(Random& random, const SelectionRow& row) {
  SmallProblem problem;
  const int inputs = 3;
  const int points = random.whole(10, 14);
  const std::vector<double> truth = {random.real(1.0, 4.0), random.real(-4.0, -1.0), 0.0};
  for (int i = 0; i < points; ++i) {
    std::vector<double> x;
    for (int d = 0; d < inputs; ++d) x.push_back(random.real(0.5, 3.0));
    double z = random.real(-0.3, 0.3) + 1.5 * x[2] * x[2] + 20.0;
    for (std::size_t d = 0; d < x.size(); ++d) z += truth[d] * x[d];
    problem.x.push_back(x);
    problem.z.push_back({row.missing_values && i % 5 == 2 ? missing : z});
  }
  problem.options = fmt::format("modeler {}\nmonomialpower 2\npreset {}\nscreener 0\n{}",
                                row.modeler, missing, row.options);
  if (row.groups) {
    problem.options += "ngroups 2\n";
    problem.sections =
        "begin_groups\n1 lin 1\n1 lin 2\n2 mono -1 2\nend_groups\n"
        "begin_groupcon\n1 1 nmt 1\n2 1 nmt 2\nend_groupcon\n";
  }
  return problem;
}

std::string with_gams(const SmallProblem& problem) {
  SmallProblem made = problem;
  made.options += fmt::format("gams {}\nusegams 1\nsolvemip 1\nenumall 0\nenum1 0\nbuilder 0\n",
                              TORVE_GAMS_STANDIN);
  return made.text();
}

constexpr int trials = 6;

// --- metrics that walk the sizes ----------------------------------------------------------------

class GmsWalk : public testing::TestWithParam<SelectionRow> {};

TEST_P(GmsWalk, finds_the_models_of_enumeration) {
  Random random(21);
  for (int trial = 0; trial < trials; ++trial) {
    const SmallProblem problem = random_problem(random, GetParam());
    SmallProblem by_enumeration = problem;
    by_enumeration.options += "enumall -1\nbuilder 0\n";
    SmallRun expected(by_enumeration.text());
    SmallRun found(with_gams(problem));
    ASSERT_TRUE(expected.ended_normally()) << expected.screen();
    ASSERT_TRUE(found.ended_normally()) << found.screen();
    EXPECT_GT(found.state().counters.n_mip, 0);
    EXPECT_EQ(found.chosen(0), expected.chosen(0)) << problem.text() << found.listing();
    for (std::size_t j = 0; j < found.beta(0).size(); ++j) {
      EXPECT_NEAR(found.beta(0)[j], expected.beta(0)[j], 1e-6) << j;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, GmsWalk,
    testing::Values(SelectionRow{"aicc", 3, ""}, SelectionRow{"hqc", 4, ""},
                    SelectionRow{"mse", 5, ""}, SelectionRow{"mse_scaled", 5, "scalez 1\n"},
                    SelectionRow{"aicc_without_scales", 3, "scalebases 0\n"},
                    SelectionRow{"hqc_with_missing_values", 4, "", false, true},
                    SelectionRow{"mse_with_groups", 5, "", true},
                    SelectionRow{"aicc_with_groups", 3, "", true}),
    RowName());

// --- beside the selection -----------------------------------------------------------------------

// A parabola that dips to -0.5 between its points.
SmallProblem dipping_problem(const std::string& options) {
  SmallProblem problem;
  for (const double x : {1.0, 1.5, 2.0, 2.5, 4.5, 5.0, 5.5, 6.0}) {
    problem.x.push_back({x});
    problem.z.push_back({(x - 3.5) * (x - 3.5) - 0.5});
  }
  problem.options = "monomialpower 2 3\nmodeler 2\n" + options;
  return problem;
}

double least_on_the_box(SmallRun& run) {
  const std::vector<double> beta = run.beta(0);
  double least = 1e31;
  for (int step = 0; step <= 1000; ++step) {
    const double x = 1.0 + 0.005 * step;
    least = std::min(least, beta[0] * x + beta[1] * x * x + beta[2] * x * x * x + beta[3]);
  }
  return least;
}

TEST(GmsSelection, keeps_a_bound_over_the_whole_box) {
  SmallRun free(with_gams(dipping_problem("")));
  ASSERT_TRUE(free.ended_normally()) << free.screen();
  EXPECT_NEAR(least_on_the_box(free), -0.5, 1e-6);
  SmallRun bound(with_gams(dipping_problem("zmin 0\ncrrobust 0\ncrntrials 2000\ncrmaxiter 50\n")));
  ASSERT_TRUE(bound.ended_normally()) << bound.screen();
  EXPECT_GT(bound.state().models.bounding[0].crndata, 0);
  EXPECT_GT(least_on_the_box(bound), -0.01) << bound.listing();
}

// Every fit by GAMS, as the only link of the chain.
TEST(GmsSelection, fits_by_gams_what_it_fits_itself) {
  Random random(23);
  const SmallProblem problem = random_problem(random, {"mse", 5, "enumall -1\nmaxterms 2\n"});
  SmallProblem by_gams = problem;
  by_gams.options += fmt::format("gams {}\nusegams 1\nolrone 0\nolrdgels 0\nolrclr 0\nolrgsi 0\n",
                                 TORVE_GAMS_STANDIN);
  SmallRun expected(problem.text());
  SmallRun found(by_gams.text());
  ASSERT_TRUE(expected.ended_normally()) << expected.screen();
  ASSERT_TRUE(found.ended_normally()) << found.screen();
  EXPECT_GT(found.state().counters.OLRgmsCalls, 0);
  EXPECT_EQ(found.state().counters.OLRgmsFails, 0);
  EXPECT_EQ(found.chosen(0), expected.chosen(0));
  for (std::size_t j = 0; j < found.beta(0).size(); ++j) {
    EXPECT_NEAR(found.beta(0)[j], expected.beta(0)[j], 1e-8) << j;
  }
}

struct EndRow {
  std::string name;
  std::string gams;
  std::string options;
  Code code;
  int location;
};

class GmsEnds : public testing::TestWithParam<EndRow> {};

TEST_P(GmsEnds, stop_the_run) {
  Random random(24);
  SmallProblem problem = random_problem(random, {"mse", 5, ""});
  problem.options += "usegams 1\nsolvemip 1\nenumall 0\nenum1 0\nbuilder 0\n" + GetParam().options;
  SmallRun run(problem.text(), [](RunState& state) { state.options.gams = GetParam().gams; });
  EXPECT_EQ(run.state().status.trvstatus, GetParam().code) << run.screen();
  EXPECT_EQ(run.state().status.trvlocation, GetParam().location);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, GmsEnds,
    testing::Values(EndRow{"gams_fails", "false", "", Code::best_subset_failed, 44},
                    EndRow{"gams_says_nothing", "true", "", Code::best_subset_failed, 221},
                    EndRow{"gams_takes_too_long", "sleep 20; :", "maxtime 0.5\n",
                           Code::time_used_up, 89},
                    EndRow{"gams_says_other", "printf ' 13\\n' > res.put; :", "",
                           Code::best_subset_failed, 221},
                    EndRow{"no_listing_to_copy", "true", "debug 1\n", Code::copy_failed, 42},
                    EndRow{"no_fit", "true", "olrone 0\nolrdgels 0\nolrclr 0\nolrgsi 0\n",
                           Code::least_squares_solver_failed, 29}),
    RowName());

// Without a solution the walk ends with the model that there is.
TEST(GmsSelection, ends_the_sizes_where_there_is_no_solution) {
  Random random(25);
  SmallProblem problem = random_problem(random, {"mse", 5, ""});
  problem.options += "usegams 1\nsolvemip 1\nenumall 0\nenum1 0\nbuilder 0\n";
  SmallRun run(problem.text(),
               [](RunState& state) { state.options.gams = "printf '  4\\n' > res.put; :"; });
  EXPECT_TRUE(run.ended_normally()) << run.screen();
  EXPECT_EQ(run.state().counters.n_mip, 1);
}

}  // namespace
}  // namespace torve::test
