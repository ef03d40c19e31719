#include "model/least_squares.h"

#include <array>
#include <cmath>
#include <cstring>

#include "model/metrics.h"
#include "model/residual_sums.h"

namespace torve {

namespace {

constexpr double absolute_tolerance = 0.001;
constexpr double relative_tolerance = 0.01;

bool all_rows(const Regression& problem) {
  return problem.nrows == static_cast<int>(problem.z.size());
}

// Sum of a(i) b(i) over the rows that take part, in four partial sums.
double dot(const Regression& problem, const double* a, const double* b) {
  std::array<double, 4> part{};
  const std::size_t n = problem.z.size();
  std::size_t i = 0;
  if (all_rows(problem)) {
    for (; i + 4 <= n; i += 4) {
      for (std::size_t k = 0; k < 4; ++k) part[k] += a[i + k] * b[i + k];
    }
    for (; i < n; ++i) part[0] += a[i] * b[i];
  } else {
    for (; i < n; ++i) {
      if (problem.rows[i]) part[i % 4] += a[i] * b[i];
    }
  }
  return (part[0] + part[1]) + (part[2] + part[3]);
}

const double* column(const Regression& problem, std::size_t p) {
  return problem.x.column_data(problem.columns[p]);
}

void pack_vector(const Regression& problem, const double* from, double* to) {
  if (all_rows(problem)) {
    std::memcpy(to, from, problem.z.size() * sizeof(double));
    return;
  }
  for (std::size_t i = 0; i < problem.z.size(); ++i) {
    if (problem.rows[i]) *to++ = from[i];
  }
}

// The model's values on all rows.
void values(const Regression& problem, std::span<const double> beta, std::span<double> y) {
  std::fill(y.begin(), y.end(), 0.0);
  add_columns(problem.x, problem.columns, beta, y);
}

// Values that are no numbers differ from everything.
bool differ(double a, double b) {
  const double d = std::abs(a - b);
  return !(d <= absolute_tolerance) &&
         !(d <= relative_tolerance * std::max({std::abs(a), std::abs(b), 1.0}));
}

}  // namespace

double one_term_coefficient(const Regression& problem) {
  const double* x = column(problem, 0);
  const double square = dot(problem, x, x);
  return square == 0.0 ? 0.0 : dot(problem, x, problem.z.data()) / square;
}

void pack(const Regression& problem, double* a, int lda, double* b) {
  for (std::size_t p = 0; p < problem.columns.size(); ++p) {
    pack_vector(problem, column(problem, p), a + static_cast<std::ptrdiff_t>(p) * lda);
  }
  pack_vector(problem, problem.z.data(), b);
}

// The model's values on all rows are needed only for more columns than one pass takes, or when a
// gradient is too large to pass at once.
bool olrcheck(const Regression& problem, std::span<const double> beta, const double* sse,
              std::span<double> yhat, double* found) {
  const std::size_t n = beta.size();
  const bool one_pass = n <= most_fused_columns;
  bool have_values = !one_pass;
  if (have_values) values(problem, beta, yhat);
  for (std::size_t first = 0; first < n; first += most_fused_columns) {
    std::array<const double*, most_fused_columns> columns;
    const std::size_t group = std::min(n - first, most_fused_columns);
    for (std::size_t p = 0; p < group; ++p) columns[p] = column(problem, first + p);
    const std::span<const double* const> x(columns.data(), group);
    ResidualSums sums;
    if (one_pass) {
      residual_sums(x, beta.data(), problem.z, problem.rows, sums);
    } else {
      residual_sums_of_values(x, yhat.data(), problem.z, problem.rows, sums);
    }
    if (first == 0 && found != nullptr) *found = sums.square;
    if (first == 0 && sse != nullptr && differ(sums.square, *sse)) return true;
    for (std::size_t p = 0; p < group; ++p) {
      if (std::abs(sums.gradient[p]) <= absolute_tolerance) continue;
      if (!have_values) values(problem, beta, yhat);
      have_values = true;
      if (differ(dot(problem, x[p], problem.z.data()), dot(problem, x[p], yhat.data()))) {
        return true;
      }
    }
  }
  return false;
}

void gauss_seidel_start(const Regression& problem, std::span<double> beta,
                        const GaussSeidelWork& work) {
  const std::size_t n = problem.columns.size();
  for (std::size_t p = 0; p < n; ++p) {
    work.rhs[p] = dot(problem, column(problem, p), problem.z.data());
    for (std::size_t q = 0; q <= p; ++q) {
      const double product = dot(problem, column(problem, p), column(problem, q));
      work.gram[p + q * n] = work.gram[q + p * n] = product;
    }
    const double square = work.gram[p + p * n];
    beta[p] = square == 0.0 ? 0.0 : work.rhs[p] / square;
  }
}

bool gauss_seidel_sweep(std::span<double> beta, const GaussSeidelWork& work,
                        const GaussSeidelRules& rules) {
  const std::size_t n = beta.size();
  bool ok = true;
  for (std::size_t p = 0; p < n; ++p) {
    const double old = beta[p];
    const double* row = work.gram.data() + p * n;  // the matrix is symmetric
    double moved = std::abs(old);
    if (row[p] != 0.0) {
      double sum = 0.0;
      for (std::size_t q = 0; q < n; ++q) sum += row[q] * beta[q];
      const double step = (work.rhs[p] - sum) / row[p];
      beta[p] = old + step;
      moved = std::abs(step);
    } else {
      beta[p] = 0.0;
    }
    if (moved > rules.abstol && std::abs(old) * rules.reltol < moved) ok = false;
  }
  return ok;
}

}  // namespace torve
