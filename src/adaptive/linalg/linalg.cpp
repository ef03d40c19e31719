#include "adaptive/linalg/linalg.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "adaptive/linalg/lapack_kit.h"

namespace torve {

namespace {

constexpr double no_number = std::numeric_limits<double>::quiet_NaN();

bool created(const VECTOR& x) {
  return x.size() > 0;
}

bool created(const MATRIX& a) {
  return a.rows() > 0 || a.columns() > 0;
}

bool same_shape(const MATRIX& a, const MATRIX& b) {
  return a.rows() == b.rows() && a.columns() == b.columns();
}

// True for a matrix of one row or one column with n elements.
bool holds_vector(const MATRIX& a, int n) {
  return (a.columns() == 1 && a.rows() == n) || (a.rows() == 1 && a.columns() == n);
}

std::span<const double> elements(const MATRIX& a) {
  return {a.data(), at(a.rows()) * at(a.columns())};
}

// Leading dimension as LAPACK and BLAS want it: at least 1.
int leading(const MATRIX& a) {
  return std::max(a.rows(), 1);
}

double fail_with_nan(Messages& messages, const char* text) {
  messages.fail(text);
  return no_number;
}

}  // namespace

// ---- objects ------------------------------------------------------------------------------------

bool create_mat(MATRIX& a, int rows, int columns, Messages& messages) {
  if (created(a)) return messages.fail("create_mat: matrix is already created!");
  a = MATRIX(rows, columns);
  return true;
}

bool create_vec(VECTOR& x, int n, Messages& messages) {
  if (created(x)) return messages.fail("create_vec: vector is already created!");
  x = VECTOR(n);
  return true;
}

int size(const MATRIX& a, int dimension, Messages& messages) {
  if (dimension == 1) return a.rows();
  if (dimension == 2) return a.columns();
  messages.fail("size: dimension index must be 1 or 2!");
  return 0;
}

int size(const VECTOR& x, int dimension, Messages& messages) {
  if (dimension == 1) return x.size();
  if (dimension == 2) return 1;
  messages.fail("size: dimension index must be 1 or 2!");
  return 0;
}

bool assign(VECTOR& to, const VECTOR& from, Messages& messages) {
  if (created(to) && to.size() != from.size())
    return messages.fail("assignment to vector: dimensions do not match!");
  to = from;
  return true;
}

bool assign(VECTOR& to, const MATRIX& from, Messages& messages) {
  const int n = from.rows() * from.columns();
  if (!holds_vector(from, n) || (created(to) && to.size() != n))
    return messages.fail("assignment to vector: dimensions do not match!");
  to = VECTOR(n);
  std::ranges::copy(elements(from), to.data());
  return true;
}

bool assign(MATRIX& to, const MATRIX& from, Messages& messages) {
  if (created(to) && !same_shape(to, from))
    return messages.fail("assignment to matrix: dimensions do not match!");
  to = from;
  return true;
}

bool assign(MATRIX& to, const VECTOR& from, Messages& messages) {
  if (created(to) && !holds_vector(to, from.size()))
    return messages.fail("assignment to matrix: dimensions do not match!");
  messages.say("warning: matrix is assigned from a vector!");
  if (!created(to)) to = MATRIX(from.size(), 1);
  std::ranges::copy(from.span(), to.data());
  return true;
}

bool set_diag(MATRIX& a, const VECTOR& diagonal, Messages& messages) {
  if (diagonal.size() != std::min(a.rows(), a.columns()))
    return messages.fail("set_diag: dimensions do not match!");
  for (int i = 0; i < diagonal.size(); ++i) a(i, i) = diagonal(i);
  return true;
}

bool get_diag(const MATRIX& a, VECTOR& diagonal, Messages& messages) {
  if (created(diagonal) && diagonal.size() != std::min(a.rows(), a.columns()))
    return messages.fail("get_diag: dimensions do not match!");
  diagonal = get_diag(a);
  return true;
}

VECTOR get_diag(const MATRIX& a) {
  VECTOR diagonal(std::min(a.rows(), a.columns()));
  for (int i = 0; i < diagonal.size(); ++i) diagonal(i) = a(i, i);
  return diagonal;
}

bool trans(const MATRIX& a, MATRIX& transposed, Messages& messages) {
  if (created(transposed) &&
      (transposed.rows() != a.columns() || transposed.columns() != a.rows())) {
    return messages.fail("trans: dimensions do not match!");
  }
  transposed = trans(a);
  return true;
}

MATRIX trans(const MATRIX& a) {
  MATRIX transposed(a.columns(), a.rows());
  for (int j = 0; j < a.columns(); ++j) {
    for (int i = 0; i < a.rows(); ++i) transposed(j, i) = a(i, j);
  }
  return transposed;
}

MATRIX eye(int n) {
  MATRIX unit(n, n);
  for (int i = 0; i < n; ++i) unit(i, i) = 1.0;
  return unit;
}

bool all_finite(std::span<const double> values) {
  return std::ranges::all_of(values, [](double value) { return std::isfinite(value); });
}

bool all_finite(const VECTOR& x) {
  return all_finite(x.span());
}

bool all_finite(const MATRIX& a) {
  return all_finite(elements(a));
}

// ---- sums, products, norms ----------------------------------------------------------------------

VECTOR vector_add(const VECTOR& x, const VECTOR& y, Messages& messages) {
  if (x.size() != y.size()) {
    messages.fail("vector_add: dimensions do not match!");
    return {};
  }
  VECTOR sum = x;
  for (int i = 0; i < y.size(); ++i) sum(i) += y(i);
  return sum;
}

MATRIX matrix_add(const MATRIX& a, const MATRIX& b, Messages& messages) {
  if (!same_shape(a, b)) {
    messages.fail("matrix_add: dimensions do not match!");
    return {};
  }
  MATRIX sum = a;
  for (int j = 0; j < b.columns(); ++j) {
    for (int i = 0; i < b.rows(); ++i) sum(i, j) += b(i, j);
  }
  return sum;
}

namespace {

double sum_of_magnitudes(std::span<const double> values) {
  double sum = 0.0;
  for (const double value : values) sum += std::abs(value);
  return sum;
}

// std::max would lose a NaN on one of its sides.
double largest_magnitude(std::span<const double> values) {
  double largest = 0.0;
  for (const double value : values) {
    if (std::isnan(value)) return value;
    largest = std::max(largest, std::abs(value));
  }
  return largest;
}

// The scaling against overflow of the library needs finite values.
double euclidean_length(std::span<const double> values) {
  if (!all_finite(values)) return sum_of_magnitudes(values);
  const int n = static_cast<int>(values.size());
  const int next = 1;
  return dnrm2_(&n, values.data(), &next);
}

double largest_row_sum(const MATRIX& a) {
  VECTOR sums(a.rows());
  for (int j = 0; j < a.columns(); ++j) {
    for (int i = 0; i < a.rows(); ++i) sums(i) += std::abs(a(i, j));
  }
  return largest_magnitude(sums.span());
}

double largest_column_sum(const MATRIX& a) {
  VECTOR sums(a.columns());
  for (int j = 0; j < a.columns(); ++j) sums(j) = sum_of_magnitudes(a.view().column(j));
  return largest_magnitude(sums.span());
}

}  // namespace

double array_norm(std::span<const double> values, int n, Messages& messages) {
  if (n == 1) return sum_of_magnitudes(values);
  if (n == 2) return euclidean_length(values);
  if (n == 3) return largest_magnitude(values);
  return fail_with_nan(messages, "array_norm: n must be 1 or 2 or 3!");
}

double vector_norm(const VECTOR& x, int n, Messages& messages) {
  if (n < 1 || n > 3) return fail_with_nan(messages, "vector_norm: n must be 1 or 2 or 3!");
  return array_norm(x.span(), n, messages);
}

double matrix_norm(const MATRIX& a, int n, Messages& messages) {
  if (n == 1) return largest_column_sum(a);
  if (n == 3) return largest_row_sum(a);
  if (n >= -3 && n <= -1) return array_norm(elements(a), -n, messages);
  return fail_with_nan(
      messages, n == 2 ? "matrix_norm: case n = 2 is not yet implemented (can be done by svd)!"
                       : "matrix_norm: abs(n) must be 1 or 2 or 3!");
}

double dot(const VECTOR& x, const VECTOR& y, Messages& messages) {
  if (x.size() != y.size()) return fail_with_nan(messages, "dot: dimensions do not match!");
  const int n = x.size();
  const int next = 1;
  return ddot_(&n, x.data(), &next, y.data(), &next);
}

// BLAS returns at once when a side is 0; the zeros of the new object are the empty sums then. The
// same holds for gemm.
VECTOR gemv(const MATRIX& a, const VECTOR& x, char flag, Messages& messages) {
  const bool transposed = flag == 'T';
  if ((flag != 'N' && !transposed) || x.size() != (transposed ? a.rows() : a.columns())) {
    messages.fail("gemv: dimensions do not match!");
    return {};
  }
  VECTOR product(transposed ? a.columns() : a.rows());
  if (a.empty()) return product;
  const double one = 1.0;
  const double zero = 0.0;
  const int m = a.rows();
  const int n = a.columns();
  const int next = 1;
  dgemv_(&flag, &m, &n, &one, a.data(), &m, x.data(), &next, &zero, product.data(), &next);
  return product;
}

MATRIX gemm(const MATRIX& a, const MATRIX& b, char flag_a, char flag_b, Messages& messages) {
  if ((flag_a != 'N' && flag_a != 'T') || (flag_b != 'N' && flag_b != 'T')) {
    messages.fail("gemm: illegal values of flagA or flagB!");
    return {};
  }
  const int rows = flag_a == 'N' ? a.rows() : a.columns();
  const int inner = flag_a == 'N' ? a.columns() : a.rows();
  const int columns = flag_b == 'N' ? b.columns() : b.rows();
  if (inner != (flag_b == 'N' ? b.rows() : b.columns())) {
    messages.fail("gemm: dimensions do not match!");
    return {};
  }
  MATRIX product(rows, columns);
  if (product.empty() || inner == 0) return product;
  const double one = 1.0;
  const double zero = 0.0;
  const int lda = leading(a);
  const int ldb = leading(b);
  dgemm_(&flag_a, &flag_b, &rows, &columns, &inner, &one, a.data(), &lda, b.data(), &ldb, &zero,
         product.data(), &rows);
  return product;
}

}  // namespace torve
