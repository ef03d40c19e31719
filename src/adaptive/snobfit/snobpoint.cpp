// The point that a local model proposes (Huyer and Neumaier): the minimiser of the
// linear model in the trust box, rounded to the grid.
#include <algorithm>
#include <cmath>

#include "adaptive/snobfit/grid.h"
#include "adaptive/snobfit/routines.h"
#include "adaptive/snobfit/shapes.h"

namespace torve {
namespace {

// When the place is taken, this many random ones in the trust box are tried.
constexpr int random_tries = 10;

struct Interval {
  double low, high;
};

// Trust box and request box in input i. A point outside the request box steps to its edge.
Interval reach(double x, double d, double u, double v) {
  return {std::clamp(x - d, u, v), std::clamp(x + d, u, v)};
}

}  // namespace

bool snobpoint(int j, const MATRIX& x, const MATRIX& f, const LocalFit& fit, const VECTOR& u,
               const VECTOR& v, const VECTOR& dx, Random& random, VECTOR& y, double& fy,
               Messages& messages) {
  const int n = dx.size();
  Shapes shapes("snobpoint", messages);
  shapes.matrix("x", x, x.rows(), n).matrix("f", f, x.rows(), 2);
  shapes.vector("g", fit.g, n).vector("d", fit.d, n).vector("u", u, n).vector("v", v, n);
  if (!shapes.good()) return false;
  if (j < 0 || j >= x.rows()) {
    return messages.fail("snobpoint: j is outside the first dimension of x & f!");
  }

  const VECTOR apart = scaled(separation_factor, dx);
  y = VECTOR(n);
  for (int i = 0; i < n; ++i) {
    const Interval interval = reach(x(j, i), fit.d(i), u(i), v(i));
    double place = fit.g(i) > 0.0 ? interval.low : interval.high;
    if (fit.g(i) == 0.0) place = random.uniform(interval.low, interval.high);
    y(i) = on_grid(place, u(i), v(i), dx(i));
  }
  for (int tries = 0; tries < random_tries && !stands_apart(y, x, apart); ++tries) {
    for (int i = 0; i < n; ++i) {
      const Interval interval = reach(x(j, i), fit.d(i), u(i), v(i));
      y(i) = on_grid(random.uniform(interval.low, interval.high), u(i), v(i), dx(i));
    }
  }
  if (!stands_apart(y, x, apart)) y = x.row(j);
  fy = f(j, 0);
  for (int i = 0; i < n; ++i) fy += fit.g(i) * (y(i) - x(j, i));
  if (!std::isfinite(fy)) fy = no_value;
  return true;
}

}  // namespace torve
