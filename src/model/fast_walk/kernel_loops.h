// The loops of the kernels, for a file that is compiled for one kind of processor. Everything has
// internal linkage and nothing of a library is called, so that no code for one kind gets into
// programs that run on another. `any_bits` is that file's own.
#pragma once

#include "model/fast_walk/kernels.h"

namespace torve::fast_walk {
namespace {

// Four numbers, in as many registers as it takes.
using Four = double __attribute__((vector_size(32)));
using FourInMemory = double __attribute__((vector_size(32), aligned(8), may_alias));
using FourFlags = long long __attribute__((vector_size(32)));  // all bits of a lane or none

int any_bits(FourFlags flags);

inline Four load(const double* from) {
  return *reinterpret_cast<const FourInMemory*>(from);
}
inline void store(double* to, Four value) {
  *reinterpret_cast<FourInMemory*>(to) = value;
}
inline Four all(double value) {
  return Four{value, value, value, value};
}

inline int group_of(int place) {
  return place / lanes * lanes;
}

void take_place(const Remainder& parent, int t, double* child_rows, double* child_z, double* work) {
  const int height = t + 1 < parent.height ? t + 1 : parent.height;
  const int stride = parent.stride;
  const double* last = parent.rows + (height - 1) * stride;
  for (int j = 0; j < t; j += lanes) {
    store(work + j, j < group_of(height - 1) ? all(0.0) : load(last + j));
  }
  double column = last[t];
  double z = parent.z[height - 1];
  for (int i = height - 2; i >= 0; --i) {
    const double* row = parent.rows + i * stride;
    double* child = child_rows + i * stride;
    const double length = __builtin_sqrt(row[t] * row[t] + column * column);
    const double cosine = length > 0.0 ? row[t] / length : 1.0;
    const double sine = length > 0.0 ? column / length : 0.0;
    const Four c = all(cosine);
    const Four s = all(sine);
    for (int j = group_of(i); j < t; j += lanes) {
      const Four above = load(row + j);
      const Four below = load(work + j);
      store(child + j, c * below - s * above);
      store(work + j, c * above + s * below);
    }
    child_z[i] = cosine * z - sine * parent.z[i];
    z = cosine * parent.z[i] + sine * z;
    column = length;
  }
}

// Four rows of the triangle at a time, so that a product is loaded and stored once for them.
void multiply_four_rows(const Remainder& rest, int r, const Products& products) {
  const double* rows[lanes];
  double z[lanes];
  for (int l = 0; l < lanes; ++l) {
    const bool there = r + l < rest.height;
    rows[l] = rest.rows + (there ? r + l : r) * rest.stride;
    z[l] = there ? rest.z[r + l] : 0.0;
  }
  for (int t = r; t < rest.places; ++t) {
    Four factor[lanes];
    for (int l = 0; l < lanes; ++l) {
      const double number = r + l < rest.height ? rows[l][t] : 0.0;
      factor[l] = all(number);
      products.z[t] += number * z[l];
    }
    double* row = products.gram + t * products.stride;
    for (int j = r; j <= t; j += lanes) {
      store(row + j, load(row + j) + factor[0] * load(rows[0] + j) + factor[1] * load(rows[1] + j) +
                         factor[2] * load(rows[2] + j) + factor[3] * load(rows[3] + j));
    }
  }
}

void multiply_rows(const Remainder& rest, const Products& products) {
  for (int t = 0; t < rest.places; ++t) {
    double* row = products.gram + t * products.stride;
    for (int j = 0; j <= t; j += lanes) store(row + j, all(0.0));
    products.z[t] = 0.0;
  }
  for (int r = 0; r < rest.height; r += lanes) multiply_four_rows(rest, r, products);
}

void eliminate_place(const Products& from, int a, const Products& to, double* diagonal) {
  const double* pivot_row = from.gram + a * from.stride;
  const double inverse = 1.0 / pivot_row[a];
  const Four output = all(from.z[a] * inverse);
  for (int j = 0; j < a; j += lanes) {
    store(to.z + j, load(from.z + j) - output * load(pivot_row + j));
  }
  for (int t = 0; t < a; ++t) {
    const double* source = from.gram + t * from.stride;
    double* row = to.gram + t * to.stride;
    const Four factor = all(pivot_row[t] * inverse);
    for (int j = 0; j <= t; j += lanes) {
      store(row + j, load(source + j) - factor * load(pivot_row + j));
    }
    diagonal[t] = row[t];
  }
}

// A leaf is wanted when z^2 / pivot, by which its column lowers the sum of squares, is enough.
int scan_leaves(Leaves& leaves) {
  for (; leaves.b > 0; --leaves.b, leaves.c = 0) {
    const int b = leaves.b;
    const double pivot = leaves.diagonal[b];
    if (!(pivot > leaves.doubt[b])) return row_is_doubtful;
    const double* row = leaves.gram + b * leaves.stride;
    const double inverse = 1.0 / pivot;
    const double output = leaves.z[b] * inverse;
    const Four needed = all(leaves.sse - leaves.z[b] * output - leaves.limit);
    const Four vector_inverse = all(inverse);
    const Four vector_output = all(output);
    for (int c = leaves.c; c < b; c += lanes) {
      const Four u = load(row + c);
      const Four left = load(leaves.diagonal + c) - u * (u * vector_inverse);
      const Four z = load(leaves.z + c) - u * vector_output;
      const FourFlags wanted = z * z >= needed * left;
      const FourFlags clear = left > load(leaves.doubt + c);
      int bits = any_bits(wanted | ~clear);
      if (bits == 0) continue;
      if (b - c < lanes) bits &= (1 << (b - c)) - 1;
      if (bits == 0) continue;
      leaves.c = c;
      return bits;
    }
  }
  return 0;
}

}  // namespace
}  // namespace torve::fast_walk
