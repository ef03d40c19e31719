#include "mirsolve/box/enclosure.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "mirsolve/box/cholesky.h"

namespace mirsolve::box {

namespace {

double or_minus_infinity(double bound) {
  return std::isnan(bound) ? -infinity : bound;
}

double value_below(double slope, double curvature, double t) {
  if (t == 0.0) return 0.0;
  const Interval value = Interval(t) * (Interval(slope) + Interval(0.5 * curvature) * Interval(t));
  return or_minus_infinity(value.lower());
}

// The least value of slope * t + curvature / 2 * t^2 for 0 <= from <= t <= to.
double least_on_side(double slope, double curvature, double from, double to) {
  const double at_ends =
      std::min(value_below(slope, curvature, from), value_below(slope, curvature, to));
  if (!(curvature > 0.0) || !(slope < 0.0)) return at_ends;
  const Interval vertex = Interval(-slope) / Interval(curvature);
  if (vertex.upper() < from || vertex.lower() > to) return at_ends;
  const Interval value = Interval(-0.5 * slope) * vertex;
  return std::min(at_ends, or_minus_infinity(-value.upper()));
}

}  // namespace

double least(const Parabola& parabola, double from, double to) {
  double result = infinity;
  if (to >= 0.0) {
    result = least_on_side(parabola.slope.lower(), parabola.curvature, std::max(from, 0.0), to);
  }
  if (from < 0.0) {
    result = std::min(result, least_on_side(-parabola.slope.upper(), parabola.curvature,
                                            std::max(-to, 0.0), -from));
  }
  return result;
}

Interval part_up_to(const Parabola& parabola, const Interval& distances, double most) {
  double from = distances.lower();
  double to = distances.upper();
  if (least(parabola, from, to) > most) return nothing();
  // A part at an end that grows while all of it lies too high.
  constexpr std::array parts = {1.0 / 16.0, 1.0 / 8.0, 1.0 / 4.0, 1.0 / 2.0};
  const double whole = to - from;
  for (const double part : parts) {
    const double end = distances.upper() - part * whole;
    if (!(end < to) || !(least(parabola, end, to) > most)) break;
    to = end;
  }
  for (const double part : parts) {
    const double end = distances.lower() + part * whole;
    if (!(end > from) || !(end < to) || !(least(parabola, from, end) > most)) break;
    from = end;
  }
  return {from, to};
}

void separate(std::span<const Interval> hessian, std::span<const double> reach,
              std::span<Parabola> parabolas) {
  const std::size_t n = reach.size();
  for (std::size_t i = 0; i < n; ++i) {
    parabolas[i].curvature = reach[i] > 0.0 ? hessian[i * n + i].lower() : 0.0;
  }
  for (std::size_t i = 0; i < n; ++i) {
    if (!(reach[i] > 0.0)) continue;
    for (std::size_t j = i + 1; j < n; ++j) {
      const double size = magnitude(hessian[i * n + j]);
      if (!(reach[j] > 0.0) || size == 0.0) continue;
      const double s = std::clamp(reach[j] / reach[i], 1e-150, 1e150);
      double& of_i = parabolas[i].curvature;
      double& of_j = parabolas[j].curvature;
      of_i = or_minus_infinity(below(of_i - above(size * s)));
      of_j = or_minus_infinity(below(of_j - above(size / s)));
    }
  }
  for (Parabola& parabola : parabolas) {
    parabola.curvature = or_minus_infinity(parabola.curvature);
  }
}

bool is_convex(std::span<const Interval> hessian, std::span<const double> reach,
               std::span<double> room) {
  const std::size_t n = reach.size();
  double trace = 0.0;
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < n; ++j) room[i * n + j] = i == j ? 1.0 : 0.0;
  }
  for (std::size_t i = 0; i < n; ++i) {
    if (!(reach[i] > 0.0)) continue;
    room[i * n + i] = 0.0;
    double taken = 0.0;  // by the radii of this row, with the rounding of its middles
    for (std::size_t j = 0; j < n; ++j) {
      if (!(reach[j] > 0.0)) continue;
      // Of two entries that enclose the same, the one that the factorization reads.
      const Interval& entry = hessian[std::max(i, j) * n + std::min(i, j)];
      const Interval scaled = entry * Interval(reach[i]) * Interval(reach[j]);
      if (!(magnitude(scaled) < greatest)) return false;
      const double mid = middle(scaled);
      taken = above(taken + std::max(above(scaled.upper() - mid), above(mid - scaled.lower())));
      room[i * n + j] += mid;
    }
    room[i * n + i] = below(room[i * n + i] - taken);
    if (!(room[i * n + i] > 0.0)) return false;
    trace += room[i * n + i];
  }
  // Twice the published shift, for the rounding of the trace and of the subtraction.
  const double size = static_cast<double>(n + 2);
  const double shift = 4.0 * size * 0x1p-53 * trace + 1e-290;
  for (std::size_t i = 0; i < n; ++i) {
    if (reach[i] > 0.0) room[i * n + i] -= shift;
  }
  return factor(room, n);
}

}  // namespace mirsolve::box
