// Local linear fit (Huyer and Neumaier):
//
//   f_k - f = g^T (x^k - x) + eps_k Q_k,   Q_k = (x^k - x)^T D (x^k - x) + df_k,
//
// D = diag(df / dx_i^2), over the K neighbours of x, by least squares in eps. Q_k makes far and
// uncertain points count less.
//
// Deviation: the inputs are counted in half sides of the trust box, so that the floor under the
// singular values doesn't depend on units.
#include <algorithm>
#include <cmath>

#include "adaptive/linalg/linalg.h"
#include "adaptive/snobfit/routines.h"
#include "adaptive/snobfit/shapes.h"

namespace torve {
namespace {

// Singular values are raised to this share of the largest.
constexpr double singular_floor = 1e-4;

// The trust box reaches this share of the way to the farthest neighbour.
constexpr double trust_share = 0.5;

// Keeps sums of squares of steps over resolutions finite.
constexpr double longest_ratio = 1e50;

struct Equations {
  MATRIX a;  // K x n
  VECTOR b;
};

VECTOR trust_box(const MATRIX& x, int j, const std::vector<int>& near, const VECTOR& dx) {
  VECTOR d = dx;
  for (int i = 0; i < dx.size(); ++i) {
    double farthest = 0.0;
    for (const int k : near) farthest = std::max(farthest, std::abs(x(k, i) - x(j, i)));
    d(i) = std::max(trust_share * farthest, dx(i));
  }
  return d;
}

Equations weighted_equations(int j, const MATRIX& x, const MATRIX& f, const std::vector<int>& near,
                             const VECTOR& dx, const VECTOR& d) {
  const int n = dx.size();
  const int points = static_cast<int>(near.size());
  Equations equations{MATRIX(points, n), VECTOR(points)};
  for (int row = 0; row < points; ++row) {
    const int k = near[at(row)];
    double q = f(k, 1);
    for (int i = 0; i < n; ++i) {
      const double ratio = std::min(std::abs(x(k, i) - x(j, i)) / dx(i), longest_ratio);
      q += f(j, 1) * ratio * ratio;
    }
    for (int i = 0; i < n; ++i) equations.a(row, i) = (x(k, i) - x(j, i)) / d(i) / q;
    equations.b(row) = (f(k, 0) - f(j, 0)) / q;
  }
  return equations;
}

// V max(S, floor)^-1 U^T b.
VECTOR regularised_solution(const SvdResult& parts, const VECTOR& b) {
  const int n = parts.vt.rows();
  VECTOR solution(n);
  const double floor = singular_floor * parts.s(0);
  if (!(floor > 0.0)) return solution;
  for (int l = 0; l < n; ++l) {
    double projected = 0.0;
    for (int k = 0; k < b.size(); ++k) projected += parts.u(k, l) * b(k);
    projected /= std::max(parts.s(l), floor);
    for (int i = 0; i < n; ++i) solution(i) += parts.vt(l, i) * projected;
  }
  return solution;
}

double model_error(const Equations& equations, const VECTOR& solution) {
  double sum = 0.0;
  const int points = equations.b.size();
  for (int k = 0; k < points; ++k) {
    double residual = -equations.b(k);
    for (int i = 0; i < solution.size(); ++i) residual += equations.a(k, i) * solution(i);
    sum += residual * residual;
  }
  return std::sqrt(sum / (points - solution.size()));
}

}  // namespace

bool snoblocf(int j, const MATRIX& x, const MATRIX& f, const std::vector<int>& near,
              const VECTOR& dx, LocalFit& fit, Messages& messages) {
  const int n = dx.size();
  Shapes shapes("snoblocf", messages);
  shapes.matrix("x", x, x.rows(), n).matrix("f", f, x.rows(), 2);
  if (!shapes.good()) return false;
  if (j < 0 || j >= x.rows()) {
    return messages.fail("snoblocf: j is outside the first dimension of x & f!");
  }
  if (static_cast<int>(near.size()) <= n) {
    return messages.fail("snoblocf: algorithm error: K <= n!");
  }

  fit.d = trust_box(x, j, near, dx);
  fit.g = VECTOR(n);
  fit.sigma = no_value;
  const Equations equations = weighted_equations(j, x, f, near, dx, fit.d);
  // Values that are too wild for a model leave a gradient of 0.
  Messages unheard;
  const SvdResult parts = svd(equations.a, unheard);
  if (unheard.failed || !all_finite(equations.b)) return true;
  const VECTOR solution = regularised_solution(parts, equations.b);
  const double sigma = model_error(equations, solution);
  VECTOR g(n);
  for (int i = 0; i < n; ++i) g(i) = solution(i) / fit.d(i);
  if (!all_finite(g) || !std::isfinite(sigma)) return true;
  fit.g = g;
  fit.sigma = sigma;
  return true;
}

}  // namespace torve
