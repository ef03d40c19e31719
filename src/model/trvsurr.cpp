#include "model/trvsurr.h"

#include <fmt/format.h>

#include <algorithm>

#include "model/fit.h"
#include "model/screening.h"
#include "model/trvolr.h"
#include "report/printer.h"
#include "system/files.h"

namespace torve {

namespace {

constexpr int lasso_screener = 1;

void end_without_basis(RunState& run) {
  trvprint(run, "No basis functions are numerically acceptable.  Terminating with null model(s).");
  run.models.bestchosen.fill(false);
  run.models.bestbeta.fill(0.0);
  run.models.converged.fill(true);
}

int term_cap(const RunState& run) {
  int limit = run.sizes.nbasmax;
  if (run.options.datalimitterms) limit = std::min(limit, run.sizes.ndata);
  return std::max(limit, 1);
}

// Full enumeration covers sizes up to `enumall`; a negative option covers all.
bool is_covered(const RunState& run, int terms) {
  return run.options.enumall < 0 || terms - 1LL <= run.options.enumall;
}

void prepare_screener(RunState& run) {
  const int screener = run.options.screener;
  if (screener < 0 || screener == lasso_screener) assignfolds(run);
  if (screener != 0) standardize(run);
}

void model_outputs(RunState& run) {
  const int cap = term_cap(run);
  bool doenum = is_covered(run, cap);
  for (int k = 0; k < run.sizes.noutputs; ++k) {
    if (run.outputs.ignore[at(k)]) continue;
    if (run.models.converged[at(k)]) {
      trvprint(run,
               "We have already converged the model for variable " + run.outputs.zlabels[at(k)]);
      continue;
    }
    const int nmax = std::min(cap, run.outputs.maxterms[at(k)]);
    // Once one output's budget is covered, all later outputs of the call are enumerated.
    if (!doenum && !run.models.conreg[at(k)] && is_covered(run, nmax)) doenum = true;
    cpu_start(run.timers, run.models.t_surr[at(k)]);
    trvsurr1(run, k, nmax, doenum);
    cpu_stop(run.timers, run.models.t_surr[at(k)]);
    if (failed(run) || timeup(run)) return;
  }
}

}  // namespace

void trvsurr(RunState& run) {
  if (run.sizes.nbasmax <= 0) {
    end_without_basis(run);
    return;
  }
  const bool scratch = run.options.usescratch;
  if (scratch && !enter_folder(run.files.scratch)) {
    fail(run, Code::cannot_enter_scratch, 68);
    return;
  }
  prepare_screener(run);
  model_outputs(run);
  if (scratch && !enter_folder(run.files.execdir) && !failed(run)) {
    fail(run, Code::cannot_enter_execution_folder, 69);
  }
}

bool request_model_work(RunState& run) {
  Models& models = run.models;
  MemoryAccount& memory = run.memory;
  const int nbas = run.sizes.nbas;
  for (Array<bool>* mask : {&models.screened, &models.thischoice, &models.fullchoice,
                            &models.lassochoice, &models.workchoice, &models.crchoice}) {
    if (!mask->request(memory, nbas)) return fail(run, Code::out_of_memory, 53);
  }
  for (Array<double>* beta : {&models.thisbeta, &models.fullbeta, &models.lassobeta,
                              &models.workbeta, &models.crbeta, &models.xscale}) {
    if (!beta->request(memory, nbas)) return fail(run, Code::out_of_memory, 53);
  }
  models.xscale.fill(1.0);
  if (!request_row_arrays(run)) return fail(run, Code::out_of_memory, 53);
  return request_least_squares(run) && request_screening(run);
}

bool request_model_results(RunState& run) {
  Models& models = run.models;
  MemoryAccount& memory = run.memory;
  const int n = run.sizes.noutputs;
  bool enough = models.bestchosen.request(memory, run.sizes.nbas, n) &&
                models.bestbeta.request(memory, run.sizes.nbas, n);
  for (Array<bool>* flags : {&models.hasmodel, &models.LassoSuccess, &models.converged}) {
    enough = enough && flags->request(memory, n);
  }
  for (Array<int>* counts : {&models.ModelSize, &models.screenercalls, &models.olrcalls,
                             &models.clrcalls, &models.iterconv, &models.ndataconv}) {
    enough = enough && counts->request(memory, n);
  }
  for (Array<double>* values :
       {&models.Metric1Lasso, &models.Metric2Lasso, &models.LassoRed, &models.SSEOLR,
        &models.t_surr, &models.olrtime, &models.clrtime, &models.timeconv}) {
    enough = enough && values->request(memory, n);
  }
  if (!enough) return fail(run, Code::out_of_memory, 53);
  models.SSEOLR.fill(run.options.preset);
  models.Metric1Lasso.fill(run.options.preset);
  models.Metric2Lasso.fill(run.options.preset);
  models.exist = true;
  return true;
}

}  // namespace torve
