// All formulas of a problem as one graph without cycles, in which equal parts are one node.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace mirsolve {

enum class Operation : unsigned char {
  number,
  variable,
  sum,  // of any number of operands, none included
  negate,
  product,
  quotient,
  power,
  absolute,
  exponential,
  log10,
  log,
  sqrt,
  sinh,
  cosh,
  tanh,
  sin,
  cos,
  tan,
  asin,
  acos,
  atan
};

using NodeId = std::int32_t;

struct Node {
  Operation operation = Operation::number;
  std::int32_t variable = -1;  // index, of a variable
  std::int32_t first = 0;      // its operands are those from here on in the graph's list
  std::int32_t count = 0;
  double value = 0.0;  // of a number
};

// Operands come before what is made of them, so that a loop over the nodes in their order can
// evaluate everything; nothing here or in its users recurses over the graph. A sum of one operand
// is that operand, and the negative of a number is a number; nothing else is folded.
class ExpressionGraph {
 public:
  NodeId number(double value);
  NodeId variable(int index);
  NodeId sum(std::span<const NodeId> terms);
  NodeId unary(Operation operation, NodeId a);
  NodeId binary(Operation operation, NodeId a, NodeId b);

  const Node& operator[](NodeId id) const { return nodes_[static_cast<std::size_t>(id)]; }
  std::span<const NodeId> operands(NodeId id) const {
    const Node& node = (*this)[id];
    return {operands_.data() + node.first, static_cast<std::size_t>(node.count)};
  }
  std::size_t size() const { return nodes_.size(); }
  std::size_t all_operands() const { return operands_.size(); }  // of all nodes together

 private:
  NodeId insert(Node node, std::span<const NodeId> operands);
  bool is_same(NodeId id, const Node& node, std::span<const NodeId> operands) const;
  void append(std::span<const NodeId> operands);
  void spread(std::size_t slots);

  std::vector<Node> nodes_;
  std::vector<NodeId> operands_;
  std::vector<NodeId> slots_;  // an open hash table of all nodes; empty ones hold no_node
};

// What an operation makes of its operands, but for sums, numbers and variables. Not a number where
// it has no value: a division by 0, a logarithm of 0, a power of 0 below 0.
double apply(Operation operation, double a, double b = 0.0);

// The value of every node for the values of the variables; `results` gets one number a node,
// at the node's own index. Not a number where a formula has no value.
void evaluate(const ExpressionGraph& graph, std::span<const double> variables,
              std::vector<double>& results);
double evaluate(const ExpressionGraph& graph, NodeId root, std::span<const double> variables);

}  // namespace mirsolve
