#pragma once

// The Fortran routines of LAPACK and BLAS that the fits call, declared once.
//
// Plain Fortran calling convention: every argument by address, 32-bit
// integers, column-major arrays, a trailing underscore. The hidden lengths of
// one-letter strings are left out; neither OpenBLAS nor the reference library
// reads them.

extern "C" {

// Euclidean length, safe against overflow and underflow.
double dnrm2_(const int* n, const double* x, const int* incx);

// y := alpha op(A) x + beta y.
void dgemv_(const char* trans, const int* m, const int* n, const double* alpha, const double* a,
            const int* lda, const double* x, const int* incx, const double* beta, double* y,
            const int* incy);

// x := op(A)^-1 x for a triangular A.
void dtrsv_(const char* uplo, const char* trans, const char* diag, const int* n, const double* a,
            const int* lda, double* x, const int* incx);

// Elementary reflector I - tau (1; v) (1; v)^T that takes (alpha; x) to
// (beta; 0). alpha becomes beta, x becomes v.
void dlarfg_(const int* n, double* alpha, double* x, const int* incx, double* tau);

// Columns of X into the order k, forward: column k(j) moves to place j.
void dlapmt_(const int* forward, const int* m, const int* n, double* x, const int* ldx, int* k);

// A = Q R. lwork >= n; -1 asks for the best size.
void dgeqrf_(const int* m, const int* n, double* a, const int* lda, double* tau, double* work,
             const int* lwork, int* info);

// A P = Q R with column pivoting. lwork >= 3 n + 1.
void dgeqp3_(const int* m, const int* n, double* a, const int* lda, int* jpvt, double* tau,
             double* work, const int* lwork, int* info);

// C := op(Q) C or C op(Q), Q as k reflectors from a QR factorization.
// lwork >= n for side 'L', m for side 'R'.
void dormqr_(const char* side, const char* trans, const int* m, const int* n, const int* k,
             const double* a, const int* lda, const double* tau, double* c, const int* ldc,
             double* work, const int* lwork, int* info);

// [R11 R12] = [T 0] Z for an upper trapezoidal matrix. lwork >= m.
void dtzrzf_(const int* m, const int* n, double* a, const int* lda, double* tau, double* work,
             const int* lwork, int* info);

// C := op(Z) C or C op(Z), Z as k reflectors from dtzrzf_, l = their tails.
// lwork >= n for side 'L', m for side 'R'.
void dormrz_(const char* side, const char* trans, const int* m, const int* n, const int* k,
             const int* l, const double* a, const int* lda, const double* tau, double* c,
             const int* ldc, double* work, const int* lwork, int* info);

// Full-rank least squares or minimum norm by QR or LQ. lwork = -1 asks for the size of work.
void dgels_(const char* trans, const int* m, const int* n, const int* nrhs, double* a,
            const int* lda, double* b, const int* ldb, double* work, const int* lwork, int* info);

}  // extern "C"
