#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "basis/groups.h"
#include "model/combinations.h"
#include "model/debug_lines.h"
#include "model/enumeration.h"
#include "model/fit.h"
#include "model/greedy.h"
#include "model/screening.h"
#include "model/trvsurr.h"
#include "report/printer.h"
#include "solvers/best_subset.h"
#include "solvers/conreg.h"
#include "text/number_edits.h"

namespace torve {

namespace {

// What a step decides for the size loop.
//   go_on          the next step of the pass
//   stop_tests     the pass is over but for the test of diminishing returns
//   constraints    straight to the search for violated constraints
//   leave_sizes    no further size; an output with constraints gets its last sound model
//   repair_again   the same size once more, with the violated points imposed
//   end_output     the output is done; the lasso's model may still win
//   leave          out at once
enum class Next { go_on, stop_tests, constraints, leave_sizes, repair_again, end_output, leave };

constexpr double largest_double = std::numeric_limits<double>::max();

// The local values of one output's selection.
struct Selection {
  Selection(RunState& state, int output, int most_terms, bool enumerate)
      : run(state), k(output), nmax(most_terms), doenum(enumerate) {}

  RunState& run;
  int k;
  int nmax;
  bool doenum;
  double betabound = 0.0;
  ModelValue model;                 // of the model in hand
  double incumbent = no_model_yet;  // the metric to beat
  double prev = no_model_yet;       // the metric when the present size was entered
  ModelValue lasso;                 // the lasso's model
  bool lassotried = false;          // its values are valid
  std::int32_t combos = 0;          // subsets of the present size
  int crpass = 0;                   // repair passes behind us at this size; 0: constraints are met
  int size = 1;                     // term budget of the pass
  // Of one pass:
  bool wantmip = false;
  bool needmip = false;
  bool skipped = false;     // enumeration of the size was out of reach
  bool fit_failed = false;  // a regression of the enumeration failed

  Models& models() { return run.models; }
  const Options& options() const { return run.options; }
  std::size_t nbas() const { return at(run.sizes.nbas); }
  bool conreg() const { return run.models.conreg[at(k)]; }
  bool is_madp() const { return run.options.modeler == static_cast<int>(Metric::madp); }
  bool within_tolerance(double error) const { return error <= run.outputs.tolmeanerror[at(k)]; }
  // No subset can beat the full fit, so a model that reaches it ends the search.
  bool reaches_full_fit() const {
    return run.models.fullfitok && model.fit <= run.models.SSEOLR[at(k)] + run.options.tolsse &&
           !conreg() && !is_madp();
  }
};

void copy_choice(std::span<const bool> from, std::span<bool> to) {
  std::copy(from.begin(), from.end(), to.begin());
}
void copy_beta(std::span<const double> from, std::span<double> to) {
  std::copy(from.begin(), from.end(), to.begin());
}

// A saved selection becomes the working one.
void take(Selection& s, const Array<bool>& choice, const Array<double>& beta) {
  copy_choice(choice.first(s.nbas()), s.models().thischoice.first(s.nbas()));
  copy_beta(beta.first(s.nbas()), s.models().thisbeta.first(s.nbas()));
  forget_last_candidate(s.run);
}

// A saved selection becomes the output's model, and is reported.
void install(Selection& s, const Array<bool>& choice, const Array<double>& beta, double metric) {
  const int nbas = s.run.sizes.nbas;
  Models& models = s.models();
  copy_choice(choice.first(s.nbas()), models.bestchosen.column(s.k, nbas));
  copy_beta(beta.first(s.nbas()), models.bestbeta.column(s.k, nbas));
  models.hasmodel[at(s.k)] = true;
  models.ModelSize[at(s.k)] = count(choice.first(s.nbas()));
  reportmodel(s.run, s.k, metric);
}

// A model that beats the full fit shows that this one wasn't the least.
void lower_full_fit(Selection& s) {
  Models& models = s.models();
  if (s.is_madp() || !(s.model.fit < models.SSEOLR[at(s.k)])) return;
  models.SSEOLR[at(s.k)] = s.model.fit;
  models.fullfitok = false;
}

// --- before the sizes ---------------------------------------------------------------------------

// Stores the lasso's model; the output is done.
Next store_lasso(Selection& s) {
  take(s, s.models().lassochoice, s.models().lassobeta);
  storemodel(s.run, s.k, s.lasso.metric);
  s.models().LassoSuccess[at(s.k)] = true;
  return Next::leave;
}

// The lasso's own model, and what the build-up makes of it. Either may be good enough at once.
Next try_lasso_model(Selection& s) {
  RunState& run = s.run;
  Models& models = s.models();
  if (!run.options.lassopath) return Next::go_on;
  const std::span<bool> choice = models.lassochoice.first(s.nbas());
  for (std::size_t j = 0; j < s.nbas(); ++j) choice[j] = models.lassobeta[j] != 0.0;
  take(s, models.lassochoice, models.lassobeta);
  if (groupviolated(run, s.k, choice)) return Next::go_on;
  s.lasso.fit = fit(run, s.k);
  s.lasso.meanerr = meanerror(run, s.lasso.fit);
  models.lassoterms = count(choice);
  s.lasso.metric = fitmetric(run, s.lasso.fit, models.lassoterms);
  models.Metric1Lasso[at(s.k)] = s.lasso.metric;
  if (s.within_tolerance(s.lasso.meanerr) && !s.conreg()) return store_lasso(s);
  if (run.options.builder != 0) {
    trvbuildup(run, s.k, run.sizes.nbas, s.lasso, choice, models.lassobeta.first(s.nbas()));
    models.Metric2Lasso[at(s.k)] = s.lasso.metric;
    if (s.within_tolerance(s.lasso.meanerr) && !s.conreg()) return store_lasso(s);
  }
  s.incumbent = largest_double;
  s.lassotried = true;
  return Next::go_on;
}

Next make_full_fit(Selection& s) {
  s.betabound = estimatesigma(s.run, s.k);
  print_to_listing(s.run, "sigma in trvsurr1 = " + free_form(s.run.options.sigma));
  return failed(s.run) ? Next::end_output : Next::go_on;
}

// Without a penalty on terms the full fit is the answer to SSEp.
Next take_full_fit(Selection& s) {
  RunState& run = s.run;
  Models& models = s.models();
  const bool ssep = run.options.modeler == static_cast<int>(Metric::ssep);
  if (!ssep || run.options.convpen > 0.0 || !models.fullfitok) return Next::go_on;
  take(s, models.fullchoice, models.fullbeta);
  const ColumnMask choice = models.thischoice.first(s.nbas());
  if (count(choice) > s.nmax || groupviolated(run, s.k, choice)) return Next::go_on;
  s.model.metric = models.SSEOLR[at(s.k)];
  storemodel(run, s.k, s.model.metric);
  return s.conreg() ? Next::go_on : Next::end_output;
}

Next enumerate_all(Selection& s) {
  if (!s.doenum) return Next::go_on;
  return trvenum(s.run, s.k, s.nmax) ? Next::go_on : Next::end_output;
}

void enter_sizes(Selection& s) {
  RunState& run = s.run;
  if (s.conreg()) {
    run.models.crchoice.fill(false);
    run.models.crbeta.fill(0.0);
  }
  s.model = ModelValue{};
  s.model.meanerr = meanerror(run, no_model_yet);
  s.prev = no_model_yet;
  s.combos = run.options.enum1 != 0 ? 1 : 0;
  if (!debugging(run)) return;
  debug_line(run, "       Terms, Metric, FIT, MeanErr");
  debug_reals(run, std::string(10, ' ') + "pr ",
              std::array{no_model_yet, s.model.fit, s.model.meanerr});
}

// --- one size -----------------------------------------------------------------------------------

// Nothing carries over from the size before but the incumbent.
Next enter_size(Selection& s) {
  if (s.size > s.nmax || s.within_tolerance(s.model.meanerr)) return Next::leave_sizes;
  s.incumbent = s.prev;
  if (s.combos != 0) s.combos = nextcombos(s.size, s.run.sizes.nbas, s.combos);
  return Next::go_on;
}

void enter_pass(Selection& s) {
  std::fill_n(s.models().thischoice.data(), s.nbas(), false);
  s.wantmip = s.crpass > 0 || s.options().solvemip;
  s.needmip = s.options().builder == 0 && !s.doenum;
}

bool is_out_of_reach(const Selection& s) {
  const int most = s.options().enum1;
  return s.combos == 0 || s.conreg() || (most >= 0 && s.combos > most);
}

// Every subset of the size. No gain ends the sizes, except where a size may be infeasible under
// group constraints, where a regression failed, or where the metric isn't smooth in the size.
Next enumerate_size(Selection& s) {
  RunState& run = s.run;
  s.fit_failed = false;
  s.skipped = is_out_of_reach(s);
  if (s.skipped) return Next::go_on;
  if (s.crpass > 0) s.model = ModelValue{};
  s.fit_failed = trvenum1(run, s.k, s.size, s.model);
  lower_full_fit(s);
  if (s.model.metric < s.incumbent || s.crpass > 0) {
    storemodel(run, s.k, s.model.metric);
    if (s.reaches_full_fit()) return Next::end_output;
    s.incumbent = s.model.metric;
  } else if (!run.groups.groupcon[at(s.k)] && !s.fit_failed && !s.is_madp()) {
    return Next::leave_sizes;
  }
  return timeup(run) ? Next::end_output : Next::go_on;
}

// A size that enumeration has finished needs no heavier tool; under MADp the last size gets them
// all the same.
Next skip_heavier_tools(const Selection& s) {
  const bool last_of_madp = s.is_madp() && s.size == s.nmax;
  return !s.skipped && !s.fit_failed && !last_of_madp ? Next::stop_tests : Next::go_on;
}

// Metrics whose penalty is linear in the number of terms choose the size themselves.
void jump_to_last_size(Selection& s) {
  switch (static_cast<Metric>(s.options().modeler)) {
    case Metric::bic:
    case Metric::cp:
    case Metric::ssep:
    case Metric::ric:
    case Metric::madp:
      s.size = s.nmax;
      break;
    case Metric::aicc:
    case Metric::hqc:
    case Metric::mse:
      break;
  }
}

// What both greedy strategies do with their result.
Next judge_greedy(Selection& s, const ModelValue& found, bool nogain) {
  RunState& run = s.run;
  const bool gain = found.metric < s.model.metric ||
                    (found.metric <= s.model.metric && found.fit <= s.model.fit && !nogain);
  if (gain) {
    s.model = found;
    install(s, run.models.workchoice, run.models.workbeta, found.metric);
  }
  lower_full_fit(s);
  if (s.reaches_full_fit()) return Next::end_output;
  if (s.within_tolerance(s.model.meanerr) && !s.conreg()) return Next::end_output;
  s.incumbent = s.model.metric;
  return Next::go_on;
}

Next build_up(Selection& s) {
  RunState& run = s.run;
  if (run.options.builder == 0) return Next::go_on;
  Models& models = s.models();
  const std::span<bool> choice = models.workchoice.first(s.nbas());
  const std::span<double> beta = models.workbeta.first(s.nbas());
  copy_choice(models.bestchosen.column(s.k, run.sizes.nbas), choice);
  copy_beta(models.bestbeta.column(s.k, run.sizes.nbas), beta);
  ModelValue found = s.model;
  const bool nogain = trvbuildup(run, s.k, s.size, found, choice, beta);
  return judge_greedy(s, found, nogain);
}

// Starts from the full fit or from everything that may be used, not from the incumbent.
Next step_back(Selection& s) {
  RunState& run = s.run;
  if (run.options.backstepper == 0) return Next::go_on;
  Models& models = s.models();
  const std::span<bool> choice = models.workchoice.first(s.nbas());
  const std::span<double> beta = models.workbeta.first(s.nbas());
  if (models.fullfitok) {
    copy_choice(models.fullchoice.first(s.nbas()), choice);
    copy_beta(models.fullbeta.first(s.nbas()), beta);
  } else {
    copy_choice(models.screened.first(s.nbas()), choice);
    std::fill(beta.begin(), beta.end(), 0.0);
  }
  ModelValue found = s.model;
  const bool nogain = trvbackstep(run, s.k, s.size, found, choice, beta);
  return judge_greedy(s, found, nogain);
}

// The lasso's model against the incumbent. It is weighed once: only one that would win, but is too
// large for the size, stays in the race.
void weigh_lasso(Selection& s) {
  if (!s.lassotried) return;
  const bool has_room = s.models().lassoterms <= s.size;
  if (has_room || !(s.lasso.metric < s.incumbent)) s.lassotried = false;
  const bool wins =
      s.lasso.metric < s.incumbent || (s.lasso.metric <= s.incumbent && s.lasso.fit <= s.model.fit);
  if (!has_room || !wins) return;
  s.models().LassoSuccess[at(s.k)] = true;
  s.incumbent = s.lasso.metric;
  s.model.fit = s.lasso.fit;
  s.model.meanerr = s.lasso.meanerr;
  install(s, s.models().lassochoice, s.models().lassobeta, s.lasso.metric);
}

// What comes after the strategies without a solver.
Next choose_what_follows(Selection& s) {
  s.wantmip = s.wantmip || s.needmip;
  if (s.fit_failed && !s.wantmip) {
    fail(s.run, Code::buildup_fit_failed, 219);
    return Next::end_output;
  }
  if (s.skipped && !s.wantmip) return s.conreg() ? Next::constraints : Next::end_output;
  weigh_lasso(s);
  return s.wantmip ? Next::go_on : Next::stop_tests;
}

// The mixed-integer problem. Values of the solver aren't trusted: fit and metric are computed anew.
Next solve_mip(Selection& s) {
  RunState& run = s.run;
  if (!run.options.mipgms && !run.options.mipmir) {
    fail(run, Code::solver_needed, 220);
    return Next::leave;
  }
  int miperr = 0;
  trvsolvemip(run, s.size, s.k, s.betabound, s.incumbent, miperr);
  if (failed(run)) return Next::end_output;
  if (miperr == 1) {
    if (run.options.debug) trvprint(run, "Infeasible MIQP");
    return Next::leave_sizes;
  }
  if (miperr != 0) {
    fail(run, Code::best_subset_failed, 221);
    return Next::end_output;
  }
  s.model.fit = fit(run, s.k);
  s.model.metric = fitmetric(run, s.model.fit, count(s.models().thischoice.first(s.nbas())));
  if (s.model.metric < s.incumbent || s.crpass > 0) {
    storemodel(run, s.k, s.model.metric);
    if (s.reaches_full_fit()) return Next::end_output;
    s.incumbent = s.model.metric;
  }
  lower_full_fit(s);
  return timeup(run) ? Next::end_output : Next::go_on;
}

// Ends the sizes when another term hardly helps.
Next test_gain(const Selection& s) {
  if (s.is_madp() || s.size < 2 || s.size >= s.nmax || !(s.model.metric < stop_rule_limit)) {
    return Next::go_on;
  }
  const Outputs& outputs = s.run.outputs;
  if (!gains_too_little(s.model.metric, s.prev, outputs.tolrelmetric[at(s.k)],
                        outputs.tolabsmetric[at(s.k)])) {
    return Next::go_on;
  }
  if (debugging(s.run)) {
    debug_line(s.run, "Diminishing or worsening metric with additional term");
    debug_reals(s.run, "Metric, previous = ", std::array{s.model.metric, s.prev});
  }
  return Next::leave_sizes;
}

// Looks for violated constraints; a size is repaired until there are none or the passes are used
// up.
Next check_constraints(Selection& s) {
  if (!s.conreg()) return Next::go_on;
  ++s.crpass;
  const int nviol = crfind(s.run, s.k);
  if (failed(s.run)) return Next::leave;
  if (s.crpass < s.options().crmaxiter && nviol >= 1) return Next::repair_again;
  if (nviol < 1) {
    copy_choice(s.models().thischoice.first(s.nbas()), s.models().crchoice.first(s.nbas()));
    copy_beta(s.models().thisbeta.first(s.nbas()), s.models().crbeta.first(s.nbas()));
    s.crpass = 0;
  } else {
    s.crpass = 1;
  }
  return Next::go_on;
}

void tell_constraints(const Selection& s) {
  if (!s.conreg()) return;
  if (s.crpass != 0) {
    trvprint(s.run,
             "--  Warning: Maximum iterations reached - Constraints could not be guaranteed at "
             "this point");
  } else if (s.options().crrobust) {
    trvprint(s.run, "--   Constraints guaranteed within tolerance");
  } else {
    trvprint(s.run, "--   Constraints approximated within tolerance");
  }
}

Next leave_size(Selection& s) {
  s.prev = s.incumbent;
  s.model.meanerr = meanerror(s.run, s.model.fit);
  if (debugging(s.run)) {
    debug_reals(
        s.run, fmt::format("{}{} ", std::string(36, ' '), s.size),
        std::array{s.prev, s.model.fit, s.model.meanerr, s.run.outputs.tolmeanerror[at(s.k)]});
  }
  tell_constraints(s);
  ++s.size;
  return timeup(s.run) ? Next::end_output : Next::go_on;
}

// The strategies of one pass, cheapest first.
Next run_pass(Selection& s) {
  enter_pass(s);
  Next next = enumerate_size(s);
  if (next == Next::go_on) next = skip_heavier_tools(s);
  if (next == Next::go_on) jump_to_last_size(s);
  if (next == Next::go_on) next = build_up(s);
  if (next == Next::go_on) next = step_back(s);
  if (next == Next::go_on) next = choose_what_follows(s);
  if (next == Next::go_on) next = solve_mip(s);
  if (next == Next::go_on || next == Next::stop_tests) next = test_gain(s);
  if (next == Next::go_on || next == Next::constraints) next = check_constraints(s);
  return next;
}

// Sizes from 1 on, each with its repair passes.
Next walk_sizes(Selection& s) {
  while (true) {
    Next next = enter_size(s);
    if (next != Next::go_on) return next;
    do {
      next = run_pass(s);
    } while (next == Next::repair_again);
    if (next == Next::go_on) next = leave_size(s);
    if (next != Next::go_on) return next;
  }
}

// --- after the sizes ----------------------------------------------------------------------------

// An output with constraints keeps the last model that passed their check.
void restore_sound_model(Selection& s) {
  if (!s.conreg()) return;
  take(s, s.models().crchoice, s.models().crbeta);
  s.model.fit = fit(s.run, s.k);
  const int terms = count(s.models().thischoice.first(s.nbas()));
  s.model.metric = fitmetric(s.run, s.model.fit, terms);
  storemodel(s.run, s.k, s.model.metric);
}

// The lasso's model wins unless the incumbent is better.
void let_lasso_win(Selection& s) {
  if (!s.lassotried || s.conreg()) return;
  if (better(s.incumbent, s.model.fit, s.lasso.metric, s.lasso.fit)) return;
  store_lasso(s);
}

}  // namespace

void trvsurr1(RunState& run, int k, int nmax, bool doenum) {
  Selection s(run, k, nmax, doenum);
  run.walk.output = -1;  // points and columns may have changed
  trvprint(run, "");
  trvprint(run, "Model building for variable " + run.outputs.zlabels[at(k)]);
  trvscreen(run, k);
  Next next = try_lasso_model(s);
  if (next == Next::go_on) next = make_full_fit(s);
  if (next == Next::go_on) next = take_full_fit(s);
  if (next == Next::go_on) next = enumerate_all(s);
  if (next == Next::go_on) {
    enter_sizes(s);
    next = walk_sizes(s);
  }
  if (next == Next::leave_sizes) restore_sound_model(s);
  if (next != Next::leave) let_lasso_win(s);
  recall_last_candidate(run);  // as long as points and columns are what they were
}

}  // namespace torve
