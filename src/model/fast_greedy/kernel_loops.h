// The loops of the kernels, for a file that is compiled for one kind of processor. Everything has
// internal linkage and nothing of a library is called, so that no code for one kind gets into
// programs that run on another.
#pragma once

#include "model/fast_greedy/kernels.h"

namespace torve::fast_greedy {
namespace {

// Four numbers, in as many registers as it takes.
using Four = double __attribute__((vector_size(32)));

inline Four load(const double* from) {
  Four value;
  __builtin_memcpy(&value, from, sizeof value);
  return value;
}

template <int count>
void multiply_with(const double* x, const double* const* vectors, int rows, double* sums) {
  Four first[count] = {};
  Four second[count] = {};
  int i = 0;
  for (; i + 8 <= rows; i += 8) {
    const Four a = load(x + i);
    const Four b = load(x + i + 4);
    for (int v = 0; v < count; ++v) {
      first[v] += a * load(vectors[v] + i);
      second[v] += b * load(vectors[v] + i + 4);
    }
  }
  for (int v = 0; v < count; ++v) {
    const Four part = first[v] + second[v];
    double sum = (part[0] + part[1]) + (part[2] + part[3]);
    for (int k = i; k < rows; ++k) sum += x[k] * vectors[v][k];
    sums[v] = sum;
  }
}

void multiply_vectors(const double* x, const double* const* vectors, int count, int rows,
                      double* sums) {
  switch (count) {
    case 1:
      return multiply_with<1>(x, vectors, rows, sums);
    case 2:
      return multiply_with<2>(x, vectors, rows, sums);
    case 3:
      return multiply_with<3>(x, vectors, rows, sums);
    default:
      return multiply_with<most_vectors>(x, vectors, rows, sums);
  }
}

}  // namespace
}  // namespace torve::fast_greedy
