// Solves any bytes that are a problem for torve-mir, in a tenth of a second each: the answer comes
// in time, holds what it says, and its files are whole.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "mirsolve/answer/result_files.h"
#include "mirsolve/language/problem_reader.h"
#include "mirsolve/run/solvers.h"
#include "solvers/mir_results.h"
#include "system/machine.h"

namespace {

using namespace mirsolve;

constexpr double seconds = 0.1;
constexpr double patience = 5.0;  // of a machine that does other work, with sanitizers

void check(bool holds) {
  if (!holds) __builtin_trap();
}

void check_point(const Problem& problem, const std::vector<double>& point) {
  check(point.size() == problem.variables.size());
  for (std::size_t j = 0; j < point.size(); ++j) {
    check(std::isfinite(point[j]));
    const Variable& variable = problem.variables[j];
    if (variable.kind == VariableKind::binary) check(point[j] == 0.0 || point[j] == 1.0);
  }
}

void check_answer(const Problem& problem, const Answer& answer) {
  check(has_point(answer.status) == !answer.points.empty());
  for (const auto& point : answer.points) check_point(problem, point);
  if (answer.points.empty()) return;
  const double sign = problem.maximize ? -1.0 : 1.0;
  const double room = 1e-6 * (1.0 + std::abs(answer.objective));
  check(!(sign * answer.bound > sign * answer.objective + room));
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  torve::use_one_algebra_thread();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  std::string error;
  const std::optional<Problem> problem = read_problem(text, "fuzz", error);
  if (!problem) return 0;
  const Deadline deadline(std::min(seconds, problem->options.seconds));
  const Answer answer = checked(*problem, solve(*problem, deadline));
  check(deadline.elapsed() < patience);
  check_answer(*problem, answer);
  const ResultTexts texts = result_texts(*problem, answer, deadline.elapsed());
  check(torve::read_mir_status(texts.tim) == static_cast<int>(answer.status));
  return 0;
}
