#include "mirsolve/selection/triangle.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace mirsolve::selection {

namespace {

constexpr double epsilon = std::numeric_limits<double>::epsilon();

std::size_t at(int i) {
  return static_cast<std::size_t>(i);
}

struct Rotation {
  double c = 1.0;
  double s = 0.0;
};

// Takes (a, b) to (length, 0).
Rotation rotation(double a, double b) {
  if (b == 0.0) return {};
  const double length = std::hypot(a, b);
  return {a / length, b / length};
}

// Least length of a column at which it still counts as one of its own.
double least_pivot(int size) {
  return 8.0 * epsilon * (size + 1);
}

}  // namespace

void drop_column(const Triangle& from, int j, Triangle& to) {
  const int n = from.size;
  to.resize(n - 1);
  to.tail = from.tail;
  for (int i = 0; i < j; ++i) {
    const double* source = from.row(i);
    double* target = to.row(i);
    std::copy(source + i, source + j, target + i);
    std::copy(source + j + 1, source + n + 1, target + j);
  }
  // The row that lost its pivot is carried down; target columns are one less than source columns.
  std::vector<double> carried(from.row(j), from.row(j) + n + 1);
  for (int i = j + 1; i < n; ++i) {
    const double* source = from.row(i);
    double* target = to.row(i - 1);
    double* carry = carried.data();
    const Rotation turn = rotation(carry[i], source[i]);
    for (int k = i; k <= n; ++k) {
      const double a = carry[k];
      const double b = source[k];
      target[k - 1] = turn.c * a + turn.s * b;
      carry[k] = turn.c * b - turn.s * a;
    }
  }
  to.tail += carried.back() * carried.back();
}

void take_column(const Triangle& from, int j, Triangle& to) {
  const int n = from.size;
  double square = 0.0;
  for (int i = 0; i <= j; ++i) square += from.at(i, j) * from.at(i, j);
  if (std::sqrt(square) <= least_pivot(n)) {
    drop_column(from, j, to);
    return;
  }
  to.resize(n - 1);
  to.tail = from.tail;
  // From the column's last number upwards: each rotation clears one and leaves the lower row of the
  // result; the row that is carried up becomes the model's.
  std::vector<double> carried(from.row(j), from.row(j) + n + 1);
  std::fill(carried.begin(), carried.begin() + j, 0.0);
  for (int i = j - 1; i >= 0; --i) {
    const double* source = from.row(i);
    double* target = to.row(i);
    const Rotation turn = rotation(source[j], carried[at(j)]);
    const auto mix = [&](int k, int place) {
      const double a = source[k];
      const double b = carried[at(k)];
      carried[at(k)] = turn.c * a + turn.s * b;
      target[place] = turn.c * b - turn.s * a;
    };
    for (int k = i; k < j; ++k) mix(k, k);
    mix(j, j);  // 0, overwritten by the next
    for (int k = j + 1; k <= n; ++k) mix(k, k - 1);
  }
  for (int i = j + 1; i < n; ++i) {
    std::copy(from.row(i) + i, from.row(i) + n + 1, to.row(i - 1) + i - 1);
  }
}

void fit_all(const Triangle& triangle, Fit& fit) {
  const int n = triangle.size;
  const std::size_t stride = at(n);
  fit.x.assign(stride, 0.0);
  fit.variances.assign(stride, 0.0);
  fit.inverse.assign(stride * stride, 0.0);
  // A pivot below rounding stands for one of that size, of a matrix as near.
  std::vector<double> scales(stride);
  for (int i = 0; i < n; ++i) {
    const double pivot = triangle.at(i, i);
    scales[at(i)] = 1.0 / std::copysign(std::max(std::abs(pivot), epsilon), pivot);
  }
  // Each row by itself from the left, so that it stays orthogonal to all other columns to rounding
  // even where columns depend on each other nearly: it is this that the bounds stand on.
  for (int i = 0; i < n; ++i) {
    double* row = fit.inverse.data() + at(i) * stride;
    row[i] = -1.0;
    double square = 0.0;
    double x = 0.0;
    for (int k = i; k < n; ++k) {
      const double* source = triangle.row(k);
      row[k] *= -scales[at(k)];
      for (int l = k + 1; l < n; ++l) row[l] += row[k] * source[l];
      square += row[k] * row[k];
      x += row[k] * triangle.z(k);
    }
    fit.x[at(i)] = x;
    fit.variances[at(i)] = square;
  }
}

namespace {

// Rows of the inverse at length one: K with (R'R)^-1 = diag K K' diag. False when numbers overflow.
bool correlations(int n, const Fit& fit, std::vector<double>& c) {
  c.assign(at(n) * at(n), 0.0);
  for (int i = 0; i < n; ++i) {
    for (int j = i; j < n; ++j) {
      const double* a = fit.inverse.data() + at(i) * at(n);
      const double* b = fit.inverse.data() + at(j) * at(n);
      double sum = 0.0;
      for (int k = j; k < n; ++k) sum += a[k] * b[k];
      sum /= std::sqrt(fit.variances[at(i)]) * std::sqrt(fit.variances[at(j)]);
      if (!std::isfinite(sum)) return false;
      c[at(i) * at(n) + at(j)] = sum;
      c[at(j) * at(n) + at(i)] = sum;
    }
  }
  return true;
}

double greatest_eigenvalue(int n, std::span<const double> c) {
  constexpr int steps = 12;
  std::vector<double> v(at(n));
  std::vector<double> w(at(n));
  // No eigenvector of a pattern of signs is orthogonal to such numbers but by accident, and the
  // factorization notices that.
  for (int i = 0; i < n; ++i) v[at(i)] = 1.0 + 0.37 * (i % 7) - 0.5 * (i % 3);
  double value = 0.0;
  for (int step = 0; step < steps; ++step) {
    double square = 0.0;
    for (const double a : v) square += a * a;
    const double scale = 1.0 / std::sqrt(square);
    double quotient = 0.0;
    for (int i = 0; i < n; ++i) {
      double sum = 0.0;
      for (int k = 0; k < n; ++k) sum += c[at(i) * at(n) + at(k)] * v[at(k)];
      w[at(i)] = sum * scale;
      quotient += w[at(i)] * v[at(i)] * scale;
    }
    value = quotient;
    v.swap(w);
  }
  return value;
}

// Whether value * I - C has a Cholesky factor.
bool is_above_spectrum(int n, double value, std::span<const double> c, std::vector<double>& l) {
  l.assign(at(n) * at(n), 0.0);
  for (int i = 0; i < n; ++i) {
    double* row = l.data() + at(i) * at(n);
    for (int j = 0; j <= i; ++j) {
      const double* other = l.data() + at(j) * at(n);
      double sum = (i == j ? value : 0.0) - c[at(i) * at(n) + at(j)];
      for (int k = 0; k < j; ++k) sum -= row[k] * other[k];
      if (i != j) {
        row[j] = sum / other[j];
      } else if (sum > 1e-10 * value) {
        row[i] = std::sqrt(sum);
      } else {
        return false;
      }
    }
  }
  return true;
}

}  // namespace

void separable_part(int size, const Fit& fit, std::span<double> factors) {
  std::ranges::fill(factors, 0.0);
  if (size == 0) return;
  std::vector<double> c;
  std::vector<double> work;
  if (!correlations(size, fit, c)) return;
  const double least = greatest_eigenvalue(size, c);
  double value = 1.02 * least;
  while (!(value >= size) && !is_above_spectrum(size, value, c, work)) value *= 1.15;
  value = std::min(value, static_cast<double>(size)) * (1.0 + 1e-9 * size);
  for (int i = 0; i < size; ++i) {
    const double factor = 1.0 / (value * fit.variances[at(i)]);
    factors[at(i)] = std::isfinite(factor) ? factor : 0.0;
  }
}

}  // namespace mirsolve::selection
