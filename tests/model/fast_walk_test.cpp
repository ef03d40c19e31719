// The walk over subsets on a triangle: every value against least squares in long double, the order,
// the limit, and which subsets count as doubtful.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "model/fast_walk/triangle.h"
#include "model/fast_walk/triangle_fit.h"
#include "model/fast_walk/walk.h"
#include "support/reference_selection.h"
#include "support/rows.h"
#include "support/small_problem.h"

namespace torve::test {
namespace {

using fast_walk::Kernels;
using fast_walk::Triangle;
using fast_walk::Walk;

struct Data {
  std::vector<double> x;  // rows x columns
  std::vector<double> z;
  std::vector<bool> use;
  std::vector<char> mask;
  std::vector<int> columns;

  Data(int rows, int count, Random& random) : use(static_cast<std::size_t>(rows), true) {
    for (int i = 0; i < rows * count; ++i) x.push_back(random.real(-1.0, 1.0));
    for (int i = 0; i < rows; ++i) z.push_back(random.real(-5.0, 9.0));
    for (int j = 0; j < count; ++j) columns.push_back(j);
  }
  int rows() const { return static_cast<int>(z.size()); }
  std::vector<double> column(int j) const {
    const auto begin = x.begin() + static_cast<std::ptrdiff_t>(j) * rows();
    return {begin, begin + rows()};
  }
  bool reduce(Triangle& triangle) {
    mask.assign(use.begin(), use.end());
    const auto used = static_cast<int>(std::count(use.begin(), use.end(), true));
    const MatrixView view{x.data(), rows(), static_cast<int>(columns.size()), rows()};
    const RowMask in_use(reinterpret_cast<const bool*>(mask.data()), mask.size());
    return fast_walk::reduce({view, columns, z, in_use, used}, triangle);
  }
  double sse(const std::vector<int>& subset) const {
    std::vector<std::vector<double>> chosen;
    for (const int j : subset) chosen.push_back(column(j));
    const auto beta = reference_least_squares(chosen, z, use);
    long double sum = 0.0;
    for (std::size_t i = 0; i < z.size(); ++i) {
      if (!use[i]) continue;
      long double error = z[i];
      for (std::size_t p = 0; p < chosen.size(); ++p) error -= beta[p] * chosen[p][i];
      sum += error * error;
    }
    return static_cast<double>(sum);
  }
};

// Keeps what the walk hands over.
struct Found : fast_walk::Visitor {
  struct Subset {
    std::uint64_t rank;
    std::vector<int> columns;
    double sse;
  };
  std::vector<Subset> subsets;
  std::size_t most = 1000000;

  explicit Found(double highest) { limit = highest; }
  bool subset(std::uint64_t rank, std::span<const int> columns, double sse) override {
    subsets.push_back({rank, {columns.begin(), columns.end()}, sse});
    return subsets.size() < most;
  }
  bool pause(std::uint64_t) override { return true; }
};

// The combinations in lexicographic order.
std::vector<std::vector<int>> combinations(int count, int size) {
  std::vector<std::vector<int>> all;
  std::vector<int> subset;
  const auto extend = [&](auto&& self, int from) -> void {
    if (static_cast<int>(subset.size()) == size) {
      all.push_back(subset);
      return;
    }
    for (int j = from; j < count; ++j) {
      subset.push_back(j);
      self(self, j + 1);
      subset.pop_back();
    }
  };
  extend(extend, 0);
  return all;
}

struct Row {
  std::string name;
  bool wide;
  int rows;
  int columns;
  int size;
};

class FastWalk : public testing::TestWithParam<Row> {
 protected:
  void SetUp() override {
    if (GetParam().wide && fast_walk::wide_kernels() == nullptr)
      GTEST_SKIP() << "no such processor";
  }
  const Kernels& kernels() const {
    return GetParam().wide ? *fast_walk::wide_kernels() : fast_walk::plain_kernels();
  }
  Random random{7};
};

TEST_P(FastWalk, values_every_subset_in_order) {
  const Row& row = GetParam();
  Data data(row.rows, row.columns, random);
  if (row.rows > 10) data.use[3] = data.use[9] = false;
  Triangle triangle;
  ASSERT_TRUE(data.reduce(triangle));
  Walk walk(triangle, row.size, kernels());
  Found found(1e300);
  EXPECT_TRUE(walk.run(found));
  const auto all = combinations(row.columns, row.size);
  ASSERT_EQ(found.subsets.size(), all.size());
  for (std::size_t i = 0; i < all.size(); ++i) {
    const Found::Subset& subset = found.subsets[i];
    ASSERT_EQ(subset.rank, i);
    ASSERT_EQ(subset.columns, all[i]);
    if (subset.sse < 0.0) continue;
    const double value = std::ldexp(subset.sse, triangle.exponent);
    const double yy = std::ldexp(triangle.yy, triangle.exponent);
    EXPECT_NEAR(value, data.sse(all[i]), 1e-10 * yy) << testing::PrintToString(all[i]);
  }
}

TEST_P(FastWalk, hands_over_what_the_limit_lets_through) {
  const Row& row = GetParam();
  Data data(row.rows, row.columns, random);
  Triangle triangle;
  ASSERT_TRUE(data.reduce(triangle));
  Walk walk(triangle, row.size, kernels());
  Found everything(1e300);
  walk.run(everything);
  std::vector<double> values;
  for (const auto& subset : everything.subsets) values.push_back(subset.sse);
  std::vector<double> sorted = values;
  std::sort(sorted.begin(), sorted.end());
  const double limit = sorted[sorted.size() / 10] + 1e-9;
  Found found(limit);
  walk.run(found);
  std::size_t next = 0;
  for (const auto& subset : everything.subsets) {
    if (subset.sse > limit) continue;
    ASSERT_LT(next, found.subsets.size());
    EXPECT_EQ(found.subsets[next++].columns, subset.columns);
  }
  EXPECT_EQ(next, found.subsets.size());
}

TEST_P(FastWalk, ends_when_it_is_told) {
  const Row& row = GetParam();
  Data data(row.rows, row.columns, random);
  Triangle triangle;
  ASSERT_TRUE(data.reduce(triangle));
  Walk walk(triangle, row.size, kernels());
  Found found(1e300);
  found.most = 3;
  EXPECT_FALSE(walk.run(found));
  EXPECT_EQ(found.subsets.size(), 3U);
}

// Column 1 again as column 3, and a column of zeros: what holds both, or the zeros, can't be
// fitted.
TEST_P(FastWalk, tells_which_subsets_are_doubtful) {
  const Row& row = GetParam();
  Data data(row.rows, row.columns, random);
  for (int i = 0; i < row.rows; ++i) {
    data.x[static_cast<std::size_t>(3 * row.rows + i)] =
        data.x[static_cast<std::size_t>(row.rows + i)];
    data.x[static_cast<std::size_t>(2 * row.rows + i)] = 0.0;
  }
  Triangle triangle;
  ASSERT_TRUE(data.reduce(triangle));
  Walk walk(triangle, row.size, kernels());
  Found found(1e300);
  EXPECT_TRUE(walk.run(found));
  for (const auto& subset : found.subsets) {
    const auto has = [&](int j) { return std::ranges::count(subset.columns, j) > 0; };
    const bool is_dependent = has(2) || (has(1) && has(3));
    EXPECT_TRUE(!is_dependent || subset.sse < 0.0) << subset.rank;
  }
  // With a limit that nothing meets, the doubtful ones still come.
  Found doubtful(-1.0);
  walk.run(doubtful);
  EXPECT_GT(doubtful.subsets.size(), 0U);
  for (const auto& subset : doubtful.subsets) EXPECT_LT(subset.sse, 0.0);
}

// Copies of a column leave a rounding error of it, of that, and so on: numbers whose squares aren't
// numbers of full precision any more.
TEST(FastWalkCopies, values_every_copy_of_a_column_alike) {
  constexpr int copies = 30;
  for (const Kernels* kernels : {&fast_walk::plain_kernels(), &fast_walk::widest_kernels()}) {
    Random random(7);
    Data data(40, copies + 3, random);
    for (int j = 1; j < copies; ++j) {
      std::copy_n(data.x.begin(), data.rows(), data.x.begin() + j * data.rows());
    }
    Triangle triangle;
    ASSERT_TRUE(data.reduce(triangle));
    Walk walk(triangle, 4, *kernels);
    Found found(1e300);
    EXPECT_TRUE(walk.run(found));
    const double expected = data.sse({0, copies, copies + 1, copies + 2});
    int compared = 0;
    for (const auto& subset : found.subsets) {
      if (subset.columns[0] >= copies || subset.columns[1] != copies) continue;
      ++compared;
      EXPECT_NEAR(std::ldexp(subset.sse, triangle.exponent), expected, 1e-12 * expected)
          << kernels->name << ' ' << subset.columns[0];
    }
    EXPECT_EQ(compared, copies);
  }
}

std::vector<Row> rows() {
  std::vector<Row> all;
  for (const bool wide : {false, true}) {
    const std::string kind = wide ? "wide" : "plain";
    all.push_back({kind + "_two_of_five", wide, 9, 5, 2});
    all.push_back({kind + "_two_of_thirteen", wide, 30, 13, 2});
    all.push_back({kind + "_three_of_four", wide, 9, 4, 3});
    all.push_back({kind + "_three_of_seventeen", wide, 40, 17, 3});
    all.push_back({kind + "_four_of_nine", wide, 20, 9, 4});
    all.push_back({kind + "_four_of_fourteen_on_few_rows", wide, 8, 14, 4});
    all.push_back({kind + "_five_of_eleven", wide, 60, 11, 5});
    all.push_back({kind + "_six_of_ten_on_six_rows", wide, 7, 10, 6});
    all.push_back({kind + "_seven_of_ten", wide, 12, 10, 7});
  }
  return all;
}

INSTANTIATE_TEST_SUITE_P(Rows, FastWalk, testing::ValuesIn(rows()), RowName());

// --- the triangle -------------------------------------------------------------------------------

TEST(FastWalkTriangle, keeps_squares_but_for_a_power_of_two) {
  Random random(3);
  Data data(25, 6, random);
  for (double& z : data.z) z *= 1e9;
  for (int i = 0; i < 25; ++i) data.x[static_cast<std::size_t>(i)] *= 1e-7;
  Triangle triangle;
  ASSERT_TRUE(data.reduce(triangle));
  EXPECT_GE(triangle.yy, 1.0);
  EXPECT_LT(triangle.yy, 4.0);
  fast_walk::TriangleFit fit(triangle, 3);
  const std::vector<int> subset{0, 2, 5};
  const double expected = data.sse(subset);
  EXPECT_NEAR(std::ldexp(fit.at(subset).sse, triangle.exponent), expected, 1e-13 * expected);
}

TEST(FastWalkTriangle, is_refused_where_it_could_not_be_relied_on) {
  Random random(4);
  Triangle triangle;
  Data zero(9, 5, random);
  std::ranges::fill(zero.z, 0.0);
  EXPECT_FALSE(zero.reduce(triangle));
  Data infinite(9, 5, random);
  infinite.x[7] = HUGE_VAL;
  EXPECT_FALSE(infinite.reduce(triangle));
  Data huge(9, 5, random);
  for (double& z : huge.z) z *= 1e200;
  EXPECT_FALSE(huge.reduce(triangle));
}

TEST(FastWalkBinomial, saturates) {
  EXPECT_EQ(fast_walk::binomial(60, 6), 50063860U);
  EXPECT_EQ(fast_walk::binomial(5, 0), 1U);
  EXPECT_EQ(fast_walk::binomial(4, 5), 0U);
  EXPECT_EQ(fast_walk::binomial(1000, 500), UINT64_MAX);
}

}  // namespace
}  // namespace torve::test
