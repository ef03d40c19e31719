#include "basis/catalogue_row.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "basis/formula/formula.h"

namespace torve {

namespace {

constexpr double failed_formula = 1e20;  // beyond the limit, so that the value check catches it

bool is_whole_number(double exponent) {
  constexpr double most = std::numeric_limits<std::int32_t>::max();
  constexpr double least = std::numeric_limits<std::int32_t>::min();
  if (exponent > most || exponent < least) return false;
  return exponent == static_cast<double>(static_cast<std::int32_t>(exponent));
}

double distance(const CatalogueRules& rules, MatrixView points, int point, int centre) {
  double sum = 0.0;
  for (int j = 0; j < points.columns; ++j) {
    if (rules.excluded[static_cast<std::size_t>(j)]) continue;
    const double d = points(point, j) - points(centre, j);
    sum += d * d;
  }
  return std::sqrt(sum);
}

double inner_product(const CatalogueRules& rules, MatrixView points, int point, int centre) {
  double sum = 0.0;
  for (int j = 0; j < points.columns; ++j) {
    if (rules.excluded[static_cast<std::size_t>(j)]) continue;
    sum += points(point, j) * points(centre, j);
  }
  return sum;
}

// What came of one column: a value, or that there is none.
struct Value {
  double value;
  bool failed;
};
constexpr Value no_value{0.0, true};

Value checked(double value) {
  return std::isnan(value) || std::abs(value) > basislimit ? no_value : Value{value, false};
}

Value checked_power(double base, double exponent) {
  if (powunsafe(base, exponent, basislimit)) return no_value;
  return {std::pow(base, exponent), false};
}

// Odd powers are guarded like all others, so that the first power, and any at the centre itself,
// can't be had.
Value power_radial(double r, int k) {
  if (k % 2 != 0) return checked_power(r, k);
  const double power = std::pow(r, k);
  return checked(r >= 1.0 ? power * std::log(r) : (power - 1.0) * std::log(std::pow(r, r)));
}

Value custom(const CatalogueRules& rules, int index, std::span<const double> inputs) {
  FormulaTable* formulas = rules.custom;
  if (formulas == nullptr) return no_value;
  const double value = fneval(*formulas, at(index), inputs);
  return checked(formulas->fnerrtype == 0 ? value : failed_formula);
}

Value radial(const CatalogueRules& rules, MatrixView points, int point, const Column& column) {
  // The power of the radial family decides its centre too: all columns of one power are alike.
  const int centre = column.family == Family::power_radial ? column.position : column.index;
  if (centre >= points.rows) return {rules.preset, false};
  switch (column.family) {
    case Family::gaussian:
      return checked(std::exp(-rules.rbfparam * distance(rules, points, point, centre)));
    case Family::power_radial:
      return power_radial(distance(rules, points, point, centre), column.radial_power);
    default:
      return checked(inner_product(rules, points, point, centre));
  }
}

}  // namespace

bool powunsafe(double base, double exponent, double limit) {
  if (std::isnan(base) || std::isnan(exponent) || std::isnan(limit)) return true;
  if (base == 0.0 || exponent == 0.0 || exponent == 1.0 || limit <= 0.0) return true;
  if (base < 0.0) return !is_whole_number(exponent);
  return exponent * std::log(base) > std::log(limit);
}

bool evaluate_row(const CatalogueRules& rules, MatrixView points, int point, double* out,
                  std::int64_t stride, std::span<bool> failed, std::span<double> formula_inputs) {
  const auto x = [&](int j) { return points(point, j); };
  if (rules.custom != nullptr) {
    for (int j = 0; j < points.columns; ++j) {
      const auto i = static_cast<std::size_t>(j);
      formula_inputs[i] = x(j) * rules.xscale[i];
    }
  }
  bool any = false;
  for (std::size_t j = 0; j < rules.columns.size(); ++j, out += stride) {
    const Column& column = rules.columns[j];
    const auto [a, b, c] = column.inputs;
    const bool active = rules.basisactive[j];
    Value result{rules.preset, false};
    switch (column.family) {
      case Family::linear:
        result.value = x(a);
        break;
      case Family::logarithm:
        if (!rules.logusable[static_cast<std::size_t>(a)]) continue;
        result = checked(std::log(x(a)));
        break;
      case Family::exponential:
        if (!active) continue;
        result = checked(std::exp(x(a)));
        break;
      case Family::sine:
        result.value = std::sin(x(a));
        break;
      case Family::cosine:
        result.value = std::cos(x(a));
        break;
      case Family::monomial:
        if (!active) continue;
        result = checked_power(x(a), column.power);
        break;
      case Family::pair:
        if (!active) continue;
        result = checked_power(x(a) * x(b), column.power);
        break;
      case Family::triple:
        if (!active) continue;
        result = checked_power(x(a) * x(b) * x(c), column.power);
        break;
      case Family::ratio:
        if (!active) continue;
        result = checked_power(x(a) / x(b), column.power);
        break;
      case Family::gaussian:
      case Family::power_radial:
      case Family::kernel:
        result = radial(rules, points, point, column);
        break;
      case Family::custom:
        result = custom(rules, column.index, formula_inputs);
        break;
      case Family::constant:
        result.value = 1.0;
        break;
    }
    failed[j] = result.failed;
    any = any || result.failed;
    *out = result.failed ? rules.preset : result.value;
  }
  return any;
}

}  // namespace torve
