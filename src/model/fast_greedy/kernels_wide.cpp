// Compiled for 256-bit vectors with fused multiplications: see the CMake file.
#include "model/fast_greedy/kernel_loops.h"

namespace torve::fast_greedy {

const Kernels* wide_kernels() {
#if defined(__AVX2__) && defined(__FMA__)
  static constexpr Kernels kernels{multiply_vectors};
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") ? &kernels : nullptr;
#else
  return nullptr;
#endif
}

}  // namespace torve::fast_greedy
