// Compiled for 256-bit vectors: see the CMake file.
#if defined(__AVX2__)

#define TORVE_VECTOR_LANES 4
#include "model/fast_lasso/kernel_loops.h"

namespace torve::fast_lasso {

const Kernels* wide_kernels() {
  static constexpr Kernels kernels = kernels_named("wide");
  return __builtin_cpu_supports("avx2") ? &kernels : nullptr;
}

}  // namespace torve::fast_lasso

#else

#include "model/fast_lasso/kernels.h"

namespace torve::fast_lasso {

const Kernels* wide_kernels() {
  return nullptr;
}

}  // namespace torve::fast_lasso

#endif
