#pragma once

#include <cstddef>
#include <functional>
#include <span>

#include "run/matrix_view.h"

namespace torve {

// Kernels of the lasso path: coordinate descent with an active set and a strong set (Friedman,
// Hastie, Tibshirani, J. Stat. Softw. 33 (2010) 1; Tibshirani et al., JRSS B 74 (2012) 245). Two
// deviations are part of the program: a column's squared norm counts as n although it is n - 1, and
// the strong set compares an inner product that isn't divided by n.
//
// Sums over rows are made in `lasso_lanes` partial sums, term i in sum i mod lasso_lanes, which are
// then added in halves: an order that is fixed whatever the processor, and that vectors of any
// width can keep. FastLasso does the same operations on the same numbers in the same order.

inline constexpr double smallest_lasso_coefficient = 1e-08;
inline constexpr std::size_t lasso_lanes = 16;

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

// u moved towards zero by lambda.
inline double soft_threshold(double u, double lambda) {
  if (u > 0.0 && u > lambda) return u - lambda;
  if (u < 0.0 && lambda < -u) return u + lambda;
  return 0.0;
}

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

// What the path is made of: the kernels above on one problem.
class LassoSteps {
 public:
  virtual ~LassoSteps() = default;
  virtual void sweep(double lambda, std::span<bool> mask, std::span<double> coefficients) = 0;
  virtual bool find_strong(double lambda, ColumnMask active, std::span<const double> coefficients,
                           std::span<bool> strong) = 0;
  virtual double sse(std::span<const double> coefficients) = 0;
};

// As they stand.
class PlainLasso : public LassoSteps {
 public:
  PlainLasso(const LassoProblem& problem, std::span<double> residual)
      : problem_(problem), residual_(residual) {}
  void sweep(double lambda, std::span<bool> mask, std::span<double> coefficients) override;
  bool find_strong(double lambda, ColumnMask active, std::span<const double> coefficients,
                   std::span<bool> strong) override;
  double sse(std::span<const double> coefficients) override;

 private:
  LassoProblem problem_;
  std::span<double> residual_;
};

// The working sets and coefficients of a path, one entry a column.
struct LassoSets {
  std::span<bool> active;
  std::span<bool> strong;
  std::span<bool> trial;
  std::span<double> coef;
  std::span<double> old;
};

// The path, from point to point. Coefficients stay from one to the next.
class LassoPath {
 public:
  // Clears the sets and the coefficients.
  LassoPath(LassoSteps& steps, const LassoSets& sets);

  // Goes on to this penalty. `is_late` is asked now and then; true leaves the point as it is.
  void descend(double lambda, const std::function<bool()>& is_late);
  std::span<const double> coefficients() const { return sets_.coef; }

 private:
  void remember();
  bool settle_active(double lambda, const std::function<bool()>& is_late);
  bool try_strong(double lambda);

  LassoSteps& steps_;
  LassoSets sets_;
  int sweeps_ = 0;  // at the present penalty
};

}  // namespace torve
