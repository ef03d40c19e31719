#include "mirsolve/box/formula.h"

#include <array>

namespace mirsolve::box {

namespace {

std::size_t at(int i) {
  return static_cast<std::size_t>(i);
}

// Marks what the nodes of the sum are made of.
std::vector<char> needed_nodes(const ExpressionGraph& graph,
                               std::span<const std::pair<double, NodeId>> sum) {
  std::vector<char> needed(graph.size());
  for (const auto& [factor, node] : sum) needed[at(node)] = 1;
  for (std::size_t i = graph.size(); i-- > 0;) {
    if (!needed[i]) continue;
    for (const NodeId operand : graph.operands(static_cast<NodeId>(i))) needed[at(operand)] = 1;
  }
  return needed;
}

bool is_number(const Step& step) {
  return step.operation == Operation::number;
}

}  // namespace

Formula::Formula(const ExpressionGraph& graph, std::span<const std::pair<double, NodeId>> sum,
                 std::span<const int> variables)
    : inputs_(static_cast<int>(variables.size())) {
  int most = -1;
  for (const int variable : variables) most = std::max(most, variable);
  std::vector<int> input_of(at(most + 1), -1);
  for (std::size_t i = 0; i < variables.size(); ++i)
    input_of[at(variables[i])] = static_cast<int>(i);
  std::vector<int> step_of(graph.size(), -1);
  add_graph(graph, sum, input_of, step_of);
  std::vector<int> terms;
  for (const auto& [factor, node] : sum) {
    int term = step_of[at(node)];
    if (factor == -1.0) {
      term = add({.operation = Operation::negate, .a = term}, depends_[at(term)]);
    } else if (factor != 1.0) {
      const int number = add_number(factor);
      term = add({.operation = Operation::product, .a = number, .b = term}, depends_[at(term)]);
    }
    terms.push_back(term);
  }
  add_sum(terms);
}

void Formula::add_graph(const ExpressionGraph& graph,
                        std::span<const std::pair<double, NodeId>> sum,
                        std::span<const int> input_of, std::vector<int>& step_of) {
  const std::vector<char> needed = needed_nodes(graph, sum);
  std::vector<int> terms;
  for (std::size_t i = 0; i < graph.size(); ++i) {
    if (!needed[i]) continue;
    const NodeId id = static_cast<NodeId>(i);
    const Node& node = graph[id];
    if (node.operation == Operation::number) {
      step_of[i] = add_number(node.value);
    } else if (node.operation == Operation::variable) {
      const int input = input_of[at(node.variable)];
      step_of[i] = add({.operation = Operation::variable, .a = input},
                       std::uint64_t{1} << (static_cast<unsigned>(input) % 64U));
    } else if (node.operation == Operation::sum) {
      terms.clear();
      for (const NodeId operand : graph.operands(id)) terms.push_back(step_of[at(operand)]);
      step_of[i] = add_sum(terms);
    } else {
      const Step step = made_of(node, graph.operands(id), step_of);
      const std::uint64_t depends = depends_[at(step.a)] | (step.b < 0 ? 0 : depends_[at(step.b)]);
      step_of[i] = add(step, depends);
    }
  }
}

int Formula::add(const Step& step, std::uint64_t depends) {
  steps_.push_back(step);
  depends_.push_back(depends);
  return static_cast<int>(steps_.size()) - 1;
}

int Formula::add_number(double value) {
  return add({.operation = Operation::number, .value = value}, 0);
}

int Formula::add_sum(std::span<const int> terms) {
  if (terms.size() == 1) return terms[0];
  Step step{.operation = Operation::sum};
  step.first = static_cast<int>(terms_.size());
  step.count = static_cast<int>(terms.size());
  std::uint64_t depends = 0;
  for (const int term : terms) {
    terms_.push_back(term);
    depends |= depends_[at(term)];
  }
  return add(step, depends);
}

// A power with a whole number as its exponent is an operation on one operand.
Step Formula::made_of(const Node& node, std::span<const NodeId> operands,
                      std::span<const int> step_of) const {
  Step step{.operation = node.operation, .a = step_of[at(operands[0])]};
  if (node.count > 1) step.b = step_of[at(operands[1])];
  if (node.operation != Operation::power) return step;
  const Step& exponent = steps_[at(step.b)];
  constexpr double most = 1 << 20;
  if (!is_number(exponent) || !(magnitude(exponent.value) <= most)) return step;
  const double value = exponent.value.lower();
  if (std::floor(value) != value) return step;
  step.is_whole_power = true;
  step.exponent = static_cast<int>(value);
  step.b = -1;
  return step;
}

}  // namespace mirsolve::box
