// Formulas for tests, written as they are read.
#pragma once

#include <array>
#include <functional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "mirsolve/problem/problem.h"

namespace mirsolve::test {

struct Term {
  ExpressionGraph* graph = nullptr;
  NodeId id = 0;
};

inline Term number(const Term& a, double value) {
  return {a.graph, a.graph->number(value)};
}
inline Term applied(Operation operation, const Term& a, const Term& b) {
  return {a.graph, a.graph->binary(operation, a.id, b.id)};
}
inline Term applied(Operation operation, const Term& a) {
  return {a.graph, a.graph->unary(operation, a.id)};
}

inline Term operator+(const Term& a, const Term& b) {
  return {a.graph, a.graph->sum(std::array{a.id, b.id})};
}
inline Term operator-(const Term& a) {
  return applied(Operation::negate, a);
}
inline Term operator-(const Term& a, const Term& b) {
  return a + -b;
}
inline Term operator*(const Term& a, const Term& b) {
  return applied(Operation::product, a, b);
}
inline Term operator/(const Term& a, const Term& b) {
  return applied(Operation::quotient, a, b);
}
inline Term operator+(const Term& a, double b) {
  return a + number(a, b);
}
inline Term operator+(double a, const Term& b) {
  return number(b, a) + b;
}
inline Term operator-(const Term& a, double b) {
  return a + number(a, -b);
}
inline Term operator-(double a, const Term& b) {
  return number(b, a) - b;
}
inline Term operator*(double a, const Term& b) {
  return number(b, a) * b;
}
inline Term operator/(double a, const Term& b) {
  return number(b, a) / b;
}
inline Term operator/(const Term& a, double b) {
  return a / number(a, b);
}
inline Term pow(const Term& a, double exponent) {
  return applied(Operation::power, a, number(a, exponent));
}
inline Term pow(const Term& a, const Term& exponent) {
  return applied(Operation::power, a, exponent);
}
inline Term abs(const Term& a) {
  return applied(Operation::absolute, a);
}
inline Term exp(const Term& a) {
  return applied(Operation::exponential, a);
}
inline Term log(const Term& a) {
  return applied(Operation::log, a);
}
inline Term log10(const Term& a) {
  return applied(Operation::log10, a);
}
inline Term sqrt(const Term& a) {
  return applied(Operation::sqrt, a);
}
inline Term sin(const Term& a) {
  return applied(Operation::sin, a);
}
inline Term cos(const Term& a) {
  return applied(Operation::cos, a);
}
inline Term tan(const Term& a) {
  return applied(Operation::tan, a);
}
inline Term sinh(const Term& a) {
  return applied(Operation::sinh, a);
}
inline Term cosh(const Term& a) {
  return applied(Operation::cosh, a);
}
inline Term tanh(const Term& a) {
  return applied(Operation::tanh, a);
}
inline Term asin(const Term& a) {
  return applied(Operation::asin, a);
}
inline Term acos(const Term& a) {
  return applied(Operation::acos, a);
}
inline Term atan(const Term& a) {
  return applied(Operation::atan, a);
}

using Sides = std::vector<std::pair<double, double>>;
using Writer = std::function<Term(std::span<const Term>)>;

// trv_z, which the equation - trv_z + formula == 0 defines, and a variable x1, x2, ... of each
// side; trv_z is minimised, and the gap is 0.05 of it.
inline Problem box_problem(const Sides& sides, const Writer& formula) {
  Problem problem;
  problem.title = "conreg";
  problem.options.relative_gap = 0.05;
  problem.variables.emplace_back().name = "trv_z";
  std::vector<Term> inputs;
  for (std::size_t i = 0; i < sides.size(); ++i) {
    Variable& variable = problem.variables.emplace_back();
    variable.name = "x" + std::to_string(i + 1);
    variable.lower = sides[i].first;
    variable.upper = sides[i].second;
    inputs.push_back({&problem.graph, problem.graph.variable(static_cast<int>(i) + 1)});
  }
  const Term z{&problem.graph, problem.graph.variable(0)};
  const Term zero{&problem.graph, problem.graph.number(0.0)};
  const Term equation = -z + formula(inputs);
  problem.statements.push_back({"trv_defz", equation.id, Relation::equal, zero.id});
  problem.objective = z.id;
  return problem;
}

}  // namespace mirsolve::test
