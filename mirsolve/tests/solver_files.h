// Files as the program writes them for a solver, and what the stand-in that tries every choice
// finds for them.
#pragma once

#include <optional>
#include <string>

#include "mirsolve/answer/answer.h"
#include "mirsolve/problem/deadline.h"
#include "mirsolve/problem/problem.h"

namespace mirsolve::test {

// Of a file without its .mir.
std::string text_of_file(const std::string& name);

std::string replaced(std::string text, const std::string& from, const std::string& to);

struct Solved {
  Problem problem;
  Answer answer;
};

// Solves the text and compares objective, bound and status with the best of all choices. Nothing
// where there is no point, as told by both.
std::optional<Solved> solve_as_by_every_choice(const std::string& text,
                                               std::optional<Answer> (*solver)(const Problem&,
                                                                               const Deadline&));

}  // namespace mirsolve::test
