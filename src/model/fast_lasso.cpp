#include "model/fast_lasso.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>

namespace torve {

namespace {

using fast_lasso::Update;

constexpr int group = fast_lasso::row_group;
constexpr int line = 64;                // bytes; all columns begin at a multiple
constexpr double upwards = 1.0 + 1e-9;  // more than a length or a sum of few bounds may be off
constexpr double shortest_column = 1e-30;

constexpr int rounded_up(int n, int unit) {
  return (n + unit - 1) / unit * unit;
}

// Squares and their sums are finite, and columns don't overflow in single precision.
bool is_tame(std::span<const double> values, double most) {
  return std::ranges::all_of(values, [&](double value) { return std::abs(value) <= most; });
}

template <class Number>
Number* first_on_a_line(std::vector<Number>& store) {
  const auto address = reinterpret_cast<std::uintptr_t>(store.data());
  return store.data() + (line - address % line) % line / sizeof(Number);
}

}  // namespace

std::unique_ptr<FastLasso> FastLasso::make(const LassoProblem& problem, const MemoryAccount& memory,
                                           const fast_lasso::Kernels& kernels) {
  const double rows = static_cast<double>(problem.zc.size()) + line;
  if (problem.zc.empty() ||
      !memory.has_room(2.0 * rows * (problem.xstd.columns + 6.0), sizeof(double))) {
    return nullptr;
  }
  if (!is_tame(problem.zc, 1e100) || is_tame(problem.zc, 1e-100)) return nullptr;
  for (int j = 0; j < problem.xstd.columns; ++j) {
    if (!is_tame(problem.xstd.column(j), 1e10)) return nullptr;
  }
  return std::unique_ptr<FastLasso>(new FastLasso(problem, kernels));
}

FastLasso::FastLasso(const LassoProblem& problem, const fast_lasso::Kernels& kernels)
    : kernels_(kernels),
      points_(static_cast<int>(problem.zc.size())),
      rows_(rounded_up(points_, group)),
      brief_(rounded_up(points_, fast_lasso::estimate_lanes)) {
  const std::size_t columns = at(problem.xstd.columns);
  store_.resize((columns + 3) * at(rows_) + line);
  columns_ = first_on_a_line(store_);
  z_ = columns_ + columns * at(rows_);
  residual_ = z_ + rows_;
  moving_ = residual_ + rows_;
  std::ranges::copy(problem.zc, z_);
  std::ranges::copy(problem.zc, residual_);
  // Estimates come in fours.
  const std::size_t brief_columns = at(rounded_up(problem.xstd.columns, 4));
  brief_store_.resize((brief_columns + 1) * at(brief_) + line);
  brief_columns_ = first_on_a_line(brief_store_);
  brief_residual_ = brief_columns_ + brief_columns * at(brief_);
  for (std::size_t j = 0; j < columns; ++j) {
    const std::span<const double> x = problem.xstd.column(static_cast<int>(j));
    std::ranges::copy(x, columns_ + j * at(rows_));
    std::ranges::transform(x, brief_columns_ + j * at(brief_),
                           [](double value) { return static_cast<float>(value); });
    lengths_.push_back(std::max(std::sqrt(inner_product(x, x)) * upwards, shortest_column));
  }
  estimates_.resize(brief_columns);
  for (auto* list : {&held_, &wanted_}) list->reserve(columns);
  for (auto* list : {&held_factors_, &wanted_factors_}) list->reserve(columns);
}

// The residual of the columns that count. Most of the time it is the one that stands.
template <class Counts>
void FastLasso::make_residual(std::span<const double> coefficients, Counts counts) {
  wanted_.clear();
  wanted_factors_.clear();
  for (std::size_t j = 0; j < coefficients.size(); ++j) {
    if (coefficients[j] == 0.0 || !counts(j)) continue;
    wanted_.push_back(column(j));
    wanted_factors_.push_back(coefficients[j]);
  }
  if (wanted_ == held_ && wanted_factors_ == held_factors_) return;
  kernels_.subtract(z_, wanted_.data(), wanted_factors_.data(), static_cast<int>(wanted_.size()),
                    residual_, rows_);
  held_.swap(wanted_);
  held_factors_.swap(wanted_factors_);
  has_estimates_ = false;
}

double FastLasso::square_of_residual() const {
  return kernels_.step(residual_, 0.0, residual_, rows_);
}

// Products of all columns with the residual in single precision. An error is at most, relative to
// |x| |r| (Higham, Accuracy and Stability of Numerical Algorithms, 2nd ed., section 3.1): a unit
// roundoff for each of the two numbers and their product, and one for each addition that a term
// takes part in. The residual is scaled by a power of 2 to a length of 1 to 2, so that what
// underflows in a term is at most 2^-148 of that length: less than the second part of the error, as
// no column counts as shorter than 1e-30. The sums of the plain sweep are off by as many roundoffs
// of double precision, which is far below.
void FastLasso::estimate_products() {
  constexpr double roundoff = 0x1p-24;
  constexpr double underflow = 0x1p-47;
  const double length = std::sqrt(square_of_residual());
  const int exponent = length > 0.0 ? std::ilogb(length) : 0;
  const double down = std::scalbn(1.0, -exponent);
  const double up = std::scalbn(1.0, exponent);
  for (int i = 0; i < points_; ++i) brief_residual_[i] = static_cast<float>(residual_[i] * down);
  const int additions = brief_ / fast_lasso::estimate_lanes + fast_lasso::estimate_lanes;
  error_ = 1.01 * (additions + 4.0) * roundoff * length + underflow * points_ * up;
  for (std::size_t j = 0; j < estimates_.size(); j += 4) {
    std::array<float, 4> sums{};
    kernels_.estimate(brief_columns_ + j * at(brief_), brief_, brief_residual_, brief_,
                      sums.data());
    for (std::size_t c = 0; c < 4; ++c) estimates_[j + c] = static_cast<double>(sums[c]) * up;
  }
  has_estimates_ = true;
}

// Whether the step of a column whose coefficient is zero clearly leaves it there: by its product
// with the residual at the beginning of the sweep and how far that has moved (Cauchy, Schwarz).
bool FastLasso::stays_zero(std::size_t j, double lambda, Update& due) {
  if (!has_estimates_) return false;
  const double least = (std::abs(estimates_[j]) + error_ * lengths_[j]) * upwards;
  const double threshold = lambda * points_ / upwards;
  if (!(least < threshold)) return false;
  if (due.x != nullptr || !is_measured_) {
    if (due.x == nullptr) due = {moving_, residual_, 0.0, moving_};
    distance_ = std::sqrt(kernels_.update_and_measure(due, residual_, rows_)) * upwards;
    is_measured_ = true;
    due.from = moving_;
    due.x = nullptr;
  }
  return least + distance_ * lengths_[j] * upwards < threshold;
}

double FastLasso::take_step(std::size_t j, double old, Update& due) {
  ++steps_;
  if (due.x == nullptr) return kernels_.step(column(j), old, due.from, rows_);
  const double u = kernels_.update_and_step(due, column(j), old, rows_);
  due.from = moving_;
  is_measured_ = false;
  return u;
}

void FastLasso::sweep(double lambda, std::span<bool> mask, std::span<double> coefficients) {
  make_residual(coefficients, [&](std::size_t j) { return mask[j]; });
  const auto n = static_cast<double>(points_);
  distance_ = 0.0;
  is_measured_ = true;
  Update due{residual_, nullptr, 0.0, moving_};  // a column of null: none
  for (std::size_t j = 0; j < mask.size(); ++j) {
    if (!mask[j]) continue;
    const double old = coefficients[j];
    if (old == 0.0 && stays_zero(j, lambda, due)) {
      coefficients[j] = 0.0;
      mask[j] = false;
      continue;
    }
    const double fresh = soft_threshold(take_step(j, old, due) / n, lambda);
    coefficients[j] = fresh;
    if (std::abs(fresh) <= smallest_lasso_coefficient) mask[j] = false;
    due.x = fresh != old ? column(j) : nullptr;
    due.factor = fresh - old;
  }
}

bool FastLasso::find_strong(double lambda, ColumnMask active, std::span<const double> coefficients,
                            std::span<bool> strong) {
  make_residual(coefficients, [&](std::size_t j) { return active[j]; });
  if (!has_estimates_) estimate_products();
  bool any = false;
  Update none{residual_, nullptr, 0.0, nullptr};
  for (std::size_t j = 0; j < strong.size(); ++j) {
    const double size = std::abs(estimates_[j]);
    const double error = error_ * lengths_[j] * upwards;
    if (size > lambda * upwards + error) {
      strong[j] = true;
    } else if ((size + error) * upwards < lambda) {
      strong[j] = false;
    } else {
      strong[j] = std::abs(take_step(j, 0.0, none)) > lambda;
    }
    any = any || strong[j];
  }
  return any;
}

double FastLasso::sse(std::span<const double> coefficients) {
  make_residual(coefficients, [](std::size_t) { return true; });
  return square_of_residual();
}

}  // namespace torve
