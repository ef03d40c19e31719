#pragma once

#include "model/orthogonal.h"
#include "run/matrix_view.h"

namespace torve {

// A least-squares problem with inequality rows after the orthogonal reduction,
//
//   minimise |T y - f|  subject to  G y >= h,
//
// T square and nonsingular upper triangular, the rows of G of length near 1. When the original
// matrix had a rank below n, rows from `rank` on hold only a small multiple of the unit matrix:
// they make the solution unique and are left out at the end.
struct ReducedProblem {
  int n;                // unknowns
  int rank;             // rows of T that come from the data
  MutableMatrixView t;  // n x n, zeros below the diagonal
  double* f;            // n long
  MatrixView g;         // constraint rows x n
  const double* h;      // as many as g has rows
};

// Workspace of the search below, all of it the caller's.
struct ActiveRowsWork {
  MutableMatrixView q;       // n x n: reflectors and triangle of the active rows' QR factorization
  double* tau;               // n
  MutableMatrixView turned;  // n x n: T Q, its right part factored
  CompleteFactor free;       // storage for the factorization of that part
  double* image;             // n
  double* rest;              // n
  double* y;                 // n: the solution
  double* kept;              // n
  double* u;                 // n: multipliers of the active rows
  double* next;              // n
  int* active;               // n: the active rows, in the order of q's columns
  int* state;                // one for each constraint row
};

enum class Verdict {
  solved,
  contradictory,  // a nonnegative combination of the rows says 0 >= something positive
  gave_up         // too many solves without an answer
};

// Finds the active rows of the solution, starting from the rows in `guess`; leaves the solution in
// work.y.
Verdict settle_active_rows(const ReducedProblem& problem, const ActiveRowsWork& work,
                           const int* guess, int guesses);

// One row at y: how far h_i - G_i y is above 0, and the size of its terms, of which rounding is a
// share: |h_i| + sum |G_ij y_j|, and a little of |y| for terms that are rounding themselves.
struct RowCheck {
  double violation;
  double size;
};
RowCheck check_row(const MatrixView& g, const double* h, int row, const double* y, double y_length);

// A row counts as violated when it's missed by more than this share of the size of its terms.
inline constexpr double row_rounding = 2e-14;

}  // namespace torve
