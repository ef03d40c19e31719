#include "adaptive/snobfit/grid.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace torve {

bool same_point(const VECTOR& a, const MATRIX& x, int j) {
  for (int i = 0; i < a.size(); ++i) {
    if (!same_coordinate(a(i), x(j, i))) return false;
  }
  return true;
}

double on_grid(double value, double u, double v, double dx) {
  const double forced = std::clamp(value, u, v);
  double multiple = dx * std::round(forced / dx);
  if (multiple < u) multiple = dx * std::ceil(u / dx);
  if (multiple > v) multiple = dx * std::floor(v / dx);
  // A comparison that NaN fails too: the quotient overflows when dx is tiny.
  return multiple >= u && multiple <= v ? multiple : forced;
}

VECTOR on_grid(const VECTOR& point, const VECTOR& u, const VECTOR& v, const VECTOR& dx) {
  VECTOR rounded(point.size());
  for (int i = 0; i < point.size(); ++i) rounded(i) = on_grid(point(i), u(i), v(i), dx(i));
  return rounded;
}

bool stands_apart(const VECTOR& point, const MATRIX& x, const VECTOR& apart) {
  for (int j = 0; j < x.rows(); ++j) {
    bool differs = false;
    for (int i = 0; i < point.size() && !differs; ++i) {
      differs = std::abs(point(i) - x(j, i)) >= apart(i);
    }
    if (!differs) return false;
  }
  return true;
}

bool lies_within(const MATRIX& x, int j, const VECTOR& u, const VECTOR& v) {
  for (int i = 0; i < x.columns(); ++i) {
    if (x(j, i) < u(i) || x(j, i) > v(i)) return false;
  }
  return true;
}

VECTOR difference(const VECTOR& v, const VECTOR& u) {
  VECTOR d(v.size());
  for (int i = 0; i < v.size(); ++i) d(i) = v(i) - u(i);
  return d;
}

VECTOR scaled(double factor, const VECTOR& a) {
  VECTOR b(a.size());
  for (int i = 0; i < a.size(); ++i) b(i) = factor * a(i);
  return b;
}

void squared_distances(const VECTOR& point, const MATRIX& x, const VECTOR& scale,
                       VECTOR& distances) {
  if (distances.size() != x.rows()) distances = VECTOR(x.rows());
  std::fill_n(distances.data(), distances.size(), 0.0);
  for (int i = 0; i < x.columns(); ++i) {
    const double* column = x.view().column_data(i);
    const double factor = 1.0 / scale(i);
    for (int k = 0; k < x.rows(); ++k) {
      const double s = (column[k] - point(i)) * factor;
      distances.data()[k] += s * s;
    }
  }
}

void add_rows(MATRIX& a, int rows, int columns) {
  MATRIX larger(a.rows() + rows, columns);
  for (int j = 0; j < a.columns(); ++j) {
    for (int i = 0; i < a.rows(); ++i) larger(i, j) = a(i, j);
  }
  a = std::move(larger);
}

}  // namespace torve
