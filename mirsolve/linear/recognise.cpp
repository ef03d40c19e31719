#include <algorithm>
#include <cmath>
#include <map>

#include "mirsolve/linear/model.h"

namespace mirsolve::linear {

namespace {

// A factor up to this is worth its row.
constexpr double largest_kept_factor = 1e4;

using Terms = std::vector<std::pair<int, double>>;

std::size_t at(int i) {
  return static_cast<std::size_t>(i);
}

double without_size(double bound) {
  if (bound >= as_good_as_infinite) return infinite;
  if (bound <= -as_good_as_infinite) return -infinite;
  return bound;
}

// left - right
std::optional<LinearForm> difference(const ExpressionGraph& graph, const Statement& statement) {
  std::optional<LinearForm> left = linear_form(graph, statement.left);
  const std::optional<LinearForm> right = linear_form(graph, statement.right);
  if (!left || !right) return std::nullopt;
  std::map<int, double> factors;
  for (const auto& [variable, factor] : left->terms) factors[variable] += factor;
  for (const auto& [variable, factor] : right->terms) factors[variable] -= factor;
  LinearForm form{left->constant - right->constant, {}};
  for (const auto& [variable, factor] : factors) {
    if (factor != 0.0) form.terms.emplace_back(variable, factor);
  }
  return form;
}

class Maker {
 public:
  explicit Maker(const Problem& problem);
  bool add(const Condition& condition);
  Model finish();

 private:
  bool is_binary(int variable) const { return switch_of_[at(variable)] >= 0; }
  int sum_column(const Terms& terms);
  bool add_switched(const Row& row, int binary, double factor);

  Model model_;
  std::vector<int> switch_of_;  // by variable; -1 for a continuous one
  std::map<Terms, int> sums_;   // columns that stand for sums
};

Maker::Maker(const Problem& problem) {
  model_.variables = static_cast<int>(problem.variables.size());
  for (int j = 0; j < model_.variables; ++j) {
    const Variable& variable = problem.variables[at(j)];
    model_.lower.push_back(without_size(variable.lower));
    model_.upper.push_back(without_size(variable.upper));
    switch_of_.push_back(-1);
    if (variable.kind != VariableKind::binary) continue;
    switch_of_.back() = static_cast<int>(model_.switches.size());
    model_.switches.push_back({j, {}, {}});
    model_.lower.back() = std::ceil(std::max(0.0, variable.lower));
    model_.upper.back() = std::floor(std::min(1.0, variable.upper));
  }
}

// The column that has the value of a sum; of one term alone it is the term's own.
int Maker::sum_column(const Terms& terms) {
  const auto [place, is_new] = sums_.try_emplace(terms, static_cast<int>(model_.lower.size()));
  if (!is_new) return place->second;
  model_.lower.push_back(-infinite);
  model_.upper.push_back(infinite);
  Row row{terms, 0.0, 0.0, true};
  row.terms.emplace_back(place->second, -1.0);
  model_.rows.push_back(std::move(row));
  return place->second;
}

// `row` without the term of the binary variable. False when a number has no size that counts.
bool Maker::add_switched(const Row& row, int binary, double factor) {
  double divisor = 1.0;
  int column = 0;
  if (row.terms.size() == 1) {
    column = row.terms.front().first;
    divisor = row.terms.front().second;
  } else {
    column = sum_column(row.terms);
  }
  Switch& one = model_.switches[at(switch_of_[at(binary)])];
  for (const bool is_on : {false, true}) {
    const double shift = is_on ? factor : 0.0;
    Limits limits{column, without_size((row.lower - shift) / divisor),
                  without_size((row.upper - shift) / divisor)};
    if (divisor < 0.0) std::swap(limits.lower, limits.upper);
    if (limits.lower == infinite || limits.upper == -infinite) return false;
    if (limits.lower > -infinite || limits.upper < infinite)
      (is_on ? one.on : one.off).push_back(limits);
  }
  if (std::abs(factor / divisor) <= largest_kept_factor) {
    Row kept{{{column, divisor}, {binary, factor}}, row.lower, row.upper, true};
    model_.rows.push_back(std::move(kept));
  }
  return true;
}

bool Maker::add(const Condition& condition) {
  Row row;
  const double right = -condition.form.constant;
  if (condition.relation != Relation::at_most) row.lower = right;
  if (condition.relation != Relation::at_least) row.upper = right;
  std::vector<std::pair<int, double>> binaries;
  for (const auto& term : condition.form.terms)
    (is_binary(term.first) ? binaries : row.terms).push_back(term);
  model_.conditions.push_back(condition);

  const auto is_huge = [](const auto& term) {
    return !(std::abs(term.second) < as_good_as_infinite);
  };
  if (std::ranges::any_of(row.terms, is_huge)) return false;
  if (binaries.size() == 1 && !row.terms.empty())
    return add_switched(row, binaries.front().first, binaries.front().second);
  if (std::ranges::any_of(binaries, is_huge) || !(std::abs(right) < as_good_as_infinite))
    return false;
  const bool is_logic = row.terms.empty() && !binaries.empty();
  row.terms.insert(row.terms.end(), binaries.begin(), binaries.end());
  if (is_logic) model_.logic.push_back(row);
  model_.rows.push_back(std::move(row));
  return true;
}

// The looser of what both positions leave of a column's bounds.
void loosen(const Switch& one, int column, Bounds& bounds) {
  Limits loose{column, infinite, -infinite};
  for (const bool is_on : {false, true}) {
    double lower = bounds.lower[at(column)];
    double upper = bounds.upper[at(column)];
    for (const Limits& limits : one.at(is_on)) {
      if (limits.column != column) continue;
      lower = std::max(lower, limits.lower);
      upper = std::min(upper, limits.upper);
    }
    loose.lower = std::min(loose.lower, lower);
    loose.upper = std::max(loose.upper, upper);
  }
  bounds.lower[at(column)] = loose.lower;
  bounds.upper[at(column)] = loose.upper;
}

Model Maker::finish() {
  Bounds bounds{std::move(model_.lower), std::move(model_.upper)};
  for (const Switch& one : model_.switches) {
    for (const auto* limits : {&one.off, &one.on}) {
      for (const Limits& limit : *limits) loosen(one, limit.column, bounds);
    }
  }
  model_.lower = std::move(bounds.lower);
  model_.upper = std::move(bounds.upper);
  model_.cost.resize(model_.lower.size(), 0.0);
  model_.unit.resize(model_.lower.size(), 1.0);
  return std::move(model_);
}

}  // namespace

std::optional<Recognised> recognise(const Problem& problem) {
  const auto objective = linear_form(problem.graph, problem.objective);
  if (!objective) return std::nullopt;
  Recognised result;
  Maker maker(problem);
  for (const Statement& statement : problem.statements) {
    std::optional<LinearForm> form = difference(problem.graph, statement);
    if (!form) return std::nullopt;
    if (!maker.add({std::move(*form), statement.relation}))
      result.complaint = "numbers too large in " + statement.name;
  }
  result.model = maker.finish();
  const double sign = problem.maximize ? -1.0 : 1.0;
  result.model.constant = sign * objective->constant;
  for (const auto& [variable, factor] : objective->terms) {
    result.model.cost[at(variable)] = sign * factor;
    if (std::abs(factor) >= as_good_as_infinite)
      result.complaint = "numbers too large in the objective";
  }
  scale(result.model);
  return result;
}

}  // namespace mirsolve::linear
