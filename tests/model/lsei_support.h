#pragma once

// Problems for the constrained fit, its call, and judges of the answer that share no code with it.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>
#include <vector>

#include "model/lsei.h"

namespace torve::test {

using Row = std::vector<double>;
using Rows = std::vector<Row>;
using LongRow = std::vector<long double>;

struct Problem {
  int n = 0;
  Rows a, g;
  Row b, h;
  int ma() const { return static_cast<int>(a.size()); }
  int mg() const { return static_cast<int>(g.size()); }
};

// Requests for memory so far; the test program's operator new counts them.
inline long allocations = 0;

struct Answer {
  int mode = -1;
  int rank = -1;
  double rnorme = -1.0, rnorml = -1.0;
  Row x;
  long allocated = 0;
};

// Workspaces begin filled with NaN: nothing in them may be read before it's written.
inline Answer solve(const Problem& p) {
  const int rows = p.ma() + p.mg();
  const int mdw = std::max(rows, 1);
  Row w(static_cast<std::size_t>(mdw) * static_cast<std::size_t>(p.n + 1), 0.0);
  const auto put = [&](int i, const Row& coefficients, double right) {
    const auto row = static_cast<std::size_t>(i);
    for (std::size_t j = 0; j < coefficients.size(); ++j)
      w[row + j * static_cast<std::size_t>(mdw)] = coefficients[j];
    w[row + static_cast<std::size_t>(p.n) * static_cast<std::size_t>(mdw)] = right;
  };
  for (std::size_t i = 0; i < p.a.size(); ++i) put(static_cast<int>(i), p.a[i], p.b[i]);
  for (std::size_t i = 0; i < p.g.size(); ++i) put(p.ma() + static_cast<int>(i), p.g[i], p.h[i]);

  const int lw = lsei_real_workspace(0, p.ma(), p.mg(), p.n);
  const int lip = lsei_integer_workspace(p.mg(), p.n);
  Row ws(static_cast<std::size_t>(lw), std::numeric_limits<double>::quiet_NaN());
  std::vector<int> ip(static_cast<std::size_t>(lip), -77777);
  ip[0] = lw;
  ip[1] = lip;
  Answer answer;
  answer.x.assign(static_cast<std::size_t>(p.n), -111111.0);
  const double no_options = 1.0;
  const long before = allocations;
  lsei(w.data(), mdw, 0, p.ma(), p.mg(), p.n, &no_options, answer.x.data(), answer.rnorme,
       answer.rnorml, answer.mode, ws.data(), ip.data());
  answer.allocated = allocations - before;
  answer.rank = ip[2];
  EXPECT_EQ(ip[0], lw);
  EXPECT_EQ(ip[1], lip);
  return answer;
}

inline long double dot(const Row& row, const Row& x) {
  long double sum = 0.0L;
  for (std::size_t j = 0; j < x.size(); ++j) sum += static_cast<long double>(row[j]) * x[j];
  return sum;
}

inline long double norm(const Row& x) {
  return std::sqrt(dot(x, x));
}

inline long double residual_norm(const Problem& p, const Row& x) {
  long double sum = 0.0L;
  for (std::size_t i = 0; i < p.a.size(); ++i) {
    const long double r = dot(p.a[i], x) - p.b[i];
    sum += r * r;
  }
  return std::sqrt(sum);
}

// A solution of the square system M y = c by elimination with full pivoting; free unknowns are 0.
// False when the system contradicts itself.
inline bool eliminate(std::vector<LongRow> m, LongRow c, LongRow& y) {
  const std::size_t n = c.size();
  std::vector<std::size_t> order(n);
  for (std::size_t i = 0; i < n; ++i) order[i] = i;
  long double first = 0.0L;
  std::size_t rank = 0;
  for (; rank < n; ++rank) {
    std::size_t pi = rank, pj = rank;
    for (std::size_t i = rank; i < n; ++i) {
      for (std::size_t j = rank; j < n; ++j)
        if (std::abs(m[i][j]) > std::abs(m[pi][pj])) pi = i, pj = j;
    }
    if (rank == 0) first = std::abs(m[pi][pj]);
    if (std::abs(m[pi][pj]) <= 1e-15L * first) break;
    std::swap(m[rank], m[pi]);
    std::swap(c[rank], c[pi]);
    for (LongRow& row : m) std::swap(row[rank], row[pj]);
    std::swap(order[rank], order[pj]);
    for (std::size_t i = rank + 1; i < n; ++i) {
      const long double factor = m[i][rank] / m[rank][rank];
      for (std::size_t j = rank; j < n; ++j) m[i][j] -= factor * m[rank][j];
      c[i] -= factor * c[rank];
    }
  }
  for (std::size_t i = rank; i < n; ++i)
    if (std::abs(c[i]) > 1e-10L) return false;
  LongRow z(n, 0.0L);
  for (std::size_t i = rank; i-- > 0;) {
    long double sum = c[i];
    for (std::size_t j = i + 1; j < rank; ++j) sum -= m[i][j] * z[j];
    z[i] = sum / m[i][i];
  }
  y.assign(n, 0.0L);
  for (std::size_t i = 0; i < n; ++i) y[order[i]] = z[i];
  return true;
}

// minimise |A x - b| with the rows of `subset` as equations, from the stationarity equations
//   [A^T A  G_S^T] [ x]   [A^T b]
//   [G_S        0] [-u] = [h_S  ].
inline bool solve_subset(const Problem& p, unsigned subset, Row& x) {
  const auto n = static_cast<std::size_t>(p.n);
  std::vector<std::size_t> rows;
  for (std::size_t i = 0; i < p.g.size(); ++i)
    if ((subset >> i & 1U) != 0U) rows.push_back(i);
  const std::size_t size = n + rows.size();
  std::vector<LongRow> m(size, LongRow(size, 0.0L));
  LongRow c(size, 0.0L), y;
  for (std::size_t i = 0; i < p.a.size(); ++i) {
    for (std::size_t j = 0; j < n; ++j) {
      for (std::size_t k = 0; k < n; ++k)
        m[j][k] += static_cast<long double>(p.a[i][j]) * p.a[i][k];
      c[j] += static_cast<long double>(p.a[i][j]) * p.b[i];
    }
  }
  for (std::size_t i = 0; i < rows.size(); ++i) {
    for (std::size_t j = 0; j < n; ++j) m[n + i][j] = m[j][n + i] = p.g[rows[i]][j];
    c[n + i] = p.h[rows[i]];
  }
  if (!eliminate(m, c, y)) return false;
  x.resize(n);
  for (std::size_t j = 0; j < n; ++j) x[j] = static_cast<double>(y[j]);
  return true;
}

inline bool rows_hold(const Problem& p, const Row& x, double share) {
  for (std::size_t i = 0; i < p.g.size(); ++i) {
    long double scale = 1e-3L + std::abs(p.h[i]);  // terms may be rounding themselves
    for (std::size_t j = 0; j < x.size(); ++j) scale += std::abs(p.g[i][j] * x[j]);
    if (dot(p.g[i], x) < p.h[i] - share * scale) return false;
  }
  return true;
}

// All 2^mg sets of active rows. True when one of the points is feasible; x is the best of them.
inline bool solve_by_enumeration(const Problem& p, Row& x) {
  bool found = false;
  long double best = 0.0L;
  for (unsigned subset = 0; subset < 1U << p.g.size(); ++subset) {
    Row candidate;
    if (!solve_subset(p, subset, candidate) || !rows_hold(p, candidate, 1e-9)) continue;
    const long double value = residual_norm(p, candidate);
    if (found && value >= best) continue;
    found = true;
    best = value;
    x = candidate;
  }
  return found;
}

// The same problem with columns of A of length one: x_j is multiplied by that length.
inline Problem unit_columns(const Problem& p, Row& x) {
  Problem scaled = p;
  for (std::size_t j = 0; j < x.size(); ++j) {
    long double sum = 0.0L;
    for (const Row& row : p.a) sum += static_cast<long double>(row[j]) * row[j];
    const auto size = static_cast<double>(std::sqrt(sum));
    if (size == 0.0) continue;
    for (Row& row : scaled.a) row[j] /= size;
    for (Row& row : scaled.g) row[j] /= size;
    x[j] *= size;
  }
  for (std::size_t i = 0; i < scaled.g.size(); ++i) {
    const auto size = static_cast<double>(norm(scaled.g[i]));
    if (size == 0.0) continue;
    for (double& value : scaled.g[i]) value /= size;
    scaled.h[i] /= size;
  }
  return scaled;
}

// The shortest of gradient - sum u_i G_i, u >= 0, over all subsets of the active rows, so that
// nothing of the code under test takes part.
inline long double unexplained_gradient(const Problem& p, const std::vector<std::size_t>& active,
                                        const Row& gradient) {
  long double best = norm(gradient);
  const std::size_t count = active.size();
  // The whole set first: it's nearly always the answer.
  for (unsigned k = 0; k < 1U << count && best > 1e-13L; ++k) {
    const unsigned subset = (1U << count) - 1U - k;
    std::vector<std::size_t> rows;
    for (std::size_t i = 0; i < count; ++i)
      if ((subset >> i & 1U) != 0U) rows.push_back(active[i]);
    if (rows.empty()) continue;
    std::vector<LongRow> gram(rows.size(), LongRow(rows.size(), 0.0L));
    LongRow right(rows.size(), 0.0L), u;
    for (std::size_t i = 0; i < rows.size(); ++i) {
      for (std::size_t k2 = 0; k2 < rows.size(); ++k2)
        gram[i][k2] = dot(p.g[rows[i]], p.g[rows[k2]]);
      right[i] = dot(p.g[rows[i]], gradient);
    }
    if (!eliminate(gram, right, u)) continue;
    if (*std::min_element(u.begin(), u.end()) < -1e-12L) continue;
    Row rest = gradient;
    for (std::size_t j = 0; j < rest.size(); ++j) {
      long double value = gradient[j];
      for (std::size_t i = 0; i < rows.size(); ++i) value -= u[i] * p.g[rows[i]][j];
      rest[j] = static_cast<double>(value);
    }
    best = std::min(best, norm(rest));
  }
  return best;
}

// Feasibility, and the residual's gradient as a nonnegative combination of the active rows, in
// columns and rows of length one.
inline void expect_optimal(const Problem& original, const Answer& answer, double tolerance) {
  ASSERT_EQ(answer.mode, 0);
  EXPECT_EQ(answer.rnorme, 0.0);
  Row x = answer.x;
  const Problem p = unit_columns(original, x);
  const long double scale = norm(p.b) + norm(x);
  EXPECT_NEAR(static_cast<double>(residual_norm(p, x)), answer.rnorml,
              1e-10 * static_cast<double>(scale));
  std::vector<std::size_t> active;
  for (std::size_t i = 0; i < p.g.size(); ++i) {
    const long double slack = dot(p.g[i], x) - p.h[i];
    EXPECT_GE(slack, -1e-11L * (scale + std::abs(p.h[i]))) << "row " << i;
    if (slack <= 1e-9L * (scale + std::abs(p.h[i]))) active.push_back(i);
  }
  Row gradient(x.size(), 0.0);
  for (std::size_t j = 0; j < x.size(); ++j) {
    long double sum = 0.0L;
    for (std::size_t i = 0; i < p.a.size(); ++i) sum += p.a[i][j] * (dot(p.a[i], x) - p.b[i]);
    gradient[j] = static_cast<double>(sum / std::max(scale, 1e-300L));
  }
  ASSERT_LE(active.size(), 14U);
  EXPECT_LE(unexplained_gradient(p, active, gradient), tolerance);
}

}  // namespace torve::test
