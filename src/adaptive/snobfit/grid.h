#pragma once

#include <algorithm>
#include <cmath>

#include "adaptive/linalg/matrix.h"
#include "adaptive/snobfit/state.h"

namespace torve {

// Where points may lie and how far apart they are.

// To rounding the same.
inline bool same_coordinate(double a, double b) {
  return std::abs(a - b) <= machine_epsilon * std::max(std::abs(a), std::abs(b));
}
bool same_point(const VECTOR& a, const MATRIX& x, int j);

// The multiple of dx in [u, v] next to value, or value forced into [u, v] when there is none.
double on_grid(double value, double u, double v, double dx);
VECTOR on_grid(const VECTOR& point, const VECTOR& u, const VECTOR& v, const VECTOR& dx);

// True when the point differs from each row of x by `apart` or more in some input.
bool stands_apart(const VECTOR& point, const MATRIX& x, const VECTOR& apart);

bool lies_within(const MATRIX& x, int j, const VECTOR& u, const VECTOR& v);

// v - u; and factor * a.
VECTOR difference(const VECTOR& v, const VECTOR& u);
VECTOR scaled(double factor, const VECTOR& a);

// Squared Euclidean distances, after division by scale, of the point from the rows of x.
void squared_distances(const VECTOR& point, const MATRIX& x, const VECTOR& scale,
                       VECTOR& distances);

// The matrix with rows added below, filled with 0.
void add_rows(MATRIX& a, int rows, int columns);

}  // namespace torve
