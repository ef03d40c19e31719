// Which problems are taken, and what is answered in each case.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "box_formulas.h"
#include "mirsolve/box/box_search.h"
#include "mirsolve/box/formula.h"
#include "mirsolve/run/solvers.h"

namespace mirsolve::test {
namespace {

constexpr double pi = 3.141592653589793;

Answer solved(const Problem& problem, double seconds = 20.0) {
  const auto answer = solve_box(problem, Deadline(seconds));
  EXPECT_TRUE(answer);
  return answer.value_or(Answer{});
}

// (x - 0.3)^2 + (y + 0.2)^2 + 1 over [-1, 1]^2.
Term bowl(std::span<const Term> x) {
  return pow(x[0] - 0.3, 2.0) + pow(x[1] + 0.2, 2.0) + 1.0;
}
Problem bowl_problem() {
  return box_problem(Sides(2, {-1.0, 1.0}), bowl);
}

// Four equal minima of -1 in the box, at (+-pi/2, ...) of sin(x)^2 sin(y)^2.
Term hills(std::span<const Term> x) {
  return -(pow(sin(x[0]), 2.0) * pow(sin(x[1]), 2.0));
}
Problem hills_problem() {
  return box_problem(Sides(2, {-3.0, 3.0}), hills);
}

void maximize(Problem& problem) {
  problem.maximize = true;
}

struct Form {
  const char* name;
  void (*change)(Problem&);
  bool is_taken;
};

const Form forms[] = {
    {"as_written", [](Problem&) {}, true},
    {"equation_turned_round",
     [](Problem& p) { std::swap(p.statements[0].left, p.statements[0].right); }, true},
    {"formula_on_the_right",
     [](Problem& p) {
       const NodeId formula = p.graph.operands(p.statements[0].left)[1];
       p.statements[0].left = p.graph.variable(0);
       p.statements[0].right = formula;
     },
     true},
    {"variable_with_a_factor",
     [](Problem& p) {
       const NodeId z =
           p.graph.binary(Operation::product, p.graph.number(2.0), p.graph.variable(0));
       const NodeId formula = p.graph.operands(p.statements[0].left)[1];
       p.statements[0].left = z;
       p.statements[0].right = p.graph.binary(Operation::product, p.graph.number(2.0), formula);
     },
     true},
    {"formula_as_objective",
     [](Problem& p) {
       p.objective = p.graph.operands(p.statements[0].left)[1];
       p.statements.clear();
       p.variables[0].lower = p.variables[0].upper = 1.25;
     },
     true},
    {"positive_inputs", [](Problem& p) { p.variables[1].kind = VariableKind::positive; }, true},
    {"inequality", [](Problem& p) { p.statements[0].relation = Relation::at_most; }, false},
    {"two_equations", [](Problem& p) { p.statements.push_back(p.statements[0]); }, false},
    {"binary_input", [](Problem& p) { p.variables[2].kind = VariableKind::binary; }, false},
    {"input_without_a_bound", [](Problem& p) { p.variables[2].upper = infinite; }, false},
    {"defined_variable_in_the_formula",
     [](Problem& p) {
       const NodeId z = p.graph.variable(0);
       p.statements[0].right = p.graph.binary(Operation::product, z, z);
     },
     false},
    {"another_objective", [](Problem& p) { p.objective = p.graph.variable(1); }, false},
    {"objective_of_two_variables", [](Problem& p) { p.objective = p.statements[0].left; }, false},
    {"defined_variable_not_in_the_equation",
     [](Problem& p) { p.statements[0].left = p.graph.variable(1); }, false},
};

class BoxForms : public testing::TestWithParam<Form> {};

TEST_P(BoxForms, AreTakenOrLeft) {
  Problem problem = bowl_problem();
  GetParam().change(problem);
  const auto answer = solve_box(problem, Deadline(20.0));
  ASSERT_EQ(answer.has_value(), GetParam().is_taken);
  if (!answer) return;
  EXPECT_EQ(answer->status, Status::proven);
  EXPECT_NEAR(answer->objective, 1.0, 0.05);
  EXPECT_LE(answer->bound, 1.0);
  EXPECT_GE(answer->bound, 0.9);
  EXPECT_EQ(answer->points.at(0).size(), 3U);
}

INSTANTIATE_TEST_SUITE_P(Forms, BoxForms, testing::ValuesIn(forms),
                         [](const auto& row) { return row.param.name; });

struct Outcome {
  const char* name;
  Problem (*problem)();
  Status status;
  double objective;  // where there is a point
  double precision;
};

template <class Change>
Problem changed(Problem problem, Change change) {
  change(problem);
  return problem;
}

const Outcome outcomes[] = {
    {"upper_bound_that_is_met",
     [] { return changed(bowl_problem(), [](Problem& p) { p.variables[0].upper = 1.5; }); },
     Status::proven, 1.0, 0.05},
    {"upper_bound_at_the_least_value",
     [] { return changed(bowl_problem(), [](Problem& p) { p.variables[0].upper = 1.0; }); },
     Status::proven, 1.0, 1e-12},
    {"upper_bound_just_below_the_least_value",
     [] { return changed(bowl_problem(), [](Problem& p) { p.variables[0].upper = 1.0 - 1e-9; }); },
     Status::infeasible, 0.0, 0.0},
    {"upper_bound_below_all_values",
     [] { return changed(bowl_problem(), [](Problem& p) { p.variables[0].upper = 0.0; }); },
     Status::infeasible, 0.0, 0.0},
    {"cutoff_below_all_values",
     [] { return changed(bowl_problem(), [](Problem& p) { p.options.cutoff = 0.9; }); },
     Status::infeasible, 0.0, 0.0},
    {"greatest_value_in_a_corner", [] { return changed(bowl_problem(), maximize); }, Status::proven,
     1.0 + 1.69 + 1.44, 0.21},
    {"lower_bound_that_is_met",
     [] {
       return changed(bowl_problem(), [](Problem& p) {
         maximize(p);
         p.variables[0].lower = 4.0;
       });
     },
     Status::proven, 1.0 + 1.69 + 1.44, 0.21},
    {"lower_bound_above_all_values",
     [] {
       return changed(bowl_problem(), [](Problem& p) {
         maximize(p);
         p.variables[0].lower = 4.1301;
       });
     },
     Status::infeasible, 0.0, 0.0},
    {"least_value_above_a_lower_bound",
     [] { return changed(bowl_problem(), [](Problem& p) { p.variables[0].lower = 2.0; }); },
     Status::proven, 2.0, 0.1},
    {"lower_bound_that_is_too_high",
     [] { return changed(bowl_problem(), [](Problem& p) { p.variables[0].lower = 5.0; }); },
     Status::infeasible, 0.0, 0.0},
    {"bounds_that_contradict",
     [] { return changed(bowl_problem(), [](Problem& p) { p.variables[1].lower = 2.0; }); },
     Status::infeasible, 0.0, 0.0},
    {"inputs_that_are_fixed",
     [] {
       return changed(bowl_problem(), [](Problem& p) {
         p.variables[1].lower = p.variables[1].upper = 0.5;
         p.variables[2].lower = p.variables[2].upper = 0.0;
       });
     },
     Status::proven, 1.08, 1e-12},
    {"no_gap",
     [] {
       return changed(bowl_problem(), [](Problem& p) {
         p.options.relative_gap = 0.0;
         p.options.absolute_gap = 0.0;
       });
     },
     Status::proven, 1.0, 1e-12},
    // Least at log(1.3), where neither number nor value is exact.
    {"no_gap_but_that_of_rounding",
     [] {
       return changed(box_problem({{-1.0, 1.0}},
                                  [](std::span<const Term> x) { return exp(x[0]) - 1.3 * x[0]; }),
                      [](Problem& p) {
                        p.options.relative_gap = 0.0;
                        p.options.absolute_gap = 0.0;
                      });
     },
     Status::proven, 1.3 - 1.3 * std::log(1.3), 1e-14},
    {"constant",
     [] {
       return box_problem({{0.0, 1.0}}, [](std::span<const Term> x) { return 0.0 * x[0] + 3.0; });
     },
     Status::proven, 3.0, 1e-12},
    {"constant_at_its_bound",
     [] {
       Problem p =
           box_problem({{0.0, 1.0}}, [](std::span<const Term> x) { return 0.0 * x[0] + 0.1; });
       p.variables[0].upper = 0.1;
       return p;
     },
     Status::proven, 0.1, 1e-12},
    {"kink",
     [] {
       return box_problem(Sides(2, {-1.0, 1.0}), [](std::span<const Term> x) {
         return abs(x[0] - 0.3) + abs(x[1] + x[0]) + 2.0;
       });
     },
     Status::proven, 2.0, 0.1},
    // Least at x = 1 / sqrt(2); no value for x <= 0.
    {"log_without_value_in_half_of_the_box",
     [] {
       return box_problem({{-2.0, 2.0}},
                          [](std::span<const Term> x) { return pow(x[0], 2.0) - log(x[0]); });
     },
     Status::proven, 0.5 + 0.5 * std::log(2.0), 0.05},
    // Least where x^2 + y^2 = 1 / 4, at the border of the domain.
    {"sqrt_with_a_curved_border",
     [] {
       return box_problem(Sides(2, {-2.0, 2.0}), [](std::span<const Term> x) {
         return 1.0 + sqrt(pow(x[0], 2.0) + pow(x[1], 2.0) - 0.25);
       });
     },
     Status::proven, 1.0, 0.06},
    {"no_value_at_all",
     [] {
       return box_problem({{-2.0, -1.0}}, [](std::span<const Term> x) { return log(x[0]); });
     },
     Status::infeasible, 0.0, 0.0},
    // 1 / x + x over both sides of the pole, where it falls without end, bounded from below.
    {"pole_with_values_above",
     [] {
       return box_problem({{-2.0, 2.0}},
                          [](std::span<const Term> x) { return pow(x[0], -2.0) + x[0] + 3.0; });
     },
     Status::proven, 1.25, 0.07},
};

class BoxOutcomes : public testing::TestWithParam<Outcome> {};

TEST_P(BoxOutcomes, AreAsByHand) {
  const Outcome& row = GetParam();
  const Answer answer = solved(row.problem());
  EXPECT_EQ(answer.status, row.status);
  if (row.status == Status::infeasible) {
    EXPECT_TRUE(answer.points.empty());
    return;
  }
  ASSERT_EQ(answer.points.size(), 1U);
  EXPECT_NEAR(answer.objective, row.objective, row.precision);
  EXPECT_TRUE(answer.remarks.empty());
}

INSTANTIATE_TEST_SUITE_P(Problems, BoxOutcomes, testing::ValuesIn(outcomes),
                         [](const auto& row) { return row.param.name; });

TEST(BoxTime, NoneLeavesNoPoint) {
  const Answer answer = solved(bowl_problem(), 0.0);
  EXPECT_EQ(answer.status, Status::no_point);
  EXPECT_TRUE(answer.points.empty());
  EXPECT_EQ(answer.bound, -infinite);
  ASSERT_EQ(answer.remarks.size(), 1U);
  EXPECT_NE(answer.remarks[0].find("100% of the whole box"), std::string::npos);
}

// Points of value 0 everywhere on curves through six inputs: there is a point at once, and no proof
// to 1e-9 for long.
Problem endless_problem() {
  return box_problem(Sides(6, {0.0, 10.0}), [](std::span<const Term> x) {
    Term sum = number(x[0], 0.0);
    for (std::size_t i = 0; i + 1 < x.size(); ++i) {
      const Term a = sin(x[i]);
      const Term b = cos(x[i + 1]) * x[0];
      sum = sum + pow(a, 2.0) + pow(b, 2.0) - 2.0 * (a * b);
    }
    return sum;
  });
}

TEST(BoxTime, IsKeptAndTold) {
  const Deadline clock(10.0);
  const Answer answer = solved(endless_problem(), 0.3);
  EXPECT_LT(clock.elapsed(), 0.3 + 0.2);
  EXPECT_EQ(answer.status, Status::unproven);
  ASSERT_EQ(answer.points.size(), 1U);
  EXPECT_LT(answer.bound, answer.objective);
  EXPECT_GE(answer.objective, -1e-12);
  ASSERT_EQ(answer.remarks.size(), 1U);
  EXPECT_NE(answer.remarks[0].find("% of the whole box"), std::string::npos) << answer.remarks[0];
}

TEST(BoxTime, AFormulaWithoutALeastValueIsNotProven) {
  const Answer answer =
      solved(box_problem({{0.0, 1.0}}, [](std::span<const Term> x) { return log(x[0]); }));
  EXPECT_EQ(answer.status, Status::unproven);
  EXPECT_EQ(answer.bound, -infinite);
  ASSERT_FALSE(answer.points.empty());
  EXPECT_LT(answer.objective, -10.0);
  EXPECT_EQ(answer.remarks.size(), 1U);
}

// Where values overflow there is no step to take.
TEST(BoxTime, IsKeptWhereValuesOverflow) {
  const Answer answer =
      solved(box_problem({{-2.0, 3.0}, {-2000.0, 2000.0}},
                         [](std::span<const Term> x) { return x[0] - exp(x[1]); }),
             2.0);
  EXPECT_EQ(answer.status, Status::unproven);
  EXPECT_LT(answer.objective, -1e100);
}

// An input without a bound of its own comes with 1e31 for it; what is looked for is at its far end.
TEST(BoxTime, IsntSpentOnASideThatDoesntMatter) {
  Problem problem =
      box_problem({{1.0, 4.0}, {0.0, 1e31}, {-1.0, 1.0}}, [](std::span<const Term> x) {
        return 2.5 * x[0] - 1e-7 * pow(x[0], 2.0) + log(x[1]) + pow(x[2], 2.0);
      });
  problem.variables[0].upper = 5.0;
  problem.options.solutions = 4;
  const Deadline clock(20.0);
  const Answer answer = solved(problem, 20.0);
  EXPECT_LT(clock.elapsed(), 10.0);
  EXPECT_EQ(answer.status, Status::unproven);
  ASSERT_FALSE(answer.points.empty());
  for (const std::vector<double>& point : answer.points) EXPECT_LE(point[0], 5.0);
}

// x^2 log(x) goes to 0 with x, but the product of the enclosures over a box at 0 doesn't tell.
TEST(BoxTime, AnUndecidedBoxIsTold) {
  const Answer answer = solved(box_problem(
      {{-2.0, 2.0}}, [](std::span<const Term> x) { return log(x[0]) * pow(x[0], 2.0) - 1.0; }));
  EXPECT_EQ(answer.status, Status::unproven);
  EXPECT_NEAR(answer.objective, -1.0 - 0.5 * std::exp(-1.0), 1e-9);
  ASSERT_EQ(answer.remarks.size(), 1U);
  EXPECT_NE(answer.remarks[0].find("undecided"), std::string::npos);
}

TEST(BoxFirst, PointWillDo) {
  Problem problem = endless_problem();
  problem.options.first_feasible = true;
  const Answer answer = solved(problem);
  EXPECT_EQ(answer.status, Status::wanted);
  EXPECT_EQ(answer.points.size(), 1U);
}

struct Several {
  const char* name;
  int asked;
  double isolation;
  double upper;          // of the values
  std::size_t at_least;  // points that there must be
};

class BoxSeveral : public testing::TestWithParam<Several> {};

TEST_P(BoxSeveral, PointsLieApartTheBestFirst) {
  const Several& row = GetParam();
  Problem problem = hills_problem();
  problem.options.solutions = row.asked;
  problem.options.isolation = row.isolation;
  problem.variables[0].upper = row.upper;
  const Answer answer = solved(problem);
  EXPECT_EQ(answer.status, Status::proven);
  EXPECT_GE(answer.points.size(), row.at_least);
  EXPECT_LE(answer.points.size(), static_cast<std::size_t>(row.asked));
  for (std::size_t i = 0; i < answer.points.size(); ++i) {
    const std::vector<double>& a = answer.points[i];
    const double value = -std::pow(std::sin(a[1]), 2.0) * std::pow(std::sin(a[2]), 2.0);
    EXPECT_NEAR(a[0], value, 1e-12);
    EXPECT_LE(a[0], row.upper);
    if (i > 0) {
      EXPECT_GE(a[0], answer.points[i - 1][0]);
    }
    for (std::size_t j = 0; j < i; ++j) {
      const std::vector<double>& b = answer.points[j];
      // The sides of the box are 6 long.
      EXPECT_GE(std::hypot(a[1] - b[1], a[2] - b[2]) / 6.0, row.isolation);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Points, BoxSeveral,
                         testing::Values(Several{"one", 1, 0.01, infinite, 1},
                                         Several{"minima", 4, 0.1, -0.5, 4},
                                         Several{"more_than_minima", 12, 0.01, -0.5, 12},
                                         Several{"as_many_as_there_is_room_for", 200, 0.3, -0.9, 4},
                                         Several{"one_for_the_whole_box", 5, 2.0, infinite, 1}),
                         [](const auto& row) { return row.param.name; });

// All four minima are among four points.
TEST(BoxSeveralMinima, ComeFirst) {
  Problem problem = hills_problem();
  problem.options.solutions = 4;
  const Answer answer = solved(problem);
  ASSERT_EQ(answer.points.size(), 4U);
  for (const std::vector<double>& point : answer.points) EXPECT_NEAR(point[0], -1.0, 1e-6);
  for (const double x : {-pi / 2.0, pi / 2.0}) {
    for (const double y : {-pi / 2.0, pi / 2.0}) {
      EXPECT_TRUE(std::ranges::any_of(answer.points,
                                      [&](const std::vector<double>& point) {
                                        return std::hypot(point[1] - x, point[2] - y) < 1e-2;
                                      }))
          << x << ' ' << y;
    }
  }
}

// With room for a few boxes only the search goes into the depth, and ends with the same proof.
TEST(BoxRoom, IsBounded) {
  const Problem problem = box_problem(Sides(2, {-3.0, 4.0}), [](std::span<const Term> x) {
    return sin(5.0 * x[0] * x[1]) * cos(3.0 * x[0]) + 0.01 * pow(x[1], 2.0);
  });
  const NodeId formula_node = problem.graph.operands(problem.statements[0].left)[1];
  const std::vector<std::pair<double, NodeId>> sum{{1.0, formula_node}};
  const std::vector<int> inputs{1, 2};
  const box::Formula formula(problem.graph, sum, inputs);
  const std::vector<box::Interval> sides(2, {-3.0, 4.0});
  box::SearchRules rules;
  rules.wanted.relative_gap = 1e-4;
  const box::SearchResult wide = box::BoxSearch(formula, sides, rules, Deadline(20.0)).run();
  rules.most_bytes = 1;
  const box::SearchResult narrow = box::BoxSearch(formula, sides, rules, Deadline(20.0)).run();
  EXPECT_FALSE(wide.ran_short);
  EXPECT_TRUE(narrow.ran_short);
  for (const box::SearchResult* result : {&wide, &narrow}) {
    EXPECT_FALSE(result->time_is_over);
    ASSERT_EQ(result->points.size(), 1U);
    EXPECT_LE(result->points[0].value - result->bound, 1.01e-4);
  }
  EXPECT_NEAR(wide.points[0].value, narrow.points[0].value, 2e-4);
}

}  // namespace
}  // namespace mirsolve::test
