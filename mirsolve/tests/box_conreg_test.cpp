// Searches for violations as TORVE states them: the text that it writes is read and solved, and the
// answer is compared with that of a search on a dense grid.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "mirsolve/answer/result_files.h"
#include "mirsolve/language/problem_reader.h"
#include "mirsolve/run/solvers.h"
#include "solvers/conreg_search.h"
#include "support/box_search.h"

namespace mirsolve::test {
namespace {

using torve::SearchKind;

struct Row {
  const char* name;
  SearchKind kind;
  double bound;
  const char* custom;
  std::vector<torve::SearchTerm> terms;
  double (*searched)(double, double);  // what the terms or the constraint amount to
};

double saddle(double x, double y) {
  return 1.5 * x * x - 2.5 * y * y + 0.75 * x - y;
}
double with_domain(double x, double y) {
  return 2.0 * std::log(x) + 1.25 * std::exp(-y) - x / y;
}
double constrained(double x, double y) {
  return saddle(x, y) - 3.0 * x + std::sin(y);
}

const std::vector<torve::SearchTerm> saddle_terms = {{0, 1.5, "xa^2", false},
                                                     {1, -2.5, "xb^2", false},
                                                     {2, 0.75, "xa", false},
                                                     {3, -1.0, "xb", false}};
const std::vector<torve::SearchTerm> domain_terms = {
    {0, 2.0, "log(xa)", false}, {1, 1.25, "exp(-xb)", false}, {2, -1.0, "xa/xb", true}};

const Row rows[] = {
    {"below", SearchKind::below_zmin, -1.0, "", saddle_terms, saddle},
    {"below_nothing", SearchKind::below_zmin, -9.0, "", saddle_terms, saddle},
    {"above", SearchKind::above_zmax, 2.0, "", saddle_terms, saddle},
    {"above_nothing", SearchKind::above_zmax, 12.0, "", saddle_terms, saddle},
    {"below_with_a_domain", SearchKind::below_zmin, -2.0, "", domain_terms, with_domain},
    {"above_with_a_domain", SearchKind::above_zmax, 0.5, "", domain_terms, with_domain},
    {"custom", SearchKind::custom, 0.001, "Z - 3*xa + sin(xb)", saddle_terms, constrained},
    {"custom_without_violations", SearchKind::custom, 12.0, "z - 3*xa + sin(xb)", saddle_terms,
     constrained},
};

constexpr double lowest = 0.25;
constexpr double highest = 2.0;

torve::ViolationSearch search_of(const Row& row, int wanted) {
  torve::ViolationSearch search;
  search.kind = row.kind;
  search.bound = row.bound;
  search.labels = {"xa", "XB"};
  search.lowest = {lowest, lowest};
  search.highest = {highest, highest};
  search.terms = row.terms;
  search.zlabel = "z";
  search.custom = row.custom;
  search.wanted = wanted;
  search.seconds = 30.0;
  return search;
}

std::vector<torve::test::BoxPoint> found_on_a_grid(const Row& row) {
  torve::test::BoxProblem problem;
  problem.lowest = {lowest, lowest};
  problem.highest = {highest, highest};
  problem.value = [&](const std::vector<double>& x) { return row.searched(x[0], x[1]); };
  problem.maximize = row.kind != SearchKind::below_zmin;
  (problem.maximize ? problem.least_wanted : problem.most_wanted) = row.bound;
  return torve::test::search_box(problem);
}

class BoxConreg : public testing::TestWithParam<Row> {};

TEST_P(BoxConreg, FindsWhatAGridFinds) {
  const Row& row = GetParam();
  constexpr int wanted = 6;
  std::string error;
  const auto problem = read_problem(torve::conreg_mir(search_of(row, wanted)), "conreg", error);
  ASSERT_TRUE(problem) << error;
  const auto answer = solve_box(*problem, Deadline(30.0));
  ASSERT_TRUE(answer);
  const std::vector<torve::test::BoxPoint> expected = found_on_a_grid(row);
  if (expected.empty()) {
    EXPECT_EQ(answer->status, Status::infeasible);
    return;
  }
  ASSERT_EQ(answer->status, Status::proven);
  const double best = expected.front().value;
  EXPECT_NEAR(answer->objective, best, 0.051 * std::abs(best));

  // What TORVE reads back.
  const ResultTexts texts = result_texts(*problem, *answer, 1.0);
  const auto points = torve::read_conreg_mir(texts.res, 2);
  ASSERT_TRUE(points);
  EXPECT_EQ(points->size(), answer->points.size());
  EXPECT_EQ(points->size(), static_cast<std::size_t>(wanted));
  for (const std::vector<double>& x : *points) {
    const double value = row.searched(x[0], x[1]);
    if (row.kind == SearchKind::below_zmin) {
      EXPECT_LE(value, row.bound + 1e-9);
    } else {
      EXPECT_GE(value, row.bound - 1e-9);
    }
    for (const double t : x) {
      EXPECT_GE(t, lowest);
      EXPECT_LE(t, highest);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Searches, BoxConreg, testing::ValuesIn(rows),
                         [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace mirsolve::test
