// Quadratic fit around the best point (Huyer and Neumaier): gradient g and symmetric G
// of
//
//   f_k = f + g^T s^k + (s^k)^T G s^k / 2 + eps_k Q_k,   s^k = x^k - x,
//   Q_k = ((s^k)^T H s^k)^(3/2) + df_k,   H = (sum over k of s^k (s^k)^T)^-1,
//
// by least squares in eps over the nneigh nearest points; the error of a quadratic model grows with
// the third power of the step. The model is minimised in the trust box by MINQ.
//
// Deviations: the inputs are counted in half sides of the trust box, which becomes [-1, 1]^n, and
// with fewer points than coefficients the shortest solution is taken.
#include <algorithm>
#include <cmath>
#include <numeric>

#include "adaptive/linalg/linalg.h"
#include "adaptive/minq/minq.h"
#include "adaptive/snobfit/grid.h"
#include "adaptive/snobfit/routines.h"
#include "adaptive/snobfit/shapes.h"

namespace torve {
namespace {

// Eigenvalues of the moment matrix are raised to this share of the largest: points in a plane.
constexpr double moment_floor = 1e-10;

// Second derivatives out of differences of values are good to this power of the accuracy of the
// values. A G whose eigenvalues lie further apart doesn't count as positive definite.
constexpr double exponent = 1.0 / 3.0;

struct Quadratic {
  VECTOR g;
  MATRIX G;
};

int coefficients(int n) {
  return n * (n + 3) / 2;
}

std::vector<int> nearest_points(int j, const MATRIX& x, int nneigh, const VECTOR& scale) {
  VECTOR distances;
  squared_distances(x.row(j), x, scale, distances);
  std::vector<int> others;
  for (int k = 0; k < x.rows(); ++k) {
    if (k != j) others.push_back(k);
  }
  const int count = std::min(nneigh, static_cast<int>(others.size()));
  std::partial_sort(others.begin(), others.begin() + count, others.end(), [&](int a, int b) {
    return distances(a) < distances(b) || (distances(a) == distances(b) && a < b);
  });
  others.resize(at(count));
  return others;
}

// Row k is s^k.
MATRIX steps(int j, const MATRIX& x, const std::vector<int>& points, const VECTOR& d) {
  const int count = static_cast<int>(points.size());
  MATRIX s(count, d.size());
  for (int k = 0; k < count; ++k) {
    for (int i = 0; i < d.size(); ++i) s(k, i) = (x(points[at(k)], i) - x(j, i)) / d(i);
  }
  return s;
}

// (s^k)^T H s^k for each k; empty when it can't be had.
VECTOR lengths(const MATRIX& s, Messages& messages) {
  const int n = s.columns();
  MATRIX vectors;
  const VECTOR values = syev(gemm(s, s, 'T', 'N', messages), vectors, messages);
  if (messages.failed) return {};
  const MATRIX rotated = gemm(s, vectors, 'N', 'N', messages);
  if (messages.failed) return {};
  const double floor = std::max(moment_floor * values(n - 1), machine_epsilon * machine_epsilon);
  VECTOR length(s.rows());
  for (int k = 0; k < s.rows(); ++k) {
    for (int i = 0; i < n; ++i) {
      length(k) += rotated(k, i) * rotated(k, i) / std::max(values(i), floor);
    }
  }
  return length;
}

// The least-squares problem: columns s_i, then s_i s_l for i <= l, the squares halved.
bool fit(int j, const MATRIX& f, const std::vector<int>& points, const MATRIX& s, Quadratic& model,
         Messages& messages) {
  const int n = s.columns();
  const VECTOR length = lengths(s, messages);
  if (messages.failed) return false;
  MATRIX a(s.rows(), coefficients(n));
  VECTOR b(s.rows());
  for (int k = 0; k < s.rows(); ++k) {
    const double weight = 1.0 / (std::pow(length(k), 1.5) + f(points[at(k)], 1));
    int cnt = 0;
    for (int i = 0; i < n; ++i) a(k, cnt++) = weight * s(k, i);
    for (int i = 0; i < n; ++i) {
      a(k, cnt++) = weight * s(k, i) * s(k, i) / 2.0;
      for (int l = i + 1; l < n; ++l) a(k, cnt++) = weight * s(k, i) * s(k, l);
    }
    if (cnt != a.columns()) return messages.fail("snobqfit: algorithm error: wrong cnt!");
    b(k) = weight * (f(points[at(k)], 0) - f(j, 0));
  }
  const VECTOR solution = backslash(a, b, messages);
  if (messages.failed || !all_finite(solution)) return false;
  model = {VECTOR(n), MATRIX(n, n)};
  int cnt = 0;
  for (int i = 0; i < n; ++i) model.g(i) = solution(cnt++);
  for (int i = 0; i < n; ++i) {
    for (int l = i; l < n; ++l) model.G(i, l) = model.G(l, i) = solution(cnt++);
  }
  return true;
}

// The minimiser over low <= s <= high in the coordinates of the eigenvectors, where the model is
// separable and the box is 2n inequalities. Empty when G isn't safely positive definite.
VECTOR separable_minimum(const Quadratic& model, const VECTOR& low, const VECTOR& high,
                         Messages& messages) {
  const int n = low.size();
  MATRIX vectors;
  const VECTOR values = syev(model.G, vectors, messages);
  if (messages.failed) return {};
  const double least = std::pow(machine_epsilon, exponent) * values(n - 1);
  if (!(values(n - 1) > 0.0) || values(0) <= least) return {};
  const VECTOR c = gemv(vectors, model.g, 'T', messages);
  MATRIX A(2 * n, n);
  VECTOR b(2 * n);
  for (int i = 0; i < n; ++i) {
    for (int l = 0; l < n; ++l) {
      A(i, l) = vectors(i, l);
      A(n + i, l) = -vectors(i, l);
    }
    b(i) = low(i);
    b(n + i) = -high(i);
  }
  const DualResult dual = minqsep(c, values, A, b, VECTOR(2 * n), 0, messages);
  if (messages.failed || dual.ier != MinqStatus::minimum) return {};
  return gemv(vectors, dual.x, 'N', messages);
}

double value_of(const Quadratic& model, const VECTOR& s) {
  double sum = 0.0;
  for (int i = 0; i < s.size(); ++i) {
    double product = 0.0;
    for (int l = 0; l < s.size(); ++l) product += model.G(i, l) * s(l);
    sum += s(i) * (model.g(i) + 0.5 * product);
  }
  return sum;
}

// Empty when MINQ fails on both ways.
VECTOR box_minimum(const Quadratic& model, const VECTOR& low, const VECTOR& high) {
  Messages unheard;
  VECTOR s = separable_minimum(model, low, high, unheard);
  if (s.size() > 0 && !unheard.failed && all_finite(s)) return s;
  unheard = {};
  // The search starts from the best point.
  const MinqResult result = minq(0.0, model.g, model.G, low, high, 0, unheard, VECTOR(low.size()));
  if (unheard.failed || !all_finite(result.x) || result.x.size() != low.size()) return {};
  return result.x;
}

}  // namespace

bool snobqfit(int j, const MATRIX& x, const MATRIX& f, int nneigh, const VECTOR& d, const VECTOR& u,
              const VECTOR& v, const VECTOR& scale, VECTOR& y, double& fy, Messages& messages) {
  const int n = u.size();
  Shapes shapes("snobqfit", messages);
  shapes.matrix("x", x, x.rows(), n).matrix("f", f, x.rows(), 2).vector("d", d, n);
  shapes.vector("v", v, n).vector("scale", scale, n);
  if (!shapes.good()) return false;
  if (j < 0 || j >= x.rows()) {
    return messages.fail("snobqfit: j is outside the first dimension of x & f!");
  }
  if (nneigh < n) {
    return messages.fail("snobqfit: nneigh is less than the problem dimension!");
  }

  y = x.row(j);
  fy = f(j, 0);
  VECTOR low(n);
  VECTOR high(n);
  for (int i = 0; i < n; ++i) {
    low(i) = std::max(-1.0, (u(i) - x(j, i)) / d(i));
    high(i) = std::min(1.0, (v(i) - x(j, i)) / d(i));
  }
  // Values that are too wild for a model leave the best point itself.
  Messages unheard;
  Quadratic model;
  const std::vector<int> points = nearest_points(j, x, nneigh, scale);
  if (!fit(j, f, points, steps(j, x, points, d), model, unheard)) return true;
  const VECTOR s = box_minimum(model, low, high);
  if (s.size() == 0) return true;
  for (int i = 0; i < n; ++i) y(i) = std::clamp(x(j, i) + d(i) * s(i), u(i), v(i));
  fy += value_of(model, s);
  return true;
}

}  // namespace torve
