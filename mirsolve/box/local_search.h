// A local minimum of a formula in a box.
#pragma once

#include <span>
#include <vector>

#include "mirsolve/box/formula.h"
#include "mirsolve/problem/deadline.h"

namespace mirsolve::box {

// Newton's method projected onto the box:
//   D. P. Bertsekas: Projected Newton methods for optimization problems with simple constraints.
//   SIAM Journal on Control and Optimization 20 (1982) 221-246.
// Inputs at a bound that the gradient pushes outward stay there; among the others the Newton step,
// of a matrix shifted until it is positive definite, is taken along the projected arc with Armijo's
// rule. Inputs count in widths of the box.
class LocalSearch {
 public:
  explicit LocalSearch(const Formula& formula);

  // Moves x, which is in the box, downhill; stops at the deadline. The value reached; not a number
  // when x has no value.
  double descend(std::span<const Interval> sides, std::span<double> x, const Deadline& deadline);
  double value(std::span<const double> x);

 private:
  bool find_step(std::span<const Interval> sides, std::span<const double> x);
  double move(std::span<const Interval> sides, std::span<double> x, double from);

  const Formula& formula_;
  Sweep<double> sweep_;
  std::vector<double> gradient_;
  std::vector<double> hessian_;
  std::vector<double> matrix_;  // of the free inputs
  std::vector<double> step_;    // of the free inputs, in widths
  std::vector<double> trial_;
  std::vector<int> free_;
  std::vector<char> wanted_;
};

}  // namespace mirsolve::box
