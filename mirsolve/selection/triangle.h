// What is left of the data at a node of the search: the triangle of its open columns, from which
// the columns that are in the model have been projected out.
//
//   R  z     rows and columns 0 .. size - 1, row by row at a distance of size + 1, z last
//      tail  sum of squares that no open column reaches
//
// Lengths are in units in which every column of the data has a length in [0.5, 1).
// Sources: Givens rotations, SIAM J. Appl. Math. 6 (1958) 26; dropping a column, Gatu and
// Kontoghiorghes, J. Comput. Graph. Statist. 15 (2006) 139.
#pragma once

#include <span>
#include <vector>

namespace mirsolve::selection {

struct Triangle {
  int size = 0;
  std::vector<double> rows;  // size x (size + 1)
  double tail = 0.0;

  double* row(int i) { return rows.data() + offset(i); }
  const double* row(int i) const { return rows.data() + offset(i); }
  double at(int i, int j) const { return row(i)[j]; }
  double z(int i) const { return row(i)[size]; }
  std::size_t offset(int i) const {
    return static_cast<std::size_t>(i) * (static_cast<std::size_t>(size) + 1);
  }
  void resize(int columns) {
    size = columns;
    rows.resize(offset(columns));
  }
};

// `to` becomes `from` without column j, whose part of z goes to the tail or the columns behind.
void drop_column(const Triangle& from, int j, Triangle& to);
// `to` becomes `from` with column j projected out of the others and of z. A column that is made of
// those in the model already takes nothing with it.
void take_column(const Triangle& from, int j, Triangle& to);

// The fit on all open columns.
struct Fit {
  std::vector<double> x;
  std::vector<double> variances;  // diagonal of (R'R)^-1
  std::vector<double> inverse;    // of R, row by row at a distance of the size; row times R is a
                                  // row of the identity up to rounding of the row's length
};
void fit_all(const Triangle& triangle, Fit& fit);

// Factors f with  (sum of squares without the columns of a set E) - tail >= sum over E of f x^2
// for every set E of open columns, from a fit on them: the largest multiple of 1 / variances for
// which R'R - diag(f) is still not indefinite, by a power iteration that a Cholesky factorization
// confirms. Source: the perspective reformulation, Frangioni and Gentile, Math. Program. 106 (2006)
// 225; Golub and Van Loan, Matrix Computations, 4.2.
void separable_part(int size, const Fit& fit, std::span<double> factors);

}  // namespace mirsolve::selection
