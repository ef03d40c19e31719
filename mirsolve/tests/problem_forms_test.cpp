// Formulas taken apart: what is linear, what is a sum of squares, and that neither takes long.
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <vector>

#include "mirsolve/problem/forms.h"

namespace {

using namespace mirsolve;

// Formulas of two variables, by plain operators.
struct Formula {
  ExpressionGraph* graph;
  NodeId id;
};
Formula operator+(Formula a, Formula b) {
  return {a.graph, a.graph->sum(std::array{a.id, b.id})};
}
Formula operator-(Formula a) {
  return {a.graph, a.graph->unary(Operation::negate, a.id)};
}
Formula operator-(Formula a, Formula b) {
  return a + -b;
}
Formula operator*(Formula a, Formula b) {
  return {a.graph, a.graph->binary(Operation::product, a.id, b.id)};
}
Formula operator/(Formula a, Formula b) {
  return {a.graph, a.graph->binary(Operation::quotient, a.id, b.id)};
}
Formula power(Formula a, Formula b) {
  return {a.graph, a.graph->binary(Operation::power, a.id, b.id)};
}
Formula log(Formula a) {
  return {a.graph, a.graph->unary(Operation::log, a.id)};
}

struct Words {
  ExpressionGraph* graph;
  Formula x{graph, graph->variable(0)};
  Formula y{graph, graph->variable(1)};
  Formula operator()(double value) const { return {graph, graph->number(value)}; }
};

using Terms = std::vector<std::pair<int, double>>;

struct LinearCase {
  const char* name;
  Formula (*formula)(const Words& n);
  double constant;
  Terms terms;
};

class LinearForms : public testing::TestWithParam<LinearCase> {};

TEST_P(LinearForms, have_their_factors) {
  ExpressionGraph graph;
  const Words words{&graph};
  const std::optional<LinearForm> form = linear_form(graph, GetParam().formula(words).id);
  ASSERT_TRUE(form);
  EXPECT_EQ(form->constant, GetParam().constant);
  EXPECT_EQ(form->terms, GetParam().terms);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, LinearForms,
    testing::Values(
        LinearCase{"number", [](const Words& n) { return n(2.5); }, 2.5, {}},
        LinearCase{"variable", [](const Words& n) { return n.y; }, 0.0, {{1, 1.0}}},
        LinearCase{"difference",
                   [](const Words& n) { return n(2.0) - (n(3.0) * n.y + n.x * n(0.5)); },
                   2.0,
                   {{0, -0.5}, {1, -3.0}}},
        LinearCase{"percent",
                   [](const Words& n) { return (n(5.0) - n.x) / n(2.5) * n(100.0); },
                   200.0,
                   {{0, -40.0}}},
        LinearCase{
            "twice", [](const Words& n) { return n.x + n.y + n.x; }, 0.0, {{0, 2.0}, {1, 1.0}}},
        LinearCase{"cancelled", [](const Words& n) { return n.x + n.y - n.x; }, 0.0, {{1, 1.0}}},
        LinearCase{"no_weight", [](const Words& n) { return n(0.0) * n.x + n.y; }, 0.0, {{1, 1.0}}},
        LinearCase{"folded",
                   [](const Words& n) { return log(n(1.0)) + power(n(2.0), n(3.0)) * n.x; },
                   0.0,
                   {{0, 8.0}}},
        LinearCase{"constant_square",
                   [](const Words& n) { return n.x + power(n(3.0), n(2.0)); },
                   9.0,
                   {{0, 1.0}}},
        LinearCase{
            "power_of_one", [](const Words& n) { return power(n.x, n(1.0)); }, 0.0, {{0, 1.0}}},
        LinearCase{"shared",
                   [](const Words& n) {
                     const Formula part = n.x + n(1.0);
                     return part + n(2.0) * part - part / n(4.0);
                   },
                   2.75,
                   {{0, 2.75}}}),
    [](const auto& row) { return std::string(row.param.name); });

struct OtherCase {
  const char* name;
  Formula (*formula)(const Words& n);
};

class OtherForms : public testing::TestWithParam<OtherCase> {};

TEST_P(OtherForms, are_neither) {
  ExpressionGraph graph;
  const NodeId root = GetParam().formula(Words{&graph}).id;
  EXPECT_FALSE(linear_form(graph, root));
  EXPECT_FALSE(square_sum(graph, root));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, OtherForms,
    testing::Values(
        OtherCase{"product", [](const Words& n) { return n.x * n.y; }},
        OtherCase{"by_variable", [](const Words& n) { return n(1.0) / n.x; }},
        OtherCase{"by_zero", [](const Words& n) { return n.x / n(0.0); }},
        OtherCase{"constant_by_zero", [](const Words& n) { return n(1.0) / n(0.0); }},
        OtherCase{"cube", [](const Words& n) { return power(n.x, n(3.0)); }},
        OtherCase{"variable_exponent", [](const Words& n) { return power(n(2.0), n.x); }},
        OtherCase{"logarithm", [](const Words& n) { return n.y + log(n.x); }},
        OtherCase{"without_weight", [](const Words& n) { return n(0.0) * log(n.x); }},
        OtherCase{"square_of_logarithm", [](const Words& n) { return power(log(n.x), n(2.0)); }},
        OtherCase{"overflow", [](const Words& n) { return n(1e300) * n(1e300) * n.x; }}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(SquareSums, weigh_each_square) {
  ExpressionGraph graph;
  const Words n{&graph};
  const Formula first = power(n(2.0) - (n(3.0) * n.x + n.y), n(2.0));
  const Formula second = power(n.x, n(2.0));
  const Formula third = (n.y + n(1.0)) * (n.y + n(1.0));
  const Formula penalty = n(7.0) * (n.x + n.y);
  const Formula sum = first - second + third / n(4.0) + penalty + n(0.5);
  const std::optional<SquareSum> parts = square_sum(graph, sum.id);
  ASSERT_TRUE(parts);
  ASSERT_EQ(parts->squares.size(), 3U);
  EXPECT_EQ(parts->squares[0].weight, 1.0);
  EXPECT_EQ(parts->squares[0].form.constant, 2.0);
  EXPECT_EQ(parts->squares[0].form.terms, (Terms{{0, -3.0}, {1, -1.0}}));
  EXPECT_EQ(parts->squares[1].weight, -1.0);
  EXPECT_EQ(parts->squares[1].form.terms, (Terms{{0, 1.0}}));
  EXPECT_EQ(parts->squares[2].weight, 0.25);
  EXPECT_EQ(parts->squares[2].form.constant, 1.0);
  EXPECT_EQ(parts->rest.constant, 0.5);
  EXPECT_EQ(parts->rest.terms, (Terms{{0, 7.0}, {1, 7.0}}));
}

TEST(SquareSums, take_equal_squares_together) {
  ExpressionGraph graph;
  const Words n{&graph};
  const Formula square = power(n(2.0) - n.x, n(2.0));
  const std::optional<SquareSum> parts = square_sum(graph, (square + square / n(2.0)).id);
  ASSERT_TRUE(parts);
  ASSERT_EQ(parts->squares.size(), 1U);
  EXPECT_EQ(parts->squares[0].weight, 1.5);
}

TEST(SquareSums, of_nothing_are_zero) {
  ExpressionGraph graph;
  const std::optional<SquareSum> parts = square_sum(graph, graph.sum({}));
  ASSERT_TRUE(parts);
  EXPECT_TRUE(parts->squares.empty());
  EXPECT_EQ(parts->rest.constant, 0.0);
  EXPECT_TRUE(parts->rest.terms.empty());
}

// A thousand rows of sixty columns.
TEST(SquareSums, of_a_large_problem_are_found_at_once) {
  constexpr int rows = 1000;
  constexpr int columns = 60;
  const auto start = std::chrono::steady_clock::now();
  ExpressionGraph graph;
  std::vector<NodeId> squares;
  for (int i = 0; i < rows; ++i) {
    std::vector<NodeId> terms;
    for (int j = 0; j < columns; ++j) {
      const NodeId factor = graph.number(i * 0.25 + j * 1.5e-3 + 1.0);
      terms.push_back(graph.binary(Operation::product, factor, graph.variable(j)));
    }
    const NodeId fit = graph.unary(Operation::negate, graph.sum(terms));
    const NodeId residual = graph.sum(std::array{graph.number(i), fit});
    squares.push_back(graph.binary(Operation::power, residual, graph.number(2.0)));
  }
  const std::optional<SquareSum> parts = square_sum(graph, graph.sum(squares));
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
  ASSERT_TRUE(parts);
  ASSERT_EQ(parts->squares.size(), 1000U);
  EXPECT_EQ(parts->squares[999].form.constant, 999.0);
  EXPECT_EQ(parts->squares[999].form.terms[59], (std::pair{59, -(999 * 0.25 + 59 * 1.5e-3 + 1.0)}));
  RecordProperty("seconds", std::to_string(time.count()));
  EXPECT_LT(time.count(), 5.0);  // of a busy machine; a quadratic loop takes minutes
}

// Deeper than any stack of calls.
TEST(LinearForms, of_deep_formulas_are_found) {
  ExpressionGraph graph;
  NodeId deep = graph.variable(0);
  for (int i = 0; i < 300000; ++i) deep = graph.sum(std::array{deep, graph.number(1.0)});
  const std::optional<LinearForm> form = linear_form(graph, deep);
  ASSERT_TRUE(form);
  EXPECT_EQ(form->constant, 300000.0);
  EXPECT_EQ(evaluate(graph, deep, std::array{0.5}), 300000.5);
}

}  // namespace
