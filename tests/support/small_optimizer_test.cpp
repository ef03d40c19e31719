// The small optimizers against searches over all sets of active constraints.
#include "small_optimizer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <functional>

#include "small_problem.h"

namespace torve::test {
namespace {

double dot(const Row& a, const Row& b) {
  double sum = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i) sum += a[i] * b[i];
  return sum;
}

bool all_hold(const std::vector<Inequality>& rows, const Row& x, double tolerance) {
  for (const Inequality& row : rows) {
    if (dot(row.coefficients, x) > row.bound + tolerance) return false;
  }
  return true;
}

// Gauss with pivots; nothing for a matrix that is singular.
std::optional<Row> solve(std::vector<Row> a, Row b) {
  const std::size_t n = b.size();
  for (std::size_t k = 0; k < n; ++k) {
    std::size_t pivot = k;
    for (std::size_t i = k; i < n; ++i) {
      if (std::abs(a[i][k]) > std::abs(a[pivot][k])) pivot = i;
    }
    if (std::abs(a[pivot][k]) < 1e-11) return std::nullopt;
    std::swap(a[k], a[pivot]);
    std::swap(b[k], b[pivot]);
    for (std::size_t i = k + 1; i < n; ++i) {
      const double factor = a[i][k] / a[k][k];
      for (std::size_t j = k; j < n; ++j) a[i][j] -= factor * a[k][j];
      b[i] -= factor * b[k];
    }
  }
  for (std::size_t k = n; k-- > 0;) {
    for (std::size_t j = k + 1; j < n; ++j) b[k] -= a[k][j] * b[j];
    b[k] /= a[k][k];
  }
  return b;
}

// The least over points that fulfil some of the constraints with equality: the conditions of
// Lagrange for each set of them. `hessian` x = `gradient` without any.
std::optional<Row> least_of_all(const std::vector<Row>& hessian, const Row& gradient,
                                const std::vector<Inequality>& rows,
                                const std::function<double(const Row&)>& value) {
  const std::size_t n = gradient.size();
  std::optional<Row> best;
  for (std::size_t set = 0; set < (std::size_t{1} << rows.size()); ++set) {
    std::vector<std::size_t> active;
    for (std::size_t k = 0; k < rows.size(); ++k) {
      if (((set >> k) & 1U) != 0) active.push_back(k);
    }
    if (active.size() > n) continue;
    std::vector<Row> a(n + active.size(), Row(n + active.size(), 0.0));
    Row b = gradient;
    for (std::size_t i = 0; i < n; ++i) {
      for (std::size_t j = 0; j < n; ++j) a[i][j] = hessian[i][j];
    }
    for (std::size_t p = 0; p < active.size(); ++p) {
      for (std::size_t j = 0; j < n; ++j) {
        a[n + p][j] = a[j][n + p] = rows[active[p]].coefficients[j];
      }
      b.push_back(rows[active[p]].bound);
    }
    std::optional<Row> x = solve(a, b);
    if (!x) continue;
    x->resize(n);
    if (all_hold(rows, *x, 1e-9) && (!best || value(*x) < value(*best))) best = x;
  }
  return best;
}

std::vector<Inequality> random_rows(Random& random, int count, int n) {
  std::vector<Inequality> rows;
  for (int k = 0; k < count; ++k) {
    Inequality row;
    for (int j = 0; j < n; ++j) row.coefficients.push_back(random.real(-1.0, 1.0));
    row.bound = random.real(-0.6, 0.6);
    rows.push_back(row);
  }
  return rows;
}

TEST(ConstrainedSquares, are_the_least_over_all_active_sets) {
  Random random(31);
  int impossible = 0;
  int bound = 0;
  for (int trial = 0; trial < 400; ++trial) {
    const int n = random.whole(1, 4);
    const int m = random.whole(n, 8);
    std::vector<Row> a;
    Row b;
    for (int i = 0; i < m; ++i) {
      a.emplace_back();
      for (int j = 0; j < n; ++j) a.back().push_back(random.real(-2.0, 2.0));
      b.push_back(random.real(-3.0, 3.0));
    }
    const auto size = static_cast<std::size_t>(n);
    const std::vector<Inequality> rows = random_rows(random, random.whole(0, 6), n);
    std::vector<Row> hessian(size, Row(size, 0.0));
    Row gradient(size, 0.0);
    for (std::size_t i = 0; i < a.size(); ++i) {
      for (std::size_t j = 0; j < size; ++j) {
        gradient[j] += a[i][j] * b[i];
        for (std::size_t k = 0; k < size; ++k) hessian[j][k] += a[i][j] * a[i][k];
      }
    }
    const auto value = [&](const Row& x) {
      double sum = 0.0;
      for (std::size_t i = 0; i < a.size(); ++i) sum += std::pow(dot(a[i], x) - b[i], 2);
      return sum;
    };
    const auto expected = least_of_all(hessian, gradient, rows, value);
    const auto found = constrained_squares(a, b, size, rows);
    ASSERT_EQ(found.has_value(), expected.has_value()) << trial;
    if (!found) {
      ++impossible;
      continue;
    }
    EXPECT_TRUE(all_hold(rows, *found, 1e-8)) << trial;
    EXPECT_NEAR(value(*found), value(*expected), 1e-7 * (1.0 + value(*expected))) << trial;
    if (!all_hold(rows, constrained_squares(a, b, size, {}).value(), 1e-9)) ++bound;
  }
  EXPECT_GT(impossible, 5);
  EXPECT_GT(bound, 50);
}

TEST(ConstrainedSquares, of_dependent_columns_are_least_all_the_same) {
  const std::vector<Row> a = {{1.0, 1.0}, {2.0, 2.0}, {3.0, 3.0}};
  const auto x = constrained_squares(a, {2.0, 4.0, 6.0}, 2, {});
  ASSERT_TRUE(x.has_value());
  EXPECT_NEAR((*x)[0] + (*x)[1], 2.0, 1e-9);
}

TEST(LinearProgram, is_solved_at_the_best_corner) {
  Random random(32);
  int impossible = 0;
  for (int trial = 0; trial < 400; ++trial) {
    const int n = random.whole(1, 3);
    const auto size = static_cast<std::size_t>(n);
    std::vector<Inequality> rows = random_rows(random, random.whole(1, 4), n);
    for (std::size_t j = 0; j < size; ++j) {  // a box, so that there is a least
      for (const double sign : {1.0, -1.0}) {
        rows.push_back({Row(size, 0.0), random.real(0.5, 2.0)});
        rows.back().coefficients[j] = sign;
      }
    }
    Row costs;
    for (std::size_t j = 0; j < size; ++j) costs.push_back(random.real(-1.0, 1.0));
    const auto value = [&](const Row& x) { return dot(costs, x); };
    // Without a hessian only corners fulfil the conditions.
    Row downhill = costs;
    for (double& cost : downhill) cost = -cost;
    const auto expected =
        least_of_all(std::vector<Row>(size, Row(size, 0.0)), downhill, rows, value);
    const auto found = linear_program(costs, rows);
    ASSERT_EQ(found.has_value(), expected.has_value()) << trial;
    if (!found) {
      ++impossible;
      continue;
    }
    EXPECT_TRUE(all_hold(rows, *found, 1e-8)) << trial;
    EXPECT_NEAR(value(*found), value(*expected), 1e-8) << trial;
  }
  EXPECT_GT(impossible, 5);
}

TEST(LinearProgram, without_a_least_has_no_solution) {
  EXPECT_FALSE(linear_program({1.0}, {{{1.0}, 3.0}}).has_value());
  EXPECT_TRUE(linear_program({1.0}, {{{-1.0}, 3.0}}).has_value());
}

}  // namespace
}  // namespace torve::test
