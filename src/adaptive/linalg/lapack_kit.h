#pragma once

// The Fortran routines of LAPACK and BLAS that the matrix kit calls besides those of
// model/lapack.h, in the same convention.

#include "model/lapack.h"

extern "C" {

// x'y.
double ddot_(const int* n, const double* x, const int* incx, const double* y, const int* incy);

// C := alpha op(A) op(B) + beta C.
void dgemm_(const char* transa, const char* transb, const int* m, const int* n, const int* k,
            const double* alpha, const double* a, const int* lda, const double* b, const int* ldb,
            const double* beta, double* c, const int* ldc);

// Solves A X = B for a square A, which becomes L and U. info > 0: U is singular.
void dgesv_(const int* n, const int* nrhs, double* a, const int* lda, int* ipiv, double* b,
            const int* ldb, int* info);

// A = P L U. info > 0: U is singular.
void dgetrf_(const int* m, const int* n, double* a, const int* lda, int* ipiv, int* info);

// Solves op(A) X = B with the factors from dgetrf_ or dgesv_.
void dgetrs_(const char* trans, const int* n, const int* nrhs, const double* a, const int* lda,
             const int* ipiv, double* b, const int* ldb, int* info);

// The inverse from the factors of dgetrf_. lwork >= n. info > 0: U is singular.
void dgetri_(const int* n, double* a, const int* lda, const int* ipiv, double* work,
             const int* lwork, int* info);

// Estimates 1 / condition from the factors of dgetrf_ and the norm of A. work 4 n, iwork n.
void dgecon_(const char* norm, const int* n, const double* a, const int* lda, const double* anorm,
             double* rcond, double* work, int* iwork, int* info);

// Shortest least-squares solution by A P = Q [T 0] Z with column pivoting; rank: the largest
// leading triangle with a condition below 1 / rcond. B has max(m, n) rows.
void dgelsy_(const int* m, const int* n, const int* nrhs, double* a, const int* lda, double* b,
             const int* ldb, int* jpvt, const double* rcond, int* rank, double* work,
             const int* lwork, int* info);

// A = R'R. info > 0: A isn't positive definite.
void dpotrf_(const char* uplo, const int* n, double* a, const int* lda, int* info);

// Eigenvalues w, and for jobz 'V' eigenvectors in A. info > 0: no convergence.
void dsyev_(const char* jobz, const char* uplo, const int* n, double* a, const int* lda, double* w,
            double* work, const int* lwork, int* info);

// A = U S V'. info > 0: no convergence.
void dgesvd_(const char* jobu, const char* jobvt, const int* m, const int* n, double* a,
             const int* lda, double* s, double* u, const int* ldu, double* vt, const int* ldvt,
             double* work, const int* lwork, int* info);

// A = Q R without pivoting, Q as reflectors below R.
void dgeqrf_(const int* m, const int* n, double* a, const int* lda, double* tau, double* work,
             const int* lwork, int* info);

// The first n columns of Q from k reflectors.
void dorgqr_(const int* m, const int* n, const int* k, double* a, const int* lda, const double* tau,
             double* work, const int* lwork, int* info);

}  // extern "C"
