// A better separable bound than that of the least-squares fit.
//
// With factors f as in separable_part, Q = R'R - diag(f) is not indefinite, and for any x and the
// gradient g = 2 (Q x - R'z) of the convex part there,
//
//   |R v - z|^2 >= z'z - x'Q x - sum over the columns that are in of g^2 / (4 f)
//
// for every v that is 0 in the columns out. Where x is the fit on all columns this is the bound
// that separable_part states; the best x is where
//
//   v'Q v - 2 v'R'z + sum of envelope(f v^2 + cost [v != 0])
//
// is least. Sources: Frangioni and Gentile, Math. Program. 106 (2006) 225; the envelope as in Dong,
// Chen and Linderoth, Regularization vs. relaxation, arXiv:1510.06083.
#pragma once

#include <span>
#include <vector>

#include "mirsolve/selection/triangle.h"

namespace mirsolve::selection {

class Perspective {
 public:
  // Moves x, which begins as the fit on all columns, by some rounds of descent along single
  // coordinates. Costs are those of a column in units of the triangle.
  void improve(const Triangle& triangle, std::span<const double> factors,
               std::span<const double> costs, std::span<const double> x);

  // Sum of squares with all columns out but for `part`: the models of a set E of columns out have
  // squares() + sum over E of part at least, what rounding may have added being taken off.
  double squares() const { return squares_; }
  std::span<const double> part() const { return part_; }

 private:
  void multiply(const Triangle& triangle, std::span<const double> factors);
  void descend(std::span<const double> factors, std::span<const double> costs);
  void bound(const Triangle& triangle, std::span<const double> factors);

  int size_ = 0;
  std::vector<double> q_;         // size x size
  std::vector<double> products_;  // R'z
  std::vector<double> slope_;     // R'z - Q x
  std::vector<double> x_;
  std::vector<double> part_;
  double squares_ = 0.0;
};

}  // namespace mirsolve::selection
