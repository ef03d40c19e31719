// The points that a search has found: what it proves with, and what it answers.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "mirsolve/box/interval.h"
#include "mirsolve/problem/problem.h"

namespace mirsolve::box {

struct Point {
  std::vector<double> x;
  double value = infinity;
};

// Which points count, and how good is good enough; values in the minimised sense.
struct Wanted {
  double least = -infinity;
  double most = infinity;
  double absolute_gap = 0.0;
  double relative_gap = 0.0;
  std::size_t count = 1;   // points that are asked for
  double isolation = 0.0;  // how far they lie from each other
};

// Points lie apart when their Euclidean distance, each input in widths of the whole box, isn't less
// than the isolation. Local minima come before other points; both are kept with the best first.
class Points {
 public:
  Points(const Wanted& wanted, std::span<const Interval> sides);

  // Whether a point whose value lies in the interval counts: when arithmetic can't tell it from
  // those that do.
  bool counts(const Interval& value) const;
  // A point which counts, its nearest value, and the interval that proves it.
  void offer(std::span<const double> x, double value, const Interval& proof, bool is_minimum);

  bool has_any() const { return best_ < infinity; }
  // No box matters of which all values lie above this.
  double limit() const { return limit_; }
  // The upper end of the best value.
  double best() const { return best_; }
  double gap() const { return gap_; }
  bool has_enough_minima() const { return minima_.size() >= wanted_.count; }
  bool has_enough() const { return minima_.size() + others_.size() >= 2 * wanted_.count; }
  bool is_apart(std::span<const double> x, std::span<const Point> from) const;
  std::span<const Point> minima() const { return minima_; }

  // So many as are asked for, if there are, the best first.
  std::vector<Point> chosen() const;

 private:
  void keep(std::vector<Point>& list, std::size_t most, std::span<const double> x,
            double value) const;

  Wanted wanted_;
  std::vector<double> widths_;
  Point first_;  // the best of all
  std::vector<Point> minima_;
  std::vector<Point> others_;
  double best_ = infinity;
  double gap_ = 0.0;
  double limit_ = infinity;
};

}  // namespace mirsolve::box
