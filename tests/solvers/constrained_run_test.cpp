// Models that have to keep bounds, from the problem to the model, with a stand-in for the solver
// that really solves what it is given. TORVE_MIRAK_STANDIN is its path.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <functional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "support/in_process.h"
#include "support/rows.h"
#include "support/small_problem.h"

namespace torve::test {
namespace {

namespace fs = std::filesystem;

// Finds the stand-in as `mirak` as long as this lives.
class SolverOnPath {
 public:
  SolverOnPath() : path_(::getenv("PATH")) {
    const fs::path bin = folder_.path() / "bin";
    fs::create_directory(bin);
    fs::create_symlink(TORVE_MIRAK_STANDIN, bin / "mirak");
    ::setenv("PATH", (bin.string() + ":" + path_).c_str(), 1);
  }
  SolverOnPath(const SolverOnPath&) = delete;
  SolverOnPath& operator=(const SolverOnPath&) = delete;
  ~SolverOnPath() { ::setenv("PATH", path_.c_str(), 1); }

 private:
  WorkingFolder folder_;
  std::string path_;
};

// A parabola with its lowest point at 1, below 0 between 0.5 and 1.5; columns x, x^2 and 1.
SmallProblem dipping(const std::string& options) {
  SmallProblem problem;
  for (int i = 0; i <= 12; ++i) {
    const double x = 0.25 * i;
    problem.x.push_back({x});
    problem.z.push_back({(x - 1.0) * (x - 1.0) - 0.25 + (i % 2 == 0 ? 0.01 : -0.01)});
  }
  problem.options = "modeler 3\nncustombas 1\n" + options;
  problem.sections = "begin_custombas\nx1^2\nend_custombas\n";
  return problem;
}

double value(SmallRun& run, double x) {
  const std::vector<double> beta = run.beta(0);
  const std::vector<bool> chosen = run.chosen(0);
  const std::vector<double> columns{x, x * x, 1.0};
  double z = 0.0;
  for (std::size_t j = 0; j < columns.size(); ++j) z += chosen[j] ? beta[j] * columns[j] : 0.0;
  return z;
}

double extreme(double from, double to, const std::function<double(double)>& of) {
  double largest = -1e300;
  for (int i = 0; i <= 3000; ++i) largest = std::max(largest, of(from + (to - from) * i / 3000.0));
  return largest;
}

constexpr double tolerance = 1.001e-3;  // crtol

TEST(Constrained, dips_without_bounds) {
  SmallRun run(dipping("").text());
  ASSERT_TRUE(run.ended_normally()) << run.screen();
  EXPECT_GT(extreme(0, 3, [&](double x) { return -value(run, x); }), 0.2);
}

struct BoundCase {
  std::string_view name;
  std::string options;
  std::string closing;
  // What must be 0 or less at every x.
  std::function<double(double x, double z)> broken;
  double from = 0.0;
  double to = 3.0;
};

void PrintTo(const BoundCase& row, std::ostream* out) {
  *out << row.name;
}

class Bounded : public testing::TestWithParam<BoundCase> {};

TEST_P(Bounded, keeps_its_bounds) {
  const SolverOnPath solver;
  SmallRun unbounded(dipping("").text());
  const double without = extreme(GetParam().from, GetParam().to, [&](double x) {
    return GetParam().broken(x, value(unbounded, x));
  });
  ASSERT_GT(without, 10.0 * tolerance);
  SmallRun run(dipping(GetParam().options).text());
  ASSERT_TRUE(run.ended_normally()) << run.screen();
  EXPECT_NE(run.screen().find(GetParam().closing), std::string::npos) << run.screen();
  const double worst = extreme(GetParam().from, GetParam().to,
                               [&](double x) { return GetParam().broken(x, value(run, x)); });
  EXPECT_LE(worst, tolerance) << run.screen();
}

const std::string guaranteed = "--   Constraints guaranteed within tolerance";
const std::string approximated = "--   Constraints approximated within tolerance";

INSTANTIATE_TEST_SUITE_P(
    Rows, Bounded,
    testing::Values(BoundCase{"below", "zmin 0\n", guaranteed, [](double, double z) { return -z; }},
                    BoundCase{"above", "zmax 2\n", guaranteed,
                              [](double, double z) { return z - 2.0; }},
                    BoundCase{"both", "zmin 0\nzmax 3\n", guaranteed,
                              [](double, double z) { return std::max(-z, z - 3.0); }},
                    BoundCase{"above_outside_the_data", "zmax 10\nextrapxmin -2\nextrapxmax 5\n",
                              guaranteed, [](double, double z) { return z - 10.0; }, -2.0, 5.0},
                    BoundCase{"below_with_scales", "zmin 0\nscalez 1\nscalebases 1\n", guaranteed,
                              [](double, double z) { return -z; }},
                    BoundCase{"below_without_scales", "zmin 0\nscalebases 0\n", guaranteed,
                              [](double, double z) { return -z; }},
                    BoundCase{"below_from_a_larger_set", "zmin 0\ncrninitial 20\ncrnviol 5\n",
                              guaranteed, [](double, double z) { return -z; }},
                    BoundCase{"below_without_corners", "zmin 0\ncrcorner 0\n", guaranteed,
                              [](double, double z) { return -z; }}),
    RowName());

// A line that rises with x, as a condition on output and input.
TEST(Constrained, keeps_a_custom_constraint) {
  for (const std::string scales : {"", "scalebases 0\n"}) {
    const SolverOnPath solver;
    SmallProblem problem = dipping("crncustom 1\n" + scales);
    problem.sections += "begin_customcon\n1 0.1*x1-0.2-z1\nend_customcon\n";
    SmallRun run(problem.text());
    ASSERT_TRUE(run.ended_normally()) << run.screen();
    EXPECT_NE(run.screen().find(guaranteed), std::string::npos) << run.screen();
    const double worst = extreme(0, 3, [&](double x) { return 0.1 * x - 0.2 - value(run, x); });
    EXPECT_LE(worst, tolerance) << run.screen();
  }
}

TEST(Constrained, is_approximated_without_the_search) {
  const SolverOnPath solver;
  SmallRun run(dipping("zmin 0\ncrrobust 0\ncrmaxiter 30\n").text());
  ASSERT_TRUE(run.ended_normally()) << run.screen();
  EXPECT_NE(run.screen().find(approximated), std::string::npos) << run.screen();
  EXPECT_LT(extreme(0, 3, [&](double x) { return -value(run, x); }), 0.05);
}

TEST(Constrained, says_when_the_passes_are_used_up) {
  const SolverOnPath solver;
  SmallRun run(dipping("zmin 0\ncrmaxiter 1\n").text());
  EXPECT_NE(run.screen().find("--  Warning: Maximum iterations reached - Constraints could not be "
                              "guaranteed at this point"),
            std::string::npos)
      << run.screen();
}

}  // namespace
}  // namespace torve::test
