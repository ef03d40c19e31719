#include <fmt/format.h>

#include <algorithm>
#include <new>

#include "input/messages.h"
#include "report/printer.h"
#include "report/quality.h"
#include "report/results.h"
#include "report/trace.h"
#include "run/trvrun.h"
#include "run/workspace.h"
#include "system/files.h"
#include "text/number_edits.h"

namespace torve {

namespace {

constexpr int lasso_screener = 1;

bool any_model(const RunState& run) {
  const std::span<const bool> has =
      run.models.hasmodel.first(static_cast<std::size_t>(run.sizes.noutputs));
  return std::find(has.begin(), has.end(), true) != has.end();
}

bool has_constraints(const RunState& run) {
  return run.outputs.bounded || run.sizes.crncustom > 0;
}

// One line of the breakdown; the labels are one column wide.
void print_time(RunState& run, std::string_view label, double seconds, std::string_view rest) {
  trvprint(run, fmt::format("{:<21}{} s {}", label, time_text(seconds), rest));
}

// The time that no line of the breakdown claims.
double other_time(const Timers& t) {
  return t.t_total - t.t_olr - t.t_clr - t.t_mip - t.t_mip2 - t.t_lasso - t.t_sim - t.t_bank;
}

void print_times(RunState& run) {
  const Timers& t = run.timers;
  const Counters& n = run.counters;
  const Sizes& sizes = run.sizes;
  trvprint(run, " ");
  trvprint(run, fmt::format("Total execution time {} s", time_text(t.t_total)));
  trvprint(run, "Times breakdown");
  print_time(run, "    OLR time:", t.t_olr,
             fmt::format("in {} ordinary linear regression problems", n.numOLRs));
  if (has_constraints(run)) {
    print_time(run, "    CLR time:", t.t_clr,
               fmt::format("in {} constrained linear regression problems", n.numCLRs));
  }
  print_time(run, "    MINLP time:", t.t_mip + t.t_mip2,
             fmt::format("in {} optimization problems", n.n_mip));
  if (run.options.screener == lasso_screener) {
    print_time(run, "    Lasso time:", t.t_lasso,
               fmt::format("in {} nonlinear problems", n.n_lasso));
  }
  if (sizes.nbank > 0) {
    print_time(run, "    Sampling time:", t.t_bank,
               fmt::format("to sample {} from NBANK = {} points", sizes.nbank - sizes.nbankleft,
                           sizes.nbank));
  }
  print_time(run, "    Simulation time:", t.t_sim, fmt::format("to simulate {} points", n.n_sim));
  print_time(run, "    All other time:", other_time(t),
             fmt::format("in {} iterations", run.status.iteration));
}

// Quality, results, times and trace of a run that reached modelling.
void report_models(RunState& run) {
  if (!run.models.exist) return;
  qualitymetrics(run);
  if (any_model(run)) writereport(run);
  cpu_stop(run.timers, run.timers.t_total);
  print_times(run);
  write_trace_rows(run);
}

// A listing or trace that could not be written in full must not pass for whole.
void close_outputs(RunState& run) {
  const bool trace_whole = run.files.tracefile.close();
  run.files.listing.flush();
  if (trace_whole && run.files.listing.good()) return;
  if (!failed(run)) fail(run, Code::file_write_failed, 92);
}

void print_message(RunState& run) {
  const std::vector<std::string> lines = trvmessage(run.status.trvstatus, run.options.tracefname);
  if (run.options.print_to_screen) {
    print_on_screen(" ");
    for (const std::string& line : lines) print_on_screen(line);
  }
  print_to_listing(run, " ");
  for (const std::string& line : lines) print_to_listing(run, line);
  if (failed(run)) {
    print_to_listing(run,
                     fmt::format("Termination occured at location {}", run.status.trvlocation));
  }
  run.files.listing.close();
}

// Only a folder that this run made is removed, and never one that holds the run; so do the files of
// a simulator.
void remove_scratch(RunState& run) {
  const Options& options = run.options;
  if (!options.usescratch || !options.removescratch) return;
  if (!run.files.execdir.empty()) enter_folder(run.files.execdir);
  if (run.files.scratchmade && !is_protected_folder(run, run.files.scratch)) {
    remove_tree(run.files.scratch);
  }
  // Files of those names that no simulator of this run wrote are the user's.
  if (!run.files.simulatorran) return;
  remove_file(options.simin);
  remove_file(options.simout);
}

// A step of the final report that runs out of memory leaves the next ones their turn.
template <class Step>
void guarded(RunState& run, Step step) {
  try {
    step(run);
  } catch (const std::bad_alloc&) {
    if (!failed(run)) fail(run, Code::out_of_memory, 53);
  }
}

}  // namespace

void trvfinish(RunState& run) {
  guarded(run, release_screen);
  guarded(run, report_models);
  guarded(run, close_outputs);
  guarded(run, print_message);
  guarded(run, remove_scratch);
}

}  // namespace torve
