// What is known of the values of a formula over one box.
#pragma once

#include <span>
#include <vector>

#include "mirsolve/box/enclosure.h"
#include "mirsolve/box/formula.h"
#include "mirsolve/box/local_search.h"
#include "mirsolve/box/points.h"
#include "mirsolve/problem/deadline.h"

namespace mirsolve::box {

struct Box {
  std::vector<Interval> sides;
  double bound = -infinity;  // no value in the box lies below it
  double share = 1.0;        // of the whole box
  int split = -1;            // the input to halve; -1: the box is too small
};

class Examiner {
 public:
  Examiner(const Formula& formula, std::span<const Interval> whole, const Deadline& deadline);

  // Raises the bound of the box, cuts off parts of it that don't matter, chooses the side to split,
  // and offers the points that it comes by. False: nothing of the box matters.
  bool examine(Box& box, Points& points, double least_wanted);
  // Evaluates and offers a point; `is_minimum` where a local search ended. Whether it counts.
  bool offer(std::span<const double> x, Points& points, bool is_minimum);
  // Descends in `sides` and offers where that ends.
  bool search_from(std::span<const double> x, std::span<const Interval> sides, Points& points);
  double value(std::span<const double> x) { return local_.value(x); }

  // Of all that was left out as too high.
  double least_dropped() const { return least_dropped_; }

 private:
  // What a look at a box comes to: nothing of it matters; sides became points, which can't happen
  // often; parts were cut off, so that another look may pay; nothing more.
  enum class Look : unsigned char { gone, fixed, cut, settled };

  Look look(Box& box, Points& points, double least_wanted);
  bool is_too_high(Box& box, double bound, const Points& points);
  bool expand_at_centre(const Box& box, Points& points);
  bool expand_at(std::span<const double> x, Points& points, bool is_minimum);
  void tighten_gradient(const Box& box);
  bool fix_monotonic(Box& box);
  Look cut(Box& box, const Points& points, std::span<const Parabola> parabolas);
  Look bound_convex(Box& box, Points& points);
  bool is_free_within(const Box& box, std::span<const double> x) const;
  double weight(const Box& box, std::size_t i) const;
  bool can_be_split(const Box& box, std::size_t i) const;
  int decided_halves(Box& box, std::size_t i);
  void choose_split(Box& box);
  Interval distance(const Box& box, std::size_t i) const;

  const Formula& formula_;
  std::vector<Interval> whole_;
  const Deadline& deadline_;
  LocalSearch local_;
  std::size_t n_;
  Sweep<Interval> over_box_;
  Sweep<Interval> at_point_;
  std::vector<Interval> gradient_;        // over the box
  std::vector<Interval> hessian_;         // over the box
  std::vector<Interval> point_;           // the centre as intervals
  std::vector<Interval> point_gradient_;  // at the centre
  Interval point_value_;
  std::vector<double> centre_;
  std::vector<double> reach_;  // greatest distances from the centre
  std::vector<double> least_;  // of the parabolas
  std::vector<double> room_;
  std::vector<char> free_;  // sides that are no points
  std::vector<Parabola> first_order_;
  std::vector<Parabola> second_order_;
  // Of the box that was looked at last.
  Defined defined_ = Defined::nowhere;
  Smoothness smoothness_ = Smoothness::none;
  double least_dropped_ = infinity;
};

}  // namespace mirsolve::box
