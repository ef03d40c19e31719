#include "model/residual_sums.h"

#include <cassert>
#include <cstdint>
#include <cstring>

namespace torve {

namespace {

// Two rows at a time: what every x86-64 has, and what compilers make of plain loops over several
// sums only by chance. Other machines do the same with two scalars.
using Pair = double __attribute__((vector_size(16)));
using PairMask = std::int64_t __attribute__((vector_size(16)));

Pair load(const double* from) {
  Pair pair;
  std::memcpy(&pair, from, sizeof pair);
  return pair;
}

bool all_four(const bool* rows) {
  constexpr std::uint32_t four_true = 0x01010101;
  std::uint32_t flags = 0;
  std::memcpy(&flags, rows, sizeof flags);
  return flags == four_true;
}

std::int64_t all_bits(bool use) {
  return -static_cast<std::int64_t>(use);
}

// Zero in the lanes of rows that don't take part.
Pair keep(Pair pair, PairMask mask) {
  PairMask bits;
  std::memcpy(&bits, &pair, sizeof bits);
  bits &= mask;
  std::memcpy(&pair, &bits, sizeof pair);
  return pair;
}

// The model's values where they are worked out on the way: beta(0) x0 + beta(1) x1 + ...
template <std::size_t n>
struct ValuesOfColumns {
  const double* beta;
  Pair at(const std::array<Pair, n>& x, std::size_t) const {
    Pair y = beta[0] * x[0];
    for (std::size_t p = 1; p < n; ++p) y += beta[p] * x[p];
    return y;
  }
  Pair last(const std::array<Pair, n>& x, std::size_t) const { return at(x, 0); }
};

// The same where they stand in an array.
template <std::size_t n>
struct ValuesInArray {
  const double* y;
  Pair at(const std::array<Pair, n>&, std::size_t i) const { return load(y + i); }
  Pair last(const std::array<Pair, n>&, std::size_t i) const { return Pair{y[i], 0.0}; }
};

template <std::size_t n, class Values>
void add_up(const double* const* columns, Values values, std::span<const double> z,
            const bool* rows, ResidualSums& sums) {
  std::array<const double*, n> x;
  for (std::size_t p = 0; p < n; ++p) x[p] = columns[p];
  std::array<Pair, n> v{};
  std::array<Pair, n> gradient{};
  Pair low{};   // partial sums 0 and 1 of the squares
  Pair high{};  // partial sums 2 and 3
  const auto add = [&](Pair e, Pair& square) {
    square += e * e;
    for (std::size_t p = 0; p < n; ++p) gradient[p] += e * v[p];
  };
  const auto two_rows = [&](std::size_t i, Pair& square) {
    for (std::size_t p = 0; p < n; ++p) v[p] = load(x[p] + i);
    add(load(z.data() + i) - values.at(v, i), square);
  };
  const auto masked = [&](Pair e, PairMask mask, Pair& square) {
    for (std::size_t p = 0; p < n; ++p) v[p] = keep(v[p], mask);
    add(keep(e, mask), square);
  };
  const auto two_masked_rows = [&](std::size_t i, Pair& square) {
    for (std::size_t p = 0; p < n; ++p) v[p] = load(x[p] + i);
    masked(load(z.data() + i) - values.at(v, i), PairMask{all_bits(rows[i]), all_bits(rows[i + 1])},
           square);
  };
  std::size_t i = 0;
  for (; i + 4 <= z.size(); i += 4) {
    if (all_four(rows + i)) [[likely]] {
      two_rows(i, low);
      two_rows(i + 2, high);
    } else {
      two_masked_rows(i, low);
      two_masked_rows(i + 2, high);
    }
  }
  for (; i < z.size(); ++i) {
    for (std::size_t p = 0; p < n; ++p) v[p] = Pair{x[p][i], 0.0};
    masked(Pair{z[i], 0.0} - values.last(v, i), PairMask{all_bits(rows[i]), 0}, low);
  }
  sums.square = (low[0] + low[1]) + (high[0] + high[1]);
  for (std::size_t p = 0; p < n; ++p) sums.gradient[p] = gradient[p][0] + gradient[p][1];
}

template <template <std::size_t> class Values>
void add_up_columns(std::span<const double* const> x, const double* values,
                    std::span<const double> z, RowMask rows, ResidualSums& sums) {
  assert(!x.empty() && x.size() <= most_fused_columns);
  switch (x.size()) {
    case 1:
      return add_up<1>(x.data(), Values<1>{values}, z, rows.data(), sums);
    case 2:
      return add_up<2>(x.data(), Values<2>{values}, z, rows.data(), sums);
    case 3:
      return add_up<3>(x.data(), Values<3>{values}, z, rows.data(), sums);
    default:
      return add_up<4>(x.data(), Values<4>{values}, z, rows.data(), sums);
  }
}

}  // namespace

void residual_sums(std::span<const double* const> x, const double* beta, std::span<const double> z,
                   RowMask rows, ResidualSums& sums) {
  add_up_columns<ValuesOfColumns>(x, beta, z, rows, sums);
}

void residual_sums_of_values(std::span<const double* const> x, const double* y,
                             std::span<const double> z, RowMask rows, ResidualSums& sums) {
  add_up_columns<ValuesInArray>(x, y, z, rows, sums);
}

double tail_square(std::span<const double> b, int n) {
  Pair low{};
  Pair high{};
  std::size_t i = static_cast<std::size_t>(n);
  for (; i + 4 <= b.size(); i += 4) {
    const Pair first = load(b.data() + i);
    const Pair second = load(b.data() + i + 2);
    low += first * first;
    high += second * second;
  }
  for (; i < b.size(); ++i) low += Pair{b[i] * b[i], 0.0};
  return (low[0] + low[1]) + (high[0] + high[1]);
}

}  // namespace torve
