// Functions of the literature with known minima: what is found and proven agrees with them.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "box_formulas.h"
#include "mirsolve/run/solvers.h"

namespace mirsolve::test {
namespace {

constexpr double pi = 3.141592653589793;

// L. C. W. Dixon, G. P. Szego (eds.): Towards Global Optimisation 2. North-Holland 1978, pages
// 1-15, has the functions; Shubert's is from B. O. Shubert, SIAM J. Numer. Anal. 9 (1972), 379.
Term branin(std::span<const Term> x) {
  const Term inner = x[1] - 5.1 / (4.0 * pi * pi) * pow(x[0], 2.0) + 5.0 / pi * x[0] - 6.0;
  return pow(inner, 2.0) + 10.0 * (1.0 - 1.0 / (8.0 * pi)) * cos(x[0]) + 10.0;
}

Term camel(std::span<const Term> x) {
  return 4.0 * pow(x[0], 2.0) - 2.1 * pow(x[0], 4.0) + pow(x[0], 6.0) / 3.0 + x[0] * x[1] -
         4.0 * pow(x[1], 2.0) + 4.0 * pow(x[1], 4.0);
}

Term goldstein_price(std::span<const Term> x) {
  const Term& a = x[0];
  const Term& b = x[1];
  const Term one = 1.0 + pow(a + b + 1.0, 2.0) * (19.0 - 14.0 * a + 3.0 * pow(a, 2.0) - 14.0 * b +
                                                  6.0 * (a * b) + 3.0 * pow(b, 2.0));
  const Term two =
      30.0 + pow(2.0 * a - 3.0 * b, 2.0) * (18.0 - 32.0 * a + 12.0 * pow(a, 2.0) + 48.0 * b -
                                            36.0 * (a * b) + 27.0 * pow(b, 2.0));
  return one * two;
}

Term shubert_factor(const Term& x) {
  Term sum = cos(2.0 * x + 1.0);
  for (int i = 2; i <= 5; ++i) sum = sum + i * cos((i + 1.0) * x + static_cast<double>(i));
  return sum;
}
Term shubert(std::span<const Term> x) {
  return shubert_factor(x[0]) * shubert_factor(x[1]);
}

constexpr double hartman_weights[4] = {1.0, 1.2, 3.0, 3.2};

template <std::size_t n>
Term hartman(std::span<const Term> x, const double (&a)[4][n], const double (&p)[4][n]) {
  Term sum = number(x[0], 0.0);
  for (std::size_t i = 0; i < 4; ++i) {
    Term inner = number(x[0], 0.0);
    for (std::size_t j = 0; j < n; ++j) inner = inner + a[i][j] * pow(x[j] - p[i][j], 2.0);
    sum = sum - hartman_weights[i] * exp(-inner);
  }
  return sum;
}

Term hartman3(std::span<const Term> x) {
  static constexpr double a[4][3] = {{3, 10, 30}, {0.1, 10, 35}, {3, 10, 30}, {0.1, 10, 35}};
  static constexpr double p[4][3] = {{0.3689, 0.1170, 0.2673},
                                     {0.4699, 0.4387, 0.7470},
                                     {0.1091, 0.8732, 0.5547},
                                     {0.03815, 0.5743, 0.8828}};
  return hartman(x, a, p);
}

Term hartman6(std::span<const Term> x) {
  static constexpr double a[4][6] = {{10, 3, 17, 3.5, 1.7, 8},
                                     {0.05, 10, 17, 0.1, 8, 14},
                                     {3, 3.5, 1.7, 10, 17, 8},
                                     {17, 8, 0.05, 10, 0.1, 14}};
  static constexpr double p[4][6] = {{0.1312, 0.1696, 0.5569, 0.0124, 0.8283, 0.5886},
                                     {0.2329, 0.4135, 0.8307, 0.3736, 0.1004, 0.9991},
                                     {0.2348, 0.1451, 0.3522, 0.2883, 0.3047, 0.6650},
                                     {0.4047, 0.8828, 0.8732, 0.5743, 0.1091, 0.0381}};
  return hartman(x, a, p);
}

Term shekel5(std::span<const Term> x) {
  static constexpr double a[5][4] = {
      {4, 4, 4, 4}, {1, 1, 1, 1}, {8, 8, 8, 8}, {6, 6, 6, 6}, {3, 7, 3, 7}};
  static constexpr double c[5] = {0.1, 0.2, 0.2, 0.4, 0.4};
  Term sum = number(x[0], 0.0);
  for (std::size_t i = 0; i < 5; ++i) {
    Term inner = number(x[0], c[i]);
    for (std::size_t j = 0; j < 4; ++j) inner = inner + pow(x[j] - a[i][j], 2.0);
    sum = sum - 1.0 / inner;
  }
  return sum;
}

// Convex, and far from its diagonal: the matrix has 2 there and 1.8 elsewhere.
Term coupled(std::span<const Term> x) {
  Term sum = number(x[0], 1.0);
  for (std::size_t i = 0; i < x.size(); ++i) {
    const Term a = x[i] - 0.3;
    sum = sum + pow(a, 2.0);
    for (std::size_t j = 0; j < i; ++j) sum = sum + 1.8 * (a * (x[j] - 0.3));
  }
  return sum;
}

struct Known {
  const char* name;
  Term (*formula)(std::span<const Term>);
  Sides sides;
  double minimum;
  double precision;  // of the published value
};

class BoxKnown : public testing::TestWithParam<std::tuple<Known, double>> {};

TEST_P(BoxKnown, MinimumIsFoundAndProven) {
  const auto& [known, gap] = GetParam();
  Problem problem = box_problem(known.sides, known.formula);
  problem.options.relative_gap = gap;
  const auto answer = solve_box(problem, Deadline(60.0));
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->status, Status::proven);
  EXPECT_LE(answer->bound, known.minimum + known.precision);
  EXPECT_LE(answer->bound, answer->objective);
  EXPECT_GE(answer->objective, known.minimum - known.precision);
  EXPECT_LE(answer->objective - answer->bound, 1.01 * gap * std::abs(known.minimum) + 1e-8);
  ASSERT_EQ(answer->points.size(), 1U);
  EXPECT_DOUBLE_EQ(answer->points[0][0], answer->objective);
  EXPECT_NEAR(evaluate(problem.graph, problem.statements[0].left, answer->points[0]), 0.0, 1e-9);
  constexpr int most_boxes = 5000;
  EXPECT_LE(answer->nodes, most_boxes);
}

INSTANTIATE_TEST_SUITE_P(
    Functions, BoxKnown,
    testing::Combine(
        testing::Values(Known{"branin", branin, {{-5, 10}, {0, 15}}, 0.397887, 1e-6},
                        Known{"camel", camel, {{-3, 3}, {-2, 2}}, -1.031628, 1e-6},
                        Known{"goldstein_price", goldstein_price, {{-2, 2}, {-2, 2}}, 3.0, 1e-9},
                        Known{"shubert", shubert, {{-10, 10}, {-10, 10}}, -186.7309, 1e-4},
                        Known{"hartman3", hartman3, {{0, 1}, {0, 1}, {0, 1}}, -3.86278, 1e-5},
                        Known{"hartman6", hartman6, Sides(6, {0.0, 1.0}), -3.32237, 1e-5},
                        Known{"coupled", coupled, Sides(5, {-1.0, 1.0}), 1.0, 1e-9},
                        Known{"shekel5", shekel5, Sides(4, {0.0, 10.0}), -10.1532, 1e-4}),
        testing::Values(0.05, 1e-7)),
    [](const auto& row) {
      return std::string(std::get<0>(row.param).name) +
             (std::get<1>(row.param) > 1e-3 ? "_wide" : "_narrow");
    });

}  // namespace
}  // namespace mirsolve::test
