#pragma once

#include <memory>
#include <span>
#include <vector>

#include "model/fast_lasso/kernels.h"
#include "model/lasso.h"
#include "run/arrays.h"

namespace torve {

// The kernels of the lasso path without what can't change a number: columns whose coefficient is
// zero aren't subtracted, a residual that stands already isn't made again, and the update after a
// column is made together with the step of the next one. Products in single precision, with a bound
// of their error, tell which columns are clearly strong or not and which coefficients clearly stay
// zero. Every number that is left is made by the operations of the plain sweep in their order, so
// that coefficients, and all that is decided by them, are the same to the last bit.
//
// Allocates when it is made and never in a sweep.
class FastLasso : public LassoSteps {
 public:
  // Null where there is no room; where numbers that aren't finite may come up, since a zero
  // coefficient then counts; and where squares of the residual could underflow.
  static std::unique_ptr<FastLasso> make(
      const LassoProblem& problem, const MemoryAccount& memory,
      const fast_lasso::Kernels& kernels = fast_lasso::best_kernels());

  void sweep(double lambda, std::span<bool> mask, std::span<double> coefficients) override;
  bool find_strong(double lambda, ColumnMask active, std::span<const double> coefficients,
                   std::span<bool> strong) override;
  double sse(std::span<const double> coefficients) override;

  // Products over all points that had to be made.
  long long steps() const { return steps_; }

 private:
  FastLasso(const LassoProblem& problem, const fast_lasso::Kernels& kernels);

  const double* column(std::size_t j) const { return columns_ + j * at(rows_); }
  template <class Counts>
  void make_residual(std::span<const double> coefficients, Counts counts);
  double square_of_residual() const;
  void estimate_products();
  bool stays_zero(std::size_t j, double lambda, fast_lasso::Update& due);
  double take_step(std::size_t j, double old, fast_lasso::Update& due);

  const fast_lasso::Kernels& kernels_;
  int points_;
  int rows_;   // points and the zeros behind them
  int brief_;  // the same of a copy in single precision
  long long steps_ = 0;
  std::vector<double> store_;
  double* columns_ = nullptr;  // in the store, as are the next three
  double* z_ = nullptr;
  double* residual_ = nullptr;  // z less the columns held_ times their factors
  double* moving_ = nullptr;    // the residual in a sweep
  std::vector<const double*> held_, wanted_;
  std::vector<double> held_factors_, wanted_factors_;

  std::vector<float> brief_store_;
  float* brief_columns_ = nullptr;  // in that store, as is the next
  float* brief_residual_ = nullptr;
  std::vector<double> lengths_;    // of the columns
  std::vector<double> estimates_;  // of the products of the columns with the residual
  double error_ = 0.0;             // of the estimates, for a column of length 1
  bool has_estimates_ = false;     // they are those of the residual
  double distance_ = 0.0;          // at most: of what moves from the residual
  bool is_measured_ = true;        // that distance is the present one
};

}  // namespace torve
