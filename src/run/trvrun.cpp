#include "run/trvrun.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <new>

#include "adaptive/adaptive_sampling.h"
#include "data/point_tables.h"
#include "data/sampling.h"
#include "data/scaling.h"
#include "input/problem_reader.h"
#include "input/trvcheck.h"
#include "model/trvsurr.h"
#include "report/listing.h"
#include "report/printer.h"
#include "report/trace.h"
#include "run/workspace.h"
#include "system/files.h"
#include "system/machine.h"
#include "text/number_edits.h"
#include "text/strings.h"

namespace torve {

namespace {

constexpr std::string_view usage = "Usage: torve inputfile.trv [scratchdirectory]";
constexpr std::string_view extension = ".trv";
constexpr int longest_file_name = 1000;
constexpr std::size_t name_width = 1024;

constexpr std::array<std::string_view, 5> screener_names{
    "lasso-opti screener", "lasso-path screener", "none", "lasso-screener",
    "sure independence screener"};
constexpr std::array<std::string_view, 8> modeler_names{"BIC", "Mallow's Cp", "AICc", "HQC",
                                                        "MSE", "SSEp",        "RIC",  "MADp"};
constexpr std::array<std::string_view, 3> sampler_names{"RANDOM", "DFO-SNOBFIT", "FAURE"};

// The name of an option's value; blank for a value without one.
template <std::size_t n>
std::string_view name_of(const std::array<std::string_view, n>& names, int value, int first) {
  const long long i = static_cast<long long>(value) - first;
  return i >= 0 && i < static_cast<long long>(n) ? names[static_cast<std::size_t>(i)] : "";
}

std::string base_name(const std::string& fname) {
  const bool has_extension = fname.size() >= 5 && fname.ends_with(extension);
  return has_extension ? fname.substr(0, fname.size() - extension.size()) : fname;
}

// --- start --------------------------------------------------------------------------------------

void start_state(RunState& run) {
  cpu_start(run.timers, run.timers.t_total);
  run.status.runstarted = true;
  if (run.memory.machine_bytes == 0) run.memory.machine_bytes = physical_memory();
  use_one_algebra_thread();
  if (run.status.cmdcount < 0 && run.files.fname.empty()) run.files.fname = "trvapi";
  run.status.processid = process_number();
}

// The listing goes to the current folder, whatever folder the problem file is in.
void name_files(RunState& run) {
  Files& files = run.files;
  files.fname = cut(files.fname, name_width);
  const std::string listing = base_name(files.fname) + ".lst";
  files.outfname = listing.substr(listing.rfind(separator) + 1);
  if (files.scratchin.empty() && run.options.usescratch) {
    files.scratchin = files.outfname.substr(0, files.outfname.size() - 3) + "scr";
  }
}

void print_banner(RunState& run) {
  hold_screen(run);
  trvprint(run, "TORVE: small algebraic models from data");
  trvprint(run, fmt::format("Version {}.{}.{} for {}", TORVE_VERSION_YEAR, TORVE_VERSION_MONTH,
                            TORVE_VERSION_DAY, TORVE_SYSTEM));
  trvprint(run,
           "Global optimisation through the separate programs MIRAK or GAMS, where installed.");
}

bool check_arguments(RunState& run) {
  const int count = run.status.cmdcount;
  if (count == 0 || count > 2) return fail(run, Code::argument_count, 46);
  if (count < 0) return true;
  if (run.status.cmdlength < 1 || run.status.cmdlength > longest_file_name) {
    return fail(run, Code::file_name_length, 47);
  }
  if (file_exists(run.files.fname)) return true;
  run.files.fname += extension;
  if (file_exists(run.files.fname)) return true;
  return fail(run, Code::problem_file_not_found, 48);
}

// --- reading and preparing ----------------------------------------------------------------------

bool read_problem(RunState& run) {
  // In call mode everything may have been set by calls, and a file of the fallback name is
  // optional.
  const bool calls_only =
      run.status.cmdcount < 0 && run.files.fname == "trvapi" && !file_exists(run.files.fname);
  if (calls_only) {
    // Nothing is read, but what was set is tested and finished like a file.
    read_problem_text(run, "");
  } else {
    trvread(run);
  }
  release_screen(run);
  return !failed(run);
}

bool prepare_work(RunState& run) {
  run.files.scratch = cut(run.files.scratchin, name_width);
  return trvworkspace(run);
}

bool check_problem(RunState& run) {
  trvcheck(run);
  return !failed(run);
}

bool open_listing(RunState& run) {
  if (!run.options.print_to_file) return true;
  // The problem file must not be lost to a listing that is a link to it.
  const bool takes_problem = is_same_file(run.files.outfname, run.files.fname);
  if (takes_problem || !run.files.listing.open_replace(run.files.outfname)) {
    return fail(run, Code::listing_cannot_be_opened, 49);
  }
  return list_options(run);
}

bool open_trace(RunState& run) {
  if (!run.options.trace) return true;
  const std::string& name = run.options.tracefname;
  TextFile& trace = run.files.tracefile;
  const bool taken = is_same_file(name, run.files.fname) || is_same_file(name, run.files.outfname);
  if (taken) return fail(run, Code::trace_cannot_be_opened, 50);
  const bool opened = file_exists(name) ? trace.open_append(name) : trace.open_new(name);
  if (!opened) return fail(run, Code::trace_cannot_be_opened, 50);
  write_trace_header(run);
  return true;
}

bool check_purpose(RunState& run) {
  const std::span<const bool> ignore =
      run.outputs.ignore.first(static_cast<std::size_t>(run.sizes.noutputs));
  if (std::find(ignore.begin(), ignore.end(), false) == ignore.end()) {
    return fail(run, Code::all_outputs_ignored, 51);
  }
  if (run.options.maxiter != 1 && run.sizes.nbank == 0 && run.options.simulator.empty()) {
    return fail(run, Code::iterations_without_simulator, 255);
  }
  return true;
}

// --- arrays -------------------------------------------------------------------------------------

bool size_arrays(RunState& run) {
  Sizes& sizes = run.sizes;
  const bool extra = sizes.npredata > 0 && sizes.initialpoints >= 1;
  sizes.ndatacap = std::max(sizes.initialpoints, 1) + (extra ? 1 : 0);
  sizes.ndatacap = std::max(sizes.ndatacap, sizes.ndata);
  Points& points = run.points;
  const bool enough = points.simulated.request(run.memory, sizes.ndatacap, sizes.noutputs) &&
                      points.zerror.request(run.memory, sizes.ndatacap, sizes.noutputs);
  if (!enough) return fail(run, Code::out_of_memory, 53);
  mark_bad_points(run);
  return grow_points(run) && request_model_work(run);
}

// --- initial data -------------------------------------------------------------------------------

void tell_initial_data(RunState& run) {
  const Sizes& sizes = run.sizes;
  trvprint(run, " ");
  trvprint(run, "Step 0: Initializing data set");
  if (sizes.ndata > 0) {
    trvprint(run, fmt::format("User provided an initial data set of {} data points",
                              sizes.ndata + sizes.nbank));
  } else {
    trvprint(run, "User provided no initial data set");
  }
  const int m = sizes.initialpoints - sizes.ndata;
  if (m <= 0) {
    trvprint(run, "We will sample no more data points at this stage");
  } else {
    trvprint(run, fmt::format("We will sample {} data points to {} the initial set", m,
                              sizes.ndata > 0 ? "add to" : "form"));
  }
}

bool obtain_initial_data(RunState& run) {
  tell_initial_data(run);
  Sizes& sizes = run.sizes;
  cpu_start(run.timers, run.timers.t_initial);
  if (sizes.initialpoints > sizes.ndata) {
    int last = sizes.initialpoints - 1;
    samplepoints(run, run.options.initializer, sizes.ndata, last, true);
    if (!failed(run)) {
      trvprint(run, fmt::format("Number of points sampled {}", last + 1 - sizes.ndata));
      sizes.ndata = last + 1;
    }
  }
  cpu_stop(run.timers, run.timers.t_initial);
  return !failed(run) && request_model_results(run);
}

// --- main loop ----------------------------------------------------------------------------------

bool bank_is_used_up(const RunState& run) {
  return run.sizes.nbank > 0 && run.sizes.nbankleft <= 0;
}

void announce_iteration(RunState& run) {
  const Options& options = run.options;
  trvprint(run, std::string(75, '*'));
  trvprint(run, fmt::format("Iteration {} (Approx. elapsed time {} s)", run.status.iteration,
                            time_text(elapsed(run))));
  trvprint(run, " ");
  const std::string_view modeler = name_of(modeler_names, options.modeler, 1);
  if (options.screener != 0) {
    trvprint(run, fmt::format("Step 1: Model building using {} and {}",
                              name_of(screener_names, options.screener, -2), modeler));
  } else {
    trvprint(run, fmt::format("Step 1: Model building using {}", modeler));
  }
}

// True when the run goes on to sampling.
bool build_models(RunState& run) {
  announce_iteration(run);
  cpu_start(run.timers, run.timers.t_model);
  trvsurr(run);
  cpu_stop(run.timers, run.timers.t_model);
  return !failed(run) && run.options.maxiter != 1 && !bank_is_used_up(run);
}

// Capacity at least doubles, so that the arrays don't move in every iteration.
bool make_room(RunState& run) {
  Sizes& sizes = run.sizes;
  const long long need = static_cast<long long>(run.options.maxpoints) + sizes.ndata;
  if (sizes.ndatacap >= need) return true;
  const long long wanted = std::max(2LL * sizes.ndatacap, need);
  if (wanted > 1000000000LL) return fail(run, Code::out_of_memory, 53);
  sizes.ndatacap = static_cast<int>(wanted);
  return grow_points(run) && request_model_work(run);
}

// Outputs that are ignored have no model that could converge.
int wanted_outputs(const RunState& run) {
  const std::span<const bool> ignore =
      run.outputs.ignore.first(static_cast<std::size_t>(run.sizes.noutputs));
  return static_cast<int>(std::count(ignore.begin(), ignore.end(), false));
}

// True when the models are to be built anew.
bool sample_adaptively(RunState& run) {
  trvprint(run, " ");
  trvprint(run, fmt::format("Step 2: Adaptive sampling using {} sampler",
                            name_of(sampler_names, run.options.sampler, 1)));
  if (!make_room(run)) return false;
  cpu_start(run.timers, run.timers.t_adaptive);
  trvadaptivesampling(run);
  cpu_stop(run.timers, run.timers.t_adaptive);
  if (failed(run)) return false;
  const bool no_more_points = bank_is_used_up(run) && run.options.simulator.empty();
  if (no_more_points) run.options.maxiter = run.status.iteration;
  if (run.status.nconverged == wanted_outputs(run)) return false;
  if (timeup(run)) return false;
  trvprint(run, " ");
  // A budget that isn't positive is never met and doesn't end the loop.
  if (run.status.iteration != run.options.maxiter) return true;
  if (!no_more_points) fail(run, Code::iterations_used_up, 52);
  return false;
}

void iterate(RunState& run) {
  run.status.iteration = 1;
  while (build_models(run) && sample_adaptively(run)) ++run.status.iteration;
}

// Everything between the banner and the final report; the first step that fails ends it.
void run_to_the_end(RunState& run) {
  if (!check_arguments(run)) return;
  if (!read_problem(run)) return;
  if (!prepare_work(run)) return;
  if (!check_problem(run)) return;
  if (!open_listing(run)) return;
  if (!open_trace(run)) return;
  if (!check_purpose(run)) return;
  if (!size_arrays(run)) return;
  if (!obtain_initial_data(run)) return;
  iterate(run);
}

}  // namespace

void trvrun(RunState& run) {
  start_state(run);
  if (run.files.fname == "-h") {
    print_on_screen(usage);
    return;
  }
  try {
    name_files(run);
    print_banner(run);
    if (!failed(run)) run_to_the_end(run);
  } catch (const std::bad_alloc&) {
    fail(run, Code::out_of_memory, 53);
    // Models are built in the scratch folder.
    if (!run.files.execdir.empty()) enter_folder(run.files.execdir);
  }
  trvfinish(run);
  if (run.status.cmdcount >= 0) release_arrays(run);
}

}  // namespace torve
