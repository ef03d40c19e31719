#include "mirsolve/box/points.h"

#include <algorithm>
#include <cmath>

namespace mirsolve::box {

Points::Points(const Wanted& wanted, std::span<const Interval> sides)
    : wanted_(wanted), limit_(wanted.most) {
  for (const Interval& side : sides) widths_.push_back(side.upper() - side.lower());
}

bool Points::counts(const Interval& value) const {
  return value.lower() <= wanted_.most && value.upper() >= wanted_.least &&
         value.upper() <= greatest;
}

// The gap never asks for more than the arithmetic of the best point can give.
void Points::offer(std::span<const double> x, double value, const Interval& proof,
                   bool is_minimum) {
  if (proof.upper() < best_) {
    best_ = proof.upper();
    const double rounding = 4.0 * width(proof);
    gap_ = std::max({wanted_.absolute_gap, wanted_.relative_gap * std::abs(best_), rounding});
    limit_ = std::min(limit_, best_ - gap_);
    first_ = {{x.begin(), x.end()}, value};
  }
  keep(is_minimum ? minima_ : others_, (is_minimum ? 1 : 2) * wanted_.count, x, value);
}

bool Points::is_apart(std::span<const double> x, std::span<const Point> from) const {
  return std::ranges::all_of(from, [&](const Point& point) {
    double square = 0.0;
    for (std::size_t i = 0; i < x.size(); ++i) {
      const double distance = widths_[i] > 0.0 ? (x[i] - point.x[i]) / widths_[i] : 0.0;
      square += distance * distance;
    }
    return std::sqrt(square) >= wanted_.isolation && square > 0.0;
  });
}

// Into a sorted list, unless a better point is near; worse ones that are near leave it.
void Points::keep(std::vector<Point>& list, std::size_t most, std::span<const double> x,
                  double value) const {
  const auto place = std::ranges::upper_bound(list, value, {}, &Point::value);
  const auto ahead = static_cast<std::size_t>(place - list.begin());
  if (ahead >= most || !is_apart(x, std::span(list).first(ahead))) return;
  list.insert(place, {{x.begin(), x.end()}, value});
  const auto own = list.begin() + static_cast<std::ptrdiff_t>(ahead);
  list.erase(std::remove_if(own + 1, list.end(),
                            [&](const Point& worse) {
                              return !is_apart(worse.x, {&*own, 1});
                            }),
             list.end());
  if (list.size() > most) list.pop_back();
}

std::vector<Point> Points::chosen() const {
  std::vector<Point> result;
  if (!has_any()) return result;
  result.push_back(first_);
  for (const std::vector<Point>* list : {&minima_, &others_}) {
    for (const Point& point : *list) {
      if (result.size() < wanted_.count && is_apart(point.x, result)) result.push_back(point);
    }
  }
  std::ranges::stable_sort(result, {}, &Point::value);
  return result;
}

}  // namespace mirsolve::box
