#include "data/faure.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <ostream>
#include <set>
#include <string_view>
#include <vector>

#include "support/rows.h"

namespace torve {
namespace {

FaureState sequence_of(int dimension) {
  FaureState state;
  FaureStatus status{};
  faureinit(state, dimension, status);
  EXPECT_EQ(status, FaureStatus::ready);
  return state;
}

std::vector<double> next(FaureState& state) {
  std::vector<double> point(static_cast<std::size_t>(state.fauredim));
  EXPECT_TRUE(faurenextpoint(state, point));
  return point;
}

// The first point's first coordinates, worked out by hand from the digits of the first index.
struct FirstPoint {
  std::string_view name;
  int dimension;
  std::int64_t base;
  std::int64_t index;
  std::vector<double> coordinates;
};

void PrintTo(const FirstPoint& row, std::ostream* out) {
  *out << row.name;
}

class FirstPoints : public testing::TestWithParam<FirstPoint> {};

TEST_P(FirstPoints, skip_the_start_of_the_sequence) {
  FaureState state = sequence_of(GetParam().dimension);
  EXPECT_EQ(state.faurebase, GetParam().base);
  const std::vector<double> point = next(state);
  EXPECT_EQ(state.faurenext, GetParam().index);
  for (std::size_t i = 0; i < GetParam().coordinates.size(); ++i) {
    EXPECT_NEAR(point[i], GetParam().coordinates[i], 1e-15) << i;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, FirstPoints,
    testing::Values(FirstPoint{"one", 1, 2, 1, {0.5}},
                    // 10000 in base 2; row i of the matrix takes the binomial 4 over i.
                    FirstPoint{"two", 2, 2, 16, {1.0 / 32, 17.0 / 32}},
                    FirstPoint{"three", 3, 3, 81, {1.0 / 243, 112.0 / 243, 142.0 / 243}},
                    FirstPoint{"five", 5, 5, 625, {1.0 / 3125, 1171.0 / 3125}},
                    // 4723 in base 13: the skip counts with 10, not with the base.
                    FirstPoint{"twelve", 12, 13, 10000, {7024.0 / 28561}},
                    FirstPoint{"forty", 40, 41, 10000, {63760.0 / 68921}}),
    test::RowName());

TEST(Faure, goes_through_the_binary_fractions_in_one_dimension) {
  FaureState state = sequence_of(1);
  for (const double x : {0.5, 0.25, 0.75, 0.125, 0.625, 0.375, 0.875, 0.0625}) {
    EXPECT_EQ(next(state), std::vector{x});
  }
}

TEST(Faure, starts_again_behind_the_last_index) {
  FaureState state = sequence_of(1);
  state.faurenext = 2147483646;
  EXPECT_NEAR(next(state)[0], 1.0, 1e-9);
  EXPECT_EQ(next(state), std::vector{0.0});
  EXPECT_EQ(next(state), std::vector{0.5});
}

std::int64_t power_modulo(std::int64_t x, std::int64_t n, std::int64_t q) {
  std::int64_t result = 1 % q;
  for (; n > 0; --n) result = result * x % q;
  return result;
}

// Coordinate d of a point in closed form: the d-th power of Pascal's matrix holds the binomials j
// over i times d^(j-i), and a binomial is a quotient of products of numbers below the base (Lucas).
double coordinate(std::int64_t index, std::int64_t q, int d) {
  std::vector<std::int64_t> a;
  for (; index > 0; index /= q) a.push_back(index % q);
  std::vector<std::vector<std::int64_t>> binomial(a.size(), std::vector<std::int64_t>(a.size()));
  for (std::size_t j = 0; j < a.size(); ++j) {
    binomial[j][0] = 1;
    for (std::size_t i = 1; i <= j; ++i) {
      binomial[j][i] = (binomial[j - 1][i - 1] + (i < j ? binomial[j - 1][i] : 0)) % q;
    }
  }
  double x = 0.0;
  double weight = 1.0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    weight /= static_cast<double>(q);
    std::int64_t digit = 0;
    for (std::size_t j = i; j < a.size(); ++j) {
      const auto steps = static_cast<std::int64_t>(j - i);
      digit = (digit + binomial[j][i] * power_modulo(d, steps, q) % q * a[j]) % q;
    }
    x += weight * static_cast<double>(digit);
  }
  return x;
}

struct Dimension {
  std::string_view name;
  int dimension;
  int points;
};

void PrintTo(const Dimension& row, std::ostream* out) {
  *out << row.name;
}

class FaurePoints : public testing::TestWithParam<Dimension> {};

// Long enough in base 2 that the tables have to grow.
TEST_P(FaurePoints, agree_with_the_powers_of_the_matrix) {
  FaureState state = sequence_of(GetParam().dimension);
  for (int p = 0; p < GetParam().points; ++p) {
    const std::vector<double> point = next(state);
    for (int d = 0; d < GetParam().dimension; ++d) {
      const double x = point[static_cast<std::size_t>(d)];
      ASSERT_NEAR(x, coordinate(state.faurenext, state.faurebase, d), 1e-14) << p << " " << d;
      ASSERT_GE(x, 0.0);
      ASSERT_LT(x, 1.0);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Rows, FaurePoints,
                         testing::Values(Dimension{"two", 2, 5000}, Dimension{"three", 3, 1000},
                                         Dimension{"five", 5, 500}, Dimension{"twelve", 12, 100},
                                         Dimension{"forty", 40, 30}),
                         test::RowName());

TEST(Faure, has_tables_that_grow) {
  FaureState state = sequence_of(2);
  EXPECT_EQ(state.fauremaxdigit, 10);
  while (state.faurenext < 1023) next(state);
  EXPECT_EQ(state.fauremaxdigit, 10);
  next(state);
  EXPECT_EQ(state.fauremaxdigit, 20);
}

// Any 81 points from a multiple of 81 on: one in each box of 3^a by 3^b by 3^c slices, a + b + c =
// 4.
TEST(Faure, puts_one_point_in_each_elementary_box) {
  constexpr std::array<int, 5> powers{1, 3, 9, 27, 81};
  FaureState state = sequence_of(3);
  std::vector<std::vector<double>> points;
  for (int p = 0; p < 81; ++p) points.push_back(next(state));
  for (std::size_t a = 0; a < powers.size(); ++a) {
    for (std::size_t b = 0; a + b < powers.size(); ++b) {
      const std::array<int, 3> slices{powers[a], powers[b], powers[4 - a - b]};
      std::set<std::array<int, 3>> boxes;
      for (const std::vector<double>& point : points) {
        std::array<int, 3> box{};
        // A point on the edge of a box is a whole multiple of 1/243 but for rounding.
        for (std::size_t d = 0; d < 3; ++d) {
          box[d] = static_cast<int>((point[d] + 1e-9) * slices[d]);
        }
        boxes.insert(box);
      }
      EXPECT_EQ(boxes.size(), 81U) << a << " " << b;
    }
  }
}

TEST(Faure, fails_without_a_base) {
  for (const int dimension : {0, -1, 3497862, 2147483647}) {
    FaureState state;
    FaureStatus status = FaureStatus::ready;
    faureinit(state, dimension, status);
    EXPECT_EQ(status, FaureStatus::failed) << dimension;
    EXPECT_TRUE(state.faurefailed) << dimension;
  }
}

TEST(Faure, takes_the_largest_prime_of_the_table) {
  FaureState state = sequence_of(3497861);
  EXPECT_EQ(state.faurebase, 3497861);
}

TEST(Primes, are_the_least_not_below) {
  constexpr std::array<std::pair<int, int>, 10> rows{{{1, 2},
                                                      {2, 2},
                                                      {3, 3},
                                                      {4, 5},
                                                      {12, 13},
                                                      {40, 41},
                                                      {7908, 7919},
                                                      {3497860, 3497861},
                                                      {3497861, 3497861},
                                                      {3497862, 0}}};
  for (const auto& [n, prime] : rows) EXPECT_EQ(prime_not_below(n), prime) << n;
}

}  // namespace
}  // namespace torve
