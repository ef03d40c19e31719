#include <cmath>

#include "solvers/mir_model.h"
#include "solvers/mir_text.h"

namespace torve {

namespace {

// The squares carry their divisor behind the last of them, where it divides that square alone: a
// fixed feature of the format. With a sigma of 1, its default, nothing shows.
void write_divisor(MirText& text, const BestSubsetProblem& problem) {
  if (problem.sseterm) text.number_line(" / {} + ", free_form(problem.sigma));
}

void write_penalty(MirText& text, const BestSubsetProblem& problem) {
  write_chosen_sum(text, problem);
  text.line(" ) ;");
}

void write_metric(MirText& text, const BestSubsetProblem& problem) {
  switch (problem.metric) {
    case Metric::bic:
      write_divisor(text, problem);
      text.number_line("{} * ( ", free_form(std::log(static_cast<double>(problem.ndata()))));
      write_penalty(text, problem);
      return;
    case Metric::cp:
      write_divisor(text, problem);
      text.line(" 2 * ( ");
      write_penalty(text, problem);
      return;
    case Metric::ric:
      write_divisor(text, problem);
      text.number_line("{}*2 * ( ", free_form(std::log(static_cast<double>(problem.nbas()))));
      write_penalty(text, problem);
      return;
    case Metric::ssep:
      if (!problem.sseterm || problem.convpen <= 0.0) break;
      write_divisor(text, problem);
      text.number_line("{} * (", free_form(problem.convpen));
      write_penalty(text, problem);
      return;
    case Metric::madp:
      text.line(" trv_mad ");
      if (problem.convpen <= 0.0) break;
      text.number_line(" + {} * (", free_form(problem.convpen));
      write_penalty(text, problem);
      return;
    case Metric::aicc:
    case Metric::hqc:
    case Metric::mse:
      break;
  }
  text.line("{}", problem.metric == Metric::madp ? " ; " : " ;");
}

void write_square(MirText& text, const BestSubsetProblem& problem, int i, std::string_view opening,
                  SsePlace place) {
  const bool relative = problem.error == ErrorModel::relative_squares && problem.is_divisible(i);
  const std::string value = free_form(relative ? 1.0 : problem.z(i));
  text.number_line("{}{}{}", opening, place == SsePlace::objective ? "((" : "(",
                   value + (place == SsePlace::objective ? ") - (" : " - ("));
  write_fit(text, problem, i, relative ? problem.z(i) : 1.0);
  text.line(" ) ) ^2");
}

}  // namespace

void write_chosen_sum(MirText& text, const BestSubsetProblem& problem) {
  for_screened(problem, [&](int j) { text.line(" + trv_y_{}", j + 1); });
}

void write_sse(MirText& text, const BestSubsetProblem& problem, SsePlace place) {
  std::string_view opening = "   ";
  for_rows(problem, [&](int i) {
    if (has_error_variables(problem)) {
      text.line("{}trv_e_{}", opening, i + 1);
    } else {
      write_square(text, problem, i, opening, place);
    }
    opening = " + ";
  });
}

void write_objective(MirText& text, const BestSubsetProblem& problem) {
  text.line("OBJ: minimize ");
  if (problem.sseterm) write_sse(text, problem, SsePlace::objective);
  write_metric(text, problem);
}

std::string mir_least_squares(const LeastSquaresProblem& problem) {
  MirText text;
  const auto for_chosen = [&](const auto& work) {
    for (int j = 0; j < problem.x.columns; ++j) {
      if (problem.chosen[at(j)]) work(j);
    }
  };
  if (problem.debug) {
    text.line("// Chosen basis functions:");
    for_chosen([&](int j) { text.line("//  j = {},  basis: {}", j + 1, problem.labels[at(j)]); });
  }
  text.line("OPTIONS {{");
  write_solver_switches(text, problem.allowcplex, problem.print_solver);
  text.number_line("epsa : {} ;", free_form(problem.epsa));
  text.number_line("epsr : {} ;", free_form(problem.epsr));
  text.number_line("maxtime : {} ;", free_form(problem.seconds));
  text.line("}}");
  text.line("VARIABLES ");
  MirNames names(text, "   ");
  for_chosen([&](int j) { names.add(" , ", "beta_{}", j + 1); });
  text.line(" ;");
  text.line("OBJ: minimize ");
  for (int i = 0; i < problem.x.rows; ++i) {
    if (!problem.rows[at(i)]) continue;
    text.number_line(" + ( {} - ( ", free_form(problem.z[at(i)]));
    for_chosen(
        [&](int j) { text.number_line(" + ( {}) * beta_{}", free_form(problem.x(i, j)), j + 1); });
    text.line(" ) )^2");
  }
  text.line(" ;");
  return text.take();
}

}  // namespace torve
