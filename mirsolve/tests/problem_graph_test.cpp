// The graph of formulas: equal parts are one node, and values are those of the C library.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "mirsolve/problem/expression_graph.h"

namespace {

using namespace mirsolve;

TEST(ExpressionGraph, holds_equal_parts_once) {
  ExpressionGraph graph;
  const NodeId x = graph.variable(0);
  const NodeId two_x = graph.binary(Operation::product, graph.number(2.0), x);
  const NodeId sum = graph.sum(std::array{two_x, x});
  const std::size_t size = graph.size();
  EXPECT_EQ(graph.variable(0), x);
  EXPECT_EQ(graph.binary(Operation::product, graph.number(2.0), graph.variable(0)), two_x);
  EXPECT_EQ(graph.sum(std::array{two_x, x}), sum);
  EXPECT_EQ(graph.size(), size);
  EXPECT_NE(graph.binary(Operation::product, x, graph.number(2.0)), two_x);
  EXPECT_NE(graph.variable(1), x);
  EXPECT_NE(graph.number(0.0), graph.number(-0.0));
  EXPECT_NE(graph.sum(std::array{two_x, x, x}), sum);
  EXPECT_NE(graph.unary(Operation::sin, x), graph.unary(Operation::cos, x));
}

TEST(ExpressionGraph, folds_only_a_sign_and_a_sum_of_one) {
  ExpressionGraph graph;
  const NodeId x = graph.variable(3);
  EXPECT_EQ(graph.sum(std::array{x}), x);
  EXPECT_EQ(graph.unary(Operation::negate, graph.number(2.5)), graph.number(-2.5));
  const NodeId third = graph.binary(Operation::quotient, graph.number(1.0), graph.number(3.0));
  EXPECT_EQ(graph[third].operation, Operation::quotient);
}

// The list of operands moves while a part of it is appended.
TEST(ExpressionGraph, takes_its_own_operands) {
  ExpressionGraph graph;
  std::vector<NodeId> terms{graph.variable(0), graph.variable(1)};
  NodeId last = graph.sum(terms);
  for (int i = 0; i < 40; ++i) {
    const NodeId wrapped = graph.unary(Operation::absolute, last);
    const std::span<const NodeId> operands = graph.operands(graph.sum(terms));
    terms.assign(operands.begin(), operands.end());
    terms.push_back(wrapped);
    last = graph.sum(terms);
    EXPECT_EQ(graph.sum(graph.operands(last)), last);
    EXPECT_EQ(graph.operands(last).size(), terms.size());
    EXPECT_EQ(graph.operands(last).back(), wrapped);
  }
}

TEST(ExpressionGraph, keeps_many_nodes_apart) {
  ExpressionGraph graph;
  std::vector<NodeId> nodes;
  for (int i = 0; i < 20000; ++i) {
    nodes.push_back(
        graph.binary(Operation::product, graph.number(i % 177), graph.variable(i / 177)));
  }
  for (int i = 0; i < 20000; ++i) {
    const std::span<const NodeId> pair = graph.operands(nodes[static_cast<std::size_t>(i)]);
    ASSERT_EQ(graph[pair[0]].value, i % 177);
    ASSERT_EQ(graph[pair[1]].variable, i / 177);
  }
}

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double no_value = std::numeric_limits<double>::quiet_NaN();

struct Value {
  const char* name;
  Operation operation;
  double a, b, expected;
};

class Values : public testing::TestWithParam<Value> {};

TEST_P(Values, are_those_of_the_formula) {
  const Value& row = GetParam();
  ExpressionGraph graph;
  const NodeId a = graph.variable(0);
  const NodeId b = graph.variable(1);
  const bool is_binary = row.operation == Operation::product ||
                         row.operation == Operation::quotient || row.operation == Operation::power;
  const NodeId root = is_binary ? graph.binary(row.operation, a, b) : graph.unary(row.operation, a);
  const double value = evaluate(graph, root, std::array{row.a, row.b});
  std::vector<double> all;
  evaluate(graph, std::array{row.a, row.b}, all);
  ASSERT_EQ(all.size(), graph.size());
  if (std::isnan(row.expected)) {
    EXPECT_TRUE(std::isnan(value)) << value;
    EXPECT_TRUE(std::isnan(all[static_cast<std::size_t>(root)]));
  } else {
    EXPECT_DOUBLE_EQ(value, row.expected);
    EXPECT_EQ(all[static_cast<std::size_t>(root)], value);
  }
}

// Angles and logarithms with known values.
const double pi = std::acos(-1.0);
const double e = std::exp(1.0);

INSTANTIATE_TEST_SUITE_P(
    Rows, Values,
    testing::Values(Value{"negate", Operation::negate, 2.0, 0.0, -2.0},
                    Value{"product", Operation::product, 2.0, -3.0, -6.0},
                    Value{"quotient", Operation::quotient, 3.0, -4.0, -0.75},
                    Value{"by_zero", Operation::quotient, 3.0, 0.0, no_value},
                    Value{"zero_by_zero", Operation::quotient, 0.0, 0.0, no_value},
                    Value{"power", Operation::power, 2.0, 10.0, 1024.0},
                    Value{"negative_base", Operation::power, -2.0, 3.0, -8.0},
                    Value{"negative_exponent", Operation::power, 4.0, -0.5, 0.5},
                    Value{"zero_to_half", Operation::power, 0.0, 0.5, 0.0},
                    Value{"zero_to_zero", Operation::power, 0.0, 0.0, 1.0},
                    Value{"zero_below", Operation::power, 0.0, -1.0, no_value},
                    Value{"fraction_of_negative", Operation::power, -2.0, 0.5, no_value},
                    Value{"absolute", Operation::absolute, -2.5, 0.0, 2.5},
                    Value{"exponential", Operation::exponential, 1.0, 0.0, e},
                    Value{"overflow", Operation::exponential, 1000.0, 0.0, infinity},
                    Value{"log10", Operation::log10, 1000.0, 0.0, 3.0},
                    Value{"log10_of_zero", Operation::log10, 0.0, 0.0, no_value},
                    Value{"log", Operation::log, e, 0.0, 1.0},
                    Value{"log_of_zero", Operation::log, 0.0, 0.0, no_value},
                    Value{"log_of_negative", Operation::log, -1.0, 0.0, no_value},
                    Value{"sqrt", Operation::sqrt, 2.25, 0.0, 1.5},
                    Value{"sqrt_of_negative", Operation::sqrt, -1.0, 0.0, no_value},
                    Value{"sinh", Operation::sinh, 1.0, 0.0, (e - 1.0 / e) / 2.0},
                    Value{"cosh", Operation::cosh, 1.0, 0.0, (e + 1.0 / e) / 2.0},
                    Value{"tanh", Operation::tanh, 1.0, 0.0, (e - 1.0 / e) / (e + 1.0 / e)},
                    Value{"sin", Operation::sin, pi / 6.0, 0.0, 0.5},
                    Value{"cos", Operation::cos, pi / 3.0, 0.0, 0.5},
                    Value{"tan", Operation::tan, pi / 4.0, 0.0, 1.0},
                    Value{"asin", Operation::asin, 1.0, 0.0, pi / 2.0},
                    Value{"asin_outside", Operation::asin, 1.5, 0.0, no_value},
                    Value{"acos", Operation::acos, 0.5, 0.0, pi / 3.0},
                    Value{"acos_outside", Operation::acos, -1.5, 0.0, no_value},
                    Value{"atan", Operation::atan, 1.0, 0.0, pi / 4.0}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(ExpressionGraph, evaluates_sums) {
  ExpressionGraph graph;
  const NodeId x = graph.variable(0);
  const NodeId y = graph.variable(1);
  const NodeId empty = graph.sum({});
  const NodeId sum = graph.sum(std::array{x, y, x, empty, graph.number(0.5)});
  EXPECT_EQ(evaluate(graph, sum, std::array{1.0, 2.0}), 4.5);
  EXPECT_EQ(evaluate(graph, empty, std::array{1.0, 2.0}), 0.0);
}

}  // namespace
