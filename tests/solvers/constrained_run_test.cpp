// Models that have to keep bounds, from the problem to the model, by each route to an outside
// solver, with stand-ins that really solve what they are given. TORVE_MIRAK_STANDIN and
// TORVE_GAMS_STANDIN are their paths.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <functional>
#include <ostream>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "support/in_process.h"
#include "support/rows.h"
#include "support/small_problem.h"

namespace torve::test {
namespace {

namespace fs = std::filesystem;

struct Route {
  std::string_view name;
  const char* program;
  const char* command;  // that the program is found as
  std::string options;
};

void PrintTo(const Route& row, std::ostream* out) {
  *out << row.name;
}

const std::vector<Route>& routes() {
  static const std::vector<Route> rows = {
      {"mirak", TORVE_MIRAK_STANDIN, "mirak", ""},
      {"gams", TORVE_GAMS_STANDIN, "gams", "usegams 1\n"},
      {"gams_but_for_fits", TORVE_GAMS_STANDIN, "gams", "crgms 1\ncrmir 0\nmipgms 1\nmipmir 0\n"},
  };
  return rows;
}

// Finds the stand-in of a route by its command, and no other solver, as long as this lives.
class SolverOnPath {
 public:
  explicit SolverOnPath(const Route& route) : path_(::getenv("PATH")) {
    const fs::path bin = folder_.path() / "bin";
    fs::create_directory(bin);
    fs::create_symlink(route.program, bin / route.command);
    ::setenv("PATH", (bin.string() + ":/usr/bin:/bin").c_str(), 1);
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

struct BoundCase {
  std::string_view name;
  std::string options;
  std::string closing;
  // What must be 0 or less at every x.
  std::function<double(double x, double z)> broken;
  double from = 0.0;
  double to = 3.0;
  std::string sections = {};
};

void PrintTo(const BoundCase& row, std::ostream* out) {
  *out << row.name;
}

using RoutedCase = std::tuple<Route, BoundCase>;

std::string routed_name(const testing::TestParamInfo<RoutedCase>& row) {
  return std::string(std::get<Route>(row.param).name) + "_" +
         std::string(std::get<BoundCase>(row.param).name);
}

class Bounded : public testing::TestWithParam<RoutedCase> {};

TEST_P(Bounded, keeps_its_bounds) {
  const auto& [route, row] = GetParam();
  const SolverOnPath solver(route);
  const auto worst_of = [&row = row](SmallRun& run) {
    return extreme(row.from, row.to, [&](double x) { return row.broken(x, value(run, x)); });
  };
  SmallRun unbounded(dipping(route.options).text());
  ASSERT_TRUE(unbounded.ended_normally()) << unbounded.screen();
  ASSERT_GT(worst_of(unbounded), 10.0 * tolerance);
  SmallProblem problem = dipping(route.options + row.options);
  problem.sections += row.sections;
  SmallRun run(problem.text());
  ASSERT_TRUE(run.ended_normally()) << run.screen();
  EXPECT_NE(run.screen().find(row.closing), std::string::npos) << run.screen();
  EXPECT_LE(worst_of(run), tolerance) << run.screen();
}

const std::string guaranteed = "--   Constraints guaranteed within tolerance";
const std::string approximated = "--   Constraints approximated within tolerance";

double below_zero(double, double z) {
  return -z;
}
// A line that rises with x, as a condition on output and input.
double below_a_line(double x, double z) {
  return 0.1 * x - 0.2 - z;
}
const std::string line_section = "begin_customcon\n1 0.1*x1-0.2-z1\nend_customcon\n";
// The same with a power.
double below_a_parabola(double x, double z) {
  return 0.1 * x * x - 0.3 - z;
}
const std::string parabola_section = "begin_customcon\n1 0.1*X1^2-0.3-Z1\nend_customcon\n";

const std::vector<BoundCase>& bound_cases() {
  static const std::vector<BoundCase> rows = {
      {"below", "zmin 0\n", guaranteed, below_zero},
      {"above", "zmax 2\n", guaranteed, [](double, double z) { return z - 2.0; }},
      {"both", "zmin 0\nzmax 3\n", guaranteed,
       [](double, double z) { return std::max(-z, z - 3.0); }},
      {"above_outside_the_data", "zmax 10\nextrapxmin -2\nextrapxmax 5\n", guaranteed,
       [](double, double z) { return z - 10.0; }, -2.0, 5.0},
      {"below_with_scales", "zmin 0\nscalez 1\nscalebases 1\n", guaranteed, below_zero},
      {"below_without_scales", "zmin 0\nscalebases 0\n", guaranteed, below_zero},
      {"below_from_a_larger_set", "zmin 0\ncrninitial 20\ncrnviol 5\n", guaranteed, below_zero},
      {"below_without_corners", "zmin 0\ncrcorner 0\n", guaranteed, below_zero},
      {"below_by_the_solver_alone", "zmin 0\ncrntrials 0\ncrcorner 0\n", guaranteed, below_zero},
      {"above_by_the_solver_alone", "zmax 2\ncrntrials 0\ncrcorner 0\n", guaranteed,
       [](double, double z) { return z - 2.0; }},
      {"custom", "crncustom 1\n", guaranteed, below_a_line, 0.0, 3.0, line_section},
      {"custom_without_scales", "crncustom 1\nscalebases 0\n", guaranteed, below_a_line, 0.0, 3.0,
       line_section},
      {"custom_by_the_solver_alone", "crncustom 1\ncrntrials 0\n", guaranteed, below_a_line, 0.0,
       3.0, line_section},
      {"custom_with_a_power", "crncustom 1\ncrntrials 0\n", guaranteed, below_a_parabola, 0.0, 3.0,
       parabola_section},
      {"custom_and_below", "crncustom 1\nzmin -0.1\n", guaranteed,
       [](double x, double z) { return std::max(-0.1 - z, below_a_line(x, z)); }, 0.0, 3.0,
       line_section},
  };
  return rows;
}

INSTANTIATE_TEST_SUITE_P(Rows, Bounded,
                         testing::Combine(testing::ValuesIn(routes()),
                                          testing::ValuesIn(bound_cases())),
                         routed_name);

class Constrained : public testing::TestWithParam<Route> {};

TEST_P(Constrained, is_approximated_without_the_search) {
  const SolverOnPath solver(GetParam());
  SmallRun run(dipping(GetParam().options + "zmin 0\ncrrobust 0\ncrmaxiter 30\n").text());
  ASSERT_TRUE(run.ended_normally()) << run.screen();
  EXPECT_NE(run.screen().find(approximated), std::string::npos) << run.screen();
  EXPECT_LT(extreme(0, 3, [&](double x) { return -value(run, x); }), 0.05);
}

TEST_P(Constrained, says_when_the_passes_are_used_up) {
  const SolverOnPath solver(GetParam());
  SmallRun run(dipping(GetParam().options + "zmin 0\ncrmaxiter 1\n").text());
  EXPECT_NE(run.screen().find("--  Warning: Maximum iterations reached - Constraints could not be "
                              "guaranteed at this point"),
            std::string::npos)
      << run.screen();
}

// Trials and corners find nothing here, so that what is kept comes from the solver.
TEST_P(Constrained, breaks_its_bound_when_the_solver_is_not_asked) {
  const SolverOnPath solver(GetParam());
  const std::string options = GetParam().options + "zmin 0\ncrntrials 0\ncrcorner 0\n";
  SmallRun run(dipping(options + "crrobust 0\n").text());
  ASSERT_TRUE(run.ended_normally()) << run.screen();
  EXPECT_GT(extreme(0, 3, [&](double x) { return -value(run, x); }), 0.05);
}

// A plane over two inputs, which is lowest where the first is least and the second largest.
SmallProblem tilted(const std::string& options) {
  SmallProblem problem;
  for (int i = 0; i <= 3; ++i) {
    for (int j = 0; j <= 3; ++j) {
      problem.x.push_back({1.0 * i, 5.0 + j});
      problem.z.push_back({11.0 + i - 2.0 * (5 + j) + ((i + j) % 2 == 0 ? 0.01 : -0.01)});
    }
  }
  problem.options = options;
  return problem;
}

double lowest_of_plane(SmallRun& run) {
  const std::vector<double> beta = run.beta(0);
  const std::vector<bool> chosen = run.chosen(0);
  const auto term = [&](std::size_t j) { return chosen[j] ? beta[j] : 0.0; };
  const double first = std::min(0.0, 3.0 * term(0));
  const double second = std::min(5.0 * term(1), 8.0 * term(1));
  return first + second + term(2);
}

TEST_P(Constrained, keeps_a_bound_of_two_inputs) {
  const SolverOnPath solver(GetParam());
  const std::string options = GetParam().options + "crntrials 0\ncrcorner 0\n";
  SmallRun unbounded(tilted(options).text());
  ASSERT_LT(lowest_of_plane(unbounded), -4.5);
  SmallRun run(tilted(options + "zmin -1\n").text());
  ASSERT_TRUE(run.ended_normally()) << run.screen();
  EXPECT_NE(run.screen().find(guaranteed), std::string::npos) << run.screen();
  EXPECT_GE(lowest_of_plane(run), -1.0 - tolerance) << run.screen();
  // The bound is no further from the data than it must be.
  EXPECT_LE(lowest_of_plane(run), -1.0 + tolerance) << run.screen();
}

INSTANTIATE_TEST_SUITE_P(Routes, Constrained, testing::ValuesIn(routes()), RowName());

}  // namespace
}  // namespace torve::test
