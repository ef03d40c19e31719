#include "adaptive/minq/ldl.h"

#include <cmath>

#include "adaptive/minq/tolerances.h"

namespace torve {

namespace {

bool shapes_agree(const MATRIX& L, const VECTOR& d) {
  return L.rows() == L.columns() && L.rows() == d.size();
}

// p := (leading n x n block of L)^-T p.
void solve_transposed(const MATRIX& L, int n, VECTOR& p) {
  for (int i = n - 1; i >= 0; --i) {
    for (int k = i + 1; k < n; ++k) p(i) -= L(k, i) * p(k);
  }
}

// p := (leading n x n block of L)^-1 p.
void solve_lower(const MATRIX& L, int n, VECTOR& p) {
  for (int k = 0; k < n; ++k) {
    for (int i = k + 1; i < n; ++i) p(i) -= L(i, k) * p(k);
  }
}

// Diagonal element k of A: what the pivot k is left over from, and so the size of its rounding.
double diagonal_element(const MATRIX& L, const VECTOR& d, int k) {
  double sum = d(k);
  for (int i = 0; i < k; ++i) sum += L(k, i) * L(k, i) * d(i);
  return sum;
}

// Method C1 of the paper on the rows and columns from first on; u is 0 before them:
//
//   d_k' = d_k + alp u_k^2,  u := u - u_k l_k,  l_k' = l_k + alp u_k / d_k' u,
//   alp := alp d_k / d_k'.
//
// With the first k columns new and the others old, p from L'p = e_k has p'Ap = d_k'; so when d_k'
// isn't positive beyond rounding, p is given and the return value false, with L and d half done.
bool change_from(MATRIX& L, VECTOR& d, int first, double alp, VECTOR& u, VECTOR& p) {
  const int n = d.size();
  VECTOR size(n);
  for (int k = first; k < n; ++k) {
    size(k) = diagonal_element(L, d, k) + std::abs(alp) * u(k) * u(k);
  }
  for (int k = first; k < n; ++k) {
    const double uk = u(k);
    if (uk == 0.0) continue;
    const double pivot = d(k) + alp * uk * uk;
    if (!(alp > 0.0) && !(pivot > minq_tolerance * size(k))) {
      p = VECTOR(n);
      p(k) = 1.0;
      solve_transposed(L, k + 1, p);
      return false;
    }
    const double share = alp * uk / pivot;
    alp *= d(k) / pivot;
    d(k) = pivot;
    for (int i = k + 1; i < n; ++i) {
      u(i) -= uk * L(i, k);
      L(i, k) += share * u(i);
    }
  }
  return true;
}

}  // namespace

LdlChange ldlrk1(MATRIX& L, VECTOR& d, double alp, const VECTOR& u, VECTOR& p, Messages& messages) {
  if (!shapes_agree(L, d) || u.size() != d.size()) {
    messages.fail("ldlrk1: dimensions do not match!");
    return LdlChange::bad_shapes;
  }
  if (alp == 0.0) return LdlChange::done;
  MATRIX changed = L;
  VECTOR pivots = d;
  VECTOR remainder = u;
  if (!change_from(changed, pivots, 0, alp, remainder, p)) return LdlChange::not_definite;
  L = changed;
  d = pivots;
  return LdlChange::done;
}

// With I the places before j and K those behind:
//
//   v = L_II^-1 g_I,  L_jI = (D_I^-1 v)',  d_j = g_j - L_jI v,
//   q = g_K - L_KI v,  L_Kj = q / d_j,  L_KK D_K L_KK' := L_KK D_K L_KK' - q q' / d_j.
//
// A pivot d_j that isn't positive gives p = (-A_II^-1 g_I, 1, 0) with p'Ap = d_j. When the change
// of the last block fails, its p is completed by the p_I and p_j that are best for it.
LdlChange ldlup(MATRIX& L, VECTOR& d, int j, const VECTOR& g, VECTOR& p, Messages& messages) {
  const int n = d.size();
  if (!shapes_agree(L, d) || g.size() != n || j < 0 || j >= n) {
    messages.fail("ldlup: dimensions do not match!");
    return LdlChange::bad_shapes;
  }
  MATRIX changed = L;
  VECTOR pivots = d;
  VECTOR v = g;
  solve_lower(L, j, v);
  double size = std::abs(g(j));
  pivots(j) = g(j);
  for (int i = 0; i < j; ++i) {
    changed(j, i) = v(i) / d(i);
    pivots(j) -= changed(j, i) * v(i);
    size += std::abs(changed(j, i) * v(i));
  }
  if (!(pivots(j) > minq_tolerance * size)) {
    p = VECTOR(n);
    p(j) = 1.0;
    solve_transposed(changed, j + 1, p);
    return LdlChange::not_definite;
  }
  VECTOR q(n);
  for (int k = j + 1; k < n; ++k) {
    q(k) = g(k);
    for (int i = 0; i < j; ++i) q(k) -= L(k, i) * v(i);
    changed(k, j) = q(k) / pivots(j);
  }
  if (!change_from(changed, pivots, j + 1, -1.0 / pivots(j), q, p)) return LdlChange::not_definite;
  L = changed;
  d = pivots;
  return LdlChange::done;
}

// A_KK loses nothing: what column j of L gave to it goes into L_KK D_K L_KK' + d_j L_Kj L_Kj'.
LdlChange ldldown(MATRIX& L, VECTOR& d, int j, Messages& messages) {
  const int n = d.size();
  if (!shapes_agree(L, d) || j < 0 || j >= n) {
    messages.fail("ldldown: dimensions do not match!");
    return LdlChange::bad_shapes;
  }
  const double pivot = d(j);
  VECTOR column(n);
  for (int i = 0; i < j; ++i) L(j, i) = 0.0;
  for (int k = j + 1; k < n; ++k) {
    column(k) = L(k, j);
    L(k, j) = 0.0;
  }
  d(j) = 1.0;
  VECTOR unused;
  change_from(L, d, j + 1, pivot, column, unused);
  return LdlChange::done;
}

VECTOR ldl_solve(const MATRIX& L, const VECTOR& d, const VECTOR& b) {
  const int n = d.size();
  VECTOR x = b;
  solve_lower(L, n, x);
  for (int i = 0; i < n; ++i) x(i) /= d(i);
  solve_transposed(L, n, x);
  return x;
}

}  // namespace torve
