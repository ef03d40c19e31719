// The best model by trying every position of the switches and groups, each fitted in long double.
#pragma once

#include <optional>
#include <vector>

#include "mirsolve/tests/selection_problems.h"

namespace mirsolve::test {

struct BruteForce {
  double objective = 0.0;
  std::vector<int> columns;    // of the best model
  std::optional<double> next;  // objective of the second best set of columns
};

// Nothing where there is no model below the cut-off. Limits of coefficients are tried by making
// every set of them active: for few columns and few limits only.
std::optional<BruteForce> solve_by_brute_force(const SelectionCase& problem);

// Least sum of weighted squares on the columns, without limits.
double squares_by_brute_force(const SelectionCase& problem, const std::vector<int>& columns);

// What the point breaks: "" or the name of a statement or variable. Statements are evaluated from
// the problem's formulas.
std::string broken_by(const Problem& problem, const std::vector<double>& point);

}  // namespace mirsolve::test
