#include "mirsolve/box/box_problem.h"

#include <algorithm>
#include <cmath>

namespace mirsolve::box {

namespace {

using Term = std::pair<double, NodeId>;

bool is_variable(const ExpressionGraph& graph, NodeId id, int variable) {
  return graph[id].operation == Operation::variable && graph[id].variable == variable;
}

bool is_number(const ExpressionGraph& graph, NodeId id) {
  return graph[id].operation == Operation::number;
}

// left - right as a list of terms, in their order.
std::vector<Term> terms_of(const ExpressionGraph& graph, NodeId left, NodeId right) {
  std::vector<Term> open{{-1.0, right}, {1.0, left}};
  std::vector<Term> terms;
  while (!open.empty()) {
    const auto [factor, id] = open.back();
    open.pop_back();
    const std::span<const NodeId> operands = graph.operands(id);
    if (graph[id].operation == Operation::sum) {
      for (std::size_t i = operands.size(); i-- > 0;) open.emplace_back(factor, operands[i]);
    } else if (graph[id].operation == Operation::negate) {
      open.emplace_back(-factor, operands[0]);
    } else if (!is_number(graph, id) || graph[id].value != 0.0) {
      terms.emplace_back(factor, id);
    }
  }
  return terms;
}

bool uses(const ExpressionGraph& graph, std::span<const Term> terms, int variable) {
  std::vector<char> used(graph.size());
  for (const auto& [factor, id] : terms) used[static_cast<std::size_t>(id)] = 1;
  for (std::size_t i = graph.size(); i-- > 0;) {
    if (!used[i]) continue;
    const NodeId id = static_cast<NodeId>(i);
    if (is_variable(graph, id, variable)) return true;
    for (const NodeId operand : graph.operands(id)) used[static_cast<std::size_t>(operand)] = 1;
  }
  return false;
}

// The factor of the variable in a term factor * node; 0 when the term is something else.
double factor_of(const ExpressionGraph& graph, const Term& term, int variable) {
  const auto& [factor, id] = term;
  if (is_variable(graph, id, variable)) return factor;
  if (graph[id].operation != Operation::product) return 0.0;
  const std::span<const NodeId> operands = graph.operands(id);
  for (const std::size_t i : {0U, 1U}) {
    if (is_number(graph, operands[i]) && is_variable(graph, operands[1 - i], variable)) {
      return factor * graph[operands[i]].value;
    }
  }
  return 0.0;
}

// What the equation makes of the variable, as a sum over other ones. Factors that divide without
// rounding are taken only, which are those of practice.
std::optional<std::vector<Term>> solved_for(const Problem& problem, const Statement& equation,
                                            int variable) {
  std::vector<Term> terms = terms_of(problem.graph, equation.left, equation.right);
  double own = 0.0;
  std::vector<Term> others;
  for (const Term& term : terms) {
    const double factor = factor_of(problem.graph, term, variable);
    own += factor;
    if (factor == 0.0) others.push_back(term);
  }
  int exponent = 0;
  if (std::abs(std::frexp(own, &exponent)) != 0.5) return std::nullopt;
  if (uses(problem.graph, others, variable)) return std::nullopt;
  for (Term& term : others) term.first /= -own;
  return others;
}

bool set_sides(const Problem& problem, BoxProblem& box) {
  for (std::size_t i = 0; i < problem.variables.size(); ++i) {
    const Variable& variable = problem.variables[i];
    if (variable.kind == VariableKind::binary) return false;
    if (static_cast<int>(i) == box.defined) continue;
    if (!std::isfinite(variable.lower) || !std::isfinite(variable.upper)) return false;
    box.inputs.push_back(static_cast<int>(i));
    if (variable.lower > variable.upper) {
      box.is_empty = true;
      box.sides.emplace_back(variable.lower);
    } else {
      box.sides.emplace_back(variable.lower, variable.upper);
    }
  }
  return true;
}

}  // namespace

std::optional<BoxProblem> recognise_box(const Problem& problem) {
  BoxProblem box;
  box.maximize = problem.maximize;
  if (problem.statements.empty()) {
    box.sum = {{1.0, problem.objective}};
  } else {
    const Statement& equation = problem.statements.front();
    const Node& objective = problem.graph[problem.objective];
    if (problem.statements.size() > 1 || equation.relation != Relation::equal ||
        objective.operation != Operation::variable) {
      return std::nullopt;
    }
    box.defined = objective.variable;
    auto formula = solved_for(problem, equation, box.defined);
    if (!formula) return std::nullopt;
    box.sum = std::move(*formula);
    const Variable& variable = problem.variables[static_cast<std::size_t>(box.defined)];
    box.least_wanted = box.maximize ? -variable.upper : variable.lower;
    box.most_wanted = box.maximize ? -variable.lower : variable.upper;
  }
  if (!set_sides(problem, box)) return std::nullopt;
  if (box.maximize) {
    for (auto& [factor, id] : box.sum) factor = -factor;
  }
  const double cutoff = problem.options.cutoff;
  if (std::isfinite(cutoff)) {
    box.most_wanted = std::min(box.most_wanted, box.maximize ? -cutoff : cutoff);
  }
  return box;
}

}  // namespace mirsolve::box
