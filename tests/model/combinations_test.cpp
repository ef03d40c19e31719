#include "model/combinations.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "support/rows.h"

namespace torve {
namespace {

constexpr std::int32_t most = std::numeric_limits<std::int32_t>::max();

// Subsets as ascending lists of positions, as the walk visits them.
std::vector<std::vector<int>> walk(std::vector<char> screened, int size) {
  const std::size_t n = screened.size();
  const std::unique_ptr<bool[]> mask(new bool[n]);
  const std::unique_ptr<bool[]> choice(new bool[n]);
  std::copy(screened.begin(), screened.end(), mask.get());
  std::fill_n(choice.get(), n, true);  // whatever stood there before
  std::vector<std::vector<int>> visited;
  first_subset({mask.get(), n}, size, {choice.get(), n});
  do {
    visited.emplace_back();
    for (std::size_t j = 0; j < n; ++j) {
      if (choice[j]) visited.back().push_back(static_cast<int>(j));
    }
  } while (visited.size() < 1000 && next_subset({mask.get(), n}, {choice.get(), n}));
  return visited;
}

// The same by permuting a row of flags, which runs through lexicographic order.
std::vector<std::vector<int>> permuted(const std::vector<char>& screened, int size) {
  std::vector<int> positions;
  for (std::size_t j = 0; j < screened.size(); ++j) {
    if (screened[j] != 0) positions.push_back(static_cast<int>(j));
  }
  std::vector<char> flags(positions.size(), 0);
  std::fill_n(flags.begin(), size, 1);
  std::vector<std::vector<int>> visited;
  do {
    visited.emplace_back();
    for (std::size_t i = 0; i < flags.size(); ++i) {
      if (flags[i] != 0) visited.back().push_back(positions[i]);
    }
  } while (std::prev_permutation(flags.begin(), flags.end()));
  return visited;
}

TEST(Subsets, come_in_lexicographic_order) {
  constexpr unsigned columns = 8;
  for (unsigned bits = 1; bits < (1U << columns); ++bits) {
    std::vector<char> screened(columns);
    for (unsigned j = 0; j < columns; ++j) screened[j] = static_cast<char>((bits >> j) & 1U);
    const int count = __builtin_popcount(bits);
    for (int size = 1; size <= count; ++size) {
      ASSERT_EQ(walk(screened, size), permuted(screened, size)) << bits << " size " << size;
    }
  }
}

TEST(Subsets, of_four_columns) {
  const std::vector<std::vector<int>> expected = {{0, 1}, {0, 2}, {0, 3}, {1, 2}, {1, 3}, {2, 3}};
  EXPECT_EQ(walk({1, 1, 1, 1}, 2), expected);
}

TEST(Subsets, hold_all_columns_when_there_are_too_few) {
  const std::vector<std::vector<int>> expected = {{1, 3}};
  EXPECT_EQ(walk({0, 1, 0, 1, 0}, 4), expected);
}

struct CountCase {
  std::string_view name;
  std::int32_t size, nbas, prev, expected;
};

void PrintTo(const CountCase& row, std::ostream* out) {
  *out << row.name;
}

class NextCombos : public testing::TestWithParam<CountCase> {};

TEST_P(NextCombos, counts) {
  const CountCase& row = GetParam();
  EXPECT_EQ(nextcombos(row.size, row.nbas, row.prev), row.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, NextCombos,
    testing::Values(CountCase{"one_of_ten", 1, 10, 1, 10}, CountCase{"two_of_ten", 2, 10, 10, 45},
                    CountCase{"saturated", 3, 100000, most, most},
                    CountCase{"saturates", 2, 100000, 100000, most},
                    CountCase{"saturates_at_65536", 2, 65536, 65536, most},
                    CountCase{"fits_before_division", 2, 46341, 46341, 1073720970},
                    CountCase{"size_below_one", 0, 10, 10, 0}, CountCase{"no_columns", 1, 0, 1, 0},
                    CountCase{"nothing_before", 2, 10, 0, 0},
                    CountCase{"all_of_ten", 10, 10, 10, 1},
                    CountCase{"more_than_there_are", 11, 10, 1, 0},
                    CountCase{"far_more_than_there_are", 20, 10, 1, 0},
                    CountCase{"fifteen_of_thirty", 15, 30, 145422675, 0},
                    // 3 2^30 wraps below zero, 5 2^30 to 2^30.
                    CountCase{"wraps_below_zero", 4, 6, 1 << 30, 0},
                    CountCase{"wraps_above_zero", 6, 10, 1 << 30, (1 << 30) / 6}),
    test::RowName());

// Up to 29 columns no product leaves 32 bits.
TEST(NextCombos, agrees_with_the_triangle_of_binomials) {
  std::vector<std::int64_t> row = {1};
  for (std::int32_t n = 1; n <= 29; ++n) {
    std::vector<std::int64_t> next(row.size() + 1, 1);
    for (std::size_t i = 1; i < row.size(); ++i) next[i] = row[i - 1] + row[i];
    row = next;
    std::int32_t combos = 1;
    for (std::int32_t size = 1; size <= n; ++size) {
      combos = nextcombos(size, n, combos);
      ASSERT_EQ(combos, row[static_cast<std::size_t>(size)]) << size << " of " << n;
    }
  }
}

TEST(MostCombos, is_the_largest_binomial_up_to_the_middle) {
  EXPECT_EQ(most_combos(10), 252);
  EXPECT_EQ(most_combos(11), 462);
  // The product behind the 15 of 30 columns wraps below zero; what came before counts.
  EXPECT_EQ(most_combos(30), 145422675);
  EXPECT_EQ(most_combos(100000), most);
  EXPECT_EQ(most_combos(1), 0);
  EXPECT_EQ(most_combos(0), 0);
}

}  // namespace
}  // namespace torve
