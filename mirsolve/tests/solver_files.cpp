#include "solver_files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "mirsolve/language/problem_reader.h"
#include "support/mir_solver.h"

namespace mirsolve::test {

std::string text_of_file(const std::string& name) {
  std::ifstream file(std::string(TORVE_TEST_DATA) + "/solvers/" + name + ".mir", std::ios::binary);
  if (!file) throw std::runtime_error("cannot open " + name);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at)) {
    text.replace(at, from.size(), to);
  }
  return text;
}

std::optional<Solved> solve_as_by_every_choice(const std::string& text,
                                               std::optional<Answer> (*solver)(const Problem&,
                                                                               const Deadline&)) {
  std::string error;
  std::optional<Problem> problem = read_problem(text, "file", error);
  if (!problem) throw std::runtime_error(error);
  std::optional<Answer> answer = solver(*problem, Deadline(60.0));
  if (!answer) throw std::runtime_error("a problem of another class");
  const std::optional<torve::test::MirSolved> best =
      torve::test::solve_mir(torve::test::read_mir(text));
  if (!best) {
    EXPECT_EQ(answer->status, Status::infeasible);
    return std::nullopt;
  }
  // The proof may come with the first point.
  const Options& options = problem->options;
  const bool first_is_enough = options.first_feasible && answer->status == Status::wanted;
  EXPECT_TRUE(answer->status == Status::proven || first_is_enough);
  const double gap =
      std::max(options.absolute_gap, options.relative_gap * std::abs(best->objective));
  const double slack = 1e-6 * (1.0 + std::abs(best->objective));
  EXPECT_LE(answer->objective, best->objective + (options.first_feasible ? infinite : gap + slack));
  EXPECT_GE(answer->objective, best->objective - slack);
  EXPECT_LE(answer->bound, best->objective + slack);
  return Solved{std::move(*problem), std::move(*answer)};
}

}  // namespace mirsolve::test
