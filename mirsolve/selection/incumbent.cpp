#include "mirsolve/selection/incumbent.h"

#include <algorithm>
#include <cmath>

namespace mirsolve::selection {

namespace {

std::size_t at(int i) {
  return static_cast<std::size_t>(i);
}

}  // namespace

double cost_of(const Model& model, std::span<const Position> positions) {
  double cost = 0.0;
  for (std::size_t i = 0; i < positions.size(); ++i) {
    if (positions[i] == Position::on) cost += model.choices[i].cost;
  }
  return cost;
}

void list_columns_in(const Model& model, std::span<const Position> positions,
                     std::vector<int>& columns) {
  columns.clear();
  for (std::size_t j = 0; j < model.columns.size(); ++j) {
    const int choice = model.columns[j].choice;
    if (choice == no_switch || positions[at(choice)] == Position::on) {
      columns.push_back(static_cast<int>(j));
    }
  }
}

Incumbent::Incumbent(const Model& model, const Data& data, const Goal& goal)
    : model_(model),
      data_(data),
      goal_(goal),
      cutoff_(goal.cutoff),
      fit_(model, data),
      limits_matter_(!model.coefficients.empty()) {}

double Incumbent::threshold() const {
  if (!exists_) return cutoff_;
  return objective_ - std::max(goal_.absolute_gap, goal_.relative_gap * std::abs(objective_));
}

// The objective by a fit, or nothing where there is none that counts.
std::optional<double> Incumbent::value(Basis basis, double cost, std::span<const int> in) {
  const Outcome outcome = fit_.fit(in, {}, basis);
  if (outcome == Outcome::failed) {
    has_failure_ = true;
    failure_bound_ = std::min(failure_bound_, model_.constant + cost);
  }
  if (outcome == Outcome::impossible || fit_.was_limited()) limits_matter_ = true;
  if (outcome != Outcome::fitted) return std::nullopt;
  const double squares = data_.unit * fit_.squares();
  if (model_.square_limit && squares > *model_.square_limit) return std::nullopt;
  return model_.constant + cost + (model_.counts_squares ? squares : 0.0);
}

void Incumbent::offer(std::span<const Position> positions) {
  const double cost = cost_of(model_, positions);
  if (!is_useful(model_.constant + cost)) return;
  std::vector<int> in;
  list_columns_in(model_, positions, in);
  // The triangle may be off by rounding, and more so for columns that depend on each other.
  const std::optional<double> rough = value(Basis::triangle, cost, in);
  if (!rough && !has_failure_ && !model_.square_limit) return;
  constexpr double doubt = 1e-9;
  if (rough && !is_useful(*rough - doubt * std::abs(*rough))) return;
  const std::optional<double> exact = value(Basis::data, cost, in);
  if (!exact || !is_useful(*exact)) return;
  exists_ = true;
  objective_ = *exact;
  positions_.assign(positions.begin(), positions.end());
  x_.assign(model_.columns.size(), 0.0);
  for (std::size_t i = 0; i < in.size(); ++i) {
    const Column& column = model_.columns[at(in[i])];
    const double x = fit_.x()[i] * data_.scales[at(in[i])];
    x_[at(in[i])] = std::clamp(x, column.lower, column.upper);
  }
}

}  // namespace mirsolve::selection
