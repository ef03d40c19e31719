#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "run/matrix_view.h"

namespace torve {

// The sums that tell whether a model is a least-squares fit, in one pass over the rows. Sums run in
// a fixed number of partial sums, so that they come out the same on every processor, and a row that
// doesn't take part adds nothing whatever it holds.

inline constexpr std::size_t most_fused_columns = 4;

struct ResidualSums {
  double square;  // sum of e e; in the order of sum_of_squares, to the last bit
  std::array<double, most_fused_columns> gradient;  // sum of e x(:,p), one for each column
};

// For e = z - sum over p of beta(p) x(:,p), with the one to four columns that x lists. Each value
// of the model is the one that model_values finds, but isn't stored.
void residual_sums(std::span<const double* const> x, const double* beta, std::span<const double> z,
                   RowMask rows, ResidualSums& sums);

// The same for e = z - y, where the model's values y have been worked out before.
void residual_sums_of_values(std::span<const double* const> x, const double* y,
                             std::span<const double> z, RowMask rows, ResidualSums& sums);

// Sum of squares of what stands in b behind the first n places: after DGELS, that of the residual.
double tail_square(std::span<const double> b, int n);

}  // namespace torve
