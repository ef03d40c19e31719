#include "input/trvcheck.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "basis/catalogue.h"
#include "basis/groups.h"
#include "data/scaling.h"
#include "data/transforms.h"
#include "model/combinations.h"
#include "report/printer.h"
#include "run/option_table.h"
#include "run/workspace.h"
#include "system/installed_solver.h"
#include "text/strings.h"

namespace torve {

namespace {

// Null columns are looked for where the given data are all there will be. Without any, a column
// has had no chance to show a value.
bool data_are_complete(const RunState& run) {
  return run.sizes.ndata > 0 && run.sizes.ndata == run.sizes.initialpoints &&
         run.options.maxiter == 1 && run.options.numlimitbasis && run.sizes.ngroups == 0;
}

bool is_null(std::span<const double> values, double tolerance) {
  return std::all_of(values.begin(), values.end(),
                     [&](double value) { return !(value * value > tolerance); });
}

void drop_null_columns(RunState& run) {
  if (!data_are_complete(run)) return;
  const double tolerance = run.options.nulltol;
  for (int j = 0; j < run.sizes.nbas; ++j) {
    if (!run.basis.basisactive[at(j)]) continue;
    if (!is_null(run.basis.xij.column(j, run.sizes.ndata), tolerance)) continue;
    if (run.sizes.nbank > 0 && !is_null(run.basis.xijbank.column(j, run.sizes.nbank), tolerance)) {
      continue;
    }
    run.basis.basisactive[at(j)] = false;
    --run.sizes.nbasmax;
    trvprint(run, "Warning: eliminating null basis " + run.basis.basislabel[at(j)]);
  }
}

bool allocate_matrices(RunState& run) {
  Basis& basis = run.basis;
  const Sizes& sizes = run.sizes;
  const bool enough =
      basis.xij.request(run.memory, sizes.ndata, sizes.nbas) &&
      (sizes.nbank <= 0 || basis.xijbank.request(run.memory, sizes.nbank, sizes.nbas));
  return enough || fail(run, Code::out_of_memory, 266);
}

// A run without data and without a wish starts from as many points as a step samples.
void derive_first_sample(RunState& run) {
  Sizes& sizes = run.sizes;
  if (sizes.nsample != 0 || sizes.ndata != 0) return;
  sizes.initialpoints = sizes.nsample = std::max(run.options.minpoints, sizes.ninputs);
  trvprint(run, fmt::format("Setting INITIALPOINTS and NSAMPLE equal to {}", sizes.nsample));
}

}  // namespace

bool prepare_basis(RunState& run) {
  drop_unused_groups(run);
  clean_power_lists(run);
  if (!lay_out_columns(run)) return false;
  build_catalogue(run);
  if (!build_groups(run)) return false;
  if (!parse_formulas(run)) return false;
  if (!transform_given_points(run)) return false;
  if (!allocate_matrices(run)) return false;
  screen_by_bounds(run);
  scale_points(run);
  fill_regression_matrix(run);
  drop_null_columns(run);
  return true;
}

bool prepare_outputs(RunState& run) {
  Models& models = run.models;
  const int n = run.sizes.noutputs;
  if (!models.conreg.request(run.memory, n)) return fail(run, Code::out_of_memory, 267);
  bool any = false;
  for (int k = 0; k < n; ++k) {
    const Array<int>& custom = run.outputs.crcustomind;
    const std::span<const int> constrained =
        custom.first(std::min(custom.size(), at(std::max(run.sizes.crncustom, 0))));
    const bool has_custom =
        std::find(constrained.begin(), constrained.end(), k) != constrained.end();
    models.conreg[at(k)] = run.outputs.haszmin[at(k)] || run.outputs.haszmax[at(k)] || has_custom;
    any = any || models.conreg[at(k)];
  }
  models.bounding.resize(at(n));
  if (any) run.options.crninitial = std::max(run.options.crninitial, 1);
  if (!seen(run, "crnviol")) {
    const long long twice = 2LL * run.sizes.ninputs;
    run.options.crnviol = static_cast<int>(std::min<long long>(twice, 2147483647LL));
  }
  if (run.outputs.bounded && (run.options.sinfcns || run.options.cosfcns)) {
    return fail(run, Code::trigonometric_constraints, 268);
  }
  for (int k = 0; k < n; ++k) {
    int& maxterms = run.outputs.maxterms[at(k)];
    if (maxterms == -1) maxterms = run.sizes.nbasmax;
  }
  return true;
}

namespace {

// In double quotes a path stays one word, and with a backslash before them the four characters that
// mean something there stand for themselves.
std::string quoted_for_shell(const std::string& path) {
  std::string text = "\"";
  for (const char c : path) {
    if (std::string_view("\"\\$`").find(c) != std::string_view::npos) text += '\\';
    text += c;
  }
  return text + "\"";
}

}  // namespace

bool find_simulator(RunState& run) {
  std::string& simulator = run.options.simulator;
  if (simulator.empty()) return true;
  const std::string found = trvfindprogram(run, simulator);
  if (failed(run)) return false;
  if (found.empty()) return fail(run, Code::simulator_not_found, 87);
  const std::size_t blank = simulator.find(' ');
  const std::string arguments = blank == std::string::npos ? "" : simulator.substr(blank);
  simulator = quoted_for_shell(found) + arguments;
  return true;
}

// Enumeration is switched on without limit where the automatic limit would forbid sizes that the
// stop rules will hardly reach.
void derive_enumeration(RunState& run) {
  Options& options = run.options;
  const int nbasmax = run.sizes.nbasmax;
  constexpr int automatic = -2;
  if (options.enumall == automatic) options.enumall = 0;
  if (options.enum1 == automatic) options.enum1 = options.builder > 0 ? 0x4000 : 0x40000;
  const bool all_subsets_covered =
      options.enumall == -1 || options.enumall >= std::exp2(nbasmax) - 1.0;
  if (!all_subsets_covered && options.enum1 != -1 && options.enum1 != 0) {
    const int most = most_combos(nbasmax);
    if (most > 0 && most > options.enum1) {
      if (!options.solvemip) trvprint(run, "Turning on enumeration.");
      options.enum1 = -1;
    }
  }
  if (options.enumall > 0) {
    const double logarithm = std::log(static_cast<float>(options.enumall));
    options.enumall = static_cast<int>(std::lround(logarithm / std::log(2.0)));
  }
}

namespace {

constexpr std::string_view no_gams = "Warning: GAMS is not available for optimization. ";

bool wants_gams_route(const Options& options) {
  return options.olrgms || options.crgms || options.mipgms || options.lassogms;
}

void set_gams_routes(Options& options, bool on) {
  options.olrgms = options.crgms = options.mipgms = options.lassogms = on;
}

void set_mirak_routes(Options& options, bool on) {
  options.olrmir = options.crmir = options.mipmir = options.lassomir = on;
}

// A solver on the path comes first; where there is none, the bare name that nobody has changed may
// be the one that is installed with the program.
bool find_mirak(RunState& run) {
  std::string& path = run.files.mirakpath;
  if (trvonpath(path)) return true;
  if (path != Files().mirakpath) return false;
  const std::string installed = installed_solver();
  if (installed.empty()) return false;
  path = installed;
  return true;
}

}  // namespace

void choose_gams(RunState& run) {
  Options& options = run.options;
  if (options.usegams) {
    options.usegams = trvonpath(options.gams.substr(0, options.gams.find(' ')));
    set_gams_routes(options, options.usegams);
    set_mirak_routes(options, !options.usegams);
    if (!options.usegams) trvprint(run, no_gams);
  } else if (wants_gams_route(options) &&
             !trvonpath(options.gams.substr(0, options.gams.find(' ')))) {
    trvprint(run, no_gams);
    set_gams_routes(options, false);
  }
}

void choose_mirak(RunState& run) {
  Options& options = run.options;
  if (fold_lower(options.gamssolver) != "mirak") options.gamsoptions.clear();
  if (fold_lower(options.gamsnlpsolver) != "mirak") options.gamsnlpoptions.clear();
  if (!options.usegams && !find_mirak(run)) {
    options.solvemip = options.olrmir = options.crmir = options.mipmir = false;
  }
}

void trvcheck(RunState& run) {
  if (run.options.print_to_screen) {
    trvprint(run, "Checking input consistency and initializing data");
  }
  run.options.usegpu = false;
  if (!check_labels(run)) return;
  if (!check_inputs(run)) return;
  if (!prepare_basis(run)) return;
  if (!prepare_outputs(run)) return;
  if (!find_simulator(run)) return;
  choose_gams(run);
  derive_enumeration(run);
  choose_mirak(run);
  if (run.options.lassopath && run.options.screener == 0) {
    run.options.npenl = std::max(1, std::min(run.options.npenl, run.sizes.nbas));
  }
  run.sizes.nbas2 = run.sizes.nbasmax;
  derive_first_sample(run);
}

}  // namespace torve
