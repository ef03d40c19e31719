// A problem of selection, taken out of the formulas of its file:
//
//   minimise  counts_squares * sum of weight * form(x)^2  +  cost' y  +  constant
//
// over coefficients x and switches y, where an x whose switch is off is 0.
#pragma once

#include <optional>
#include <vector>

#include "mirsolve/problem/forms.h"
#include "mirsolve/problem/problem.h"

namespace mirsolve::selection {

inline constexpr int no_switch = -1;

// A coefficient. Without a switch it is in every model.
struct Column {
  int variable = 0;  // of the problem
  int choice = no_switch;
  double lower = -infinite;  // where it is switched on
  double upper = infinite;
};

// A binary variable; those that switch nothing are groups.
struct Choice {
  int variable = 0;
  int column = -1;  // that it switches
  double cost = 0.0;
  bool may_be_off = true;
  bool may_be_on = true;
};

// sum of factor * variable <= limit. The numbers are those of choices or of columns.
struct Row {
  std::vector<std::pair<int, double>> terms;
  double limit = 0.0;
};

struct Model {
  std::vector<Column> columns;
  std::vector<Choice> choices;
  std::vector<Row> logic;               // over choices
  std::vector<Row> coefficients;        // over columns; equations are two rows
  std::vector<WeightedSquare> squares;  // forms over columns
  bool counts_squares = false;          // in the objective
  std::optional<double> square_limit;   // the sum of squares is at most this
  double constant = 0.0;
  double sign = 1.0;  // -1: the problem maximises, and costs, constant and squares are turned
  bool contradicts = false;  // a statement without variables doesn't hold, or bounds cross
};

// Nothing where the problem is something else.
std::optional<Model> recognise(const Problem& problem);

}  // namespace mirsolve::selection
