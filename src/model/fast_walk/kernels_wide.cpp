// Compiled for 256-bit vectors with fused multiplications: see the CMake file.
#include "model/fast_walk/kernel_loops.h"

#if defined(__AVX2__) && defined(__FMA__)

#include <immintrin.h>

namespace torve::fast_walk {

namespace {

int any_bits(FourFlags flags) {
  return _mm256_movemask_pd(reinterpret_cast<__m256d>(flags));
}

}  // namespace

const Kernels* wide_kernels() {
  static constexpr Kernels kernels{"wide",          take_place, multiply_rows,
                                   eliminate_pivot, any_leaves, scan_leaves};
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") ? &kernels : nullptr;
}

}  // namespace torve::fast_walk

#else

namespace torve::fast_walk {

const Kernels* wide_kernels() {
  return nullptr;
}

}  // namespace torve::fast_walk

#endif
