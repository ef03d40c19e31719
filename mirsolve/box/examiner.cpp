#include "mirsolve/box/examiner.h"

#include <algorithm>
#include <cmath>

namespace mirsolve::box {

namespace {

// Sides below this part of the whole box, and of their own distance from 0, aren't split. Towards
// 0, where logarithms and poles are, boxes may get as small as numbers do.
constexpr double least_part = 1e-11;
constexpr double least_side = 1e-300;
// A box that has lost this part of a side is worth another look.
constexpr double much = 0.2;

}  // namespace

Examiner::Examiner(const Formula& formula, std::span<const Interval> whole,
                   const Deadline& deadline)
    : formula_(formula),
      whole_(whole.begin(), whole.end()),
      deadline_(deadline),
      local_(formula),
      n_(whole.size()) {
  gradient_.resize(n_);
  hessian_.resize(n_ * n_);
  point_.resize(n_);
  point_gradient_.resize(n_);
  centre_.resize(n_);
  reach_.resize(n_);
  least_.resize(n_);
  room_.resize(n_ * n_);
  free_.resize(n_);
  first_order_.resize(n_);
  second_order_.resize(n_);
}

bool Examiner::examine(Box& box, Points& points, double least_wanted) {
  constexpr int most_cuts = 3;
  Look result = Look::fixed;
  for (int cuts = 0; result == Look::fixed || (result == Look::cut && cuts < most_cuts);) {
    result = look(box, points, least_wanted);
    if (result == Look::gone) return false;
    if (result == Look::cut) ++cuts;
  }
  choose_split(box);
  return true;
}

bool Examiner::is_too_high(Box& box, double bound, const Points& points) {
  if (bound > box.bound) box.bound = bound;
  if (box.bound > points.limit()) {
    least_dropped_ = std::min(least_dropped_, box.bound);
    return true;
  }
  return false;
}

// In the order of their cost: values over the box, the centre, first and second derivatives. Where
// the formula has no value in a part of the box there is nothing but the values: neither a mean
// value nor a monotonic course need hold there.
Examiner::Look Examiner::look(Box& box, Points& points, double least_wanted) {
  smoothness_ = Smoothness::none;
  defined_ = sweep_values(formula_, box.sides, over_box_);
  if (defined_ == Defined::nowhere) return Look::gone;
  const Interval values = over_box_.value.back();
  if (is_too_high(box, values.lower(), points) || values.upper() < least_wanted) return Look::gone;
  for (std::size_t i = 0; i < n_; ++i) free_[i] = is_point(box.sides[i]) ? 0 : 1;

  const bool has_centre = expand_at_centre(box, points);
  if (defined_ != Defined::everywhere || !has_centre) return Look::settled;
  smoothness_ = sweep_gradient(formula_, over_box_, gradient_);
  if (smoothness_ == Smoothness::none) return Look::settled;
  if (smoothness_ == Smoothness::twice) {
    sweep_hessian(formula_, over_box_, free_, hessian_);
    tighten_gradient(box);
  }
  // Where low values don't count the least one needn't be looked for at the end of a side.
  if (box.bound >= least_wanted && fix_monotonic(box)) return Look::fixed;

  for (std::size_t i = 0; i < n_; ++i) {
    first_order_[i] = {gradient_[i], 0.0};
    second_order_[i] = {point_gradient_[i], 0.0};
    reach_[i] = magnitude(distance(box, i));
  }
  if (smoothness_ == Smoothness::twice) {
    separate(hessian_, reach_, second_order_);
    const Look result = cut(box, points, second_order_);
    if (result != Look::settled) return result;
  }
  const Look result = cut(box, points, first_order_);
  if (result != Look::settled || smoothness_ != Smoothness::twice) return result;
  return bound_convex(box, points);
}

bool Examiner::offer(std::span<const double> x, Points& points, bool is_minimum) {
  std::ranges::transform(x, point_.begin(), [](double t) { return Interval(t); });
  if (sweep_values(formula_, point_, at_point_) != Defined::everywhere) return false;
  point_value_ = at_point_.value.back();
  if (!points.counts(point_value_)) return false;
  const double nearest = local_.value(x);
  if (!std::isfinite(nearest)) return false;
  points.offer(x, std::clamp(nearest, point_value_.lower(), point_value_.upper()), point_value_,
               is_minimum);
  return true;
}

bool Examiner::search_from(std::span<const double> x, std::span<const Interval> sides,
                           Points& points) {
  std::vector<double> end(x.begin(), x.end());
  if (std::isnan(local_.descend(sides, end, deadline_))) return false;
  return offer(end, points, true);
}

// Value and gradient at x; false where there are none. Offers x.
bool Examiner::expand_at(std::span<const double> x, Points& points, bool is_minimum) {
  point_value_ = nothing();
  offer(x, points, is_minimum);
  if (is_nothing(point_value_)) return false;
  return sweep_gradient(formula_, at_point_, point_gradient_) != Smoothness::none;
}

// A centre that is better than all points before it starts a local search.
bool Examiner::expand_at_centre(const Box& box, Points& points) {
  for (std::size_t i = 0; i < n_; ++i) centre_[i] = middle(box.sides[i]);
  const double best = points.best();
  if (!expand_at(centre_, points, false)) return false;
  if (points.best() < best) {
    search_from(centre_, whole_, points);
    return expand_at(centre_, points, false);
  }
  return true;
}

Interval Examiner::distance(const Box& box, std::size_t i) const {
  return free_[i] ? box.sides[i] - Interval(centre_[i]) : Interval(0.0);
}

// gradient(x) = gradient(centre) + H (x - centre) for some H of the interval matrix.
void Examiner::tighten_gradient(const Box& box) {
  for (std::size_t i = 0; i < n_; ++i) {
    if (!free_[i]) continue;
    Interval sum = point_gradient_[i];
    for (std::size_t j = 0; j < n_; ++j) {
      if (free_[j]) sum += hessian_[i * n_ + j] * distance(box, j);
    }
    const Interval both = common(gradient_[i], sum);
    if (!is_nothing(both)) gradient_[i] = both;
  }
}

// Sides along which the formula only rises or falls shrink to their lower end.
bool Examiner::fix_monotonic(Box& box) {
  bool changed = false;
  for (std::size_t i = 0; i < n_; ++i) {
    if (!free_[i]) continue;
    if (gradient_[i].lower() >= 0.0) {
      box.sides[i] = box.sides[i].lower();
    } else if (gradient_[i].upper() <= 0.0) {
      box.sides[i] = box.sides[i].upper();
    } else {
      continue;
    }
    changed = true;
  }
  return changed;
}

// With the value at the centre and parabolas that lie below the change from there.
Examiner::Look Examiner::cut(Box& box, const Points& points, std::span<const Parabola> parabolas) {
  double bound = point_value_.lower();
  for (std::size_t i = 0; i < n_; ++i) {
    const Interval d = distance(box, i);
    least_[i] = free_[i] ? least(parabolas[i], d.lower(), d.upper()) : 0.0;
    bound = OutwardRounding::add_down(bound, least_[i]);
  }
  if (is_too_high(box, bound, points)) return Look::gone;
  if (!(bound > -greatest) || !(points.limit() < greatest)) return Look::settled;

  bool lost_much = false;
  for (std::size_t i = 0; i < n_; ++i) {
    if (!free_[i]) continue;
    const Interval others = Interval(bound) - Interval(least_[i]);
    const double most = (Interval(points.limit()) - others).upper();
    const Interval d = distance(box, i);
    const Interval left = part_up_to(parabolas[i], d, most);
    if (is_nothing(left)) {
      least_dropped_ = std::min(least_dropped_, points.limit());
      return Look::gone;
    }
    if (left.lower() <= d.lower() && left.upper() >= d.upper()) continue;
    const Interval part = common(box.sides[i], Interval(centre_[i]) + left);
    if (is_nothing(part)) continue;
    const double kept = width(part) / width(box.sides[i]);
    least_dropped_ = std::min(least_dropped_, points.limit());
    box.share *= kept;
    box.sides[i] = part;
    lost_much = lost_much || kept < 1.0 - much;
  }
  return lost_much ? Look::cut : Look::settled;
}

// Whether a least point of the box is one of the whole: no side of the box that isn't one of the
// whole holds it back.
bool Examiner::is_free_within(const Box& box, std::span<const double> x) const {
  for (std::size_t i = 0; i < n_; ++i) {
    const bool at_lower = x[i] <= box.sides[i].lower() && x[i] > whole_[i].lower();
    const bool at_upper = x[i] >= box.sides[i].upper() && x[i] < whole_[i].upper();
    if (at_lower || at_upper) return false;
  }
  return true;
}

// A convex function lies above its tangents; the one at its least point is as good as exact.
Examiner::Look Examiner::bound_convex(Box& box, Points& points) {
  if (!is_convex(hessian_, reach_, room_)) return Look::settled;
  for (std::size_t i = 0; i < n_; ++i) {
    centre_[i] = std::clamp(centre_[i], box.sides[i].lower(), box.sides[i].upper());
  }
  if (std::isnan(local_.descend(box.sides, centre_, deadline_))) return Look::settled;
  if (!expand_at(centre_, points, is_free_within(box, centre_))) return Look::settled;
  double bound = point_value_.lower();
  for (std::size_t i = 0; i < n_; ++i) {
    if (!free_[i]) continue;
    const Interval d = distance(box, i);
    bound =
        OutwardRounding::add_down(bound, least({point_gradient_[i], 0.0}, d.lower(), d.upper()));
  }
  return is_too_high(box, bound, points) ? Look::gone : Look::settled;
}

// How much a side has in the looseness of the bound: its part of what second derivatives may add
// or, without them, of the change of the values.
double Examiner::weight(const Box& box, std::size_t i) const {
  const double own = width(box.sides[i]);
  if (smoothness_ != Smoothness::twice) return magnitude(gradient_[i]) * own;
  double sum = 0.0;
  for (std::size_t j = 0; j < n_; ++j) {
    if (free_[j]) sum += magnitude(hessian_[i * n_ + j]) * width(box.sides[j]);
  }
  return sum * own;
}

bool Examiner::can_be_split(const Box& box, std::size_t i) const {
  const Interval& side = box.sides[i];
  const double own = side.upper() - side.lower();
  const double whole = whole_[i].upper() - whole_[i].lower();
  return own > least_part * std::min(whole, magnitude(side)) && own > least_side;
}

// How many halves of a side have a value everywhere or nowhere.
int Examiner::decided_halves(Box& box, std::size_t i) {
  const Interval side = box.sides[i];
  const double cut = middle(side);
  int decided = 0;
  for (const Interval& half : {Interval(side.lower(), cut), Interval(cut, side.upper())}) {
    box.sides[i] = half;
    decided += sweep_values(formula_, box.sides, over_box_) == Defined::partly ? 0 : 1;
  }
  box.sides[i] = side;
  return decided;
}

// The side of the greatest weight. Where a part of the box has no value, the one of which the
// halves tell the most about where that is, and the widest of these.
void Examiner::choose_split(Box& box) {
  constexpr double beyond_all_weights = 1e300;
  box.split = -1;
  double most = -1.0;
  const bool is_partly = defined_ == Defined::partly;  // before the halves are tried
  for (std::size_t i = 0; i < n_; ++i) {
    if (is_point(box.sides[i])) continue;
    if (!can_be_split(box, i)) {
      if (!(is_partly && box.bound == -infinity)) continue;
      box.split = -1;
      return;
    }
    const double part =
        (box.sides[i].upper() - box.sides[i].lower()) / (whole_[i].upper() - whole_[i].lower());
    double score = part;
    if (is_partly) {
      score += 2.0 * decided_halves(box, i);
    } else if (smoothness_ != Smoothness::none) {
      score = weight(box, i);
      if (!(score < beyond_all_weights)) score = beyond_all_weights * (1.0 + part);
    }
    if (score > most) {
      most = score;
      box.split = static_cast<int>(i);
    }
  }
}

}  // namespace mirsolve::box
