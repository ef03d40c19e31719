// Hidden constraints: points where the function isn't defined (Huyer and Neumaier).
#include <algorithm>

#include "adaptive/snobfit/routines.h"
#include "adaptive/snobfit/shapes.h"

namespace torve {
namespace {

// A made-up value stands this share of the neighbours' range above the highest of them: high enough
// to turn the search away, low enough to leave the fits near the edge of the domain useful.
constexpr double share_above = 1e-3;

struct Range {
  double lowest = 0.0;
  double highest = 0.0;
  double uncertainty = 0.0;  // the largest
  bool empty = true;

  void add(double value, double df) {
    lowest = empty ? value : std::min(lowest, value);
    highest = empty ? value : std::max(highest, value);
    uncertainty = empty ? df : std::max(uncertainty, df);
    empty = false;
  }
};

}  // namespace

bool snobnan(const std::vector<int>& fnan, const IndexLists& near, MATRIX& f,
             std::vector<int>& changed, Messages& messages) {
  const int points = f.rows();
  Shapes shapes("snobnan", messages);
  shapes.matrix("f", f, points, 2);
  if (!near.empty()) shapes.list("near", near, points);
  if (!shapes.good()) return false;
  std::vector<bool> undefined(at(points), false);
  for (const int j : fnan) {
    if (j < 0 || j >= points) return messages.fail("snobnan: wrong dimension of fnan vector!");
    undefined[at(j)] = true;
  }

  changed.clear();
  Range all;
  for (int j = 0; j < points; ++j) {
    if (!undefined[at(j)]) all.add(f(j, 0), f(j, 1));
  }
  for (const int j : fnan) {
    Range range;
    if (!near.empty()) {
      for (const int k : near[at(j)]) {
        if (!undefined[at(k)]) range.add(f(k, 0), f(k, 1));
      }
    }
    if (range.empty) range = all;
    if (range.empty) range.add(no_value, 1.0);
    const double value = range.highest + share_above * (range.highest - range.lowest);
    if (f(j, 0) == value && f(j, 1) == range.uncertainty) continue;
    f(j, 0) = value;
    f(j, 1) = range.uncertainty;
    changed.push_back(j);
  }
  return true;
}

}  // namespace torve
