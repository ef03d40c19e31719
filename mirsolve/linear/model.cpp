#include "mirsolve/linear/model.h"

#include <algorithm>
#include <cmath>

namespace mirsolve::linear {

namespace {

constexpr double row_tolerance = 1e-9;  // relative to the largest number of the row

std::size_t at(int i) {
  return static_cast<std::size_t>(i);
}

// sum <= limit, the sum being that of sign * factor * column
struct HalfRow {
  const Row& row;
  double sign;
  double limit;
};

bool is_open(const Bounds& bounds, int column) {
  return bounds.lower[at(column)] < bounds.upper[at(column)];
}

// What the terms must come to at least.
double least_sum(const HalfRow& half, const Bounds& bounds) {
  double sum = 0.0;
  for (const auto& [column, factor] : half.row.terms) {
    const double signed_factor = half.sign * factor;
    sum += signed_factor * (signed_factor > 0.0 ? bounds.lower : bounds.upper)[at(column)];
  }
  return sum;
}

double tolerance_of(const HalfRow& half) {
  double largest = std::abs(half.limit);
  for (const auto& [column, factor] : half.row.terms) largest = std::max(largest, std::abs(factor));
  return row_tolerance * largest;
}

// The variables that the row decides. False when it can't hold.
bool decide_by(const HalfRow& half, const Bounds& bounds,
               std::vector<std::pair<int, bool>>& found) {
  if (std::isinf(half.limit)) return true;
  const double room = half.limit + tolerance_of(half) - least_sum(half, bounds);
  if (room < 0.0) return false;
  for (const auto& [column, factor] : half.row.terms) {
    if (is_open(bounds, column) && std::abs(factor) > room)
      found.emplace_back(column, half.sign * factor < 0.0);
  }
  return true;
}

const Switch& switch_of(const Model& model, int column) {
  return *std::ranges::lower_bound(model.switches, column, {}, &Switch::column);
}

}  // namespace

bool decide(const Switch& one, bool is_on, Bounds& bounds) {
  bool holds = true;
  const double value = is_on ? 1.0 : 0.0;
  const auto narrow = [&](const Limits& limits) {
    double& lower = bounds.lower[at(limits.column)];
    double& upper = bounds.upper[at(limits.column)];
    lower = std::max(lower, limits.lower);
    upper = std::min(upper, limits.upper);
    if (lower <= upper) return;
    // Where no more than rounding parts them they meet.
    holds = holds && lower - upper <= row_tolerance * std::max(1.0, std::abs(upper));
    lower = upper;
  };
  narrow({one.column, value, value});
  std::ranges::for_each(one.at(is_on), narrow);
  return holds;
}

bool propagate(const Model& model, Bounds& bounds) {
  std::vector<std::pair<int, bool>> found;
  bool is_settled = false;
  while (!is_settled) {
    is_settled = true;
    for (const Row& row : model.logic) {
      found.clear();
      if (!decide_by({row, 1.0, row.upper}, bounds, found)) return false;
      if (!decide_by({row, -1.0, -row.lower}, bounds, found)) return false;
      for (const auto& [column, is_on] : found) {
        is_settled = false;
        if (is_open(bounds, column) && !decide(switch_of(model, column), is_on, bounds))
          return false;
      }
    }
  }
  return true;
}

double worst_violation(const Model& model, std::span<const double> point) {
  double worst = 0.0;
  for (const Condition& condition : model.conditions) {
    long double sum = condition.form.constant;
    double size = 1.0 + std::abs(condition.form.constant);
    for (const auto& [variable, factor] : condition.form.terms) {
      sum += static_cast<long double>(factor) * point[at(variable)];
      size += std::abs(factor * point[at(variable)]);
    }
    const double above = static_cast<double>(sum);
    double violation = std::abs(above);
    if (condition.relation == Relation::at_most) violation = above;
    if (condition.relation == Relation::at_least) violation = -above;
    worst = std::max(worst, violation / size);
  }
  return worst;
}

}  // namespace mirsolve::linear
