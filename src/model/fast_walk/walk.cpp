#include "model/fast_walk/walk.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace torve::fast_walk {

namespace {

// Within the last three positions values come from products: a pivot of so small a part of what it
// was when they began has lost too many digits.
constexpr double least_part_of_product = 1e-6;

constexpr std::uint64_t leaves_to_a_pause = 50000;  // some tens of microseconds

std::size_t size_of(int n) {
  return static_cast<std::size_t>(n);
}

}  // namespace

std::uint64_t binomial(int n, int k) {
  if (k < 0 || n < k) return 0;
  constexpr std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
  std::uint64_t value = 1;
  for (int i = 1; i <= k; ++i) {
    const auto factor = static_cast<std::uint64_t>(n - k) + static_cast<std::uint64_t>(i);
    if (value > most / factor) return most;
    value = value * factor / static_cast<std::uint64_t>(i);
  }
  return value;
}

Walk::Walk(const Triangle& triangle, int size, const Kernels& kernels)
    : triangle_(triangle), kernels_(kernels), size_(size), levels_(size_of(std::max(size - 2, 1))) {
  const std::size_t stride = size_of(triangle.stride);
  for (std::size_t depth = 1; depth < levels_.size(); ++depth) {
    // A level has one row less than the one before it.
    levels_[depth].rows.resize(size_of(triangle.height) * stride);
    levels_[depth].z.resize(stride);
  }
  levels_[0].rows = triangle.rows;
  levels_[0].z = triangle.z;
  for (auto* vector : {&work_, &gram_z_, &diagonal_, &doubt_, &zeros_}) vector->resize(stride);
  gram_.resize(stride * stride);
  eliminated_.resize(7 * stride);
  double* at = eliminated_.data();
  for (double** part : {&left_.factors, &left_.clear, &left_.inverses, &left_.z, &left_.outputs,
                        &left_.sses, &left_.needed}) {
    *part = std::exchange(at, at + stride);
  }
  columns_.resize(size_of(size));
  hits_.reserve(stride);
}

bool Walk::run(Visitor& visitor) {
  visitor_ = &visitor;
  rank_ = worked_ = 0;
  levels_[0].places = triangle_.places;
  levels_[0].height = triangle_.height;
  levels_[0].tail = triangle_.tail;
  if (size_ > triangle_.places) return true;
  return size_ == 2 ? last_three(levels_[0]) : descend(0);
}

Remainder Walk::remainder(const Level& level) const {
  return {level.rows.data(), level.z.data(), triangle_.stride, level.places, level.height};
}

void Walk::choose(int depth, int place) {
  columns_[size_of(depth)] = triangle_.places - 1 - place;
}

// The prefix that ends at `depth`.
bool Walk::is_hopeless(int depth) const {
  return visitor_->has_rules &&
         visitor_->is_hopeless(std::span(columns_).first(size_of(depth) + 1));
}

// Square of what the prefix leaves of the column at place t.
double Walk::left_square(const Level& level, int t) const {
  double sum = 0.0;
  for (int i = 0; i < std::min(t + 1, level.height); ++i) {
    const double x = level.rows[size_of(i) * size_of(triangle_.stride) + size_of(t)];
    sum += x * x;
  }
  return sum;
}

bool Walk::is_doubtful(double pivot, int t) const {
  return !(pivot > triangle_.least_ratio * triangle_.squares[size_of(t)]);
}

bool Walk::pause(std::uint64_t rank, std::uint64_t work) {
  worked_ += work;
  if (worked_ < leaves_to_a_pause) return true;
  worked_ = 0;
  return visitor_->pause(rank);
}

// Each column in turn as the next of the prefix, down to where three positions are open.
bool Walk::descend(int depth) {
  Level& level = levels_[size_of(depth)];
  const int open = size_ - depth;
  if (open == 3) return last_three(level);
  while (level.places >= open) {
    const int t = level.places - 1;
    choose(depth, t);
    if (is_hopeless(depth)) {
      rank_ += binomial(t, open - 1);
    } else if (is_doubtful(left_square(level, t), t)) {
      if (!hand_over_all(depth + 1, t, rank_)) return false;
      rank_ += binomial(t, open - 1);
    } else {
      Level& child = levels_[size_of(depth) + 1];
      kernels_.take(remainder(level), t, child.rows.data(), child.z.data(), work_.data());
      child.places = t;
      child.height = std::min(t + 1, level.height) - 1;
      child.tail = level.tail;
      if (!descend(depth + 1)) return false;
    }
    // What the output has in the row that goes with the column is out of reach for those behind it.
    if (level.height == level.places) {
      --level.height;
      level.tail += level.z[size_of(level.height)] * level.z[size_of(level.height)];
    }
    level.places = t;
  }
  return true;
}

bool Walk::last_three(const Level& level) {
  const int q = level.places;
  const Products products{gram_.data(), gram_z_.data(), triangle_.stride, q};
  kernels_.multiply(remainder(level), products);
  double sse = level.tail;
  for (int i = 0; i < level.height; ++i) sse += level.z[size_of(i)] * level.z[size_of(i)];
  for (int t = 0; t < q; ++t) {
    const double square = gram_[size_of(t) * size_of(triangle_.stride) + size_of(t)];
    diagonal_[size_of(t)] = square;
    doubt_[size_of(t)] = std::max(least_part_of_product * square,
                                  triangle_.least_ratio * triangle_.squares[size_of(t)]);
  }
  if (size_ == 2) return last_two(products, {zeros_.data(), 1.0, 0.0}, q, sse, 0, 0);
  const int depth = size_ - 3;
  for (int a = q - 1; a >= 2; --a) {
    choose(depth, a);
    const double* row = gram_.data() + size_of(a) * size_of(triangle_.stride);
    const Pivot pivot{row, row[a], gram_z_[size_of(a)]};
    const auto leaves = static_cast<std::uint64_t>(a) * static_cast<std::uint64_t>(a - 1) / 2;
    if (is_hopeless(depth)) {
      // Passed over.
    } else if (is_doubtful(pivot.square, a)) {
      if (!hand_over_all(depth + 1, a, rank_)) return false;
    } else {
      const double with_pivot = sse - pivot.z * pivot.z / pivot.square;
      if (!last_two(products, pivot, a, with_pivot, depth + 1, rank_)) return false;
    }
    rank_ += leaves;
    if (!pause(rank_, leaves)) return false;
  }
  return true;
}

// Pairs of the first `places`. `before`: subsets ahead of the first of these.
bool Walk::last_two(const Products& products, const Pivot& pivot, int places, double sse, int depth,
                    std::uint64_t before) {
  kernels_.eliminate(products, diagonal_.data(), pivot, places, doubt_.data(), sse, left_);
  const int last = places - 1;
  Leaves leaves{products.gram, pivot.row, products.stride, left_, visitor_->limit, last};
  if (!kernels_.any(leaves)) return true;
  // Rows ahead of row b: those of b + 1 to `last`, of as many leaves as their number says.
  const auto rank_of_row = [&](int b) {
    const auto n = static_cast<std::uint64_t>(last - b);
    return before + n * (static_cast<std::uint64_t>(last) + static_cast<std::uint64_t>(b) + 1) / 2;
  };
  hits_.clear();
  int row = leaves.b;
  while (true) {
    const int bits = kernels_.scan(leaves);
    if ((bits == 0 || leaves.b != row) && !hits_.empty()) {
      if (!hand_over(row, depth, rank_of_row(row))) return false;
      leaves.limit = visitor_->limit;
    }
    if (bits == 0) return true;
    row = leaves.b;
    if (bits == row_is_doubtful) {
      if (!whole_row(row, depth, rank_of_row(row))) return false;
      leaves.limit = visitor_->limit;
      --leaves.b;
      leaves.c = 0;
      row = leaves.b;
    } else {
      collect(leaves, bits);
      leaves.c += lanes;
    }
  }
}

// The wanted and doubtful leaves of a group.
void Walk::collect(const Leaves& leaves, int bits) {
  const int b = leaves.b;
  const double inverse = left_.inverses[b];
  for (int l = 0; l < lanes; ++l) {
    if ((bits >> l & 1) == 0) continue;
    const int c = leaves.c + l;
    const double u = leaves.gram[b * leaves.stride + c] - left_.factors[b] * leaves.pivot_row[c];
    const double clear = left_.clear[c] - u * (u * inverse);
    const double z = left_.z[c] - u * left_.outputs[b];
    const double sse = std::max(left_.sses[b] - z * z / (clear + doubt_[size_of(c)]), 0.0);
    if (!(clear > 0.0)) {
      hits_.push_back({c, -1.0});
    } else if (sse <= leaves.limit) {
      hits_.push_back({c, sse});
    }
  }
}

// The leaves of a row that were collected; the last column comes first in the row.
bool Walk::hand_over(int b, int depth, std::uint64_t before) {
  choose(depth, b);
  for (auto hit = hits_.rbegin(); hit != hits_.rend(); ++hit) {
    choose(depth + 1, hit->place);
    const auto rank = before + static_cast<std::uint64_t>(b - 1 - hit->place);
    if (!visitor_->subset(rank, columns_, hit->sse)) return false;
  }
  hits_.clear();
  return true;
}

bool Walk::whole_row(int b, int depth, std::uint64_t before) {
  choose(depth, b);
  return hand_over_all(depth + 1, b, before);
}

// Every subset that begins with the columns chosen up to `depth` and goes on below `places`.
bool Walk::hand_over_all(int depth, int places, std::uint64_t before) {
  const int open = size_ - depth;
  if (open == 0) return visitor_->subset(before, columns_, -1.0);
  for (int t = places - 1; t >= open - 1; --t) {
    choose(depth, t);
    if (!hand_over_all(depth + 1, t, before)) return false;
    before += binomial(t, open - 1);
  }
  return true;
}

}  // namespace torve::fast_walk
