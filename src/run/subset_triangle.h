// The data of a walk over subsets: all that least squares on any subset needs of the columns and
// the output.
#pragma once

#include <vector>

namespace torve::fast_walk {

// [X z] over the usable rows reduced to a triangle (Householder; LAPACK DGEQRF), columns in reverse
// order, each divided by the power of 2 that brings its length to 1 or more and below 2. Sums of
// squares are thus those of the data but for a power of 2.
struct Triangle {
  int places = 0;               // columns; the last one stands at place 0
  int height = 0;               // rows, at most `places`
  int stride = 0;               // numbers from row to row
  std::vector<double> rows;     // height x stride, as the kernels want it
  std::vector<double> z;        // the output in these rows
  double tail = 0.0;            // square of what no column reaches
  double yy = 0.0;              // square of the output
  std::vector<double> squares;  // of the columns, by place
  int exponent = 0;             // a square of the data is one of these times 2^exponent

  // Subsets whose least ratio of a column's square left to its square is below this are doubtful: a
  // fit might give another answer than exact arithmetic, or fail.
  double least_ratio = 0.0;
  // How far a value of the walk may be from that of the fit, in parts of yy, on other subsets.
  double margin = 0.0;
};

}  // namespace torve::fast_walk
