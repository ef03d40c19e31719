// Splitting of a box that holds several points (Huyer and Neumaier): the input in which
// the points vary most gets a cut in its largest gap, until every point has a box of its own.
#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

#include "adaptive/snobfit/grid.h"
#include "adaptive/snobfit/routines.h"
#include "adaptive/snobfit/shapes.h"

namespace torve {
namespace {

const double golden_section = (std::sqrt(5.0) - 1.0) / 2.0;

// A box and the points it holds.
struct Piece {
  Box box;
  std::vector<int> points;
};

// Mean square deviation of coordinate i from its mean, in squared units of the explored box.
double relative_variance(const MATRIX& x, const std::vector<int>& points, int i, double width) {
  double mean = 0.0;
  for (const int k : points) mean += x(k, i) / width;
  mean /= static_cast<double>(points.size());
  double sum = 0.0;
  for (const int k : points) sum += (x(k, i) / width - mean) * (x(k, i) / width - mean);
  return sum / static_cast<double>(points.size());
}

bool differ_in(const MATRIX& x, const std::vector<int>& points, int i) {
  return std::ranges::any_of(points, [&](int k) { return x(k, i) != x(points.front(), i); });
}

// The input to be cut, the one with the largest relative variance, and among equals the one cut
// less often; -1 when the points are the same.
int input_to_split(const MATRIX& x, const Piece& piece, const VECTOR& width) {
  int best = -1;
  double largest = 0.0;
  for (int i = 0; i < x.columns(); ++i) {
    if (!differ_in(x, piece.points, i)) continue;
    const double variance = relative_variance(x, piece.points, i, width(i));
    const bool wins = best < 0 || variance > largest ||
                      (variance == largest && piece.box.nsplit(i) < piece.box.nsplit(best));
    if (!wins) continue;
    best = i;
    largest = variance;
  }
  return best;
}

// Between two neighbours at low < high: golden section of the gap, the point with the lower value
// on the longer side.
double place_of_cut(double low, double high, double f_low, double f_high) {
  const double lambda = f_low <= f_high ? 1.0 - golden_section : golden_section;
  return std::clamp(lambda * low + (1.0 - lambda) * high, low, high);
}

// Cuts the piece in its largest gap along input i; what lies above the cut is returned.
Piece cut(const MATRIX& x, const MATRIX& f, int i, Piece& piece) {
  std::vector<int>& points = piece.points;
  std::ranges::sort(
      points, [&](int a, int b) { return x(a, i) < x(b, i) || (x(a, i) == x(b, i) && a < b); });
  std::size_t gap = 0;
  double widest = -1.0;
  for (std::size_t k = 0; k + 1 < points.size(); ++k) {
    const double width = x(points[k + 1], i) - x(points[k], i);
    if (width > widest) {
      widest = width;
      gap = k;
    }
  }
  const int low = points[gap];
  const int high = points[gap + 1];
  const double place = place_of_cut(x(low, i), x(high, i), f(low, 0), f(high, 0));
  piece.box.nsplit(i) += 1.0;
  Piece upper{piece.box, {points.begin() + static_cast<std::ptrdiff_t>(gap) + 1, points.end()}};
  points.resize(gap + 1);
  piece.box.xu(i) = place;
  upper.box.xl(i) = place;
  return upper;
}

void store(const Piece& piece, const VECTOR& u, const VECTOR& v, Boxes& boxes) {
  const int k = piece.points.front();
  boxes.xl.set_row(k, piece.box.xl);
  boxes.xu.set_row(k, piece.box.xu);
  boxes.nsplit.set_row(k, piece.box.nsplit);
  boxes.small[at(k)] = smallness(piece.box.xl, piece.box.xu, u, v);
}

}  // namespace

int smallness(const VECTOR& xl, const VECTOR& xu, const VECTOR& u, const VECTOR& v) {
  double sum = 0.0;
  for (int i = 0; i < u.size(); ++i) {
    // A side may have no length: between neighbours in floating point there is no place to cut.
    const double share = std::max((xu(i) - xl(i)) / (v(i) - u(i)), machine_epsilon);
    sum -= std::round(std::log2(share));
  }
  return static_cast<int>(sum);
}

bool snobsplit(const MATRIX& x, const MATRIX& f, const Box& box, const VECTOR& u, const VECTOR& v,
               Boxes& boxes, Messages& messages) {
  const int n = u.size();
  const int nx = x.rows();
  Shapes shapes("snobsplit", messages);
  shapes.matrix("x", x, nx, n).matrix("f", f, nx, 2).vector("v", v, n);
  shapes.vector("xl", box.xl, n).vector("xu", box.xu, n).vector("nsplit", box.nsplit, n);
  if (!shapes.good()) return false;

  boxes.xl = boxes.xu = boxes.nsplit = MATRIX(nx, n);
  boxes.small.assign(at(nx), 0);
  if (nx == 0) return true;
  const VECTOR width = difference(v, u);
  std::vector<Piece> open = {{box, std::vector<int>(at(nx))}};
  std::iota(open[0].points.begin(), open[0].points.end(), 0);
  int nboxes = 0;
  while (!open.empty()) {
    Piece piece = std::move(open.back());
    open.pop_back();
    while (piece.points.size() > 1) {
      const int i = input_to_split(x, piece, width);
      if (i < 0) return messages.fail("snobsplit: algorithm error: size(iii) == 0!");
      open.push_back(cut(x, f, i, piece));
    }
    store(piece, u, v, boxes);
    if (++nboxes > nx) return messages.fail("snobsplit: algorithm error: nboxes > nx!");
  }
  return true;
}

}  // namespace torve
