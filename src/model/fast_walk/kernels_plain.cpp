#include "model/fast_walk/kernel_loops.h"

namespace torve::fast_walk {

namespace {

int any_bits(FourFlags flags) {
  return static_cast<int>((flags[0] & 1) | (flags[1] & 2) | (flags[2] & 4) | (flags[3] & 8));
}

}  // namespace

const Kernels& plain_kernels() {
  static constexpr Kernels kernels{"plain",         take_place, multiply_rows,
                                   eliminate_pivot, any_leaves, scan_leaves};
  return kernels;
}

const Kernels& widest_kernels() {
  const Kernels* wide = wide_kernels();
  return wide != nullptr ? *wide : plain_kernels();
}

}  // namespace torve::fast_walk
