#pragma once

#include <span>

#include "run/matrix_view.h"

namespace torve {

// Kernels of the lasso path: coordinate descent with an active set and a strong set (Friedman,
// Hastie, Tibshirani, J. Stat. Softw. 33 (2010) 1; Tibshirani et al., JRSS B 74 (2012) 245). Two
// deviations are part of the program: a column's squared norm counts as n although it is n - 1, and
// the strong set compares an inner product that isn't divided by n.

inline constexpr double smallest_lasso_coefficient = 1e-08;

// Mean and standard deviation (n - 1) of a column; 1 for the latter when it is at most 1e-8 or
// there are fewer than two rows.
struct ColumnMoments {
  double mean;
  double deviation;
};
ColumnMoments column_moments(std::span<const double> x);

// The problem: standardised columns and the centred output.
struct LassoProblem {
  MatrixView xstd;
  std::span<const double> zc;
};

// The falling, log-spaced penalties from the largest |x z|/n to a thousandth of it.
void make_penalties(const LassoProblem& problem, std::span<double> penalties);

// One sweep over the columns in the mask, in order. Columns whose coefficient becomes as good as
// zero leave the mask. `residual` is scratch, one entry a row.
void lasso_sweep(const LassoProblem& problem, double lambda, std::span<bool> mask,
                 std::span<double> coefficients, std::span<double> residual);

// Marks the columns whose inner product with the residual exceeds lambda; returns whether there are
// any.
bool find_strong_columns(const LassoProblem& problem, double lambda, ColumnMask active,
                         std::span<const double> coefficients, std::span<bool> strong,
                         std::span<double> residual);

// The largest change of a coefficient relative to its magnitude or 1.
double largest_change(std::span<const double> now, std::span<const double> before);

// Sum of squares of what all columns leave of the output.
double lasso_sse(const LassoProblem& problem, std::span<const double> coefficients,
                 std::span<double> residual);

// Sure independence (Fan and Lv, JRSS B 70 (2008) 849): the signed inner product of a standardised
// column and the output.
double inner_product(std::span<const double> a, std::span<const double> b);

}  // namespace torve
