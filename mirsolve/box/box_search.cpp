#include "mirsolve/box/box_search.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace mirsolve::box {

namespace {

struct HigherBound {
  bool operator()(const Box& a, const Box& b) const { return a.bound > b.bound; }
};

std::size_t boxes_in(std::size_t bytes, std::size_t inputs) {
  return std::max<std::size_t>(16, bytes / (sizeof(Box) + 16 + inputs * sizeof(Interval)));
}

std::vector<double> middle_of(std::span<const Interval> sides) {
  std::vector<double> x;
  for (const Interval& side : sides) x.push_back(middle(side));
  return x;
}

}  // namespace

BoxSearch::BoxSearch(const Formula& formula, std::span<const Interval> sides,
                     const SearchRules& rules, const Deadline& deadline)
    : sides_(sides.begin(), sides.end()),
      rules_(rules),
      deadline_(deadline),
      examiner_(formula, sides, deadline_),
      points_(rules.wanted, sides),
      most_boxes_(boxes_in(rules.most_bytes, sides.size())) {}

// Whether the search ends here, proof or not.
bool BoxSearch::is_over() const {
  return deadline_.is_over() || (rules_.first_will_do && points_.has_any());
}

SearchResult BoxSearch::run() {
  search_starts();
  if (!is_over()) examiner_.offer(middle_of(sides_), points_, false);
  const auto inputs = static_cast<int>(std::min<std::size_t>(sides_.size(), 100));
  search_samples(32 + 16 * inputs, 3 + rules_.wanted.count);
  if (!is_over()) add({.sides = sides_});
  branch();
  finish();
  if (points_.has_any() && rules_.wanted.count > 1) spread();
  result_.points = points_.chosen();
  return std::move(result_);
}

void BoxSearch::search_starts() {
  for (const std::vector<double>& start : rules_.starts) {
    if (is_over()) return;
    examiner_.search_from(start, sides_, points_);
  }
}

std::vector<double> BoxSearch::sample() {
  std::vector<double> x(sides_.size());
  for (std::size_t i = 0; i < x.size(); ++i) {
    const double low = sides_[i].lower();
    const double high = sides_[i].upper();
    x[i] = std::clamp(low + chance() * (high - low), low, high);
  }
  return x;
}

// Local searches from the best of random points, and not from near the minima that are known. Where
// a formula takes long the points are fewer: most of the time belongs to the proof.
void BoxSearch::search_samples(int samples, std::size_t most_searches) {
  std::vector<Point> tried;
  const double enough = 0.9 * deadline_.left();
  for (int i = 0; i < samples && !is_over() && deadline_.left() > enough; ++i) {
    std::vector<double> x = sample();
    const double value = examiner_.value(x);
    if (!std::isnan(value)) tried.push_back({std::move(x), value});
  }
  std::ranges::sort(tried, {}, &Point::value);
  std::size_t searches = 0;
  for (const Point& start : tried) {
    if (searches >= most_searches || is_over()) return;
    if (!points_.is_apart(start.x, points_.minima())) continue;
    examiner_.search_from(start.x, sides_, points_);
    ++searches;
  }
}

void BoxSearch::branch() {
  Box box;
  while (!is_over() && take(box)) {
    if (box.split >= 0) {
      split(box);
      continue;
    }
    ++result_.undecided;
    result_.undecided_bound = std::min(result_.undecided_bound, box.bound);
  }
}

// The next box; false when there is none that matters.
bool BoxSearch::take(Box& box) {
  if (!stack_.empty()) {
    box = std::move(stack_.back());
    stack_.pop_back();
    return true;
  }
  if (heap_.empty() || heap_.front().bound > points_.limit()) return false;
  std::ranges::pop_heap(heap_, HigherBound{});
  box = std::move(heap_.back());
  heap_.pop_back();
  return true;
}

void BoxSearch::split(const Box& box) {
  const auto i = static_cast<std::size_t>(box.split);
  const double cut = middle(box.sides[i]);
  Box half = box;
  half.share = 0.5 * box.share;
  half.sides[i] = Interval(box.sides[i].lower(), cut);
  add(half);
  half = box;
  half.share = 0.5 * box.share;
  half.sides[i] = Interval(cut, box.sides[i].upper());
  add(std::move(half));
}

void BoxSearch::add(Box box) {
  ++result_.examined;
  if (!examiner_.examine(box, points_, rules_.wanted.least)) return;
  if (heap_.size() < most_boxes_) {
    heap_.push_back(std::move(box));
    std::ranges::push_heap(heap_, HigherBound{});
  } else {
    result_.ran_short = true;
    stack_.push_back(std::move(box));
  }
}

// What the boxes that are left and those that are gone prove.
void BoxSearch::finish() {
  double bound = std::min(examiner_.least_dropped(), result_.undecided_bound);
  for (const std::vector<Box>* boxes : {&heap_, &stack_}) {
    for (const Box& box : *boxes) {
      bound = std::min(bound, box.bound);
      if (box.bound > points_.limit()) continue;
      ++result_.left;
      result_.share_left += box.share;
    }
  }
  if (result_.examined == 0) {
    bound = -infinity;
    result_.left = 1;
    result_.share_left = 1.0;
  }
  result_.is_first = rules_.first_will_do && points_.has_any();
  result_.time_is_over = !result_.is_first && result_.left > 0;
  result_.bound = std::min(bound, points_.best());
  result_.gap = points_.gap();
}

// More points for those who ask for several: minima of other regions first, and then what lies
// around the points that there are.
void BoxSearch::spread() {
  if (!points_.has_enough_minima()) {
    search_samples(400, 4 * rules_.wanted.count);
  }
  if (points_.chosen().size() >= rules_.wanted.count) return;
  for (const Point& point : points_.chosen()) spread_around(point);
}

void BoxSearch::spread_around(const Point& point) {
  std::vector<double> x(point.x.size());
  double reach = 0.5;
  while (reach > rules_.wanted.isolation) {
    for (int trial = 0; trial < 64; ++trial) {
      if (is_over() || points_.has_enough()) return;
      for (std::size_t i = 0; i < x.size(); ++i) {
        const double side = sides_[i].upper() - sides_[i].lower();
        x[i] = std::clamp(point.x[i] + (2.0 * chance() - 1.0) * reach * side, sides_[i].lower(),
                          sides_[i].upper());
      }
      examiner_.offer(x, points_, false);
    }
    reach *= 0.5;
  }
}

}  // namespace mirsolve::box
