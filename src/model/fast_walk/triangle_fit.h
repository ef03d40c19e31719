#pragma once

#include <span>
#include <vector>

#include "run/subset_triangle.h"

namespace torve::fast_walk {

// A subset fitted on the triangle by Householder's QR.
struct Look {
  double sse;    // in the triangle's units
  double error;  // how far it may be off
  double ratio;  // least ratio of a column's square left by those before it to its square
};

// Work space for the fits of subsets of one size.
class TriangleFit {
 public:
  TriangleFit(const Triangle& triangle, int size);
  // Columns in ascending order, by their number.
  Look at(std::span<const int> columns);

 private:
  const Triangle& triangle_;
  std::vector<double> a_;  // height x (size + 1), columns one after the other, the output last
};

}  // namespace torve::fast_walk
