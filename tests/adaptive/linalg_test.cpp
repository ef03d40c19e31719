#include "adaptive/linalg/linalg.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <ostream>
#include <string>
#include <vector>

#include "adaptive/minq_problems.h"

namespace torve::test {
namespace {

void expect_near(const MATRIX& found, const MATRIX& expected, double tolerance = 1e-13) {
  ASSERT_EQ(found.rows(), expected.rows());
  ASSERT_EQ(found.columns(), expected.columns());
  for (int j = 0; j < found.columns(); ++j) {
    for (int i = 0; i < found.rows(); ++i)
      EXPECT_NEAR(found(i, j), expected(i, j), tolerance) << i << ' ' << j;
  }
}

void expect_near(const VECTOR& found, const VECTOR& expected, double tolerance = 1e-13) {
  ASSERT_EQ(found.size(), expected.size());
  for (int i = 0; i < found.size(); ++i) EXPECT_NEAR(found(i), expected(i), tolerance) << i;
}

const MATRIX& square() {
  static const MATRIX a = {{2.0, 1.0}, {4.0, 4.0}};  // determinant 4
  return a;
}

const MATRIX& wide() {
  static const MATRIX a = {{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}};
  return a;
}

// ---- texts --------------------------------------------------------------------------------------

struct TextRow {
  const char* name;
  std::function<void(Messages&)> call;
  const char* text;
  bool failed = true;
};

void PrintTo(const TextRow& row, std::ostream* stream) {
  *stream << row.name;
}

class LinalgText : public testing::TestWithParam<TextRow> {};

TEST_P(LinalgText, is_given) {
  Messages messages;
  GetParam().call(messages);
  EXPECT_EQ(messages.failed, GetParam().failed);
  EXPECT_EQ(messages.lines, std::vector<std::string>{GetParam().text});
}

const VECTOR one = {1.0};
const VECTOR two = {1.0, 2.0};
const VECTOR three = {1.0, 2.0, 3.0};
const MATRIX singular = {{1.0, 2.0}, {2.0, 4.0}};
const MATRIX broken = {{1.0, not_a_number}, {infinity, 4.0}};
const MATRIX broken_wide = {{1.0, not_a_number, 2.0}, {infinity, 4.0, 3.0}};

INSTANTIATE_TEST_SUITE_P(
    Objects, LinalgText,
    testing::Values(TextRow{"create_mat",
                            [](Messages& m) {
                              MATRIX a(1, 1);
                              EXPECT_FALSE(create_mat(a, 2, 2, m));
                              EXPECT_EQ(a.rows(), 1);
                            },
                            "create_mat: matrix is already created!"},
                    TextRow{"create_vec",
                            [](Messages& m) {
                              VECTOR x(1);
                              EXPECT_FALSE(create_vec(x, 2, m));
                              EXPECT_EQ(x.size(), 1);
                            },
                            "create_vec: vector is already created!"},
                    TextRow{"size_of_matrix", [](Messages& m) { EXPECT_EQ(size(wide(), 3, m), 0); },
                            "size: dimension index must be 1 or 2!"},
                    TextRow{"size_of_vector", [](Messages& m) { EXPECT_EQ(size(two, 0, m), 0); },
                            "size: dimension index must be 1 or 2!"},
                    TextRow{"vector_to_vector",
                            [](Messages& m) {
                              VECTOR x(3);
                              EXPECT_FALSE(assign(x, two, m));
                            },
                            "assignment to vector: dimensions do not match!"},
                    TextRow{"matrix_to_vector",
                            [](Messages& m) {
                              VECTOR x(4);
                              EXPECT_FALSE(assign(x, square(), m));
                            },
                            "assignment to vector: dimensions do not match!"},
                    TextRow{"matrix_to_matrix",
                            [](Messages& m) {
                              MATRIX a(3, 2);
                              EXPECT_FALSE(assign(a, wide(), m));
                            },
                            "assignment to matrix: dimensions do not match!"},
                    TextRow{"vector_to_matrix",
                            [](Messages& m) {
                              MATRIX a(2, 2);
                              EXPECT_FALSE(assign(a, VECTOR(4), m));
                            },
                            "assignment to matrix: dimensions do not match!"},
                    TextRow{"vector_to_matrix_warning",
                            [](Messages& m) {
                              MATRIX a(1, 2);
                              EXPECT_TRUE(assign(a, two, m));
                              EXPECT_EQ(a(0, 1), 2.0);
                            },
                            "warning: matrix is assigned from a vector!", false},
                    TextRow{"set_diag",
                            [](Messages& m) {
                              MATRIX a = wide();
                              EXPECT_FALSE(set_diag(a, three, m));
                            },
                            "set_diag: dimensions do not match!"},
                    TextRow{"get_diag",
                            [](Messages& m) {
                              VECTOR x(3);
                              EXPECT_FALSE(get_diag(wide(), x, m));
                            },
                            "get_diag: dimensions do not match!"},
                    TextRow{"trans",
                            [](Messages& m) {
                              MATRIX a(2, 3);
                              EXPECT_FALSE(trans(wide(), a, m));
                            },
                            "trans: dimensions do not match!"}),
    [](const auto& row) { return std::string(row.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Products, LinalgText,
    testing::Values(
        TextRow{"vector_add", [](Messages& m) { EXPECT_EQ(vector_add(two, three, m).size(), 0); },
                "vector_add: dimensions do not match!"},
        TextRow{"matrix_add",
                [](Messages& m) { EXPECT_TRUE(matrix_add(wide(), square(), m).empty()); },
                "matrix_add: dimensions do not match!"},
        TextRow{"array_norm",
                [](Messages& m) { EXPECT_TRUE(std::isnan(array_norm(two.span(), 4, m))); },
                "array_norm: n must be 1 or 2 or 3!"},
        TextRow{"vector_norm", [](Messages& m) { EXPECT_TRUE(std::isnan(vector_norm(two, 0, m))); },
                "vector_norm: n must be 1 or 2 or 3!"},
        TextRow{"matrix_norm_2",
                [](Messages& m) { EXPECT_TRUE(std::isnan(matrix_norm(wide(), 2, m))); },
                "matrix_norm: case n = 2 is not yet implemented (can be done by svd)!"},
        TextRow{"matrix_norm",
                [](Messages& m) { EXPECT_TRUE(std::isnan(matrix_norm(wide(), -4, m))); },
                "matrix_norm: abs(n) must be 1 or 2 or 3!"},
        TextRow{"dot", [](Messages& m) { EXPECT_TRUE(std::isnan(dot(two, three, m))); },
                "dot: dimensions do not match!"},
        TextRow{"gemv", [](Messages& m) { EXPECT_EQ(gemv(wide(), two, 'N', m).size(), 0); },
                "gemv: dimensions do not match!"},
        TextRow{"gemv_flag", [](Messages& m) { EXPECT_EQ(gemv(wide(), three, 'X', m).size(), 0); },
                "gemv: dimensions do not match!"},
        TextRow{"gemm_flag",
                [](Messages& m) { EXPECT_TRUE(gemm(wide(), wide(), 'N', 'X', m).empty()); },
                "gemm: illegal values of flagA or flagB!"},
        TextRow{"gemm", [](Messages& m) { EXPECT_TRUE(gemm(wide(), wide(), 'N', 'N', m).empty()); },
                "gemm: dimensions do not match!"}),
    [](const auto& row) { return std::string(row.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Systems, LinalgText,
    testing::Values(
        TextRow{"gesv", [](Messages& m) { EXPECT_EQ(gesv(square(), three, 'N', m).size(), 0); },
                "gesv: dimensions do not match!"},
        TextRow{"gesv_flag", [](Messages& m) { gesv(square(), two, 'n', m); },
                "gesv: illegal value of flag!"},
        TextRow{"gesv_singular", [](Messages& m) { gesv(singular, two, 'N', m); },
                "gesv: failed to find solution of linear system: singular matrix!"},
        TextRow{"gesv_singular_transposed", [](Messages& m) { gesv(singular, two, 'T', m); },
                "gesv: failed to find solution of linear system: singular matrix!"},
        TextRow{"gesv_overflow", [](Messages& m) { gesv({{1e-300}}, VECTOR{1e300}, 'N', m); },
                "gesv: failed to find solution of linear system: singular matrix!"},
        TextRow{"gesv_illegal", [](Messages& m) { gesv(broken, two, 'T', m); },
                "gesv: illegal values of input arguments!"},
        TextRow{"gesv_illegal_right", [](Messages& m) { gesv({{1.0}}, VECTOR{infinity}, 'N', m); },
                "gesv: illegal values of input arguments!"},
        TextRow{"mldivide", [](Messages& m) { mldivide(wide(), two, m); },
                "mldivide: dimensions do not match!"},
        TextRow{"mldivide_singular", [](Messages& m) { mldivide(singular, two, m); },
                "mldivide: failed to find solution of linear system: singular matrix!"},
        TextRow{"mldivide_illegal", [](Messages& m) { mldivide(broken, two, m); },
                "mldivide: illegal values of input arguments!"},
        TextRow{"mrdivide", [](Messages& m) { mrdivide(three, square(), m); },
                "mrdivide: dimensions do not match!"},
        TextRow{"mrdivide_singular", [](Messages& m) { mrdivide(two, singular, m); },
                "mrdivide: failed to find solution of linear system: singular matrix!"},
        TextRow{"mrdivide_illegal", [](Messages& m) { mrdivide(two, broken, m); },
                "mrdivide: illegal values of input arguments!"},
        TextRow{"inv", [](Messages& m) { inv(wide(), m); }, "inv: dimensions do not match!"},
        TextRow{"inv_illegal", [](Messages& m) { inv(broken, m); },
                "inv: dgetrf: illegal values of input arguments!"},
        TextRow{"inv_singular", [](Messages& m) { inv(singular, m); },
                "inv: dgetri: illegal values of input arguments!"},
        TextRow{"backslash", [](Messages& m) { backslash(wide(), three, m); },
                "backslash: dimensions do not match!"},
        TextRow{"backslash_illegal_square", [](Messages& m) { backslash(broken, two, m); },
                "backslash: illegal values of input arguments!"},
        TextRow{"backslash_illegal", [](Messages& m) { backslash(broken_wide, two, m); },
                "error: backslash: illegal values of input arguments!"},
        TextRow{"backslash_overflow",
                [](Messages& m) {
                  backslash({{1e-300}, {1e-300}}, VECTOR{1e300, 1e300}, m);
                },
                "backslash: numerical difficulties arose; please report this to the makers of "
                "TORVE!"}),
    [](const auto& row) { return std::string(row.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Factorisations, LinalgText,
    testing::Values(TextRow{"chol", [](Messages& m) { EXPECT_TRUE(chol(wide(), m).empty()); },
                            "chol: dimensions do not match!"},
                    TextRow{"chol_indefinite",
                            [](Messages& m) {
                              chol({{1.0, 2.0}, {2.0, 1.0}}, m);
                            },
                            "chol: factorization could not be completed!"},
                    TextRow{"chol_illegal", [](Messages& m) { chol(broken, m); },
                            "chol: illegal values of input arguments!"},
                    TextRow{"syev", [](Messages& m) { EXPECT_EQ(syev(wide(), m).size(), 0); },
                            "syev: dimensions do not match!"},
                    TextRow{"syev_illegal",
                            [](Messages& m) {
                              MATRIX vectors(2, 2);
                              syev(broken, vectors, m);
                              EXPECT_TRUE(vectors.empty());
                            },
                            "syev: illegal values of input arguments!"},
                    TextRow{"svd", [](Messages& m) { EXPECT_EQ(svd(MATRIX(0, 3), m).s.size(), 0); },
                            "svd: dimensions do not match!"},
                    TextRow{"svd_illegal",
                            [](Messages& m) { EXPECT_TRUE(svd(broken_wide, m).u.empty()); },
                            "svd: illegal values of input arguments!"},
                    TextRow{"qr", [](Messages& m) { EXPECT_TRUE(qr(MATRIX(), m).q.empty()); },
                            "qr: dimensions do not match!"},
                    TextRow{"qr_illegal", [](Messages& m) { EXPECT_TRUE(qr(broken, m).r.empty()); },
                            "qr: illegal values of input arguments!"}),
    [](const auto& row) { return std::string(row.param.name); });

// ---- objects ------------------------------------------------------------------------------------

TEST(Linalg, makes_and_copies_objects) {
  Messages messages;
  MATRIX a;
  VECTOR x;
  EXPECT_TRUE(create_mat(a, 2, 3, messages));
  EXPECT_TRUE(create_vec(x, 2, messages));
  EXPECT_EQ(size(a, 1, messages), 2);
  EXPECT_EQ(size(a, 2, messages), 3);
  EXPECT_EQ(size(x, 1, messages), 2);
  EXPECT_EQ(size(x, 2, messages), 1);
  EXPECT_TRUE(assign(a, wide(), messages));
  EXPECT_TRUE(assign(x, two, messages));
  expect_near(a, wide(), 0.0);
  expect_near(x, two, 0.0);
  EXPECT_TRUE(assign(x, MATRIX{{7.0, 8.0}}, messages));
  expect_near(x, {7.0, 8.0}, 0.0);
  EXPECT_TRUE(messages.lines.empty());
  MATRIX column;
  EXPECT_TRUE(assign(column, three, messages));
  expect_near(column, {{1.0}, {2.0}, {3.0}}, 0.0);
}

TEST(Linalg, reads_and_writes_parts) {
  Messages messages;
  MATRIX a = wide();
  expect_near(get_diag(a), {1.0, 5.0}, 0.0);
  EXPECT_TRUE(set_diag(a, {-1.0, -2.0}, messages));
  expect_near(a, {{-1.0, 2.0, 3.0}, {4.0, -2.0, 6.0}}, 0.0);
  expect_near(a.row(1), {4.0, -2.0, 6.0}, 0.0);
  expect_near(a.column(2), {3.0, 6.0}, 0.0);
  a.set_row(0, {7.0, 8.0, 9.0});
  a.set_column(1, {0.0, 1.0});
  a.append_row(three);
  expect_near(a, {{7.0, 0.0, 9.0}, {4.0, 1.0, 6.0}, {1.0, 2.0, 3.0}}, 0.0);
  MATRIX grown;
  grown.append_row(two);
  expect_near(grown, {{1.0, 2.0}}, 0.0);
  MATRIX transposed(3, 2);
  EXPECT_TRUE(trans(wide(), transposed, messages));
  expect_near(transposed, {{1.0, 4.0}, {2.0, 5.0}, {3.0, 6.0}}, 0.0);
}

// ---- sums, products, norms ----------------------------------------------------------------------

TEST(Linalg, adds_and_multiplies) {
  Messages messages;
  expect_near(vector_add(two, {10.0, 20.0}, messages), {11.0, 22.0}, 0.0);
  expect_near(matrix_add(square(), square(), messages), {{4.0, 2.0}, {8.0, 8.0}}, 0.0);
  EXPECT_EQ(dot(three, {4.0, 5.0, 6.0}, messages), 32.0);
  EXPECT_EQ(dot({}, {}, messages), 0.0);
  expect_near(gemv(wide(), three, 'N', messages), {14.0, 32.0});
  expect_near(gemv(wide(), two, 'T', messages), {9.0, 12.0, 15.0});
  expect_near(gemv(MATRIX(2, 0), {}, 'N', messages), {0.0, 0.0});
  expect_near(gemm(square(), wide(), 'N', 'N', messages), {{6.0, 9.0, 12.0}, {20.0, 28.0, 36.0}});
  expect_near(gemm(square(), wide(), 'T', 'N', messages), {{18.0, 24.0, 30.0}, {17.0, 22.0, 27.0}});
  expect_near(gemm(wide(), wide(), 'N', 'T', messages), {{14.0, 32.0}, {32.0, 77.0}});
  expect_near(gemm(wide(), square(), 'T', 'T', messages), {{6.0, 20.0}, {9.0, 28.0}, {12.0, 36.0}});
  expect_near(gemm(MATRIX(2, 0), MATRIX(0, 1), 'N', 'N', messages), {{0.0}, {0.0}});
  EXPECT_TRUE(messages.lines.empty());
}

TEST(Linalg, measures) {
  Messages messages;
  const VECTOR x = {3.0, -4.0, 0.0};
  EXPECT_EQ(vector_norm(x, 1, messages), 7.0);
  EXPECT_NEAR(vector_norm(x, 2, messages), 5.0, 1e-15);
  EXPECT_EQ(vector_norm(x, 3, messages), 4.0);
  EXPECT_NEAR(vector_norm({3e300, 4e300}, 2, messages), 5e300, 1e286);
  const MATRIX a = {{1.0, -2.0}, {3.0, 0.0}};
  EXPECT_EQ(matrix_norm(a, 1, messages), 4.0);
  EXPECT_EQ(matrix_norm(a, 3, messages), 3.0);
  EXPECT_EQ(matrix_norm(a, -1, messages), 6.0);
  EXPECT_NEAR(matrix_norm(a, -2, messages), std::sqrt(14.0), 1e-15);
  EXPECT_EQ(matrix_norm(a, -3, messages), 3.0);
  for (const int n : {1, 2, 3}) {
    EXPECT_EQ(vector_norm({}, n, messages), 0.0);
    EXPECT_EQ(vector_norm({-infinity, 1.0}, n, messages), infinity);
    EXPECT_TRUE(std::isnan(vector_norm({infinity, not_a_number}, n, messages)));
    EXPECT_TRUE(std::isnan(matrix_norm(broken, n == 2 ? -2 : n, messages)));
  }
  EXPECT_TRUE(messages.lines.empty());
}

// ---- linear systems -----------------------------------------------------------------------------

TEST(Linalg, solves_small_systems) {
  Messages messages;
  expect_near(gesv(square(), VECTOR{4.0, 12.0}, 'N', messages), {1.0, 2.0});
  expect_near(gesv(square(), VECTOR{10.0, 9.0}, 'T', messages), {1.0, 2.0});
  expect_near(mldivide(square(), VECTOR{4.0, 12.0}, messages), {1.0, 2.0});
  expect_near(mrdivide(VECTOR{10.0, 9.0}, square(), messages), {1.0, 2.0});
  expect_near(inv(square(), messages), {{1.0, -0.25}, {-1.0, 0.5}});
  expect_near(backslash(square(), VECTOR{4.0, 12.0}, messages), {1.0, 2.0});
  EXPECT_TRUE(messages.lines.empty());
}

TEST(Linalg, solves_for_several_right_hand_sides) {
  Dice dice(41);
  Messages messages;
  for (const int n : {1, 2, 7, 40}) {
    MATRIX a = dice.matrix(n, n);
    for (int i = 0; i < n; ++i) a(i, i) += 3.0;
    const MATRIX x = dice.matrix(n, 3);
    const MATRIX b = gemm(a, x, 'N', 'N', messages);
    expect_near(gesv(a, b, 'N', messages), x, 1e-11);
    expect_near(gesv(a, gemm(a, x, 'T', 'N', messages), 'T', messages), x, 1e-11);
    expect_near(mldivide(a, b, messages), x, 1e-11);
    expect_near(mrdivide(gemm(x, a, 'T', 'N', messages), a, messages), trans(x), 1e-11);
    expect_near(gemm(a, inv(a, messages), 'N', 'N', messages), eye(n), 1e-11);
    expect_near(backslash(a, b, messages), x, 1e-11);
  }
  EXPECT_TRUE(messages.lines.empty());
}

TEST(Linalg, fits_when_a_matrix_is_not_square) {
  Messages messages;
  // The line through (0, 1), (1, 3), (2, 4), (3, 4).
  expect_near(backslash({{1.0, 0.0}, {1.0, 1.0}, {1.0, 2.0}, {1.0, 3.0}},
                        VECTOR{1.0, 3.0, 4.0, 4.0}, messages),
              {1.5, 1.0});
  // The shortest vectors on x + 2y + 2z = 9 and, for a singular square, on x + 2y = 5.
  expect_near(backslash({{1.0, 2.0, 2.0}}, VECTOR{9.0}, messages), {1.0, 2.0, 2.0});
  expect_near(backslash(singular, VECTOR{5.0, 10.0}, messages), {1.0, 2.0});
  expect_near(backslash({{0.0, 0.0}, {0.0, 0.0}, {0.0, 0.0}}, three, messages), {0.0, 0.0});
  EXPECT_TRUE(messages.lines.empty());
}

TEST(Linalg, survives_enormous_and_tiny_values) {
  Messages messages;
  const double huge = 1e308;
  const VECTOR x = backslash({{huge, huge}, {huge, -huge}}, VECTOR{huge, 0.0}, messages);
  expect_near(x, {0.5, 0.5}, 1e-14);
  EXPECT_NEAR(syev({{1e-310}}, messages)(0), 1e-310, 1e-323);
  EXPECT_EQ(svd({{0.0, 0.0}}, messages).s(0), 0.0);
}

TEST(Linalg, takes_matrices_without_elements) {
  Messages messages;
  const MATRIX none_at_all(0, 0);
  EXPECT_EQ(gesv(none_at_all, MATRIX(0, 2), 'N', messages).columns(), 2);
  EXPECT_EQ(gesv(none_at_all, VECTOR(), 'T', messages).size(), 0);
  EXPECT_TRUE(inv(none_at_all, messages).empty());
  EXPECT_TRUE(chol(none_at_all, messages).empty());
  EXPECT_EQ(syev(none_at_all, messages).size(), 0);
  expect_near(backslash(MATRIX(0, 2), VECTOR(), messages), {0.0, 0.0});
  EXPECT_EQ(backslash(MATRIX(2, 0), two, messages).size(), 0);
  EXPECT_TRUE(messages.lines.empty());
}

// ---- factorisations -----------------------------------------------------------------------------

TEST(Linalg, factorises_small_matrices) {
  Messages messages;
  expect_near(chol({{4.0, 2.0}, {2.0, 5.0}}, messages), {{2.0, 1.0}, {0.0, 2.0}});
  // Below the diagonal anything may stand.
  expect_near(chol({{4.0, 2.0}, {99.0, 5.0}}, messages), {{2.0, 1.0}, {0.0, 2.0}});
  MATRIX vectors;
  expect_near(syev({{2.0, 1.0}, {1.0, 2.0}}, vectors, messages), {1.0, 3.0});
  EXPECT_NEAR(vectors(0, 0), -vectors(1, 0), 1e-15);
  EXPECT_NEAR(std::abs(vectors(0, 1)), std::sqrt(0.5), 1e-15);
  expect_near(svd({{3.0, 0.0}, {0.0, -4.0}, {0.0, 0.0}}, messages).s, {4.0, 3.0});
  EXPECT_TRUE(messages.lines.empty());
}

struct ShapeOfMatrix {
  const char* name;
  int rows;
  int columns;
};

void PrintTo(const ShapeOfMatrix& row, std::ostream* stream) {
  *stream << row.name;
}

class LinalgShape : public testing::TestWithParam<ShapeOfMatrix> {};

TEST_P(LinalgShape, multiplies_back) {
  Dice dice(42);
  Messages messages;
  const int m = GetParam().rows;
  const int n = GetParam().columns;
  const int k = std::min(m, n);
  const MATRIX a = dice.matrix(m, n);

  const SvdResult s = svd(a, messages);
  MATRIX middle(m, n);
  ASSERT_TRUE(set_diag(middle, s.s, messages));
  expect_near(gemm(gemm(s.u, middle, 'N', 'N', messages), s.vt, 'N', 'N', messages), a, 1e-12);
  expect_near(gemm(s.u, s.u, 'T', 'N', messages), eye(m), 1e-12);
  expect_near(gemm(s.vt, s.vt, 'N', 'T', messages), eye(n), 1e-12);
  EXPECT_TRUE(std::ranges::is_sorted(s.s.span(), std::greater()));

  const QrResult f = qr(a, messages);
  EXPECT_EQ(f.q.columns(), k);
  expect_near(gemm(f.q, f.r, 'N', 'N', messages), a, 1e-12);
  expect_near(gemm(f.q, f.q, 'T', 'N', messages), eye(k), 1e-12);
  for (int j = 0; j < n; ++j) {
    for (int i = j + 1; i < k; ++i) EXPECT_EQ(f.r(i, j), 0.0);
  }

  const MATRIX definite = gram(a);
  MATRIX vectors;
  const VECTOR values = syev(definite, vectors, messages);
  expect_near(syev(definite, messages), values, 1e-11);
  MATRIX diagonal(m, m);
  ASSERT_TRUE(set_diag(diagonal, values, messages));
  expect_near(gemm(gemm(vectors, diagonal, 'N', 'N', messages), vectors, 'N', 'T', messages),
              definite, 1e-11);
  EXPECT_TRUE(messages.lines.empty());
  if (m <= n) {
    const MATRIX r = chol(definite, messages);
    expect_near(gemm(r, r, 'T', 'N', messages), definite, 1e-11);
  }
}

INSTANTIATE_TEST_SUITE_P(Shapes, LinalgShape,
                         testing::Values(ShapeOfMatrix{"one", 1, 1}, ShapeOfMatrix{"row", 1, 5},
                                         ShapeOfMatrix{"column", 5, 1},
                                         ShapeOfMatrix{"square", 6, 6}, ShapeOfMatrix{"wide", 4, 9},
                                         ShapeOfMatrix{"tall", 9, 4},
                                         ShapeOfMatrix{"large", 60, 45}),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace torve::test
