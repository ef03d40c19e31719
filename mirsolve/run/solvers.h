// The classes of problems, each with its solver. A solver returns nothing when a problem isn't of
// its class, and otherwise an answer in time: it looks at the deadline at least every tenth of a
// second.
#pragma once

#include <optional>

#include "mirsolve/answer/answer.h"
#include "mirsolve/problem/deadline.h"
#include "mirsolve/problem/problem.h"

namespace mirsolve {

// Least squares over free variables without bounds or statements.
std::optional<Answer> solve_least_squares(const Problem& problem, const Deadline& deadline);
// Linear objective and statements, some variables binary.
std::optional<Answer> solve_linear(const Problem& problem, const Deadline& deadline);
// Least squares and a linear part over binary variables and coefficients that they switch.
std::optional<Answer> solve_selection(const Problem& problem, const Deadline& deadline);
// One variable that a formula of the others defines, over a box.
std::optional<Answer> solve_box(const Problem& problem, const Deadline& deadline);

// The first that knows the class; Status::not_understood where none does.
Answer solve(const Problem& problem, const Deadline& deadline);

}  // namespace mirsolve
