#pragma once

namespace torve {

// Minimises |A x - b| (m >= n) or finds the shortest x with A x = b (m < n), A of full rank, by QR
// or LQ without pivoting (LAPACK DGELS, Anderson et al., LAPACK Users' Guide, SIAM 1999). a is m x
// n with leading dimension lda and is overwritten; b has max(m, n) places and holds x in the first
// n, and for m > n the residual's components behind. Returns INFO: above 0 when a diagonal element
// of the triangle is exactly zero.
int dgels(int m, int n, double* a, int lda, double* b, double* work, int lwork);

// The work space that dgels asks for; below 1 when the query fails.
int dgels_workspace(int m, int n, int lda);

}  // namespace torve
