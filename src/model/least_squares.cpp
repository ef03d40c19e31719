#include "model/least_squares.h"

#include <array>
#include <cmath>
#include <cstring>

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
  const std::size_t n = y.size();
  const double* first = column(problem, 0);
  for (std::size_t i = 0; i < n; ++i) y[i] = beta[0] * first[i];
  for (std::size_t p = 1; p < beta.size(); ++p) {
    const double* x = column(problem, p);
    const double b = beta[p];
    for (std::size_t i = 0; i < n; ++i) y[i] += b * x[i];
  }
}

// Sum of (z - y) x over the rows.
double residual_product(const Regression& problem, const double* y, const double* x) {
  std::array<double, 4> part{};
  const double* z = problem.z.data();
  const std::size_t n = problem.z.size();
  std::size_t i = 0;
  if (all_rows(problem)) {
    for (; i + 4 <= n; i += 4) {
      for (std::size_t k = 0; k < 4; ++k) part[k] += (z[i + k] - y[i + k]) * x[i + k];
    }
    for (; i < n; ++i) part[0] += (z[i] - y[i]) * x[i];
  } else {
    for (; i < n; ++i) {
      if (problem.rows[i]) part[i % 4] += (z[i] - y[i]) * x[i];
    }
  }
  return (part[0] + part[1]) + (part[2] + part[3]);
}

double residual_square(const Regression& problem, const double* y) {
  double sum = 0.0;
  for (std::size_t i = 0; i < problem.z.size(); ++i) {
    if (!problem.rows[i]) continue;
    const double e = problem.z[i] - y[i];
    sum += e * e;
  }
  return sum;
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

bool olrcheck(const Regression& problem, std::span<const double> beta, const double* sse,
              std::span<double> yhat) {
  if (beta.empty()) return false;
  values(problem, beta, yhat);
  if (sse != nullptr && differ(residual_square(problem, yhat.data()), *sse)) return true;
  for (std::size_t p = 0; p < beta.size(); ++p) {
    const double* x = column(problem, p);
    if (std::abs(residual_product(problem, yhat.data(), x)) <= absolute_tolerance) continue;
    if (differ(dot(problem, x, problem.z.data()), dot(problem, x, yhat.data()))) return true;
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
