// Merit of a point under soft constraints F1 <= F(x) <= F2 (Huyer and Neumaier):
//
//   q = (f - f0) / (Delta + |f - f0|)                         in (-1, 1)
//   s = sum of ((F1 - F) / sigma)^2 below and ((F - F2) / sigma)^2 above the bounds
//   merit = q + 2 s / (1 + s)                                 in (-1, 3)
#include <algorithm>
#include <cmath>
#include <limits>

#include "adaptive/snobfit/shapes.h"
#include "adaptive/snobfit/snobfit.h"
#include "adaptive/snobfit/state.h"

namespace torve {
namespace {

double within_limits(double value) {
  return std::clamp(value, -no_value, no_value);
}

// How far value lies outside of the bounds.
double violation(double value, double lower, double upper) {
  if (value < lower) return lower - value;
  return value > upper ? value - upper : 0.0;
}

}  // namespace

double softmerit(double f, const VECTOR& F, const VECTOR& F1, const VECTOR& F2, double f0,
                 double Delta, const VECTOR& sigma, Messages& messages) {
  if (F1.size() != F2.size()) {
    messages.fail("softmerit: dimensions of F1 & F2 do not match!");
    return no_value;
  }
  if (sigma.size() != F1.size()) {
    messages.fail("softmerit: wrong dimension of sigma array!");
    return no_value;
  }
  Shapes shapes("softmerit", messages);
  if (!shapes.vector("F", F, F1.size()).good()) return no_value;

  const double undefined = std::numeric_limits<double>::quiet_NaN();
  if (std::isnan(f)) return undefined;
  const double step = within_limits(f) - within_limits(f0);
  const double q = step == 0.0 ? 0.0 : step / (Delta + std::abs(step));
  double s = 0.0;
  for (int i = 0; i < F.size(); ++i) {
    if (std::isnan(F(i))) return undefined;
    const double outside = violation(within_limits(F(i)), F1(i), F2(i));
    if (outside > 0.0) s += (outside / sigma(i)) * (outside / sigma(i));
  }
  // As 2 s / (1 + s), but good for an infinite s too.
  return s == 0.0 ? q : q + 2.0 / (1.0 + 1.0 / s);
}

}  // namespace torve
