// Safeguarded nearest neighbours (Huyer and Neumaier). The safeguard keeps a fit from
// points that lie in a lower-dimensional set when there are better ones.
#include <algorithm>
#include <cmath>
#include <limits>

#include "adaptive/snobfit/grid.h"
#include "adaptive/snobfit/routines.h"
#include "adaptive/snobfit/shapes.h"

namespace torve {
namespace {

constexpr double infinity = std::numeric_limits<double>::max();

// The nearest point that differs by dx or more in input i; -1 when none does.
int nearest_beyond(const VECTOR& x0, const MATRIX& x, const VECTOR& distances, int i, double dx) {
  const double* column = x.view().column_data(i);
  const double* distance = distances.data();
  const double centre = x0(i);
  int best = -1;
  double least = infinity;
  for (int k = 0; k < x.rows(); ++k) {
    if (distance[k] < least && std::abs(column[k] - centre) >= dx) {
      best = k;
      least = distance[k];
    }
  }
  return best;
}

}  // namespace

bool snobnn(const VECTOR& x0, const MATRIX& x, int except, int m, const VECTOR& dx,
            const VECTOR& scale, std::vector<int>& near, Messages& messages) {
  const int n = x0.size();
  Shapes shapes("snobnn", messages);
  shapes.matrix("x", x, x.rows(), n).vector("dx", dx, n).vector("scale", scale, n);
  if (!shapes.good()) return false;
  const int available = x.rows() - (except >= 0 ? 1 : 0);
  if (m < n || m > available) return messages.fail("snobnn: wrong value of m!");

  VECTOR distances;
  squared_distances(x0, x, scale, distances);
  // An excepted point is farther than all others and is never taken.
  if (except >= 0) distances(except) = std::numeric_limits<double>::infinity();
  near.clear();
  for (int i = 0; i < n; ++i) {
    const int k = nearest_beyond(x0, x, distances, i, dx(i));
    if (k >= 0 && std::ranges::find(near, k) == near.end()) near.push_back(k);
  }
  const auto nearer = [&](int a, int b) {
    return distances(a) < distances(b) || (distances(a) == distances(b) && a < b);
  };
  // m of the others are enough, whichever of them stand in the list already.
  std::vector<int> others;
  others.reserve(at(x.rows()));
  for (int k = 0; k < x.rows(); ++k) {
    if (k != except) others.push_back(k);
  }
  std::nth_element(others.begin(), others.begin() + (m - 1), others.end(), nearer);
  others.resize(at(m));
  std::ranges::sort(others, nearer);
  for (const int k : others) {
    if (static_cast<int>(near.size()) == m) break;
    if (std::ranges::find(near, k) == near.end()) near.push_back(k);
  }
  if (static_cast<int>(near.size()) != m) return messages.fail("snobnn: algorithm error!");
  std::ranges::sort(near, nearer);
  return true;
}

}  // namespace torve
