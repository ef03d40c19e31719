// The routines of SNOBFIT one by one, on small problems with answers from elsewhere: by hand, by
// brute force, or because the function is its own model.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "../support/rows.h"
#include "adaptive/snobfit/grid.h"
#include "adaptive/snobfit/request.h"
#include "adaptive/snobfit/routines.h"
#include "adaptive/snobfit/snobfit.h"
#include "adaptive/snobfit/state.h"

namespace torve {
namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

MATRIX random_points(int points, int n, unsigned seed) {
  std::mt19937 engine(seed);
  std::uniform_real_distribution<double> share(0.0, 1.0);
  MATRIX x(points, n);
  for (int j = 0; j < points; ++j) {
    for (int i = 0; i < n; ++i) x(j, i) = share(engine);
  }
  return x;
}

using Function = std::function<double(const VECTOR&)>;

MATRIX values(const MATRIX& x, const Function& function, double df = 1e-6) {
  MATRIX f(x.rows(), 2, df);
  for (int j = 0; j < x.rows(); ++j) f(j, 0) = function(x.row(j));
  return f;
}

// ---- boxes --------------------------------------------------------------------------------------

// Three points on a line, values 1, 3, 2. The first cut goes through the larger gap, nearer to the
// point of value 3, the second nearer to the same point from its other side:
//
//   0 ---- 0.1 ---|--- 0.2 -----------------|------------------ 0.9 -- 1
//           1           3                                        2
TEST(Snobsplit, cuts_three_points_as_by_hand) {
  const double golden = (std::sqrt(5.0) - 1.0) / 2.0;
  const MATRIX x = {{0.1, 0.5}, {0.2, 0.5}, {0.9, 0.5}};
  const MATRIX f = {{1.0, 0.1}, {3.0, 0.1}, {2.0, 0.1}};
  const VECTOR u(2, 0.0);
  const VECTOR v(2, 1.0);
  Messages messages;
  Boxes boxes;
  ASSERT_TRUE(snobsplit(x, f, {u, v, VECTOR(2)}, u, v, boxes, messages));
  const double upper_cut = golden * 0.2 + (1.0 - golden) * 0.9;
  const double lower_cut = (1.0 - golden) * 0.1 + golden * 0.2;
  EXPECT_DOUBLE_EQ(boxes.xl(0, 0), 0.0);
  EXPECT_DOUBLE_EQ(boxes.xu(0, 0), lower_cut);
  EXPECT_DOUBLE_EQ(boxes.xl(1, 0), lower_cut);
  EXPECT_DOUBLE_EQ(boxes.xu(1, 0), upper_cut);
  EXPECT_DOUBLE_EQ(boxes.xl(2, 0), upper_cut);
  EXPECT_DOUBLE_EQ(boxes.xu(2, 0), 1.0);
  EXPECT_EQ(boxes.small, (std::vector<int>{3, 2, 1}));
  for (int j = 0; j < 3; ++j) {
    EXPECT_EQ(boxes.xl(j, 1), 0.0);
    EXPECT_EQ(boxes.xu(j, 1), 1.0);
    EXPECT_EQ(boxes.nsplit(j, 0), j == 2 ? 1.0 : 2.0);
    EXPECT_EQ(boxes.nsplit(j, 1), 0.0);
  }
}

TEST(Snobsplit, gives_each_point_a_part_of_the_whole) {
  for (const int n : {1, 2, 3, 7}) {
    const MATRIX x = random_points(60, n, 7);
    const MATRIX f = values(x, [](const VECTOR& point) { return std::sin(9.0 * point(0)); });
    const VECTOR u(n, 0.0);
    const VECTOR v(n, 1.0);
    Messages messages;
    Boxes boxes;
    ASSERT_TRUE(snobsplit(x, f, {u, v, VECTOR(n)}, u, v, boxes, messages));
    double volume = 0.0;
    for (int j = 0; j < x.rows(); ++j) {
      double product = 1.0;
      for (int i = 0; i < n; ++i) product *= boxes.xu(j, i) - boxes.xl(j, i);
      volume += product;
      for (int k = 0; k < x.rows(); ++k) {
        EXPECT_EQ(lies_within(x, k, boxes.xl.row(j), boxes.xu.row(j)), k == j);
      }
    }
    EXPECT_NEAR(volume, 1.0, 1e-12);
  }
}

TEST(Snobsplit, refuses_points_that_are_the_same) {
  const MATRIX x = {{0.5, 0.5}, {0.5, 0.5}};
  const VECTOR u(2, 0.0);
  const VECTOR v(2, 1.0);
  Messages messages;
  Boxes boxes;
  EXPECT_FALSE(snobsplit(x, MATRIX(2, 2), {u, v, VECTOR(2)}, u, v, boxes, messages));
  EXPECT_EQ(messages.lines.back(), "snobsplit: algorithm error: size(iii) == 0!");
}

TEST(Smallness, counts_halvings) {
  const VECTOR u = {-1.0, 0.0};
  const VECTOR v = {1.0, 8.0};
  EXPECT_EQ(smallness(u, v, u, v), 0);
  EXPECT_EQ(smallness({0.0, 0.0}, v, u, v), 1);
  EXPECT_EQ(smallness({0.5, 0.0}, {1.0, 1.0}, u, v), 5);
  EXPECT_EQ(smallness({0.5, 0.0}, {0.5, 8.0}, u, v), 52) << "no length";
}

TEST(Snobnewb, moves_the_outer_faces_only) {
  SnobfitState state = new_state({0.0}, {1.0}, {0.01}, 1);
  Messages messages;
  std::vector<int> inew;
  ASSERT_TRUE(
      snobupdt(state, {{0.2}, {0.8}}, {{1.0, 1.0}, {2.0, 1.0}}, 2, {0.0}, {1.0}, inew, messages));
  const double cut = state.xu(0, 0);
  bool extended = true;
  ASSERT_TRUE(snobnewb(state, {{0.5}}, {0.0}, {1.0}, extended, messages));
  EXPECT_FALSE(extended);
  ASSERT_TRUE(snobnewb(state, {{3.0}}, {-1.0}, {1.0}, extended, messages));
  EXPECT_TRUE(extended);
  EXPECT_EQ(state.xl(0, 0), -1.0);
  EXPECT_EQ(state.xu(0, 0), cut);
  EXPECT_EQ(state.xl(1, 0), cut);
  EXPECT_EQ(state.xu(1, 0), 3.0);
  EXPECT_EQ(state.small[1], smallness({cut}, {3.0}, {-1.0}, {3.0}));
  EXPECT_FALSE(snobnewb(state, {{1e308}}, {-1e308}, {1.0}, extended, messages));
  EXPECT_EQ(messages.lines.back(), "snobnewb: the points lie too far apart!");
}

// ---- neighbours ---------------------------------------------------------------------------------

TEST(Snobnn, finds_what_a_sorted_list_finds) {
  const int n = 3;
  const int m = n + dn;
  const MATRIX x = random_points(200, n, 11);
  const VECTOR scale = {1.0, 2.0, 0.5};
  const VECTOR dx(n, 0.05);
  for (int j = 0; j < x.rows(); ++j) {
    const auto distance = [&](int k) {
      double sum = 0.0;
      for (int i = 0; i < n; ++i) sum += std::pow((x(k, i) - x(j, i)) / scale(i), 2);
      return sum;
    };
    std::vector<int> sorted;
    for (int k = 0; k < x.rows(); ++k) {
      if (k != j) sorted.push_back(k);
    }
    std::ranges::sort(sorted, {}, distance);
    std::vector<int> expected;
    const auto take = [&](int k) {
      if (std::ranges::find(expected, k) == expected.end()) expected.push_back(k);
    };
    for (int i = 0; i < n; ++i) {
      take(*std::ranges::find_if(sorted,
                                 [&](int k) { return std::abs(x(k, i) - x(j, i)) >= dx(i); }));
    }
    for (std::size_t k = 0; static_cast<int>(expected.size()) < m; ++k) take(sorted[k]);
    std::ranges::sort(expected, {}, distance);
    std::vector<int> near;
    Messages messages;
    ASSERT_TRUE(snobnn(x.row(j), x, j, m, dx, scale, near, messages));
    EXPECT_EQ(near, expected) << j;
  }
}

// Ten points along the first input and one, far away, off it: without the safeguard it would never
// be a neighbour.
TEST(Snobnn, takes_a_far_point_that_differs) {
  MATRIX x(11, 2);
  for (int j = 0; j < 10; ++j) x(j, 0) = 0.01 * j;
  x(10, 0) = 0.9;
  x(10, 1) = 0.9;
  std::vector<int> near;
  Messages messages;
  ASSERT_TRUE(snobnn(x.row(0), x, 0, 3, {0.001, 0.001}, {1.0, 1.0}, near, messages));
  EXPECT_EQ(near, (std::vector<int>{1, 2, 10}));
}

TEST(Snobnn, refuses_a_wrong_number) {
  std::vector<int> near;
  const MATRIX x = random_points(5, 2, 3);
  for (const int m : {1, 5}) {
    Messages messages;
    EXPECT_FALSE(snobnn(x.row(0), x, 0, m, VECTOR(2, 0.1), VECTOR(2, 1.0), near, messages));
    EXPECT_EQ(messages.lines.back(), "snobnn: wrong value of m!");
  }
}

TEST(Snoblp, finds_points_clearly_below_their_neighbours) {
  // Neighbours' values 10 and 30: local below 10 - 0.05 * 20 = 9.
  MATRIX f = {{8.9, 1.0}, {10.0, 1.0}, {30.0, 1.0}, {9.1, 1.0}};
  const IndexLists near = {{1, 2}, {0, 3}, {0, 1}, {1, 2}};
  std::vector<bool> local;
  Messages messages;
  ASSERT_TRUE(snoblp(f, near, local, messages));
  EXPECT_EQ(local, (std::vector<bool>{true, false, false, false}));
}

TEST(Snobnan, puts_made_up_values_above_the_neighbours) {
  MATRIX f = {{1.0, 0.1}, {2.0, 0.2}, {5.0, 0.3}, {no_value, 1.0}, {no_value, 1.0}};
  const IndexLists near = {{1}, {0}, {1}, {0, 1}, {3}};
  std::vector<int> changed;
  Messages messages;
  ASSERT_TRUE(snobnan({3, 4}, near, f, changed, messages));
  EXPECT_DOUBLE_EQ(f(3, 0), 2.001);
  EXPECT_EQ(f(3, 1), 0.2);
  EXPECT_DOUBLE_EQ(f(4, 0), 5.004) << "from all points when no neighbour has a value";
  EXPECT_EQ(changed, (std::vector<int>{3, 4}));
  ASSERT_TRUE(snobnan({3, 4}, near, f, changed, messages));
  EXPECT_TRUE(changed.empty());
  EXPECT_FALSE(snobnan({5}, near, f, changed, messages));
}

// ---- models -------------------------------------------------------------------------------------

std::vector<int> all_but(int j, int points) {
  std::vector<int> others;
  for (int k = 0; k < points; ++k) {
    if (k != j) others.push_back(k);
  }
  return others;
}

TEST(Snoblocf, recovers_a_linear_function) {
  for (const int n : {1, 2, 5, 20}) {
    const MATRIX x = random_points(n + dn + 1, n, 5);
    const auto slope = [](int i) { return 3.0 - i; };
    const MATRIX f = values(x, [&](const VECTOR& point) {
      double sum = 7.0;
      for (int i = 0; i < n; ++i) sum += slope(i) * point(i);
      return sum;
    });
    LocalFit fit;
    Messages messages;
    ASSERT_TRUE(snoblocf(0, x, f, all_but(0, x.rows()), VECTOR(n, 1e-4), fit, messages));
    for (int i = 0; i < n; ++i) EXPECT_NEAR(fit.g(i), slope(i), 1e-9) << n;
    EXPECT_NEAR(fit.sigma, 0.0, 1e-9);
  }
}

TEST(Snoblocf, makes_the_trust_box_half_as_wide_as_the_neighbours) {
  const MATRIX x = {{0.5, 0.5}, {0.7, 0.5}, {0.4, 0.5}, {0.5, 0.501}};
  LocalFit fit;
  Messages messages;
  ASSERT_TRUE(snoblocf(0, x, MATRIX(4, 2, 1.0), {1, 2, 3}, {0.01, 0.01}, fit, messages));
  EXPECT_DOUBLE_EQ(fit.d(0), 0.5 * (0.7 - 0.5));
  EXPECT_DOUBLE_EQ(fit.d(1), 0.01) << "at least the resolution";
  EXPECT_EQ(fit.g(0), 0.0) << "of equal values";
}

TEST(Snobpoint, goes_down_to_the_edge_of_the_trust_box) {
  const MATRIX x = {{0.5, 0.5}};
  const MATRIX f = {{4.0, 0.1}};
  const LocalFit fit{{2.0, -1.0}, {0.2, 0.7}, 0.0};
  VECTOR y;
  double fy = 0.0;
  Messages messages;
  Random random(1);
  ASSERT_TRUE(
      snobpoint(0, x, f, fit, {0.0, 0.0}, {1.0, 1.0}, {0.01, 0.01}, random, y, fy, messages));
  EXPECT_NEAR(y(0), 0.3, 1e-12);
  EXPECT_NEAR(y(1), 1.0, 1e-12);
  EXPECT_NEAR(fy, 4.0 - 2.0 * 0.2 - 0.5, 1e-12);
}

TEST(Snobpoint, moves_from_a_place_that_is_taken) {
  const MATRIX x = {{0.5, 0.5}, {0.3, 0.7}};
  const MATRIX f(2, 2, 1.0);
  const LocalFit fit{{1.0, -1.0}, {0.2, 0.2}, 0.0};
  VECTOR y;
  double fy = 0.0;
  Messages messages;
  Random random(1);
  ASSERT_TRUE(
      snobpoint(0, x, f, fit, {0.0, 0.0}, {1.0, 1.0}, {0.01, 0.01}, random, y, fy, messages));
  EXPECT_TRUE(stands_apart(y, x, {0.001, 0.001}));
  for (int i = 0; i < 2; ++i) EXPECT_LE(std::abs(y(i) - 0.5), 0.2 + 1e-12);
}

// f = (x - c)^T A (x - c) with a full A: its minimiser is c, whatever the weights.
double bowl(const VECTOR& x, double centre) {
  double sum = 0.0;
  for (int i = 0; i < x.size(); ++i) {
    sum += (1.0 + i) * (x(i) - centre) * (x(i) - centre);
    if (i > 0) sum += 0.5 * (x(i) - centre) * (x(i - 1) - centre);
  }
  return sum;
}

struct BowlRow {
  const char* name;
  int n;
  double centre;    // of the bowl, in each input
  double expected;  // in each input; the box is [0, 1]
};

class Bowls : public testing::TestWithParam<BowlRow> {};

TEST_P(Bowls, are_minimised) {
  const auto [name, n, centre, expected] = GetParam();
  const MATRIX x = random_points(n * (n + 3) + 1, n, 9);
  const MATRIX f = values(x, [&](const VECTOR& point) { return bowl(point, centre); });
  const int best = static_cast<int>(std::min_element(f.data(), f.data() + f.rows()) - f.data());
  VECTOR y;
  double fy = 0.0;
  Messages messages;
  ASSERT_TRUE(snobqfit(best, x, f, n * (n + 3), VECTOR(n, 1.0), VECTOR(n, 0.0), VECTOR(n, 1.0),
                       VECTOR(n, 1.0), y, fy, messages));
  for (int i = 0; i < n; ++i) EXPECT_NEAR(y(i), expected, 1e-7);
  EXPECT_NEAR(fy, bowl(y, centre), 1e-7);
}

INSTANTIATE_TEST_SUITE_P(Rows, Bowls,
                         testing::Values(BowlRow{"one_input", 1, 0.4, 0.4},
                                         BowlRow{"two_inputs", 2, 0.3, 0.3},
                                         BowlRow{"six_inputs", 6, 0.6, 0.6},
                                         BowlRow{"on_the_bounds", 3, -1.0, 0.0},
                                         BowlRow{"on_the_upper_bounds", 4, 2.0, 1.0}),
                         test::RowName());

TEST(Snobqfit, goes_to_an_edge_where_the_model_is_not_convex) {
  const MATRIX x = random_points(20, 2, 4);
  const MATRIX f = values(x, [](const VECTOR& point) {
    return (point(0) - 0.5) * (point(0) - 0.5) - (point(1) - 0.4) * (point(1) - 0.4);
  });
  VECTOR y;
  double fy = 0.0;
  Messages messages;
  const int best = static_cast<int>(std::min_element(f.data(), f.data() + f.rows()) - f.data());
  ASSERT_TRUE(snobqfit(best, x, f, 19, VECTOR(2, 1.0), VECTOR(2, 0.0), VECTOR(2, 1.0),
                       VECTOR(2, 1.0), y, fy, messages));
  EXPECT_NEAR(y(0), 0.5, 1e-7);
  EXPECT_TRUE(y(1) == 0.0 || y(1) == 1.0) << y(1);
}

TEST(Snobqfit, makes_do_with_few_points) {
  const MATRIX x = random_points(6, 4, 4);
  const MATRIX f = values(x, [](const VECTOR& point) { return point(0) - point(2); });
  VECTOR y;
  double fy = 0.0;
  Messages messages;
  ASSERT_TRUE(snobqfit(0, x, f, 28, VECTOR(4, 0.1), VECTOR(4, 0.0), VECTOR(4, 1.0), VECTOR(4, 1.0),
                       y, fy, messages));
  for (int i = 0; i < 4; ++i) EXPECT_LE(std::abs(y(i) - x(0, i)), 0.1 + 1e-12);
}

// ---- space --------------------------------------------------------------------------------------

TEST(Snob5, goes_to_the_empty_corner) {
  const MATRIX x = {{0.1, 0.1}, {0.5, 0.4}, {0.1, 0.9}, {0.9, 0.1}};
  MATRIX request;
  Messages messages;
  Random random(3);
  ASSERT_TRUE(
      snob5(x, VECTOR(2, 0.0), VECTOR(2, 1.0), VECTOR(2, 1e-3), 3, random, request, messages));
  ASSERT_EQ(request.rows(), 3);
  EXPECT_GT(request(0, 0), 0.8);
  EXPECT_GT(request(0, 1), 0.8);
}

TEST(Snob5, misses_no_point_of_a_small_grid) {
  MATRIX request;
  Messages messages;
  Random random(3);
  ASSERT_TRUE(snob5({{0.0, 0.0}}, VECTOR(2, 0.0), VECTOR(2, 1.0), VECTOR(2, 0.25), 40, random,
                    request, messages));
  EXPECT_EQ(request.rows(), 24);
}

// ---- merit --------------------------------------------------------------------------------------

struct MeritRow {
  const char* name;
  double f;
  double constraint;  // 0 to 1 allowed, sigma 2
  double expected;    // with f0 = 1, Delta = 2
};

class Merit : public testing::TestWithParam<MeritRow> {};

TEST_P(Merit, follows_the_formula) {
  Messages messages;
  const double merit =
      softmerit(GetParam().f, {GetParam().constraint}, {0.0}, {1.0}, 1.0, 2.0, {2.0}, messages);
  if (std::isnan(GetParam().expected)) {
    EXPECT_TRUE(std::isnan(merit));
  } else {
    EXPECT_DOUBLE_EQ(merit, GetParam().expected);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Merit,
    testing::Values(MeritRow{"feasible", 4.0, 0.5, 0.6}, MeritRow{"below_f0", -1.0, 0.5, -0.5},
                    MeritRow{"above", 1.0, 5.0, 1.6}, MeritRow{"below", 1.0, -2.0, 1.0},
                    MeritRow{"both", 4.0, 3.0, 1.6}, MeritRow{"infinite_value", infinity, 0.5, 1.0},
                    MeritRow{"infinitely_low", -infinity, 0.5, -1.0},
                    MeritRow{"infinite_constraint", 1.0, infinity, 2.0},
                    MeritRow{"undefined_value", nan, 0.5, nan},
                    MeritRow{"undefined_constraint", 1.0, nan, nan}),
    test::RowName());

// ---- random numbers -----------------------------------------------------------------------------

TEST(RandomNumbers, go_on_from_a_state) {
  Random first(12345);
  for (int k = 0; k < 100; ++k) first.uniform();
  Random second(first.state());
  for (int k = 0; k < 100; ++k) {
    const double number = first.uniform();
    EXPECT_GE(number, 0.0);
    EXPECT_LT(number, 1.0);
    EXPECT_EQ(number, second.uniform());
  }
  Random zero(0);
  EXPECT_NE(zero.uniform(), zero.uniform());
}

// ---- grid ---------------------------------------------------------------------------------------

TEST(Grid, takes_the_nearest_multiple_inside) {
  EXPECT_EQ(on_grid(0.6, 0.0, 1.0, 0.25), 0.5);
  EXPECT_EQ(on_grid(0.01, 0.1, 1.0, 0.25), 0.25) << "0 is outside";
  EXPECT_EQ(on_grid(7.0, 0.1, 0.9, 0.25), 0.75);
  EXPECT_EQ(on_grid(0.12, 0.1, 0.2, 0.25), 0.12) << "no multiple inside";
  EXPECT_EQ(on_grid(0.5, 0.0, 1.0, 1e-320), 0.5) << "quotient overflows";
}

}  // namespace
}  // namespace torve
