// Compiled for 512-bit vectors: see the CMake file.
#if defined(__AVX512F__)

#define TORVE_VECTOR_LANES 8
#include "model/fast_lasso/kernel_loops.h"

namespace torve::fast_lasso {

const Kernels* widest_kernels() {
  static constexpr Kernels kernels = kernels_named("widest");
  return __builtin_cpu_supports("avx512f") ? &kernels : nullptr;
}

}  // namespace torve::fast_lasso

#else

#include "model/fast_lasso/kernels.h"

namespace torve::fast_lasso {

const Kernels* widest_kernels() {
  return nullptr;
}

}  // namespace torve::fast_lasso

#endif
