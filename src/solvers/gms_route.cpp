#include "solvers/gms_route.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "model/debug_lines.h"
#include "model/fit.h"
#include "solvers/gms_model.h"
#include "solvers/gms_results.h"
#include "solvers/gms_text.h"
#include "solvers/olr_routes.h"
#include "solvers/solver_debug.h"
#include "solvers/solver_run.h"
#include "system/files.h"
#include "system/text_file.h"
#include "text/strings.h"

namespace torve {

namespace {

constexpr const char* results_file = "res.put";

// A program on its way through GAMS: what its files are called and where its failures are found.
struct Job {
  std::string name;     // of the program, without .gms
  Code no_answer;       // GAMS failed and wrote no results
  int no_answer_place;  // location of that
  int model_place;      // locations of copies that fail
  int listing_place;
  int log_place;
  double Timers::*timer;  // takes the time of GAMS
  int Counters::*count;   // of runs of GAMS; none counts where it is null
};

const Job subset_job = {"surrogate",     Code::best_subset_failed, 44, 41, 42, 43,
                        &Timers::t_mip2, &Counters::n_mip};
const Job squares_job = {"olr",  Code::least_squares_solver_failed, 29, 29, 29, 29, &Timers::t_olr,
                         nullptr};

bool write_program(const Job& job, const std::string& text) {
  TextFile file;
  if (!file.open_replace(job.name + ".gms")) return false;
  file.write(text);
  return file.close();
}

std::string gams_command(const Options& options, const std::string& name) {
  std::string command(trim(options.gams));
  command += " " + name + " ";
  command += trim(options.gamsoptions);
  if (!options.print_gams_out) command += " lo=2";
  return command;
}

// A copy of the program, before GAMS may touch it; it takes the next number.
bool keep_program(RunState& run, const Job& job) {
  if (!run.options.debug) return true;
  const std::string number = std::to_string(++run.counters.imodel);
  return keep_copy(run, job.name + ".gms", job.name + number + ".gms", job.model_place);
}

// Copies of what GAMS wrote for a reader. It makes the log on request only.
bool keep_listings(RunState& run, const Job& job) {
  if (!run.options.debug) return true;
  const std::string number = std::to_string(run.counters.imodel);
  if (!keep_copy(run, job.name + ".lst", job.name + number + ".lst", job.listing_place)) {
    return false;
  }
  return !file_exists(job.name + ".log") ||
         keep_copy(run, job.name + ".log", job.name + number + ".log", job.log_place);
}

// Runs GAMS on the program in its file. True when there may be results to read; otherwise the run
// has a code. GAMS's own exit status tells of warnings too: what counts is whether it wrote them.
bool run_gams(RunState& run, const Job& job) {
  if (!keep_program(run, job)) return false;
  if (job.count != nullptr) ++(run.counters.*(job.count));
  const std::string command = gams_command(run.options, job.name);
  const CommandResult result = run_solver(run, command, run.timers.*(job.timer));
  if (failed(run)) return false;
  if (!keep_listings(run, job)) return false;
  const bool went_well = result.end == CommandEnd::exited && result.status == 0;
  return went_well || file_exists(results_file) || fail(run, job.no_answer, job.no_answer_place);
}

// A search that ends at its first feasible point, or dives for one, may end without any.
NoSolution reading_of_no_solution(const Options& options) {
  const bool may_miss =
      equal_folded(trim(options.gamssolver), "mirak") && (options.dive || options.shortcut);
  return may_miss ? NoSolution::is_an_answer : NoSolution::is_a_failure;
}

// The whole way of a program: written, run, read back. Without a code in the run the answer's
// miperr tells how it went.
GmsAnswer solve(RunState& run, const Job& job, const std::string& text) {
  GmsAnswer answer;
  answer.miperr = 2;
  if (!write_program(job, text)) return answer;
  if (!run_gams(run, job)) {
    answer.miperr = 0;
    return answer;
  }
  const std::optional<std::string> results = read_file(results_file);
  if (!results) return answer;
  return read_gms_answer(*results, run.sizes.nbas, reading_of_no_solution(run.options));
}

// An estimate of the program's length: a statement of some 50 characters for each row and term.
bool has_room(const RunState& run, const BestSubsetProblem& problem) {
  const double rows =
      problem.ndata() + (problem.has_bounding() ? problem.bounding->crndata : 0) + 3.0;
  return run.memory.has_room(rows * count(problem.screened), 50.0);
}

// The objective as the solver left it, or the error of the fit where the objective holds more or
// other than that.
double error_of_answer(RunState& run, int k, const BestSubsetProblem& problem,
                       const GmsAnswer& answer) {
  switch (problem.metric) {
    case Metric::bic:
    case Metric::cp:
    case Metric::ssep:
    case Metric::ric:
      return ssefit(run, k);
    case Metric::aicc:
    case Metric::hqc:
    case Metric::mse:
    case Metric::madp:
      break;
  }
  return has_absolute_errors(problem) ? ssefit(run, k) : answer.value;
}

void debug_exit(RunState& run, int it, int k, double sseplus) {
  if (!debugging(run)) return;
  debug_line(run, ">>> Exiting trvsolvemipgms with");
  debug_whole(run, "    it        = ", it);
  debug_whole(run, "    k         = ", k + 1);
  debug_value(run, "    sseplus   = ", sseplus);
  debug_whole(run, "    miperr    = ", 0);
  debug_whole(run, "    ferr      = ", 0);
  debug_whole(run, "    trvstatus = ", static_cast<int>(run.status.trvstatus));
  debug_whole(run, "    imodel    = ", run.counters.imodel);
}

GmsLeastSquares state_least_squares(RunState& run, ColumnMask chosen, int k) {
  const Sizes& sizes = run.sizes;
  GmsLeastSquares problem;
  problem.xij = run.basis.xij.view(sizes.ndata, sizes.nbas);
  problem.z = run.points.zdata.column(k, sizes.ndata);
  problem.rows = run.lsq.rowsuse.first(at(sizes.ndata));
  problem.chosen = chosen;
  problem.labels = run.basis.basislabel;
  problem.epsa = run.options.mipoptca;
  problem.epsr = run.options.mipoptcr;
  problem.debug = run.options.debug;
  problem.solver = trim(run.options.gamsnlpsolver);
  return problem;
}

}  // namespace

void trvsolvemipgms(RunState& run, int it, int k, double betabound, double bestmetric,
                    int& miperr) {
  debug_subset_entry(run, "trvsolvemipgms", k);
  miperr = 0;
  if (timeup(run)) return;
  remove_files({results_file});
  const BestSubsetProblem problem = state_best_subset(run, it, k, betabound, bestmetric);
  if (!has_room(run, problem)) {
    fail(run, Code::out_of_memory, 40);
    return;
  }
  const GmsAnswer answer = solve(run, subset_job, gms_model(problem, {run.options.gamssolver}));
  miperr = answer.miperr;
  if (miperr != 0 || failed(run)) return;
  take_answer(run, problem, answer.subset);
  const double sseplus = error_of_answer(run, k, problem, answer);
  remove_files({results_file});
  debug_exit(run, it, k, sseplus);
}

void trvolrgms(RunState& run, ColumnMask chosen, int k, std::span<double> beta, double& sse) {
  std::ranges::fill(beta, 0.0);
  sse = 0.0;
  if (timeup(run)) return;
  remove_files({results_file});
  const double before = run.timers.t_olr;
  const GmsAnswer answer =
      solve(run, squares_job, gms_least_squares(state_least_squares(run, chosen, k)));
  run.models.olrtime[at(k)] += run.timers.t_olr - before;
  if (failed(run)) return;
  if (answer.miperr != 0) {
    fail(run, squares_job.no_answer, squares_job.no_answer_place);
    return;
  }
  for (int j = 0; j < run.sizes.nbas; ++j) {
    if (chosen[at(j)]) beta[at(j)] = answer.subset.beta[at(j)];
  }
  sse = answer.value;
  remove_files({results_file});
}

}  // namespace torve
