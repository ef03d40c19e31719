#include <algorithm>
#include <cassert>

#include "adaptive/linalg/lapack_kit.h"
#include "adaptive/linalg/linalg.h"

namespace torve {

namespace {

bool succeeded(int info) {
  assert(info >= 0);
  return info == 0;
}

// LAPACK DSYEV: eigenvalues in rising order of the upper triangle of a; a becomes the eigenvectors
// or is lost. False when the iteration doesn't converge.
bool dsyev(bool want_vectors, MATRIX& a, VECTOR& values) {
  const int n = a.rows();
  const int lda = std::max(n, 1);
  const char* job = want_vectors ? "V" : "N";
  int query = -1;
  double wanted = 0.0;
  int info = 0;
  dsyev_(job, "U", &n, a.data(), &lda, values.data(), &wanted, &query, &info);
  if (!succeeded(info)) return false;
  const int length = std::max(static_cast<int>(wanted), 3 * lda);
  VECTOR work(length);
  dsyev_(job, "U", &n, a.data(), &lda, values.data(), work.data(), &length, &info);
  return succeeded(info);
}

// LAPACK DGESVD with all columns of U and V. False when the iteration doesn't converge.
bool dgesvd(MATRIX a, SvdResult& result) {
  const int m = a.rows();
  const int n = a.columns();
  result = {MATRIX(m, m), VECTOR(std::min(m, n)), MATRIX(n, n)};
  int query = -1;
  double wanted = 0.0;
  int info = 0;
  dgesvd_("A", "A", &m, &n, a.data(), &m, result.s.data(), result.u.data(), &m, result.vt.data(),
          &n, &wanted, &query, &info);
  if (!succeeded(info)) return false;
  const int length = std::max(static_cast<int>(wanted), 1);
  VECTOR work(length);
  dgesvd_("A", "A", &m, &n, a.data(), &m, result.s.data(), result.u.data(), &m, result.vt.data(),
          &n, work.data(), &length, &info);
  return succeeded(info);
}

// LAPACK DGEQRF: a becomes R with the reflectors of Q below.
void dgeqrf(MATRIX& a, VECTOR& tau) {
  const int m = a.rows();
  const int n = a.columns();
  int query = -1;
  double wanted = 0.0;
  int info = 0;
  dgeqrf_(&m, &n, a.data(), &m, tau.data(), &wanted, &query, &info);
  if (!succeeded(info)) return;
  const int length = std::max(static_cast<int>(wanted), n);
  VECTOR work(length);
  dgeqrf_(&m, &n, a.data(), &m, tau.data(), work.data(), &length, &info);
  succeeded(info);
}

// LAPACK DORGQR: the reflectors in q become the orthonormal columns.
void dorgqr(MATRIX& q, const VECTOR& tau) {
  const int m = q.rows();
  const int k = q.columns();
  int query = -1;
  double wanted = 0.0;
  int info = 0;
  dorgqr_(&m, &k, &k, q.data(), &m, tau.data(), &wanted, &query, &info);
  if (!succeeded(info)) return;
  const int length = std::max(static_cast<int>(wanted), k);
  VECTOR work(length);
  dorgqr_(&m, &k, &k, q.data(), &m, tau.data(), work.data(), &length, &info);
  succeeded(info);
}

VECTOR eigenvalues(MATRIX& a, bool want_vectors, Messages& messages) {
  if (a.rows() != a.columns()) {
    messages.fail("syev: dimensions do not match!");
    return {};
  }
  if (!all_finite(a)) {
    messages.fail("syev: illegal values of input arguments!");
    return {};
  }
  VECTOR values(a.rows());
  if (!dsyev(want_vectors, a, values)) {
    messages.fail("syev: algorithm failed to converge!");
    return {};
  }
  return values;
}

}  // namespace

MATRIX chol(const MATRIX& a, Messages& messages) {
  if (a.rows() != a.columns()) {
    messages.fail("chol: dimensions do not match!");
    return {};
  }
  if (!all_finite(a)) {
    messages.fail("chol: illegal values of input arguments!");
    return {};
  }
  MATRIX r = a;
  const int n = r.rows();
  const int lda = std::max(n, 1);
  int info = 0;
  dpotrf_("U", &n, r.data(), &lda, &info);
  if (!succeeded(info)) {
    messages.fail("chol: factorization could not be completed!");
    return {};
  }
  for (int j = 0; j < n; ++j) {
    for (int i = j + 1; i < n; ++i) r(i, j) = 0.0;
  }
  return r;
}

VECTOR syev(const MATRIX& a, Messages& messages) {
  MATRIX copy = a;
  return eigenvalues(copy, false, messages);
}

VECTOR syev(const MATRIX& a, MATRIX& vectors, Messages& messages) {
  MATRIX copy = a;
  VECTOR values = eigenvalues(copy, true, messages);
  vectors = values.size() > 0 ? copy : MATRIX();
  return values;
}

// A matrix without elements has no shape that U and V could be made for.
SvdResult svd(const MATRIX& a, Messages& messages) {
  if (a.empty()) {
    messages.fail("svd: dimensions do not match!");
    return {};
  }
  if (!all_finite(a)) {
    messages.fail("svd: illegal values of input arguments!");
    return {};
  }
  SvdResult result;
  if (!dgesvd(a, result)) {
    messages.fail("svd: decomposition could not be completed!");
    return {};
  }
  return result;
}

QrResult qr(const MATRIX& a, Messages& messages) {
  if (a.empty()) {
    messages.fail("qr: dimensions do not match!");
    return {};
  }
  if (!all_finite(a)) {
    messages.fail("qr: illegal values of input arguments!");
    return {};
  }
  const int k = std::min(a.rows(), a.columns());
  MATRIX factors = a;
  VECTOR tau(k);
  dgeqrf(factors, tau);
  QrResult result = {MATRIX(a.rows(), k), MATRIX(k, a.columns())};
  for (int j = 0; j < a.columns(); ++j) {
    for (int i = 0; i <= std::min(j, k - 1); ++i) result.r(i, j) = factors(i, j);
  }
  for (int j = 0; j < k; ++j) {
    for (int i = 0; i < a.rows(); ++i) result.q(i, j) = factors(i, j);
  }
  dorgqr(result.q, tau);
  return result;
}

}  // namespace torve
