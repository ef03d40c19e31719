#include <algorithm>
#include <cmath>

#include "mirsolve/linear/model.h"

namespace mirsolve::linear {

namespace {

constexpr double least_factor = 1e-16;

std::size_t at(int i) {
  return static_cast<std::size_t>(i);
}

// The power of two that takes a number to between 1/2 and 1; 1 for 0.
double towards_one(double number) {
  int exponent = 0;
  if (number != 0.0) std::frexp(number, &exponent);
  return std::ldexp(1.0, -exponent);
}

std::vector<double> largest_factors(const Model& model, bool of_links) {
  std::vector<double> largest(model.lower.size(), 0.0);
  for (const Row& row : model.rows) {
    if (row.is_link != of_links) continue;
    for (const auto& [column, factor] : row.terms)
      largest[at(column)] = std::max(largest[at(column)], std::abs(factor));
  }
  return largest;
}

// The unit of a sum is that of its row's largest term, which are of other columns.
void choose_units_of_sums(Model& model) {
  for (const Row& row : model.rows) {
    if (!row.is_link || row.terms.empty()) continue;
    const int column = row.terms.back().first;
    if (column < model.variables) continue;
    double largest = 0.0;
    for (const auto& [other, factor] : row.terms) {
      if (other != column) largest = std::max(largest, std::abs(factor) * model.unit[at(other)]);
    }
    model.unit[at(column)] = 1.0 / towards_one(largest);
  }
}

void scale_row(Row& row, const std::vector<double>& unit) {
  double largest = 0.0;
  for (auto& [column, factor] : row.terms) {
    factor *= unit[at(column)];
    largest = std::max(largest, std::abs(factor));
  }
  const double multiplier = towards_one(largest);
  for (auto& term : row.terms) term.second *= multiplier;
  row.lower *= multiplier;
  row.upper *= multiplier;
  std::erase_if(row.terms, [](const auto& term) { return std::abs(term.second) < least_factor; });
}

}  // namespace

void scale(Model& model) {
  const std::vector<double> largest = largest_factors(model, false);
  const std::vector<double> largest_link = largest_factors(model, true);
  for (std::size_t j = 0; j < model.unit.size(); ++j)
    model.unit[j] = towards_one(largest[j] > 0.0 ? largest[j] : largest_link[j]);
  for (const Switch& one : model.switches) model.unit[at(one.column)] = 1.0;
  choose_units_of_sums(model);

  for (Row& row : model.rows) scale_row(row, model.unit);
  for (std::size_t j = 0; j < model.unit.size(); ++j) {
    model.lower[j] /= model.unit[j];
    model.upper[j] /= model.unit[j];
    model.cost[j] *= model.unit[j];
  }
  for (Switch& one : model.switches) {
    for (auto* limits : {&one.off, &one.on}) {
      for (Limits& limit : *limits) {
        limit.lower /= model.unit[at(limit.column)];
        limit.upper /= model.unit[at(limit.column)];
      }
    }
  }
}

}  // namespace mirsolve::linear
