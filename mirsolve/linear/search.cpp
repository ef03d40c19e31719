#include "mirsolve/linear/search.h"

#include <algorithm>
#include <cmath>
#include <coin/CbcEventHandler.hpp>
#include <coin/CbcModel.hpp>

#include "mirsolve/linear/switch_object.h"

namespace mirsolve::linear {

namespace {

std::size_t at(int i) {
  return static_cast<std::size_t>(i);
}

class StopSearch : public CbcEventHandler {
 public:
  explicit StopSearch(Clock* clock) : clock_(clock) {}
  CbcEventHandler* clone() const override { return new StopSearch(*this); }
  CbcAction event(CbcEvent) override { return clock_->is_over() ? stop : noAction; }
  CbcAction event(CbcEvent which, void*) override { return event(which); }

 private:
  Clock* clock_;
};

SwitchBoard make_board(const Model& model, int closed) {
  SwitchBoard board{&model, closed, std::vector<double>(model.lower.size(), 0.0)};
  for (const Row& row : model.rows) {
    for (const auto& [column, factor] : row.terms)
      board.size[at(column)] = std::max(board.size[at(column)], std::abs(factor));
  }
  return board;
}

void add_switches(CbcModel& cbc, const SwitchBoard& board) {
  std::vector<std::unique_ptr<CbcObject>> objects;
  std::vector<CbcObject*> pointers;
  for (std::size_t i = 0; i < board.model->switches.size(); ++i) {
    objects.push_back(std::make_unique<SwitchObject>(&cbc, &board, static_cast<int>(i)));
    pointers.push_back(objects.back().get());
  }
  // Cbc makes copies of its own.
  cbc.addObjects(static_cast<int>(pointers.size()), pointers.data());
}

void set_options(CbcModel& cbc, const SearchOptions& options, const Clock& clock) {
  cbc.setLogLevel(0);
  cbc.messageHandler()->setLogLevel(0);
  cbc.solver()->messageHandler()->setLogLevel(0);
  cbc.setUseElapsedTime(true);
  cbc.setMaximumSeconds(std::max(0.0, clock.left()));
  cbc.setAllowableGap(options.absolute_gap);
  cbc.setAllowableFractionGap(options.relative_gap);
  // What a point must be better by at least; the gaps are the measure for that.
  cbc.setDblParam(CbcModel::CbcCutoffIncrement, 0.0);
  cbc.setNumberStrong(0);
  cbc.setNumberBeforeTrust(0);
  cbc.setMaximumCutPassesAtRoot(0);
  cbc.setMaximumCutPasses(0);
  if (options.first_point) cbc.setMaximumSolutions(1);
  if (std::isfinite(options.cutoff)) cbc.setCutoff(options.cutoff);
}

Bounds start_bounds(const Model& model) {
  return {model.lower, model.upper};
}

}  // namespace

SearchEnd search(const Model& model, const SearchOptions& options, Clock& clock) {
  SearchEnd result;
  Bounds bounds = start_bounds(model);
  if (!propagate(model, bounds)) {
    result.end = End::optimal;
    result.bound = infinite;
    return result;
  }
  Program root = make_program(model, bounds, clock);
  root.solver->initialSolve();
  result.end = end_of(*root.solver, clock);
  if (result.end == End::infeasible) {
    result.end = End::optimal;
    result.bound = infinite;
    return result;
  }
  if (result.end != End::optimal) return result;
  result.bound = root.solver->getObjValue();

  const SwitchBoard board = make_board(model, root.closed);
  CbcModel cbc(*root.solver);
  set_options(cbc, options, clock);
  add_switches(cbc, board);
  const StopSearch handler(&clock);
  cbc.passInEventHandler(&handler);
  cbc.branchAndBound();

  result.nodes = cbc.getNodeCount();
  if (const double* point = cbc.bestSolution()) {
    result.point.assign(point, point + root.closed);
    result.value = cbc.getObjValue();
  }
  const bool is_complete = cbc.status() == 0 && !clock.has_stopped();
  result.first_was_enough = !is_complete && options.first_point && !result.point.empty();
  result.end = is_complete ? End::optimal : End::stopped;
  return result;
}

Fit fit(const Model& model, std::span<const double> near, Clock& clock) {
  Fit result{End::infeasible, {}, 0.0};
  Bounds bounds = start_bounds(model);
  for (const Switch& one : model.switches) {
    if (!decide(one, near[at(one.column)] > 0.5, bounds)) return result;
  }
  const Program program = make_program(model, bounds, clock);
  program.solver->initialSolve();
  result.end = end_of(*program.solver, clock);
  if (result.end != End::optimal) return result;
  const double* x = program.solver->getColSolution();
  result.point.assign(x, x + model.variables);
  for (int j = 0; j < model.variables; ++j)
    result.point[at(j)] = std::clamp(result.point[at(j)], bounds.lower[at(j)], bounds.upper[at(j)]);
  result.objective = model.constant;
  for (int j = 0; j < model.variables; ++j) {
    result.objective += model.cost[at(j)] * result.point[at(j)];
    result.point[at(j)] *= model.unit[at(j)];
  }
  return result;
}

}  // namespace mirsolve::linear
