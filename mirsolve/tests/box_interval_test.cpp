// Operations of intervals against long double arithmetic at points inside.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "mirsolve/box/interval.h"
#include "support/random.h"

namespace mirsolve::box {
namespace {

using torve::test::Random;

struct Function {
  const char* name;
  Interval (*enclose)(const Interval&, Defined&);
  long double (*exact)(long double);  // not finite: no value
  double lowest, highest;             // arguments to try
};

constexpr long double none = std::numeric_limits<long double>::quiet_NaN();

template <Interval (*f)(const Interval&)>
Interval total(const Interval& a, Defined&) {
  return f(a);
}
template <int n>
Interval raised(const Interval& a, Defined& defined) {
  return whole_power(a, n, defined);
}
template <int n>
long double raised_exactly(long double a) {
  return n < 0 && a == 0.0L ? none : powl(a, n);
}
Interval root_of(const Interval& a, Defined& defined) {
  return power(a, 0.3, defined);
}
Interval under_one(const Interval& a, Defined& defined) {
  return power(a, -0.7, defined);
}
Interval inverse(const Interval& a, Defined& defined) {
  return quotient(1.0, a, defined);
}

// Ranges reach over the borders of the domains, and far out.
const Function functions[] = {
    {"absolute", total<absolute>, [](long double a) { return fabsl(a); }, -5, 5},
    {"exponential", total<exponential>, [](long double a) { return expl(a); }, -5, 5},
    {"exponential_far", total<exponential>, [](long double a) { return expl(a); }, -900, 700},
    {"log", logarithm, [](long double a) { return a > 0 ? logl(a) : none; }, -1, 3},
    {"log_far", logarithm, [](long double a) { return a > 0 ? logl(a) : none; }, -1e300, 1e300},
    {"log10", logarithm10, [](long double a) { return a > 0 ? log10l(a) : none; }, -1, 3},
    {"sqrt", square_root, [](long double a) { return sqrtl(a); }, -1, 4},
    {"sinh", total<hyperbolic_sine>, [](long double a) { return sinhl(a); }, -4, 4},
    {"cosh", total<hyperbolic_cosine>, [](long double a) { return coshl(a); }, -4, 4},
    {"tanh", total<hyperbolic_tangent>, [](long double a) { return tanhl(a); }, -4, 4},
    {"sin", total<sine>, [](long double a) { return sinl(a); }, -10, 10},
    {"sin_far", total<sine>, [](long double a) { return sinl(a); }, 1e6, 1.0001e6},
    {"cos", total<cosine>, [](long double a) { return cosl(a); }, -10, 10},
    {"cos_far", total<cosine>, [](long double a) { return cosl(a); }, -1.00001e9, -1e9},
    {"tan", tangent, [](long double a) { return tanl(a); }, -3, 3},
    {"asin", arc_sine, [](long double a) { return asinl(a); }, -1.3, 1.3},
    {"acos", arc_cosine, [](long double a) { return acosl(a); }, -1.3, 1.3},
    {"atan", total<arc_tangent>, [](long double a) { return atanl(a); }, -5, 5},
    {"square", raised<2>, raised_exactly<2>, -3, 3},
    {"cube", raised<3>, raised_exactly<3>, -3, 3},
    {"power_6", raised<6>, raised_exactly<6>, -3, 3},
    {"power_6_far", raised<6>, raised_exactly<6>, -1e50, 1e50},
    {"power_0", raised<0>, raised_exactly<0>, -3, 3},
    {"power_minus_1", raised<-1>, raised_exactly<-1>, -3, 3},
    {"power_minus_2", raised<-2>, raised_exactly<-2>, -3, 3},
    {"power_minus_3", raised<-3>, raised_exactly<-3>, 0.1, 3},
    {"power_of_0.3", root_of, [](long double a) { return powl(a, 0.3); }, -1, 4},
    {"power_of_minus_0.7", under_one, [](long double a) { return a > 0 ? powl(a, -0.7) : none; },
     -1, 4},
    {"inverse", inverse, [](long double a) { return a == 0 ? none : 1 / a; }, -2, 2},
};

bool is_in(const Interval& a, long double value) {
  return static_cast<long double>(a.lower()) <= value &&
         value <= static_cast<long double>(a.upper());
}

void check_over(const Function& function, const Interval& argument, Random& random) {
  Defined defined = Defined::everywhere;
  const Interval result = function.enclose(argument, defined);
  int with_value = 0;
  int without = 0;
  for (int k = 0; k < 40; ++k) {
    double x = k == 0 ? argument.lower() : argument.upper();
    if (k > 1) x = random.real(argument.lower(), argument.upper());
    if (k == 2 && holds(argument, 0.0)) x = 0.0;
    const long double value = function.exact(x);
    if (!std::isfinite(value)) {
      ++without;
      continue;
    }
    ++with_value;
    EXPECT_TRUE(is_in(result, value))
        << x << " in [" << argument.lower() << ", " << argument.upper() << "] gives " << value
        << ", not in [" << result.lower() << ", " << result.upper() << "]";
  }
  if (without > 0) {
    EXPECT_NE(defined, Defined::everywhere) << argument.lower() << ' ' << argument.upper();
  }
  if (with_value > 0) {
    EXPECT_NE(defined, Defined::nowhere) << argument.lower() << ' ' << argument.upper();
  }
}

class BoxInterval : public testing::TestWithParam<Function> {};

TEST_P(BoxInterval, HoldsTheValuesInside) {
  const Function& function = GetParam();
  Random random(7);
  for (int i = 0; i < 1000; ++i) {
    double a = random.real(function.lowest, function.highest);
    double b = random.real(function.lowest, function.highest);
    if (i % 4 == 1) b = a + 1e-9 * std::abs(a);
    if (i % 4 == 2) b = a;
    if (i % 8 == 3) a = 0.0;
    if (i % 64 == 4) a = b = 0.0;
    if (i % 64 == 5) a = b = std::round(b);
    if (a > b) std::swap(a, b);
    check_over(function, {a, b}, random);
  }
}

// Enclosures that hold too much would pass the test above.
TEST_P(BoxInterval, HoldsLittleElse) {
  const Function& function = GetParam();
  Random random(8);
  for (int i = 0; i < 100; ++i) {
    const double a = random.real(function.lowest, function.highest);
    const long double value = function.exact(a);
    if (!std::isfinite(value) || fabsl(value) > 1e300L) continue;
    Defined defined = Defined::everywhere;
    const Interval at_point = function.enclose(a, defined);
    EXPECT_EQ(defined, Defined::everywhere);
    EXPECT_LE(width(at_point), 4e-15 * std::abs(static_cast<double>(value)) + 1e-300) << a;

    const double b = a + 0.05 * (function.highest - function.lowest);
    const Interval over = function.enclose({a, b}, defined);
    if (defined != Defined::everywhere) continue;
    long double low = value;
    long double high = value;
    for (int k = 0; k <= 400; ++k) {
      const long double v = function.exact(a + (b - a) * k / 400.0);
      low = std::min(low, v);
      high = std::max(high, v);
    }
    const double room = 0.02 * static_cast<double>(high - low) + 1e-14 * magnitude(over) + 1e-300;
    EXPECT_GE(over.lower(), static_cast<double>(low) - room) << a;
    EXPECT_LE(over.upper(), static_cast<double>(high) + room) << a;
  }
}

INSTANTIATE_TEST_SUITE_P(Functions, BoxInterval, testing::ValuesIn(functions), [](const auto& row) {
  std::string name = row.param.name;
  for (char& c : name) c = c == '.' ? '_' : c;
  return name;
});

struct Pair {
  const char* name;
  Interval (*enclose)(const Interval&, const Interval&, Defined&);
  long double (*exact)(long double, long double);
};

const Pair pairs[] = {
    {"sum", [](const Interval& a, const Interval& b, Defined&) { return a + b; },
     [](long double a, long double b) { return a + b; }},
    {"difference", [](const Interval& a, const Interval& b, Defined&) { return a - b; },
     [](long double a, long double b) { return a - b; }},
    {"product", [](const Interval& a, const Interval& b, Defined&) { return a * b; },
     [](long double a, long double b) { return a * b; }},
    {"quotient", [](const Interval& a, const Interval& b, Defined& d) { return quotient(a, b, d); },
     [](long double a, long double b) { return b == 0 ? none : a / b; }},
    {"power", [](const Interval& a, const Interval& b, Defined& d) { return power(a, b, d); },
     [](long double a, long double b) { return a == 0 && b < 0 ? none : powl(a, b); }},
};

class BoxIntervalPair : public testing::TestWithParam<Pair> {};

TEST_P(BoxIntervalPair, HoldsTheValuesInside) {
  const Pair& pair = GetParam();
  Random random(9);
  const auto some = [&](int i) {
    const double scale = i % 5 == 0 ? 1e-3 : i % 7 == 0 ? 20.0 : 3.0;
    double a = random.real(-scale, scale);
    double b = i % 3 == 0 ? a : random.real(-scale, scale);
    if (i % 11 == 0) a = 0.0;
    if (i % 13 == 0) a = b = std::round(b);
    return Interval(std::min(a, b), std::max(a, b));
  };
  for (int i = 0; i < 4000; ++i) {
    const Interval a = some(i);
    const Interval b = some(i + i / 13);
    Defined defined = Defined::everywhere;
    const Interval result = pair.enclose(a, b, defined);
    for (int k = 0; k < 30; ++k) {
      const double x = k % 3 == 0   ? a.lower()
                       : k % 3 == 1 ? a.upper()
                                    : random.real(a.lower(), a.upper());
      double y = k % 5 == 0   ? b.lower()
                 : k % 5 == 1 ? b.upper()
                              : random.real(b.lower(), b.upper());
      if (k % 5 == 2 && holds(b, std::round(y))) y = std::round(y);
      const long double value = pair.exact(x, y);
      if (!std::isfinite(value)) {
        EXPECT_NE(defined, Defined::everywhere) << x << ' ' << y;
      } else {
        EXPECT_TRUE(is_in(result, value)) << x << ' ' << y << ' ' << value << " not in "
                                          << result.lower() << ' ' << result.upper();
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Operations, BoxIntervalPair, testing::ValuesIn(pairs),
                         [](const auto& row) { return row.param.name; });

TEST(BoxRounding, MovesToTheNextNumberOrBeyond) {
  Random random(3);
  for (int i = 0; i < 20000; ++i) {
    const double c = std::ldexp(random.real(-2.0, 2.0), random.whole(-1074, 1023));
    EXPECT_LE(below(c), std::nextafter(c, -infinity)) << c;
    EXPECT_GE(above(c), std::nextafter(c, infinity)) << c;
  }
  for (const double c : {0.0, -0.0, 0x1p-1022, -0x1p-1022, 0x1p-1074, 1.0, -1.0, greatest}) {
    EXPECT_LE(below(c), std::nextafter(c, -infinity)) << c;
    EXPECT_GE(above(c), std::nextafter(c, infinity)) << c;
  }
  EXPECT_EQ(below(infinity), greatest);
  EXPECT_EQ(above(-infinity), -greatest);
  EXPECT_EQ(below(std::nan("")), -infinity);
  EXPECT_EQ(above(std::nan("")), infinity);
}

TEST(BoxRounding, OverflowKeepsAnInnerEnd) {
  const Interval a = Interval(1e200, 1e300) * Interval(1e200, 1e300);
  EXPECT_EQ(a.lower(), greatest);
  EXPECT_EQ(a.upper(), infinity);
  EXPECT_GE(exponential({800.0, 900.0}).lower(), 1e308);
  EXPECT_LE(exponential({800.0, 900.0}).lower(), greatest);
  EXPECT_EQ(exponential({800.0, 900.0}).upper(), infinity);
}

TEST(BoxRounding, ZerosSurvive) {
  const Interval zero = 0.0;
  const Interval a(-2.0, 5.0);
  EXPECT_EQ((zero + zero).upper(), 0.0);
  EXPECT_EQ((zero * a).lower(), 0.0);
  EXPECT_EQ((zero * everything()).upper(), 0.0);
  EXPECT_EQ((a + zero).lower(), -2.0);
}

}  // namespace
}  // namespace mirsolve::box
