// The inner loops of the fast lasso, in the widths that processors have. All of them give the same
// bits as the plain sweep: each number comes from the same operations, and each sum is made in the
// same lanes. Multiplications and additions aren't contracted.
//
// Columns begin at multiples of 64 bytes and have `rows` numbers, a multiple of 8; behind the last
// point stand zeros.
#pragma once

namespace torve::fast_lasso {

inline constexpr int row_group = 8;

// Copies in single precision have a multiple of so many numbers.
inline constexpr int estimate_lanes = 32;

// An update of the residual that is due: to[i] = from[i] - x[i] factor.
struct Update {
  const double* from;
  const double* x;
  double factor;
  double* to;
};

struct Kernels {
  const char* name;
  // The sums of x[i] r[i] for four columns, which are `stride` apart. Single precision: what may be
  // decided by them is up to the caller.
  void (*estimate)(const float* x, int stride, const float* r, int rows, float* sums);
  // The sum of x[i] (r[i] + x[i] old).
  double (*step)(const double* x, double old, const double* r, int rows);
  // Makes an update and then a step on what it leaves, in one pass.
  double (*update_and_step)(const Update& update, const double* x, double old, int rows);
  // Makes an update; returns the squared distance from `base` to what it leaves.
  double (*update_and_measure)(const Update& update, const double* base, int rows);
  // r := z less the columns times their factors, one after the other.
  void (*subtract)(const double* z, const double* const* x, const double* factors, int columns,
                   double* r, int rows);
};

// For every processor; with 256-bit vectors; with 512-bit vectors. The latter two are null where
// this processor hasn't got them.
const Kernels& plain_kernels();
const Kernels* wide_kernels();
const Kernels* widest_kernels();
// The widest that there are.
const Kernels& best_kernels();

}  // namespace torve::fast_lasso
