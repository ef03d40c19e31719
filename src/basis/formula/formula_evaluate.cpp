#include <array>
#include <cassert>
#include <cmath>

#include "basis/formula/formula.h"
#include "basis/formula/formula_codes.h"

namespace torve {
namespace {

using formula::Binary;
using formula::Unary;

/// What makes a formula undefined at a row; the values are those of `fnerrtype`.
enum class Fault { none, zero_divisor, negative_root, bad_logarithm, bad_arc, bad_power };

struct FaultRow {
  Fault fault;
  std::string_view text;
};

constexpr std::array<FaultRow, 6> faults{{
    {Fault::none, ""},
    {Fault::zero_divisor, "Division by zero"},
    {Fault::negative_root, "Argument of SQRT negative"},
    {Fault::bad_logarithm, "Argument of LOG <= 0"},
    {Fault::bad_arc, "Argument of ASIN or ACOS illegal"},
    {Fault::bad_power, "-ve number to fractional power"},
}};

constexpr bool row_is_fault() {
  for (std::size_t i = 0; i < faults.size(); ++i) {
    if (faults[i].fault != static_cast<Fault>(i)) return false;
  }
  return true;
}
static_assert(row_is_fault(), "row i holds fault i");

/// A zero base with a negative exponent is a division by zero, also when the exponent is a
/// fraction. A zero base with a positive fraction is refused along with the negative bases. A whole
/// exponent is good for every base.
Fault power_fault(double base, double exponent) {
  if (base == 0.0 && exponent < 0.0) return Fault::zero_divisor;
  if (base <= 0.0 && std::trunc(exponent) != exponent) return Fault::bad_power;
  return Fault::none;
}

/// Leaves the result in `left`, which is untouched after a fault. Operands that are NaN cause no
/// fault, since every test is false for them, save a NaN exponent of a base that needs a whole one.
Fault combine(Binary code, double& left, double right) {
  switch (code) {
    case Binary::add:
      left += right;
      return Fault::none;
    case Binary::subtract:
      left -= right;
      return Fault::none;
    case Binary::multiply:
      left *= right;
      return Fault::none;
    case Binary::divide:
      if (right == 0.0) return Fault::zero_divisor;
      left /= right;
      return Fault::none;
    case Binary::power: {
      const Fault fault = power_fault(left, right);
      if (fault == Fault::none) left = std::pow(left, right);
      return fault;
    }
  }
  return Fault::none;
}

/// Where a function is defined.
Fault domain_fault(Unary code, double x) {
  switch (code) {
    case Unary::log10:
    case Unary::log:
      return x <= 0.0 ? Fault::bad_logarithm : Fault::none;
    case Unary::sqrt:
      return x < 0.0 ? Fault::negative_root : Fault::none;
    case Unary::asin:
    case Unary::acos:
      return x < -1.0 || x > 1.0 ? Fault::bad_arc : Fault::none;
    case Unary::negate:
    case Unary::abs:
    case Unary::exp:
    case Unary::sinh:
    case Unary::cosh:
    case Unary::tanh:
    case Unary::sin:
    case Unary::cos:
    case Unary::tan:
    case Unary::atan:
      break;
  }
  return Fault::none;
}

double applied(Unary code, double x) {
  switch (code) {
    case Unary::negate:
      return -x;
    case Unary::abs:
      return std::fabs(x);
    case Unary::exp:
      return std::exp(x);
    case Unary::log10:
      return std::log10(x);
    case Unary::log:
      return std::log(x);
    case Unary::sqrt:
      return std::sqrt(x);
    case Unary::sinh:
      return std::sinh(x);
    case Unary::cosh:
      return std::cosh(x);
    case Unary::tanh:
      return std::tanh(x);
    case Unary::sin:
      return std::sin(x);
    case Unary::cos:
      return std::cos(x);
    case Unary::tan:
      return std::tan(x);
    case Unary::asin:
      return std::asin(x);
    case Unary::acos:
      return std::acos(x);
    case Unary::atan:
      return std::atan(x);
  }
  return x;
}

/// Runs the codes on the formula's own stack and leaves the value in its first entry.
Fault run_codes(CompiledFormula& compiled, std::span<const double> values) {
  const std::span<double> stack(compiled.stack);
  std::size_t depth = 0;
  std::size_t immediate = 0;
  for (const std::int32_t code : compiled.codes) {
    Fault fault = Fault::none;
    if (code >= formula::first_variable) {
      const auto variable = static_cast<std::size_t>(code - formula::first_variable);
      assert(variable < values.size());
      stack[depth++] = values[variable];
    } else if (code == formula::push_immediate) {
      stack[depth++] = compiled.immediates[immediate++];
    } else if (formula::is_binary(code)) {
      --depth;
      fault = combine(static_cast<Binary>(code), stack[depth - 1], stack[depth]);
    } else {
      const auto function = static_cast<Unary>(code);
      fault = domain_fault(function, stack[depth - 1]);
      if (fault == Fault::none) stack[depth - 1] = applied(function, stack[depth - 1]);
    }
    if (fault != Fault::none) return fault;
  }
  return Fault::none;
}

}  // namespace

double fneval(FormulaTable& table, std::size_t slot, std::span<const double> values) {
  table.fnerrtype = 0;
  if (slot >= table.slots.size() || table.slots[slot].codes.empty()) return 0.0;
  CompiledFormula& compiled = table.slots[slot];
  const Fault fault = run_codes(compiled, values);
  table.fnerrtype = static_cast<int>(fault);
  return fault == Fault::none ? compiled.stack.front() : 0.0;
}

std::string_view fnerrmsg(const FormulaTable& table) {
  return faults[static_cast<std::size_t>(table.fnerrtype)].text;
}

}  // namespace torve
