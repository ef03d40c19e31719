#include "model/greedy_values.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>

#include "model/fast_walk/kernels.h"
#include "model/fast_walk/triangle.h"

namespace torve {

namespace {

// A square left that is a smaller part of what it was has lost too many digits to differences.
constexpr double least_part_of_difference = 1e-4;

// Where turning a column away leaves less of its square, it is turned away again.
constexpr double least_kept_at_once = 0.5;

std::size_t size_of(int n) {
  return static_cast<std::size_t>(n);
}

// Between these a square can be divided and multiplied at will.
const double least_square = std::ldexp(1.0, -2 * fast_walk::largest_exponent);
const double largest_square = std::ldexp(1.0, 2 * fast_walk::largest_exponent);

bool is_sound(double square) {
  return square >= least_square && square <= largest_square;
}

}  // namespace

// --- growing ------------------------------------------------------------------------------------

GrowingValues::GrowingValues(const Regression& problem, int chosen, SpareRoom& room)
    : room_(room), rows_(size_of(problem.nrows)), kernels_(fast_greedy::widest_kernels()) {
  fetch(problem);
  usable_ = measure(problem);
  for (std::size_t slot = 0; usable_ && slot < size_of(chosen); ++slot) {
    append(columns_[slot]);
    usable_ = !doubtful_;
  }
}

// The columns stay where they are if all rows take part.
void GrowingValues::fetch(const Regression& problem) {
  const std::size_t n = problem.columns.size();
  const bool in_place = rows_ == problem.z.size();
  z_.resize(rows_);
  model_ = room_.request((std::min(n, rows_) + (in_place ? 1 : 2) * n) * rows_);
  turned_ = model_ + std::min(n, rows_) * rows_;
  double* packed = turned_ + n * rows_;
  if (in_place) {
    std::ranges::copy(problem.z, z_.begin());
  } else {
    pack(problem, packed, problem.nrows, z_.data());
  }
  columns_.reserve(n);
  slots_.resize(size_of(problem.x.columns));
  for (std::size_t slot = 0; slot < n; ++slot) {
    const int j = problem.columns[slot];
    slots_[size_of(j)] = slot;
    columns_.push_back({in_place ? problem.x.column_data(j) : packed + slot * rows_, 0.0});
  }
}

bool GrowingValues::measure(const Regression& problem) {
  sse_ = product(z_.data(), z_.data());
  if (!is_sound(sse_)) return false;
  fast_walk::Reliance reliance(problem.nrows, std::sqrt(sse_));
  for (Column& c : columns_) {
    const std::array<const double*, 2> vectors{c.x, z_.data()};
    std::array<double, 2> sums{};
    kernels_.multiply(c.x, vectors.data(), 2, problem.nrows, sums.data());
    c.square = c.start = c.left = sums[0];
    c.dead = c.square == 0.0;
    if (c.dead) continue;
    if (!is_sound(c.square)) return false;
    lengths_ += std::sqrt(c.square);
    reliance.add(std::sqrt(c.square), sums[1]);
  }
  least_ratio_ = reliance.least_ratio();
  margin_ = reliance.margin() * sse_;
  return reliance.is_of_use();
}

double GrowingValues::product(const double* x, const double* y) const {
  double sum = 0.0;
  kernels_.multiply(x, &y, 1, static_cast<int>(rows_), &sum);
  return sum;
}

// Takes what the model spans out of a column. Source: modified Gram-Schmidt; A. Bjorck, Solving
// linear least squares problems by Gram-Schmidt orthogonalization, BIT 7 (1967) 1.
void GrowingValues::turn_away(double* __restrict x) {
  for (std::size_t i = 0; i < terms_; ++i) {
    const double* __restrict q = model_column(i);
    const double along = product(q, x);
    for (std::size_t r = 0; r < rows_; ++r) x[r] -= along * q[r];
  }
}

// Returns the product of what the model leaves of the column with what it leaves of the output. The
// latter is orthogonal to the model, so that the column serves as it is.
double GrowingValues::bring_up(Column& c) {
  std::array<const double*, fast_greedy::most_vectors> vectors;
  std::array<double, fast_greedy::most_vectors> sums;
  vectors[0] = z_.data();
  std::size_t count = 1;
  double with_output = 0.0;
  for (bool first = true; first || c.done < terms_; first = false) {
    for (; count < vectors.size() && c.done < terms_; ++c.done) {
      vectors[count++] = model_column(c.done);
    }
    kernels_.multiply(c.x, vectors.data(), static_cast<int>(count), static_cast<int>(rows_),
                      sums.data());
    if (first) with_output = sums[0];
    for (std::size_t v = first ? 1 : 0; v < count; ++v) c.left -= sums[v] * sums[v];
    count = 0;
  }
  if (c.left > least_part_of_difference * c.start) return with_output;
  double* turned = turned_ + static_cast<std::size_t>(&c - columns_.data()) * rows_;
  if (c.x != turned) std::copy_n(c.x, rows_, turned);
  turn_away(turned);
  c.x = turned;
  c.start = c.left = product(turned, turned);
  c.dead = !(c.left > least_ratio_ * c.square);
  return product(turned, z_.data());
}

GreedyValues::Value GrowingValues::candidate(int column) {
  Column& c = columns_[slots_[size_of(column)]];
  if (doubtful_ || c.dead || terms_ >= rows_) return {};
  const double with_output = bring_up(c);
  if (c.dead) return {};
  return {std::max(sse_ - with_output * with_output / c.left, 0.0), false};
}

void GrowingValues::take(int column) {
  append(columns_[slots_[size_of(column)]]);
}

// Turned away a second time where the first took much of it, a column is orthogonal to the model's
// to rounding: W. Kahan's "twice is enough", in B. N. Parlett, The Symmetric Eigenvalue Problem,
// section 6-9.
void GrowingValues::append(Column& c) {
  doubtful_ = doubtful_ || c.dead || terms_ >= rows_;
  if (doubtful_) return;
  double* __restrict q = model_column(terms_);
  std::copy_n(c.x, rows_, q);
  turn_away(q);
  double square = product(q, q);
  if (square < least_kept_at_once * c.start) {
    turn_away(q);
    square = product(q, q);
  }
  doubtful_ = !(square > least_ratio_ * c.square);
  if (doubtful_) return;
  const double factor = 1.0 / std::sqrt(square);
  for (std::size_t r = 0; r < rows_; ++r) q[r] *= factor;
  ++terms_;
  const double along = product(q, z_.data());
  for (std::size_t r = 0; r < rows_; ++r) z_[r] -= along * q[r];
  sse_ = product(z_.data(), z_.data());
}

// --- shrinking ----------------------------------------------------------------------------------

ShrinkingValues::ShrinkingValues(const fast_walk::Triangle& triangle, std::span<const int> columns)
    : places_(triangle.places),
      stride_(triangle.stride),
      rows_(triangle.rows),
      z_(triangle.z),
      squares_(triangle.squares),
      columns_(columns.rbegin(), columns.rend()),
      work_(size_of(triangle.stride)),
      sse_(triangle.tail),
      least_ratio_(triangle.least_ratio) {
  margin_ = triangle.margin * triangle.yy;
  exponent_ = triangle.exponent;
  doubtful_ = has_weak_column();
}

// With A = Q R and w from R^T w = e(place), Q w is orthogonal to all columns but the one at the
// place, and has the product 1 with that.
ShrinkingValues::Direction ShrinkingValues::direction(int place) {
  double* __restrict w = work_.data();
  std::fill(w + place, w + places_, 0.0);
  w[place] = 1.0;
  Direction found;
  for (int i = place; i < places_; ++i) {
    const double* __restrict r = row(i);
    const double value = w[i] / r[i];
    found.square += value * value;
    found.product += value * z_[size_of(i)];
    for (int j = i + 1; j < places_; ++j) w[j] -= value * r[j];
  }
  return found;
}

// Whether some column is nearly a combination of all others. A column that others are dropped from
// behind only keeps more, so that a model without a weak column has none on the way down.
bool ShrinkingValues::has_weak_column() {
  for (int place = places_ - 1; place >= 0; --place) {
    const double square = direction(place).square;
    if (!(square * least_ratio_ * squares_[size_of(place)] < 1.0)) return true;
  }
  return false;
}

int ShrinkingValues::place_of(int column) const {
  const auto place = std::lower_bound(columns_.begin(), columns_.end(), column, std::greater<>());
  return static_cast<int>(place - columns_.begin());
}

GreedyValues::Value ShrinkingValues::candidate(int column) {
  if (doubtful_) return {};
  const Direction left = direction(place_of(column));
  return {sse_ + left.product * left.product / left.square, false};
}

void ShrinkingValues::take(int column) {
  const int place = place_of(column);
  close_gap(place);
  columns_.erase(columns_.begin() + place);
  squares_.erase(squares_.begin() + place);
  --places_;
  sse_ += z_[size_of(places_)] * z_[size_of(places_)];
  if (doubtful_) doubtful_ = has_weak_column();
}

// Takes the column out of the triangle: the rows from there on reach one place too far to the left,
// which Givens rotations mend.
void ShrinkingValues::close_gap(int place) {
  const int last = places_ - 1;
  for (int i = 0; i <= last; ++i) {
    const int from = std::max(place, i - 1);
    std::copy(row(i) + from + 1, row(i) + places_, row(i) + from);
  }
  for (int i = place; i < last; ++i) {
    double* __restrict above = row(i);
    double* __restrict below = row(i + 1);
    const double length = std::sqrt(above[i] * above[i] + below[i] * below[i]);
    if (!(length > fast_walk::least_length)) continue;
    const double cosine = above[i] / length;
    const double sine = below[i] / length;
    for (int j = i; j < last; ++j) {
      const double a = above[j];
      const double b = below[j];
      above[j] = cosine * a + sine * b;
      below[j] = cosine * b - sine * a;
    }
    const double a = z_[size_of(i)];
    const double b = z_[size_of(i + 1)];
    z_[size_of(i)] = cosine * a + sine * b;
    z_[size_of(i + 1)] = cosine * b - sine * a;
  }
}

}  // namespace torve
