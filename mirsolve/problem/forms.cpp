#include "mirsolve/problem/forms.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <queue>

namespace mirsolve {

namespace {

// The nodes that a formula is made of, each once, users ahead of what they use. A heap that gives
// the latest node first visits each once and needs no mark at the nodes of other formulas.
std::vector<NodeId> nodes_below(const ExpressionGraph& graph, NodeId root) {
  std::vector<NodeId> nodes;
  std::priority_queue<NodeId> open;
  open.push(root);
  while (!open.empty()) {
    const NodeId id = open.top();
    open.pop();
    if (!nodes.empty() && nodes.back() == id) continue;
    nodes.push_back(id);
    for (const NodeId operand : graph.operands(id)) open.push(operand);
  }
  return nodes;
}

// A formula taken apart from its root downwards: each node gets the factor with which it counts,
// the sum over all its users, and hands it on to its operands.
class Expansion {
 public:
  Expansion(const ExpressionGraph& graph, NodeId root)
      : graph_(graph), nodes_(nodes_below(graph, root)), parts_(nodes_.size()) {
    for (std::size_t i = nodes_.size(); i-- > 0;) fold(i);
  }

  // False when a part is neither linear nor taken by `take_other(node, factor)`.
  template <class Take>
  bool expand(LinearForm& form, const Take& take_other);

  // The number that is squared there, or nothing.
  std::optional<NodeId> squared(NodeId id) const;

 private:
  struct Part {
    double factor = 0.0;
    bool is_reached = false;
    bool is_constant = false;
    double value = 0.0;  // of a constant
  };

  std::size_t place(NodeId id) const {
    const auto found = std::ranges::lower_bound(nodes_, id, std::greater<>());
    return static_cast<std::size_t>(found - nodes_.begin());
  }
  const Part& part(NodeId id) const { return parts_[place(id)]; }
  void fold(std::size_t i);
  void hand_on(NodeId id, double factor);
  bool hand_down(NodeId id, double factor);

  const ExpressionGraph& graph_;
  std::vector<NodeId> nodes_;  // descending
  std::vector<Part> parts_;
};

// What is made of numbers alone is a number.
void Expansion::fold(std::size_t i) {
  Part& folded = parts_[i];
  const Node& node = graph_[nodes_[i]];
  const std::span<const NodeId> operands = graph_.operands(nodes_[i]);
  if (node.operation == Operation::variable) return;
  folded.is_constant =
      std::ranges::all_of(operands, [&](NodeId id) { return part(id).is_constant; });
  if (!folded.is_constant) return;
  folded.value = node.value;
  if (node.operation == Operation::sum) {
    for (const NodeId id : operands) folded.value += part(id).value;
  } else if (node.operation != Operation::number) {
    const double second = operands.size() > 1 ? part(operands[1]).value : 0.0;
    folded.value = apply(node.operation, part(operands[0]).value, second);
  }
}

void Expansion::hand_on(NodeId id, double factor) {
  Part& next = parts_[place(id)];
  next.factor += factor;
  next.is_reached = true;
}

// False when the node isn't linear in its operands.
bool Expansion::hand_down(NodeId id, double factor) {
  const std::span<const NodeId> operands = graph_.operands(id);
  const Operation operation = graph_[id].operation;
  if (operation == Operation::sum) {
    for (const NodeId term : operands) hand_on(term, factor);
    return true;
  }
  if (operation == Operation::negate) {
    hand_on(operands[0], -factor);
    return true;
  }
  if (operands.size() != 2) return false;
  const Part& first = part(operands[0]);
  const Part& second = part(operands[1]);
  if (operation == Operation::product && first.is_constant) {
    hand_on(operands[1], factor * first.value);
  } else if (operation == Operation::product && second.is_constant) {
    hand_on(operands[0], factor * second.value);
  } else if (operation == Operation::quotient && second.is_constant && second.value != 0.0) {
    hand_on(operands[0], factor / second.value);
  } else if (operation == Operation::power && second.is_constant && second.value == 1.0) {
    hand_on(operands[0], factor);
  } else {
    return false;
  }
  return true;
}

template <class Take>
bool Expansion::expand(LinearForm& form, const Take& take_other) {
  if (!nodes_.empty()) hand_on(nodes_.front(), 1.0);
  for (std::size_t i = 0; i < nodes_.size(); ++i) {
    const Part& reached = parts_[i];
    if (!reached.is_reached) continue;
    const Node& node = graph_[nodes_[i]];
    if (!std::isfinite(reached.factor)) return false;
    if (reached.is_constant) {
      form.constant += reached.factor * reached.value;
    } else if (node.operation == Operation::variable) {
      if (reached.factor != 0.0) form.terms.emplace_back(node.variable, reached.factor);
    } else if (!hand_down(nodes_[i], reached.factor) && !take_other(nodes_[i], reached.factor)) {
      return false;
    }
  }
  std::ranges::sort(form.terms);
  return std::isfinite(form.constant);
}

std::optional<NodeId> Expansion::squared(NodeId id) const {
  const std::span<const NodeId> operands = graph_.operands(id);
  const Operation operation = graph_[id].operation;
  if (operation == Operation::product && operands[0] == operands[1]) return operands[0];
  if (operation != Operation::power || !part(operands[1]).is_constant) return std::nullopt;
  return part(operands[1]).value == 2.0 ? std::optional(operands[0]) : std::nullopt;
}

}  // namespace

std::optional<LinearForm> linear_form(const ExpressionGraph& graph, NodeId root) {
  LinearForm form;
  Expansion expansion(graph, root);
  if (!expansion.expand(form, [](NodeId, double) { return false; })) return std::nullopt;
  return form;
}

// The forms inside the squares have no node in common with each other but numbers, variables and
// products of the two, unless the text holds them several times; so the time of all of them is that
// of the text.
std::optional<SquareSum> square_sum(const ExpressionGraph& graph, NodeId root) {
  SquareSum sum;
  Expansion expansion(graph, root);
  const auto take_square = [&](NodeId id, double weight) {
    const std::optional<NodeId> base = expansion.squared(id);
    std::optional<LinearForm> form = base ? linear_form(graph, *base) : std::nullopt;
    if (!form) return false;
    if (weight != 0.0) sum.squares.push_back({weight, std::move(*form)});
    return true;
  };
  if (!expansion.expand(sum.rest, take_square)) return std::nullopt;
  std::ranges::reverse(sum.squares);  // as the file has them
  return sum;
}

}  // namespace mirsolve
