#pragma once

#include "run/matrix_view.h"

namespace torve {

// One nonnegative least-squares problem,
//
//   minimise |E u - f|  subject to  u >= 0,
//
// and its storage, all of which belongs to the caller.
struct NnlsProblem {
  MutableMatrixView e;  // in: E, columns of any length. out: overwritten
  double* f;            // in: f, e.rows long. out: Q^T f
  double* u;            // out: the solution, e.columns long
  double* dual;         // work, e.columns long
  double* trial;        // work, e.rows long
  int* index;           // out: all columns, those with u > 0 first
};

struct NnlsOutcome {
  int passive;    // how many columns have u > 0
  bool finished;  // false: the iteration limit came first
};

// Solves the problem. Never runs more than `limit` inner iterations; what stands there at that
// point is nonnegative and serves as a guess.
NnlsOutcome nnls(const NnlsProblem& problem, int limit);

}  // namespace torve
