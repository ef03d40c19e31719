#include "data/sampling.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <ostream>
#include <string_view>
#include <vector>

#include "support/rows.h"

namespace torve {
namespace {

constexpr double two_to_31 = 2147483648.0;

// s := 65539 s mod 2^31, by whole numbers of any length.
struct StreamCase {
  std::string_view name;
  std::int32_t seed;
  std::vector<double> states;
};

void PrintTo(const StreamCase& row, std::ostream* out) {
  *out << row.name;
}

class RandomNumbers : public testing::TestWithParam<StreamCase> {};

TEST_P(RandomNumbers, follow_the_seed) {
  std::int32_t state = 0;
  for (const double expected : GetParam().states) {
    EXPECT_EQ(randomnumber(state, GetParam().seed), expected / two_to_31);
    EXPECT_EQ(state, static_cast<std::int32_t>(expected));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RandomNumbers,
    testing::Values(StreamCase{"one", 1, {65539, 393225, 1769499, 7077969, 26542323}},
                    StreamCase{
                        "default_seed", 19631963, {316517905, 1722419763, 1043406489, 1496079307}},
                    StreamCase{"largest_seed", 2147483647, {2147418109, 2147090423, 2145714149}},
                    StreamCase{"even_seed", 1 << 30, {1 << 30, 1 << 30}},
                    StreamCase{"zero_for_ever", 0, {0, 0, 0}}),
    test::RowName());

TEST(RandomNumbers, start_again_on_reset) {
  std::int32_t state = 0;
  const double first = randomnumber(state, 7);
  EXPECT_NE(randomnumber(state, 7), first);
  EXPECT_EQ(randomnumber(state, 7, true), first);
}

// A stream that has begun doesn't ask the seed.
TEST(RandomNumbers, go_on_from_the_state) {
  std::int32_t state = 65539;
  EXPECT_EQ(randomnumber(state, 99), 393225 / two_to_31);
}

TEST(RandomNumbers, stay_below_one) {
  std::int32_t state = 0;
  double sum = 0.0;
  for (int i = 0; i < 10000; ++i) {
    const double u = randomnumber(state, 19631963);
    ASSERT_GE(u, 0.0);
    ASSERT_LT(u, 1.0);
    sum += u;
  }
  EXPECT_NEAR(sum / 10000, 0.5, 0.02);
}

// Three numbers in a row lie on planes: x(k+2) = 6 x(k+1) - 9 x(k) modulo 1.
TEST(RandomNumbers, have_the_known_relation_of_three) {
  std::int32_t state = 0;
  std::vector<std::int64_t> states;
  for (int i = 0; i < 100; ++i) {
    randomnumber(state, 12345);
    states.push_back(state);
  }
  for (std::size_t i = 2; i < states.size(); ++i) {
    const std::int64_t relation = states[i] - 6 * states[i - 1] + 9 * states[i - 2];
    EXPECT_EQ(relation % (std::int64_t{1} << 31), 0) << i;
  }
}

}  // namespace
}  // namespace torve
