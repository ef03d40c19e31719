#include "model/least_squares.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "support/reference_selection.h"
#include "support/rows.h"
#include "support/small_problem.h"

namespace torve::test {
namespace {

// A least-squares problem of its own storage.
struct Data {
  int points = 0;
  std::vector<double> x;  // column-major
  std::vector<double> z;
  std::vector<int> columns;
  std::unique_ptr<bool[]> rows;

  Data(const std::vector<std::vector<double>>& by_column, std::vector<double> outputs)
      : points(static_cast<int>(outputs.size())), z(std::move(outputs)) {
    for (const auto& column : by_column) {
      columns.push_back(static_cast<int>(columns.size()));
      x.insert(x.end(), column.begin(), column.end());
    }
    rows = std::make_unique<bool[]>(z.size());
    std::fill_n(rows.get(), z.size(), true);
  }

  Regression problem() const {
    const auto total = static_cast<int>(std::count(rows.get(), rows.get() + points, true));
    const int stored = static_cast<int>(x.size()) / points;
    return {{x.data(), points, stored, points}, columns, z, {rows.get(), z.size()}, total};
  }
  bool rejects(const std::vector<double>& beta, const double* sse = nullptr) const {
    std::vector<double> yhat(z.size());
    return olrcheck(problem(), beta, sse, yhat);
  }
};

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

TEST(OneTerm, divides_the_products) {
  const Data data({{1, 2, 3}}, {2, 4, 9});
  EXPECT_EQ(one_term_coefficient(data.problem()), (2.0 + 8 + 27) / (1 + 4 + 9));
}

TEST(OneTerm, sees_the_rows_of_the_mask_alone) {
  Data data({{1, nan, 3, 4, 5}}, {2, 4, 9, nan, 5});
  data.rows[1] = data.rows[3] = false;
  EXPECT_EQ(one_term_coefficient(data.problem()), (2.0 + 27 + 25) / (1 + 9 + 25));
}

TEST(OneTerm, is_zero_for_a_column_of_zeros) {
  EXPECT_EQ(one_term_coefficient(Data({{0, 0, 0}}, {2, 4, 9}).problem()), 0.0);
}

TEST(Pack, takes_chosen_columns_and_rows_in_order) {
  Data data({{11, 21, 31, 41}, {12, 22, 32, 42}, {13, 23, 33, 43}}, {1, 2, 3, 4});
  data.columns = {0, 2};
  data.rows[1] = false;
  std::array<double, 10> a;
  a.fill(-1);
  std::array<double, 4> b;
  b.fill(-1);
  pack(data.problem(), a.data(), 5, b.data());
  EXPECT_EQ(a, (std::array<double, 10>{11, 31, 41, -1, -1, 13, 33, 43, -1, -1}));
  EXPECT_EQ(b, (std::array<double, 4>{1, 3, 4, -1}));
}

TEST(Pack, takes_all_rows) {
  const Data data({{11, 21}, {12, 22}}, {1, 2});
  std::array<double, 4> a{};
  std::array<double, 2> b{};
  pack(data.problem(), a.data(), 2, b.data());
  EXPECT_EQ(a, (std::array<double, 4>{11, 21, 12, 22}));
  EXPECT_EQ(b, (std::array<double, 2>{1, 2}));
}

// z = 3 x1 - 2 x2 + (1, -1, 1, -1) on orthogonal columns: the gradient of x1 is 4 (3 - beta).
//        x1 = 1  1  1  1      x2 = 1  1 -1 -1
struct CheckCase {
  std::string_view name;
  std::array<double, 2> beta;
  double scale;  // of the output and of beta
  double sse;    // negative: not given
  bool rejected;
};

void PrintTo(const CheckCase& row, std::ostream* out) {
  *out << row.name;
}

class Check : public testing::TestWithParam<CheckCase> {};

TEST_P(Check, tests_the_normal_equations) {
  const CheckCase& row = GetParam();
  const double s = row.scale;
  const Data data({{1, 1, 1, 1}, {1, 1, -1, -1}}, {2 * s, 0 * s, 6 * s, 4 * s});
  const double* sse = row.sse < 0 ? nullptr : &row.sse;
  EXPECT_EQ(data.rejects({row.beta[0] * s, row.beta[1] * s}, sse), row.rejected);
}

// With s 1 the outputs' product with x1 is 12, with x2 it is -8; the sum of squares is 4.
INSTANTIATE_TEST_SUITE_P(
    Rows, Check,
    testing::Values(CheckCase{"solution", {3, -2}, 1, -1, false},
                    CheckCase{"solution_with_sse", {3, -2}, 1, 4, false},
                    CheckCase{"within_a_thousandth", {3.0002, -2}, 1, -1, false},
                    CheckCase{"within_a_hundredth", {3.02, -2}, 1, -1, false},
                    CheckCase{"beyond_a_hundredth", {3.04, -2}, 1, -1, true},
                    CheckCase{"second_column", {3, -2.04}, 1, -1, true},
                    CheckCase{"sse_within_a_hundredth", {3, -2}, 1, 4.03, false},
                    CheckCase{"sse_beyond_a_hundredth", {3, -2}, 1, 4.05, true},
                    CheckCase{"sse_zero", {3, -2}, 1, 0, true},
                    CheckCase{"small_scale_is_within_a_thousandth", {0, 0}, 1e-5, -1, false},
                    CheckCase{"below_one_a_hundredth_is_absolute", {2, -2}, 2.4e-3, -1, false},
                    CheckCase{"above_a_hundredth_absolute", {2, -2}, 2.6e-3, -1, true},
                    CheckCase{"no_number", {nan, -2}, 1, -1, true},
                    CheckCase{"sse_no_number", {3, -2}, 1, nan, true}),
    RowName());

TEST(Check, passes_a_column_of_zeros) {
  EXPECT_FALSE(Data({{0, 0, 0}}, {2, 4, 9}).rejects({0.0}));
}

TEST(Check, sees_the_rows_of_the_mask_alone) {
  Data data({{1, 1, 1}}, {2, 4, 900});
  data.rows[2] = false;
  const double sse = 2.0;
  EXPECT_FALSE(data.rejects({3.0}, &sse));
  EXPECT_TRUE(data.rejects({302.0}, &sse));
}

// --- Gauss-Seidel -------------------------------------------------------------------------------

struct Seidel {
  std::vector<double> beta, gram, rhs;
  bool converged = false;
  int asked = 0;

  Seidel(const Data& data, GaussSeidelRules rules, int stop_after = 1 << 30) {
    const std::size_t n = data.columns.size();
    beta.assign(n, 0.0);
    gram.assign(n * n, 0.0);
    rhs.assign(n, 0.0);
    converged = gauss_seidel(data.problem(), beta, {gram, rhs}, rules,
                             [&] { return ++asked >= stop_after; });
  }
};

Data random_data(Random& random, int columns, int points) {
  std::vector<std::vector<double>> x(static_cast<std::size_t>(columns));
  for (auto& column : x) {
    for (int i = 0; i < points; ++i) column.push_back(random.normal());
  }
  std::vector<double> z;
  for (int i = 0; i < points; ++i) z.push_back(3.0 * random.normal());
  return {x, z};
}

TEST(GaussSeidel, ends_at_the_direct_solution) {
  for (std::uint64_t seed = 1; seed <= 40; ++seed) {
    Random random(seed);
    const int columns = random.whole(1, 8);
    Data data = random_data(random, columns, 40);
    std::vector<bool> use(40, true);
    for (std::size_t i = 0; i < 40; ++i) use[i] = data.rows[i] = random.chance(0.8);
    std::vector<std::vector<double>> by_column;
    for (int j = 0; j < columns; ++j) {
      by_column.emplace_back(data.x.begin() + 40 * j, data.x.begin() + 40 * (j + 1));
    }
    const auto expected = reference_least_squares(by_column, data.z, use);
    const Seidel found(data, {1e-13, 1e-13, 10000});
    ASSERT_TRUE(found.converged);
    for (std::size_t j = 0; j < found.beta.size(); ++j) {
      EXPECT_NEAR(found.beta[j], static_cast<double>(expected[j]), 1e-11);
    }
    EXPECT_FALSE(data.rejects(found.beta));
  }
}

// Gram matrix (2 1; 1 2), right-hand side (3, 3): from (3/2, 3/2), each alone, the first sweep goes
// to (3/4, 9/8), and the solution is (1, 1).
TEST(GaussSeidel, sweeps_as_told) {
  const Data data({{1, 1, 0}, {0, 1, 1}}, {1, 2, 1});
  Seidel work(data, {0.0, 0.0, 0}, 1);
  EXPECT_EQ(work.gram, (std::vector<double>{2, 1, 1, 2}));
  EXPECT_EQ(work.rhs, (std::vector<double>{3, 3}));
  gauss_seidel_start(data.problem(), work.beta, {work.gram, work.rhs});
  EXPECT_EQ(work.beta, (std::vector<double>{1.5, 1.5}));
  EXPECT_FALSE(gauss_seidel_sweep(work.beta, {work.gram, work.rhs}, {1e-5, 1e-5, 0}));
  EXPECT_EQ(work.beta, (std::vector<double>{0.75, 1.125}));
  // The steps are 0.1875 and 0.09375.
  std::vector<double> beta = work.beta;
  EXPECT_TRUE(gauss_seidel_sweep(beta, {work.gram, work.rhs}, {0.2, 0.0, 0}));
  EXPECT_EQ(beta, (std::vector<double>{0.9375, 1.03125}));
  beta = work.beta;
  EXPECT_TRUE(gauss_seidel_sweep(beta, {work.gram, work.rhs}, {0.0, 0.26, 0}));
  beta = work.beta;
  EXPECT_FALSE(gauss_seidel_sweep(beta, {work.gram, work.rhs}, {0.1, 0.2, 0}));
}

TEST(GaussSeidel, gives_a_column_of_zeros_zero) {
  const Data data({{1, 1, 0}, {0, 0, 0}}, {1, 3, 1});
  const Seidel found(data, {1e-10, 1e-10, 100});
  EXPECT_TRUE(found.converged);
  EXPECT_EQ(found.beta, (std::vector<double>{2.0, 0.0}));
}

// Nearly parallel columns move on for ever at tolerances of zero.
TEST(GaussSeidel, has_at_least_ten_sweeps_a_column) {
  const Data data({{1, 1, 1}, {1, 1, 1.001}}, {1, 2, 4});
  EXPECT_EQ(Seidel(data, {0.0, 0.0, 0}).asked, 19);
  EXPECT_EQ(Seidel(data, {0.0, 0.0, 50}).asked, 49);
  EXPECT_FALSE(Seidel(data, {0.0, 0.0, 50}).converged);
}

TEST(GaussSeidel, has_no_limit_with_a_negative_one_but_the_clock) {
  const Data data({{1, 1, 1}, {1, 1, 1.001}}, {1, 2, 4});
  const Seidel found(data, {0.0, 0.0, -1}, 777);
  EXPECT_FALSE(found.converged);
  EXPECT_EQ(found.asked, 777);
}

}  // namespace
}  // namespace torve::test
