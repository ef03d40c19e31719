#include <algorithm>
#include <cmath>

#include "mirsolve/linear/search.h"
#include "mirsolve/run/solvers.h"

namespace mirsolve {

namespace {

using linear::Clock;
using linear::End;
using linear::Fit;
using linear::Model;
using linear::SearchEnd;

// Of the size of a condition's terms. The linear programs hold their rows ten times better.
constexpr double condition_tolerance = 1e-8;

struct Solve {
  const Problem& problem;
  const Model& model;
  Clock clock;
  double cutoff = infinite;  // of the model's objective
  Answer answer;
};

double sign_of(const Problem& problem) {
  return problem.maximize ? -1.0 : 1.0;
}

double gap_at(const Options& options, double objective) {
  return std::max(options.absolute_gap, options.relative_gap * std::abs(objective));
}

void remark(Solve& solve, std::string text) {
  solve.answer.remarks.push_back(std::move(text));
}

// The bound is one of the model, without its constant for the search.
void end_with(Solve& solve, Status status, double bound) {
  solve.answer.status = status;
  solve.answer.bound = sign_of(solve.problem) * bound;
}

// The best point with these binary variables, if there is one that holds all and beats the
// cut-off.
Fit checked_fit(Solve& solve, std::span<const double> near) {
  Fit result = linear::fit(solve.model, near, solve.clock);
  if (result.end != End::optimal) return result;
  const double violation = worst_violation(solve.model, result.point);
  if (!(violation <= condition_tolerance)) {
    remark(solve, "a point was dropped, a statement being off by " + std::to_string(violation));
    result.end = End::failed;
  }
  if (!(result.objective < solve.cutoff)) result.end = End::infeasible;
  return result;
}

// Where every binary variable has a start. The file leaves some out that start at 0.
std::optional<std::vector<double>> start_of(const Problem& problem) {
  std::vector<double> start;
  bool is_given = false;
  for (const Variable& variable : problem.variables) {
    is_given = is_given || (variable.kind == VariableKind::binary && variable.start);
    start.push_back(variable.start.value_or(0.0));
  }
  return is_given ? std::optional(std::move(start)) : std::nullopt;
}

void take_point(Solve& solve, const Fit& fit) {
  solve.answer.points = {fit.point};
  solve.answer.objective =
      evaluate(solve.problem.graph, solve.problem.objective, solve.answer.points.front());
}

void end_with_point(Solve& solve, const Fit& best, const SearchEnd& end) {
  take_point(solve, best);
  const double root = end.bound + solve.model.constant;
  const double value = std::min(best.objective, end.value + solve.model.constant);
  const double within_gap = value - gap_at(solve.problem.options, value);
  if (end.end == End::optimal) {
    end_with(solve, Status::proven, std::max(within_gap, std::min(root, best.objective)));
  } else if (end.first_was_enough) {
    end_with(solve, Status::wanted, std::min(root, best.objective));
  } else {
    end_with(solve, Status::unproven, std::min(root, best.objective));
  }
}

void end_without_point(Solve& solve, const SearchEnd& end) {
  switch (end.end) {
    case End::optimal:
    case End::infeasible:
      end_with(solve, Status::infeasible, std::min(infinite, solve.cutoff));
      break;
    case End::stopped:
      end_with(solve, Status::no_point, end.bound + solve.model.constant);
      break;
    case End::unbounded:
      remark(solve, "nothing bounds the objective");
      end_with(solve, Status::failed, -infinite);
      break;
    case End::failed:
      remark(solve, "the linear program could not be solved");
      end_with(solve, Status::failed, -infinite);
      break;
  }
}

// From a start that holds, only points that beat it by more than the gaps are searched for.
void run_search(Solve& solve) {
  const Options& options = solve.problem.options;
  Fit best{End::infeasible, {}, infinite};
  if (const auto start = start_of(solve.problem)) best = checked_fit(solve, *start);
  const bool has_start = best.end == End::optimal;
  if (has_start && options.first_feasible) {
    end_with_point(solve, best, {End::stopped, true, {}, infinite, -infinite, 0});
    return;
  }
  linear::SearchOptions limits{options.absolute_gap, options.relative_gap, solve.cutoff,
                               options.first_feasible};
  if (has_start) limits.cutoff = best.objective - gap_at(options, best.objective);
  limits.cutoff -= solve.model.constant;
  SearchEnd end = linear::search(solve.model, limits, solve.clock);
  solve.answer.nodes = end.nodes;
  if (!end.point.empty()) {
    // The time may be over by now, but the point is wanted.
    Clock patient{Deadline(1.0)};
    std::swap(solve.clock, patient);
    const Fit found = checked_fit(solve, end.point);
    if (found.end == End::optimal && (!has_start || found.objective < best.objective)) best = found;
    if (found.end != End::optimal) end.end = End::failed;
  }
  if (best.end == End::optimal) {
    end_with_point(solve, best, end);
  } else {
    end_without_point(solve, end);
  }
}

}  // namespace

std::optional<Answer> solve_linear(const Problem& problem, const Deadline& deadline) {
  const std::optional<linear::Recognised> recognised = linear::recognise(problem);
  if (!recognised) return std::nullopt;
  Solve solve{problem, recognised->model, Clock(deadline), infinite, {}};
  solve.answer.problem_class = "linear, with binary variables";
  solve.answer.method = "branch and bound by COIN-OR Cbc";
  if (!recognised->complaint.empty()) {
    remark(solve, recognised->complaint);
    end_with(solve, Status::failed, -infinite);
    return std::move(solve.answer);
  }
  if (std::abs(problem.options.cutoff) < linear::as_good_as_infinite)
    solve.cutoff = sign_of(problem) * problem.options.cutoff;
  if (deadline.is_over()) {
    end_with(solve, Status::no_point, -infinite);
    return std::move(solve.answer);
  }
  run_search(solve);
  return std::move(solve.answer);
}

}  // namespace mirsolve
