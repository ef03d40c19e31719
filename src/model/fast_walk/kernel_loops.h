// The loops of the kernels, for a file that is compiled for one kind of processor. Everything has
// internal linkage and nothing of a library is called, so that no code for one kind gets into
// programs that run on another. `any_bits` is that file's own.
#pragma once

#include "model/fast_walk/kernels.h"

namespace torve::fast_walk {
namespace {

// Four numbers, in as many registers as it takes.
using Four = double __attribute__((vector_size(32)));
using FourFlags = long long __attribute__((vector_size(32)));  // all bits of a lane or none

int any_bits(FourFlags flags);

// Numbers in memory begin anywhere. The copies are moves of registers.
inline Four load(const double* from) {
  Four value;
  __builtin_memcpy(&value, from, sizeof value);
  return value;
}
inline void store(double* to, Four value) {
  __builtin_memcpy(to, &value, sizeof value);
}
inline Four all(double value) {
  return Four{value, value, value, value};
}

inline int group_of(int place) {
  return place / lanes * lanes;
}

void take_place(const Remainder& parent, int t, double* child_rows, double* child_z, double* work) {
  const int height = t + 1 < parent.height ? t + 1 : parent.height;
  const std::ptrdiff_t stride = parent.stride;
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
    const bool counts = length > least_length;
    const double cosine = counts ? row[t] / length : 1.0;
    const double sine = counts ? column / length : 0.0;
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

void eliminate_pivot(const Products& from, const double* diagonal, const Pivot& pivot, int places,
                     const double* doubt, double sse, const Eliminated& to) {
  const Four inverse = all(1.0 / pivot.square);
  const Four output = all(pivot.z) * inverse;
  for (int t = 0; t < places; t += lanes) {
    const Four product = load(pivot.row + t);
    const Four factor = product * inverse;
    const Four square = load(diagonal + t) - factor * product;
    const Four z = load(from.z + t) - output * product;
    const Four of_square = all(1.0) / square;
    store(to.factors + t, factor);
    store(to.clear + t, square - load(doubt + t));
    store(to.inverses + t, of_square);
    store(to.z + t, z);
    store(to.outputs + t, z * of_square);
    store(to.sses + t, all(sse) - z * z * of_square);
  }
}

// What the leaves of a row share, each in all lanes.
struct RowOfLeaves {
  Four factor;
  Four inverse;
  Four output;
  Four needed;  // how much the last column has to lower the sum of squared errors
};

inline double needed_at(const Leaves& leaves, int b) {
  const double needed = leaves.left.sses[b] - leaves.limit;
  return needed > 0.0 ? needed : 0.0;
}

inline RowOfLeaves row_at(const Leaves& leaves, int b) {
  return {all(leaves.left.factors[b]), all(leaves.left.inverses[b]), all(leaves.left.outputs[b]),
          all(leaves.left.needed[b])};
}

// What the leaves of a group of columns share.
struct GroupOfLeaves {
  Four pivot_row;
  Four clear;
  Four z;
};

inline GroupOfLeaves group_at(const Leaves& leaves, int c) {
  return {load(leaves.pivot_row + c), load(leaves.left.clear + c), load(leaves.left.z + c)};
}

// A leaf is wanted when z^2 / pivot, by which its column lowers the sum of squares, is enough. The
// pivot counts without the doubt: a doubtful leaf then passes the same test, and few others do that
// wouldn't.
inline FourFlags flags_of(const RowOfLeaves& row, const GroupOfLeaves& group, Four product) {
  const Four u = product - row.factor * group.pivot_row;
  const Four clear = group.clear - u * (u * row.inverse);
  const Four z = group.z - u * row.output;
  return z * z >= row.needed * clear;
}

// Lanes below b of the group at c.
inline FourFlags lanes_below(int b, int c) {
  static constexpr long long flags[2 * lanes] = {-1, -1, -1, -1, 0, 0, 0, 0};
  const int there = b - c < lanes ? b - c : lanes;
  FourFlags value;
  __builtin_memcpy(&value, flags + lanes - there, sizeof value);
  return value;
}

// Down the columns, two groups at a time, so that no branch depends on a leaf and loops are long.
bool any_leaves(const Leaves& leaves) {
  FourFlags found{};
  for (int b = 0; b <= leaves.b; ++b) leaves.left.needed[b] = needed_at(leaves, b);
  for (int b = 0; b <= leaves.b; b += lanes) {
    found |= ~(load(leaves.left.clear + b) > all(0.0)) & lanes_below(leaves.b + 1, b);
  }
  for (int c = 0; c < leaves.b; c += 2 * lanes) {
    const GroupOfLeaves first = group_at(leaves, c);
    const double* gram = leaves.gram + c;
    int b = c + 1;
    for (; b <= leaves.b && b < c + lanes; ++b) {
      found |=
          flags_of(row_at(leaves, b), first, load(gram + b * leaves.stride)) & lanes_below(b, c);
    }
    if (b > leaves.b) break;
    const GroupOfLeaves second = group_at(leaves, c + lanes);
    for (; b <= leaves.b && b < c + 2 * lanes; ++b) {
      const RowOfLeaves row = row_at(leaves, b);
      found |= flags_of(row, first, load(gram + b * leaves.stride));
      found |=
          flags_of(row, second, load(gram + b * leaves.stride + lanes)) & lanes_below(b, c + lanes);
    }
    for (; b <= leaves.b; ++b) {
      const RowOfLeaves row = row_at(leaves, b);
      found |= flags_of(row, first, load(gram + b * leaves.stride));
      found |= flags_of(row, second, load(gram + b * leaves.stride + lanes));
    }
  }
  return any_bits(found) != 0;
}

int scan_leaves(Leaves& leaves) {
  for (; leaves.b > 0; --leaves.b, leaves.c = 0) {
    const int b = leaves.b;
    if (!(leaves.left.clear[b] > 0.0)) return row_is_doubtful;
    leaves.left.needed[b] = needed_at(leaves, b);
    const RowOfLeaves row = row_at(leaves, b);
    const double* gram = leaves.gram + b * leaves.stride;
    for (int c = leaves.c; c < b; c += lanes) {
      const FourFlags flags = flags_of(row, group_at(leaves, c), load(gram + c));
      const int bits = any_bits(flags & lanes_below(b, c));
      if (bits == 0) continue;
      leaves.c = c;
      return bits;
    }
  }
  return 0;
}

}  // namespace
}  // namespace torve::fast_walk
