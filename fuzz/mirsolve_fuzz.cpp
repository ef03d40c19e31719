// Reads any bytes as a problem for torve-mir. What is a problem is evaluated, taken apart, and
// written to the files of results; what isn't has one line of message.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "mirsolve/answer/result_files.h"
#include "mirsolve/language/problem_reader.h"
#include "mirsolve/problem/forms.h"
#include "solvers/mir_results.h"

namespace {

using namespace mirsolve;

void take_apart(const Problem& problem) {
  square_sum(problem.graph, problem.objective);
  for (const Statement& statement : problem.statements) {
    linear_form(problem.graph, statement.left);
    linear_form(problem.graph, statement.right);
  }
}

Answer some_answer(const Problem& problem) {
  Answer answer;
  answer.status = Status::unproven;
  std::vector<double> point;
  for (const Variable& variable : problem.variables) point.push_back(variable.start.value_or(1.5));
  std::vector<double> values;
  evaluate(problem.graph, point, values);
  answer.objective = evaluate(problem.graph, problem.objective, point);
  answer.points = {point, point};
  return checked(problem, answer);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  std::string error;
  const std::optional<Problem> problem = read_problem(text, "fuzz", error);
  if (problem.has_value() != error.empty()) __builtin_trap();
  if (!problem) {
    if (error.size() > 120 || error.find('\n') != std::string::npos) __builtin_trap();
    return 0;
  }
  take_apart(*problem);
  const ResultTexts texts = result_texts(*problem, some_answer(*problem), 1.0);
  if (torve::read_mir_status(texts.tim) != 3) __builtin_trap();
  torve::ResultReader reader(texts.res);
  if (!reader.find_line("The best solution found") || !reader.skip_lines(2)) __builtin_trap();
  const int count = static_cast<int>(problem->variables.size());
  if (!torve::read_mir_values(reader, count)) __builtin_trap();
  return 0;
}
