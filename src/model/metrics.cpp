#include "model/metrics.h"

#include <algorithm>
#include <cmath>

#include "run/model_state.h"

namespace torve {

namespace {

double log_likelihood_term(double f, int n) {
  return n * std::log(f / n);
}

double bic(double f, int p, int n, const MetricRules& rules) {
  if (f <= 0.0) return perfect_fit;
  const double penalty = p * (rules.log_n > 0.0 ? rules.log_n : std::log(static_cast<double>(n)));
  return rules.cvxbic ? penalty + f / rules.sigma : penalty + log_likelihood_term(f, n);
}

double cp(double f, int p, int n, const MetricRules& rules) {
  return 2.0 * p + f / rules.sigma - n;
}

double aicc(double f, int p, int n, const MetricRules&) {
  if (f <= 0.0) return perfect_fit;
  const double aic = log_likelihood_term(f, n) + 2.0 * p;
  if (p + 1 >= n) return aic;
  return aic + 2.0 * p * (p + 1.0) / (n - p - 1.0);
}

double hqc(double f, int p, int n, const MetricRules&) {
  if (f <= 0.0) return perfect_fit;
  const float loglog = std::log(std::log(static_cast<float>(n)));
  return log_likelihood_term(f, n) + 2.0 * p * static_cast<double>(loglog);
}

double mse(double f, int p, int n, const MetricRules&) {
  if (f <= 0.0) return 0.0;
  return p + 1 < n ? f / (n - p - 1) : f;
}

double penalised(double f, int p, int, const MetricRules& rules) {
  return f + rules.convpen * p;
}

double ric(double f, int p, int, const MetricRules& rules) {
  return f / rules.sigma + 2.0 * p * std::log(static_cast<double>(rules.nbasmax));
}

}  // namespace

const std::array<MetricRow, metrics> metric_table{{
    {Metric::bic, "BIC", "BIC", bic},
    {Metric::cp, "Cp", "Cp", cp},
    {Metric::aicc, "AICc", "AICc", aicc},
    {Metric::hqc, "HQC", "HQC", hqc},
    {Metric::mse, "MSE", "MSE", mse},
    {Metric::ssep, "SSEp", "SSEp", penalised},
    {Metric::ric, "RIC", "RIC", ric},
    {Metric::madp, "MADp", "MAD", penalised},
}};

double meanerror(double f, int n, int modeler) {
  return modeler == static_cast<int>(Metric::madp) ? f : std::sqrt(f) / n;
}

bool gains_too_little(double metric, double previous, double relative, double absolute) {
  const double relative_part = relative * std::abs(previous);
  const double tolerance = relative_part <= absolute ? absolute : relative_part;
  return metric + tolerance >= previous;
}

// In groups of four, so that each value of y is read and written once a group.
void add_columns(MatrixView x, std::span<const int> columns, std::span<const double> beta,
                 std::span<double> y) {
  const std::size_t rows = y.size();
  std::size_t c = 0;
  for (; c + 4 <= columns.size(); c += 4) {
    const double* x0 = x.column_data(columns[c]);
    const double* x1 = x.column_data(columns[c + 1]);
    const double* x2 = x.column_data(columns[c + 2]);
    const double* x3 = x.column_data(columns[c + 3]);
    const double b0 = beta[c], b1 = beta[c + 1], b2 = beta[c + 2], b3 = beta[c + 3];
    for (std::size_t i = 0; i < rows; ++i) {
      y[i] = (((y[i] + b0 * x0[i]) + b1 * x1[i]) + b2 * x2[i]) + b3 * x3[i];
    }
  }
  for (; c < columns.size(); ++c) {
    const double* x0 = x.column_data(columns[c]);
    const double b0 = beta[c];
    for (std::size_t i = 0; i < rows; ++i) y[i] += b0 * x0[i];
  }
}

void model_values(MatrixView x, std::span<const int> columns, std::span<const double> beta,
                  std::span<double> y) {
  std::fill(y.begin(), y.end(), 0.0);
  const auto counts = [](double b) { return std::abs(b) > smallest_coefficient; };
  if (std::all_of(beta.begin(), beta.end(), counts)) {
    add_columns(x, columns, beta, y);
    return;
  }
  for (std::size_t c = 0; c < columns.size(); ++c) {
    if (counts(beta[c])) add_columns(x, columns.subspan(c, 1), beta.subspan(c, 1), y);
  }
}

double sum_of_squares(std::span<const double> z, std::span<const double> y, RowMask rows) {
  // Four partial sums, in an order that is fixed whatever the processor.
  std::array<double, 4> part{};
  const std::size_t n = z.size();
  std::size_t i = 0;
  for (; i + 4 <= n; i += 4) {
    for (std::size_t k = 0; k < 4; ++k) {
      const double e = rows[i + k] ? z[i + k] - y[i + k] : 0.0;
      part[k] += e * e;
    }
  }
  for (; i < n; ++i) {
    const double e = rows[i] ? z[i] - y[i] : 0.0;
    part[0] += e * e;
  }
  return (part[0] + part[1]) + (part[2] + part[3]);
}

double largest_percentage_error(std::span<const double> z, std::span<const double> y,
                                RowMask rows) {
  constexpr double small = 0.001;
  double largest = 0.0;
  for (std::size_t i = 0; i < z.size(); ++i) {
    if (!rows[i]) continue;
    const double e = std::abs(z[i] - y[i]);
    const double d = std::abs(z[i]) > small ? 100.0 * std::abs(e / z[i]) : e;
    if (!(d <= largest)) largest = d;
  }
  return largest;
}

}  // namespace torve
