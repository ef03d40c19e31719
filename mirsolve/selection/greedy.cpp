#include "mirsolve/selection/greedy.h"

#include <algorithm>
#include <cmath>

namespace mirsolve::selection {

namespace {

// A column of which less than this part of its square is left is made of those in the model.
constexpr double least_left = 1e-11;

std::size_t at(int i) {
  return static_cast<std::size_t>(i);
}

}  // namespace

Tableau::Tableau(const Triangle& triangle)
    : size_(triangle.size),
      numbers_((at(size_) + 1) * (at(size_) + 1), 0.0),
      squares_(at(size_)),
      in_(at(size_), 0) {
  for (int k = 0; k < size_; ++k) {
    const double* row = triangle.row(k);
    for (int i = k; i <= size_; ++i) {
      const double factor = row[i];
      double* target = numbers_.data() + place(i, 0);
      for (int j = k; j <= size_; ++j) target[j] += factor * row[j];
    }
  }
  number(size_, size_) += triangle.tail;
  for (int j = 0; j < size_; ++j) squares_[at(j)] = number(j, j);
}

double Tableau::squares() const {
  return std::max(0.0, number(size_, size_));
}

double Tableau::gain(int j) const {
  const double left = number(j, j);
  if (!(left > least_left * squares_[at(j)])) return -infinite;
  return number(j, size_) * number(j, size_) / left;
}

double Tableau::loss(int j) const {
  return number(j, size_) * number(j, size_) / number(j, j);
}

// The column that goes out changes what is left of the one that comes, and its product.
double Tableau::gain(int out, int in) const {
  const double link = number(out, in);
  const double pivot = number(out, out);
  const double left = number(in, in) + link * link / pivot;
  if (!(left > least_left * squares_[at(in)])) return -infinite;
  const double product = number(in, size_) + link * number(out, size_) / pivot;
  return product * product / left - loss(out);
}

void Tableau::sweep(int j) {
  const double pivot = number(j, j);
  double* row = numbers_.data() + place(j, 0);
  for (int k = 0; k <= size_; ++k) row[k] /= pivot;
  for (int i = 0; i <= size_; ++i) {
    if (i == j) continue;
    double* other = numbers_.data() + place(i, 0);
    const double factor = other[j];
    if (factor == 0.0) continue;
    for (int k = 0; k <= size_; ++k) other[k] -= factor * row[k];
    other[j] = -factor / pivot;
  }
  row[j] = 1.0 / pivot;
  in_[at(j)] = in_[at(j)] != 0 ? 0 : 1;
}

namespace {

class Guess {
 public:
  Guess(const Model& model, const Data& data, std::span<const Position> start, Logic& logic,
        Incumbent& incumbent, const Deadline& deadline)
      : model_(model),
        data_(data),
        start_(start),
        logic_(logic),
        incumbent_(incumbent),
        deadline_(deadline),
        tableau_(data.triangle) {}

  void run() {
    build_up();
    for (int round = 0; round < most_rounds && !best_.empty(); ++round) {
      if (deadline_.is_over() || !exchange()) break;
    }
    if (!best_.empty()) incumbent_.offer(best_);
  }

 private:
  static constexpr int most_rounds = 200;
  static constexpr std::size_t most_tries = 30;  // of moves that the logic may refuse

  struct Move {
    int out;  // -1: none
    int in;
    double change;  // of the objective
  };

  double cost(int j) const {
    const int choice = model_.columns[at(j)].choice;
    return choice == no_switch ? 0.0 : model_.choices[at(choice)].cost;
  }
  double weight() const { return model_.counts_squares ? data_.unit : 0.0; }
  bool is_within_limit(double squares) const {
    return !model_.square_limit || data_.unit * squares <= *model_.square_limit;
  }
  void match(std::span<const Position> positions);
  bool note(std::vector<Position> positions);
  int best_open(std::span<const Position> positions) const;
  void build_up();
  std::vector<Move> moves() const;
  bool try_move(const Move& move);
  bool exchange();

  const Model& model_;
  const Data& data_;
  std::span<const Position> start_;
  Logic& logic_;
  Incumbent& incumbent_;
  const Deadline& deadline_;
  Tableau tableau_;
  std::vector<Position> best_;  // complete; empty before the first
  double best_value_ = infinite;
};

// Brings the tableau to the columns that are on.
void Guess::match(std::span<const Position> positions) {
  for (int j = 0; j < tableau_.size(); ++j) {
    const int choice = model_.columns[at(j)].choice;
    const bool wanted = choice == no_switch || positions[at(choice)] == Position::on;
    if (tableau_.is_in(j) && !wanted) tableau_.sweep(j);
    if (!tableau_.is_in(j) && wanted && tableau_.gain(j) >= 0.0) tableau_.sweep(j);
  }
}

// Completes the positions with no further column; true when that is better than the best.
bool Guess::note(std::vector<Position> positions) {
  for (const Column& column : model_.columns) {
    if (column.choice == no_switch) continue;
    Position& position = positions[at(column.choice)];
    if (position == Position::open) position = Position::off;
  }
  if (!logic_.complete(positions) || !is_within_limit(tableau_.squares())) return false;
  const double value = cost_of(model_, positions) + weight() * tableau_.squares();
  if (!(value < best_value_)) return false;
  best_value_ = value;
  best_ = std::move(positions);
  return true;
}

int Guess::best_open(std::span<const Position> positions) const {
  int best = -1;
  double most = 0.0;
  for (int j = 0; j < tableau_.size(); ++j) {
    const int choice = model_.columns[at(j)].choice;
    if (choice == no_switch || positions[at(choice)] != Position::open) continue;
    const double gain = std::max(0.0, tableau_.gain(j)) * (weight() > 0.0 ? weight() : 1.0);
    const double value = model_.counts_squares ? gain - cost(j) : gain;
    if (best < 0 || value > most) {
      best = j;
      most = value;
    }
  }
  return best;
}

void Guess::build_up() {
  std::vector<Position> positions(start_.begin(), start_.end());
  while (!deadline_.is_over()) {
    match(positions);
    note(positions);
    const int j = best_open(positions);
    if (j < 0) return;
    const int choice = model_.columns[at(j)].choice;
    std::vector<Position> next = positions;
    next[at(choice)] = Position::on;
    if (logic_.propagate_from(next, choice)) {
      positions = std::move(next);
      continue;
    }
    positions[at(choice)] = Position::off;
    if (!logic_.propagate_from(positions, choice)) return;
  }
}

// One column in, one out, or both, as far as that lowers the objective.
std::vector<Guess::Move> Guess::moves() const {
  std::vector<Move> moves;
  const double least = 1e-9 * std::abs(best_value_);
  const auto add = [&](int out, int in, double gain) {
    if (!std::isfinite(gain)) return;
    const double change = (in < 0 ? 0.0 : cost(in)) - (out < 0 ? 0.0 : cost(out)) - weight() * gain;
    if (change < -least && is_within_limit(tableau_.squares() - gain)) {
      moves.push_back({out, in, change});
    }
  };
  for (int i = 0; i < tableau_.size(); ++i) {
    if (model_.columns[at(i)].choice == no_switch) continue;
    if (!tableau_.is_in(i)) {
      add(-1, i, tableau_.gain(i));
      continue;
    }
    add(i, -1, -tableau_.loss(i));
    for (int j = 0; j < tableau_.size(); ++j) {
      if (tableau_.is_in(j) || model_.columns[at(j)].choice == no_switch) continue;
      add(i, j, tableau_.gain(i, j));
    }
  }
  std::ranges::sort(moves, {}, &Move::change);
  if (moves.size() > most_tries) moves.resize(most_tries);
  return moves;
}

bool Guess::try_move(const Move& move) {
  std::vector<Position> positions(start_.begin(), start_.end());
  for (int j = 0; j < tableau_.size(); ++j) {
    const int choice = model_.columns[at(j)].choice;
    if (choice == no_switch) continue;
    const bool was_on = best_[at(choice)] == Position::on;
    const Position wanted =
        (was_on && j != move.out) || j == move.in ? Position::on : Position::off;
    Position& position = positions[at(choice)];
    if (position != Position::open && position != wanted) return false;
    position = wanted;
  }
  if (!logic_.complete(positions)) return false;
  match(positions);
  return note(std::move(positions));
}

bool Guess::exchange() {
  match(best_);
  for (const Move& move : moves()) {
    if (try_move(move)) return true;
    match(best_);
    if (deadline_.is_over()) return false;
  }
  return false;
}

}  // namespace

void look_for_models(const Model& model, const Data& data, std::span<const Position> start,
                     Logic& logic, Incumbent& incumbent, const Deadline& deadline) {
  Guess(model, data, start, logic, incumbent, deadline).run();
}

}  // namespace mirsolve::selection
