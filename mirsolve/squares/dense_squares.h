// Least squares of a dense matrix.
//
// The columns are brought to about the same length by powers of two, which costs no digit; then
// A P = Q R by Householder reflections with column pivoting, rank from the diagonal of R, shortest
// solution by a complete orthogonal factorization where columns depend on each other (G. H. Golub
// and C. F. Van Loan, Matrix Computations, chapter 5), iterative refinement of solution and
// residual together where they don't (Aa. Bjorck, BIT 7 (1967) 257).
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "mirsolve/problem/forms.h"
#include "run/matrix_view.h"

namespace mirsolve {

// Rows of A and b of min |A x - b|^2, column-major.
struct DenseSquares {
  int rows = 0;
  int columns = 0;
  std::vector<double> a;
  std::vector<double> b;

  torve::MatrixView matrix() const { return {a.data(), rows, columns, rows}; }
};

struct DenseSolution {
  std::vector<double> x;
  int rank = 0;
};

// More numbers than this don't go into a matrix: 256 MiB, of which a fit holds two more.
inline constexpr std::size_t most_matrix_elements = std::size_t{1} << 25U;

// A row sqrt(weight) * form for each square, a column for each of the first `columns` variables.
// Nothing when a weight is negative or the matrix too large.
std::optional<DenseSquares> dense_squares(std::span<const WeightedSquare> squares, int columns);

// Among equal ones the shortest, each unknown in units of its column's length. Nothing when the
// arithmetic overflows.
std::optional<DenseSolution> solve_dense(const DenseSquares& problem);

}  // namespace mirsolve
