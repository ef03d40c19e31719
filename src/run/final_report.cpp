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
std::string time_line(std::string_view label, double seconds, std::string_view rest) {
  return fmt::format("{:<21}{} s {}", label, time_text(seconds), rest);
}

// The time that no line of the breakdown claims.
double other_time(const Timers& t) {
  return t.t_total - t.t_olr - t.t_clr - t.t_mip - t.t_mip2 - t.t_lasso - t.t_sim - t.t_bank;
}

std::vector<std::string> time_lines(const RunState& run) {
  const Timers& t = run.timers;
  const Counters& n = run.counters;
  const Sizes& sizes = run.sizes;
  std::vector<std::string> lines{
      " ", fmt::format("Total execution time {} s", time_text(t.t_total)), "Times breakdown"};
  const auto add = [&](std::string_view label, double seconds, std::string_view rest) {
    lines.push_back(time_line(label, seconds, rest));
  };
  add("    OLR time:", t.t_olr,
      fmt::format("in {} ordinary linear regression problems", n.numOLRs));
  if (has_constraints(run)) {
    add("    CLR time:", t.t_clr,
        fmt::format("in {} constrained linear regression problems", n.numCLRs));
  }
  add("    MINLP time:", t.t_mip + t.t_mip2, fmt::format("in {} optimization problems", n.n_mip));
  if (run.options.screener == lasso_screener) {
    add("    Lasso time:", t.t_lasso, fmt::format("in {} nonlinear problems", n.n_lasso));
  }
  if (sizes.nbank > 0) {
    add("    Sampling time:", t.t_bank,
        fmt::format("to sample {} from NBANK = {} points", sizes.nbank - sizes.nbankleft,
                    sizes.nbank));
  }
  add("    Simulation time:", t.t_sim, fmt::format("to simulate {} points", n.n_sim));
  add("    All other time:", other_time(t), fmt::format("in {} iterations", run.status.iteration));
  return lines;
}

void print_times(RunState& run) {
  for (const std::string& line : time_lines(run)) trvprint(run, line);
}

template <class Step>
bool has_memory_for(RunState& run, Step step) {
  try {
    step(run);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

// A step of the final report that runs out of memory leaves the next ones their turn.
template <class Step>
void guarded(RunState& run, Step step) {
  if (!has_memory_for(run, step) && !failed(run)) fail(run, Code::out_of_memory, 53);
}

// For a step that makes all its text before it prints: without memory it has something else to say,
// and a chance to find some.
template <class Step>
void tried_twice(RunState& run, Step step) {
  if (has_memory_for(run, step)) return;
  if (!failed(run)) fail(run, Code::out_of_memory, 53);
  guarded(run, step);
}

// Quality, results, times and trace of a run that reached modelling.
void report_models(RunState& run) {
  if (!run.models.exist) return;
  guarded(run, qualitymetrics);
  if (any_model(run)) guarded(run, writereport);
  cpu_stop(run.timers, run.timers.t_total);
  tried_twice(run, print_times);
  tried_twice(run, write_trace_rows);
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
  const std::string place =
      failed(run) ? fmt::format("Termination occured at location {}", run.status.trvlocation) : "";
  if (run.options.print_to_screen) {
    print_on_screen(" ");
    for (const std::string& line : lines) print_on_screen(line);
  }
  print_to_listing(run, " ");
  for (const std::string& line : lines) print_to_listing(run, line);
  if (!place.empty()) print_to_listing(run, place);
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
  // Files of the simulator's names that this run had no part in are the user's.
  for (const std::string& name : run.files.exchangefiles) remove_file(name);
}

}  // namespace

void trvfinish(RunState& run) {
  guarded(run, release_screen);
  report_models(run);
  close_outputs(run);
  tried_twice(run, print_message);
  // The message is out; what is missing for a moment now is no reason to end otherwise.
  if (!has_memory_for(run, remove_scratch)) guarded(run, remove_scratch);
}

}  // namespace torve
