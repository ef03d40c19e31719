#define TORVE_VECTOR_LANES 2
#include "model/fast_lasso/kernel_loops.h"

namespace torve::fast_lasso {

const Kernels& plain_kernels() {
  static constexpr Kernels kernels = kernels_named("plain");
  return kernels;
}

const Kernels& best_kernels() {
  if (const Kernels* widest = widest_kernels()) return *widest;
  const Kernels* wide = wide_kernels();
  return wide != nullptr ? *wide : plain_kernels();
}

}  // namespace torve::fast_lasso
