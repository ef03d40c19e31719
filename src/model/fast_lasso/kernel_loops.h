// The loops of the kernels, for a file that is compiled for one kind of processor and defines
// TORVE_VECTOR_LANES before. Everything has internal linkage and nothing of a library is called, so
// that no code for one kind gets into programs that run on another.
#pragma once

#include "model/fast_lasso/kernels.h"

namespace torve::fast_lasso {
namespace {

constexpr int lanes = 16;  // as in the plain sweep
constexpr int width = TORVE_VECTOR_LANES;
constexpr int vectors = lanes / width;
constexpr int half = row_group / width;  // vectors of the last rows, if they aren't a whole group

using Vector = double __attribute__((vector_size(8 * width)));
using VectorInMemory = double __attribute__((vector_size(8 * width), may_alias));

inline Vector load(const double* from) {
  return *reinterpret_cast<const VectorInMemory*>(from);
}
inline void store(double* to, Vector value) {
  *reinterpret_cast<VectorInMemory*>(to) = value;
}

// The partial sums, in as many registers as it takes.
struct Parts {
  Vector part[vectors] = {};

  // Added in halves.
  double total() const {
    Vector sums[vectors];
    for (int v = 0; v < vectors; ++v) sums[v] = part[v];
    for (int v = vectors / 2; v > 0; v /= 2) {
      for (int k = 0; k < v; ++k) sums[k] += sums[k + v];
    }
    const Vector s = sums[0];
#if TORVE_VECTOR_LANES == 8
    const Vector t = s + __builtin_shufflevector(s, s, 4, 5, 6, 7, 4, 5, 6, 7);
    return (t[0] + t[2]) + (t[1] + t[3]);
#elif TORVE_VECTOR_LANES == 4
    return (s[0] + s[2]) + (s[1] + s[3]);
#else
    return s[0] + s[1];
#endif
  }
};

// Calls `body(i, v)` for the vectors from row i on, which belong to partial sum v.
template <class Body>
inline __attribute__((always_inline)) void for_rows(int rows, Body body) {
  int i = 0;
  for (; i + lanes <= rows; i += lanes) {
    for (int v = 0; v < vectors; ++v) body(i + v * width, v);
  }
  if (i < rows) {
    for (int v = 0; v < half; ++v) body(i + v * width, v);
  }
}

constexpr int float_width = 2 * width;
constexpr int float_vectors = estimate_lanes / float_width;
using Floats = float __attribute__((vector_size(8 * width)));
using FloatsInMemory = float __attribute__((vector_size(8 * width), may_alias));

inline Floats load(const float* from) {
  return *reinterpret_cast<const FloatsInMemory*>(from);
}

inline float total(const Floats* part) {
  Floats sum = part[0];
  for (int v = 1; v < float_vectors; ++v) sum += part[v];
  float lane[float_width];
  for (int k = 0; k < float_width; ++k) lane[k] = sum[k];
  for (int w = float_width / 2; w > 0; w /= 2) {
    for (int k = 0; k < w; ++k) lane[k] += lane[k + w];
  }
  return lane[0];
}

void estimate(const float* x, int stride, const float* r, int rows, float* sums) {
  const float* a = x;
  const float* b = a + stride;
  const float* c = b + stride;
  const float* d = c + stride;
  Floats pa[float_vectors] = {}, pb[float_vectors] = {}, pc[float_vectors] = {},
         pd[float_vectors] = {};
  for (int i = 0; i < rows; i += estimate_lanes) {
    for (int v = 0; v < float_vectors; ++v) {
      const int k = i + v * float_width;
      const Floats rest = load(r + k);
      pa[v] += load(a + k) * rest;
      pb[v] += load(b + k) * rest;
      pc[v] += load(c + k) * rest;
      pd[v] += load(d + k) * rest;
    }
  }
  sums[0] = total(pa);
  sums[1] = total(pb);
  sums[2] = total(pc);
  sums[3] = total(pd);
}

double take_step(const double* x, double old, const double* r, int rows) {
  Parts parts;
  for_rows(rows, [&](int i, int v) {
    const Vector value = load(x + i);
    parts.part[v] += value * (load(r + i) + value * old);
  });
  return parts.total();
}

double update_and_step(const Update& update, const double* x, double old, int rows) {
  const auto [from, last, factor, to] = update;
  Parts parts;
  for_rows(rows, [&, from = from, last = last, factor = factor, to = to](int i, int v) {
    const Vector rest = load(from + i) - load(last + i) * factor;
    store(to + i, rest);
    const Vector value = load(x + i);
    parts.part[v] += value * (rest + value * old);
  });
  return parts.total();
}

double update_and_measure(const Update& update, const double* base, int rows) {
  const auto [from, last, factor, to] = update;
  Parts parts;
  for_rows(rows, [&, from = from, last = last, factor = factor, to = to](int i, int v) {
    const Vector rest = load(from + i) - load(last + i) * factor;
    store(to + i, rest);
    const Vector way = rest - load(base + i);
    parts.part[v] += way * way;
  });
  return parts.total();
}

// In groups of four columns, so that the residual is read and written once a group.
void subtract_columns(const double* z, const double* const* x, const double* factors, int columns,
                      double* r, int rows) {
  const double* from = z;
  int c = 0;
  for (; c + 4 <= columns; c += 4) {
    const double* x0 = x[c];
    const double* x1 = x[c + 1];
    const double* x2 = x[c + 2];
    const double* x3 = x[c + 3];
    const double b0 = factors[c], b1 = factors[c + 1], b2 = factors[c + 2], b3 = factors[c + 3];
    for_rows(rows, [&](int i, int) {
      const Vector two = (load(from + i) - load(x0 + i) * b0) - load(x1 + i) * b1;
      store(r + i, (two - load(x2 + i) * b2) - load(x3 + i) * b3);
    });
    from = r;
  }
  for (; c < columns; ++c) {
    const double* x0 = x[c];
    const double b0 = factors[c];
    for_rows(rows, [&](int i, int) { store(r + i, load(from + i) - load(x0 + i) * b0); });
    from = r;
  }
  if (columns == 0) for_rows(rows, [&](int i, int) { store(r + i, load(z + i)); });
}

constexpr Kernels kernels_named(const char* name) {
  return {name, estimate, take_step, update_and_step, update_and_measure, subtract_columns};
}

}  // namespace
}  // namespace torve::fast_lasso
