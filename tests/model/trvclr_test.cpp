// The constrained fit against a search through all sets of active constraints.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

#include "model/trvolr.h"
#include "support/small_problem.h"

namespace torve::test {
namespace {

constexpr int n = 3;
constexpr int points = 12;
using Vector = std::vector<double>;

// The solution of a square system by elimination; nothing when a pivot is next to 0.
std::optional<Vector> solve(std::vector<Vector> a, Vector b) {
  const std::size_t size = b.size();
  for (std::size_t c = 0; c < size; ++c) {
    std::size_t pivot = c;
    for (std::size_t r = c; r < size; ++r) {
      if (std::abs(a[r][c]) > std::abs(a[pivot][c])) pivot = r;
    }
    if (std::abs(a[pivot][c]) < 1e-10) return std::nullopt;
    std::swap(a[c], a[pivot]);
    std::swap(b[c], b[pivot]);
    for (std::size_t r = 0; r < size; ++r) {
      if (r == c) continue;
      const double factor = a[r][c] / a[c][c];
      for (std::size_t k = c; k < size; ++k) a[r][k] -= factor * a[c][k];
      b[r] -= factor * b[c];
    }
  }
  for (std::size_t c = 0; c < size; ++c) b[c] /= a[c][c];
  return b;
}

struct Row {
  Vector g;  // g . beta >= h
  double h = 0.0;
};

double dot(const Vector& a, const Vector& b) {
  double sum = 0.0;
  for (std::size_t i = 0; i < n; ++i) sum += a[i] * b[i];
  return sum;
}

double squares(const std::vector<Vector>& x, const Vector& z, const Vector& beta) {
  double sum = 0.0;
  for (std::size_t i = 0; i < z.size(); ++i) sum += std::pow(z[i] - dot(x[i], beta), 2);
  return sum;
}

// Least squares with the rows of the mask as equations, by the normal equations with multipliers.
std::optional<Vector> with_equations(const std::vector<Vector>& x, const Vector& z,
                                     const std::vector<Row>& rows, unsigned mask) {
  std::vector<const Row*> active;
  for (std::size_t r = 0; r < rows.size(); ++r) {
    if (((mask >> r) & 1U) != 0) active.push_back(&rows[r]);
  }
  const std::size_t size = n + active.size();
  std::vector<Vector> a(size, Vector(size, 0.0));
  Vector b(size, 0.0);
  for (std::size_t i = 0; i < z.size(); ++i) {
    for (std::size_t p = 0; p < n; ++p) {
      b[p] += x[i][p] * z[i];
      for (std::size_t q = 0; q < n; ++q) a[p][q] += x[i][p] * x[i][q];
    }
  }
  for (std::size_t r = 0; r < active.size(); ++r) {
    for (std::size_t p = 0; p < n; ++p) a[n + r][p] = a[p][n + r] = active[r]->g[p];
    b[n + r] = active[r]->h;
  }
  auto solution = solve(a, b);
  if (solution) solution->resize(n);
  return solution;
}

// The least sum of squares over all sets of at most n active rows; nothing when no point is
// feasible.
std::optional<double> least_squares(const std::vector<Vector>& x, const Vector& z,
                                    const std::vector<Row>& rows) {
  std::optional<double> least;
  for (unsigned mask = 0; mask < 1U << rows.size(); ++mask) {
    if (__builtin_popcount(mask) > n) continue;
    const auto beta = with_equations(x, z, rows, mask);
    if (!beta) continue;
    const bool feasible = std::ranges::all_of(
        rows, [&](const Row& row) { return dot(row.g, *beta) >= row.h - 1e-9; });
    if (!feasible) continue;
    const double sum = squares(x, z, *beta);
    least = std::min(sum, least.value_or(std::numeric_limits<double>::infinity()));
  }
  return least;
}

class ConstrainedFits : public testing::TestWithParam<int> {};

TEST_P(ConstrainedFits, are_the_best_of_all_active_sets) {
  Random random(static_cast<std::uint64_t>(GetParam()));
  SmallProblem problem;
  for (int i = 0; i < points; ++i) {
    problem.x.push_back({random.real(0, 2), random.real(-1, 1), random.real(0, 1)});
    problem.z.push_back({random.normal() + problem.x.back()[0]});
  }
  problem.options = "constant 0\n";
  SmallRun small(problem.text());
  ASSERT_TRUE(small.ended_normally()) << small.screen();
  RunState& run = small.state();

  constexpr int set_size = 5;
  CRELEM set;
  set.crndata = set_size;
  ASSERT_TRUE(set.crxij.request(run.memory, set_size, n));
  ASSERT_TRUE(set.type.request(run.memory, set_size));
  ASSERT_TRUE(run.outputs.zmin.request(run.memory, 1));
  ASSERT_TRUE(run.outputs.zmax.request(run.memory, 1));
  run.outputs.zmin[0] = random.real(-0.5, 0.5);
  run.outputs.zmax[0] = run.outputs.zmin[0] + random.real(0.1, 1.5);
  std::vector<Row> rows;
  for (int p = 0; p < set_size; ++p) {
    Vector row;
    for (int j = 0; j < n; ++j) row.push_back(set.crxij(p, j) = random.real(-1, 2));
    set.type[at(p)] = random.whole(0, 7);
    const int type = set.type[at(p)];
    // A point with a custom constraint has no rows.
    if (type == 1 || type == 3) rows.push_back({row, run.outputs.zmin[0]});
    if (type == 2 || type == 3) {
      rows.push_back({{-row[0], -row[1], -row[2]}, -run.outputs.zmax[0]});
    }
  }
  Vector z;
  for (const Vector& value : problem.z) z.push_back(value[0]);
  const std::optional<double> expected = least_squares(problem.x, z, rows);

  const auto chosen = std::make_unique<bool[]>(n);
  std::fill_n(chosen.get(), n, true);
  Vector beta(n, 0.0);
  const bool failed = trvclr(run, &set, {chosen.get(), n}, 0, beta);
  ASSERT_EQ(failed, !expected.has_value());
  if (!expected) return;
  EXPECT_NEAR(squares(problem.x, z, beta), *expected, 1e-9 * (1.0 + *expected));
  for (const Row& row : rows) EXPECT_GE(dot(row.g, beta), row.h - 1e-9);
}

INSTANTIATE_TEST_SUITE_P(Random, ConstrainedFits, testing::Range(1, 201));

}  // namespace
}  // namespace torve::test
