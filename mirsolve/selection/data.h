// The squares of a model as rows of a least-squares problem, and their triangle.
#pragma once

#include <optional>
#include <vector>

#include "mirsolve/problem/deadline.h"
#include "mirsolve/selection/model.h"
#include "mirsolve/selection/triangle.h"

namespace mirsolve::selection {

// Weights are folded into the rows; columns and right-hand side are brought to a length in [0.5, 1)
// by powers of 2, which changes no digit.
struct Data {
  int rows = 0;
  int columns = 0;
  std::vector<double> a;  // rows x columns, column by column
  std::vector<double> b;
  std::vector<double> scales;  // a coefficient is this times its scaled value
  double unit = 1.0;           // of the sum of squares
  Triangle triangle;           // of all columns
};

// Numbers that a matrix may have; more is refused.
inline constexpr double most_numbers = 4e7;

// Without the triangle. Nothing where the matrix is too large or its numbers overflow.
std::optional<Data> gather(const Model& model);

// Reduces the rows to the triangle by Householder's QR, some hundred at a time. False when the
// time was over before.
bool reduce(Data& data, const Deadline& deadline);

}  // namespace mirsolve::selection
