#include "model/residual_sums.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "model/metrics.h"

namespace {

constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

struct Case {
  const char* name;
  int rows;
  int columns;
  int leave_out;  // every so many rows one doesn't take part; 0: all do
};

// Values that differ from row to row and from column to column; rows left out hold no numbers.
struct Problem {
  explicit Problem(const Case& size)
      : n(static_cast<std::size_t>(size.columns)),
        m(static_cast<std::size_t>(size.rows)),
        x(n, std::vector<double>(m)),
        z(m),
        used(std::make_unique<bool[]>(m)) {
    for (std::size_t i = 0; i < m; ++i) {
      used[i] = size.leave_out == 0 || i % static_cast<std::size_t>(size.leave_out) != 1;
      const double t = static_cast<double>(i);
      z[i] = used[i] ? std::sin(t) : not_a_number;
      for (std::size_t p = 0; p < n; ++p) {
        x[p][i] = used[i] ? std::cos(t * (1.0 + static_cast<double>(p))) : not_a_number;
      }
    }
    for (std::size_t p = 0; p < n; ++p) {
      columns.push_back(x[p].data());
      beta.push_back(0.3 * static_cast<double>(p + 1));
    }
    for (std::size_t i = 0; i < m; ++i) {
      double sum = 0.0;
      for (std::size_t p = 0; p < n; ++p) sum += beta[p] * x[p][i];
      y.push_back(sum);
    }
  }

  std::size_t n;
  std::size_t m;
  std::vector<std::vector<double>> x;
  std::vector<double> z;
  std::unique_ptr<bool[]> used;
  std::vector<const double*> columns;
  std::vector<double> beta;
  std::vector<double> y;

  torve::RowMask rows() const { return {used.get(), m}; }
  double gradient(std::size_t p) const {
    double sum = 0.0;
    for (std::size_t i = 0; i < m; ++i) {
      if (used[i]) sum += (z[i] - y[i]) * x[p][i];
    }
    return sum;
  }
};

class ResidualSums : public testing::TestWithParam<Case> {};

void expect_sums(const Problem& problem, const torve::ResidualSums& sums) {
  EXPECT_EQ(sums.square, torve::sum_of_squares(problem.z, problem.y, problem.rows()));
  for (std::size_t p = 0; p < problem.n; ++p) {
    EXPECT_NEAR(sums.gradient[p], problem.gradient(p), 1e-12) << p;
  }
}

TEST_P(ResidualSums, are_those_of_the_columns) {
  const Problem problem(GetParam());
  torve::ResidualSums sums{};
  torve::residual_sums(problem.columns, problem.beta.data(), problem.z, problem.rows(), sums);
  expect_sums(problem, sums);
}

TEST_P(ResidualSums, are_those_of_the_values) {
  const Problem problem(GetParam());
  torve::ResidualSums sums{};
  torve::residual_sums_of_values(problem.columns, problem.y.data(), problem.z, problem.rows(),
                                 sums);
  expect_sums(problem, sums);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ResidualSums,
    testing::Values(Case{"one_row", 1, 1, 0}, Case{"three_rows", 3, 2, 0},
                    Case{"four_rows", 4, 3, 0}, Case{"even", 64, 4, 0}, Case{"odd", 67, 4, 0},
                    Case{"one_column", 21, 1, 0}, Case{"two_columns", 22, 2, 0},
                    Case{"three_columns", 23, 3, 0}, Case{"half_missing", 31, 3, 2},
                    Case{"some_missing", 30, 4, 7}, Case{"last_missing", 6, 2, 4}),
    [](const auto& row) { return std::string(row.param.name); });

struct TailCase {
  const char* name;
  std::vector<double> b;
  int n;
  double square;
};

class TailSquare : public testing::TestWithParam<TailCase> {};

TEST_P(TailSquare, starts_behind_the_first_places) {
  EXPECT_EQ(torve::tail_square(GetParam().b, GetParam().n), GetParam().square);
}

INSTANTIATE_TEST_SUITE_P(Rows, TailSquare,
                         testing::Values(TailCase{"all", {1, 2, 3}, 0, 14.0},
                                         TailCase{"tail", {9, 1, 2, 3, 4, 5, 6, 7}, 1, 140.0},
                                         TailCase{"nothing_left", {1, 2}, 2, 0.0},
                                         TailCase{"fewer_rows_than_columns", {1, 2}, 3, 0.0}),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
