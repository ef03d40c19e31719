// How a solve ends: cut-offs, gaps, the first model, starts, the time; and which problems are of
// another class.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>

#include "mirsolve/run/solvers.h"
#include "mirsolve/tests/selection_brute_force.h"
#include "mirsolve/tests/selection_problems.h"

namespace mirsolve::test {

namespace {

SelectionCase bic() {
  SelectionCase made = random_case(40, 8, 4, 1.0, 5);
  made.penalty = std::log(40.0);
  return made;
}

Answer solved(const Problem& problem, double seconds = 60.0) {
  const std::optional<Answer> answer = solve_selection(problem, Deadline(seconds));
  EXPECT_TRUE(answer);
  return answer.value_or(Answer{});
}

double best_of(const SelectionCase& made) {
  return solve_by_brute_force(made)->objective;
}

TEST(SelectionEnds, CutOffAboveTheBest) {
  SelectionCase made = bic();
  const double best = best_of(made);
  made.options.cutoff = best * (1.0 + 1e-6);
  const Answer answer = solved(build(made));
  EXPECT_EQ(answer.status, Status::proven);
  EXPECT_NEAR(answer.objective, best, 1e-9 * best);
}

TEST(SelectionEnds, CutOffBelowTheBest) {
  SelectionCase made = bic();
  made.options.cutoff = best_of(made) * (1.0 - 1e-6);
  const Answer answer = solved(build(made));
  EXPECT_EQ(answer.status, Status::infeasible);
  EXPECT_TRUE(answer.points.empty());
  EXPECT_GE(answer.bound, made.options.cutoff);
}

TEST(SelectionEnds, CutOffOfALargeProblemIsProven) {
  SelectionCase made = random_case(200, 30, 8, 1.0, 3);
  made.penalty = std::log(200.0);
  const Answer best = solved(build(made));
  ASSERT_EQ(best.status, Status::proven);
  made.options.cutoff = best.objective * (1.0 - 1e-7);
  EXPECT_EQ(solved(build(made)).status, Status::infeasible);
}

TEST(SelectionEnds, GapsAllowAWorseModelButKeepTheBound) {
  SelectionCase made = bic();
  const double best = best_of(made);
  for (const double gap : {1e-3, 1.0, 30.0}) {
    made.options.absolute_gap = gap;
    const Answer answer = solved(build(made));
    EXPECT_EQ(answer.status, Status::proven);
    EXPECT_LE(answer.objective, best + gap);
    EXPECT_LE(answer.bound, best * (1.0 + 1e-12));
    EXPECT_GE(answer.bound, answer.objective - gap * (1.0 + 1e-12));
  }
}

TEST(SelectionEnds, FirstModelWillDo) {
  SelectionCase made = catalogue_case(100, 40, 0.1, 1);
  made.penalty = 0.05;
  made.options.first_feasible = true;
  const Problem problem = build(made);
  const Answer answer = solved(problem);
  EXPECT_EQ(answer.status, Status::wanted);
  ASSERT_EQ(answer.points.size(), 1U);
  EXPECT_EQ(broken_by(problem, answer.points.front()), "");
  EXPECT_LE(answer.bound, answer.objective);
  EXPECT_EQ(answer.nodes, 1);
}

TEST(SelectionEnds, NoTimeNoPoint) {
  const Answer answer = solved(build(bic()), 0.0);
  EXPECT_EQ(answer.status, Status::no_point);
  EXPECT_TRUE(answer.points.empty());
  EXPECT_LE(answer.bound, best_of(bic()));
}

TEST(SelectionEnds, TimeIsKept) {
  SelectionCase made = catalogue_case(100, 60, 0.1, 1);
  made.penalty = 0.005;
  made.options.absolute_gap = made.options.relative_gap = 0.0;
  const Problem problem = build(made);
  const Deadline deadline(0.5);
  const std::optional<Answer> answer = solve_selection(problem, deadline);
  ASSERT_TRUE(answer);
  EXPECT_LT(deadline.elapsed(), 1.5);
  EXPECT_EQ(answer->status, Status::unproven);
  ASSERT_EQ(answer->points.size(), 1U);
  EXPECT_EQ(broken_by(problem, answer->points.front()), "");
  EXPECT_TRUE(std::isfinite(answer->bound));
  EXPECT_LE(answer->bound, answer->objective);
}

TEST(SelectionEnds, StartIsCheckedAndNotTrusted) {
  SelectionCase made = bic();
  made.sizes = {{{}, Sense::at_most, 3}};
  const double best = best_of(made);
  Problem problem = build(made);
  for (Variable& variable : problem.variables) variable.start = 1.0;  // too many
  EXPECT_NEAR(solved(problem).objective, best, 1e-9 * best);
}

std::vector<int> columns_in(const Answer& answer, int columns) {
  std::vector<int> in;
  for (int j = 0; j < columns && !answer.points.empty(); ++j) {
    if (answer.points.front()[static_cast<std::size_t>(j)] == 1.0) in.push_back(j);
  }
  return in;
}

// Where the first model will do, a start that holds is the answer. The row refuses what is found by
// the squares alone, so that without a start the search has to find one.
TEST(SelectionEnds, StartIsTaken) {
  SelectionCase made = random_case(30, 6, 3, 0.5, 2);
  made.sizes = {{{}, Sense::equal, 2}};
  made.limits = {{{{1, 1.0}, {5, 1.0}}, Sense::at_least, 0.1}};
  made.options.first_feasible = true;
  const std::vector<int> wanted = {1, 5};
  Problem without = build(made);
  ASSERT_NE(columns_in(solved(without), 6), wanted);
  for (const bool by_switches : {true, false}) {
    Problem problem = without;
    for (int j = 0; j < 6; ++j) {
      problem.variables[static_cast<std::size_t>(by_switches ? j : 6 + j)].start =
          j == 1 || j == 5 ? 1.0 : 0.0;
    }
    EXPECT_EQ(columns_in(solved(problem), 6), wanted);
  }
}

TEST(SelectionEnds, SpellingOfTheLinksDoesNotMatter) {
  SelectionCase made = random_case(16, 4, 2, 0.5, 5);
  made.penalty = 0.5;
  made.lower.assign(4, -0.6);
  made.upper.assign(4, 0.4);
  const double best = best_of(made);
  Problem problem = build(made);
  ExpressionGraph& graph = problem.graph;
  const NodeId zero = graph.number(0.0);
  for (Statement& statement : problem.statements) {
    // 0 >= 3 * (left) for left <= 0
    statement.right = graph.binary(Operation::product, graph.number(3.0), statement.left);
    statement.left = zero;
    statement.relation = Relation::at_least;
  }
  EXPECT_NEAR(solved(problem).objective, best, 1e-9 * best);
}

TEST(SelectionEnds, LargestOfWhatIsTurned) {
  SelectionCase made = bic();
  const double best = best_of(made);
  Problem problem = build(made);
  problem.objective = problem.graph.unary(Operation::negate, problem.objective);
  problem.maximize = true;
  const Answer answer = solved(problem);
  EXPECT_EQ(answer.status, Status::proven);
  EXPECT_NEAR(answer.objective, -best, 1e-9 * best);
  EXPECT_GE(answer.bound, answer.objective);
}

TEST(SelectionEnds, ConstantsAndColumnsWithoutSwitch) {
  // (x - 3)^2 + (x + w - 5)^2 + 10 y + 7, w off without y: x = 4 and 2 + 7, or x = 3 and 10 + 7
  Problem problem;
  problem.variables = {{"y", VariableKind::binary, 0.0, 1.0, std::nullopt},
                       {"x", VariableKind::free, -infinite, infinite, std::nullopt},
                       {"w", VariableKind::positive, 0.0, infinite, std::nullopt}};
  ExpressionGraph& graph = problem.graph;
  const NodeId y = graph.variable(0);
  const NodeId x = graph.variable(1);
  const NodeId w = graph.variable(2);
  const NodeId two = graph.number(2.0);
  const auto square = [&](NodeId a) { return graph.binary(Operation::power, a, two); };
  const NodeId first = graph.sum(std::array{x, graph.number(-3.0)});
  const NodeId second = graph.sum(std::array{x, w, graph.number(-5.0)});
  const NodeId cost = graph.binary(Operation::product, graph.number(10.0), y);
  problem.objective = graph.sum(std::array{square(first), square(second), cost, graph.number(7.0)});
  problem.statements = {
      {"link", w, Relation::at_most, graph.binary(Operation::product, graph.number(100.0), y)}};
  const Answer answer = solved(problem);
  EXPECT_EQ(answer.status, Status::proven);
  EXPECT_NEAR(answer.objective, 9.0, 1e-12);
  EXPECT_EQ(answer.points.front()[0], 0.0);
  EXPECT_NEAR(answer.points.front()[1], 4.0, 1e-12);
  EXPECT_EQ(answer.points.front()[2], 0.0);
}

// Each turns a problem that is understood into one of another class.
struct Other {
  const char* name;
  std::function<void(Problem&)> change;
};

NodeId squared(Problem& problem, int variable) {
  return problem.graph.binary(Operation::power, problem.graph.variable(variable),
                              problem.graph.number(2.0));
}

void add_to_objective(Problem& problem, NodeId term) {
  problem.objective = problem.graph.sum(std::array{problem.objective, term});
}

void add_row(Problem& problem, NodeId left, double limit) {
  problem.statements.push_back({"row", left, Relation::at_most, problem.graph.number(limit)});
}

const Other others[] = {
    {"largest_sum_of_squares", [](Problem& p) { p.maximize = true; }},
    {"square_taken_off",
     [](Problem& p) { add_to_objective(p, p.graph.unary(Operation::negate, squared(p, 9))); }},
    {"square_of_a_switch", [](Problem& p) { add_to_objective(p, squared(p, 0)); }},
    {"coefficient_by_itself", [](Problem& p) { add_to_objective(p, p.graph.variable(9)); }},
    {"sine",
     [](Problem& p) { add_to_objective(p, p.graph.unary(Operation::sin, p.graph.variable(9))); }},
    {"product_of_coefficients",
     [](Problem& p) {
       add_row(p, p.graph.binary(Operation::product, p.graph.variable(9), p.graph.variable(10)),
               1.0);
     }},
    {"row_of_switches_and_coefficients",
     [](Problem& p) {
       add_row(
           p,
           p.graph.sum(std::array{p.graph.variable(0), p.graph.variable(9), p.graph.variable(10)}),
           1.0);
     }},
    {"coefficient_of_two_switches",
     [](Problem& p) {
       add_row(p, p.graph.sum(std::array{p.graph.variable(0), p.graph.variable(9)}), 100.0);
     }},
    {"limit_of_other_squares", [](Problem& p) { add_row(p, squared(p, 9), 1.0); }},
    {"switch_that_leaves_its_coefficient_free",
     [](Problem& p) { p.statements.erase(p.statements.begin(), p.statements.begin() + 1); }},
};

class OtherClass : public testing::TestWithParam<Other> {};

TEST_P(OtherClass, IsLeftToOthers) {
  Problem problem = build(bic());
  ASSERT_TRUE(solve_selection(problem, Deadline(60.0)));
  GetParam().change(problem);
  EXPECT_FALSE(solve_selection(problem, Deadline(60.0)));
}

INSTANTIATE_TEST_SUITE_P(All, OtherClass, testing::ValuesIn(others),
                         [](const auto& test) { return test.param.name; });

}  // namespace

}  // namespace mirsolve::test
