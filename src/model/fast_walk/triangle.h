#pragma once

#include "model/least_squares.h"
#include "run/subset_triangle.h"

namespace torve::fast_walk {

inline constexpr int largest_exponent = 400;  // of a length; its square is far from the ends

// What a fit on columns of such lengths can be relied on for.
class Reliance {
 public:
  Reliance(int rows, double z_length);
  // A column by its length and its product with the output.
  void add(double length, double product);

  // See Triangle.
  double least_ratio() const { return least_ratio_; }
  double margin() const;
  // False where so many subsets would be doubtful that nothing is gained.
  bool is_of_use() const;

 private:
  double rounding_;
  double z_length_;
  double least_ratio_;
};

// Reduces the columns that the problem lists. False where the walk can't rely on the values: no
// number but zeros or infinities, sizes near the ends of the range, columns so nearly orthogonal to
// an output of such size that the check of a fit might reject any answer.
bool reduce(const Regression& problem, Triangle& triangle);

}  // namespace torve::fast_walk
