#pragma once

#include "adaptive/linalg/matrix.h"
#include "adaptive/linalg/messages.h"

namespace torve {

// Bound-constrained quadratic programming after A. Neumaier, MINQ: General definite and bound
// constrained indefinite quadratic programming (1998). README.md of this folder has the references
// and what was decided here.

enum class MinqStatus {
  minimum = 0,          // a local minimum; the global one when G is positive semidefinite
  iteration_limit = 1,  // x is the best point found
  unbounded = 2,        // x is a direction along which the function falls for ever
  bad_arguments = 3,    // shapes or values that can't be used; nothing was done
};

struct MinqResult {
  VECTOR x;
  double fct = 0.0;  // the function at x
  MinqStatus ier = MinqStatus::bad_arguments;
  int nsub = 0;  // subspace steps
};

// Minimises gamma + c'x + x'Gx/2 over xu <= x <= xo. G is n x n and symmetric. Bounds of plus and
// minus the largest finite double stand for none. prt above 0 gives a trace in messages. The search
// starts from xx, or from the point of the box next to 0 when xx is empty.
MinqResult minq(double gamma, const VECTOR& c, const MATRIX& G, const VECTOR& xu, const VECTOR& xo,
                int prt, Messages& messages, const VECTOR& xx = {});

struct DualResult {
  VECTOR x;
  VECTOR y;  // multipliers, one for each row of A
  MinqStatus ier = MinqStatus::bad_arguments;
};

// Minimises c'x + x'Dx/2, D = diag(d) with d > 0, subject to (Ax)_i >= b_i, and = b_i where eq_i is
// not 0, through the dual, a problem of minq. MinqStatus::unbounded: there is no such x.
DualResult minqsep(const VECTOR& c, const VECTOR& d, const MATRIX& A, const VECTOR& b,
                   const VECTOR& eq, int prt, Messages& messages);

// The same with a positive definite G (n x n) in place of D.
DualResult minqdef(const VECTOR& c, const MATRIX& G, const MATRIX& A, const VECTOR& b,
                   const VECTOR& eq, int prt, Messages& messages);

// Regularised least squares: minimises |Ax - b|^2 + sum over i of (x_i / s_i)^2, s > 0. An s_i of
// the largest finite double leaves x_i free. No elements after a failure.
VECTOR rls(const MATRIX& A, const VECTOR& b, const VECTOR& s, Messages& messages);

}  // namespace torve
