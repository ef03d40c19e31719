// The inner loop of the values of greedy candidates, in the widths that processors have. Sums are
// made in another order by each of them, so that values differ in their last digits; a search never
// decides by those.
#pragma once

namespace torve::fast_greedy {

inline constexpr int most_vectors = 4;

struct Kernels {
  // sums(v) = x . vectors(v), one to four of them, in one pass over x.
  void (*multiply)(const double* x, const double* const* vectors, int count, int rows,
                   double* sums);
};

// For every processor.
const Kernels& plain_kernels();
// With 256-bit vectors and fused multiplications; null where this processor hasn't got them.
const Kernels* wide_kernels();
const Kernels& widest_kernels();

}  // namespace torve::fast_greedy
