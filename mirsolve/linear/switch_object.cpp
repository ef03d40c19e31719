#include "mirsolve/linear/switch_object.h"

#include <algorithm>
#include <cmath>
#include <coin/CbcModel.hpp>

namespace mirsolve::linear {

namespace {

constexpr double whole_tolerance = 1e-7;
constexpr double bound_tolerance = 1e-8;

std::size_t at(int i) {
  return static_cast<std::size_t>(i);
}

Bounds bounds_of(const OsiSolverInterface& solver) {
  const auto columns = at(solver.getNumCols());
  return {{solver.getColLower(), solver.getColLower() + columns},
          {solver.getColUpper(), solver.getColUpper() + columns}};
}

void set_changed(OsiSolverInterface& solver, const Bounds& bounds) {
  for (int j = 0; j < solver.getNumCols(); ++j) {
    const bool is_changed = solver.getColLower()[j] != bounds.lower[at(j)] ||
                            solver.getColUpper()[j] != bounds.upper[at(j)];
    if (is_changed) solver.setColBounds(j, bounds.lower[at(j)], bounds.upper[at(j)]);
  }
}

// With nothing left to choose, the node is closed.
void take_position(const SwitchBoard& board, const Switch& one, bool is_on,
                   OsiSolverInterface& solver) {
  Bounds bounds = bounds_of(solver);
  if (!decide(one, is_on, bounds) || !propagate(*board.model, bounds)) {
    solver.setColLower(board.closed, 1.0);
    return;
  }
  set_changed(solver, bounds);
}

class SwitchBranch : public CbcBranchingObject {
 public:
  SwitchBranch(CbcModel* model, const SwitchBoard* board, int number, int way, double value)
      : CbcBranchingObject(model, number, way, value), board_(board) {}
  CbcBranchingObject* clone() const override { return new SwitchBranch(*this); }
  using CbcBranchingObject::branch;
  double branch() override {
    decrementNumberBranchesLeft();
    take_position(*board_, board_->model->switches[at(variable_)], way_ > 0, *model_->solver());
    way_ = -way_;
    return 0.0;
  }
  CbcBranchObjType type() const override { return SimpleIntegerBranchObj; }
  // Only heuristics compare branches, and none is in use.
  CbcRangeCompare compareBranchingObject(const CbcBranchingObject*, const bool) override {
    return CbcRangeDisjoint;
  }

 private:
  const SwitchBoard* board_;
};

}  // namespace

SwitchObject::SwitchObject(CbcModel* model, const SwitchBoard* board, int number)
    : CbcObject(model), board_(board), number_(number) {
  id_ = number;
}

const Switch& SwitchObject::own() const {
  return board_->model->switches[at(number_)];
}

// The larger what the wrong position would change, the earlier it is branched on: up to 1/2.
double SwitchObject::infeasibility(const OsiBranchingInformation* info, int& preferred_way) const {
  const Switch& one = own();
  const double value = info->solution_[one.column];
  preferred_way = 1;
  if (info->lower_[one.column] == info->upper_[one.column]) return 0.0;
  double moved = 0.0;
  for (const Limits& limits : one.at(value > 0.5)) {
    const double x = info->solution_[limits.column];
    const double beyond = std::max({0.0, limits.lower - x, x - limits.upper});
    if (beyond > bound_tolerance * (1.0 + std::abs(x)))
      moved = std::max(moved, beyond * board_->size[at(limits.column)]);
  }
  const double fraction = std::min(value, 1.0 - value);
  if (fraction <= whole_tolerance && moved == 0.0) return 0.0;
  const double importance = 0.4 * moved / (1.0 + moved) + 0.1 * std::abs(fraction);
  return std::clamp(importance, 1e-6, 0.5);
}

void SwitchObject::feasibleRegion() {
  const Switch& one = own();
  take_position(*board_, one, model_->testSolution()[one.column] > 0.5, *model_->solver());
}

CbcBranchingObject* SwitchObject::createCbcBranch(OsiSolverInterface*,
                                                  const OsiBranchingInformation* info, int way) {
  return new SwitchBranch(model_, board_, number_, way > 0 ? 1 : -1, info->solution_[own().column]);
}

}  // namespace mirsolve::linear
