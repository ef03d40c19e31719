#include "mirsolve/box/interval.h"

#include <algorithm>
#include <array>

namespace mirsolve::box {

namespace {

// From the nearest numbers to results of libm.
double libm_below(double c) {
  for (int i = 0; i < 4; ++i) c = below(c);
  return c;
}
double libm_above(double c) {
  for (int i = 0; i < 4; ++i) c = above(c);
  return c;
}

void restrict_to_part(Defined& defined) {
  defined = std::min(defined, Defined::partly);
}

Interval no_value(Defined& defined) {
  defined = Defined::nowhere;
  return nothing();
}

// Values of libm at two arguments, the lower value first, cut to the range of the function.
Interval libm_hull(double low, double high, const Interval& range) {
  return common({libm_below(low), libm_above(high)}, range);
}

// The part of a that lies in a domain with both its ends.
Interval within(const Interval& a, const Interval& domain, Defined& defined) {
  if (is_nothing(a)) return no_value(defined);
  if (domain.lower() <= a.lower() && a.upper() <= domain.upper()) return a;
  const Interval part = common(a, domain);
  if (is_nothing(part)) return no_value(defined);
  restrict_to_part(defined);
  return part;
}

// The part above 0, with 0 as its end where it goes that far down.
Interval positive_part(const Interval& a, Defined& defined) {
  if (!(a.upper() > 0.0)) return no_value(defined);
  if (a.lower() > 0.0) return a;
  restrict_to_part(defined);
  return {0.0, a.upper()};
}

double log_below(double a) {
  return a > 0.0 ? std::log(a) : -infinity;
}
double log10_below(double a) {
  return a > 0.0 ? std::log10(a) : -infinity;
}

// Whether offset + k period lies in a for a whole k. Says yes when rounding leaves it open.
bool meets(const Interval& a, const Interval& offset, const Interval& period) {
  const Interval turns = (a - offset) / period;
  return std::floor(turns.upper()) >= std::ceil(turns.lower());
}

// pi lies between two neighbours.
constexpr double pi_below = 3.141592653589793;
Interval pi() {
  static const Interval value(pi_below, std::nextafter(pi_below, 4.0));
  return value;
}
Interval two_pi() {
  static const Interval value(2.0 * pi().lower(), 2.0 * pi().upper());
  return value;
}

// Beyond this the turns of an argument can't be counted well enough.
constexpr double most_turned = 1e12;

// A wave with its crests at crest + 2 k pi and its troughs half a turn from there.
Interval wave(const Interval& a, double at_lower, double at_upper, const Interval& crest) {
  if (!(magnitude(a) < most_turned) || width(a) >= two_pi().lower()) return {-1.0, 1.0};
  const bool has_crest = meets(a, crest, two_pi());
  const bool has_trough = meets(a, crest - pi(), two_pi());
  const double low = has_trough ? -1.0 : std::min(at_lower, at_upper);
  const double high = has_crest ? 1.0 : std::max(at_lower, at_upper);
  return libm_hull(low, high, {-1.0, 1.0});
}

double whole_power_below(double a, int exponent) {
  return a == 0.0 ? 0.0 : libm_below(std::pow(a, exponent));
}
double whole_power_above(double a, int exponent) {
  return a == 0.0 ? 0.0 : libm_above(std::pow(a, exponent));
}

Interval square(const Interval& a) {
  const double high = magnitude(a);
  const double low = holds(a, 0.0) ? 0.0 : std::min(std::abs(a.lower()), std::abs(a.upper()));
  return {std::max(0.0, OutwardRounding::mul_down(low, low)), OutwardRounding::mul_up(high, high)};
}

Interval positive_whole_power(const Interval& a, int exponent) {
  if (exponent == 1) return a;
  if (exponent == 2) return square(a);
  if (exponent % 2 != 0) {
    return {whole_power_below(a.lower(), exponent), whole_power_above(a.upper(), exponent)};
  }
  const double high = magnitude(a);
  const double low = holds(a, 0.0) ? 0.0 : std::min(std::abs(a.lower()), std::abs(a.upper()));
  return {std::max(0.0, whole_power_below(low, exponent)), whole_power_above(high, exponent)};
}

// a^b for a >= 0. b log(a) is monotonic in each of its factors, and so its least and its greatest
// value lie in the corners.
Interval power_of_positive(const Interval& a, const Interval& b) {
  if (is_nothing(a)) return a;
  double low = infinity;
  double high = 0.0;
  for (const double base : {a.lower(), a.upper()}) {
    for (const double exponent : {b.lower(), b.upper()}) {
      const double value = std::pow(base, exponent);
      low = std::min(low, value);
      high = std::max(high, value);
    }
  }
  return libm_hull(low, high, {0.0, infinity});
}

}  // namespace

double middle(const Interval& a) {
  if (is_point(a)) return a.lower();
  const double low = std::max(a.lower(), -greatest);
  const double high = std::min(a.upper(), greatest);
  return std::clamp(0.5 * low + 0.5 * high, low, high);
}

Interval common(const Interval& a, const Interval& b) {
  const double low = std::max(a.lower(), b.lower());
  const double high = std::min(a.upper(), b.upper());
  return low <= high ? Interval(low, high) : nothing();
}

Interval quotient(const Interval& a, const Interval& b, Defined& defined) {
  if (b.lower() == 0.0 && b.upper() == 0.0) return no_value(defined);
  if (!holds(b, 0.0)) return a / b;
  restrict_to_part(defined);
  return a / b;
}

Interval whole_power(const Interval& a, int exponent, Defined& defined) {
  if (exponent == 0) return 1.0;
  if (exponent > 0) return positive_whole_power(a, exponent);
  return quotient(1.0, positive_whole_power(a, -exponent), defined);
}

Interval power(const Interval& a, const Interval& exponent, Defined& defined) {
  constexpr double most = 1 << 20;
  const bool holds_whole = std::floor(exponent.upper()) >= std::ceil(exponent.lower());
  if (is_point(exponent) && holds_whole && std::abs(exponent.lower()) <= most) {
    return whole_power(a, static_cast<int>(exponent.lower()), defined);
  }
  if (a.lower() > 0.0) return power_of_positive(a, exponent);
  if (!holds_whole) {
    const Interval part =
        exponent.lower() > 0.0 ? within(a, {0.0, infinity}, defined) : positive_part(a, defined);
    return power_of_positive(part, exponent);
  }
  // Powers of 0 jump where the exponent is 0, and whole exponents give negative numbers powers.
  if (a.lower() < 0.0 || exponent.lower() <= 0.0) restrict_to_part(defined);
  const Interval size = power_of_positive(absolute(a), exponent);
  return a.lower() < 0.0 ? Interval(-size.upper(), size.upper()) : size;
}

Interval logarithm(const Interval& a, Defined& defined) {
  const Interval part = positive_part(a, defined);
  if (is_nothing(part)) return part;
  return libm_hull(log_below(part.lower()), std::log(part.upper()), everything());
}

Interval logarithm10(const Interval& a, Defined& defined) {
  const Interval part = positive_part(a, defined);
  if (is_nothing(part)) return part;
  return libm_hull(log10_below(part.lower()), std::log10(part.upper()), everything());
}

Interval square_root(const Interval& a, Defined& defined) {
  const Interval part = within(a, {0.0, infinity}, defined);
  if (is_nothing(part)) return part;
  return {std::max(0.0, OutwardRounding::sqrt_down(part.lower())),
          OutwardRounding::sqrt_up(part.upper())};
}

Interval tangent(const Interval& a, Defined& defined) {
  const Interval half_pi(0.5 * pi().lower(), 0.5 * pi().upper());
  if (!(magnitude(a) < most_turned) || width(a) >= pi().lower() || meets(a, half_pi, pi())) {
    restrict_to_part(defined);
    return everything();
  }
  return libm_hull(std::tan(a.lower()), std::tan(a.upper()), everything());
}

Interval arc_sine(const Interval& a, Defined& defined) {
  const Interval part = within(a, {-1.0, 1.0}, defined);
  if (is_nothing(part)) return part;
  return libm_hull(std::asin(part.lower()), std::asin(part.upper()), everything());
}

Interval arc_cosine(const Interval& a, Defined& defined) {
  const Interval part = within(a, {-1.0, 1.0}, defined);
  if (is_nothing(part)) return part;
  return libm_hull(std::acos(part.upper()), std::acos(part.lower()), {0.0, infinity});
}

Interval absolute(const Interval& a) {
  if (a.lower() >= 0.0) return a;
  if (a.upper() <= 0.0) return -a;
  return {0.0, magnitude(a)};
}

Interval exponential(const Interval& a) {
  return libm_hull(std::exp(a.lower()), std::exp(a.upper()), {0.0, infinity});
}

Interval hyperbolic_sine(const Interval& a) {
  return libm_hull(std::sinh(a.lower()), std::sinh(a.upper()), everything());
}

Interval hyperbolic_cosine(const Interval& a) {
  const double low = holds(a, 0.0) ? 0.0 : std::min(std::abs(a.lower()), std::abs(a.upper()));
  return libm_hull(std::cosh(low), std::cosh(magnitude(a)), {1.0, infinity});
}

Interval hyperbolic_tangent(const Interval& a) {
  return libm_hull(std::tanh(a.lower()), std::tanh(a.upper()), {-1.0, 1.0});
}

Interval sine(const Interval& a) {
  const Interval crest(0.5 * pi().lower(), 0.5 * pi().upper());
  return wave(a, std::sin(a.lower()), std::sin(a.upper()), crest);
}

Interval cosine(const Interval& a) {
  return wave(a, std::cos(a.lower()), std::cos(a.upper()), 0.0);
}

Interval arc_tangent(const Interval& a) {
  return libm_hull(std::atan(a.lower()), std::atan(a.upper()), everything());
}

}  // namespace mirsolve::box
