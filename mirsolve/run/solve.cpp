#include <array>

#include "mirsolve/run/solvers.h"

namespace mirsolve {

namespace {

using Solver = std::optional<Answer> (*)(const Problem&, const Deadline&);

// From the narrowest class to the widest. A box whose formula happens to be linear goes to the
// solver of boxes, which finds as many points as are wanted.
constexpr std::array<Solver, 4> solvers = {solve_least_squares, solve_selection, solve_box,
                                           solve_linear};

}  // namespace

Answer solve(const Problem& problem, const Deadline& deadline) {
  for (const Solver solver : solvers) {
    if (std::optional<Answer> answer = solver(problem, deadline)) return std::move(*answer);
  }
  Answer answer;
  answer.status = Status::not_understood;
  return answer;
}

}  // namespace mirsolve
