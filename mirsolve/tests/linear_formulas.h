// Linear formulas and their squares, built straight into a problem.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "mirsolve/problem/problem.h"

namespace mirsolve::test {

using Row = std::vector<double>;

// A variable that no place of the file touches.
inline int add_variable(Problem& problem, VariableKind kind, std::string name) {
  Variable variable;
  variable.name = std::move(name);
  variable.kind = kind;
  if (kind != VariableKind::free) variable.lower = 0.0;
  if (kind == VariableKind::binary) variable.upper = 1.0;
  problem.variables.push_back(std::move(variable));
  return static_cast<int>(problem.variables.size()) - 1;
}

// constant + factors[j] * variable first + j; a factor of 0 leaves its term out.
inline NodeId linear(ExpressionGraph& graph, double constant, const Row& factors, int first = 0) {
  std::vector<NodeId> terms{graph.number(constant)};
  for (std::size_t j = 0; j < factors.size(); ++j) {
    if (factors[j] == 0.0) continue;
    terms.push_back(graph.binary(Operation::product, graph.number(factors[j]),
                                 graph.variable(first + static_cast<int>(j))));
  }
  return graph.sum(terms);
}

inline NodeId square(ExpressionGraph& graph, NodeId base) {
  return graph.binary(Operation::power, base, graph.number(2.0));
}

// left <relation> number
inline void add_statement(Problem& problem, NodeId left, Relation relation, double right) {
  const std::string name = "row_" + std::to_string(problem.statements.size() + 1);
  problem.statements.push_back({name, left, relation, problem.graph.number(right)});
}

// Free variables and the sum of weights[i] * (z[i] - x[i] * beta)^2; without weights all are 1.
inline Problem least_squares_problem(const std::vector<Row>& x, const Row& z,
                                     const Row& weights = {}) {
  Problem problem;
  const std::size_t columns = x.empty() ? 0 : x.front().size();
  for (std::size_t j = 0; j < columns; ++j)
    add_variable(problem, VariableKind::free, "beta_" + std::to_string(j + 1));
  std::vector<NodeId> terms;
  for (std::size_t i = 0; i < x.size(); ++i) {
    const NodeId fit = linear(problem.graph, 0.0, x[i]);
    const NodeId z_i = problem.graph.number(z[i]);
    const NodeId rest =
        problem.graph.sum(std::array{z_i, problem.graph.unary(Operation::negate, fit)});
    NodeId term = square(problem.graph, rest);
    if (!weights.empty())
      term = problem.graph.binary(Operation::product, problem.graph.number(weights[i]), term);
    terms.push_back(term);
  }
  problem.objective = problem.graph.sum(terms);
  return problem;
}

}  // namespace mirsolve::test
