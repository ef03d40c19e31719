#include "mirsolve/box/local_search.h"

#include <algorithm>
#include <cmath>

#include "mirsolve/box/cholesky.h"

namespace mirsolve::box {

namespace {

constexpr double no_value = std::numeric_limits<double>::quiet_NaN();

double span_of(const Interval& side) {
  return side.upper() - side.lower();
}

}  // namespace

LocalSearch::LocalSearch(const Formula& formula) : formula_(formula) {
  const std::size_t n = static_cast<std::size_t>(formula.inputs());
  gradient_.resize(n);
  hessian_.resize(n * n);
  trial_.resize(n);
  wanted_.resize(n);
}

double LocalSearch::value(std::span<const double> x) {
  if (sweep_values(formula_, x, sweep_) != Defined::everywhere) return no_value;
  return sweep_.value.back();
}

// Gradient and matrix at x, where the values of the sweep are; false when no step is left.
bool LocalSearch::find_step(std::span<const Interval> sides, std::span<const double> x) {
  sweep_gradient(formula_, sweep_, gradient_);
  free_.clear();
  double steepest = 0.0;
  for (std::size_t i = 0; i < x.size(); ++i) {
    const double slope = gradient_[i];
    const bool stays = (x[i] <= sides[i].lower() && slope >= 0.0) ||
                       (x[i] >= sides[i].upper() && slope <= 0.0) || !std::isfinite(slope);
    wanted_[i] = stays ? 0 : 1;
    if (stays) continue;
    free_.push_back(static_cast<int>(i));
    steepest = std::max(steepest, std::abs(slope) * span_of(sides[i]));
  }
  constexpr double flat = 1e-14;
  if (free_.empty() || !(steepest > flat * (1e-3 + std::abs(sweep_.value.back())))) return false;

  sweep_hessian(formula_, sweep_, wanted_, hessian_);
  const std::size_t n = x.size();
  const std::size_t m = free_.size();
  double scale = 0.0;
  const auto entry = [&](std::size_t a, std::size_t b) {
    const auto i = static_cast<std::size_t>(free_[a]);
    const auto j = static_cast<std::size_t>(free_[b]);
    const double value = hessian_[i * n + j] * span_of(sides[i]) * span_of(sides[j]);
    return std::isfinite(value) ? value : 0.0;
  };
  for (std::size_t a = 0; a < m; ++a) scale = std::max(scale, std::abs(entry(a, a)));
  scale = std::max(scale, steepest);
  if (!std::isfinite(1e6 * scale)) return false;
  matrix_.resize(m * m);
  step_.resize(m);
  double shift = 0.0;
  bool is_factored = false;
  while (!is_factored && shift <= 1e6 * scale) {
    for (std::size_t a = 0; a < m; ++a) {
      const auto i = static_cast<std::size_t>(free_[a]);
      for (std::size_t b = 0; b <= a; ++b) {
        matrix_[a * m + b] = entry(a, b) + (a == b ? shift : 0.0);
      }
      step_[a] = -gradient_[i] * span_of(sides[i]);
    }
    is_factored = factor(matrix_, m);
    shift = shift == 0.0 ? 1e-3 * scale : 8.0 * shift;
  }
  if (!is_factored) return false;
  solve_factored(matrix_, m, step_);
  return std::ranges::all_of(step_, [](double s) { return std::isfinite(s); });
}

// Along the arc; the value at the new x, or no_value where nothing is gained.
double LocalSearch::move(std::span<const Interval> sides, std::span<double> x, double from) {
  constexpr double armijo = 1e-4;
  double part = 1.0;
  for (int halving = 0; halving < 40; ++halving, part *= 0.5) {
    std::ranges::copy(x, trial_.begin());
    double expected = 0.0;
    for (std::size_t a = 0; a < free_.size(); ++a) {
      const auto i = static_cast<std::size_t>(free_[a]);
      const double to = x[i] + part * step_[a] * span_of(sides[i]);
      trial_[i] = std::clamp(to, sides[i].lower(), sides[i].upper());
      expected += gradient_[i] * (trial_[i] - x[i]);
    }
    const double reached = value(trial_);
    if (reached < from && reached <= from + armijo * expected) {
      std::ranges::copy(trial_, x.begin());
      return reached;
    }
  }
  return no_value;
}

double LocalSearch::descend(std::span<const Interval> sides, std::span<double> x,
                            const Deadline& deadline) {
  double here = value(x);
  if (std::isnan(here)) return here;
  constexpr int most_steps = 200;  // halvings on the way to a border without a value take many
  for (int step = 0; step < most_steps && !deadline.is_over(); ++step) {
    if (!find_step(sides, x)) break;
    const double reached = move(sides, x, here);
    if (std::isnan(reached)) break;
    here = reached;
  }
  return here;
}

}  // namespace mirsolve::box
