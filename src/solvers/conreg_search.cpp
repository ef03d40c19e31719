#include "solvers/conreg_search.h"

#include <fmt/format.h>

#include <algorithm>
#include <new>

#include "model/debug_lines.h"
#include "run/workspace.h"
#include "solvers/bounding_set.h"
#include "solvers/gms_results.h"
#include "solvers/mir_results.h"
#include "solvers/mir_route.h"
#include "solvers/solver_run.h"
#include "system/files.h"
#include "system/text_file.h"
#include "text/strings.h"

namespace torve {

namespace {

// --- the problem --------------------------------------------------------------------------------

double bound_of(const RunState& run, SearchKind kind, int k) {
  switch (kind) {
    case SearchKind::below_zmin:
      return run.outputs.zmin[at(k)];
    case SearchKind::above_zmax:
      return run.outputs.zmax[at(k)];
    case SearchKind::custom:
      break;
  }
  return run.options.crtol;
}

// texts: of the columns, in the solver's language.
ViolationSearch state_search(RunState& run, SearchKind kind, int k, int custom,
                             const std::vector<std::string>& texts) {
  const Options& options = run.options;
  ViolationSearch search;
  search.kind = kind;
  search.bound = bound_of(run, kind, k);
  search.labels = run.inputs.xlabels;
  for (int d = 0; d < run.sizes.ninputs; ++d) {
    search.lowest.push_back(box_lowest(run, d));
    search.highest.push_back(box_highest(run, d));
  }
  for (int j = 0; j < run.sizes.nbas; ++j) {
    if (!run.models.thischoice[at(j)]) continue;
    const bool formula = run.basis.columns[at(j)].family == Family::custom;
    search.terms.push_back({j, run.models.thisbeta[at(j)], texts[at(j)], formula});
  }
  search.zlabel = run.outputs.zlabels[at(k)];
  if (kind == SearchKind::custom) search.custom = run.outputs.customcon[at(custom)];
  search.nbas = run.sizes.nbas;
  search.ndata = run.sizes.ndata;
  search.wanted = std::max(options.crnviol, 1);
  search.seconds = std::max(options.maxtime - elapsed(run), 0.0);
  search.allowcplex = options.allowcplex;
  search.print_solver = options.print_mirak_out;
  search.deltaterm = options.deltaterm || options.shortcut;
  search.nlpsolver = trim(options.gamsnlpsolver);
  return search;
}

bool write_file(const std::string& name, const std::string& text) {
  TextFile file;
  if (!file.open_replace(name)) return false;
  file.write(text);
  return file.close();
}

// Under debug each file of a call is kept by the number of the model.
struct Copy {
  std::string_view from;
  std::string_view ending;  // of conreg<n>
  int location;
  bool if_there = false;
};

bool keep_copies(RunState& run, std::span<const Copy> copies) {
  if (!run.options.debug) return true;
  for (const Copy& copy : copies) {
    if (copy.if_there && !file_exists(std::string(copy.from))) continue;
    const std::string to = fmt::format("conreg{}.{}", run.counters.imodel, copy.ending);
    if (!keep_copy(run, std::string(copy.from), to, copy.location)) return false;
  }
  return true;
}

FoundViolations end_search(RunState& run, int location) {
  if (!failed(run)) fail(run, Code::constrained_regression_failed, location);
  return {};
}

// --- by the solver's own file -------------------------------------------------------------------

FoundViolations trvsolveconregmir(RunState& run, SearchKind kind, int k, int custom) {
  constexpr int failure = 22;
  const std::vector<std::string> answers{"res.lst", "sum.lst", "tim.lst"};
  remove_files(answers);
  const ViolationSearch search = state_search(run, kind, k, custom, run.basis.basiscaret);
  if (!write_file("conreg.mir", conreg_mir(search))) return end_search(run, failure);
  ++run.counters.imodel;
  const std::array model{Copy{"conreg.mir", "mir", 17}};
  if (!keep_copies(run, model)) return {};
  ++run.counters.n_mip;
  const CommandResult result =
      run_solver(run, mirak_command(run.files.mirakpath, "conreg.mir"), run.timers.t_mip);
  if (failed(run)) return {};
  const std::array copies{Copy{"res.lst", "res", 18}, Copy{"sum.lst", "sum", 19},
                          Copy{"tim.lst", "tim", 20}};
  if (!keep_copies(run, copies)) return {};
  if (result.status != 0) return end_search(run, failure);
  const auto tim = read_file("tim.lst");
  const auto end = tim ? read_mir_end(*tim) : std::nullopt;
  if (!end) return end_search(run, failure);
  const int miperr = miperr_of_status(end->status);
  if (miperr == 1) {
    remove_files(answers);
    return {{}, end->bound};
  }
  const auto res = read_file("res.lst");
  if (miperr != 0 || !res) return end_search(run, failure);
  auto points = read_conreg_mir(*res, run.sizes.ninputs);
  if (!points) return end_search(run, failure);
  remove_files(answers);
  return {std::move(*points), end->bound};
}

// --- by GAMS ------------------------------------------------------------------------------------

std::string gams_command(const Options& options) {
  return std::string(trim(options.gams)) + " conreg " + std::string(trim(options.gamsoptions)) +
         (options.print_gams_out ? "" : " lo=2");
}

FoundViolations trvsolveconreggms(RunState& run, SearchKind kind, int k, int custom) {
  constexpr int failure = 28;
  constexpr const char* answer_file = "crres.put";
  const std::string& gams = run.options.gams;
  if (!trvonpath(gams.substr(0, gams.find(' ')))) return end_search(run, failure);
  remove_files({answer_file});
  const ViolationSearch search = state_search(run, kind, k, custom, run.basis.basispower);
  if (!write_file("conreg.gms", conreg_gms(search))) return end_search(run, failure);
  ++run.counters.imodel;
  const std::array model{Copy{"conreg.gms", "gms", 25}};
  if (!keep_copies(run, model)) return {};
  ++run.counters.n_mip;
  run_solver(run, gams_command(run.options), run.timers.t_mip2);
  if (failed(run)) return {};
  const std::array listings{Copy{"conreg.lst", "lst", 26}, Copy{"conreg.log", "log", 27, true}};
  if (!keep_copies(run, listings)) return {};
  // GAMS's exit status tells of warnings too: what counts is whether there is an answer.
  if (!file_exists(answer_file)) return end_search(run, failure);
  const std::array answer_copy{Copy{answer_file, "put", 30}};
  if (!keep_copies(run, answer_copy)) return {};
  const auto text = read_file(answer_file);
  const auto answer = text ? read_conreg_gms(*text, run.sizes.ninputs) : std::nullopt;
  if (!answer) return end_search(run, failure);
  remove_files({answer_file, "merged.gdx"});
  if (says_there_is_none(answer->modelstat)) {
    if (debugging(run)) debug_line(run, "    No bounding points added");
    return {};
  }
  // The bound can only be promised where GAMS has shown that no point breaks it.
  if (answer->points.empty()) return end_search(run, failure);
  return {answer->points, std::nullopt};
}

}  // namespace

FoundViolations trvsolveconreg(RunState& run, SearchKind runflag, int k, int custom) {
  if (timeup(run)) return {};
  const bool mir = run.options.crmir;
  try {
    return mir ? trvsolveconregmir(run, runflag, k, custom)
               : trvsolveconreggms(run, runflag, k, custom);
  } catch (const std::bad_alloc&) {
    fail(run, Code::out_of_memory, mir ? 24 : 32);
    return {};
  }
}

}  // namespace torve
