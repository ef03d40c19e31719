#include "mirsolve/selection/logic.h"

#include <algorithm>
#include <cmath>

namespace mirsolve::selection {

namespace {

constexpr double row_tolerance = 1e-9;  // relative to the size of the row's numbers
constexpr int most_taken_back = 200;

std::size_t at(int i) {
  return static_cast<std::size_t>(i);
}

}  // namespace

Logic::Logic(const Model& model) : model_(model), rows_of_(model.choices.size()) {
  for (std::size_t i = 0; i < model.logic.size(); ++i) {
    for (const auto& [choice, factor] : model.logic[i].terms) {
      rows_of_[at(choice)].push_back(static_cast<int>(i));
    }
  }
  waits_.assign(model.logic.size(), 0);
}

std::vector<Position> Logic::start() const {
  std::vector<Position> positions(model_.choices.size(), Position::open);
  for (std::size_t i = 0; i < positions.size(); ++i) {
    const Choice& choice = model_.choices[i];
    if (!choice.may_be_off) positions[i] = Position::on;
    if (!choice.may_be_on) positions[i] = Position::off;
  }
  return positions;
}

Logic::Activity Logic::activity(const Row& row, std::span<const Position> positions) const {
  Activity sum;
  double size = std::abs(row.limit);
  for (const auto& [choice, factor] : row.terms) {
    const Position position = positions[at(choice)];
    if (position == Position::on || (position == Position::open && factor < 0.0)) {
      sum.least += factor;
    }
    size = std::max(size, std::abs(factor));
  }
  sum.tolerance = row_tolerance * size;
  return sum;
}

bool Logic::visit(int row_number, std::span<Position> positions) {
  const Row& row = model_.logic[at(row_number)];
  const Activity sum = activity(row, positions);
  const double room = row.limit + sum.tolerance - sum.least;
  if (room < 0.0) return false;
  for (const auto& [choice, factor] : row.terms) {
    if (positions[at(choice)] != Position::open || std::abs(factor) <= room) continue;
    positions[at(choice)] = factor > 0.0 ? Position::off : Position::on;
    mark_rows_of(choice);
  }
  return true;
}

void Logic::mark_rows_of(int choice) {
  for (const int row : rows_of_[at(choice)]) {
    if (waits_[at(row)] != 0) continue;
    waits_[at(row)] = 1;
    waiting_.push_back(row);
  }
}

bool Logic::work_off(std::span<Position> positions) {
  bool holds = true;
  while (!waiting_.empty()) {
    const int row = waiting_.back();
    waiting_.pop_back();
    waits_[at(row)] = 0;
    if (holds) holds = visit(row, positions);
  }
  return holds;
}

bool Logic::propagate(std::span<Position> positions) {
  for (std::size_t i = 0; i < model_.logic.size(); ++i) {
    waits_[i] = 1;
    waiting_.push_back(static_cast<int>(i));
  }
  return work_off(positions);
}

bool Logic::propagate_from(std::span<Position> positions, int choice) {
  mark_rows_of(choice);
  return work_off(positions);
}

int Logic::next_open(std::span<const Position> positions) const {
  const auto found = std::ranges::find(positions, Position::open);
  return found == positions.end() ? -1 : static_cast<int>(found - positions.begin());
}

bool Logic::complete(std::span<Position> positions) {
  if (!propagate(positions)) return false;
  struct Decision {
    int choice;
    Position second;  // what is tried when the first position fails
    std::vector<Position> before;
  };
  std::vector<Decision> decisions;
  int taken_back = 0;
  for (int choice = next_open(positions); choice >= 0; choice = next_open(positions)) {
    const bool prefers_on = model_.choices[at(choice)].cost < 0.0;
    decisions.push_back({choice, prefers_on ? Position::off : Position::on,
                         std::vector<Position>(positions.begin(), positions.end())});
    positions[at(choice)] = prefers_on ? Position::on : Position::off;
    bool holds = propagate_from(positions, choice);
    while (!holds) {
      if (decisions.empty() || ++taken_back > most_taken_back) return false;
      const Decision last = std::move(decisions.back());
      decisions.pop_back();
      std::ranges::copy(last.before, positions.begin());
      positions[at(last.choice)] = last.second;
      holds = propagate_from(positions, last.choice);
    }
  }
  return true;
}

}  // namespace mirsolve::selection
