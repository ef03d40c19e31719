#include "model/lasso.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace torve {

namespace {

constexpr double smallest_deviation = 1e-08;
constexpr double shortest_penalty = 0.001;  // of the largest

void subtract(std::span<double> residual, std::span<const double> x, double factor) {
  for (std::size_t i = 0; i < residual.size(); ++i) residual[i] -= x[i] * factor;
}

// The sum of so many terms: term i goes into partial sum i mod lasso_lanes, and the partial sums
// are added in halves.
template <class Term>
double sum_in_lanes(std::size_t count, Term term) {
  std::array<double, lasso_lanes> part{};
  std::size_t i = 0;
  for (; i + lasso_lanes <= count; i += lasso_lanes) {
    for (std::size_t k = 0; k < lasso_lanes; ++k) part[k] += term(i + k);
  }
  for (std::size_t k = 0; i < count; ++i, ++k) part[k] += term(i);
  for (std::size_t width = lasso_lanes / 2; width > 0; width /= 2) {
    for (std::size_t k = 0; k < width; ++k) part[k] += part[k + width];
  }
  return part[0];
}

}  // namespace

double inner_product(std::span<const double> a, std::span<const double> b) {
  return sum_in_lanes(a.size(), [&](std::size_t i) { return a[i] * b[i]; });
}

ColumnMoments column_moments(std::span<const double> x) {
  const auto n = static_cast<double>(x.size());
  double sum = 0.0;
  for (const double value : x) sum += value;
  const double mean = sum / n;
  if (x.size() < 2) return {mean, 1.0};
  double squares = 0.0;
  for (const double value : x) squares += (value - mean) * (value - mean);
  const double deviation = std::sqrt(squares / (n - 1.0));
  return {mean, deviation <= smallest_deviation ? 1.0 : deviation};
}

void make_penalties(const LassoProblem& problem, std::span<double> penalties) {
  const auto n = static_cast<double>(problem.zc.size());
  double largest = 0.0;
  for (int j = 0; j < problem.xstd.columns; ++j) {
    largest = std::max(largest, std::abs(inner_product(problem.xstd.column(j), problem.zc)) / n);
  }
  const double first = std::log(largest);
  const double step = (std::log(shortest_penalty * largest) - first) /
                      (static_cast<double>(penalties.size()) - 1.0);
  double exponent = first;
  for (double& penalty : penalties) {
    penalty = std::exp(exponent);
    exponent += step;
  }
}

void lasso_sweep(const LassoProblem& problem, double lambda, std::span<bool> mask,
                 std::span<double> coefficients, std::span<double> residual) {
  const auto n = static_cast<double>(problem.zc.size());
  std::copy(problem.zc.begin(), problem.zc.end(), residual.begin());
  for (std::size_t j = 0; j < mask.size(); ++j) {
    if (mask[j]) subtract(residual, problem.xstd.column(static_cast<int>(j)), coefficients[j]);
  }
  for (std::size_t j = 0; j < mask.size(); ++j) {
    if (!mask[j]) continue;
    const std::span<const double> x = problem.xstd.column(static_cast<int>(j));
    const double old = coefficients[j];
    const double u =
        sum_in_lanes(x.size(), [&](std::size_t i) { return x[i] * (residual[i] + x[i] * old); });
    const double fresh = soft_threshold(u / n, lambda);
    coefficients[j] = fresh;
    if (std::abs(fresh) <= smallest_lasso_coefficient) mask[j] = false;
    subtract(residual, x, fresh - old);
  }
}

bool find_strong_columns(const LassoProblem& problem, double lambda, ColumnMask active,
                         std::span<const double> coefficients, std::span<bool> strong,
                         std::span<double> residual) {
  std::copy(problem.zc.begin(), problem.zc.end(), residual.begin());
  for (std::size_t j = 0; j < active.size(); ++j) {
    if (active[j]) subtract(residual, problem.xstd.column(static_cast<int>(j)), coefficients[j]);
  }
  bool any = false;
  for (std::size_t j = 0; j < strong.size(); ++j) {
    const std::span<const double> x = problem.xstd.column(static_cast<int>(j));
    strong[j] = std::abs(inner_product(x, residual)) > lambda;
    any = any || strong[j];
  }
  return any;
}

double largest_change(std::span<const double> now, std::span<const double> before) {
  double largest = 0.0;
  for (std::size_t j = 0; j < now.size(); ++j) {
    if (now[j] == before[j]) continue;
    const double scale = std::max({std::abs(now[j]), std::abs(before[j]), 1.0});
    largest = std::max(largest, std::abs(now[j] - before[j]) / scale);
  }
  return largest;
}

double lasso_sse(const LassoProblem& problem, std::span<const double> coefficients,
                 std::span<double> residual) {
  std::copy(problem.zc.begin(), problem.zc.end(), residual.begin());
  for (int j = 0; j < problem.xstd.columns; ++j) {
    const double b = coefficients[at(j)];
    if (b != 0.0) subtract(residual, problem.xstd.column(j), b);
  }
  return inner_product(residual, residual);
}

void PlainLasso::sweep(double lambda, std::span<bool> mask, std::span<double> coefficients) {
  lasso_sweep(problem_, lambda, mask, coefficients, residual_);
}

bool PlainLasso::find_strong(double lambda, ColumnMask active, std::span<const double> coefficients,
                             std::span<bool> strong) {
  return find_strong_columns(problem_, lambda, active, coefficients, strong, residual_);
}

double PlainLasso::sse(std::span<const double> coefficients) {
  return lasso_sse(problem_, coefficients, residual_);
}

// --- points of the path -------------------------------------------------------------------------

namespace {

constexpr double sweep_tolerance = static_cast<double>(0.001F);  // a single-precision constant
constexpr int most_sweeps = 100000;  // at one penalty; data at noise level may never settle

}  // namespace

LassoPath::LassoPath(LassoSteps& steps, const LassoSets& sets) : steps_(steps), sets_(sets) {
  std::fill(sets_.coef.begin(), sets_.coef.end(), 0.0);
  for (const std::span<bool> set : {sets_.active, sets_.trial, sets_.strong}) {
    std::fill(set.begin(), set.end(), false);
  }
}

void LassoPath::descend(double lambda, const std::function<bool()>& is_late) {
  sweeps_ = 0;
  while (settle_active(lambda, is_late) && !try_strong(lambda)) {
  }
}

void LassoPath::remember() {
  std::copy(sets_.coef.begin(), sets_.coef.end(), sets_.old.begin());
}

// Sweeps over the active set until it settles.
bool LassoPath::settle_active(double lambda, const std::function<bool()>& is_late) {
  do {
    if (++sweeps_ > most_sweeps || (sweeps_ % 16 == 0 && is_late())) return false;
    remember();
    steps_.sweep(lambda, sets_.active, sets_.coef);
  } while (largest_change(sets_.coef, sets_.old) >= sweep_tolerance);
  return true;
}

// Lets the strong columns in. True when the point on the path is done.
bool LassoPath::try_strong(double lambda) {
  const auto [active, strong, trial, coef, old] = sets_;
  remember();
  const bool any = steps_.find_strong(lambda, active, coef, strong);
  for (std::size_t j = 0; j < trial.size(); ++j) {
    trial[j] = active[j] || (any && strong[j]);
  }
  if (any) steps_.sweep(lambda, trial, coef);
  if (std::equal(trial.begin(), trial.end(), active.begin())) return true;
  if (largest_change(coef, old) >= sweep_tolerance) {
    std::copy(trial.begin(), trial.end(), active.begin());
    return false;
  }
  const auto held = [](std::span<const bool> set) {
    return std::count(set.begin(), set.end(), true);
  };
  if (held(trial) > held(active)) {
    std::copy(old.begin(), old.end(), coef.begin());
  } else {
    std::copy(trial.begin(), trial.end(), active.begin());
  }
  return true;
}

}  // namespace torve
