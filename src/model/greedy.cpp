#include "model/greedy.h"

#include <algorithm>

#include "basis/groups.h"
#include "model/debug_lines.h"
#include "model/fast_greedy.h"
#include "model/fit.h"

namespace torve {

namespace {

// How a pass over the columns ended: with a column taken, with none, or with the whole search.
struct PassEnd {
  int column;  // taken column, or none_taken
  bool leave;
};
constexpr int none_taken = -1;

// The subset in thischoice, which the column makes of that of the pass.
bool accept(GreedySearch& search, int column, int p, bool forced) {
  RunState& run = search.run;
  if (groupviolated(run, search.k, run.models.thischoice.first(at(run.sizes.nbas)))) return false;
  if (search.fast != nullptr) return search.fast->accept(column, p, forced);
  return fit_and_judge(search, p, forced, metric_rules(run));
}

bool is_over(GreedySearch& search) {
  if (search.fast != nullptr) return search.fast->is_over();
  return failed(search.run) || timeup(search.run);
}

bool is_within_tolerance(const GreedySearch& search) {
  if (search.fast != nullptr) return search.fast->is_within_tolerance();
  return search.value.meanerr <= search.run.outputs.tolmeanerror[at(search.k)];
}

// Tries every free column as term number p. The first gain is taken at once under greedybuild,
// otherwise the last, and so best, of the pass.
PassEnd build_pass(GreedySearch& search, int p) {
  RunState& run = search.run;
  Models& models = run.models;
  if (search.fast != nullptr) search.fast->enter_pass(p);
  int add = none_taken;
  for (int j = 0; j < run.sizes.nbas; ++j) {
    if (models.thischoice[at(j)] || !models.screened[at(j)]) continue;
    models.thischoice[at(j)] = true;
    if (accept(search, j, p, false)) {
      add = j;
      if (run.options.greedybuild) return {add, false};
    }
    models.thischoice[at(j)] = false;
    if (is_over(search) || is_within_tolerance(search)) return {add, true};
  }
  return {add, false};
}

// Tries to drop every chosen column, leaving n terms of n + 1.
PassEnd back_pass(GreedySearch& search, int n) {
  RunState& run = search.run;
  Models& models = run.models;
  const bool too_many = n + 1 > search.maxn;
  if (search.fast != nullptr) search.fast->enter_pass(n);
  int drop = none_taken;
  for (int j = 0; j < run.sizes.nbas; ++j) {
    if (!models.thischoice[at(j)]) continue;
    models.thischoice[at(j)] = false;
    if (accept(search, j, n, too_many)) {
      drop = j;
      if (run.options.greedyback) return {drop, false};
    }
    models.thischoice[at(j)] = true;
    if (is_over(search)) return {drop, true};
    if (!too_many && is_within_tolerance(search)) return {drop, true};
  }
  return {drop, false};
}

void debug_entry(GreedySearch& search, std::string_view name) {
  RunState& run = search.run;
  if (!debugging(run)) return;
  debug_line(run, std::string(">>> Entering ") + std::string(name) + " with");
  debug_selection(run, search.k);
  debug_value(run, "    bestmetric  = ", search.value.metric);
  debug_value(run, "    bestsse     = ", search.value.fit);
  debug_value(run, "    bestmeanerr = ", search.value.meanerr);
}

void debug_exit(GreedySearch& search, std::string_view name, int n) {
  RunState& run = search.run;
  if (!debugging(run)) return;
  debug_line(run, std::string(">>> Exiting ") + std::string(name) + " with");
  debug_whole(run, "    n = ", n);
  debug_value(run, "    bestmetric  = ", search.value.metric);
  debug_value(run, "    bestsse     = ", search.value.fit);
  debug_reals(run, "    thisbeta    = ", search.workbeta);
  debug_mask(run, "    thischoice  = ", search.workchoice);
}

void start_from_work(GreedySearch& search) {
  std::copy(search.workchoice.begin(), search.workchoice.end(),
            search.run.models.thischoice.data());
}

// One column more or less for good.
void take(GreedySearch& search, int column, bool chosen) {
  search.run.models.thischoice[at(column)] = chosen;
  if (search.fast != nullptr) search.fast->take(column);
}

int grow(GreedySearch& search, int n) {
  while (n < search.maxn) {
    const PassEnd end = build_pass(search, n + 1);
    if (end.leave || end.column == none_taken) break;
    take(search, end.column, true);
    ++n;
  }
  return n;
}

int shrink(GreedySearch& search, int n) {
  while (search.run.sizes.nbas >= 1) {
    const PassEnd end = back_pass(search, n - 1);
    if (end.leave || end.column == none_taken) break;
    take(search, end.column, false);
    --n;
  }
  return n;
}

// With the fast way where it applies. Returns the terms reached.
int walk(GreedySearch& search, FastGreedy::Way way, int n) {
  const std::unique_ptr<FastGreedy> fast = FastGreedy::make(search, way);
  search.fast = fast.get();
  n = way == FastGreedy::Way::up ? grow(search, n) : shrink(search, n);
  if (fast != nullptr) fast->finish();
  search.fast = nullptr;
  return n;
}

}  // namespace

bool fit_and_judge(GreedySearch& search, int p, bool forced, const MetricRules& rules) {
  RunState& run = search.run;
  const Candidate candidate = value_candidate(run, search.k, p, rules);
  ModelValue& best = search.value;
  if (!forced && !better(candidate.metric, candidate.fit, best.metric, best.fit)) return false;
  const std::size_t nbas = at(run.sizes.nbas);
  best = {candidate.metric, meanerror(run, candidate.fit), candidate.fit};
  std::copy_n(run.models.thischoice.data(), nbas, search.workchoice.begin());
  std::copy_n(run.models.thisbeta.data(), nbas, search.workbeta.begin());
  run.models.hasmodel[at(search.k)] = true;
  search.nogain = false;
  return true;
}

bool trvbuildup(RunState& run, int k, int maxn, ModelValue& value, std::span<bool> workchoice,
                std::span<double> workbeta) {
  GreedySearch search{run, k, maxn, value, workchoice, workbeta};
  debug_entry(search, "trvbuildup");
  int n = count(workchoice);
  if (maxn >= 1 && maxn > n) {
    start_from_work(search);
    n = walk(search, FastGreedy::Way::up, n);
  }
  debug_exit(search, "trvbuildup", n);
  return search.nogain;
}

bool trvbackstep(RunState& run, int k, int maxn, ModelValue& value, std::span<bool> workchoice,
                 std::span<double> workbeta) {
  GreedySearch search{run, k, maxn, value, workchoice, workbeta};
  debug_entry(search, "trvbackstep");
  start_from_work(search);
  const int n = walk(search, FastGreedy::Way::down, count(workchoice));
  debug_exit(search, "trvbackstep", n);
  return search.nogain;
}

}  // namespace torve
