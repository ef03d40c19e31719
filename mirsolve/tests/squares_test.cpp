// Least squares against certified data, normal equations in long double, and by hand.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "linear_formulas.h"
#include "mirsolve/run/solvers.h"
#include "support/json.h"

namespace {

using namespace mirsolve;
using mirsolve::test::add_statement;
using mirsolve::test::least_squares_problem;
using mirsolve::test::Row;
using torve::test::Json;

const Deadline no_hurry(60.0);

Answer solve_squares(const Problem& problem) {
  const std::optional<Answer> answer = solve_least_squares(problem, no_hurry);
  if (!answer) throw std::runtime_error("not taken for least squares");
  return *answer;
}

// ---- certified regressions ----------------------------------------------------------------------

double correct_digits(const Row& x, const Row& certified) {
  double least = 15.0;
  for (std::size_t j = 0; j < x.size(); ++j)
    least = std::min(least, -std::log10(std::abs(x[j] / certified[j] - 1.0)));
  return least;
}

// The intercept first, then the inputs themselves, or the powers of the only one.
std::vector<Row> design(const Json& data) {
  std::vector<Row> rows;
  const bool intercept = data["intercept"].boolean();
  const std::size_t terms = data["certified"]["beta"].size();
  for (const Row& input : data["x"].rows()) {
    Row row;
    for (std::size_t power = intercept ? 0 : 1; row.size() < terms; ++power) {
      if (input.size() == 1) {
        row.push_back(std::pow(input[0], static_cast<int>(power)));
      } else {
        row.push_back(power == 0 ? 1.0 : input[power - 1]);
      }
    }
    rows.push_back(row);
  }
  return rows;
}

// The digits that data rounded to doubles still hold, less a little: 7.6 of Filip's.
struct CertifiedCase {
  const char* name;
  double least_digits;
};

class CertifiedData : public testing::TestWithParam<CertifiedCase> {};

TEST_P(CertifiedData, is_met) {
  const Json data =
      Json::read_file(std::string(TORVE_TEST_DATA) + "/nist/" + GetParam().name + ".json");
  const Answer answer = solve_squares(least_squares_problem(design(data), data["y"].numbers()));
  ASSERT_EQ(answer.status, Status::proven);
  EXPECT_GE(correct_digits(answer.points[0], data["certified"]["beta"].numbers()),
            GetParam().least_digits);
  EXPECT_EQ(answer.bound, answer.objective);
}

INSTANTIATE_TEST_SUITE_P(
    Nist, CertifiedData,
    testing::Values(CertifiedCase{"filip", 7.5}, CertifiedCase{"longley", 14.0},
                    CertifiedCase{"noint1", 14.5}, CertifiedCase{"noint2", 14.5},
                    CertifiedCase{"norris", 13.5}, CertifiedCase{"pontius", 13.0},
                    CertifiedCase{"wampler1", 13.0}, CertifiedCase{"wampler2", 13.0},
                    CertifiedCase{"wampler3", 13.0}, CertifiedCase{"wampler4", 13.0},
                    CertifiedCase{"wampler5", 13.0}),
    [](const auto& row) { return std::string(row.param.name); });

// A root of 2 that multiplies each number of a row rounds each of them.
TEST(Squares, keep_their_digits_with_each_row_twice) {
  const Json data = Json::read_file(std::string(TORVE_TEST_DATA) + "/nist/longley.json");
  const Row z = data["y"].numbers();
  const Answer answer = solve_squares(least_squares_problem(design(data), z, Row(z.size(), 2.0)));
  EXPECT_GE(correct_digits(answer.points[0], data["certified"]["beta"].numbers()), 14.0);
}

// ---- weights ------------------------------------------------------------------------------------

// Weighted normal equations by elimination, all in long double.
Row by_normal_equations(const std::vector<Row>& x, const Row& z, const Row& weights) {
  const std::size_t n = x.front().size();
  std::vector<std::vector<long double>> m(n, std::vector<long double>(n + 1, 0.0L));
  for (std::size_t i = 0; i < x.size(); ++i) {
    for (std::size_t r = 0; r < n; ++r) {
      const long double factor = static_cast<long double>(weights[i]) * x[i][r];
      for (std::size_t c = 0; c < n; ++c) m[r][c] += factor * x[i][c];
      m[r][n] += factor * z[i];
    }
  }
  for (std::size_t r = 0; r < n; ++r) {
    for (std::size_t below = 0; below < n; ++below) {
      if (below == r) continue;
      const long double factor = m[below][r] / m[r][r];
      for (std::size_t c = r; c <= n; ++c) m[below][c] -= factor * m[r][c];
    }
  }
  Row solution(n);
  for (std::size_t r = 0; r < n; ++r) solution[r] = static_cast<double>(m[r][n] / m[r][r]);
  return solution;
}

struct WeightCase {
  const char* name;
  Row weights;
};

class WeightedRows : public testing::TestWithParam<WeightCase> {};

TEST_P(WeightedRows, solve_the_normal_equations) {
  const std::vector<Row> x = {{1, 0.5, 4}, {1, -1.25, 1.5}, {1, 2, -0.5}, {1, 0.3, 7}, {1, 1, 1}};
  const Row z = {2.5, 0.0005, -1.5, 12, 0.001};
  const Row& weights = GetParam().weights;
  const Answer answer = solve_squares(least_squares_problem(x, z, weights));
  const Row exact = by_normal_equations(x, z, weights);
  for (std::size_t j = 0; j < exact.size(); ++j)
    EXPECT_NEAR(answer.points[0][j], exact[j], 1e-13 * (1.0 + std::abs(exact[j]))) << j;
}

INSTANTIATE_TEST_SUITE_P(Squares, WeightedRows,
                         testing::Values(WeightCase{"equal", {1, 1, 1, 1, 1}},
                                         WeightCase{"whole", {1, 2, 3, 64, 65}},
                                         WeightCase{"last_one_divided", {1, 1, 1, 1, 1 / 0.37}},
                                         WeightCase{"one_of_zero", {1, 0, 1, 1, 1}},
                                         WeightCase{"far_apart", {1e-6, 1, 1e6, 1, 0.25}}),
                         [](const auto& row) { return std::string(row.param.name); });

// ---- dependence, and sizes ----------------------------------------------------------------------

struct DependentCase {
  const char* name;
  std::vector<Row> x;
  Row z;
  Row beta;  // shortest, columns taken as of equal length
};

class DependentColumns : public testing::TestWithParam<DependentCase> {};

TEST_P(DependentColumns, give_the_shortest_answer) {
  const DependentCase& row = GetParam();
  const Answer answer = solve_squares(least_squares_problem(row.x, row.z));
  ASSERT_EQ(answer.status, Status::proven);
  ASSERT_EQ(answer.points[0].size(), row.beta.size());
  for (std::size_t j = 0; j < row.beta.size(); ++j)
    EXPECT_NEAR(answer.points[0][j], row.beta[j], 1e-14) << j;
}

INSTANTIATE_TEST_SUITE_P(
    Squares, DependentColumns,
    testing::Values(DependentCase{"column_twice", {{1, 1}, {2, 2}, {3, 3}}, {2, 4, 6}, {1, 1}},
                    DependentCase{"column_of_zeros", {{1, 0}, {2, 0}}, {3, 6}, {3, 0}},
                    DependentCase{"one_row", {{1, 1, 1, 1}}, {2}, {0.5, 0.5, 0.5, 0.5}},
                    DependentCase{"nothing_but_zeros", {{0, 0}, {0, 0}}, {3, 6}, {0, 0}},
                    // 1 and 2^-70: neither is noise beside the other.
                    DependentCase{"scales_far_apart",
                                  {{1, std::ldexp(1.0, -70)}, {1, -std::ldexp(1.0, -70)}},
                                  {3, 1},
                                  {2, std::ldexp(1.0, 70)}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(Squares, without_variables_are_a_number) {
  Problem problem;
  problem.objective = test::square(problem.graph, problem.graph.number(3.0));
  const Answer answer = solve_squares(problem);
  EXPECT_EQ(answer.status, Status::proven);
  EXPECT_EQ(answer.objective, 9.0);
  ASSERT_EQ(answer.points.size(), 1U);
  EXPECT_TRUE(answer.points[0].empty());
}

TEST(Squares, objective_is_that_of_the_problem) {
  Problem problem = least_squares_problem({{1}, {1}, {1}, {1}}, {1, 2, 3, 6});
  problem.objective = problem.graph.sum(std::array{problem.objective, problem.graph.number(0.5)});
  const Answer answer = solve_squares(problem);
  EXPECT_DOUBLE_EQ(answer.points[0][0], 3.0);
  EXPECT_DOUBLE_EQ(answer.objective, 14.5);
}

TEST(Squares, are_not_fitted_when_the_time_is_over) {
  const Problem problem = least_squares_problem({{1}}, {1});
  const std::optional<Answer> answer = solve_least_squares(problem, Deadline(0.0));
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->status, Status::no_point);
  EXPECT_TRUE(answer->points.empty());
}

// ---- what is no least-squares problem -----------------------------------------------------------

struct OtherCase {
  const char* name;
  void (*change)(Problem& problem);
};

class OtherProblems : public testing::TestWithParam<OtherCase> {};

TEST_P(OtherProblems, are_left_to_others) {
  Problem problem = least_squares_problem({{1, 2}, {3, 5}}, {1, 2});
  ASSERT_TRUE(solve_least_squares(problem, no_hurry));
  GetParam().change(problem);
  EXPECT_FALSE(solve_least_squares(problem, no_hurry));
}

INSTANTIATE_TEST_SUITE_P(
    Squares, OtherProblems,
    testing::Values(
        OtherCase{"largest", [](Problem& p) { p.maximize = true; }},
        OtherCase{"statement",
                  [](Problem& p) { add_statement(p, p.graph.variable(0), Relation::at_most, 1); }},
        OtherCase{"binary", [](Problem& p) { p.variables[1].kind = VariableKind::binary; }},
        OtherCase{"bound", [](Problem& p) { p.variables[1].upper = 1e6; }},
        OtherCase{"linear_part",
                  [](Problem& p) {
                    p.objective = p.graph.sum(std::array{p.objective, p.graph.variable(0)});
                  }},
        OtherCase{"negative_square",
                  [](Problem& p) { p.objective = p.graph.unary(Operation::negate, p.objective); }},
        OtherCase{
            "sine",
            [](Problem& p) { p.objective = p.graph.unary(Operation::sin, p.graph.variable(0)); }}),
    [](const auto& row) { return std::string(row.param.name); });

}  // namespace
