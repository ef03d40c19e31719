#include <algorithm>
#include <cmath>
#include <string>

#include "adaptive/linalg/linalg.h"
#include "adaptive/minq/minq.h"
#include "adaptive/minq/tolerances.h"

namespace torve {

namespace {

// Minimise c'z + z'z/2 subject to (Az)_i >= b_i, or = b_i where eq_i isn't 0: what either problem
// becomes when the quadratic term is made a plain sum of squares.
struct LeastDistance {
  VECTOR c;
  MATRIX A;
  VECTOR b;
  VECTOR eq;
};

struct LeastDistanceResult {
  VECTOR z;
  VECTOR y;
  MinqStatus ier = MinqStatus::bad_arguments;
};

// The minimiser of the Lagrangian for the multipliers y, z = A'y - c, and b - Az there.
void take_multipliers(const LeastDistance& problem, LeastDistanceResult& result, VECTOR& missing,
                      Messages& messages) {
  result.z = gemv(problem.A, result.y, 'T', messages);
  for (int k = 0; k < result.z.size(); ++k) result.z(k) -= problem.c(k);
  missing = gemv(problem.A, result.z, 'N', messages);
  for (int i = 0; i < missing.size(); ++i) missing(i) = problem.b(i) - missing(i);
}

// The largest violation of a row, or distance from a row that has a multiplier.
double worst_row(const LeastDistance& problem, const VECTOR& y, const VECTOR& missing) {
  double worst = 0.0;
  for (int i = 0; i < missing.size(); ++i) {
    const bool must_touch = problem.eq(i) != 0.0 || y(i) > 0.0;
    worst = std::max(worst, must_touch ? std::abs(missing(i)) : missing(i));
  }
  return worst;
}

// The lowest multipliers that the rows allow, seen from y.
VECTOR lowest_change(const LeastDistance& problem, const VECTOR& y) {
  VECTOR lowest(y.size());
  for (int i = 0; i < y.size(); ++i) lowest(i) = problem.eq(i) != 0.0 ? -minq_infinity : -y(i);
  return lowest;
}

// Solves for the change of y with the residual of the rows as linear term, as iterative refinement
// does; taken over if the rows are met better.
void refine(const LeastDistance& problem, const MATRIX& AAT, LeastDistanceResult& result,
            VECTOR& missing, Messages& messages) {
  const int m = problem.A.rows();
  VECTOR linear(m);
  for (int i = 0; i < m; ++i) linear(i) = -missing(i);
  Messages unheard;  // a refinement that fails is of no interest
  const MinqResult change = minq(0.0, linear, AAT, lowest_change(problem, result.y),
                                 VECTOR(m, minq_infinity), 0, unheard, VECTOR(m));
  if (change.ier != MinqStatus::minimum) return;
  LeastDistanceResult refined = result;
  for (int i = 0; i < m; ++i) {
    refined.y(i) += change.x(i);
    if (problem.eq(i) == 0.0) refined.y(i) = std::max(0.0, refined.y(i));
  }
  VECTOR still_missing;
  take_multipliers(problem, refined, still_missing, messages);
  if (!(worst_row(problem, refined.y, still_missing) < worst_row(problem, result.y, missing))) {
    return;
  }
  result = refined;
  missing = still_missing;
}

// The dual: minimise y'AA'y/2 - (b + Ac)'y over y >= 0, y_i free for an equation. It falls for ever
// along a y that shows that the rows contradict each other.
LeastDistanceResult solve_dual(const LeastDistance& problem, int prt, Messages& messages) {
  const int m = problem.A.rows();
  LeastDistanceResult result;
  result.y = VECTOR(m);
  VECTOR missing;
  if (m == 0) {
    result.z = problem.c;
    for (double& value : result.z.span()) value = -value;
    result.ier = MinqStatus::minimum;
    return result;
  }
  const MATRIX AAT = gemm(problem.A, problem.A, 'N', 'T', messages);
  VECTOR linear = gemv(problem.A, problem.c, 'N', messages);
  for (int i = 0; i < m; ++i) linear(i) = -linear(i) - problem.b(i);
  const MinqResult dual = minq(0.0, linear, AAT, lowest_change(problem, VECTOR(m)),
                               VECTOR(m, minq_infinity), prt, messages);
  result.ier = dual.ier;
  if (dual.ier == MinqStatus::bad_arguments || dual.ier == MinqStatus::unbounded) return result;
  result.y = dual.x;
  take_multipliers(problem, result, missing, messages);
  if (dual.ier == MinqStatus::minimum) refine(problem, AAT, result, missing, messages);
  return result;
}

bool rows_are_right(const std::string& name, int n, const VECTOR& c, const MATRIX& A,
                    const VECTOR& b, const VECTOR& eq, Messages& messages) {
  if (c.size() != n) return messages.fail(name + ": wrong dimension of c vector!");
  if (A.rows() > 0 && A.columns() != n)
    return messages.fail(name + ": wrong dimension of A matrix!");
  if (b.size() != A.rows()) return messages.fail(name + ": wrong dimension of b vector!");
  if (eq.size() != A.rows()) return messages.fail(name + ": wrong dimension of eq vector!");
  if (!all_finite(c) || !all_finite(A) || !all_finite(b) ||
      std::ranges::any_of(eq.span(), [](double e) { return std::isnan(e); }))
    return messages.fail(name + ": illegal values of input arguments!");
  return true;
}

}  // namespace

// x = D^-1/2 z. The number of unknowns is that of the columns of A, or of c when A has no rows.
DualResult minqsep(const VECTOR& c, const VECTOR& d, const MATRIX& A, const VECTOR& b,
                   const VECTOR& eq, int prt, Messages& messages) {
  const int n = A.rows() > 0 ? A.columns() : c.size();
  if (c.size() == n && d.size() != n) {
    messages.fail("minqsep: wrong dimension of d vector!");
    return {};
  }
  if (!rows_are_right("minqsep", n, c, A, b, eq, messages)) return {};
  LeastDistance problem = {c, A, b, eq};
  VECTOR scale(n);
  for (int k = 0; k < n; ++k) {
    scale(k) = 1.0 / std::sqrt(d(k));
    if (!(d(k) > 0.0 && std::isfinite(d(k)))) {
      messages.fail("minqsep: illegal values of input arguments!");
      return {};
    }
    problem.c(k) *= scale(k);
    for (int i = 0; i < A.rows(); ++i) problem.A(i, k) *= scale(k);
  }
  LeastDistanceResult found = solve_dual(problem, prt, messages);
  for (int k = 0; k < found.z.size(); ++k) found.z(k) *= scale(k);
  return {found.z, found.y, found.ier};
}

// G = R'R, x = R^-1 z.
DualResult minqdef(const VECTOR& c, const MATRIX& G, const MATRIX& A, const VECTOR& b,
                   const VECTOR& eq, int prt, Messages& messages) {
  const int n = G.rows();
  if (G.columns() != n) {
    messages.fail("minqdef: wrong dimension of G matrix!");
    return {};
  }
  if (!rows_are_right("minqdef", n, c, A, b, eq, messages)) return {};
  const MATRIX R = chol(G, messages);
  if (R.rows() != n) return {};
  const VECTOR scaled_c = gesv(R, c, 'T', messages);
  const MATRIX scaled_A = A.rows() > 0 ? mrdivide(A, R, messages) : MATRIX(0, n);
  if (scaled_c.size() != n || scaled_A.columns() != n) return {};
  LeastDistanceResult found = solve_dual({scaled_c, scaled_A, b, eq}, prt, messages);
  if (found.z.size() > 0) found.z = mldivide(R, found.z, messages);
  return {found.z, found.y, found.ier};
}

// The penalty as further rows: least |(A; diag(1/s)) x - (b; 0)|.
VECTOR rls(const MATRIX& A, const VECTOR& b, const VECTOR& s, Messages& messages) {
  const int m = A.rows();
  const int n = s.size();
  if (b.size() != m || A.columns() != n) {
    messages.fail("rls: dimensions do not match!");
    return {};
  }
  MATRIX rows(m + n, n);
  VECTOR right(m + n);
  for (int i = 0; i < m; ++i) {
    rows.set_row(i, A.row(i));
    right(i) = b(i);
  }
  for (int j = 0; j < n; ++j) {
    if (!(s(j) > 0.0)) {
      messages.fail("rls: illegal values of input arguments!");
      return {};
    }
    rows(m + j, j) = s(j) < minq_infinity ? 1.0 / s(j) : 0.0;
  }
  return backslash(rows, right, messages);
}

}  // namespace torve
