// Intervals that enclose what the operations give in real arithmetic.
//
// Boost.Interval supplies the arithmetic over a rounding policy of ours that needs no rounding mode
// of the processor, and so no compiler flag: each result is computed to nearest and then moved
// outward by the formula of
//   S. M. Rump, P. Zimmermann, S. Boldo, G. Melquiond: Computing predecessor and successor in
//   rounding to nearest. BIT Numerical Mathematics 49 (2009) 419-431, Theorem 2.2:
//   succ(c) <= fl(c + fl(phi |c| + eta)), phi = u (1 + 2 u), eta the least subnormal number.
// Sums with 0 and products with 0 are exact and stay as they are, so that zeros survive.
//
// The functions of libm are widened by four units in the last place. The manual of the GNU C
// library (its chapter on known errors of the math functions, double, x86-64) gives at most two for
// those that are used here; their errors are measured there and not proven.
//
// A function of which part of the argument has no value is enclosed over the rest. An interval
// without a number (both ends NaN) stands for no value at all.
#pragma once

#include <boost/numeric/interval.hpp>
#include <cmath>
#include <cstdint>
#include <limits>

namespace mirsolve::box {

// Where in a box a formula has a value.
enum class Defined : unsigned char { nowhere, partly, everywhere };

inline constexpr double infinity = std::numeric_limits<double>::infinity();
inline constexpr double greatest = std::numeric_limits<double>::max();

// The ends of what may round to c. An overflow has the greatest number on its inner side; an
// undetermined form tells nothing.
inline double outward(double c) {
  constexpr double phi = 0x1p-53 * (1.0 + 0x1p-52);
  return phi * std::abs(c) + std::numeric_limits<double>::denorm_min();
}
inline double below(double c) {
  if (std::abs(c) <= greatest) return c - outward(c);
  return c > 0.0 ? greatest : -infinity;
}
inline double above(double c) {
  if (std::abs(c) <= greatest) return c + outward(c);
  return c < 0.0 ? -greatest : infinity;
}

// What Boost.Interval calls for; the names are its own.
struct OutwardRounding {
  using unprotected_rounding = OutwardRounding;

  template <class T>
  static double conv_down(T x) {
    return static_cast<double>(x);
  }
  template <class T>
  static double conv_up(T x) {
    return static_cast<double>(x);
  }
  static double add_down(double a, double b) { return is_exact(a, b) ? a + b : below(a + b); }
  static double add_up(double a, double b) { return is_exact(a, b) ? a + b : above(a + b); }
  static double sub_down(double a, double b) { return is_exact(a, b) ? a - b : below(a - b); }
  static double sub_up(double a, double b) { return is_exact(a, b) ? a - b : above(a - b); }
  static double mul_down(double a, double b) { return is_exact(a, b) ? 0.0 : below(a * b); }
  static double mul_up(double a, double b) { return is_exact(a, b) ? 0.0 : above(a * b); }
  static double div_down(double a, double b) { return a == 0.0 ? 0.0 : below(a / b); }
  static double div_up(double a, double b) { return a == 0.0 ? 0.0 : above(a / b); }
  static double median(double a, double b) { return 0.5 * a + 0.5 * b; }
  static double sqrt_down(double a) { return a == 0.0 ? 0.0 : below(std::sqrt(a)); }
  static double sqrt_up(double a) { return a == 0.0 ? 0.0 : above(std::sqrt(a)); }
  static double int_down(double a) { return std::floor(a); }
  static double int_up(double a) { return std::ceil(a); }

 private:
  static bool is_exact(double a, double b) { return a == 0.0 || b == 0.0; }
};

using Interval =
    boost::numeric::interval<double,
                             boost::numeric::interval_lib::policies<
                                 boost::numeric::interval_lib::save_state_nothing<OutwardRounding>,
                                 boost::numeric::interval_lib::checking_base<double>>>;

inline Interval everything() {
  return {-infinity, infinity};
}
inline Interval nothing() {
  return Interval::empty();
}
inline bool is_nothing(const Interval& a) {
  return !(a.lower() <= a.upper());
}
inline bool holds(const Interval& a, double x) {
  return a.lower() <= x && x <= a.upper();
}
inline bool is_point(const Interval& a) {
  return a.lower() == a.upper();
}
// The greatest magnitude, and the width rounded up.
inline double magnitude(const Interval& a) {
  return std::max(std::abs(a.lower()), std::abs(a.upper()));
}
inline double width(const Interval& a) {
  return OutwardRounding::sub_up(a.upper(), a.lower());
}
// A number inside, finite where there is one; the middle of what is bounded.
double middle(const Interval& a);
// What both hold: nothing() where that is nothing.
Interval common(const Interval& a, const Interval& b);

// Each lowers `defined` where part of its arguments or all of them have no value.
Interval quotient(const Interval& a, const Interval& b, Defined& defined);
Interval whole_power(const Interval& a, int exponent, Defined& defined);
Interval power(const Interval& a, const Interval& exponent, Defined& defined);
Interval logarithm(const Interval& a, Defined& defined);
Interval logarithm10(const Interval& a, Defined& defined);
Interval square_root(const Interval& a, Defined& defined);
Interval tangent(const Interval& a, Defined& defined);
Interval arc_sine(const Interval& a, Defined& defined);
Interval arc_cosine(const Interval& a, Defined& defined);

Interval absolute(const Interval& a);
Interval exponential(const Interval& a);
Interval hyperbolic_sine(const Interval& a);
Interval hyperbolic_cosine(const Interval& a);
Interval hyperbolic_tangent(const Interval& a);
Interval sine(const Interval& a);
Interval cosine(const Interval& a);
Interval arc_tangent(const Interval& a);

}  // namespace mirsolve::box
