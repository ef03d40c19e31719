// Whole runs over catalogues of twenty to sixty columns, by torve-mir and by the walk over all
// subsets. TORVE_MIRAK_STANDIN is the program torve-mir.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <string_view>

#include "support/random.h"
#include "support/rows.h"
#include "support/small_problem.h"

namespace torve::test {
namespace {

struct Catalogue {
  const char* name;
  int columns;
  int inputs;
  const char* options;
};

constexpr Catalogue catalogues[] = {
    {"twenty", 21, 2,
     "logfcns 1\nexpfcns 1\nsinfcns 1\ncosfcns 1\nmonomialpower -1 0.5 2 3\nratiopower 2\n"},
    {"thirty", 31, 3, "logfcns 1\nexpfcns 1\nmonomialpower -2 -1 0.5 2 3\nmulti2power 2 -1\n"},
    {"fifty_seven", 57, 4,
     "logfcns 1\nexpfcns 1\nsinfcns 1\nmonomialpower -1 0.5 2 3\nmulti2power 2 -1\n"
     "ratiopower 2\n"},
};

// A metric, and whether the solver chooses the size as well: then it may come to a better model
// than sizes one after the other, which end where another term doesn't help.
struct MetricRow {
  const char* name;
  const char* options;
  bool chooses_size;
};

constexpr MetricRow metrics[] = {
    {"bic", "modeler 1\ncvxbic 1\n", true}, {"cp", "modeler 2\n", true},
    {"aicc", "modeler 3\n", false},         {"hqc", "modeler 4\n", false},
    {"mse", "modeler 5\n", false},          {"ssep", "modeler 6\nconvpen 4\n", true},
    {"ric", "modeler 7\n", true},
};

SmallProblem problem_of(const Catalogue& catalogue, std::uint64_t seed) {
  Random random(seed);
  SmallProblem problem;
  for (int i = 0; i < 80; ++i) {
    std::vector<double> x(static_cast<std::size_t>(catalogue.inputs));
    for (double& value : x) value = random.real(1.0, 3.0);
    const double z = 40.0 * x[0] * x[0] - 60.0 * std::log(x[1]) + 10.0 * std::exp(x[0]);
    problem.z.push_back({z + random.normal()});  // a noise of 1, for which sigma stands
    problem.x.push_back(std::move(x));
  }
  problem.xmin.assign(static_cast<std::size_t>(catalogue.inputs), 1.0);
  problem.xmax.assign(static_cast<std::size_t>(catalogue.inputs), 3.0);
  return problem;
}

class CatalogueRuns : public testing::TestWithParam<MetricRow> {};

TEST_P(CatalogueRuns, are_those_of_the_walk) {
  for (const Catalogue& catalogue : catalogues) {
    SCOPED_TRACE(catalogue.name);
    SmallProblem problem = problem_of(catalogue, 1);
    const auto run_with = [&](std::string_view strategy) {
      problem.options = std::string(catalogue.options) + GetParam().options + "maxterms 4\n";
      problem.options += strategy;
      return SmallRun(problem.text(),
                      [](RunState& run) { run.files.mirakpath = TORVE_MIRAK_STANDIN; });
    };
    SmallRun walk = run_with("enumall 0\nenum1 -1\nbuilder 0\n");
    ASSERT_TRUE(walk.ended_normally()) << walk.screen();
    EXPECT_EQ(walk.state().sizes.nbas, catalogue.columns);
    SmallRun run = run_with("solvemip 1\nenumall 0\nenum1 0\nbuilder 0\n");
    ASSERT_TRUE(run.ended_normally()) << run.screen();
    EXPECT_GT(run.state().counters.n_mip, 0);
    const double by_walk = walk.reported_metric("Z1");
    const double by_solver = run.reported_metric("Z1");
    if (GetParam().chooses_size && by_solver < by_walk - 1e-6 * std::abs(by_walk)) continue;
    EXPECT_NEAR(by_solver, by_walk, 1e-6 * std::abs(by_walk));
    EXPECT_EQ(run.chosen(0), walk.chosen(0));
  }
}

INSTANTIATE_TEST_SUITE_P(Metrics, CatalogueRuns, testing::ValuesIn(metrics), RowName());

}  // namespace
}  // namespace torve::test
