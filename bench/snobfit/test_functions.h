#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <span>
#include <vector>

namespace torve::bench {

// Test functions of global optimisation in their standard boxes, after L. C. W. Dixon and G. P.
// Szegoe, The global optimisation problem: an introduction, in Towards Global Optimisation 2
// (1978), and for Shubert's A. V. Levy and A. Montalvo, SIAM Journal on Scientific and Statistical
// Computing 6 (1985) 15-29. The minima are known to the digits given.

using Point = std::span<const double>;

inline double branin(Point x) {
  constexpr double pi = std::numbers::pi;
  const double a = x[1] - 5.1 / (4.0 * pi * pi) * x[0] * x[0] + 5.0 / pi * x[0] - 6.0;
  return a * a + 10.0 * (1.0 - 1.0 / (8.0 * pi)) * std::cos(x[0]) + 10.0;
}

inline double goldstein_price(Point x) {
  const double a = x[0];
  const double b = x[1];
  const double s = a + b + 1.0;
  const double t = 2.0 * a - 3.0 * b;
  const double p = 19.0 - 14.0 * a + 3.0 * a * a - 14.0 * b + 6.0 * a * b + 3.0 * b * b;
  const double q = 18.0 - 32.0 * a + 12.0 * a * a + 48.0 * b - 36.0 * a * b + 27.0 * b * b;
  return (1.0 + s * s * p) * (30.0 + t * t * q);
}

inline double six_hump_camel(Point x) {
  const double a = x[0] * x[0];
  const double b = x[1] * x[1];
  return (4.0 - 2.1 * a + a * a / 3.0) * a + x[0] * x[1] + (4.0 * b - 4.0) * b;
}

inline double shubert(Point x) {
  double product = 1.0;
  for (const double t : x) {
    double sum = 0.0;
    for (int i = 1; i <= 5; ++i) sum += i * std::cos((i + 1) * t + i);
    product *= sum;
  }
  return product;
}

inline constexpr std::array hartman_c = {1.0, 1.2, 3.0, 3.2};

template <std::size_t N>
double hartman(Point x, const std::array<std::array<double, N>, 4>& a,
               const std::array<std::array<double, N>, 4>& p) {
  double sum = 0.0;
  for (std::size_t i = 0; i < 4; ++i) {
    double exponent = 0.0;
    for (std::size_t j = 0; j < N; ++j) {
      exponent += a[i][j] * (x[j] - p[i][j]) * (x[j] - p[i][j]);
    }
    sum -= hartman_c[i] * std::exp(-exponent);
  }
  return sum;
}

inline double hartman3(Point x) {
  static constexpr std::array<std::array<double, 3>, 4> a = {
      {{3.0, 10.0, 30.0}, {0.1, 10.0, 35.0}, {3.0, 10.0, 30.0}, {0.1, 10.0, 35.0}}};
  static constexpr std::array<std::array<double, 3>, 4> p = {{{0.3689, 0.1170, 0.2673},
                                                              {0.4699, 0.4387, 0.7470},
                                                              {0.1091, 0.8732, 0.5547},
                                                              {0.03815, 0.5743, 0.8828}}};
  return hartman(x, a, p);
}

inline double hartman6(Point x) {
  static constexpr std::array<std::array<double, 6>, 4> a = {{{10.0, 3.0, 17.0, 3.5, 1.7, 8.0},
                                                              {0.05, 10.0, 17.0, 0.1, 8.0, 14.0},
                                                              {3.0, 3.5, 1.7, 10.0, 17.0, 8.0},
                                                              {17.0, 8.0, 0.05, 10.0, 0.1, 14.0}}};
  static constexpr std::array<std::array<double, 6>, 4> p = {
      {{0.1312, 0.1696, 0.5569, 0.0124, 0.8283, 0.5886},
       {0.2329, 0.4135, 0.8307, 0.3736, 0.1004, 0.9991},
       {0.2348, 0.1451, 0.3522, 0.2883, 0.3047, 0.6650},
       {0.4047, 0.8828, 0.8732, 0.5743, 0.1091, 0.0381}}};
  return hartman(x, a, p);
}

// Sum of m wells of depth about 1 / c.
inline double shekel(Point x, std::size_t m) {
  static constexpr std::array<std::array<double, 4>, 10> a = {{{4.0, 4.0, 4.0, 4.0},
                                                               {1.0, 1.0, 1.0, 1.0},
                                                               {8.0, 8.0, 8.0, 8.0},
                                                               {6.0, 6.0, 6.0, 6.0},
                                                               {3.0, 7.0, 3.0, 7.0},
                                                               {2.0, 9.0, 2.0, 9.0},
                                                               {5.0, 5.0, 3.0, 3.0},
                                                               {8.0, 1.0, 8.0, 1.0},
                                                               {6.0, 2.0, 6.0, 2.0},
                                                               {7.0, 3.6, 7.0, 3.6}}};
  static constexpr std::array c = {0.1, 0.2, 0.2, 0.4, 0.4, 0.6, 0.3, 0.7, 0.5, 0.5};
  double sum = 0.0;
  for (std::size_t i = 0; i < m; ++i) {
    double distance = 0.0;
    for (std::size_t j = 0; j < 4; ++j) distance += (x[j] - a[i][j]) * (x[j] - a[i][j]);
    sum -= 1.0 / (distance + c[i]);
  }
  return sum;
}

inline double shekel5(Point x) {
  return shekel(x, 5);
}
inline double shekel7(Point x) {
  return shekel(x, 7);
}
inline double shekel10(Point x) {
  return shekel(x, 10);
}

struct TestFunction {
  const char* name;
  double (*value)(Point x);
  std::vector<double> lower, upper;  // standard box
  double minimum;                    // the lowest value in the box
};

inline std::vector<TestFunction> test_functions() {
  const auto box = [](std::size_t n, double bound) { return std::vector<double>(n, bound); };
  return {
      {"Branin", branin, {-5.0, 0.0}, {10.0, 15.0}, 0.39788736},
      {"Goldstein-Price", goldstein_price, box(2, -2.0), box(2, 2.0), 3.0},
      {"Six-hump camel", six_hump_camel, {-3.0, -2.0}, {3.0, 2.0}, -1.03162845},
      {"Shubert", shubert, box(2, -10.0), box(2, 10.0), -186.730909},
      {"Hartman 3", hartman3, box(3, 0.0), box(3, 1.0), -3.86278215},
      {"Hartman 6", hartman6, box(6, 0.0), box(6, 1.0), -3.32236801},
      {"Shekel 5", shekel5, box(4, 0.0), box(4, 10.0), -10.1531997},
      {"Shekel 7", shekel7, box(4, 0.0), box(4, 10.0), -10.4029406},
      {"Shekel 10", shekel10, box(4, 0.0), box(4, 10.0), -10.5364098},
  };
}

}  // namespace torve::bench
