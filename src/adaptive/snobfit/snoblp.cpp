// Local points (Huyer and Neumaier).
#include <algorithm>

#include "adaptive/snobfit/routines.h"
#include "adaptive/snobfit/shapes.h"

namespace torve {
namespace {

// A local point stands below the lowest of its neighbours by this share of their range.
constexpr double local_fraction = 0.05;

}  // namespace

bool snoblp(const MATRIX& f, const IndexLists& near, std::vector<bool>& local, Messages& messages) {
  const int points = f.rows();
  Shapes shapes("snoblp", messages);
  shapes.matrix("f", f, points, 2).list("near", near, points);
  if (!shapes.good()) return false;
  local.assign(at(points), false);
  for (int j = 0; j < points; ++j) {
    const std::vector<int>& neighbours = near[at(j)];
    if (neighbours.empty()) continue;
    double lowest = f(neighbours[0], 0);
    double highest = lowest;
    for (const int k : neighbours) {
      lowest = std::min(lowest, f(k, 0));
      highest = std::max(highest, f(k, 0));
    }
    local[at(j)] = f(j, 0) < lowest - local_fraction * (highest - lowest);
  }
  return true;
}

}  // namespace torve
