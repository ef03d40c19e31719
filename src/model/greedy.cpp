#include "model/greedy.h"

#include <algorithm>

#include "basis/groups.h"
#include "model/debug_lines.h"
#include "model/fit.h"

namespace torve {

namespace {

// What the two strategies share during a call.
struct Search {
  RunState& run;
  int k;
  int maxn;
  ModelValue& value;
  std::span<bool> workchoice;
  std::span<double> workbeta;
  bool nogain = true;
};

// How a pass over the columns ended: with a column taken, with none, or with the whole search.
struct PassEnd {
  int column;  // taken column, or none_taken
  bool leave;
};
constexpr int none_taken = -1;

// Fits the subset in thischoice as a model of p terms and keeps it if it is better, or in any case
// with `forced`.
bool accept(Search& search, int p, bool forced) {
  RunState& run = search.run;
  const std::size_t nbas = at(run.sizes.nbas);
  const std::span<bool> choice = run.models.thischoice.first(nbas);
  if (groupviolated(run, search.k, choice)) return false;
  const Candidate candidate = value_candidate(run, search.k, p);
  ModelValue& best = search.value;
  if (!forced && !better(candidate.metric, candidate.fit, best.metric, best.fit)) return false;
  best = {candidate.metric, meanerror(run, candidate.fit), candidate.fit};
  std::copy(choice.begin(), choice.end(), search.workchoice.begin());
  std::copy_n(run.models.thisbeta.data(), nbas, search.workbeta.data());
  run.models.hasmodel[at(search.k)] = true;
  search.nogain = false;
  return true;
}

bool is_within_tolerance(const Search& search) {
  return search.value.meanerr <= search.run.outputs.tolmeanerror[at(search.k)];
}

// Tries every free column as term number p. The first gain is taken at once under greedybuild,
// otherwise the last, and so best, of the pass.
PassEnd build_pass(Search& search, int p) {
  RunState& run = search.run;
  Models& models = run.models;
  int add = none_taken;
  for (int j = 0; j < run.sizes.nbas; ++j) {
    if (models.thischoice[at(j)] || !models.screened[at(j)]) continue;
    models.thischoice[at(j)] = true;
    if (accept(search, p, false)) {
      add = j;
      if (run.options.greedybuild) return {add, false};
    }
    models.thischoice[at(j)] = false;
    if (failed(run) || timeup(run) || is_within_tolerance(search)) return {add, true};
  }
  return {add, false};
}

// Tries to drop every chosen column, leaving n terms of n + 1.
PassEnd back_pass(Search& search, int n) {
  RunState& run = search.run;
  Models& models = run.models;
  const bool too_many = n + 1 > search.maxn;
  int drop = none_taken;
  for (int j = 0; j < run.sizes.nbas; ++j) {
    if (!models.thischoice[at(j)]) continue;
    models.thischoice[at(j)] = false;
    if (accept(search, n, too_many)) {
      drop = j;
      if (run.options.greedyback) return {drop, false};
    }
    models.thischoice[at(j)] = true;
    if (failed(run) || timeup(run)) return {drop, true};
    if (!too_many && is_within_tolerance(search)) return {drop, true};
  }
  return {drop, false};
}

void debug_entry(Search& search, std::string_view name) {
  RunState& run = search.run;
  if (!debugging(run)) return;
  debug_line(run, std::string(">>> Entering ") + std::string(name) + " with");
  debug_selection(run, search.k);
  debug_value(run, "    bestmetric  = ", search.value.metric);
  debug_value(run, "    bestsse     = ", search.value.fit);
  debug_value(run, "    bestmeanerr = ", search.value.meanerr);
}

void debug_exit(Search& search, std::string_view name, int n) {
  RunState& run = search.run;
  if (!debugging(run)) return;
  debug_line(run, std::string(">>> Exiting ") + std::string(name) + " with");
  debug_whole(run, "    n = ", n);
  debug_value(run, "    bestmetric  = ", search.value.metric);
  debug_value(run, "    bestsse     = ", search.value.fit);
  debug_reals(run, "    thisbeta    = ", search.workbeta);
  debug_mask(run, "    thischoice  = ", search.workchoice);
}

void start_from_work(Search& search) {
  std::copy(search.workchoice.begin(), search.workchoice.end(),
            search.run.models.thischoice.data());
}

}  // namespace

bool trvbuildup(RunState& run, int k, int maxn, ModelValue& value, std::span<bool> workchoice,
                std::span<double> workbeta) {
  Search search{run, k, maxn, value, workchoice, workbeta};
  debug_entry(search, "trvbuildup");
  int n = count(workchoice);
  if (maxn >= 1 && maxn > n) {
    start_from_work(search);
    while (n < maxn) {
      const PassEnd end = build_pass(search, n + 1);
      if (end.leave || end.column == none_taken) break;
      run.models.thischoice[at(end.column)] = true;
      ++n;
    }
  }
  debug_exit(search, "trvbuildup", n);
  return search.nogain;
}

bool trvbackstep(RunState& run, int k, int maxn, ModelValue& value, std::span<bool> workchoice,
                 std::span<double> workbeta) {
  Search search{run, k, maxn, value, workchoice, workbeta};
  debug_entry(search, "trvbackstep");
  int n = count(workchoice);
  start_from_work(search);
  while (run.sizes.nbas >= 1) {
    const PassEnd end = back_pass(search, n - 1);
    if (end.leave || end.column == none_taken) break;
    run.models.thischoice[at(end.column)] = false;
    --n;
  }
  debug_exit(search, "trvbackstep", n);
  return search.nogain;
}

}  // namespace torve
