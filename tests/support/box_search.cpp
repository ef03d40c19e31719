#include "box_search.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace torve::test {

namespace {

class BoxSearch {
 public:
  explicit BoxSearch(const BoxProblem& problem) : problem_(problem) {}

  std::vector<BoxPoint> search() {
    std::vector<double> x(problem_.lowest.size());
    walk_grid(0, x);
    if (grid_.empty()) return {};
    std::ranges::stable_sort(
        grid_, [&](const BoxPoint& a, const BoxPoint& b) { return is_better(a.value, b.value); });
    const BoxPoint best = improved(grid_.front());
    if (!is_wanted(best.value)) return {};
    std::vector<BoxPoint> found{best};
    for (const BoxPoint& point : grid_) {
      if (found.size() >= problem_.count || !is_wanted(point.value)) break;
      const auto is_away = [&](const BoxPoint& other) { return is_apart(point, other); };
      if (std::ranges::all_of(found, is_away)) found.push_back(point);
    }
    return found;
  }

 private:
  bool is_better(double a, double b) const { return problem_.maximize ? a > b : a < b; }
  bool is_wanted(double value) const {
    return value >= problem_.least_wanted && value <= problem_.most_wanted;
  }
  bool is_apart(const BoxPoint& a, const BoxPoint& b) const {
    for (std::size_t d = 0; d < a.x.size(); ++d) {
      if (std::abs(a.x[d] - b.x[d]) >= problem_.apart) return true;
    }
    return false;
  }
  double width(std::size_t d) const { return problem_.highest[d] - problem_.lowest[d]; }

  void walk_grid(std::size_t d, std::vector<double>& x) {
    if (d == x.size()) {
      const double value = problem_.value(x);
      if (!std::isnan(value)) grid_.push_back({x, value});
      return;
    }
    const int steps = x.size() < 3 ? 100 : 20;
    for (int i = 0; i <= steps; ++i) {
      x[d] = i == steps ? problem_.highest[d] : problem_.lowest[d] + width(d) * i / steps;
      walk_grid(d + 1, x);
    }
  }

  BoxPoint improved(BoxPoint best) const {
    for (double part = 0.01; part > 1e-12;) {
      bool moved = false;
      for (std::size_t d = 0; d < best.x.size(); ++d) {
        for (const double side : {-1.0, 1.0}) {
          std::vector<double> x = best.x;
          x[d] = std::clamp(x[d] + side * part * width(d), problem_.lowest[d], problem_.highest[d]);
          const double value = problem_.value(x);
          if (!is_better(value, best.value)) continue;
          best = {std::move(x), value};
          moved = true;
        }
      }
      if (!moved) part /= 2.0;
    }
    return best;
  }

  const BoxProblem& problem_;
  std::vector<BoxPoint> grid_;
};

}  // namespace

std::vector<BoxPoint> search_box(const BoxProblem& problem) {
  return BoxSearch(problem).search();
}

}  // namespace torve::test
