// Selections of columns by sums of errors and by the largest error, as linear problems.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "linear_formulas.h"

namespace mirsolve::test {

struct Fit {
  const char* name;
  bool largest_error = false;  // else the sum of all
  int rows = 5;
  int columns = 3;
  int most = 3;  // columns in the model
  bool just_as_many = false;
  double penalty = 0.0;        // a column
  double bound = 50.0;         // of coefficients, and factor of their switches
  bool switches_sums = false;  // a chosen column's errors are held together by a switched sum
  bool column_twice = false;
  std::uint64_t seeds = 4;  // fewer where there are many corners
  void (*change)(Problem& problem) = [](Problem&) {};
};

struct Data {
  std::vector<Row> x;
  Row z;
};

// Data of few bits; the first column is 1.
Data drawn_data(const Fit& fit, std::uint64_t seed);

// Binary variables, errors, coefficients; rows of the count, of switches, of errors.
Problem selection(const Fit& fit, const Data& data);

// A node of plain arithmetic on the problem's graph.
inline NodeId minus(ExpressionGraph& g, NodeId a, NodeId b) {
  return g.sum(std::array{a, g.unary(Operation::negate, b)});
}
inline NodeId times(ExpressionGraph& g, double factor, NodeId a) {
  return g.binary(Operation::product, g.number(factor), a);
}

inline Row ones(int n) {
  return Row(static_cast<std::size_t>(n), 1.0);
}

}  // namespace mirsolve::test
