// What a formula is made of, where it is linear or a sum of squares of linear formulas.
#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "mirsolve/problem/expression_graph.h"

namespace mirsolve {

// constant + sum of factor * variable; each variable once, ascending, no factor 0.
struct LinearForm {
  double constant = 0.0;
  std::vector<std::pair<int, double>> terms;  // variable, factor
};

struct WeightedSquare {
  double weight = 1.0;
  LinearForm form;
};

// sum of weight * form^2, and a linear rest.
struct SquareSum {
  std::vector<WeightedSquare> squares;
  LinearForm rest;
};

// Nothing where the formula is something else. Numbers are folded by plain arithmetic.
std::optional<LinearForm> linear_form(const ExpressionGraph& graph, NodeId root);
std::optional<SquareSum> square_sum(const ExpressionGraph& graph, NodeId root);

}  // namespace mirsolve
