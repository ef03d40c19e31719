#pragma once

#include "run/matrix_view.h"

namespace torve {

// The complete orthogonal factorization of a matrix A whose rank isn't known beforehand,
//
//   A P = Q [T 0; 0 0] Z,
//
// P a permutation, Q and Z orthogonal, T upper triangular of order `rank`. It stands in the place
// of A; arrays and workspace belong to the caller.
struct CompleteFactor {
  MutableMatrixView a;  // in: A. out: T and the reflectors of Q and Z
  int* pivot;           // a.columns long; column j of A P is column pivot[j] - 1 of A
  double* tau;          // a.columns long
  double* ztau;         // a.columns long
  double* work;         // work_length long
  int work_length;      // at least factor_workspace(a.columns)
  int rank = 0;         // may be lowered before complete() is called
};

// What the routines below need. Above the least LAPACK takes, so that the factorization is blocked.
constexpr int factor_workspace(int columns) {
  return 34 * (columns + 1);
}

// A P = Q R. Every non-zero diagonal element counts for the rank.
void factorize(CompleteFactor& factor);

// Ends the rank before the first diagonal element that isn't greater than `smallest`. Before
// complete() only.
void cut_rank(CompleteFactor& factor, double smallest);

// [R11 R12] = [T 0] Z, where the rank asks for it. Before this Z stands for the unit matrix.
void complete(CompleteFactor& factor);

// b := Q^T b, b as long as A has rows.
void apply_q_transposed(const CompleteFactor& factor, double* b);

// y := [T^-1 c; 0], the shortest least-squares solution in the turned unknowns, from c = the first
// `rank` elements of Q^T b.
void solve_triangle(const CompleteFactor& factor, const double* c, double* y);

// x := P Z^T y, from the turned unknowns to those of A. y is used up.
void turn_back(const CompleteFactor& factor, double* y, double* x);

// Improves y, the least-squares solution of A_k y = b, by iterative refinement; A_k stands for the
// first k columns of A P, which must be independent. `a` is A from before the factorization.
// Returns the length of the residual. Workspace: r and f as long as b, g as long as y.
double refine(const CompleteFactor& factor, int k, const MatrixView& a, const double* b, double* y,
              double* r, double* f, double* g);

// M := M P Z^T, for rows that multiply the same unknowns as A does.
void turn_rows(const CompleteFactor& factor, const MutableMatrixView& m);

}  // namespace torve
