#include "model/fast_greedy/kernel_loops.h"

namespace torve::fast_greedy {

const Kernels& plain_kernels() {
  static constexpr Kernels kernels{multiply_vectors};
  return kernels;
}

const Kernels& widest_kernels() {
  const Kernels* wide = wide_kernels();
  return wide != nullptr ? *wide : plain_kernels();
}

}  // namespace torve::fast_greedy
