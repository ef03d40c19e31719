#include "mirsolve/selection/search.h"

#include <algorithm>
#include <cmath>

#include "model/fast_walk/walk.h"

namespace mirsolve::selection {

namespace {

constexpr double most_numbers_held = 6e7;  // in the triangles of all levels
constexpr double work_of_a_node = 5e3;     // in subsets of the walk over all

std::size_t at(int i) {
  return static_cast<std::size_t>(i);
}

// Whole numbers that rounding has moved count as themselves.
int whole_below(double count) {
  return static_cast<int>(std::floor(count + 1e-9));
}

template <class T>
void erase_place(std::vector<T>& list, std::size_t place) {
  list.erase(list.begin() + static_cast<std::ptrdiff_t>(place));
}

}  // namespace

Search::Search(const Model& model, const Data& data, Logic& logic, Incumbent& incumbent,
               const Deadline& deadline)
    : model_(model),
      data_(data),
      logic_(logic),
      incumbent_(incumbent),
      deadline_(deadline),
      limited_fit_(model, data),
      small_rest_(model, data, logic, incumbent, deadline) {
  find_size_rows();
  has_rules_ = size_rows_.size() < model.logic.size();
}

void Search::find_size_rows() {
  std::size_t switches = 0;
  for (const Column& column : model_.columns) switches += column.choice == no_switch ? 0 : 1;
  for (const Row& row : model_.logic) {
    if (row.terms.size() != switches || switches == 0) continue;
    const double factor = row.terms.front().second;
    const bool is_size = std::ranges::all_of(row.terms, [&](const auto& term) {
      return term.second == factor && model_.choices[at(term.first)].column >= 0;
    });
    if (is_size) size_rows_.push_back({factor, row.limit});
  }
}

void Search::begin(std::vector<Position> start) {
  levels_.emplace_back();
  Level& root = levels_.front();
  root.positions = std::move(start);
  root.triangle = data_.triangle;
  for (int j = 0; j < data_.columns; ++j) root.columns.push_back(j);
  root.part.assign(root.columns.size(), 0.0);
  root.bound = model_.constant + (model_.counts_squares ? data_.unit * root.triangle.tail : 0.0);
  for (const Choice& choice : model_.choices) root.bound += std::min(0.0, choice.cost);
}

bool Search::cut(double bound) {
  lowest_cut_ = std::min(lowest_cut_, bound);
  return false;
}

// Takes the columns whose positions are decided out of the triangle.
void Search::remove_decided(Level& level) {
  for (int place = level.triangle.size - 1; place >= 0; --place) {
    const int choice = model_.columns[at(level.columns[at(place)])].choice;
    const Position position = choice == no_switch ? Position::on : level.positions[at(choice)];
    if (position == Position::open) continue;
    if (position == Position::on) {
      take_column(level.triangle, place, other_);
    } else {
      drop_column(level.triangle, place, other_);
    }
    std::swap(level.triangle, other_);
    erase_place(level.columns, at(place));
    erase_place(level.part, at(place));
  }
}

// The part that separates grows when columns leave, as a principal submatrix is better conditioned.
void Search::refresh_part(Level& level) {
  const int n = level.triangle.size;
  if (n == 0 || (level.part_size > 0 && n > 0.85 * level.part_size)) return;
  parts_.resize(at(n));
  separable_part(n, fit_, parts_);
  double now = 0.0;
  double before = 0.0;
  for (int i = 0; i < n; ++i) {
    const double square = fit_.x[at(i)] * fit_.x[at(i)];
    now += parts_[at(i)] * square;
    before += level.part[at(i)] * square;
  }
  level.part_size = n;
  if (now > before) level.part = parts_;
}

// The limit of the sum of squares with what rounding may add to the residual's length.
double Search::loose_limit() const {
  if (!model_.square_limit) return infinite;
  if (*model_.square_limit < 0.0) return *model_.square_limit;
  const double length = std::sqrt(*model_.square_limit) + 1e-13 * std::sqrt(data_.unit);
  return length * length;
}

int Search::columns_on(const Level& level) const {
  int on = 0;
  for (std::size_t i = 0; i < level.positions.size(); ++i) {
    if (level.positions[i] == Position::on && model_.choices[i].column >= 0) ++on;
  }
  return on;
}

// What the bounds need to know of the level.
void Search::describe(const Level& level) {
  const std::size_t n = level.columns.size();
  costs_.resize(n);
  parts_.resize(n);
  alone_.resize(n);
  for (std::size_t i = 0; i < n; ++i) {
    const double square = data_.unit * fit_.x[i] * fit_.x[i];
    const double alone = square / fit_.variances[i];
    const double part = square * level.part[i];
    alone_[i] = std::isfinite(alone) ? alone : 0.0;
    parts_[i] = std::isfinite(part) ? std::min(part, alone_[i]) : 0.0;
    costs_[i] = model_.choices[at(model_.columns[at(level.columns[i])].choice)].cost;
  }
  outlook_.counts_squares = model_.counts_squares;
  outlook_.square_limit = loose_limit();
  outlook_.squares = data_.unit * level.triangle.tail;
  outlook_.separable_squares = outlook_.squares;
  outlook_.cost = model_.constant;
  const int on = columns_on(level);
  for (std::size_t i = 0; i < level.positions.size(); ++i) {
    const Choice& choice = model_.choices[i];
    if (level.positions[i] == Position::on) {
      outlook_.cost += choice.cost;
    } else if (level.positions[i] == Position::open && choice.column < 0) {
      outlook_.cost += std::min(0.0, choice.cost);
    }
  }
  outlook_.least = std::max(0, least_size_ - (on - root_on_));
  outlook_.most = static_cast<int>(n);
  for (const SizeRow& row : size_rows_) {
    // The logic keeps the count of those on within the limits, so that neither is far from 0.
    const double count =
        std::clamp(row.limit / row.factor - on, -1.0, static_cast<double>(n) + 1.0);
    if (row.factor > 0.0) outlook_.most = std::min(outlook_.most, whole_below(count));
    if (row.factor < 0.0) outlook_.least = std::max(outlook_.least, -whole_below(-count));
  }
  outlook_.costs = costs_;
  outlook_.part = parts_;
  outlook_.alone = alone_;
}

// The fit under the rows and bounds of coefficients, where these have made a difference before.
bool Search::is_excluded_by_limits(Level& level) {
  if (!incumbent_.limits_matter()) return false;
  list_columns_in(model_, level.positions, in_);
  const Outcome outcome = limited_fit_.fit(in_, level.columns, Basis::triangle);
  if (outcome == Outcome::impossible) return !cut(infinite);
  if (outcome == Outcome::failed || !limited_fit_.was_limited()) return false;
  std::ranges::fill(parts_, 0.0);
  std::ranges::fill(alone_, 0.0);
  // The sum without limits is the surer one where nothing holds the fit back.
  outlook_.squares = std::max(outlook_.squares, data_.unit * limited_fit_.squares());
  outlook_.separable_squares = outlook_.squares;
  Bounds bounds;
  find_bounds(outlook_, bounds);
  level.bound = std::max(level.bound, bounds.value);
  return level.bound >= incumbent_.threshold() && !cut(level.bound);
}

// Decides columns by their bounds and what follows from that by the logic. False when nothing is
// left of the node.
bool Search::decide(Level& level, bool& changed) {
  const double threshold = incumbent_.threshold();
  changed = false;
  for (std::size_t i = 0; i < level.columns.size(); ++i) {
    const int choice = model_.columns[at(level.columns[i])].choice;
    const bool not_on = bounds_.with[i] >= threshold;
    const bool not_off = bounds_.without[i] >= threshold;
    if (not_on && not_off) return cut(std::min(bounds_.with[i], bounds_.without[i]));
    if (!not_on && !not_off) continue;
    cut(not_on ? bounds_.with[i] : bounds_.without[i]);
    const Position wanted = not_on ? Position::off : Position::on;
    Position& position = level.positions[at(choice)];
    if (position != Position::open && position != wanted) return false;
    if (position == wanted) continue;
    position = wanted;
    changed = true;
    if (!logic_.propagate_from(level.positions, choice)) return false;
  }
  return true;
}

// Looks for a better separable bound; what is found for single columns holds beside it.
void Search::improve(const Level& level) {
  const std::size_t n = level.columns.size();
  if (!model_.counts_squares ||
      std::ranges::any_of(level.part, [](double f) { return f <= 0.0; })) {
    return;
  }
  std::vector<double> costs(n);
  for (std::size_t i = 0; i < n; ++i) costs[i] = costs_[i] / data_.unit;
  perspective_.improve(level.triangle, level.part, costs, fit_.x);
  for (std::size_t i = 0; i < n; ++i) parts_[i] = data_.unit * perspective_.part()[i];
  outlook_.separable_squares = data_.unit * perspective_.squares();
  Bounds better;
  find_bounds(outlook_, better);
  bounds_.value = std::max(bounds_.value, better.value);
  for (std::size_t i = 0; i < n; ++i) {
    bounds_.with[i] = std::max(bounds_.with[i], better.with[i]);
    bounds_.without[i] = std::max(bounds_.without[i], better.without[i]);
  }
}

// One look at a level whose triangle is up to date. False when it is cut.
bool Search::look(Level& level) {
  fit_all(level.triangle, fit_);
  refresh_part(level);
  describe(level);
  find_bounds(outlook_, bounds_);
  if (bounds_.value < incumbent_.threshold()) improve(level);
  level.bound = std::max(level.bound, bounds_.value);
  return level.bound < incumbent_.threshold() || cut(level.bound);
}

// Brings a level to where a decision is due. False when nothing is left of it.
bool Search::settle(Level& level) {
  bool changed = true;
  while (changed) {
    remove_decided(level);
    if (!look(level) || !decide(level, changed)) return false;
  }
  if (is_excluded_by_limits(level) || finish(level)) return false;
  set_branch(level);
  if (level.branch >= 0) return true;
  incumbent_.offer(level.positions);
  return false;
}

// What the search has taken so far, in subsets of the walk.
double Search::work() const {
  return work_of_a_node * static_cast<double>(nodes_) + small_rest_.work();
}

// Tries all that is left of a level where that is little beside what the search has taken so far.
// Rules and limits are left to the search, which sees them before there is a model. False when
// nothing was done.
bool Search::finish(Level& level) {
  constexpr double always = 2.0 * work_of_a_node;
  constexpr double part = 0.1;
  if (has_rules_ || incumbent_.limits_matter() || level.columns.empty()) return false;
  const double leaves = small_rest_.count(outlook_);
  if (small_rest_.work_of(leaves) > std::max(always, part * work())) return false;
  const bool is_done =
      small_rest_.try_all({level.triangle, level.columns, level.positions}, outlook_);
  cut(is_done ? incumbent_.threshold() : level.bound);
  return true;
}

void Search::keep_root() {
  root_outlook_ = outlook_;
  root_costs_ = costs_;
  root_parts_ = parts_;
  root_alone_ = alone_;
  root_outlook_.costs = root_costs_;
  root_outlook_.part = root_parts_;
  root_outlook_.alone = root_alone_;
  root_on_ = columns_on(levels_.front());
}

// Tries all models of the next size from below where that takes no longer than the search has taken
// so far. What is left has to pay for more columns.
void Search::raise_least_size() {
  constexpr double at_first = 2e5;
  const Level& root = levels_.front();
  while (!has_rules_ && !incumbent_.limits_matter() && !root.columns.empty()) {
    const auto open = static_cast<int>(root.columns.size());
    const auto leaves = static_cast<double>(torve::fast_walk::binomial(open, least_size_));
    if (small_rest_.work_of(leaves) > std::max(at_first, work())) return;
    small_rest_.count(root_outlook_);
    if (least_size_ > small_rest_.most()) return;
    const bool is_done = least_size_ < root_outlook_.least ||
                         small_rest_.try_one({root.triangle, root.columns, root.positions},
                                             root_outlook_, least_size_);
    if (!is_done) return;
    ++least_size_;
  }
}

// The column that costs most to leave out; the side with the lower bound first. Groups come when
// all columns are decided.
void Search::set_branch(Level& level) {
  level.branch = -1;
  level.second = Position::open;
  std::size_t best = 0;
  double score = -1.0;
  for (std::size_t i = 0; i < level.columns.size(); ++i) {
    const double rise = bounds_.without[i] - bounds_.value;
    if (rise > score || level.branch < 0) {
      best = i;
      score = rise;
      level.branch = model_.columns[at(level.columns[i])].choice;
    }
  }
  if (level.branch < 0) {
    branch_on_group(level);
    return;
  }
  const bool on_first = bounds_.with[best] <= bounds_.without[best];
  level.second = on_first ? Position::off : Position::on;
  level.second_bound = std::max(level.bound, on_first ? bounds_.without[best] : bounds_.with[best]);
}

void Search::branch_on_group(Level& level) {
  const auto found = std::ranges::find(level.positions, Position::open);
  if (found == level.positions.end()) return;
  level.branch = static_cast<int>(found - level.positions.begin());
  level.second = model_.choices[at(level.branch)].cost < 0.0 ? Position::off : Position::on;
  level.second_bound = level.bound;
}

// Makes the child of a level, one deeper.
void Search::descend(std::size_t depth, Position position, double bound) {
  if (levels_.size() < depth + 2) {
    levels_.emplace_back();
    numbers_held_ += static_cast<double>(levels_[depth].triangle.rows.size());
  }
  const Level& parent = levels_[depth];
  Level& child = levels_[depth + 1];
  child.positions = parent.positions;
  child.columns = parent.columns;
  child.part = parent.part;
  child.part_size = parent.part_size;
  child.triangle = parent.triangle;
  child.bound = bound;
  child.branch = -1;
  child.second = Position::open;
  child.positions[at(parent.branch)] = position;
}

// The least bound of what was left undone.
double Search::open_bound(std::size_t depth) const {
  double bound = lowest_cut_;
  for (std::size_t i = 0; i <= depth && i < levels_.size(); ++i) {
    if (i == depth) bound = std::min(bound, levels_[i].bound);
    if (levels_[i].second != Position::open) bound = std::min(bound, levels_[i].second_bound);
  }
  return bound;
}

Found Search::run(std::vector<Position> start, bool first_will_do) {
  Found found;
  begin(std::move(start));
  std::size_t depth = 0;
  bool is_new = true;  // the level was just made
  while (true) {
    const bool is_too_large = numbers_held_ > most_numbers_held;
    const bool will_do = first_will_do && incumbent_.exists() && found.nodes > 0;
    if (deadline_.is_over() || will_do || is_too_large) {
      if (is_too_large) found.remark = "the tree is too large for the memory";
      found.bound = open_bound(depth);
      return found;
    }
    Level& level = levels_[depth];
    Position next = Position::open;
    double bound = level.bound;
    if (is_new) {
      found.nodes = ++nodes_;
      is_new = false;
      if (settle(level)) next = level.second == Position::off ? Position::on : Position::off;
      if (nodes_ == 1) keep_root();
      if (next != Position::open) raise_least_size();
    } else if (level.second != Position::open) {
      next = level.second;
      bound = level.second_bound;
      level.second = Position::open;
      if (bound >= incumbent_.threshold()) {
        cut(bound);
        next = Position::open;
      }
    }
    if (next == Position::open) {
      if (depth == 0) break;
      --depth;
      continue;
    }
    descend(depth, next, bound);
    ++depth;
    is_new = logic_.propagate_from(levels_[depth].positions, levels_[depth - 1].branch);
    if (!is_new) --depth;
  }
  found.is_complete = true;
  found.bound = lowest_cut_;
  return found;
}

}  // namespace mirsolve::selection
