#pragma once

#include <span>

#include "adaptive/linalg/matrix.h"
#include "adaptive/linalg/messages.h"

namespace torve {

// A small vocabulary of dense linear algebra over BLAS and LAPACK (Anderson et al., LAPACK Users'
// Guide, SIAM 1999). Each function tests the shapes, calls the library and words the failure.
//
// On a failure the text goes to messages, messages.failed is set, and the result is false, NaN or
// an object without elements. Shapes are tested first. The solvers and factorisations refuse values
// that aren't finite as illegal: some LAPACK routines don't come back from them. Sums and products
// carry such values on as the arithmetic of the processor does.
//
// An object without elements counts as not created yet. An object that the caller hands over for a
// result must not be created yet or have the shape of the result.

// ---- objects ------------------------------------------------------------------------------------

bool create_mat(MATRIX& a, int rows, int columns, Messages& messages);
bool create_vec(VECTOR& x, int n, Messages& messages);

// The number of rows (dimension 1) or columns (2); a vector is a column. 0 for other dimensions.
int size(const MATRIX& a, int dimension, Messages& messages);
int size(const VECTOR& x, int dimension, Messages& messages);

// to = from. A matrix of one row or one column may stand for a vector and the other way round; into
// a matrix this gives a warning, and a matrix not created yet becomes a column.
bool assign(VECTOR& to, const VECTOR& from, Messages& messages);
bool assign(VECTOR& to, const MATRIX& from, Messages& messages);
bool assign(MATRIX& to, const MATRIX& from, Messages& messages);
bool assign(MATRIX& to, const VECTOR& from, Messages& messages);

// The diagonal of a has as many elements as the shorter side of a.
bool set_diag(MATRIX& a, const VECTOR& diagonal, Messages& messages);
bool get_diag(const MATRIX& a, VECTOR& diagonal, Messages& messages);
VECTOR get_diag(const MATRIX& a);

bool trans(const MATRIX& a, MATRIX& transposed, Messages& messages);
MATRIX trans(const MATRIX& a);

// The n x n unit matrix.
MATRIX eye(int n);

bool all_finite(std::span<const double> values);
bool all_finite(const VECTOR& x);
bool all_finite(const MATRIX& a);

// ---- sums, products, norms ----------------------------------------------------------------------

VECTOR vector_add(const VECTOR& x, const VECTOR& y, Messages& messages);
MATRIX matrix_add(const MATRIX& a, const MATRIX& b, Messages& messages);

// n = 1: sum of the magnitudes, 2: Euclidean length, 3: the largest magnitude. NaN in gives NaN.
double array_norm(std::span<const double> values, int n, Messages& messages);
double vector_norm(const VECTOR& x, int n, Messages& messages);

// n = 1: the largest column sum of magnitudes, 3: the largest row sum. A negative n takes the
// matrix as one array: array_norm of its elements with -n, so that -2 is the Frobenius norm.
double matrix_norm(const MATRIX& a, int n, Messages& messages);

double dot(const VECTOR& x, const VECTOR& y, Messages& messages);

// op(a) x, where op is as it is ('N') or transposed ('T').
VECTOR gemv(const MATRIX& a, const VECTOR& x, char flag, Messages& messages);

// op(a) op(b).
MATRIX gemm(const MATRIX& a, const MATRIX& b, char flag_a, char flag_b, Messages& messages);

// ---- linear systems -----------------------------------------------------------------------------
// A solution that overflows counts as one that a singular matrix gives.

// x with op(a) x = b, a square.
VECTOR gesv(const MATRIX& a, const VECTOR& b, char flag, Messages& messages);
MATRIX gesv(const MATRIX& a, const MATRIX& b, char flag, Messages& messages);

// a^-1 b, a square.
VECTOR mldivide(const MATRIX& a, const VECTOR& b, Messages& messages);
MATRIX mldivide(const MATRIX& a, const MATRIX& b, Messages& messages);

// b a^-1, a square; a vector is a row here.
VECTOR mrdivide(const VECTOR& b, const MATRIX& a, Messages& messages);
MATRIX mrdivide(const MATRIX& b, const MATRIX& a, Messages& messages);

MATRIX inv(const MATRIX& a, Messages& messages);

// The solution when a is square and regular, otherwise the shortest x of least |a x - b|.
VECTOR backslash(const MATRIX& a, const VECTOR& b, Messages& messages);
MATRIX backslash(const MATRIX& a, const MATRIX& b, Messages& messages);

// ---- factorisations -----------------------------------------------------------------------------

// Upper r with r'r = a; of the symmetric a only the upper triangle is looked at.
MATRIX chol(const MATRIX& a, Messages& messages);

// Eigenvalues of the symmetric a in rising order, from its upper triangle; column j of vectors is
// the eigenvector of length 1 for the value j.
VECTOR syev(const MATRIX& a, Messages& messages);
VECTOR syev(const MATRIX& a, MATRIX& vectors, Messages& messages);

// a = u s vt for a of m x n: u m x m and vt n x n orthogonal, s the min(m, n) singular values in
// falling order, the diagonal of an m x n matrix.
struct SvdResult {
  MATRIX u;
  VECTOR s;
  MATRIX vt;
};
SvdResult svd(const MATRIX& a, Messages& messages);

// a = q r for a of m x n and k = min(m, n): q m x k with orthonormal columns, r k x n upper
// triangular or trapezoidal.
struct QrResult {
  MATRIX q;
  MATRIX r;
};
QrResult qr(const MATRIX& a, Messages& messages);

}  // namespace torve
