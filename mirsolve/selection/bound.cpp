#include "mirsolve/selection/bound.h"

#include <algorithm>
#include <limits>
#include <numeric>

namespace mirsolve::selection {

namespace {

constexpr double infinite = std::numeric_limits<double>::infinity();

std::size_t at(int i) {
  return static_cast<std::size_t>(i);
}

// How many columns have to come in for the limit of the sum of squares; one more than there are
// when not even all of them do.
int least_for_limit(const Outlook& outlook, Bounds& bounds) {
  const int n = static_cast<int>(outlook.costs.size());
  if (outlook.squares > outlook.square_limit) return n + 1;
  bounds.sorted.assign(outlook.alone.begin(), outlook.alone.end());
  bounds.saved.assign(outlook.part.begin(), outlook.part.end());
  std::ranges::sort(bounds.sorted);
  std::ranges::sort(bounds.saved);
  double sum = 0.0;
  for (int out = 0; out < n; ++out) {
    sum += bounds.saved[at(out)];
    const double squares =
        std::max(outlook.squares + bounds.sorted[at(out)], outlook.separable_squares + sum);
    if (squares > outlook.square_limit) return n - out;
  }
  return 0;
}

// All columns out at the price of their part, and then the cheapest exchanges for coming in.
class Separable {
 public:
  Separable(const Outlook& outlook, int least, int most, Bounds& bounds)
      : outlook_(outlook), least_(least), most_(most), order_(bounds.order) {
    const int n = static_cast<int>(outlook.costs.size());
    order_.resize(at(n));
    std::iota(order_.begin(), order_.end(), 0);
    std::ranges::sort(order_, {}, [&](int j) { return gain(j); });
    total_ = outlook.cost + weight() * outlook.separable_squares;
    for (const double part : outlook.part) total_ += weight() * part;
    while (count_ < most && (count_ < least || gain(order_[at(count_)]) < 0.0)) {
      total_ += gain(order_[at(count_++)]);
    }
  }

  double value() const { return total_; }

  void tell_exchanges(Bounds& bounds) const {
    const int n = static_cast<int>(order_.size());
    const double next = count_ < n ? gain(order_[at(count_)]) : infinite;
    const double last = count_ > 0 ? gain(order_[at(count_ - 1)]) : infinite;
    const double filled = count_ - 1 >= least_ ? std::min(0.0, next) : next;
    const double freed = count_ == most_ || last > 0.0 ? last : 0.0;
    for (int i = 0; i < n; ++i) {
      const int j = order_[at(i)];
      if (i < count_) {
        bounds.without[at(j)] = std::max(bounds.without[at(j)], total_ - gain(j) + filled);
      } else if (most_ == 0) {
        bounds.with[at(j)] = infinite;
      } else {
        const double left = count_ > 0 ? freed : 0.0;
        bounds.with[at(j)] = std::max(bounds.with[at(j)], total_ + gain(j) - left);
      }
    }
  }

 private:
  double weight() const { return outlook_.counts_squares ? 1.0 : 0.0; }
  double gain(int j) const { return outlook_.costs[at(j)] - weight() * outlook_.part[at(j)]; }

  const Outlook& outlook_;
  int least_;
  int most_;
  int count_ = 0;
  double total_ = 0.0;
  std::vector<int>& order_;
};

// The raise by single columns: with p of n columns in, n - p are out, the greatest of which raises
// by what stands at place n - p in ascending order.
double single_bound(const Outlook& outlook, int least, int most, Bounds& bounds) {
  const int n = static_cast<int>(outlook.costs.size());
  bounds.sorted.assign(outlook.alone.begin(), outlook.alone.end());
  bounds.saved.assign(outlook.costs.begin(), outlook.costs.end());
  std::ranges::sort(bounds.sorted);
  std::ranges::sort(bounds.saved);
  const double weight = outlook.counts_squares ? 1.0 : 0.0;
  double cost = outlook.cost;
  double least_cost = infinite;
  double best = infinite;
  for (int p = 0; p <= most; ++p) {
    if (p > 0) cost += bounds.saved[at(p - 1)];
    if (p < least) continue;
    const double raise = p < n ? bounds.sorted[at(n - p - 1)] : 0.0;
    best = std::min(best, cost + weight * (outlook.squares + raise));
    least_cost = std::min(least_cost, cost);
  }
  for (int j = 0; j < n; ++j) {
    const double squares = outlook.squares + outlook.alone[at(j)];
    double without = std::max(best, least_cost + weight * squares);
    if (squares > outlook.square_limit) without = infinite;
    bounds.without[at(j)] = std::max(bounds.without[at(j)], without);
    bounds.with[at(j)] = std::max(bounds.with[at(j)], best);
  }
  return best;
}

}  // namespace

void find_bounds(const Outlook& outlook, Bounds& bounds) {
  const int n = static_cast<int>(outlook.costs.size());
  bounds.with.assign(at(n), -infinite);
  bounds.without.assign(at(n), -infinite);
  const int most = std::min(n, outlook.most);
  const int least = std::max({0, outlook.least, least_for_limit(outlook, bounds)});
  if (least > most) {
    bounds.value = infinite;
    return;
  }
  const Separable separable(outlook, least, most, bounds);
  separable.tell_exchanges(bounds);
  bounds.value = std::max(separable.value(), single_bound(outlook, least, most, bounds));
}

}  // namespace mirsolve::selection
