#include "mirsolve/selection/bounded_fit.h"

#include <algorithm>
#include <cmath>

#include "model/lsei.h"

namespace mirsolve::selection {

namespace {

constexpr double tolerance = 1e-10;  // relative to the terms of a row
constexpr int most_rounds = 30;      // before all limits come in

std::size_t at(int i) {
  return static_cast<std::size_t>(i);
}

bool is_broken(double value, double limit, double size) {
  return value - limit > tolerance * (size + std::abs(limit));
}

}  // namespace

BoundedFit::BoundedFit(const Model& model, const Data& data) : model_(model), data_(data) {}

double BoundedFit::scaled_lower(int place) const {
  const Column& column = model_.columns[at(columns_[at(place)])];
  const double lower = at(place) < count_in_ ? column.lower : std::min(column.lower, 0.0);
  return lower / data_.scales[at(columns_[at(place)])];
}

double BoundedFit::scaled_upper(int place) const {
  const Column& column = model_.columns[at(columns_[at(place)])];
  const double upper = at(place) < count_in_ ? column.upper : std::max(column.upper, 0.0);
  return upper / data_.scales[at(columns_[at(place)])];
}

void BoundedFit::forget() {
  limits_.clear();
  row_is_in_.assign(model_.coefficients.size(), 0);
  lower_is_in_.assign(columns_.size(), 0);
  upper_is_in_.assign(columns_.size(), 0);
  x_.assign(columns_.size(), 0.0);
}

bool BoundedFit::add_broken_bounds(bool all) {
  bool added = false;
  for (std::size_t j = 0; j < columns_.size(); ++j) {
    const int place = static_cast<int>(j);
    const auto add = [&](std::vector<char>& is_in, double sign, double limit) {
      const bool wanted = all ? std::isfinite(limit) : is_broken(sign * x_[j], limit, 0.0);
      if (is_in[j] != 0 || !wanted) return;
      is_in[j] = 1;
      limits_.push_back({std::vector<double>(columns_.size(), 0.0), limit});
      limits_.back().factors[j] = sign;
      added = true;
    };
    add(lower_is_in_, -1.0, -scaled_lower(place));
    add(upper_is_in_, 1.0, scaled_upper(place));
  }
  return added;
}

// Rows that the answer breaks and that aren't limits yet. Those that hold none of the columns
// can only contradict.
bool BoundedFit::add_broken(bool& contradicts, bool all) {
  bool added = add_broken_bounds(all);
  std::vector<int> place_of(model_.columns.size(), -1);
  for (std::size_t j = 0; j < columns_.size(); ++j) place_of[at(columns_[j])] = static_cast<int>(j);
  for (std::size_t i = 0; i < model_.coefficients.size(); ++i) {
    if (row_is_in_[i] != 0) continue;
    const Row& row = model_.coefficients[i];
    double value = 0.0;
    double size = 0.0;
    bool is_empty = true;
    for (const auto& [column, factor] : row.terms) {
      const int place = place_of[at(column)];
      if (place < 0) continue;
      is_empty = false;
      const double term = factor * data_.scales[at(column)] * x_[at(place)];
      value += term;
      size += std::abs(term);
    }
    const bool broken = is_broken(value, row.limit, size);
    if (is_empty && broken) contradicts = true;
    if (is_empty || (!broken && !all)) continue;
    row_is_in_[i] = 1;
    limits_.push_back({std::vector<double>(columns_.size(), 0.0), row.limit});
    for (const auto& [column, factor] : row.terms) {
      const int place = place_of[at(column)];
      if (place >= 0) limits_.back().factors[at(place)] = factor * data_.scales[at(column)];
    }
    added = true;
  }
  return added;
}

// The least-squares rows of the columns at hand and, behind them, the limits as lsei has them.
void BoundedFit::copy_matrix(Basis basis, int rows, int stride) {
  const std::size_t n = columns_.size();
  matrix_.assign(at(stride) * (n + 1), 0.0);
  const Triangle& triangle = data_.triangle;
  for (std::size_t j = 0; j <= n; ++j) {
    double* target = matrix_.data() + j * at(stride);
    const int column = j < n ? columns_[j] : data_.columns;
    if (basis == Basis::triangle) {
      const int height = std::min(rows, column + 1);
      for (int i = 0; i < height; ++i) target[i] = triangle.row(i)[column];
    } else {
      const double* source = j < n ? data_.a.data() + at(column) * at(data_.rows) : data_.b.data();
      std::copy_n(source, rows, target);
    }
    for (std::size_t i = 0; i < limits_.size(); ++i) {
      target[at(rows) + i] = j < n ? -limits_[i].factors[j] : -limits_[i].limit;
    }
  }
}

Outcome BoundedFit::solve(Basis basis) {
  const int n = static_cast<int>(columns_.size());
  const int rows = basis == Basis::triangle ? data_.triangle.size : data_.rows;
  const int limits = static_cast<int>(limits_.size());
  const int stride = std::max(1, rows + limits);
  copy_matrix(basis, rows, stride);
  work_.resize(at(torve::lsei_real_workspace(0, rows, limits, n)));
  places_.resize(at(torve::lsei_integer_workspace(limits, n)));
  places_[0] = static_cast<int>(work_.size());
  places_[1] = static_cast<int>(places_.size());
  const double options = 1.0;
  double equations = 0.0;
  double length = 0.0;
  int mode = 0;
  torve::lsei(matrix_.data(), stride, 0, rows, limits, n, &options, x_.data(), equations, length,
              mode, work_.data(), places_.data());
  if (mode == 2) return Outcome::impossible;
  if (mode != 0) return Outcome::failed;
  squares_ = length * length + (basis == Basis::triangle ? data_.triangle.tail : 0.0);
  return Outcome::fitted;
}

Outcome BoundedFit::fit(std::span<const int> in, std::span<const int> open, Basis basis) {
  columns_.assign(in.begin(), in.end());
  count_in_ = in.size();
  columns_.insert(columns_.end(), open.begin(), open.end());
  forget();
  if (columns_.empty()) {
    squares_ = 0.0;
    for (const double b : data_.b) squares_ += b * b;
  }
  for (int round = 0;; ++round) {
    if (!columns_.empty()) {
      const Outcome outcome = solve(basis);
      if (outcome != Outcome::fitted) return outcome;
    }
    bool contradicts = false;
    const bool added = add_broken(contradicts, round == most_rounds);
    if (contradicts) return Outcome::impossible;
    if (!added) return Outcome::fitted;
  }
}

}  // namespace mirsolve::selection
