// Derivatives of formulas against finite differences, and the bounds that are made of them against
// dense samples.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "box_formulas.h"
#include "mirsolve/box/enclosure.h"
#include "mirsolve/box/formula.h"
#include "support/random.h"

namespace mirsolve::test {
namespace {

using box::Defined;
using box::Interval;
using box::Parabola;
using box::Smoothness;
using box::Sweep;
using torve::test::Random;

struct Row {
  const char* name;
  Term (*formula)(std::span<const Term>);
};

// Of two inputs from 0.3 to 0.9.
const Row rows[] = {
    {"sum", [](std::span<const Term> x) { return x[0] + 3.0 * x[1] - 2.0; }},
    {"product", [](std::span<const Term> x) { return x[0] * x[1] * x[0]; }},
    {"own_square", [](std::span<const Term> x) { return x[0] * x[0] - x[1] * x[1]; }},
    {"quotient", [](std::span<const Term> x) { return x[0] / (x[1] + x[0]); }},
    {"whole_powers", [](std::span<const Term> x) { return pow(x[0], 5.0) * pow(x[1], -2.0); }},
    {"first_powers", [](std::span<const Term> x) { return pow(x[0], 1.0) * pow(x[1], -1.0); }},
    {"power_of_0", [](std::span<const Term> x) { return pow(x[0] * x[1], 0.0) + x[0]; }},
    {"real_powers", [](std::span<const Term> x) { return pow(x[0], 0.7) * pow(x[1], -1.3); }},
    {"power_of_input", [](std::span<const Term> x) { return pow(x[0], x[1]); }},
    {"power_of_formula", [](std::span<const Term> x) { return pow(x[0] + x[1], x[0] * x[1]); }},
    {"power_of_number",
     [](std::span<const Term> x) { return pow(number(x[0], 2.5), x[0] - x[1]); }},
    {"absolute", [](std::span<const Term> x) { return abs(x[0] - 3.0 * x[1] - 1.0) * x[1]; }},
    {"exponential", [](std::span<const Term> x) { return exp(-2.0 * x[0] * x[1]); }},
    {"log", [](std::span<const Term> x) { return log(x[0] * x[1]) * x[1]; }},
    {"log10", [](std::span<const Term> x) { return log10(x[0] + 2.0 * x[1]) * x[0]; }},
    {"sqrt", [](std::span<const Term> x) { return sqrt(x[0] * x[1] + x[0]); }},
    {"sinh", [](std::span<const Term> x) { return sinh(x[0] - 2.0 * x[1]); }},
    {"cosh", [](std::span<const Term> x) { return cosh(x[0] * x[1]); }},
    {"tanh", [](std::span<const Term> x) { return tanh(2.0 * x[0] - x[1]); }},
    {"sin", [](std::span<const Term> x) { return sin(4.0 * x[0] * x[1]); }},
    {"cos", [](std::span<const Term> x) { return cos(4.0 * x[0] + x[1]); }},
    {"tan", [](std::span<const Term> x) { return tan(x[0] * x[1]); }},
    {"asin", [](std::span<const Term> x) { return asin(x[0] * x[1]); }},
    {"acos", [](std::span<const Term> x) { return acos(x[0] - x[1]); }},
    {"atan", [](std::span<const Term> x) { return atan(3.0 * x[0] / x[1]); }},
};

constexpr double lowest = 0.3;
constexpr double highest = 0.9;

box::Formula formula_of(const Problem& problem) {
  const std::span<const NodeId> terms = problem.graph.operands(problem.statements[0].left);
  const std::pair<double, NodeId> sum[] = {{1.0, terms[1]}};
  const int inputs[] = {1, 2};
  return {problem.graph, sum, inputs};
}

Problem problem_of(const Row& row) {
  return box_problem(Sides(2, {lowest, highest}), row.formula);
}

struct AtPoint {
  double value = 0.0;
  std::vector<double> gradient = std::vector<double>(2);
  std::vector<double> hessian = std::vector<double>(4);
};

AtPoint at_point(const box::Formula& formula, const std::vector<double>& x) {
  Sweep<double> sweep;
  AtPoint result;
  EXPECT_EQ(box::sweep_values(formula, x, sweep), Defined::everywhere);
  result.value = sweep.value.back();
  EXPECT_EQ(box::sweep_gradient(formula, sweep, result.gradient), Smoothness::twice);
  box::sweep_hessian(formula, sweep, std::vector<char>{1, 1}, result.hessian);
  return result;
}

class BoxDerivatives : public testing::TestWithParam<Row> {};

TEST_P(BoxDerivatives, AreThoseOfDifferences) {
  const Problem problem = problem_of(GetParam());
  const box::Formula formula = formula_of(problem);
  Random random(1);
  for (int i = 0; i < 50; ++i) {
    const std::vector<double> x{random.real(lowest, highest), random.real(lowest, highest)};
    const AtPoint here = at_point(formula, x);
    const std::vector<double> all{0.0, x[0], x[1]};
    EXPECT_NEAR(here.value, evaluate(problem.graph, problem.statements[0].left, all),
                1e-13 * std::abs(here.value));
    for (std::size_t d = 0; d < 2; ++d) {
      constexpr double step = 1e-5;
      std::vector<double> ahead = x;
      std::vector<double> behind = x;
      ahead[d] += step;
      behind[d] -= step;
      const AtPoint a = at_point(formula, ahead);
      const AtPoint b = at_point(formula, behind);
      EXPECT_NEAR(here.gradient[d], (a.value - b.value) / (2.0 * step), 2e-6);
      for (std::size_t e = 0; e < 2; ++e) {
        EXPECT_NEAR(here.hessian[d * 2 + e], (a.gradient[e] - b.gradient[e]) / (2.0 * step), 1e-4);
      }
    }
  }
}

bool holds_about(const Interval& a, double value) {
  const double room = 1e-11 * (1.0 + std::abs(value));
  return a.lower() - room <= value && value <= a.upper() + room;
}

TEST_P(BoxDerivatives, AreHeldByThoseOfIntervals) {
  const Problem problem = problem_of(GetParam());
  const box::Formula formula = formula_of(problem);
  Random random(2);
  Sweep<Interval> sweep;
  for (int i = 0; i < 100; ++i) {
    std::vector<Interval> sides;
    for (int d = 0; d < 2; ++d) {
      const double a = random.real(lowest, highest);
      const double b = i % 4 == 0 ? a : random.real(lowest, i % 2 == 0 ? highest : a + 1e-3);
      sides.emplace_back(std::min(a, b), std::max(a, b));
    }
    std::vector<Interval> gradient(2);
    std::vector<Interval> hessian(4);
    ASSERT_EQ(box::sweep_values(formula, sides, sweep), Defined::everywhere);
    ASSERT_EQ(box::sweep_gradient(formula, sweep, gradient), Smoothness::twice);
    box::sweep_hessian(formula, sweep, std::vector<char>{1, 1}, hessian);
    if (i % 4 == 0) {
      for (const Interval& entry : hessian) {
        EXPECT_LE(box::width(entry), 1e-10 * (1.0 + box::magnitude(entry)));
      }
    }
    for (int k = 0; k < 20; ++k) {
      const std::vector<double> x{random.real(sides[0].lower(), sides[0].upper()),
                                  random.real(sides[1].lower(), sides[1].upper())};
      const AtPoint here = at_point(formula, x);
      EXPECT_TRUE(holds_about(sweep.value.back(), here.value));
      for (std::size_t d = 0; d < 2; ++d)
        EXPECT_TRUE(holds_about(gradient[d], here.gradient[d])) << d;
      for (std::size_t d = 0; d < 4; ++d)
        EXPECT_TRUE(holds_about(hessian[d], here.hessian[d])) << d;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Formulas, BoxDerivatives, testing::ValuesIn(rows),
                         [](const auto& row) { return row.param.name; });

// |x1 - x2| has a kink in the box: all slopes between those of its sides, and no second ones.
TEST(BoxKink, HasAllSlopes) {
  const Row row{"kink", [](std::span<const Term> x) { return 2.0 * abs(x[0] - x[1]); }};
  const Problem problem = problem_of(row);
  const box::Formula formula = formula_of(problem);
  Sweep<Interval> sweep;
  std::vector<Interval> gradient(2);
  const std::vector<Interval> sides{{0.3, 0.5}, {0.4, 0.6}};
  ASSERT_EQ(box::sweep_values(formula, sides, sweep), Defined::everywhere);
  EXPECT_EQ(box::sweep_gradient(formula, sweep, gradient), Smoothness::once);
  EXPECT_LE(gradient[0].lower(), -2.0);
  EXPECT_GE(gradient[0].upper(), 2.0);
  EXPECT_LE(box::width(gradient[0]), 4.0 + 1e-14);
}

// slope d + curvature d^2 / 2 with the slope of the interval that makes it least.
long double parabola_at(const Parabola& parabola, long double d) {
  const long double slope = d > 0 ? parabola.slope.lower() : parabola.slope.upper();
  return slope * d + parabola.curvature / 2.0L * d * d;
}

Parabola random_parabola(Random& random) {
  const double a = random.real(-2.0, 2.0);
  const double b = random.chance(0.3) ? a : random.real(-2.0, 2.0);
  return {{std::min(a, b), std::max(a, b)}, random.chance(0.2) ? 0.0 : random.real(-5.0, 5.0)};
}

TEST(BoxParabola, LeastValueIsThatOfSamples) {
  Random random(4);
  for (int i = 0; i < 2000; ++i) {
    const Parabola parabola = random_parabola(random);
    double from = random.real(-1.0, 1.0);
    double to = random.real(-1.0, 1.0);
    if (from > to) std::swap(from, to);
    long double sampled = box::infinity;
    for (int k = 0; k <= 1000; ++k) {
      const long double d = k == 1000 ? to : from + (to - from) * k / 1000.0L;
      sampled = std::min(sampled, parabola_at(parabola, d));
    }
    if (from <= 0.0 && to >= 0.0) sampled = std::min(sampled, 0.0L);
    const double bound = box::least(parabola, from, to);
    EXPECT_LE(static_cast<long double>(bound), sampled);
    EXPECT_GE(bound, static_cast<double>(sampled) - 1e-5);
  }
}

TEST(BoxParabola, WhatIsCutOffLiesTooHigh) {
  Random random(5);
  int cuts = 0;
  int all = 0;
  for (int i = 0; i < 4000; ++i) {
    const Parabola parabola = random_parabola(random);
    const Interval distances(random.real(-1.0, 0.0), random.real(0.0, 1.0));
    const double most = random.real(-1.0, 0.5);
    const Interval part = box::part_up_to(parabola, distances, most);
    all += box::is_nothing(part) ? 1 : 0;
    cuts += !box::is_nothing(part) && box::width(part) < box::width(distances) ? 1 : 0;
    for (int k = 0; k <= 200; ++k) {
      const double d =
          std::min(distances.upper(), distances.lower() + box::width(distances) * k / 200.0);
      if (!box::is_nothing(part) && box::holds(part, d)) continue;
      EXPECT_GT(parabola_at(parabola, d), static_cast<long double>(most));
    }
  }
  EXPECT_GT(cuts, 500);
  EXPECT_GT(all, 500);
}

// A random symmetric interval matrix, and one matrix of it at a time.
struct IntervalMatrix {
  std::size_t n;
  std::vector<Interval> entries;

  std::vector<double> one_of(Random& random) const {
    std::vector<double> matrix(n * n);
    for (std::size_t i = 0; i < n; ++i) {
      for (std::size_t j = 0; j <= i; ++j) {
        const Interval& entry = entries[i * n + j];
        const double end = random.chance(0.5) ? entry.lower() : entry.upper();
        const double value = random.chance(0.7) ? end : random.real(entry.lower(), entry.upper());
        matrix[i * n + j] = matrix[j * n + i] = value;
      }
    }
    return matrix;
  }
};

IntervalMatrix random_matrix(Random& random, double diagonal) {
  IntervalMatrix matrix{static_cast<std::size_t>(random.whole(1, 4)), {}};
  const std::size_t n = matrix.n;
  matrix.entries.resize(n * n);
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j <= i; ++j) {
      const double middle = random.real(-1.0, 1.0) + (i == j ? diagonal : 0.0);
      const double radius = random.real(0.0, 0.3);
      const Interval entry(middle - radius, middle + radius);
      matrix.entries[i * n + j] = matrix.entries[j * n + i] = entry;
    }
  }
  return matrix;
}

long double quadratic_form(const std::vector<double>& matrix, const std::vector<double>& d) {
  long double sum = 0.0L;
  const std::size_t n = d.size();
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < n; ++j) {
      sum += static_cast<long double>(matrix[i * n + j]) * d[i] * d[j];
    }
  }
  return sum / 2.0L;
}

TEST(BoxSecondOrder, ParabolasLieBelow) {
  Random random(6);
  for (int i = 0; i < 1000; ++i) {
    const IntervalMatrix matrix = random_matrix(random, 0.0);
    std::vector<double> reach(matrix.n);
    for (double& r : reach) r = random.chance(0.2) ? 0.0 : random.real(1e-3, 2.0);
    std::vector<Parabola> parabolas(matrix.n);
    box::separate(matrix.entries, reach, parabolas);
    for (int k = 0; k < 50; ++k) {
      std::vector<double> d;
      for (const double r : reach) {
        d.push_back(random.chance(0.5) ? (random.chance(0.5) ? r : -r) : random.real(-r, r));
      }
      long double sum = 0.0L;
      for (std::size_t j = 0; j < d.size(); ++j) {
        sum += parabolas[j].curvature / 2.0L * d[j] * d[j];
      }
      EXPECT_LE(sum, quadratic_form(matrix.one_of(random), d) + 1e-17L);
    }
  }
}

// A form that is below 0 somewhere must not be called convex; one with a heavy diagonal must.
TEST(BoxSecondOrder, ConvexityIsProvenOnlyWhereItHolds) {
  Random random(7);
  int convex = 0;
  int others = 0;
  for (int i = 0; i < 2000; ++i) {
    const IntervalMatrix matrix = random_matrix(random, random.real(0.0, 2.0));
    std::vector<double> reach(matrix.n, 1.0);
    for (double& r : reach) r = random.real(0.01, 3.0);
    std::vector<double> room(matrix.n * matrix.n);
    const bool is_convex = box::is_convex(matrix.entries, reach, room);
    bool is_below = false;
    for (int k = 0; k < 200 && !is_below; ++k) {
      std::vector<double> d;
      for (std::size_t j = 0; j < matrix.n; ++j) d.push_back(random.real(-1.0, 1.0));
      is_below = quadratic_form(matrix.one_of(random), d) < 0.0L;
    }
    EXPECT_FALSE(is_convex && is_below);
    convex += is_convex ? 1 : 0;
    others += is_below ? 1 : 0;
  }
  EXPECT_GT(convex, 300);
  EXPECT_GT(others, 300);
  // [[1, 1], [1, 1]] less a little has a negative eigenvalue of 1e-12.
  std::vector<double> room(4);
  const std::vector<Interval> almost{1.0, 1.0, 1.0, 1.0 - 2e-12};
  EXPECT_FALSE(box::is_convex(almost, std::vector<double>{1.0, 1.0}, room));
  const std::vector<Interval> more{1.0, 1.0, 1.0, 1.0 + 2e-12};
  EXPECT_TRUE(box::is_convex(more, std::vector<double>{1.0, 1.0}, room));
}

}  // namespace
}  // namespace mirsolve::test
