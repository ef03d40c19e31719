// Points in unexplored space (Huyer and Neumaier): out of candidates the one farthest
// from all points, time and again.
#include <algorithm>
#include <cmath>
#include <limits>

#include "adaptive/snobfit/grid.h"
#include "adaptive/snobfit/routines.h"
#include "adaptive/snobfit/shapes.h"

namespace torve {
namespace {

// Random candidates for each point wanted; fewer when the work, candidates times points times
// inputs, would go beyond the limit.
constexpr double candidates_a_point = 100.0;
constexpr double work_limit = 3e8;
constexpr double least_candidates = 1e5;

// Multiples of dx in [u, v] in one input, 1 (the edge) when there is none.
struct Multiples {
  double first;
  double count;
};

Multiples multiples(double u, double v, double dx) {
  const double first = std::ceil(u / dx);
  const double count = std::floor(v / dx) - first + 1.0;
  return {first, std::isfinite(count) ? std::max(count, 1.0) : 1e300};
}

// Every point of a grid that has no more points than candidates are made: none is missed.
MATRIX whole_grid(const VECTOR& u, const VECTOR& v, const VECTOR& dx, int count) {
  MATRIX points(count, u.size());
  int repeats = 1;
  for (int i = 0; i < u.size(); ++i) {
    const Multiples line = multiples(u(i), v(i), dx(i));
    const int length = static_cast<int>(line.count);
    for (int k = 0; k < count; ++k) {
      const double multiple = line.first + (k / repeats) % length;
      points(k, i) = on_grid(multiple * dx(i), u(i), v(i), dx(i));
    }
    repeats *= length;
  }
  return points;
}

MATRIX candidates(const VECTOR& u, const VECTOR& v, const VECTOR& dx, int count, Random& random) {
  double grid_points = 1.0;
  for (int i = 0; i < u.size(); ++i) grid_points *= multiples(u(i), v(i), dx(i)).count;
  if (grid_points <= count) return whole_grid(u, v, dx, static_cast<int>(grid_points));
  MATRIX points(count, u.size());
  for (int k = 0; k < count; ++k) {
    for (int i = 0; i < u.size(); ++i) {
      points(k, i) = on_grid(random.uniform(u(i), v(i)), u(i), v(i), dx(i));
    }
  }
  return points;
}

int number_of_candidates(int nreq, int points, int n) {
  const double wanted = candidates_a_point * nreq;
  const double affordable = work_limit / (static_cast<double>(points + nreq) * n);
  const double least = std::min(4.0 * nreq, least_candidates);
  return static_cast<int>(std::max(std::min(wanted, affordable), least));
}

}  // namespace

bool snob5(const MATRIX& x, const VECTOR& u, const VECTOR& v, const VECTOR& dx, int nreq,
           Random& random, MATRIX& request, Messages& messages) {
  const int n = u.size();
  Shapes shapes("snob5", messages);
  shapes.matrix("x", x, x.rows(), n).vector("v", v, n).vector("dx", dx, n);
  if (!shapes.good()) return false;

  request = MATRIX(0, n);
  if (nreq <= 0) return true;
  const MATRIX places = candidates(u, v, dx, number_of_candidates(nreq, x.rows(), n), random);
  const VECTOR apart = scaled(separation_factor, dx);
  const VECTOR width = difference(v, u);
  // Squared distance from the nearest point; negative: the place is taken.
  VECTOR nearest(places.rows(), std::numeric_limits<double>::max());
  VECTOR distances;
  const auto take_away = [&](const VECTOR& point) {
    squared_distances(point, places, width, distances);
    for (int k = 0; k < places.rows(); ++k) nearest(k) = std::min(nearest(k), distances(k));
  };
  for (int j = 0; j < x.rows(); ++j) take_away(x.row(j));
  while (request.rows() < nreq) {
    const double* best = std::max_element(nearest.data(), nearest.data() + places.rows());
    if (*best < 0.0) break;
    const int k = static_cast<int>(best - nearest.data());
    const VECTOR point = places.row(k);
    if (stands_apart(point, x, apart) && stands_apart(point, request, apart)) {
      request.append_row(point);
      take_away(point);
    }
    nearest(k) = -1.0;
  }
  return true;
}

}  // namespace torve
