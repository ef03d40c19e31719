#include "model/lasso.h"

#include <algorithm>
#include <cmath>

namespace torve {

namespace {

constexpr double smallest_deviation = 1e-08;
constexpr double shortest_penalty = 0.001;  // of the largest

void subtract(std::span<double> residual, std::span<const double> x, double factor) {
  for (std::size_t i = 0; i < residual.size(); ++i) residual[i] -= x[i] * factor;
}

double soft_threshold(double u, double lambda) {
  if (u > 0.0 && u > lambda) return u - lambda;
  if (u < 0.0 && lambda < -u) return u + lambda;
  return 0.0;
}

}  // namespace

double inner_product(std::span<const double> a, std::span<const double> b) {
  double sum = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i) sum += a[i] * b[i];
  return sum;
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
    double u = 0.0;
    for (std::size_t i = 0; i < x.size(); ++i) u += x[i] * (residual[i] + x[i] * old);
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

}  // namespace torve
