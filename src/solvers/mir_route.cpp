#include "solvers/mir_route.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <vector>

#include "model/debug_lines.h"
#include "model/fit.h"
#include "solvers/best_subset_problem.h"
#include "solvers/mir_model.h"
#include "solvers/mir_results.h"
#include "solvers/olr_routes.h"
#include "solvers/solver_debug.h"
#include "solvers/solver_run.h"
#include "system/files.h"
#include "system/text_file.h"
#include "text/strings.h"

namespace torve {

namespace {

constexpr std::array<std::string_view, 3> answer_names = {"res", "sum", "tim"};

// What the steps of a call decide for it.
//   go_on   the next step
//   leave   out at once; code or miperr say why, and the files stay
enum class Next { go_on, leave };

// A model and how its failures are told.
struct MirCall {
  std::string name;  // of the model file, without extension
  Code code;         // when the solver gives no answer
  int copied_model;  // locations of copies that fail
  std::array<int, 3> copied_answers;
  int command;  // location of a solver that fails
  int no_res;   // of answers that are missing
  int no_tim;
};

const MirCall best_subset_call{"surrogate", Code::best_subset_failed, 33, {34, 35, 36}, 37, 38, 39};
// One location stands for all ends of a least-squares call.
const MirCall least_squares_call{"olr", Code::least_squares_solver_failed, 23, {23, 23, 23}, 23, 23,
                                 23};

void remove_answers() {
  for (const std::string_view answer : answer_names) remove_files({fmt::format("{}.lst", answer)});
}

// False when anything of the text doesn't reach the file.
bool write_model(const std::string& name, const std::string& text) {
  TextFile file;
  if (!file.open_replace(name)) return false;
  file.write(text);
  return file.close();
}

// Under debug the model is kept by a number of its own.
Next keep_model(RunState& run, const MirCall& call) {
  if (!run.options.debug) return Next::go_on;
  const int n = ++run.counters.imodel;
  const bool kept =
      keep_copy(run, call.name + ".mir", fmt::format("{}{}.mir", call.name, n), call.copied_model);
  return kept ? Next::go_on : Next::leave;
}

Next keep_answers(RunState& run, const MirCall& call) {
  if (!run.options.debug) return Next::go_on;
  for (std::size_t a = 0; a < answer_names.size(); ++a) {
    const std::string copy =
        fmt::format("{}{}.{}", call.name, run.counters.imodel, answer_names[a]);
    const std::string answer = fmt::format("{}.lst", answer_names[a]);
    if (!keep_copy(run, answer, copy, call.copied_answers[a])) return Next::leave;
  }
  return Next::go_on;
}

// Runs the solver and sees to it that there is an answer. `timer` receives the seconds.
Next solve(RunState& run, const MirCall& call, double& timer) {
  const CommandResult result =
      run_solver(run, mirak_command(run.files.mirakpath, call.name + ".mir"), timer);
  if (failed(run)) return Next::leave;
  if (keep_answers(run, call) == Next::leave) return Next::leave;
  int location = 0;
  if (result.status != 0) {
    location = call.command;
  } else if (!file_exists("res.lst")) {
    location = call.no_res;
  } else if (!file_exists("tim.lst")) {
    location = call.no_tim;
  }
  if (location == 0) return Next::go_on;
  fail(run, call.code, location);
  return Next::leave;
}

// --- the best subset ----------------------------------------------------------------------------

// What a call of the best-subset route works on.
struct SubsetSolve {
  RunState& run;
  int it;
  int k;
  int& miperr;
  BestSubsetProblem problem;
  double sseplus = 0.0;
  double bound = 0.0;  // of the objective, as the solver says it
};

void debug_exit(const SubsetSolve& s, int ferr) {
  RunState& run = s.run;
  if (!debugging(run)) return;
  debug_line(run, ">>> Exiting trvsolvemipmir with");
  debug_whole(run, "    it        = ", s.it);
  debug_whole(run, "    k         = ", s.k + 1);
  debug_value(run, "    sseplus   = ", s.sseplus);
  debug_whole(run, "    miperr    = ", s.miperr);
  debug_whole(run, "    ferr      = ", ferr);
  debug_whole(run, "    trvstatus = ", static_cast<int>(run.status.trvstatus));
  debug_whole(run, "    imodel    = ", run.counters.imodel);
  debug_value(run, "    bound     = ", s.bound);
}

int count_true(std::span<const bool> mask) {
  return static_cast<int>(std::ranges::count(mask, true));
}

// An estimate of the text's length, from the statements that grow with data and terms: a value and
// a name some 50 characters long for each row and term, once for each statement on a row.
bool has_room(const RunState& run, const BestSubsetProblem& problem) {
  const double rows =
      2.0 * problem.ndata() + (problem.has_bounding() ? problem.bounding->crndata : 0);
  const double groups = static_cast<double>(problem.ngroups()) * problem.nbas();
  return run.memory.has_room(rows * count_true(problem.screened) + groups, 50.0);
}

Next write_subset_model(const SubsetSolve& s) {
  if (!has_room(s.run, s.problem)) {
    fail(s.run, Code::out_of_memory, 40);
    return Next::leave;
  }
  if (write_model("surrogate.mir", mir_model(s.problem))) return Next::go_on;
  s.miperr = 2;
  return Next::leave;
}

// Whether the solver has an answer for us.
Next read_status(SubsetSolve& s) {
  const std::optional<std::string> tim = read_file("tim.lst");
  const std::optional<MirEnd> end = tim ? read_mir_end(*tim) : std::nullopt;
  if (end) s.bound = end->bound;
  s.miperr = end ? miperr_of_status(end->status) : 2;
  return s.miperr == 0 ? Next::go_on : Next::leave;
}

MirLayout layout_of(const BestSubsetProblem& problem) {
  MirLayout layout;
  layout.terms = count_true(problem.screened);
  layout.groups = problem.ngroups();
  if (problem.metric == Metric::madp) ++layout.positive;
  if (problem.error == ErrorModel::absolute) layout.positive += count_true(problem.simulated);
  layout.free = layout.terms;
  return layout;
}

Next read_subset(const SubsetSolve& s) {
  const BestSubsetProblem& problem = s.problem;
  const std::optional<std::string> res = read_file("res.lst");
  const std::optional<MirSolution> solution =
      res ? read_mir_solution(*res, layout_of(problem)) : std::nullopt;
  if (!solution) {
    s.miperr = 2;
    return Next::leave;
  }
  BestSubsetAnswer answer;
  answer.chosen.assign(at(problem.nbas()), false);
  answer.beta.assign(at(problem.nbas()), 0.0);
  std::size_t p = 0;
  for (int j = 0; j < problem.nbas(); ++j) {
    if (!problem.screened[at(j)]) continue;
    answer.chosen[at(j)] = solution->y[p] > 0.5;
    answer.beta[at(j)] = solution->beta[p++];
  }
  take_answer(s.run, problem, answer);
  return Next::go_on;
}

// Where the objective holds more or other than the squares they are summed anew.
void recompute_sse(SubsetSolve& s) {
  switch (s.problem.metric) {
    case Metric::bic:
    case Metric::cp:
    case Metric::ssep:
    case Metric::ric:
      s.sseplus = ssefit(s.run, s.k);
      return;
    case Metric::aicc:
    case Metric::hqc:
    case Metric::mse:
    case Metric::madp:
      if (s.problem.error == ErrorModel::absolute) s.sseplus = ssefit(s.run, s.k);
      return;
  }
}

// --- least squares ------------------------------------------------------------------------------

LeastSquaresProblem state_least_squares(RunState& run, ColumnMask chosen, int k) {
  const Sizes& sizes = run.sizes;
  const Options& options = run.options;
  LeastSquaresProblem problem;
  problem.x = run.basis.xij.view(sizes.ndata, sizes.nbas);
  problem.z = run.points.zdata.column(k, sizes.ndata);
  problem.rows = run.lsq.rowsuse.first(at(sizes.ndata));
  problem.chosen = chosen;
  problem.labels = run.basis.basislabel;
  problem.epsa = options.mipoptca;
  problem.epsr = options.mipoptcr;
  problem.seconds = std::max(options.maxtime - elapsed(run), 0.0);
  problem.allowcplex = options.allowcplex;
  problem.print_solver = options.print_mirak_out;
  problem.debug = options.debug;
  return problem;
}

// The objective at the answer.
double sum_of_squares(const LeastSquaresProblem& problem, std::span<const double> beta) {
  double sum = 0.0;
  for (int i = 0; i < problem.x.rows; ++i) {
    if (!problem.rows[at(i)]) continue;
    double error = problem.z[at(i)];
    for (int j = 0; j < problem.x.columns; ++j) {
      if (problem.chosen[at(j)]) error -= problem.x(i, j) * beta[at(j)];
    }
    sum += error * error;
  }
  return sum;
}

// Coefficients of the chosen columns; false when there are none.
bool read_coefficients(const LeastSquaresProblem& problem, std::span<double> beta) {
  const std::optional<std::string> tim = read_file("tim.lst");
  const std::optional<std::string> res = read_file("res.lst");
  const std::optional<int> status = tim ? read_mir_status(*tim) : std::nullopt;
  if (!res || !status || miperr_of_status(*status) != 0) return false;
  MirLayout layout;
  layout.free = count_true(problem.chosen);
  const std::optional<MirSolution> solution = read_mir_solution(*res, layout);
  if (!solution) return false;
  std::size_t p = 0;
  for (int j = 0; j < problem.x.columns; ++j) {
    if (problem.chosen[at(j)]) beta[at(j)] = solution->beta[p++];
  }
  return true;
}

}  // namespace

std::string mirak_command(const std::string& path, const std::string& model) {
  constexpr std::string_view plain_signs = "/._-+:@%,~";
  const std::string_view program = trim_right(path);
  const bool is_plain = std::ranges::all_of(program, [&](char c) {
    return is_label_character(c) || plain_signs.find(c) != std::string_view::npos;
  });
  if (is_plain) return fmt::format("{} {}", program, model);
  // Between single quotes nothing but the single quote itself has a meaning.
  std::string quoted = "'";
  for (const char c : program) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "' " + model;
}

void trvsolvemipmir(RunState& run, int it, int k, double betabound, double bestmetric,
                    int& miperr) {
  debug_subset_entry(run, "trvsolvemipmir", k);
  miperr = 0;
  if (timeup(run)) return;
  remove_answers();
  SubsetSolve s{run, it, k, miperr, state_best_subset(run, it, k, betabound, bestmetric)};
  s.problem.print_solver = run.options.print_mirak_out;
  if (write_subset_model(s) == Next::leave) return;
  if (keep_model(run, best_subset_call) == Next::leave) return;
  ++run.counters.n_mip;
  if (solve(run, best_subset_call, run.timers.t_mip) == Next::leave) return;
  if (read_status(s) == Next::leave) return;
  if (read_subset(s) == Next::leave) return;
  recompute_sse(s);
  remove_answers();
  debug_exit(s, 0);
}

void trvolrmir(RunState& run, ColumnMask chosen, int k, std::span<double> beta, double& sse) {
  std::ranges::fill(beta, 0.0);
  sse = 0.0;
  if (timeup(run)) return;
  remove_answers();
  const LeastSquaresProblem problem = state_least_squares(run, chosen, k);
  const MirCall& call = least_squares_call;
  if (!write_model("olr.mir", mir_least_squares(problem))) {
    fail(run, call.code, call.command);
    return;
  }
  if (keep_model(run, call) == Next::leave) return;
  double seconds = 0.0;
  const Next next = solve(run, call, seconds);
  run.timers.t_olr += seconds;
  run.models.olrtime[at(k)] += seconds;
  if (next == Next::leave) return;
  if (!read_coefficients(problem, beta)) {
    fail(run, call.code, call.command);
    return;
  }
  sse = sum_of_squares(problem, beta);
  remove_answers();
}

}  // namespace torve
