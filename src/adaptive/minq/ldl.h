#pragma once

#include "adaptive/linalg/matrix.h"
#include "adaptive/linalg/messages.h"

namespace torve {

// Changes of a factorisation A = L D L', L unit lower triangular, D = diag(d) with d > 0, after the
// methods for modifying matrix factorizations of P. Gill, G. Golub, W. Murray and M. Saunders,
// Mathematics of Computation 28 (1974), 505-535. L is held with its unit diagonal; above it stand
// zeros.
//
// MINQ factorises the rows and columns of the free variables; those of the others are rows and
// columns of the unit matrix, so that a variable keeps its place in L whoever else is free.

enum class LdlChange {
  done,
  not_definite,  // L and d stay; p has p'Ap <= 0 for the A wanted, up to rounding, and isn't 0
  bad_shapes,    // nothing was done
};

// A := A + alp u u'.
LdlChange ldlrk1(MATRIX& L, VECTOR& d, double alp, const VECTOR& u, VECTOR& p, Messages& messages);

// Row and column j of A, so far those of the unit matrix, become g. g(i) must be 0 where row i is
// one of the unit matrix.
LdlChange ldlup(MATRIX& L, VECTOR& d, int j, const VECTOR& g, VECTOR& p, Messages& messages);

// Row and column j of A become those of the unit matrix.
LdlChange ldldown(MATRIX& L, VECTOR& d, int j, Messages& messages);

// A^-1 b. All shapes agree.
VECTOR ldl_solve(const MATRIX& L, const VECTOR& d, const VECTOR& b);

}  // namespace torve
