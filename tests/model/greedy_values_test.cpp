// Sums of squares of greedy candidates against least squares in long double, on columns that are
// independent or nearly dependent.
#include "model/greedy_values.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include "model/fast_walk/triangle.h"
#include "support/reference_selection.h"
#include "support/rows.h"
#include "support/small_problem.h"

namespace torve::test {
namespace {

struct Row {
  std::string name;
  int rows;
  double nearness;  // how far a column is from one before it; 1: independent ones
  bool gaps;
};

struct Data {
  std::vector<double> x;  // rows x columns
  std::vector<double> z;
  std::unique_ptr<bool[]> use;
  int rows;
  int columns;
  int used;

  Data(const Row& row, Random& random, int ncolumns = 9)
      : use(std::make_unique<bool[]>(at(row.rows))), rows(row.rows), columns(ncolumns), used(0) {
    x.resize(at(rows * columns));
    for (int j = 0; j < columns; ++j) {
      for (int i = 0; i < rows; ++i) {
        const double own = random.normal();
        x[at(j * rows + i)] =
            j == 0 ? own : (1.0 - row.nearness) * value(i, (j - 1) / 2) + row.nearness * own;
      }
    }
    for (int i = 0; i < rows; ++i) {
      z.push_back(random.normal() + value(i, 0));
      use[at(i)] = !row.gaps || i % 7 != 3;
      used += use[at(i)] ? 1 : 0;
    }
  }
  double value(int i, int j) const { return x[at(j * rows + i)]; }
  std::vector<int> all() const {
    std::vector<int> list(at(columns));
    std::iota(list.begin(), list.end(), 0);
    return list;
  }
  Regression problem(const std::vector<int>& list) const {
    return {MatrixView{x.data(), rows, columns, rows}, list, z, {use.get(), at(rows)}, used};
  }
  double yy() const {
    double sum = 0.0;
    for (int i = 0; i < rows; ++i) sum += use[at(i)] ? z[at(i)] * z[at(i)] : 0.0;
    return sum;
  }
  // Of the columns that are marked.
  double sse(const std::vector<bool>& chosen) const {
    std::vector<std::vector<double>> list;
    for (int j = 0; j < columns; ++j) {
      if (chosen[at(j)]) list.emplace_back(x.begin() + j * rows, x.begin() + (j + 1) * rows);
    }
    const auto beta =
        reference_least_squares(list, z, std::vector<bool>(use.get(), use.get() + rows));
    long double sum = 0.0;
    for (int i = 0; i < rows; ++i) {
      if (!use[at(i)]) continue;
      long double error = z[at(i)];
      for (std::size_t p = 0; p < list.size(); ++p) error -= beta[p] * list[p][at(i)];
      sum += error * error;
    }
    return static_cast<double>(sum);
  }

 private:
  static std::size_t at(int i) { return static_cast<std::size_t>(i); }
};

class GreedyValuesTest : public testing::TestWithParam<Row> {
 protected:
  // Takes columns in a random order, after a look at all that could be taken instead.
  static int compare(const Data& data, GreedyValues& values, std::vector<bool> chosen, bool up,
                     Random& random) {
    const double allowed = 1e-10 * data.yy();
    int sure = 0;
    for (int step = 0; step + 1 < data.columns; ++step) {
      std::vector<int> open;
      for (int j = 0; j < data.columns; ++j) {
        if (chosen[static_cast<std::size_t>(j)] == up) continue;
        open.push_back(j);
        if (random.chance(0.3)) continue;  // it is behind when it is asked for next
        const GreedyValues::Value value = values.candidate(j);
        if (value.is_doubtful) continue;
        ++sure;
        std::vector<bool> with = chosen;
        with[static_cast<std::size_t>(j)] = up;
        EXPECT_NEAR(std::ldexp(value.sse, values.exponent()), data.sse(with), allowed)
            << "step " << step << " column " << j;
      }
      const int take =
          open[static_cast<std::size_t>(random.whole(0, static_cast<int>(open.size()) - 1))];
      values.take(take);
      chosen[static_cast<std::size_t>(take)] = up;
    }
    return sure;
  }
};

TEST_P(GreedyValuesTest, agree_with_least_squares) {
  int grown = 0;
  int shrunk = 0;
  for (std::uint64_t seed = 1; seed <= 30; ++seed) {
    Random random(seed);
    const Data data(GetParam(), random);
    const std::vector<int> list = data.all();
    SpareRoom room;
    GrowingValues growing(data.problem(list), 1, room);
    ASSERT_TRUE(growing.is_usable());
    std::vector<bool> start(list.size(), false);
    start[0] = true;
    grown += compare(data, growing, start, true, random);
    fast_walk::Triangle triangle;
    ASSERT_TRUE(fast_walk::reduce(data.problem(list), triangle));
    ShrinkingValues shrinking(triangle, list);
    shrunk += compare(data, shrinking, std::vector<bool>(list.size(), true), false, random);
  }
  // Hardly any of these is doubtful.
  EXPECT_GT(grown, 300);
  EXPECT_GT(shrunk, 300);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, GreedyValuesTest,
    testing::Values(Row{"independent", 40, 1.0, false}, Row{"gaps", 50, 1.0, true},
                    Row{"odd_number_of_rows", 23, 0.5, false}, Row{"near", 40, 1e-2, false},
                    Row{"nearer", 40, 1e-4, false}, Row{"nearest", 40, 1e-5, true}),
    RowName());

// --- what is doubtful ---------------------------------------------------------------------------

TEST(GreedyValuesDoubt, a_copy_of_a_column_is_doubtful_and_so_is_all_behind_it) {
  Random random(1);
  Data data(Row{"copies", 30, 1.0, false}, random);
  std::copy_n(data.x.begin() + 30, 30, data.x.begin() + 120);  // column 4 is column 1
  const std::vector<int> list = data.all();
  SpareRoom room;
  GrowingValues growing(data.problem(list), 1, room);
  ASSERT_TRUE(growing.is_usable());
  EXPECT_FALSE(growing.candidate(4).is_doubtful);
  growing.take(1);
  EXPECT_TRUE(growing.candidate(4).is_doubtful);
  EXPECT_FALSE(growing.candidate(5).is_doubtful);
  growing.take(4);
  EXPECT_TRUE(growing.candidate(5).is_doubtful);

  fast_walk::Triangle triangle;
  ASSERT_TRUE(fast_walk::reduce(data.problem(list), triangle));
  ShrinkingValues shrinking(triangle, list);
  EXPECT_TRUE(shrinking.candidate(5).is_doubtful);
  shrinking.take(7);
  EXPECT_TRUE(shrinking.candidate(5).is_doubtful);
  shrinking.take(1);
  EXPECT_FALSE(shrinking.candidate(5).is_doubtful);
}

// Copies of a column leave a rounding error of it, of that, and so on: numbers whose squares aren't
// numbers of full precision any more.
TEST(GreedyValuesDoubt, many_copies_of_a_column_leave_sound_values_behind) {
  constexpr int rows = 60;
  constexpr int copies = 40;
  Random random(1);
  Data data(Row{"copies", rows, 1.0, false}, random, copies + 3);
  for (int j = 1; j < copies; ++j) std::copy_n(data.x.begin(), rows, data.x.begin() + j * rows);
  const std::vector<int> list = data.all();
  fast_walk::Triangle triangle;
  ASSERT_TRUE(fast_walk::reduce(data.problem(list), triangle));
  ShrinkingValues shrinking(triangle, list);
  std::vector<bool> chosen(list.size(), true);
  for (std::size_t j = copies - 1; j > 0; --j) {
    EXPECT_TRUE(shrinking.candidate(copies).is_doubtful) << j;
    shrinking.take(static_cast<int>(j));
    chosen[j] = false;
  }
  const GreedyValues::Value value = shrinking.candidate(copies);
  ASSERT_FALSE(value.is_doubtful);
  chosen[copies] = false;
  EXPECT_NEAR(std::ldexp(value.sse, shrinking.exponent()), data.sse(chosen), 1e-10 * data.yy());
}

TEST(GreedyValuesDoubt, a_column_of_zeros_is_doubtful) {
  Random random(1);
  Data data(Row{"zeros", 30, 1.0, false}, random);
  std::fill_n(data.x.begin() + 60, 30, 0.0);
  const std::vector<int> list = {0, 1, 2, 3};
  SpareRoom room;
  GrowingValues growing(data.problem(list), 0, room);
  ASSERT_TRUE(growing.is_usable());
  EXPECT_TRUE(growing.candidate(2).is_doubtful);
  EXPECT_FALSE(growing.candidate(3).is_doubtful);
}

}  // namespace
}  // namespace torve::test
