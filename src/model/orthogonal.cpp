#include "model/orthogonal.h"

#include <algorithm>
#include <cassert>
#include <cmath>

#include "model/lapack.h"

// G. H. Golub and C. F. Van Loan, Matrix Computations, section on complete orthogonal
// decompositions; C. L. Lawson and R. J. Hanson, Solving Least Squares Problems, chapter 14
// (algorithm HFTI). The rank is read from the diagonal of the pivoted triangle.

namespace torve {
namespace {

constexpr int one = 1;

int leading_dimension(const MutableMatrixView& m) {
  return static_cast<int>(m.stride);
}

// b := Q b or Q^T b.
void apply_q(const CompleteFactor& factor, const char* trans, double* b) {
  const MutableMatrixView& a = factor.a;
  const int reflectors = std::min(a.rows, a.columns);
  if (reflectors == 0) return;
  const int lda = leading_dimension(a);
  int info = 0;
  dormqr_("L", trans, &a.rows, &one, &reflectors, a.data, &lda, factor.tau, b, &a.rows, factor.work,
          &factor.work_length, &info);
  assert(info == 0);
}

// b - r - A_k y, accumulated in extended precision; r may be missing.
void extended_residual(const CompleteFactor& factor, int k, const MatrixView& a, const double* b,
                       const double* r, const double* y, double* f) {
  for (int i = 0; i < a.rows; ++i) {
    long double sum = b[i];
    if (r != nullptr) sum -= r[i];
    for (int j = 0; j < k; ++j) sum -= static_cast<long double>(a(i, factor.pivot[j] - 1)) * y[j];
    f[i] = static_cast<double>(sum);
  }
}

// -A_k^T r, accumulated in extended precision.
void extended_gradient(const CompleteFactor& factor, int k, const MatrixView& a, const double* r,
                       double* g) {
  for (int j = 0; j < k; ++j) {
    const double* column = a.column_data(factor.pivot[j] - 1);
    long double sum = 0.0L;
    for (int i = 0; i < a.rows; ++i) sum -= static_cast<long double>(column[i]) * r[i];
    g[j] = static_cast<double>(sum);
  }
}

}  // namespace

void factorize(CompleteFactor& factor) {
  const MutableMatrixView& a = factor.a;
  const int lda = leading_dimension(a);
  factor.rank = 0;
  std::fill_n(factor.pivot, a.columns, 0);
  if (a.rows == 0 || a.columns == 0) {
    for (int j = 0; j < a.columns; ++j) factor.pivot[j] = j + 1;
    return;
  }
  int info = 0;
  dgeqp3_(&a.rows, &a.columns, a.data, &lda, factor.pivot, factor.tau, factor.work,
          &factor.work_length, &info);
  assert(info == 0);

  factor.rank = std::min(a.rows, a.columns);
  cut_rank(factor, 0.0);
}

void cut_rank(CompleteFactor& factor, double smallest) {
  int rank = 0;
  while (rank < factor.rank && std::abs(factor.a(rank, rank)) > smallest) ++rank;
  factor.rank = rank;
}

void complete(CompleteFactor& factor) {
  const MutableMatrixView& a = factor.a;
  if (factor.rank == 0 || factor.rank == a.columns) return;
  const int lda = leading_dimension(a);
  int info = 0;
  dtzrzf_(&factor.rank, &a.columns, a.data, &lda, factor.ztau, factor.work, &factor.work_length,
          &info);
  assert(info == 0);
}

void apply_q_transposed(const CompleteFactor& factor, double* b) {
  apply_q(factor, "T", b);
}

void solve_triangle(const CompleteFactor& factor, const double* c, double* y) {
  const int lda = leading_dimension(factor.a);
  std::copy_n(c, factor.rank, y);
  if (factor.rank > 0) dtrsv_("U", "N", "N", &factor.rank, factor.a.data, &lda, y, &one);
  std::fill(y + factor.rank, y + factor.a.columns, 0.0);
}

void turn_back(const CompleteFactor& factor, double* y, double* x) {
  const MutableMatrixView& a = factor.a;
  if (factor.rank > 0 && factor.rank < a.columns) {
    const int lda = leading_dimension(a);
    const int tail = a.columns - factor.rank;
    int info = 0;
    dormrz_("L", "T", &a.columns, &one, &factor.rank, &tail, a.data, &lda, factor.ztau, y,
            &a.columns, factor.work, &factor.work_length, &info);
    assert(info == 0);
  }
  for (int j = 0; j < a.columns; ++j) x[factor.pivot[j] - 1] = y[j];
}

// Aa. Bjorck, Iterative refinement of linear least squares solutions I, BIT 7 (1967): corrections
// of y and of the residual r together, from the augmented system
//
//   [ I     A_k ] [dr]   [f]                 f = b - r - A_k y
//   [ A_k^T  0  ] [dy] = [g],                g = -A_k^T r.
//
// Correcting y alone doesn't converge when the residual is large.
double refine(const CompleteFactor& factor, int k, const MatrixView& a, const double* b, double* y,
              double* r, double* f, double* g) {
  constexpr int most_corrections = 5;
  const int lda = leading_dimension(factor.a);
  extended_residual(factor, k, a, b, nullptr, y, r);
  double last_size = dnrm2_(&k, y, &one);
  for (int pass = 0; pass < most_corrections; ++pass) {
    extended_residual(factor, k, a, b, r, y, f);
    extended_gradient(factor, k, a, r, g);
    dtrsv_("U", "T", "N", &k, factor.a.data, &lda, g, &one);
    apply_q(factor, "T", f);
    // f holds [c1; c2] = Q^T f: dr = Q [g; c2], R dy = c1 - g.
    for (int j = 0; j < k; ++j) {
      const double c = f[j];
      f[j] = g[j];
      g[j] = c - g[j];
    }
    dtrsv_("U", "N", "N", &k, factor.a.data, &lda, g, &one);
    apply_q(factor, "N", f);

    // A correction that isn't clearly smaller than the one before is rounding.
    const double size = dnrm2_(&k, g, &one);
    if (!(size < 0.5 * last_size)) break;
    for (int j = 0; j < k; ++j) y[j] += g[j];
    for (int i = 0; i < a.rows; ++i) r[i] += f[i];
    last_size = size;
  }
  return dnrm2_(&a.rows, r, &one);
}

void turn_rows(const CompleteFactor& factor, const MutableMatrixView& m) {
  const MutableMatrixView& a = factor.a;
  if (m.rows == 0) return;
  const int ldm = leading_dimension(m);
  dlapmt_(&one, &m.rows, &m.columns, m.data, &ldm, factor.pivot);
  if (factor.rank > 0 && factor.rank < a.columns) {
    const int lda = leading_dimension(a);
    const int tail = a.columns - factor.rank;
    int info = 0;
    dormrz_("R", "T", &m.rows, &m.columns, &factor.rank, &tail, a.data, &lda, factor.ztau, m.data,
            &ldm, factor.work, &factor.work_length, &info);
    assert(info == 0);
  }
}

}  // namespace torve
