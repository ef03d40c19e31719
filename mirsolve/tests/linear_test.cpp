// Linear problems with binary variables against every corner of every choice.
#include <gtest/gtest.h>

#include <cmath>

#include "linear_reference.h"
#include "linear_selections.h"
#include "mirsolve/run/solvers.h"

namespace {

using namespace mirsolve;
using namespace mirsolve::test;

const Deadline no_hurry(60.0);

Answer solved(const Problem& problem) {
  const std::optional<Answer> answer = solve_linear(problem, no_hurry);
  if (!answer) throw std::runtime_error("not taken for a linear problem");
  return *answer;
}

// ---- selections by sums of errors and by the largest error --------------------------------------

void expect_best(const Problem& problem, const Answer& answer) {
  const std::optional<Reference> best = reference_minimum(problem);
  if (!best) {
    EXPECT_EQ(answer.status, Status::infeasible);
    EXPECT_TRUE(answer.points.empty());
    return;
  }
  ASSERT_EQ(answer.status, Status::proven);
  ASSERT_EQ(answer.points.size(), 1U);
  const double size = 1.0 + std::abs(best->objective);
  EXPECT_NEAR(answer.objective, best->objective, 1e-7 * size);
  const double better = problem.maximize ? -1.0 : 1.0;
  EXPECT_LE(better * (answer.bound - best->objective), 1e-7 * size);
  EXPECT_GE(better * (answer.bound - best->objective), -2e-7 * size);
  // The point itself is as good as it says, with these binary variables.
  const auto& point = answer.points.front();
  const std::optional<Reference> same = reference_minimum(problem, point);
  ASSERT_TRUE(same);
  EXPECT_NEAR(evaluate(problem.graph, problem.objective, point), same->objective, 1e-7 * size);
  for (std::size_t j = 0; j < point.size(); ++j) {
    if (problem.variables[j].kind != VariableKind::binary) continue;
    EXPECT_EQ(point[j], std::round(point[j])) << j;
  }
}

class Selections : public testing::TestWithParam<Fit> {};

TEST_P(Selections, are_the_best_of_all_corners) {
  for (std::uint64_t seed = 1; seed <= GetParam().seeds; ++seed) {
    SCOPED_TRACE(seed);
    Problem problem = selection(GetParam(), drawn_data(GetParam(), seed));
    GetParam().change(problem);
    const Answer answer = solved(problem);
    expect_best(problem, answer);
  }
}

void only_with_third(Problem& p) {
  // y_1 <= y_3
  add_statement(p, minus(p.graph, p.graph.variable(0), p.graph.variable(2)), Relation::at_most, 0);
}
void contradiction(Problem& p) {
  add_statement(p, linear(p.graph, 0.0, {1, 1}), Relation::at_least, 2);
  add_statement(p, linear(p.graph, 0.0, {0, 1, 1}), Relation::at_most, 0);
}
void hold_the_first(Problem& p) {
  // A row of coefficients alone, and a variable that is decided.
  const int beta = static_cast<int>(p.variables.size()) - 3;
  add_statement(p, linear(p.graph, 0.5, {1, 1}, beta), Relation::at_least, 2);
  p.variables[1].upper = 0.0;
}
void turn(Problem& p) {
  p.objective = p.graph.unary(Operation::negate, p.objective);
  p.maximize = true;
}
void add_number(Problem& p) {
  p.objective = p.graph.sum(std::array{p.objective, p.graph.number(-17.5)});
}

INSTANTIATE_TEST_SUITE_P(
    Linear, Selections,
    testing::Values(
        Fit{.name = "largest_error", .largest_error = true, .rows = 7, .most = 2},
        Fit{.name = "largest_error_with_penalty", .largest_error = true, .rows = 6, .penalty = 9},
        Fit{.name = "largest_error_of_wide_bounds",
            .largest_error = true,
            .rows = 6,
            .most = 2,
            .bound = 1e31},
        Fit{.name = "largest_error_of_bounds_that_cut",
            .largest_error = true,
            .most = 2,
            .bound = 0.75},
        Fit{.name = "sum", .rows = 3, .columns = 2, .most = 1, .bound = 40},
        Fit{.name = "sum_with_penalty", .rows = 3, .columns = 3, .penalty = 1.75, .seeds = 1},
        Fit{.name = "sum_of_large_factors", .rows = 3, .penalty = 1.75, .bound = 1e6, .seeds = 1},
        Fit{.name = "sum_of_wide_bounds", .rows = 3, .penalty = 1.75, .bound = 1e31},
        Fit{.name = "sum_of_just_as_many", .rows = 3, .most = 2, .just_as_many = true, .seeds = 1},
        Fit{.name = "switched_sums",
            .rows = 3,
            .columns = 2,
            .penalty = 0.5,
            .switches_sums = true},
        Fit{.name = "switched_sums_of_wide_bounds",
            .rows = 3,
            .columns = 2,
            .penalty = 0.5,
            .bound = 1e31,
            .switches_sums = true},
        Fit{.name = "switched_sums_that_cut",
            .rows = 3,
            .columns = 2,
            .penalty = 0.5,
            .bound = 2,
            .switches_sums = true},
        Fit{.name = "column_twice", .largest_error = true, .most = 2, .column_twice = true},
        Fit{.name = "column_twice_in_wide_bounds",
            .largest_error = true,
            .rows = 4,
            .most = 2,
            .penalty = 1,
            .bound = 1e31,
            .column_twice = true},
        Fit{.name = "one_only_with_another",
            .largest_error = true,
            .most = 2,
            .change = only_with_third},
        Fit{.name = "infeasible", .largest_error = true, .most = 3, .change = contradiction},
        Fit{.name = "held_coefficients",
            .largest_error = true,
            .most = 3,
            .change = hold_the_first},
        Fit{.name = "largest", .largest_error = true, .most = 2, .change = turn},
        Fit{.name = "number_in_the_objective",
            .largest_error = true,
            .most = 2,
            .change = add_number}),
    [](const auto& row) { return std::string(row.param.name); });

}  // namespace
