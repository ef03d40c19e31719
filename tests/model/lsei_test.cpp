#include "model/lsei.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <new>
#include <ostream>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "model/lsei_support.h"
#include "support/json.h"

// TORVE_TEST_DATA is the folder tests/data.

// Every request is counted, so that a test can show that a call makes none. Kept out of line:
// inlined halves of new and delete look mismatched to the compiler.
[[gnu::noinline]] void* operator new(std::size_t size) {
  ++torve::test::allocations;
  if (void* memory = std::malloc(size > 0 ? size : 1)) return memory;
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace torve::test {
namespace {

std::string data_file(const std::string& folder, const std::string& name) {
  return std::string(TORVE_TEST_DATA) + "/" + folder + "/" + name + ".json";
}

// ---- problems with exact answers ----------------------------------------------------------------

class LseiKnown : public testing::TestWithParam<const char*> {};

TEST_P(LseiKnown, gives_the_exact_answer) {
  const Json data = Json::read_file(data_file("lsei", GetParam()));
  Problem p;
  p.a = data["A"].rows();
  p.b = data["b"].numbers();
  p.g = data["G"].rows();
  p.h = data["h"].numbers();
  p.n = static_cast<int>(p.a[0].size());
  const Answer answer = solve(p);
  if (!data["feasible"].boolean()) {
    EXPECT_EQ(answer.mode, 2);
    EXPECT_EQ(answer.x[0], -111111.0);
    return;
  }
  expect_optimal(p, answer, 1e-8);
  const Row exact = data["x"].numbers();
  for (std::size_t j = 0; j < exact.size(); ++j)
    EXPECT_NEAR(answer.x[j], exact[j], 1e-9 * std::abs(exact[j])) << j;
  EXPECT_NEAR(answer.rnorml * answer.rnorml, data["sse"].number(), 1e-9 * data["sse"].number());
}

INSTANTIATE_TEST_SUITE_P(Data, LseiKnown,
                         testing::Values("badly_scaled", "band_two_sided", "duplicate_rows",
                                         "equality_by_two_rows", "inactive", "infeasible",
                                         "lawson_hanson_line", "slatec_quick_check"),
                         [](const auto& row) { return std::string(row.param); });

// ---- certified regressions ----------------------------------------------------------------------

// Correct decimal digits of the worst coefficient.
double correct_digits(const Row& x, const Row& certified) {
  double least = 15.0;
  for (std::size_t j = 0; j < x.size(); ++j)
    least = std::min(least, -std::log10(std::abs(x[j] / certified[j] - 1.0)));
  return least;
}

// Terms are powers of the only input, or the inputs themselves, behind the intercept.
Problem regression(const Json& data) {
  Problem p;
  p.b = data["y"].numbers();
  const bool intercept = data["intercept"].boolean();
  const std::size_t terms = data["certified"]["beta"].size();
  for (const Row& input : data["x"].rows()) {
    Row row;
    for (std::size_t j = 0; j < terms; ++j) {
      const auto power = static_cast<int>(intercept ? j : j + 1);
      if (input.size() == 1) {
        row.push_back(std::pow(input[0], power));
      } else {
        row.push_back(power == 0 ? 1.0 : input[static_cast<std::size_t>(power) - 1]);
      }
    }
    p.a.push_back(row);
  }
  p.n = static_cast<int>(terms);
  return p;
}

class LseiCertified : public testing::TestWithParam<const char*> {};

TEST_P(LseiCertified, keeps_the_digits_of_a_plain_fit) {
  const Json data = Json::read_file(data_file("nist", GetParam()));
  const Problem p = regression(data);
  const Answer answer = solve(p);
  ASSERT_EQ(answer.mode, 0);
  EXPECT_EQ(answer.rank, p.n);
  const double digits = correct_digits(answer.x, data["certified"]["beta"].numbers());
  const double plain = data["binary64"]["lre_plain_dgels_beta"].number();
  std::printf("%s: %.2f correct digits, %.2f from a plain fit\n", GetParam(), digits, plain);
  EXPECT_GE(digits, plain - 0.5);
}

INSTANTIATE_TEST_SUITE_P(Nist, LseiCertified,
                         testing::Values("filip", "longley", "noint1", "noint2", "norris",
                                         "pontius", "wampler1", "wampler2", "wampler3", "wampler4",
                                         "wampler5"),
                         [](const auto& row) { return std::string(row.param); });

// ---- random problems ----------------------------------------------------------------------------

class Dice {
 public:
  explicit Dice(unsigned seed) : engine_(seed) {}
  // Uniform from -1 to 1, from plain engine bits: the same numbers with every library.
  double real() { return static_cast<double>(engine_()) / 2147483648.0 - 1.0; }
  int whole(int low, int high) {
    return low + static_cast<int>(engine_() % static_cast<unsigned>(high - low + 1));
  }
  Row row(int n) {
    Row result(static_cast<std::size_t>(n));
    for (double& value : result) value = real();
    return result;
  }

 private:
  std::mt19937 engine_;
};

enum class Shape { regular, deficient, badly_scaled, few_rows, no_rows, degenerate, ill, whole };

// Rows of G pass a point on its feasible side, so that the problem is feasible; about half of them
// cut off the plain solution.
Problem random_problem(Dice& dice, Shape shape, int most_n, int most_mg) {
  Problem p;
  p.n = dice.whole(1, most_n);
  const int mg = dice.whole(1, most_mg);
  int ma = p.n + dice.whole(0, 8);
  if (shape == Shape::few_rows) ma = dice.whole(1, std::max(1, p.n - 1));
  if (shape == Shape::no_rows) ma = 0;
  for (int i = 0; i < ma; ++i) {
    p.a.push_back(dice.row(p.n));
    p.b.push_back(3.0 * dice.real());
  }
  const auto n = static_cast<std::size_t>(p.n);
  Row point = dice.row(p.n);
  for (int i = 0; i < mg; ++i) {
    p.g.push_back(dice.row(p.n));
    const double room = shape == Shape::degenerate ? 0.0 : 0.3 * std::max(0.0, dice.real());
    p.h.push_back(static_cast<double>(dot(p.g.back(), point)) - room);
  }
  if (shape == Shape::deficient && n > 1) {
    // Some columns are sums of others.
    for (std::size_t j = n / 2 + 1; j < n; ++j)
      for (Row& row : p.a) row[j] = row[j - n / 2 - 1] - 0.5 * row[j / 2];
  }
  if (shape == Shape::ill && n > 1) {
    for (Row& row : p.a) row[n - 1] = row[0] + 1e-9 * row[n - 1];
  }
  if (shape == Shape::whole) {
    // Small whole numbers: many rows depend on others or meet in one point.
    for (Row* row : {&p.b, &point})
      for (double& value : *row) value = std::round(2.0 * value);
    for (Rows* rows : {&p.a, &p.g}) {
      for (Row& row : *rows)
        for (double& value : row) value = std::round(1.7 * value);
    }
    for (std::size_t i = 0; i < p.g.size(); ++i)
      p.h[i] = static_cast<double>(dot(p.g[i], point)) - dice.whole(0, 1);
  }
  if (shape == Shape::badly_scaled) {
    for (std::size_t j = 0; j < n; ++j) {
      const double scale = std::pow(10.0, 6.0 * dice.real());
      for (Row& row : p.a) row[j] *= scale;
      for (Row& row : p.g) row[j] *= scale;
    }
  }
  if (shape == Shape::degenerate) {
    // Repeated and opposite rows besides many through one point.
    p.g.push_back(p.g[0]);
    p.h.push_back(p.h[0]);
    Row opposite = p.g[0];
    for (double& value : opposite) value *= -7.0;
    p.g.push_back(opposite);
    p.h.push_back(-7.0 * p.h[0]);
  }
  return p;
}

struct ShapeRow {
  const char* name;
  Shape shape;
  double gradient_tolerance;
};

void PrintTo(const ShapeRow& row, std::ostream* stream) {
  *stream << row.name;
}

class LseiRandom : public testing::TestWithParam<ShapeRow> {};

TEST_P(LseiRandom, is_optimal) {
  Dice dice(11);
  for (int i = 0; i < 200; ++i) {
    SCOPED_TRACE(i);
    const Problem p = random_problem(dice, GetParam().shape, 9, 12);
    expect_optimal(p, solve(p), GetParam().gradient_tolerance);
    if (HasFailure()) return;
  }
}

TEST_P(LseiRandom, agrees_with_enumeration) {
  Dice dice(12);
  for (int i = 0; i < 150; ++i) {
    SCOPED_TRACE(i);
    Problem p = random_problem(dice, GetParam().shape, 4, 4);
    const Answer answer = solve(p);
    ASSERT_EQ(answer.mode, 0);
    Row ours = answer.x;
    p = unit_columns(p, ours);
    if (GetParam().shape == Shape::no_rows) {
      // The shortest point is the least-squares solution of x = 0.
      for (std::size_t j = 0; j < ours.size(); ++j) {
        p.a.emplace_back(ours.size(), 0.0);
        p.a.back()[j] = 1.0;
        p.b.push_back(0.0);
      }
    }
    Row best;
    ASSERT_TRUE(solve_by_enumeration(p, best));
    EXPECT_NEAR(static_cast<double>(residual_norm(p, ours)),
                static_cast<double>(residual_norm(p, best)),
                1e-9 * static_cast<double>(norm(p.b) + norm(ours)));
    const bool unique = GetParam().shape != Shape::deficient &&
                        GetParam().shape != Shape::few_rows && GetParam().shape != Shape::ill &&
                        GetParam().shape != Shape::whole;
    for (std::size_t j = 0; j < best.size() && unique; ++j)
      EXPECT_NEAR(ours[j], best[j], 1e-9 * (1.0 + static_cast<double>(norm(best)))) << j;
    if (HasFailure()) return;
  }
}

INSTANTIATE_TEST_SUITE_P(Shapes, LseiRandom,
                         testing::Values(ShapeRow{"regular", Shape::regular, 1e-8},
                                         ShapeRow{"deficient", Shape::deficient, 1e-8},
                                         ShapeRow{"badly_scaled", Shape::badly_scaled, 1e-8},
                                         ShapeRow{"few_rows", Shape::few_rows, 1e-8},
                                         ShapeRow{"no_rows", Shape::no_rows, 1e-8},
                                         ShapeRow{"degenerate", Shape::degenerate, 1e-8},
                                         ShapeRow{"ill", Shape::ill, 1e-8},
                                         ShapeRow{"whole", Shape::whole, 1e-8}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(Lsei, finds_contradictions_put_in) {
  Dice dice(13);
  for (int i = 0; i < 300; ++i) {
    SCOPED_TRACE(i);
    const auto shape = static_cast<Shape>(i % 5);
    Problem p = random_problem(dice, shape, 8, 8);
    // A nonnegative combination of the rows, turned round, that asks for a little more.
    Row sum(static_cast<std::size_t>(p.n), 0.0);
    double right = 0.0;
    for (std::size_t k = 0; k < p.g.size(); ++k) {
      const double share = std::abs(dice.real());
      for (std::size_t j = 0; j < sum.size(); ++j) sum[j] -= share * p.g[k][j];
      right -= share * p.h[k];
    }
    p.g.push_back(sum);
    p.h.push_back(right + 1e-6 * (1.0 + std::abs(right)));
    const Answer answer = solve(p);
    EXPECT_EQ(answer.mode, 2);
    EXPECT_EQ(answer.x[0], -111111.0);
    if (HasFailure()) return;
  }
}

// ---- single cases -------------------------------------------------------------------------------

TEST(Lsei, takes_the_shortest_point_when_there_are_no_data) {
  // x + y >= 2 and x >= -1: the foot of the perpendicular is (1, 1).
  Problem p;
  p.n = 2;
  p.g = {{1, 1}, {1, 0}};
  p.h = {2, -1};
  const Answer answer = solve(p);
  ASSERT_EQ(answer.mode, 0);
  EXPECT_NEAR(answer.x[0], 1.0, 1e-14);
  EXPECT_NEAR(answer.x[1], 1.0, 1e-14);
  EXPECT_EQ(answer.rnorml, 0.0);
  EXPECT_EQ(answer.rank, 0);
}

TEST(Lsei, solves_the_empty_problem_with_zeros) {
  Problem p;
  p.n = 3;
  const Answer answer = solve(p);
  EXPECT_EQ(answer.mode, 0);
  EXPECT_EQ(answer.x, Row(3, 0.0));
}

TEST(Lsei, shares_equally_between_equal_columns) {
  Problem p;
  p.n = 2;
  p.a = {{1, 1}, {2, 2}, {3, 3}};
  p.b = {1, 2, 4};
  Answer answer = solve(p);
  ASSERT_EQ(answer.mode, 0);
  EXPECT_EQ(answer.rank, 1);
  EXPECT_NEAR(answer.x[0], 17.0 / 28.0, 1e-14);
  EXPECT_NEAR(answer.x[1], 17.0 / 28.0, 1e-14);

  // Of all points with x + y = 17/14, the one with x >= 2 nearest to the origin.
  p.g = {{1, 0}};
  p.h = {2};
  answer = solve(p);
  ASSERT_EQ(answer.mode, 0);
  EXPECT_NEAR(answer.x[0], 2.0, 1e-13);
  EXPECT_NEAR(answer.x[1], 17.0 / 14.0 - 2.0, 1e-13);
}

// Every row of the fit is an equation then, and nothing of A is left to decide a rank by.
TEST(Lsei, survives_active_rows_that_leave_no_data) {
  Problem p;
  p.n = 3;
  p.a = {{0, 100, 0}};
  p.b = {4};
  p.g = {{0, 1, 1}, {-1, -1, 1}, {-1, 0, 1}, {1, 1, -1}};
  p.h = {-2, -3, 2, 1};
  const Answer answer = solve(p);
  expect_optimal(p, answer, 1e-8);
  EXPECT_NEAR(answer.rnorml, 296.0, 1e-9);
}

// The best fit lies far out along directions that A doesn't see at first: b is met with x_1 = 4000
// and others of up to 4e8 only.
TEST(Lsei, goes_far_for_the_best_fit) {
  Problem p;
  p.n = 5;
  p.a = {{-0.001, 0, 0, 0, 0}, {0.001, 0, 0, 0.01, 1000}, {-0.001, 0, 1, -0.01, 1000}};
  p.b = {-4, 1, 1};
  p.g = {{0, 1, 0, 1, 0}, {-1, 0, 0, 0, -1}, {0, 0, 0, 1, 0}, {0, -1, -1, 1, 1}, {-1, 1, 0, 0, -1}};
  p.h = {-2, -3, 1, -2, 1};
  const Answer answer = solve(p);
  ASSERT_EQ(answer.mode, 0);
  EXPECT_EQ(answer.rank, 3);
  EXPECT_NEAR(answer.x[0], 4000.0, 1e-4);
  EXPECT_LE(answer.rnorml, 1e-6);
}

// Unknowns of very different size in one row: each row must hold relative to its own terms.
TEST(Lsei, keeps_rows_relative_to_their_terms) {
  Problem p;
  p.n = 3;
  p.a = {{-0.001, -200, 0}, {-0.002, -200, 0}, {0.001, 300, 1}};
  p.b = {2, 5, -2};
  p.g = {{0, 1, 3}, {1, -1, -1}, {1, -3, 0}, {-2, 0, 1}, {0, 3, 2}, {3, -3, 3}};
  p.h = {0, 2, -1, 1, 1, 0};
  const Answer answer = solve(p);
  ASSERT_EQ(answer.mode, 0);
  EXPECT_NEAR(answer.x[0], 8.0, 1e-11);
  EXPECT_NEAR(answer.x[1], -11.0, 1e-11);
  EXPECT_NEAR(answer.x[2], 17.0, 1e-11);
}

TEST(Lsei, looks_at_empty_rows) {
  Problem p;
  p.n = 2;
  p.a = {{1, 0}, {0, 1}};
  p.b = {1, 2};
  p.g = {{0, 0}, {0, 0}};
  p.h = {0, -5};
  Answer answer = solve(p);
  EXPECT_EQ(answer.mode, 0);
  EXPECT_NEAR(answer.x[1], 2.0, 1e-15);
  p.h = {0, 1e-3};
  answer = solve(p);
  EXPECT_EQ(answer.mode, 2);
}

// Columns of Hilbert's matrix, condition 1.7e13 for n = 10; b is made from x = 1.
TEST(Lsei, counts_a_condition_of_1e13_as_full_rank) {
  Problem p;
  p.n = 10;
  for (int i = 0; i < p.n; ++i) {
    Row row;
    for (int j = 0; j < p.n; ++j) row.push_back(1.0 / (i + j + 1));
    p.b.push_back(static_cast<double>(dot(row, Row(10, 1.0))));
    p.a.push_back(row);
  }
  const Answer answer = solve(p);
  ASSERT_EQ(answer.mode, 0);
  EXPECT_EQ(answer.rank, 10);
  for (double value : answer.x) EXPECT_NEAR(value, 1.0, 1e-3);
}

class LseiCondition : public testing::TestWithParam<double> {};

// Two columns of length one at a small angle: the condition is 2 / angle.
TEST_P(LseiCondition, counts_as_full_rank) {
  const double angle = 2.0 / GetParam();
  Problem p;
  p.n = 2;
  p.a = {{1.0, 1.0}, {0.0, angle}, {0.0, 0.0}};
  p.b = {3.0, 2.0 * angle, 1.0};
  const Answer answer = solve(p);
  ASSERT_EQ(answer.mode, 0);
  EXPECT_EQ(answer.rank, 2);
  EXPECT_NEAR(answer.x[0], 1.0, 1e-9);
  EXPECT_NEAR(answer.x[1], 2.0, 1e-9);
  EXPECT_NEAR(answer.rnorml, 1.0, 1e-12);
}

INSTANTIATE_TEST_SUITE_P(Values, LseiCondition, testing::Values(1e8, 1e12, 1e14, 1e15));

// A constant column beside multiples of it, in so many rows that rounding in the factorization
// exceeds the usual share.
TEST(Lsei, sees_a_deficient_rank_in_many_rows) {
  Problem p;
  p.n = 3;
  Dice dice(14);
  for (int i = 0; i < 3000; ++i) {
    p.a.push_back({1.0, 0.3, 1.7});
    p.b.push_back(1.0 + 0.1 * dice.real());
  }
  const Answer answer = solve(p);
  expect_optimal(p, answer, 1e-8);
  EXPECT_LE(static_cast<double>(norm(answer.x)), 10.0);
}

TEST(Lsei, allocates_nothing) {
  Dice dice(15);
  for (int i = 0; i < 50; ++i) {
    const Problem p = random_problem(dice, static_cast<Shape>(i % 7), 9, 12);
    EXPECT_EQ(solve(p).allocated, 0);
  }
}

TEST(Lsei, gives_the_same_bits_again) {
  Dice dice(16);
  const Problem p = random_problem(dice, Shape::regular, 9, 12);
  EXPECT_EQ(solve(p).x, solve(p).x);
}

TEST(Lsei, follows_hundreds_of_rows) {
  // A polynomial kept above a parabola at 400 places.
  Problem p;
  p.n = 7;
  const auto powers = [&](double t) {
    Row row;
    for (int j = 0; j < p.n; ++j) row.push_back(std::pow(t, j));
    return row;
  };
  Dice dice(17);
  for (int i = 0; i < 60; ++i) {
    const double t = -1.0 + i / 29.5;
    p.a.push_back(powers(t));
    p.b.push_back(std::sin(3.0 * t) + 0.2 * dice.real());
  }
  for (int i = 0; i < 400; ++i) {
    const double t = -1.0 + i / 199.5;
    p.g.push_back(powers(t));
    p.h.push_back(0.4 - t * t);
  }
  expect_optimal(p, solve(p), 1e-8);
}

// ---- bad usage ----------------------------------------------------------------------------------

struct Usage {
  const char* name;
  int mdw, me, ma, mg, n, lw, lip;
  double option, entry;
  int mode;
};

void PrintTo(const Usage& usage, std::ostream* stream) {
  *stream << usage.name;
}

class LseiUsage : public testing::TestWithParam<Usage> {};

TEST_P(LseiUsage, gives_the_mode) {
  const Usage& u = GetParam();
  Row w(100, 1.0);
  w[0] = u.entry;
  Row x(4, -111111.0), ws(2000, 0.0);
  std::vector<int> ip(200, 0);
  ip[0] = u.lw;
  ip[1] = u.lip;
  double rnorme = -1.0, rnorml = -1.0;
  int mode = -1;
  lsei(w.data(), u.mdw, u.me, u.ma, u.mg, u.n, &u.option, x.data(), rnorme, rnorml, mode, ws.data(),
       ip.data());
  EXPECT_EQ(mode, u.mode);
  EXPECT_EQ(x[0] == -111111.0, u.mode != 0);
}

constexpr int enough_reals = lsei_real_workspace(0, 3, 2, 2);
constexpr int enough_integers = lsei_integer_workspace(2, 2);
constexpr double infinite = std::numeric_limits<double>::infinity();

INSTANTIATE_TEST_SUITE_P(
    Rows, LseiUsage,
    testing::Values(Usage{"good", 5, 0, 3, 2, 2, enough_reals, enough_integers, 1.0, 1.0, 0},
                    Usage{"generous", 8, 0, 3, 2, 2, 2000, 200, 1.0, 1.0, 0},
                    Usage{"equations", 6, 1, 3, 2, 2, 2000, 200, 1.0, 1.0, 4},
                    Usage{"negative_equations", 6, -1, 3, 2, 2, 2000, 200, 1.0, 1.0, 4},
                    Usage{"negative_ma", 5, 0, -1, 2, 2, 2000, 200, 1.0, 1.0, 4},
                    Usage{"negative_mg", 5, 0, 3, -1, 2, 2000, 200, 1.0, 1.0, 4},
                    Usage{"no_unknowns", 5, 0, 3, 2, 0, 2000, 200, 1.0, 1.0, 4},
                    Usage{"short_columns", 4, 0, 3, 2, 2, 2000, 200, 1.0, 1.0, 4},
                    Usage{"no_columns", 0, 0, 0, 0, 2, 2000, 200, 1.0, 1.0, 4},
                    Usage{"few_reals", 5, 0, 3, 2, 2, enough_reals - 1, 200, 1.0, 1.0, 4},
                    Usage{"few_integers", 5, 0, 3, 2, 2, 2000, enough_integers - 1, 1.0, 1.0, 4},
                    Usage{"options", 5, 0, 3, 2, 2, 2000, 200, 4.0, 1.0, 4},
                    Usage{"infinite_entry", 5, 0, 3, 2, 2, 2000, 200, 1.0, infinite, 4}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(LseiWorkspace, is_at_least_the_published_demand) {
  for (int ma : {0, 1, 7, 40}) {
    for (int mg : {0, 1, 9}) {
      for (int n : {1, 2, 13}) {
        EXPECT_GE(lsei_real_workspace(0, ma, mg, n),
                  2 * n + std::max(ma + mg, n) + (mg + 2) * (n + 7));
        EXPECT_GE(lsei_integer_workspace(mg, n), mg + 2 * n + 2);
      }
    }
  }
  EXPECT_EQ(lsei_real_workspace(0, 10, 10, 2000000), std::numeric_limits<int>::max());
}

}  // namespace
}  // namespace torve::test
