// How a linear problem may end: statuses, starts, cut-offs, gaps, time; and silence.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "linear_selections.h"
#include "mirsolve/run/solvers.h"

namespace {

using namespace mirsolve;
using namespace mirsolve::test;

const Deadline no_hurry(60.0);

// minimize x - 2 y_1 - 3 y_2, x >= y_1 + y_2, y_1 + y_2 <= 1, 0 <= x <= 10: -2 at y_2 = x = 1.
Problem small() {
  Problem problem;
  ExpressionGraph& g = problem.graph;
  add_variable(problem, VariableKind::binary, "y_1");
  add_variable(problem, VariableKind::binary, "y_2");
  add_variable(problem, VariableKind::positive, "x");
  problem.variables[2].upper = 10.0;
  add_statement(problem, linear(g, 0.0, {1, 1, -1}), Relation::at_most, 0.0);
  add_statement(problem, linear(g, 0.0, {1, 1}), Relation::at_most, 1.0);
  problem.objective = linear(g, 0.0, {-2, -3, 1});
  return problem;
}

void start_at(Problem& p, const Row& start) {
  for (std::size_t j = 0; j < start.size(); ++j) p.variables[j].start = start[j];
}

struct EndCase {
  const char* name;
  void (*change)(Problem& problem);
  Status status;
  double objective = 0.0;
  double bound = 0.0;
};

class Ends : public testing::TestWithParam<EndCase> {};

TEST_P(Ends, are_as_told) {
  Problem problem = small();
  GetParam().change(problem);
  const std::optional<Answer> answer = solve_linear(problem, no_hurry);
  ASSERT_TRUE(answer);
  ASSERT_EQ(answer->status, GetParam().status);
  const bool has_point = answer->status == Status::proven || answer->status == Status::wanted;
  ASSERT_EQ(answer->points.size(), has_point ? 1U : 0U);
  EXPECT_NEAR(answer->objective, GetParam().objective, 1e-9);
  if (std::isfinite(GetParam().bound)) {
    EXPECT_NEAR(answer->bound, GetParam().bound, 1e-8);
  } else {
    EXPECT_EQ(answer->bound, GetParam().bound);
  }
}

// The relaxation is as good as -2.
INSTANTIATE_TEST_SUITE_P(
    Linear, Ends,
    testing::Values(
        EndCase{"best", [](Problem&) {}, Status::proven, -2, -2},
        EndCase{"cutoff_above", [](Problem& p) { p.options.cutoff = -1.99; }, Status::proven, -2,
                -2},
        EndCase{"cutoff_below", [](Problem& p) { p.options.cutoff = -2.01; }, Status::infeasible, 0,
                -2.01},
        EndCase{"cutoff_like_infinity", [](Problem& p) { p.options.cutoff = 1e30; }, Status::proven,
                -2, -2},
        EndCase{"infeasible",
                [](Problem& p) {
                  add_statement(p, linear(p.graph, 0.0, {1, 1}), Relation::at_least, 2.0);
                },
                Status::infeasible, 0, infinite},
        EndCase{"infeasible_without_the_binary_variables",
                [](Problem& p) { add_statement(p, p.graph.variable(2), Relation::at_least, 11.0); },
                Status::infeasible, 0, infinite},
        EndCase{"statement_without_variables_that_fails",
                [](Problem& p) { add_statement(p, p.graph.number(2.0), Relation::at_most, 1.0); },
                Status::infeasible, 0, infinite},
        EndCase{"statement_without_variables_that_holds",
                [](Problem& p) { add_statement(p, p.graph.number(1.0), Relation::at_most, 1.0); },
                Status::proven, -2, -2},
        EndCase{"unbounded",
                [](Problem& p) {
                  p.variables[2].upper = infinite;
                  p.objective = linear(p.graph, 0.0, {0, 0, -1});
                },
                Status::failed, 0, -infinite},
        EndCase{"largest",
                [](Problem& p) {
                  p.maximize = true;
                  p.objective = linear(p.graph, 0.25, {2, 3, -1});
                },
                Status::proven, 2.25, 2.25},
        EndCase{"largest_with_cutoff",
                [](Problem& p) {
                  p.maximize = true;
                  p.options.cutoff = 2.26;
                  p.objective = linear(p.graph, 0.25, {2, 3, -1});
                },
                Status::infeasible, 0, 2.26},
        EndCase{"largest_above_a_cutoff",
                [](Problem& p) {
                  p.maximize = true;
                  p.options.cutoff = 2.24;
                  p.objective = linear(p.graph, 0.25, {2, 3, -1});
                },
                Status::proven, 2.25, 2.25},
        EndCase{"nothing_to_minimize",
                [](Problem& p) { p.objective = p.graph.sum(std::vector<NodeId>()); },
                Status::proven, 0, 0},
        EndCase{"decided_by_bounds", [](Problem& p) { p.variables[1].upper = 0.0; }, Status::proven,
                -1, -1},
        EndCase{"decided_by_bounds_of_fractions",
                [](Problem& p) {
                  p.variables[0].lower = 0.25;
                  p.variables[1].upper = 0.75;
                },
                Status::proven, -1, -1},
        EndCase{"between_whole_numbers",
                [](Problem& p) {
                  p.variables[0].lower = 0.25;
                  p.variables[0].upper = 0.75;
                },
                Status::infeasible, 0, infinite},
        EndCase{"start_at_the_best",
                [](Problem& p) {
                  start_at(p, {0, 1, 1});
                },
                Status::proven, -2, -2},
        EndCase{"start_elsewhere",
                [](Problem& p) {
                  start_at(p, {1, 0, 7});
                },
                Status::proven, -2, -2},
        EndCase{"start_that_holds_nothing",
                [](Problem& p) {
                  start_at(p, {1, 1, 7});
                },
                Status::proven, -2, -2},
        EndCase{"start_is_the_first_point",
                [](Problem& p) {
                  start_at(p, {1, 0, 7});
                  p.options.first_feasible = true;
                },
                Status::wanted, -1, -infinite},
        // Within the gap of 1.5 the start is good enough.
        EndCase{"start_within_the_gap",
                [](Problem& p) {
                  start_at(p, {1, 0, 7});
                  p.options.absolute_gap = 1.5;
                },
                Status::proven, -1, -2},
        EndCase{"start_within_the_relative_gap",
                [](Problem& p) {
                  start_at(p, {1, 0, 7});
                  p.options.relative_gap = 1.25;
                },
                Status::proven, -1, -2}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(Linear, without_binary_variables_is_a_linear_program) {
  Problem problem;
  add_variable(problem, VariableKind::free, "x");
  add_variable(problem, VariableKind::positive, "z");
  add_statement(problem, linear(problem.graph, 0.0, {1, 2}), Relation::at_least, 3.0);
  add_statement(problem, linear(problem.graph, 0.0, {1, -1}), Relation::equal, 0.0);
  problem.objective = linear(problem.graph, 0.0, {1, 1});
  const Answer answer = solve_linear(problem, no_hurry).value();
  EXPECT_EQ(answer.status, Status::proven);
  EXPECT_NEAR(answer.objective, 2.0, 1e-12);
  EXPECT_NEAR(answer.bound, 2.0, 1e-8);
}

TEST(Linear, is_not_what_has_a_square) {
  Problem problem = small();
  add_statement(problem, square(problem.graph, problem.graph.variable(2)), Relation::at_most, 4.0);
  EXPECT_FALSE(solve_linear(problem, no_hurry));
}

TEST(Linear, refuses_a_row_of_infinite_numbers) {
  Problem problem = small();
  add_variable(problem, VariableKind::free, "z");
  add_statement(problem, linear(problem.graph, 0.0, {0, 0, 1, 1e31}), Relation::at_most, 4.0);
  const Answer answer = solve_linear(problem, no_hurry).value();
  EXPECT_EQ(answer.status, Status::failed);
  ASSERT_EQ(answer.remarks.size(), 1U);
  EXPECT_EQ(answer.remarks.front(), "numbers too large in row_3");
}

// ---- the first point ----------------------------------------------------------------------------

TEST(Linear, gives_the_first_point_that_is_asked_for) {
  const Fit fit{.name = "some", .rows = 30, .columns = 8, .most = 3, .penalty = 1};
  Problem problem = selection(fit, drawn_data(fit, 3));
  const Answer best = solve_linear(problem, no_hurry).value();
  problem.options.first_feasible = true;
  const Answer first = solve_linear(problem, no_hurry).value();
  EXPECT_EQ(first.status, Status::wanted);
  EXPECT_LT(first.nodes, best.nodes);
  EXPECT_GE(first.objective, best.objective);
  EXPECT_LE(first.bound, best.objective);
}

// ---- time ---------------------------------------------------------------------------------------

Problem large() {
  const Fit fit{.name = "large", .rows = 150, .columns = 40, .most = 6, .bound = 1000};
  return selection(fit, drawn_data(fit, 5));
}

TEST(Linear, ends_at_once_when_the_time_is_over) {
  const Answer answer = solve_linear(large(), Deadline(0.0)).value();
  EXPECT_EQ(answer.status, Status::no_point);
  EXPECT_EQ(answer.bound, -infinite);
}

TEST(Linear, ends_in_time_with_what_it_has) {
  for (const double seconds : {0.05, 0.6}) {
    const Deadline deadline(seconds);
    const Problem problem = large();
    const Answer answer = solve_linear(problem, deadline).value();
    EXPECT_LE(deadline.elapsed(), seconds + 1.5);  // of a machine that others use
    ASSERT_TRUE(answer.status == Status::no_point || answer.status == Status::unproven);
    if (answer.status == Status::no_point) continue;
    EXPECT_EQ(answer.objective, evaluate(problem.graph, problem.objective, answer.points[0]));
  }
}

// ---- silence ------------------------------------------------------------------------------------

TEST(Linear, says_and_leaves_nothing) {
  const Fit fit{.name = "some", .rows = 30, .columns = 8, .most = 3, .penalty = 1};
  const std::filesystem::path before = std::filesystem::current_path();
  const std::filesystem::path folder =
      std::filesystem::path(testing::TempDir()) / "mirsolve_linear_silence";
  std::filesystem::create_directories(folder);
  std::filesystem::current_path(folder);
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  const Answer answer = solve_linear(selection(fit, drawn_data(fit, 3)), no_hurry).value();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  std::filesystem::current_path(before);
  EXPECT_EQ(answer.status, Status::proven);
  EXPECT_GT(answer.nodes, 1);
  EXPECT_TRUE(std::filesystem::is_empty(folder));
  std::filesystem::remove_all(folder);
}

}  // namespace
