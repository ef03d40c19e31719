#include "mirsolve/selection/perspective.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace mirsolve::selection {

namespace {

constexpr int rounds = 4;

std::size_t at(int i) {
  return static_cast<std::size_t>(i);
}

// Where  a v^2 - 2 r v + envelope(f v^2 + cost [v != 0])  is least. The envelope rises with slope
// 2 sqrt(cost f) as far as sqrt(cost / f) and is the function itself beyond.
double least_place(double a, double r, double f, double cost) {
  const double size = std::abs(r);
  const double beyond = size / (a + f);
  if (cost <= 0.0 || beyond * beyond * f >= cost) return std::copysign(beyond, r);
  const double rest = size - std::sqrt(cost * f);
  if (rest <= 0.0) return 0.0;
  return std::copysign(std::min(rest / a, std::sqrt(cost / f)), r);
}

}  // namespace

void Perspective::multiply(const Triangle& triangle, std::span<const double> factors) {
  const std::size_t n = at(size_);
  q_.assign(n * n, 0.0);
  products_.assign(n, 0.0);
  for (int k = 0; k < size_; ++k) {
    const double* row = triangle.row(k);
    for (int i = k; i < size_; ++i) {
      const double factor = row[i];
      double* target = q_.data() + at(i) * n;
      for (int j = k; j <= i; ++j) target[j] += factor * row[j];
      products_[at(i)] += factor * row[size_];
    }
  }
  for (std::size_t i = 0; i < n; ++i) {
    q_[i * n + i] -= factors[i];
    for (std::size_t j = 0; j < i; ++j) q_[j * n + i] = q_[i * n + j];
  }
}

void Perspective::descend(std::span<const double> factors, std::span<const double> costs) {
  const std::size_t n = at(size_);
  for (int round = 0; round < rounds; ++round) {
    for (std::size_t j = 0; j < n; ++j) {
      const double* row = q_.data() + j * n;
      const double a = std::max(row[j], 1e-12);
      const double r = slope_[j] + a * x_[j];
      const double change = least_place(a, r, factors[j], costs[j]) - x_[j];
      if (change == 0.0) continue;
      x_[j] += change;
      for (std::size_t k = 0; k < n; ++k) slope_[k] -= change * row[k];
    }
  }
}

void Perspective::bound(const Triangle& triangle, std::span<const double> factors) {
  const std::size_t n = at(size_);
  part_.resize(n);
  squares_ = triangle.tail;
  for (int i = 0; i < size_; ++i) squares_ += triangle.z(i) * triangle.z(i);
  // Of what is summed, here and when parts are added again. Columns are no longer than 1.
  double size = squares_;
  double length = 0.0;
  for (std::size_t j = 0; j < n; ++j) {
    // x'Q x = x'(R'z - slope)
    squares_ -= x_[j] * (products_[j] - slope_[j]);
    part_[j] = slope_[j] * slope_[j] / factors[j];
    squares_ -= part_[j];
    size += std::abs(x_[j] * products_[j]) + part_[j];
    length += std::abs(x_[j]);
  }
  // Columns that depend on each other nearly have huge x and parts that nearly cancel.
  constexpr double epsilon = std::numeric_limits<double>::epsilon();
  squares_ -= 4.0 * epsilon * (size_ + 1) * (size + length * length);
}

void Perspective::improve(const Triangle& triangle, std::span<const double> factors,
                          std::span<const double> costs, std::span<const double> x) {
  size_ = triangle.size;
  x_.assign(x.begin(), x.end());
  multiply(triangle, factors);
  slope_ = products_;
  const std::size_t n = at(size_);
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < n; ++j) slope_[j] -= x_[i] * q_[i * n + j];
  }
  descend(factors, costs);
  bound(triangle, factors);
}

}  // namespace mirsolve::selection
