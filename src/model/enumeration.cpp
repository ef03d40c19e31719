#include "model/enumeration.h"

#include <algorithm>
#include <cmath>

#include "basis/groups.h"
#include "model/combinations.h"
#include "model/debug_lines.h"
#include "model/fast_enumeration.h"
#include "model/fit.h"
#include "model/trvolr.h"

namespace torve {

namespace {

// The working subset becomes the output's model; reporting it is the caller's business.
void keep_best(RunState& run, int k) {
  Models& models = run.models;
  const int nbas = run.sizes.nbas;
  std::copy_n(models.thisbeta.data(), nbas, models.bestbeta.column(k, nbas).data());
  std::copy_n(models.thischoice.data(), nbas, models.bestchosen.column(k, nbas).data());
  models.hasmodel[at(k)] = true;
}

void recall_best(RunState& run, int k) {
  Models& models = run.models;
  const int nbas = run.sizes.nbas;
  forget_last_candidate(run);
  std::copy_n(models.bestbeta.column(k, nbas).data(), nbas, models.thisbeta.data());
  std::copy_n(models.bestchosen.column(k, nbas).data(), nbas, models.thischoice.data());
}

int chosen_terms(const RunState& run, int k) {
  int terms = 0;
  for (int j = 0; j < run.sizes.nbas; ++j) {
    if (run.models.bestchosen(j, k) && run.models.bestbeta(j, k) != 0.0) ++terms;
  }
  return terms;
}

void debug_enum1_entry(RunState& run, int k, int size, const ModelValue& best) {
  debug_line(run, ">>> Entering trvenum1 with");
  debug_selection(run, k);
  debug_whole(run, "    it = ", size);
  debug_whole(run, "    k = ", k + 1);
  debug_value(run, "    bestmetric  = ", best.metric);
  debug_value(run, "    bestsse     = ", best.fit);
  debug_value(run, "    bestmeanerr = ", best.meanerr);
}

void debug_enum1_exit(RunState& run, const ModelValue& best, bool failed_fit) {
  const std::size_t nbas = at(run.sizes.nbas);
  debug_line(run, ">>> Exiting trvenum1 with");
  debug_value(run, "    bestmetric  = ", best.metric);
  debug_value(run, "    bestsse     = ", best.fit);
  debug_value(run, "    bestmeanerr = ", best.meanerr);
  debug_reals(run, "    thisbeta    = ", run.models.thisbeta.first(nbas));
  debug_mask(run, "    thischoice  = ", run.models.thischoice.first(nbas));
  debug_whole(run, "    trvstatus   = ", static_cast<int>(run.status.trvstatus));
  debug_logical(run, "    failed      = ", failed_fit);
}

// Fits one subset after the other. True when a regression failed.
bool try_all(RunState& run, int k, int size, const MetricRules& rules, ModelValue& best) {
  const std::size_t nbas = at(run.sizes.nbas);
  const ColumnMask screened = run.models.screened.first(nbas);
  const std::span<bool> choice = run.models.thischoice.first(nbas);
  const double tolerance = run.outputs.tolmeanerror[at(k)];
  const bool grouped = run.groups.groupcon[at(k)];
  bool failed_fit = false;
  first_subset(screened, size, choice);
  do {
    const bool forbidden = grouped && groupviolated(run, k, choice);
    // A subset that breaks a group rule isn't fitted and has an error that ends nothing.
    const double error =
        forbidden ? forbidden_error : try_subset(run, k, size, rules, best, failed_fit);
    if (failed(run) || (forbidden ? timeup(run) : timeup_lately(run))) break;
    if (failed_fit || error <= tolerance) break;
  } while (next_subset(screened, choice));
  return failed_fit;
}

}  // namespace

double try_subset(RunState& run, int k, int size, const MetricRules& rules, ModelValue& best,
                  bool& failed_fit) {
  const Candidate candidate = value_candidate(run, k, size, rules);
  failed_fit = candidate.failed;
  const double error = std::sqrt(candidate.fit) / run.sizes.ndata;
  if (better(candidate.metric, candidate.fit, best.metric, best.fit)) {
    best = {candidate.metric, error, candidate.fit};
    keep_best(run, k);
  }
  return error;
}

Candidate value_candidate(RunState& run, int k, int p) {
  return value_candidate(run, k, p, metric_rules(run));
}

Candidate value_candidate(RunState& run, int k, int p, const MetricRules& rules) {
  const std::size_t nbas = at(run.sizes.nbas);
  Models& models = run.models;
  double sse = sse_unknown;
  // Nothing is fitted without terms, and thisbeta stays as it was.
  p == 0 ? recall_last_candidate(run) : forget_last_candidate(run);
  const bool failed_fit =
      fit_candidate(run, models.thischoice.first(nbas), k, models.thisbeta.first(nbas), &sse);
  const double f = fit(run, k, sse);
  return {fitmetric(f, p, run.sizes.ndata, run.options.modeler, rules), f, failed_fit};
}

bool trvenum1(RunState& run, int k, int size, ModelValue& best) {
  if (debugging(run)) debug_enum1_entry(run, k, size, best);
  MetricRules rules = metric_rules(run);
  rules.log_n = std::log(static_cast<double>(run.sizes.ndata));
  const FitSeries series(run, k);
  bool failed_fit = false;
  if (!enumerate_fast(run, k, size, rules, best, failed_fit)) {
    failed_fit = try_all(run, k, size, rules, best);
  }
  recall_best(run, k);
  if (debugging(run)) debug_enum1_exit(run, best, failed_fit);
  return failed_fit;
}

bool trvenum(RunState& run, int k, int nmax) {
  const bool debug = debugging(run);
  if (debug) {
    debug_line(run, ">>> Entering trvenum with");
    debug_selection(run, k);
  }
  ModelValue best;
  best.meanerr = no_model_yet;
  double prev = no_model_yet;
  bool failed_fit = false;
  for (int it = 1; it <= nmax; ++it) {
    failed_fit = trvenum1(run, k, it, best);
    if (debug) {
      debug_reals(run, "k, it, metric, meanerr = ",
                  std::array{static_cast<double>(k + 1), static_cast<double>(it), best.metric,
                             best.meanerr});
    }
    if (best.metric < prev) {
      run.models.hasmodel[at(k)] = true;
      run.models.ModelSize[at(k)] = chosen_terms(run, k);
      reportmodel(run, k, best.metric);
    }
    if (best.meanerr <= run.outputs.tolmeanerror[at(k)] || failed_fit) break;
    if (it >= 2 && best.metric < stop_rule_limit &&
        gains_too_little(best.metric, prev, run.outputs.tolrelmetric[at(k)],
                         run.outputs.tolabsmetric[at(k)])) {
      if (debug) {
        debug_line(run, "Diminishing or worsening metric with additional term");
        debug_reals(run, "Metric, previous = ", std::array{best.metric, prev});
      }
      break;
    }
    if (timeup(run)) break;
    prev = std::min(best.metric, prev);
  }
  if (debug) {
    debug_line(run, ">>> Exiting trvenum with ");
    debug_choice(run);
    debug_logical(run, "    failed    = ", failed_fit);
  }
  return failed_fit;
}

}  // namespace torve
