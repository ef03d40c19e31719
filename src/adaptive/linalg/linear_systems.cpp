#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "adaptive/linalg/lapack_kit.h"
#include "adaptive/linalg/linalg.h"

namespace torve {

namespace {

enum class Solved { yes, singular, illegal };

MATRIX as_column(const VECTOR& x) {
  MATRIX column(x.size(), 1);
  if (x.size() > 0) column.set_column(0, x);
  return column;
}

MATRIX as_row(const VECTOR& x) {
  MATRIX row(1, x.size());
  row.set_row(0, x);
  return row;
}

// The vector in a one-column matrix; none after a failure.
VECTOR as_vector(const MATRIX& column) {
  return column.columns() == 1 ? column.column(0) : VECTOR();
}

// INFO below 0 means that a wrapper of this file handed over nonsense.
bool succeeded(int info) {
  assert(info >= 0);
  return info == 0;
}

// LAPACK DGESV: b := a^-1 b by a = P L U; false when U is singular. Overwrites a.
bool dgesv(MATRIX& a, MATRIX& b) {
  const int n = a.rows();
  const int lda = std::max(n, 1);
  const int right_hand_sides = b.columns();
  std::vector<int> pivots(at(n));
  int info = 0;
  dgesv_(&n, &right_hand_sides, a.data(), &lda, pivots.data(), b.data(), &lda, &info);
  return succeeded(info);
}

// LAPACK DGETRF: a = P L U in place; false when U is singular.
bool dgetrf(MATRIX& a, std::vector<int>& pivots) {
  const int n = a.rows();
  const int lda = std::max(n, 1);
  pivots.resize(at(n));
  int info = 0;
  dgetrf_(&n, &n, a.data(), &lda, pivots.data(), &info);
  return succeeded(info);
}

// LAPACK DGETRS: b := op(a)^-1 b from the factors of dgetrf.
void dgetrs(char flag, const MATRIX& factors, const std::vector<int>& pivots, MATRIX& b) {
  const int n = factors.rows();
  const int lda = std::max(n, 1);
  const int right_hand_sides = b.columns();
  int info = 0;
  dgetrs_(&flag, &n, &right_hand_sides, factors.data(), &lda, pivots.data(), b.data(), &lda, &info);
  succeeded(info);
}

// LAPACK DGETRI: the inverse from the factors of dgetrf, in place; false when U is singular.
bool dgetri(MATRIX& factors, const std::vector<int>& pivots) {
  const int n = factors.rows();
  const int lda = std::max(n, 1);
  int query = -1;
  double wanted = 0.0;
  int info = 0;
  dgetri_(&n, factors.data(), &lda, pivots.data(), &wanted, &query, &info);
  if (!succeeded(info)) return false;
  const int length = std::max(static_cast<int>(wanted), lda);
  VECTOR work(length);
  dgetri_(&n, factors.data(), &lda, pivots.data(), work.data(), &length, &info);
  return succeeded(info);
}

// LAPACK DGECON: 1 / condition in the 1-norm, from the factors of dgetrf and the norm of a.
double dgecon(const MATRIX& factors, double norm) {
  const int n = factors.rows();
  const int lda = std::max(n, 1);
  VECTOR work(4 * n);
  std::vector<int> iwork(at(n));
  double rcond = 0.0;
  int info = 0;
  dgecon_("1", &n, factors.data(), &lda, &norm, &rcond, work.data(), iwork.data(), &info);
  return succeeded(info) ? rcond : 0.0;
}

// LAPACK DGELSY: b, with max(rows, columns) rows, becomes the shortest least-squares solution in
// its first rows. Overwrites a.
void dgelsy(MATRIX& a, MATRIX& b) {
  const int m = a.rows();
  const int n = a.columns();
  const int lda = std::max(m, 1);
  const int ldb = std::max(b.rows(), 1);
  const int right_hand_sides = b.columns();
  const double rcond = std::max(m, n) * std::numeric_limits<double>::epsilon();
  std::vector<int> order(at(n), 0);
  int rank = 0;
  int query = -1;
  double wanted = 0.0;
  int info = 0;
  dgelsy_(&m, &n, &right_hand_sides, a.data(), &lda, b.data(), &ldb, order.data(), &rcond, &rank,
          &wanted, &query, &info);
  if (!succeeded(info)) return;
  const int length = std::max(static_cast<int>(wanted), 1);
  VECTOR work(length);
  dgelsy_(&m, &n, &right_hand_sides, a.data(), &lda, b.data(), &ldb, order.data(), &rcond, &rank,
          work.data(), &length, &info);
  succeeded(info);
}

// b := op(a)^-1 b.
Solved solve_square(MATRIX a, MATRIX& b, char flag) {
  if (!all_finite(a) || !all_finite(b)) return Solved::illegal;
  if (flag == 'N') {
    if (!dgesv(a, b)) return Solved::singular;
  } else {
    std::vector<int> pivots;
    if (!dgetrf(a, pivots)) return Solved::singular;
    dgetrs(flag, a, pivots, b);
  }
  return all_finite(b) ? Solved::yes : Solved::singular;
}

// The failure texts differ by the name of the function only.
MATRIX solve_or_word(const char* function, const MATRIX& a, MATRIX b, char flag,
                     Messages& messages) {
  const std::string name = function;
  if (a.rows() != a.columns() || a.rows() != b.rows()) {
    messages.fail(name + ": dimensions do not match!");
    return {};
  }
  switch (solve_square(a, b, flag)) {
    case Solved::yes:
      return b;
    case Solved::singular:
      messages.fail(name + ": failed to find solution of linear system: singular matrix!");
      break;
    case Solved::illegal:
      messages.fail(name + ": illegal values of input arguments!");
      break;
  }
  return {};
}

}  // namespace

MATRIX gesv(const MATRIX& a, const MATRIX& b, char flag, Messages& messages) {
  if (flag != 'N' && flag != 'T') {
    messages.fail("gesv: illegal value of flag!");
    return {};
  }
  return solve_or_word("gesv", a, b, flag, messages);
}

VECTOR gesv(const MATRIX& a, const VECTOR& b, char flag, Messages& messages) {
  return as_vector(gesv(a, as_column(b), flag, messages));
}

MATRIX mldivide(const MATRIX& a, const MATRIX& b, Messages& messages) {
  return solve_or_word("mldivide", a, b, 'N', messages);
}

VECTOR mldivide(const MATRIX& a, const VECTOR& b, Messages& messages) {
  return as_vector(mldivide(a, as_column(b), messages));
}

// x a = b is a'x' = b'.
MATRIX mrdivide(const MATRIX& b, const MATRIX& a, Messages& messages) {
  return trans(solve_or_word("mrdivide", a, trans(b), 'T', messages));
}

VECTOR mrdivide(const VECTOR& b, const MATRIX& a, Messages& messages) {
  return as_vector(trans(mrdivide(as_row(b), a, messages)));
}

// A singular matrix is found by the second step, and so is an inverse that overflows.
MATRIX inv(const MATRIX& a, Messages& messages) {
  if (a.rows() != a.columns()) {
    messages.fail("inv: dimensions do not match!");
    return {};
  }
  if (!all_finite(a)) {
    messages.fail("inv: dgetrf: illegal values of input arguments!");
    return {};
  }
  MATRIX inverse = a;
  std::vector<int> pivots;
  if (!dgetrf(inverse, pivots) || !dgetri(inverse, pivots) || !all_finite(inverse)) {
    messages.fail("inv: dgetri: illegal values of input arguments!");
    return {};
  }
  return inverse;
}

namespace {

// x with a x = b; false when a is singular to working precision. An estimate of the condition needs
// a norm and factors that haven't overflowed.
bool solve_regular(const MATRIX& a, const MATRIX& b, MATRIX& x) {
  Messages unused;
  MATRIX factors = a;
  std::vector<int> pivots;
  const double norm = matrix_norm(a, 1, unused);
  if (!std::isfinite(norm) || !dgetrf(factors, pivots) || !all_finite(factors)) return false;
  const double rcond = dgecon(factors, norm);
  if (!(rcond > std::numeric_limits<double>::epsilon())) return false;
  x = b;
  dgetrs('N', factors, pivots, x);
  return true;
}

MATRIX least_squares(MATRIX a, const MATRIX& b) {
  MATRIX tall(std::max(a.rows(), a.columns()), b.columns());
  for (int j = 0; j < b.columns(); ++j) {
    for (int i = 0; i < b.rows(); ++i) tall(i, j) = b(i, j);
  }
  MATRIX x(a.columns(), b.columns());
  if (a.empty() || b.empty()) return x;
  dgelsy(a, tall);
  for (int j = 0; j < x.columns(); ++j) {
    for (int i = 0; i < x.rows(); ++i) x(i, j) = tall(i, j);
  }
  return x;
}

}  // namespace

MATRIX backslash(const MATRIX& a, const MATRIX& b, Messages& messages) {
  if (a.rows() != b.rows()) {
    messages.fail("backslash: dimensions do not match!");
    return {};
  }
  const bool square = a.rows() == a.columns();
  if (!all_finite(a) || !all_finite(b)) {
    messages.fail(square ? "backslash: illegal values of input arguments!"
                         : "error: backslash: illegal values of input arguments!");
    return {};
  }
  MATRIX x;
  if (!square || !solve_regular(a, b, x)) x = least_squares(a, b);
  if (!all_finite(x)) {
    messages.fail(
        "backslash: numerical difficulties arose; please report this to the makers of TORVE!");
    return {};
  }
  return x;
}

VECTOR backslash(const MATRIX& a, const VECTOR& b, Messages& messages) {
  return as_vector(backslash(a, as_column(b), messages));
}

}  // namespace torve
