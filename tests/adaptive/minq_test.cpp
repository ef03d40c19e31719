#include "adaptive/minq/minq.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <ostream>
#include <string>
#include <vector>

#include "adaptive/linalg/linalg.h"
#include "adaptive/minq_problems.h"

namespace torve::test {
namespace {

MinqResult solve(const Box& box, Messages& messages, const VECTOR& xx = {}) {
  return minq(box.gamma, box.c, box.G, box.xu, box.xo, 0, messages, xx);
}

double value_at(const Box& box, const VECTOR& x) {
  long double sum = box.gamma;
  for (int j = 0; j < box.n(); ++j) {
    long double row = 0.0;
    for (int i = 0; i < box.n(); ++i) row += static_cast<long double>(box.G(i, j)) * x(i);
    sum += x(j) * (box.c(j) + 0.5L * row);
  }
  return static_cast<double>(sum);
}

bool strictly_inside(const Box& box, const VECTOR& x, int i) {
  return x(i) > box.xu(i) && x(i) < box.xo(i);
}

// No gradient on the free variables, none that leads into the box on the others.
void expect_stationary(const Box& box, const VECTOR& x) {
  for (int i = 0; i < box.n(); ++i) {
    ASSERT_GE(x(i), box.xu(i));
    ASSERT_LE(x(i), box.xo(i));
    long double g = box.c(i);
    long double size = std::abs(box.c(i));
    for (int j = 0; j < box.n(); ++j) {
      const long double term = static_cast<long double>(box.G(i, j)) * x(j);
      g += term;
      size += std::abs(term);
    }
    const double rest = static_cast<double>(g);
    const double rounding = 1e-12 * static_cast<double>(size);
    if (x(i) < box.xo(i)) {
      EXPECT_GE(rest, -rounding) << "may rise: " << i;
    }
    if (x(i) > box.xu(i)) {
      EXPECT_LE(rest, rounding) << "may fall: " << i;
    }
  }
}

// The Hessian of the free variables, brought to a diagonal of ones and zeros, has no negative
// eigenvalue.
void expect_no_way_down(const Box& box, const VECTOR& x) {
  std::vector<int> free;
  for (int i = 0; i < box.n(); ++i) {
    if (strictly_inside(box, x, i)) free.push_back(i);
  }
  const int k = static_cast<int>(free.size());
  MATRIX block(k, k);
  for (int i = 0; i < k; ++i) {
    for (int j = 0; j < k; ++j) {
      const int a = free[at(i)];
      const int b = free[at(j)];
      const double scale = std::sqrt(std::abs(box.G(a, a)) * std::abs(box.G(b, b)));
      block(i, j) = scale > 0.0 ? box.G(a, b) / scale : box.G(a, b);
    }
  }
  if (k == 0) return;
  Messages messages;
  EXPECT_GE(syev(block, messages)(0), -1e-11);
}

void expect_local_minimum(const Box& box, const MinqResult& result) {
  ASSERT_EQ(result.ier, MinqStatus::minimum);
  expect_stationary(box, result.x);
  expect_no_way_down(box, result.x);
  EXPECT_NEAR(result.fct, value_at(box, result.x), 1e-11 * (1.0 + std::abs(result.fct)));
}

// ---- all active sets ----------------------------------------------------------------------------

// Gaussian elimination with row pivoting; false when a pivot vanishes.
bool eliminate(std::vector<std::vector<long double>>& a) {
  const std::size_t n = a.size();
  for (std::size_t k = 0; k < n; ++k) {
    std::size_t pivot = k;
    for (std::size_t i = k + 1; i < n; ++i) {
      if (std::abs(a[i][k]) > std::abs(a[pivot][k])) pivot = i;
    }
    if (std::abs(a[pivot][k]) < 1e-13L) return false;
    std::swap(a[k], a[pivot]);
    for (std::size_t i = 0; i < n; ++i) {
      if (i == k) continue;
      const long double share = a[i][k] / a[k][k];
      for (std::size_t j = k; j <= n; ++j) a[i][j] -= share * a[k][j];
    }
  }
  for (std::size_t k = 0; k < n; ++k) a[k][n] /= a[k][k];
  return true;
}

// The stationary point of a face: side(i) says at lower bound (0), upper bound (1) or free (2).
// False when there is none or not exactly one, or when it lies out of the box.
bool stationary_point(const Box& box, const std::vector<int>& side, VECTOR& x) {
  std::vector<int> free;
  for (int i = 0; i < box.n(); ++i) {
    x(i) = side[at(i)] == 0 ? box.xu(i) : box.xo(i);
    if (side[at(i)] == 2) free.push_back(i);
  }
  std::vector<std::vector<long double>> system;
  for (const int i : free) {
    std::vector<long double> row;
    long double right = -box.c(i);
    for (const int j : free) row.push_back(box.G(i, j));
    for (int j = 0; j < box.n(); ++j) {
      if (side[at(j)] != 2) right -= static_cast<long double>(box.G(i, j)) * x(j);
    }
    row.push_back(right);
    system.push_back(row);
  }
  if (!eliminate(system)) return false;
  for (std::size_t k = 0; k < free.size(); ++k) {
    const int i = free[k];
    x(i) = static_cast<double>(system[k].back());
    if (x(i) < box.xu(i) || x(i) > box.xo(i)) return false;
  }
  return true;
}

// The lowest value over the stationary points of all faces; in a finite box the global minimum.
double lowest_value(const Box& box) {
  std::vector<int> side(at(box.n()), 0);
  double lowest = infinity;
  for (;;) {
    VECTOR x(box.n());
    if (stationary_point(box, side, x)) lowest = std::min(lowest, value_at(box, x));
    std::size_t i = 0;
    while (i < side.size() && side[i] == 2) side[i++] = 0;
    if (i == side.size()) return lowest;
    ++side[i];
  }
}

bool is_convex(Shape shape) {
  return shape != Shape::indefinite && shape != Shape::concave && shape != Shape::whole;
}

class MinqRandom : public testing::TestWithParam<ShapeRow> {};

TEST_P(MinqRandom, agrees_with_enumeration) {
  Dice dice(21);
  for (int i = 0; i < 120; ++i) {
    SCOPED_TRACE(i);
    const Box box = random_box(dice, GetParam().shape, i < 4 ? 7 + i % 2 : dice.whole(1, 5));
    Messages messages;
    const MinqResult result = solve(box, messages);
    expect_local_minimum(box, result);
    const double lowest = lowest_value(box);
    const double rounding = 1e-10 * (1.0 + std::abs(lowest));
    EXPECT_GE(result.fct, lowest - rounding);
    if (is_convex(GetParam().shape)) {
      EXPECT_NEAR(result.fct, lowest, rounding);
    }
    EXPECT_TRUE(messages.lines.empty());
    if (HasFailure()) return;
  }
}

TEST_P(MinqRandom, is_optimal) {
  Dice dice(22);
  for (int i = 0; i < 200; ++i) {
    SCOPED_TRACE(i);
    const Box box = random_box(dice, GetParam().shape, i < 20 ? 50 - i % 3 : dice.whole(1, 30));
    Messages messages;
    expect_local_minimum(box, solve(box, messages));
    if (HasFailure()) return;
  }
}

TEST_P(MinqRandom, is_optimal_from_any_start) {
  Dice dice(23);
  for (int i = 0; i < 100; ++i) {
    SCOPED_TRACE(i);
    const Box box = random_box(dice, GetParam().shape, dice.whole(1, 12));
    VECTOR start = dice.vector(box.n());
    for (double& value : start.span()) value *= 5.0;
    Messages messages;
    const MinqResult result = solve(box, messages, start);
    expect_local_minimum(box, result);
    VECTOR nearest = start;
    for (int k = 0; k < box.n(); ++k) nearest(k) = std::clamp(start(k), box.xu(k), box.xo(k));
    EXPECT_LE(result.fct, value_at(box, nearest) + 1e-12 * (1.0 + std::abs(result.fct)));
    if (HasFailure()) return;
  }
}

// Some bounds are left out. Convex problems are made to have a minimum by a gradient that G gives.
TEST_P(MinqRandom, ends_with_few_bounds) {
  Dice dice(24);
  int unbounded = 0;
  for (int i = 0; i < 200; ++i) {
    SCOPED_TRACE(i);
    Box box = random_box(dice, GetParam().shape, dice.whole(1, 15));
    Messages messages;
    if (is_convex(GetParam().shape)) box.c = gemv(box.G, box.c, 'N', messages);
    for (int k = 0; k < box.n(); ++k) {
      if (dice.whole(0, 1) == 0) box.xu(k) = -none;
      if (dice.whole(0, 1) == 0) box.xo(k) = none;
    }
    const MinqResult result = solve(box, messages);
    if (result.ier == MinqStatus::unbounded) {
      ++unbounded;
      EXPECT_FALSE(is_convex(GetParam().shape));
      EXPECT_TRUE(says(messages, "unbounded"));
      // The direction leads to no bound, and the function falls along it.
      Box along = box;
      along.gamma = 0.0;
      for (int k = 0; k < box.n(); ++k) {
        EXPECT_TRUE(!(result.x(k) > 0.0) || box.xo(k) == none) << k;
        EXPECT_TRUE(!(result.x(k) < 0.0) || box.xu(k) == -none) << k;
      }
      for (double& value : along.c.span()) value = 0.0;
      EXPECT_LE(value_at(along, result.x), 1e-12);
    } else {
      expect_local_minimum(box, result);
    }
    if (HasFailure()) return;
  }
  EXPECT_EQ(unbounded > 0, !is_convex(GetParam().shape));
}

INSTANTIATE_TEST_SUITE_P(Shapes, MinqRandom, shapes, shape_name);

// ---- single cases -------------------------------------------------------------------------------

TEST(Minq, needs_no_variables) {
  Messages messages;
  const MinqResult result = minq(2.5, {}, MATRIX(0, 0), {}, {}, 0, messages);
  EXPECT_EQ(result.ier, MinqStatus::minimum);
  EXPECT_EQ(result.fct, 2.5);
  EXPECT_EQ(result.x.size(), 0);
}

// (x - 1)^2 + (y + 2)^2 in a box that cuts the second.
TEST(Minq, projects_on_a_box) {
  Messages messages;
  const MinqResult result =
      minq(5.0, {-2.0, 4.0}, {{2.0, 0.0}, {0.0, 2.0}}, {-none, -1.0}, {none, 1.0}, 0, messages);
  ASSERT_EQ(result.ier, MinqStatus::minimum);
  EXPECT_NEAR(result.x(0), 1.0, 1e-15);
  EXPECT_EQ(result.x(1), -1.0);
  EXPECT_NEAR(result.fct, 1.0, 1e-14);
}

// The saddle xy from its middle: no gradient and no curvature along either axis.
TEST(Minq, leaves_a_saddle) {
  Messages messages;
  const MinqResult result =
      minq(0.0, {0.0, 0.0}, {{0.0, 1.0}, {1.0, 0.0}}, {-1.0, -1.0}, {1.0, 2.0}, 0, messages);
  ASSERT_EQ(result.ier, MinqStatus::minimum);
  EXPECT_LE(result.fct, -1.0);
}

// x at its bound, where the gradient vanishes and the function bends down.
TEST(Minq, leaves_a_stationary_vertex) {
  Messages messages;
  const MinqResult result = minq(0.0, {0.0}, {{-2.0}}, {0.0}, {3.0}, 0, messages, {0.0});
  ASSERT_EQ(result.ier, MinqStatus::minimum);
  EXPECT_EQ(result.x(0), 3.0);
  EXPECT_EQ(result.fct, -9.0);
}

// (x + y - 1)^2: any point of the line will do.
TEST(Minq, stays_on_a_level_line) {
  Messages messages;
  const MinqResult result =
      minq(1.0, {-2.0, -2.0}, {{2.0, 2.0}, {2.0, 2.0}}, {-none, -none}, {none, none}, 0, messages);
  ASSERT_EQ(result.ier, MinqStatus::minimum);
  EXPECT_NEAR(result.x(0) + result.x(1), 1.0, 1e-14);
  EXPECT_NEAR(result.fct, 0.0, 1e-14);
}

TEST(Minq, takes_the_symmetric_part) {
  Messages messages;
  const MinqResult result =
      minq(0.0, {-1.0, -1.0}, {{2.0, 2.0}, {0.0, 2.0}}, {-9.0, -9.0}, {9.0, 9.0}, 0, messages);
  ASSERT_EQ(result.ier, MinqStatus::minimum);
  EXPECT_NEAR(result.x(0), 1.0 / 3.0, 1e-15);
  EXPECT_NEAR(result.x(1), 1.0 / 3.0, 1e-15);
}

TEST(Minq, takes_infinity_for_no_bound) {
  Messages messages;
  const MinqResult result =
      minq(0.0, {-4.0}, {{2.0}}, {-infinity}, {infinity}, 0, messages, {100.0});
  ASSERT_EQ(result.ier, MinqStatus::minimum);
  EXPECT_EQ(result.x(0), 2.0);
}

// Beside a fixed variable of enormous curvature the trace shows the pivots of the others only.
TEST(Minq, keeps_equal_bounds_out_of_the_factorisation) {
  Messages messages;
  const MinqResult result =
      minq(0.0, {-1.0, 7.0, -1.0}, {{2.0, 1.0, 0.5}, {1.0, 1e12, 1.0}, {0.5, 1.0, 2.0}},
           {-9.0, 0.25, -9.0}, {9.0, 0.25, 9.0}, 1, messages);
  ASSERT_EQ(result.ier, MinqStatus::minimum);
  EXPECT_EQ(result.x(1), 0.25);
  EXPECT_NEAR(result.x(0), 0.3, 1e-15);
  EXPECT_NEAR(result.x(2), 0.3, 1e-15);
  EXPECT_TRUE(says(messages, "minlam / maxlam = 0.9375"));
  EXPECT_FALSE(says(messages, "unfixstep: 2"));
}

// All bounds equal: nothing to do but evaluate, whatever G is.
TEST(Minq, evaluates_a_point) {
  Messages messages;
  const MinqResult result =
      minq(1.0, {1.0, 2.0}, {{-5.0, 0.0}, {0.0, 2.0}}, {1.0, 3.0}, {1.0, 3.0}, 0, messages);
  ASSERT_EQ(result.ier, MinqStatus::minimum);
  EXPECT_EQ(result.fct, 1.0 + 7.0 + 0.5 * 13.0);
  EXPECT_EQ(result.nsub, 0);
}

TEST(Minq, gives_the_same_bits_again) {
  Dice dice(25);
  const Box box = random_box(dice, Shape::indefinite, 20);
  Messages messages;
  const MinqResult first = solve(box, messages);
  const MinqResult second = solve(box, messages);
  EXPECT_TRUE(std::ranges::equal(first.x.span(), second.x.span()));
}

// Hilbert's matrix: condition 1.6e13 for n = 10.
TEST(Minq, survives_ill_conditioned_hessians) {
  for (int n = 2; n <= 16; ++n) {
    SCOPED_TRACE(n);
    Box box = {0.0, VECTOR(n, -1.0), MATRIX(n, n), VECTOR(n, -50.0), VECTOR(n, none)};
    for (int j = 0; j < n; ++j) {
      for (int i = 0; i < n; ++i) box.G(i, j) = 1.0 / (i + j + 1);
    }
    Messages messages;
    const MinqResult result = solve(box, messages);
    ASSERT_EQ(result.ier, MinqStatus::minimum);
    expect_stationary(box, result.x);
  }
}

// ---- unbounded ----------------------------------------------------------------------------------

struct UnboundedRow {
  const char* name;
  VECTOR c;
  MATRIX G;
  const char* text;
  const char* hint;
  VECTOR direction;
};

void PrintTo(const UnboundedRow& row, std::ostream* stream) {
  *stream << row.name;
}

class MinqUnbounded : public testing::TestWithParam<UnboundedRow> {};

TEST_P(MinqUnbounded, gives_the_direction) {
  const UnboundedRow& row = GetParam();
  const int n = row.c.size();
  for (const int prt : {0, 1}) {
    Messages messages;
    const MinqResult result =
        minq(0.0, row.c, row.G, VECTOR(n, 0.0), VECTOR(n, none), prt, messages);
    ASSERT_EQ(result.ier, MinqStatus::unbounded);
    EXPECT_EQ(result.fct, -none);
    EXPECT_TRUE(std::ranges::count(messages.lines, row.text) == 1);
    EXPECT_TRUE(std::ranges::count(messages.lines, row.hint) == 1);
    EXPECT_EQ(messages.lines.size() == 2, prt == 0);
    EXPECT_EQ(says(messages, "f(alp*x) = gam + gam1 * alp + gam2 * alp^2 / 2, where:"), prt > 0);
    for (const char* value : {"gTp", "pTGp", "quot", "gam1", "gam2", "min_diag_G", "max_diag_G"})
      EXPECT_EQ(says(messages, value), prt > 0) << value;
    for (int i = 0; i < n; ++i) EXPECT_NEAR(result.x(i), row.direction(i), 1e-15) << i;
    EXPECT_FALSE(messages.failed);
  }
}

const char* const coordinate_text =
    "minq: function unbounded below in coordinate direction, unbounded direction";
const char* const coordinate_hint = "possibly caused by roundoff.";
const char* const subspace_text = "minq: function unbounded below, unbounded subspace direction";
const char* const subspace_hint = "possibly caused by roundoff: regularize G to avoid this!";

INSTANTIATE_TEST_SUITE_P(Rows, MinqUnbounded,
                         testing::Values(UnboundedRow{"linear",
                                                      {1.0, -1.0},
                                                      {{0.0, 0.0}, {0.0, 0.0}},
                                                      coordinate_text,
                                                      coordinate_hint,
                                                      {0.0, 1.0}},
                                         UnboundedRow{"concave",
                                                      {1.0, 1.0},
                                                      {{1.0, 0.0}, {0.0, -1.0}},
                                                      coordinate_text,
                                                      coordinate_hint,
                                                      {0.0, 1.0}},
                                         UnboundedRow{"valley",  // (x - y)^2 - x - y
                                                      {-1.0, -1.0},
                                                      {{2.0, -2.0}, {-2.0, 2.0}},
                                                      subspace_text,
                                                      subspace_hint,
                                                      {1.0, 1.0}},
                                         UnboundedRow{"saddle",  // (x^2 + y^2)/2 - 2xy
                                                      {-1.0, -1.0},
                                                      {{1.0, -2.0}, {-2.0, 1.0}},
                                                      subspace_text,
                                                      subspace_hint,
                                                      {2.0, 1.0}}),
                         [](const auto& row) { return std::string(row.param.name); });

// ---- bad arguments ------------------------------------------------------------------------------

struct BadRow {
  const char* name;
  VECTOR c;
  MATRIX G;
  VECTOR xu;
  VECTOR xo;
  VECTOR xx;
  const char* text;
};

void PrintTo(const BadRow& row, std::ostream* stream) {
  *stream << row.name;
}

class MinqBad : public testing::TestWithParam<BadRow> {};

TEST_P(MinqBad, gives_the_text) {
  const BadRow& row = GetParam();
  Messages messages;
  const MinqResult result = minq(0.0, row.c, row.G, row.xu, row.xo, 0, messages, row.xx);
  EXPECT_EQ(result.ier, MinqStatus::bad_arguments);
  EXPECT_TRUE(messages.failed);
  ASSERT_EQ(messages.lines.size(), 1);
  EXPECT_EQ(messages.lines[0], row.text);
}

const char* const not_finite_text = "minq: infinite value in the linear term or the Hessian";
const char* const empty_box_text = "minq: lower bound is above upper bound";

INSTANTIATE_TEST_SUITE_P(
    Rows, MinqBad,
    testing::Values(
        BadRow{"hessian", {1}, {{1, 2}}, {0}, {1}, {}, "minq: Hessian has wrong dimensions"},
        BadRow{"linear", {1, 2}, {{1}}, {0}, {1}, {}, "minq: linear term has wrong dimension"},
        BadRow{"lower", {1}, {{1}}, {0, 0}, {1}, {}, "minq: lower bound has wrong dimension"},
        BadRow{"upper", {1}, {{1}}, {0}, {}, {}, "minq: upper bound has wrong dimension"},
        BadRow{"initial", {1}, {{1}}, {0}, {1}, {0, 0}, "minq: initial vector has wrong dimension"},
        BadRow{"nan_linear", {not_a_number}, {{1}}, {0}, {1}, {}, not_finite_text},
        BadRow{"infinite_linear", {infinity}, {{1}}, {0}, {1}, {}, not_finite_text},
        BadRow{"nan_hessian", {1}, {{not_a_number}}, {0}, {1}, {}, not_finite_text},
        BadRow{"infinite_hessian", {1}, {{-infinity}}, {0}, {1}, {}, not_finite_text},
        BadRow{"empty_box", {1}, {{1}}, {2}, {1}, {}, empty_box_text},
        BadRow{"nan_lower", {1}, {{1}}, {not_a_number}, {1}, {}, empty_box_text},
        BadRow{"nan_upper", {1}, {{1}}, {0}, {not_a_number}, {}, empty_box_text},
        BadRow{"lower_nowhere", {1}, {{1}}, {none}, {none}, {}, empty_box_text},
        BadRow{"upper_nowhere", {1}, {{1}}, {-none}, {-none}, {}, empty_box_text},
        BadRow{
            "nan_start", {1}, {{1}}, {0}, {1}, {not_a_number}, "minq: error: infinite value in xx"},
        BadRow{"overflow",
               {1, 1},
               {{1e300, 0}, {0, 1}},
               {1e200, 0},
               {1e201, 1},
               {},
               "infinite xx in minq!"}),
    [](const auto& row) { return std::string(row.param.name); });

// Numbers next to 0 whose products keep no digit, beside enormous ones: rounds that lead nowhere.
TEST(Minq, gives_up_at_the_limit) {
  const double tiny = 1e-320;
  const VECTOR xu = {-1e300, tiny, 1e-160, -tiny};
  const VECTOR xo = {-1e160, 1e-8, 1e8, none};
  const Box box = {0.0,
                   {1e-160, -1e160, 2.0, 1e-8},
                   {{1e-160, 1e-8, -1.0, tiny},
                    {1e-8, 1e300, -tiny, -1e300},
                    {-1.0, -tiny, tiny, 1e300},
                    {tiny, -1e300, 1e300, none}},
                   xu,
                   xo};
  Messages messages;
  const MinqResult result = solve(box, messages);
  EXPECT_EQ(result.ier, MinqStatus::iteration_limit);
  EXPECT_EQ(messages.lines, std::vector<std::string>{
                                "minq: incomplete minimization: maximim number of iterations"});
  EXPECT_FALSE(messages.failed);
  EXPECT_NEAR(result.fct / 5e159, 1.0, 1e-14);
}

// Every way to fill a small problem with awkward numbers ends, with whatever status.
TEST(Minq, ends_on_any_numbers) {
  const double values[] = {0.0,    1.0,  -1.0,  1e-320, -1e-320, 1e-160,   -1e160,       1e300,
                           -1e300, none, -none, 1e155,  -3.0,    infinity, not_a_number, 2.0};
  Dice dice(26);
  const auto any = [&] { return values[dice.whole(0, dice.whole(0, 4) == 0 ? 15 : 11)]; };
  for (int i = 0; i < 20000; ++i) {
    const int n = dice.whole(1, 4);
    Box box = {0.0, VECTOR(n), MATRIX(n, n), VECTOR(n), VECTOR(n)};
    for (int k = 0; k < n; ++k) {
      box.c(k) = any();
      box.xu(k) = any();
      box.xo(k) = any();
      if (box.xu(k) > box.xo(k)) std::swap(box.xu(k), box.xo(k));
      for (int j = 0; j <= k; ++j) box.G(j, k) = box.G(k, j) = any();
    }
    Messages messages;
    const MinqResult result = solve(box, messages);
    EXPECT_EQ(messages.failed, result.ier == MinqStatus::bad_arguments) << i;
    EXPECT_FALSE(says(messages, "programming error")) << i;
  }
}

TEST(Minq, traces_on_demand) {
  Dice dice(27);
  for (const int prt : {0, 1}) {
    Messages messages;
    for (int i = 0; i < 20; ++i) {
      const Box box = random_box(dice, Shape::indefinite, 6);
      minq(0.0, box.c, box.G, box.xu, box.xo, prt, messages);
    }
    for (const char* text :
         {"at lower bound", "at upper bound", "free", "unfixstep:", "csrch ", "ssrch ",
          "gain_cs =", "minlam / maxlam =", "bounds may be freed in next csearch",
          "terminate: no improvement in coordinate search", "minq: minimum found fct ="}) {
      EXPECT_EQ(says(messages, text), prt > 0) << text;
    }
  }
}

}  // namespace
}  // namespace torve::test
