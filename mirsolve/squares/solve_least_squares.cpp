#include <algorithm>
#include <cmath>

#include "mirsolve/run/solvers.h"
#include "mirsolve/squares/dense_squares.h"

namespace mirsolve {

namespace {

constexpr double as_good_as_infinite = 1e30;

bool is_unbounded(const Variable& variable) {
  return variable.kind == VariableKind::free && variable.lower <= -as_good_as_infinite &&
         variable.upper >= as_good_as_infinite;
}

Answer start_answer() {
  Answer answer;
  answer.problem_class = "least squares";
  answer.method = "orthogonal factorization with column pivoting";
  return answer;
}

Answer refuse(Status status, std::string why) {
  Answer answer = start_answer();
  answer.status = status;
  answer.bound = 0.0;  // squares aren't negative
  answer.remarks.push_back(std::move(why));
  return answer;
}

}  // namespace

std::optional<Answer> solve_least_squares(const Problem& problem, const Deadline& deadline) {
  if (problem.maximize || !problem.statements.empty()) return std::nullopt;
  if (!std::ranges::all_of(problem.variables, is_unbounded)) return std::nullopt;
  const std::optional<SquareSum> sum = square_sum(problem.graph, problem.objective);
  if (!sum || !sum->rest.terms.empty()) return std::nullopt;
  const auto is_convex = [](const WeightedSquare& square) { return square.weight >= 0.0; };
  if (!std::ranges::all_of(sum->squares, is_convex)) return std::nullopt;

  if (deadline.is_over()) return refuse(Status::no_point, "the time was over before the fit");
  const std::size_t columns = problem.variables.size();
  const auto matrix = dense_squares(sum->squares, static_cast<int>(columns));
  if (!matrix) return refuse(Status::failed, "the matrix is too large");
  std::optional<DenseSolution> solution = solve_dense(*matrix);
  if (!solution) return refuse(Status::failed, "numbers too large");

  Answer answer = start_answer();
  answer.objective = evaluate(problem.graph, problem.objective, solution->x);
  answer.bound = answer.objective;
  answer.status = std::isfinite(answer.objective) ? Status::proven : Status::failed;
  if (static_cast<std::size_t>(solution->rank) < columns)
    answer.remarks.push_back("the columns are dependent, rank " + std::to_string(solution->rank));
  answer.points.push_back(std::move(solution->x));
  return answer;
}

}  // namespace mirsolve
