// The sweeps over the steps of a formula, written once for numbers and for intervals.
#include <algorithm>
#include <cmath>

#include "mirsolve/box/formula.h"

namespace mirsolve::box {

namespace {

std::size_t at(int i) {
  return static_cast<std::size_t>(i);
}

// The functions of intervals for numbers: what has no value isn't finite, which is looked for after
// each step.
double quotient(double a, double b, Defined&) {
  return a / b;
}
double whole_power(double a, int exponent, Defined&) {
  return exponent == 2 ? a * a : std::pow(a, exponent);
}
double power(double a, double exponent, Defined&) {
  return std::pow(a, exponent);
}
double logarithm(double a, Defined&) {
  return std::log(a);
}
double logarithm10(double a, Defined&) {
  return std::log10(a);
}
double square_root(double a, Defined&) {
  return std::sqrt(a);
}
double tangent(double a, Defined&) {
  return std::tan(a);
}
double arc_sine(double a, Defined&) {
  return std::asin(a);
}
double arc_cosine(double a, Defined&) {
  return std::acos(a);
}
double absolute(double a) {
  return std::abs(a);
}
double exponential(double a) {
  return std::exp(a);
}
double hyperbolic_sine(double a) {
  return std::sinh(a);
}
double hyperbolic_cosine(double a) {
  return std::cosh(a);
}
double hyperbolic_tangent(double a) {
  return std::tanh(a);
}
double sine(double a) {
  return std::sin(a);
}
double cosine(double a) {
  return std::cos(a);
}
double arc_tangent(double a) {
  return std::atan(a);
}

double number_of(const Interval& value, double) {
  return value.lower();
}
const Interval& number_of(const Interval& value, const Interval&) {
  return value;
}

bool has_value(double value) {
  return std::isfinite(value);
}
bool has_value(const Interval& value) {
  return !is_nothing(value);
}

bool is_zero(double value) {
  return value == 0.0;
}
bool is_zero(const Interval& value) {
  return value.lower() == 0.0 && value.upper() == 0.0;
}

bool is_positive(double value) {
  return value > 0.0;
}
bool is_positive(const Interval& value) {
  return value.lower() > 0.0;
}
bool is_negative(double value) {
  return value < 0.0;
}
bool is_negative(const Interval& value) {
  return value.upper() < 0.0;
}

// Derivatives by |a| at 0.
double any_slope(double) {
  return 0.0;
}
Interval any_slope(const Interval&) {
  return {-1.0, 1.0};
}

// Quotients in derivatives, which have no value at the border of a domain only: there anything
// encloses them.
double ratio(double a, double b) {
  return a / b;
}
Interval ratio(const Interval& a, const Interval& b) {
  return is_zero(b) ? everything() : a / b;
}

template <class T>
T squared(const T& a) {
  Defined unused = Defined::everywhere;
  return whole_power(a, 2, unused);
}

template <class T>
T value_of_step(const Formula& formula, const Step& step, std::span<const T> x,
                const std::vector<T>& value, Defined& defined) {
  const auto a = [&]() -> const T& { return value[at(step.a)]; };
  const auto b = [&]() -> const T& { return value[at(step.b)]; };
  switch (step.operation) {
    case Operation::number:
      return number_of(step.value, T{});
    case Operation::variable:
      return x[at(step.a)];
    case Operation::sum: {
      T sum{0.0};
      for (const int term : formula.terms(step)) sum += value[at(term)];
      return sum;
    }
    case Operation::negate:
      return -a();
    case Operation::product:
      return step.a == step.b ? squared(a()) : a() * b();
    case Operation::quotient:
      return quotient(a(), b(), defined);
    case Operation::power:
      return step.is_whole_power ? whole_power(a(), step.exponent, defined)
                                 : power(a(), b(), defined);
    case Operation::absolute:
      return absolute(a());
    case Operation::exponential:
      return exponential(a());
    case Operation::log10:
      return logarithm10(a(), defined);
    case Operation::log:
      return logarithm(a(), defined);
    case Operation::sqrt:
      return square_root(a(), defined);
    case Operation::sinh:
      return hyperbolic_sine(a());
    case Operation::cosh:
      return hyperbolic_cosine(a());
    case Operation::tanh:
      return hyperbolic_tangent(a());
    case Operation::sin:
      return sine(a());
    case Operation::cos:
      return cosine(a());
    case Operation::tan:
      return tangent(a(), defined);
    case Operation::asin:
      return arc_sine(a(), defined);
    case Operation::acos:
      return arc_cosine(a(), defined);
    case Operation::atan:
      return arc_tangent(a());
  }
  return T{};
}

template <class T>
Defined values(const Formula& formula, std::span<const T> x, Sweep<T>& sweep) {
  const std::span<const Step> steps = formula.steps();
  sweep.value.resize(steps.size());
  Defined defined = Defined::everywhere;
  for (std::size_t i = 0; i < steps.size(); ++i) {
    sweep.value[i] = value_of_step(formula, steps[i], x, sweep.value, defined);
    if (!has_value(sweep.value[i])) return Defined::nowhere;
  }
  return defined;
}

// a^n.
template <class T>
Partials<T> whole_power_partials(const T& a, int n) {
  Defined unused = Defined::everywhere;
  Partials<T> p;
  if (n == 0) return p;
  const double first = n;
  p.a = T(first) * whole_power(a, n - 1, unused);
  if (n != 1) p.aa = T(first) * T(first - 1.0) * whole_power(a, n - 2, unused);
  return p;
}

// a^b for a > 0, or a >= 0 where the exponent is a number.
template <class T>
Partials<T> power_partials(const T& a, const T& b, const T& value, bool number_as_exponent) {
  Defined unused = Defined::everywhere;
  const T one{1.0};
  Partials<T> p;
  p.a = b * power(a, b - one, unused);
  p.aa = b * (b - one) * power(a, b - one - one, unused);
  if (number_as_exponent) return p;
  const T log_a = logarithm(a, unused);
  p.b = value * log_a;
  p.ab = power(a, b - one, unused) * (one + b * log_a);
  p.bb = value * squared(log_a);
  return p;
}

template <class T>
Partials<T> trigonometric_partials(Operation operation, const T& a, const T& value) {
  const T one{1.0};
  const T two{2.0};
  Partials<T> p;
  Defined unused = Defined::everywhere;
  if (operation == Operation::sin) {
    p.a = cosine(a);
    p.aa = -value;
  } else if (operation == Operation::cos) {
    p.a = -sine(a);
    p.aa = -value;
  } else if (operation == Operation::tan) {
    p.a = one + squared(value);
    p.aa = two * value * p.a;
  } else if (operation == Operation::atan) {
    p.a = ratio(one, one + squared(a));
    p.aa = -two * a * squared(p.a);
  } else {  // asin and acos
    const T rest = one - squared(a);
    p.a = ratio(one, square_root(rest, unused));
    p.aa = ratio(a, rest) * p.a;
    if (operation == Operation::acos) {
      p.a = -p.a;
      p.aa = -p.aa;
    }
  }
  return p;
}

template <class T>
Partials<T> quotient_partials(const T& b, const T& value) {
  Partials<T> p;
  p.a = ratio(T(1.0), b);
  p.b = -(value * p.a);
  p.ab = -squared(p.a);
  p.bb = T(-2.0) * p.b * p.a;
  return p;
}

// Of operations other than numbers, variables and sums. Lowers `smoothness` where derivatives are
// missing.
template <class T>
Partials<T> partials_of_step(const Formula& formula, const Step& step, const std::vector<T>& value,
                             const T& own, Smoothness& smoothness) {
  const T one{1.0};
  const T& a = value[at(step.a)];
  Partials<T> p;
  switch (step.operation) {
    case Operation::number:
    case Operation::variable:
    case Operation::sum:
      return p;
    case Operation::negate:
      p.a = -one;
      return p;
    case Operation::product:
      p.a = value[at(step.b)];
      p.b = a;
      p.ab = one;
      return p;
    case Operation::quotient:
      return quotient_partials(value[at(step.b)], own);
    case Operation::power: {
      if (step.is_whole_power) return whole_power_partials(a, step.exponent);
      const bool number_as_exponent = !formula.depends_on_any(at(step.b));
      if (!number_as_exponent && !is_positive(a)) smoothness = Smoothness::none;
      return power_partials(a, value[at(step.b)], own, number_as_exponent);
    }
    case Operation::absolute:
      p.a = is_positive(a) ? one : is_negative(a) ? -one : any_slope(a);
      if (!is_positive(a) && !is_negative(a)) smoothness = std::min(smoothness, Smoothness::once);
      return p;
    case Operation::exponential:
      p.a = own;
      p.aa = own;
      return p;
    case Operation::log:
      p.a = ratio(one, a);
      p.aa = -squared(p.a);
      return p;
    case Operation::log10: {
      Defined unused = Defined::everywhere;
      const T log_10 = logarithm(T(10.0), unused);
      p.a = ratio(one, a * log_10);
      p.aa = -ratio(p.a, a);
      return p;
    }
    case Operation::sqrt:
      p.a = ratio(T(0.5), own);
      p.aa = T(-0.5) * ratio(p.a, a);
      return p;
    case Operation::sinh:
      p.a = hyperbolic_cosine(a);
      p.aa = own;
      return p;
    case Operation::cosh:
      p.a = hyperbolic_sine(a);
      p.aa = own;
      return p;
    case Operation::tanh:
      p.a = one - squared(own);
      p.aa = T(-2.0) * own * p.a;
      return p;
    case Operation::sin:
    case Operation::cos:
    case Operation::tan:
    case Operation::asin:
    case Operation::acos:
    case Operation::atan:
      return trigonometric_partials(step.operation, a, own);
  }
  return p;
}

template <class T>
Smoothness gradient_of(const Formula& formula, Sweep<T>& sweep, std::span<T> gradient) {
  const std::span<const Step> steps = formula.steps();
  Smoothness smoothness = Smoothness::twice;
  sweep.partials.assign(steps.size(), {});
  for (std::size_t i = 0; i < steps.size(); ++i) {
    const bool is_plain =
        steps[i].operation == Operation::variable || steps[i].operation == Operation::sum;
    if (is_plain || !formula.depends_on_any(i)) continue;
    sweep.partials[i] =
        partials_of_step(formula, steps[i], sweep.value, sweep.value[i], smoothness);
  }
  std::ranges::fill(gradient, T{0.0});
  sweep.adjoint.assign(steps.size(), T{0.0});
  sweep.adjoint.back() = T{1.0};
  for (std::size_t i = steps.size(); i-- > 0;) {
    if (!formula.depends_on_any(i)) continue;
    const T adjoint = sweep.adjoint[i];
    const Step& step = steps[i];
    if (step.operation == Operation::variable) {
      gradient[at(step.a)] += adjoint;
    } else if (step.operation == Operation::sum) {
      for (const int term : formula.terms(step)) sweep.adjoint[at(term)] += adjoint;
    } else {
      sweep.adjoint[at(step.a)] += adjoint * sweep.partials[i].a;
      if (step.b >= 0) sweep.adjoint[at(step.b)] += adjoint * sweep.partials[i].b;
    }
  }
  return smoothness;
}

template <class T>
void tangents_of(const Formula& formula, Sweep<T>& sweep, int input) {
  const std::span<const Step> steps = formula.steps();
  for (std::size_t i = 0; i < steps.size(); ++i) {
    sweep.tangent[i] = T{0.0};
    if (!formula.depends(i, input)) continue;
    const Step& step = steps[i];
    if (step.operation == Operation::variable) {
      sweep.tangent[i] = T{step.a == input ? 1.0 : 0.0};
    } else if (step.operation == Operation::sum) {
      for (const int term : formula.terms(step)) sweep.tangent[i] += sweep.tangent[at(term)];
    } else {
      sweep.tangent[i] = sweep.partials[i].a * sweep.tangent[at(step.a)];
      if (step.b >= 0) sweep.tangent[i] += sweep.partials[i].b * sweep.tangent[at(step.b)];
    }
  }
}

// Adds to the tangents of the adjoints of a step's operands. `second` are the changes of its own
// partial derivatives along the input.
template <class T>
void spread_adjoint_tangent(Sweep<T>& sweep, const Step& step, std::size_t i, const T& own) {
  const Partials<T>& p = sweep.partials[i];
  const T& ta = sweep.tangent[at(step.a)];
  const T tb = step.b < 0 ? T{0.0} : sweep.tangent[at(step.b)];
  const T to_a = own * p.a + sweep.adjoint[i] * (p.aa * ta + p.ab * tb);
  if (!is_zero(to_a)) {
    sweep.adjoint_tangent[at(step.a)] += to_a;
    sweep.is_live[at(step.a)] = 1;
  }
  if (step.b < 0) return;
  const T to_b = own * p.b + sweep.adjoint[i] * (p.ab * ta + p.bb * tb);
  if (is_zero(to_b)) return;
  sweep.adjoint_tangent[at(step.b)] += to_b;
  sweep.is_live[at(step.b)] = 1;
}

template <class T>
void hessian_row(const Formula& formula, Sweep<T>& sweep, int input, std::span<T> row) {
  const std::span<const Step> steps = formula.steps();
  tangents_of(formula, sweep, input);
  sweep.adjoint_tangent.assign(steps.size(), T{0.0});
  sweep.is_live.assign(steps.size(), 0);
  for (std::size_t i = steps.size(); i-- > 0;) {
    if (!sweep.is_live[i] && !formula.depends(i, input)) continue;
    const Step& step = steps[i];
    const T own = sweep.adjoint_tangent[i];
    if (step.operation == Operation::number) continue;
    if (step.operation == Operation::variable) {
      row[at(step.a)] += own;
    } else if (step.operation == Operation::sum) {
      if (!sweep.is_live[i]) continue;
      for (const int term : formula.terms(step)) {
        sweep.adjoint_tangent[at(term)] += own;
        sweep.is_live[at(term)] = 1;
      }
    } else {
      spread_adjoint_tangent(sweep, step, i, own);
    }
  }
}

template <class T>
void hessian_of(const Formula& formula, Sweep<T>& sweep, std::span<const char> wanted,
                std::span<T> hessian) {
  const std::size_t n = at(formula.inputs());
  sweep.tangent.resize(formula.steps().size());
  std::ranges::fill(hessian, T{0.0});
  for (std::size_t input = 0; input < n; ++input) {
    if (!wanted[input]) continue;
    hessian_row(formula, sweep, static_cast<int>(input), hessian.subspan(input * n, n));
  }
}

}  // namespace

Defined sweep_values(const Formula& formula, std::span<const double> x, Sweep<double>& sweep) {
  return values(formula, x, sweep);
}
Defined sweep_values(const Formula& formula, std::span<const Interval> x, Sweep<Interval>& sweep) {
  return values(formula, x, sweep);
}

Smoothness sweep_gradient(const Formula& formula, Sweep<double>& sweep,
                          std::span<double> gradient) {
  return gradient_of(formula, sweep, gradient);
}
Smoothness sweep_gradient(const Formula& formula, Sweep<Interval>& sweep,
                          std::span<Interval> gradient) {
  return gradient_of(formula, sweep, gradient);
}

void sweep_hessian(const Formula& formula, Sweep<double>& sweep, std::span<const char> wanted,
                   std::span<double> hessian) {
  hessian_of(formula, sweep, wanted, hessian);
}
void sweep_hessian(const Formula& formula, Sweep<Interval>& sweep, std::span<const char> wanted,
                   std::span<Interval> hessian) {
  hessian_of(formula, sweep, wanted, hessian);
}

}  // namespace mirsolve::box
