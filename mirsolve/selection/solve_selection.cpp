#include <algorithm>
#include <cmath>

#include "mirsolve/run/solvers.h"
#include "mirsolve/selection/greedy.h"
#include "mirsolve/selection/search.h"

namespace mirsolve {

namespace {

using namespace selection;

std::size_t at(int i) {
  return static_cast<std::size_t>(i);
}

Goal goal_of(const Problem& problem, const Model& model) {
  Goal goal{problem.options.absolute_gap, problem.options.relative_gap, infinite};
  if (std::isfinite(problem.options.cutoff)) goal.cutoff = model.sign * problem.options.cutoff;
  return goal;
}

// The starting point of the file: where it gives no value to a switch, the coefficient decides.
void offer_start(const Problem& problem, const Model& model, Logic& logic,
                 std::vector<Position> positions, Incumbent& incumbent) {
  bool is_given = false;
  for (std::size_t i = 0; i < positions.size(); ++i) {
    const Choice& choice = model.choices[i];
    const std::optional<double>& own = problem.variables[at(choice.variable)].start;
    std::optional<double> value = own;
    if (choice.column >= 0 && !own) {
      value = problem.variables[at(model.columns[at(choice.column)].variable)].start;
    }
    is_given = is_given || value;
    if (positions[i] != Position::open || (choice.column < 0 && !own)) continue;
    const bool is_on = own ? *own > 0.5 : value && *value != 0.0;
    positions[i] = is_on ? Position::on : Position::off;
  }
  if (is_given && logic.complete(positions)) incumbent.offer(positions);
}

std::vector<double> point_of(const Problem& problem, const Model& model,
                             const Incumbent& incumbent) {
  std::vector<double> point(problem.variables.size(), 0.0);
  for (std::size_t i = 0; i < model.choices.size(); ++i) {
    point[at(model.choices[i].variable)] = incumbent.positions()[i] == Position::on ? 1.0 : 0.0;
  }
  for (std::size_t j = 0; j < model.columns.size(); ++j) {
    point[at(model.columns[j].variable)] = incumbent.x()[j];
  }
  return point;
}

void tell(const Problem& problem, const Model& model, const Incumbent& incumbent,
          const Found& found, bool stopped_at_first, Answer& answer) {
  answer.nodes = found.nodes;
  if (!found.remark.empty()) answer.remarks.push_back(found.remark);
  double bound = found.bound;
  bool is_complete = found.is_complete;
  if (incumbent.has_failure()) {
    answer.remarks.emplace_back("some models could not be fitted");
    bound = std::min(bound, incumbent.failure_bound());
    is_complete = is_complete && bound >= incumbent.threshold();
  }
  if (!incumbent.exists()) {
    answer.status = is_complete ? Status::infeasible : Status::no_point;
    answer.bound = model.sign * bound;
    return;
  }
  answer.status = is_complete        ? Status::proven
                  : stopped_at_first ? Status::wanted
                                     : Status::unproven;
  answer.points.push_back(point_of(problem, model, incumbent));
  answer.objective = evaluate(problem.graph, problem.objective, answer.points.front());
  answer.bound = model.sign * std::min(bound, model.sign * answer.objective);
}

// For a moment the very best model is looked for, which most problems take no longer than; after
// that the gaps that are allowed count, which may be wide.
Found search(const Options& options, const Model& model, const Data& data, Logic& logic,
             Incumbent& incumbent, const Deadline& deadline, std::vector<Position> start) {
  constexpr double moment = 1.0;  // seconds
  constexpr double tight = 1e-9;
  incumbent.set_gaps(std::min(tight, options.absolute_gap), std::min(tight, options.relative_gap));
  const Deadline first_deadline(std::min(moment, deadline.left()));
  Search first(model, data, logic, incumbent, first_deadline);
  Found found = first.run(start, options.first_feasible);
  incumbent.set_gaps(options.absolute_gap, options.relative_gap);
  const bool is_first = options.first_feasible && incumbent.exists();
  if (found.is_complete || is_first || deadline.is_over()) return found;
  Search second(model, data, logic, incumbent, deadline);
  const std::int64_t nodes = found.nodes;
  const double bound = found.bound;
  found = second.run(std::move(start), options.first_feasible);
  found.nodes += nodes;
  found.bound = std::max(found.bound, bound);
  return found;
}

}  // namespace

std::optional<Answer> solve_selection(const Problem& problem, const Deadline& deadline) {
  const std::optional<Model> model = recognise(problem);
  if (!model) return std::nullopt;
  Answer answer;
  answer.problem_class = "least squares with selection";
  answer.method = "leaps and bounds on a triangle of the data";
  answer.status = Status::infeasible;
  answer.bound = model->sign * infinite;
  if (model->contradicts) return answer;
  Logic logic(*model);
  std::vector<Position> start = logic.start();
  if (!logic.propagate(start)) return answer;

  std::optional<Data> data = gather(*model);
  if (!data) {
    answer.status = Status::failed;
    answer.remarks.emplace_back("the data are too many or too large");
    return answer;
  }
  answer.bound = -model->sign * infinite;
  answer.status = Status::no_point;
  if (deadline.is_over() || !reduce(*data, deadline)) return answer;
  Incumbent incumbent(*model, *data, goal_of(problem, *model));
  offer_start(problem, *model, logic, start, incumbent);
  look_for_models(*model, *data, start, logic, incumbent, deadline);
  const bool first_will_do = problem.options.first_feasible;
  const Found found =
      search(problem.options, *model, *data, logic, incumbent, deadline, std::move(start));
  tell(problem, *model, incumbent, found, first_will_do && incumbent.exists(), answer);
  return answer;
}

}  // namespace mirsolve
