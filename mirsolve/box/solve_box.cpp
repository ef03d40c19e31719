#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <utility>

#include "mirsolve/box/box_problem.h"
#include "mirsolve/box/box_search.h"
#include "mirsolve/box/formula.h"
#include "mirsolve/run/solvers.h"

namespace mirsolve {

namespace {

using box::BoxProblem;
using box::SearchResult;

box::SearchRules rules_for(const Problem& problem, const BoxProblem& stated) {
  const Options& options = problem.options;
  box::SearchRules rules;
  rules.wanted.least = stated.least_wanted;
  rules.wanted.most = stated.most_wanted;
  rules.wanted.absolute_gap = std::max(0.0, options.absolute_gap);
  rules.wanted.relative_gap = std::max(0.0, options.relative_gap);
  rules.wanted.count = static_cast<std::size_t>(std::max(1, options.solutions));
  rules.wanted.isolation = std::max(0.0, options.isolation);
  rules.first_will_do = options.first_feasible;
  std::vector<double> start;
  bool has_start = false;
  for (std::size_t i = 0; i < stated.inputs.size(); ++i) {
    const Variable& variable = problem.variables[static_cast<std::size_t>(stated.inputs[i])];
    const box::Interval& side = stated.sides[i];
    has_start = has_start || variable.start.has_value();
    start.push_back(
        std::clamp(variable.start.value_or(box::middle(side)), side.lower(), side.upper()));
  }
  if (has_start) rules.starts.push_back(std::move(start));
  return rules;
}

// The values of all variables of the problem.
std::vector<double> full_point(const Problem& problem, const BoxProblem& stated,
                               const box::Point& point) {
  std::vector<double> values(problem.variables.size());
  for (std::size_t i = 0; i < stated.inputs.size(); ++i) {
    values[static_cast<std::size_t>(stated.inputs[i])] = point.x[i];
  }
  if (stated.defined >= 0) {
    const double value = std::clamp(point.value, stated.least_wanted, stated.most_wanted);
    values[static_cast<std::size_t>(stated.defined)] = stated.in_user_sense(value);
  }
  return values;
}

bool is_proven(const SearchResult& result) {
  return !result.time_is_over && !result.is_first &&
         (result.points.empty() ? result.undecided == 0
                                : result.points.front().value - result.bound <= 1.01 * result.gap);
}

Status status_of(const SearchResult& result) {
  if (result.points.empty()) return is_proven(result) ? Status::infeasible : Status::no_point;
  if (result.is_first) return Status::wanted;
  return is_proven(result) ? Status::proven : Status::unproven;
}

void remark(const SearchResult& result, Answer& answer) {
  if (result.time_is_over && !is_proven(result)) {
    answer.remarks.push_back(fmt::format(
        "The time was over before the proof: {} boxes, {:.3g}% of the whole box, were left.",
        result.left, 100.0 * result.share_left));
  }
  if (result.ran_short) {
    answer.remarks.emplace_back(
        "There was no room for more boxes; the search went on depth first.");
  }
  if (result.undecided > 0 && !is_proven(result)) {
    answer.remarks.push_back(
        fmt::format("{} boxes too small to be split remain undecided: the formula has no finite "
                    "bound there, or "
                    "the gaps are finer than its rounding errors.",
                    result.undecided));
  }
}

}  // namespace

std::optional<Answer> solve_box(const Problem& problem, const Deadline& deadline) {
  const std::optional<BoxProblem> stated = box::recognise_box(problem);
  if (!stated) return std::nullopt;
  Answer answer;
  answer.problem_class = "one formula over a box";
  answer.method = "interval branch and bound, projected Newton searches";
  if (stated->is_empty || stated->least_wanted > stated->most_wanted) {
    answer.status = Status::infeasible;
    return answer;
  }
  const box::Formula formula(problem.graph, stated->sum, stated->inputs);
  box::BoxSearch search(formula, stated->sides, rules_for(problem, *stated), deadline);
  const SearchResult result = search.run();
  answer.status = status_of(result);
  answer.nodes = result.examined;
  answer.bound = stated->in_user_sense(result.bound);
  for (const box::Point& point : result.points) {
    answer.points.push_back(full_point(problem, *stated, point));
  }
  if (!result.points.empty()) {
    const double value = result.points.front().value;
    answer.objective = stated->in_user_sense(
        stated->defined < 0 ? value : std::clamp(value, stated->least_wanted, stated->most_wanted));
  }
  remark(result, answer);
  return answer;
}

}  // namespace mirsolve
