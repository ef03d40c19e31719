// How good the models below a node can be at best, from the fit on all its open columns.
#pragma once

#include <span>
#include <vector>

namespace mirsolve::selection {

// What is known of the open columns. Without a set E of them the sum of squares is at least
// squares + the greatest `alone` in E, and at least separable_squares + sum over E of `part`.
struct Outlook {
  double squares = 0.0;  // with all of them
  double separable_squares = 0.0;
  double square_limit = 0.0;  // of the sum; infinite where there is none
  bool counts_squares = true;
  double cost = 0.0;  // of what is decided, and the least of other variables
  int least = 0;      // so many open columns have to come in
  int most = 0;       // no more than so many may
  std::span<const double> costs;
  std::span<const double> part;
  std::span<const double> alone;
};

// Lower bounds of the objective: of all models, and with a column in or out. Infinite where there
// is no such model.
struct Bounds {
  double value = 0.0;
  std::vector<double> with;
  std::vector<double> without;
  std::vector<int> order;  // work space
  std::vector<double> sorted;
  std::vector<double> saved;
};

// For every number of columns the cheapest choice by each of the two raises, one sort each.
// Sources: Furnival and Wilson, Technometrics 16 (1974) 499, for the single column; the separable
// part as in the perspective reformulation, see triangle.h.
void find_bounds(const Outlook& outlook, Bounds& bounds);

}  // namespace mirsolve::selection
