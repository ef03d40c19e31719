// Small linear and convex quadratic programs, solved in long double by methods that are plain
// rather than fast.
#pragma once

#include <optional>
#include <vector>

namespace torve::test {

using Real = long double;
using RealVector = std::vector<Real>;

// a'x <= b, or a'x = b.
struct Row {
  RealVector a;
  Real b = 0;
  bool equality = false;
};

struct ProgramAnswer {
  RealVector x;
  Real objective = 0;
};

// Minimises c'x; x is free. Nothing when no x holds all rows or c'x has no least value.
std::optional<ProgramAnswer> solve_linear(const RealVector& c, const std::vector<Row>& rows);

// Minimises x'Hx/2 + c'x, H symmetric and positive semidefinite with a least value. Nothing when no
// x holds all rows.
std::optional<ProgramAnswer> solve_quadratic(const std::vector<RealVector>& h, const RealVector& c,
                                             const std::vector<Row>& rows);

}  // namespace torve::test
