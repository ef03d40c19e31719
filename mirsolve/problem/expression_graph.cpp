#include "mirsolve/problem/expression_graph.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cassert>
#include <cmath>
#include <limits>

namespace mirsolve {

namespace {

constexpr NodeId no_node = -1;
constexpr double no_value = std::numeric_limits<double>::quiet_NaN();

std::size_t at(NodeId id) {
  return static_cast<std::size_t>(id);
}

// The finalizer of splitmix64: Steele, Lea and Flood, Fast splittable pseudorandom number
// generators, OOPSLA 2014.
std::uint64_t mixed(std::uint64_t hash, std::uint64_t word) {
  std::uint64_t h = hash + word + 0x9e3779b97f4a7c15U;
  h = (h ^ (h >> 30U)) * 0xbf58476d1ce4e5b9U;
  h = (h ^ (h >> 27U)) * 0x94d049bb133111ebU;
  return h ^ (h >> 31U);
}

std::uint64_t hash_of(const Node& node, std::span<const NodeId> operands) {
  std::uint64_t hash = mixed(0, static_cast<std::uint64_t>(node.operation));
  hash = mixed(hash, static_cast<std::uint64_t>(node.variable));
  hash = mixed(hash, std::bit_cast<std::uint64_t>(node.value));
  for (const NodeId id : operands) hash = mixed(hash, static_cast<std::uint64_t>(id));
  return hash;
}

}  // namespace

NodeId ExpressionGraph::number(double value) {
  Node node;
  node.value = value;
  return insert(node, {});
}

NodeId ExpressionGraph::variable(int index) {
  Node node;
  node.operation = Operation::variable;
  node.variable = index;
  return insert(node, {});
}

NodeId ExpressionGraph::sum(std::span<const NodeId> terms) {
  if (terms.size() == 1) return terms.front();
  Node node;
  node.operation = Operation::sum;
  return insert(node, terms);
}

NodeId ExpressionGraph::unary(Operation operation, NodeId a) {
  if (operation == Operation::negate && (*this)[a].operation == Operation::number) {
    return number(-(*this)[a].value);
  }
  Node node;
  node.operation = operation;
  return insert(node, std::array{a});
}

NodeId ExpressionGraph::binary(Operation operation, NodeId a, NodeId b) {
  Node node;
  node.operation = operation;
  return insert(node, std::array{a, b});
}

// Numbers are the same when their bits are: 0 and -0 are two nodes.
bool ExpressionGraph::is_same(NodeId id, const Node& node, std::span<const NodeId> operands) const {
  const Node& known = (*this)[id];
  return known.operation == node.operation && known.variable == node.variable &&
         std::bit_cast<std::uint64_t>(known.value) == std::bit_cast<std::uint64_t>(node.value) &&
         std::ranges::equal(this->operands(id), operands);
}

// A new table with so many slots, a power of two, for the nodes that there are.
void ExpressionGraph::spread(std::size_t slots) {
  slots_.assign(slots, no_node);
  for (std::size_t i = 0; i < nodes_.size(); ++i) {
    const NodeId id = static_cast<NodeId>(i);
    std::size_t slot = hash_of(nodes_[i], operands(id)) & (slots - 1);
    while (slots_[slot] != no_node) slot = (slot + 1) & (slots - 1);
    slots_[slot] = id;
  }
}

// The operands may be a part of the list itself, which mustn't move before they are copied.
void ExpressionGraph::append(std::span<const NodeId> operands) {
  const std::size_t size = operands_.size() + operands.size();
  assert(size <= static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max()));
  if (size <= operands_.capacity()) {
    for (const NodeId id : operands) operands_.push_back(id);
    return;
  }
  std::vector<NodeId> longer;
  longer.reserve(2 * size);
  longer.assign(operands_.begin(), operands_.end());
  longer.insert(longer.end(), operands.begin(), operands.end());
  operands_.swap(longer);
}

NodeId ExpressionGraph::insert(Node node, std::span<const NodeId> operands) {
  constexpr std::size_t least_slots = 64;
  if (2 * (nodes_.size() + 1) > slots_.size()) spread(std::max(2 * slots_.size(), least_slots));
  const std::size_t last = slots_.size() - 1;
  std::size_t slot = hash_of(node, operands) & last;
  for (; slots_[slot] != no_node; slot = (slot + 1) & last) {
    if (is_same(slots_[slot], node, operands)) return slots_[slot];
  }
  node.first = static_cast<std::int32_t>(operands_.size());
  node.count = static_cast<std::int32_t>(operands.size());
  append(operands);
  nodes_.push_back(node);
  slots_[slot] = static_cast<NodeId>(nodes_.size() - 1);
  return slots_[slot];
}

double apply(Operation operation, double a, double b) {
  switch (operation) {
    case Operation::number:
    case Operation::variable:
    case Operation::sum:
      break;
    case Operation::negate:
      return -a;
    case Operation::product:
      return a * b;
    case Operation::quotient:
      return b == 0.0 ? no_value : a / b;
    case Operation::power:
      return a == 0.0 && b < 0.0 ? no_value : std::pow(a, b);
    case Operation::absolute:
      return std::abs(a);
    case Operation::exponential:
      return std::exp(a);
    case Operation::log10:
      return a > 0.0 ? std::log10(a) : no_value;
    case Operation::log:
      return a > 0.0 ? std::log(a) : no_value;
    case Operation::sqrt:
      return std::sqrt(a);
    case Operation::sinh:
      return std::sinh(a);
    case Operation::cosh:
      return std::cosh(a);
    case Operation::tanh:
      return std::tanh(a);
    case Operation::sin:
      return std::sin(a);
    case Operation::cos:
      return std::cos(a);
    case Operation::tan:
      return std::tan(a);
    case Operation::asin:
      return std::asin(a);
    case Operation::acos:
      return std::acos(a);
    case Operation::atan:
      return std::atan(a);
  }
  assert(false && "no operation on operands");
  return no_value;
}

namespace {

// Values of the first `count` nodes.
void evaluate_up_to(const ExpressionGraph& graph, std::size_t count,
                    std::span<const double> variables, std::vector<double>& results) {
  results.resize(count);
  for (std::size_t i = 0; i < count; ++i) {
    const NodeId id = static_cast<NodeId>(i);
    const Node& node = graph[id];
    const std::span<const NodeId> operands = graph.operands(id);
    if (node.operation == Operation::number) {
      results[i] = node.value;
    } else if (node.operation == Operation::variable) {
      results[i] = variables[static_cast<std::size_t>(node.variable)];
    } else if (node.operation == Operation::sum) {
      results[i] = 0.0;
      for (const NodeId term : operands) results[i] += results[at(term)];
    } else {
      const double a = results[at(operands[0])];
      results[i] = apply(node.operation, a, node.count > 1 ? results[at(operands[1])] : 0.0);
    }
  }
}

}  // namespace

void evaluate(const ExpressionGraph& graph, std::span<const double> variables,
              std::vector<double>& results) {
  evaluate_up_to(graph, graph.size(), variables, results);
}

double evaluate(const ExpressionGraph& graph, NodeId root, std::span<const double> variables) {
  std::vector<double> results;
  evaluate_up_to(graph, at(root) + 1, variables, results);
  return results[at(root)];
}

}  // namespace mirsolve
