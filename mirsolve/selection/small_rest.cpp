#include "mirsolve/selection/small_rest.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "model/fast_walk/walk.h"

namespace mirsolve::selection {

namespace {

namespace walks = torve::fast_walk;

std::size_t at(int i) {
  return static_cast<std::size_t>(i);
}

// Four sums side by side, as the processor adds several numbers in the time that one takes.
double product(const double* a, const double* b, int n) {
  double sums[4] = {0.0, 0.0, 0.0, 0.0};
  int i = 0;
  for (; i + 4 <= n; i += 4) {
    for (int l = 0; l < 4; ++l) sums[l] += a[i + l] * b[i + l];
  }
  for (; i < n; ++i) sums[0] += a[i] * b[i];
  return (sums[0] + sums[1]) + (sums[2] + sums[3]);
}

void subtract_along(const double* q, double* v, int n) {
  const double along = product(q, v, n);
  for (int i = 0; i < n; ++i) v[i] -= along * q[i];
}

// The triangle as the walk wants it; places are the columns in their order.
walks::Triangle triangle_for_walk(const Triangle& from) {
  constexpr double least_ratio = 1e-13;
  constexpr double margin = 1e-9;
  walks::Triangle to;
  const int n = from.size;
  to.places = n;
  to.height = n;
  to.stride = walks::padded(n);
  to.rows.assign(at(n) * at(to.stride), 0.0);
  to.z.assign(at(n), 0.0);
  to.squares.assign(at(n), 0.0);
  to.tail = to.yy = from.tail;
  for (int i = 0; i < n; ++i) {
    double* row = to.rows.data() + at(i) * at(to.stride);
    for (int j = i; j < n; ++j) {
      row[j] = from.at(i, j);
      to.squares[at(j)] += row[j] * row[j];
    }
    to.z[at(i)] = from.z(i);
    to.yy += from.z(i) * from.z(i);
  }
  to.least_ratio = least_ratio;
  to.margin = margin;
  return to;
}

}  // namespace

void SubsetFit::begin(const Triangle& triangle) {
  triangle_ = &triangle;
  size_ = triangle.size;
  columns_.clear();
  rests_.resize(at(size_));
  for (int i = 0; i < size_; ++i) rests_[at(i)] = triangle.z(i);
}

void SubsetFit::add(int column) {
  constexpr double least_left = 1e-13;  // of a column's length
  constexpr double much = 0.25;         // of its square
  const auto place = static_cast<int>(columns_.size());
  vectors_.resize(std::max(vectors_.size(), at(place + 1) * at(size_)));
  rests_.resize(std::max(rests_.size(), at(place + 2) * at(size_)));
  double* v = vector(place);
  std::fill(v, v + size_, 0.0);
  for (int i = 0; i <= column; ++i) v[i] = triangle_->at(i, column);
  const double before = product(v, v, size_);
  double left = before;
  for (int round = 0; round < 3; ++round) {
    const double last = left;
    for (int k = 0; k < place; ++k) subtract_along(vector(k), v, size_);
    left = product(v, v, size_);
    if (left > much * last) break;
  }
  const bool is_new = left > least_left * least_left * before;
  const double scale = is_new ? 1.0 / std::sqrt(left) : 0.0;
  for (int i = 0; i < size_; ++i) v[i] *= scale;
  std::copy_n(rest(place), size_, rest(place + 1));
  subtract_along(v, rest(place + 1), size_);
  columns_.push_back(column);
}

double SubsetFit::squares(std::span<const int> columns) {
  const auto [mine, theirs] = std::ranges::mismatch(columns_, columns);
  columns_.erase(mine, columns_.end());
  for (auto column = theirs; column != columns.end(); ++column) add(*column);
  const double* z = rest(static_cast<int>(columns.size()));
  return triangle_->tail + product(z, z, size_);
}

SmallRest::SmallRest(const Model& model, const Data& data, Logic& logic, Incumbent& incumbent,
                     const Deadline& deadline)
    : model_(model), data_(data), logic_(logic), incumbent_(incumbent), deadline_(deadline) {}

double SmallRest::count(const Outlook& outlook) {
  const auto n = static_cast<int>(outlook.costs.size());
  std::vector<double> costs(outlook.costs.begin(), outlook.costs.end());
  std::vector<double> alone(outlook.alone.begin(), outlook.alone.end());
  std::ranges::sort(costs);
  std::ranges::sort(alone);
  cheapest_.assign(1, 0.0);
  least_ = n + 1;
  most_ = -1;
  double sum = 0.0;
  for (int size = 0; size <= std::min(n, outlook.most); ++size) {
    if (size > 0) cheapest_.push_back(cheapest_.back() + costs[at(size - 1)]);
    const double squares = outlook.squares + (size < n ? alone[at(n - size - 1)] : 0.0);
    const double value = outlook.cost + cheapest_.back() + (outlook.counts_squares ? squares : 0.0);
    if (size < outlook.least || squares > outlook.square_limit || value >= incumbent_.threshold()) {
      continue;
    }
    least_ = std::min(least_, size);
    most_ = size;
    sum += static_cast<double>(walks::binomial(n, size));
  }
  return sum;
}

// Sums of squares above this are of no use, in units of the triangle.
double SmallRest::limit_of(int size) const {
  double limit = square_limit_;
  const double room = incumbent_.threshold() - cost_ - cheapest_[at(size)];
  if (model_.counts_squares) limit = std::min(limit, room);
  if (!model_.counts_squares && room <= 0.0) return -1.0;
  return std::min(limit / data_.unit, std::numeric_limits<double>::max());
}

// What the walk hands over is looked at once more by a fit that loses no digits.
class SmallRest::Offers : public walks::Visitor {
 public:
  Offers(SmallRest& rest, int size, double slack) : rest_(rest), size_(size), slack_(slack) {
    places_.resize(at(size));
    renew();
  }
  bool subset(std::uint64_t, std::span<const int> columns, double) override {
    for (std::size_t i = 0; i < columns.size(); ++i) {
      places_[i] = rest_.triangle_->size - 1 - columns[i];
    }
    rest_.offer(places_, rest_.fit_.squares(places_));
    renew();
    // The walk pauses by its own leaves, and those that are doubtful come at another pace.
    rest_.fits_ += 1.0;
    return ++handed_ % 256 != 0 || !rest_.deadline_.is_over();
  }
  bool pause(std::uint64_t) override { return !rest_.deadline_.is_over(); }

 private:
  void renew() { limit = rest_.limit_of(size_) + slack_; }

  SmallRest& rest_;
  int size_;
  double slack_;
  std::vector<int> places_;
  int handed_ = 0;
};

void SmallRest::offer(std::span<const int> places, double squares) {
  if (!(squares <= limit_of(static_cast<int>(places.size())))) return;
  std::vector<Position> positions(positions_.begin(), positions_.end());
  for (const int column : columns_) {
    positions[at(model_.columns[at(column)].choice)] = Position::off;
  }
  for (const int place : places) {
    positions[at(model_.columns[at(columns_[at(place)])].choice)] = Position::on;
  }
  if (logic_.complete(positions)) incumbent_.offer(positions);
}

bool SmallRest::try_size(int size) {
  if (size <= 1) {
    if (size == 0) offer({}, fit_.squares({}));
    for (int j = 0; size == 1 && j < triangle_->size; ++j) {
      offer({&j, 1}, fit_.squares({&j, 1}));
    }
    return true;
  }
  const walks::Triangle triangle = triangle_for_walk(*triangle_);
  Offers offers(*this, size, triangle.margin * triangle.yy);
  leaves_ += static_cast<double>(walks::binomial(triangle_->size, size));
  walks::Walk walk(triangle, size, walks::widest_kernels());
  return walk.run(offers);
}

void SmallRest::begin(const Node& node, const Outlook& outlook) {
  triangle_ = &node.triangle;
  fit_.begin(node.triangle);
  columns_ = node.columns;
  positions_ = node.positions;
  cost_ = outlook.cost;
  square_limit_ = outlook.square_limit;
}

bool SmallRest::try_one(const Node& node, const Outlook& outlook, int size) {
  begin(node, outlook);
  return (limit_of(size) < 0.0 || try_size(size)) && !deadline_.is_over();
}

bool SmallRest::try_all(const Node& node, const Outlook& outlook) {
  for (int size = least_; size <= most_; ++size) {
    if (!try_one(node, outlook, size)) return false;
  }
  return true;
}

}  // namespace mirsolve::selection
