#include "model/fast_greedy.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>

#include "model/fast_walk/triangle.h"
#include "model/output_triangle.h"
#include "model/trvolr.h"

namespace torve {

namespace {

constexpr double infinite = std::numeric_limits<double>::infinity();
constexpr int most_unlooked = 32;  // candidates between two looks at the clock

// What makes the values takes some time, which few candidates don't give back.
constexpr int fewest_to_grow = 6;    // columns that may come
constexpr int fewest_to_shrink = 6;  // terms

bool applies(const RunState& run, int k) {
  if (!run.walk.allowed || run.options.debug || run.models.conreg[at(k)]) return false;
  return run.options.olrdgels && rises_with_squares(run);
}

// Lengths of the columns over the usable rows, in all.
double length_of_all(const Regression& problem) {
  double lengths = 0.0;
  for (const int j : problem.columns) {
    const double* x = problem.x.column_data(j);
    std::array<double, 4> part{};
    for (std::size_t i = 0; i < problem.z.size(); ++i) {
      part[i % 4] += problem.rows[i] ? x[i] * x[i] : 0.0;
    }
    lengths += std::sqrt((part[0] + part[1]) + (part[2] + part[3]));
  }
  return lengths;
}

// Coefficients that are next to nothing don't count in a fit. Those left out add the square of
// their columns' part, which is orthogonal to the rest.
double slack_of(double lengths) {
  return (smallest_coefficient * lengths) * (smallest_coefficient * lengths);
}

}  // namespace

std::unique_ptr<FastGreedy> FastGreedy::make(GreedySearch& search, Way way) {
  if (!applies(search.run, search.k)) return nullptr;
  const RunState& run = search.run;
  int columns = 0;
  for (int j = 0; j < run.sizes.nbas; ++j) {
    const bool chosen = search.workchoice[at(j)];
    columns += (way == Way::down ? chosen : !chosen && run.models.screened[at(j)]) ? 1 : 0;
  }
  if (columns < (way == Way::down ? fewest_to_shrink : fewest_to_grow)) return nullptr;
  return std::make_unique<FastGreedy>(search, way);
}

FastGreedy::FastGreedy(GreedySearch& search, Way way)
    : search_(search),
      run_(search.run),
      k_(search.k),
      way_(way),
      series_(search.run, search.k),
      rules_(metric_rules(search.run)) {
  rules_.log_n = std::log(static_cast<double>(run_.sizes.ndata));
  const std::size_t nbas = at(run_.sizes.nbas);
  last_choice_ = std::make_unique<bool[]>(nbas);
  saved_choice_ = std::make_unique<bool[]>(nbas);
  set_incumbent_exact();
}

// --- values -------------------------------------------------------------------------------------

void FastGreedy::enter_pass(int p) {
  hopeless_from_ = infinite;
  unlooked_ = most_unlooked;
  if (values_ != nullptr || tried_ || !is_worth_it(p)) return;
  tried_ = true;
  make_values();
}

// From nothing a greedy pass takes the first column that it may, and ends.
bool FastGreedy::is_worth_it(int p) const {
  if (run_.lsq.seriesoutput != k_) return false;
  if (way_ == Way::down) return p + 1 >= fewest_to_shrink && p + 1 <= run_.lsq.seriesrows;
  const bool takes_first = run_.options.greedybuild && search_.value.metric >= no_model_yet;
  return p <= run_.lsq.seriesrows && !takes_first;
}

void FastGreedy::make_values() {
  const int nbas = run_.sizes.nbas;
  const int ndata = run_.sizes.ndata;
  const std::span<const bool> choice = run_.models.thischoice.first(at(nbas));
  std::vector<int> columns;
  columns.reserve(at(nbas));
  for (int j = 0; j < nbas; ++j) {
    if (choice[at(j)]) columns.push_back(j);
  }
  const int chosen = static_cast<int>(columns.size());
  for (int j = 0; way_ == Way::up && j < nbas; ++j) {
    if (!choice[at(j)] && run_.models.screened[at(j)]) columns.push_back(j);
  }
  const int rows = run_.lsq.seriesrows;
  const int n = static_cast<int>(columns.size());
  const double numbers = GrowingValues::numbers(rows, n) + ShrinkingValues::numbers(n);
  if (!run_.memory.has_room(numbers, sizeof(double))) return;
  const Regression problem{run_.basis.xij.view(ndata, nbas), columns,
                           run_.points.zdata.column(k_, ndata), run_.lsq.rowsuse.first(at(ndata)),
                           rows};
  if (way_ == Way::up) {
    grow(problem, chosen);
  } else {
    shrink(problem);
  }
  weight_ = least_weight(problem.z, problem.rows);
}

void FastGreedy::grow(const Regression& problem, int chosen) {
  auto values = std::make_unique<GrowingValues>(problem, chosen, run_.walk.room);
  if (!values->is_usable()) return;
  slack_ = slack_of(values->length_of_all());
  values_ = std::move(values);
}

// On the triangle of all screened columns where they are the model, as they are at first.
void FastGreedy::shrink(const Regression& problem) {
  slack_ = slack_of(length_of_all(problem));
  if (has_triangle(run_, k_) && std::ranges::equal(run_.walk.columns, problem.columns)) {
    values_ = std::make_unique<ShrinkingValues>(run_.walk.triangle, problem.columns);
    return;
  }
  fast_walk::Triangle triangle;
  if (!fast_walk::reduce(problem, triangle)) return;
  values_ = std::make_unique<ShrinkingValues>(triangle, problem.columns);
}

// A fit may be above the least sum of squares, by the slack.
FastGreedy::Bounds FastGreedy::bounds(double sse) const {
  const double margin = values_->margin();
  const double least = std::max((sse - margin) / near_the_best, 0.0);
  const double lowest = std::ldexp(least, values_->exponent());
  if (run_.options.modeler == static_cast<int>(Metric::madp)) {
    return {weight_ * std::sqrt(lowest / run_.lsq.seriesrows), infinite};
  }
  return {lowest, std::ldexp(sse * near_the_best + margin, values_->exponent()) + slack_};
}

double FastGreedy::metric(double f, int p) const {
  return fitmetric(f, p, run_.sizes.ndata, run_.options.modeler, rules_);
}

// --- candidates ---------------------------------------------------------------------------------

bool FastGreedy::accept(int column, int p, bool forced) {
  ++unlooked_;
  if (values_ == nullptr || p == 0) return accept_fitted(p, forced);
  const GreedyValues::Value value = values_->candidate(column);
  if (value.is_doubtful) return accept_fitted(p, forced);
  const Bounds fit = bounds(value.sse);
  if (forced) return accept_unfitted(fit, p);
  if (is_hopeless(fit.lowest, p)) return reject_unfitted(p);
  if (is_surely_better(fit.highest, p)) return accept_unfitted(fit, p);
  if (!pending_) return accept_fitted(p, false);
  settle();
  if (is_hopeless(fit.lowest, p)) return reject_unfitted(p);
  if (is_surely_better(fit.highest, p)) return accept_unfitted(fit, p);
  return accept_fitted(p, false);
}

// With as many terms, a fit above one that can't be accepted can't be either.
bool FastGreedy::is_hopeless(double lowest, int p) {
  if (lowest >= hopeless_from_) return true;
  if (better(metric(lowest, p), lowest, incumbent_.metric.highest, incumbent_.fit.highest)) {
    return false;
  }
  hopeless_from_ = lowest;
  return true;
}

bool FastGreedy::is_surely_better(double highest, int p) const {
  return better(metric(highest, p), highest, incumbent_.metric.lowest, incumbent_.fit.lowest);
}

// By its own fit, and against that of the model in hand. A model without terms leaves thisbeta as
// it is.
bool FastGreedy::accept_fitted(int p, bool forced) {
  if (p == 0) {
    leave_last();
  } else if (!forced) {
    settle();
  } else if (pending_) {
    count_unfitted(pending_terms_);
    pending_ = false;
  }
  request_room(room_);
  room_ = std::max(room_, p);
  const bool accepted = fit_and_judge(search_, p, forced, rules_);
  last_unfitted_ = false;
  unlooked_ = most_unlooked;
  if (accepted) set_incumbent_exact();
  return accepted;
}

bool FastGreedy::accept_unfitted(const Bounds& fit, int p) {
  if (pending_) count_unfitted(pending_terms_);
  pending_ = true;
  pending_terms_ = p;
  pending_room_ = room_;
  incumbent_.fit = fit;
  incumbent_.metric = {metric(fit.lowest, p), metric(fit.highest, p)};
  incumbent_.least_meanerr = meanerror(run_, fit.lowest);
  const std::span<const bool> choice = run_.models.thischoice.first(at(run_.sizes.nbas));
  std::copy(choice.begin(), choice.end(), search_.workchoice.begin());
  run_.models.hasmodel[at(k_)] = true;
  search_.nogain = false;
  note_unfitted(p);
  return true;
}

bool FastGreedy::reject_unfitted(int p) {
  count_unfitted(p);
  note_unfitted(p);
  return false;
}

void FastGreedy::note_unfitted(int p) {
  room_ = std::max(room_, p);
  last_unfitted_ = true;
  std::copy_n(run_.models.thischoice.data(), run_.sizes.nbas, last_choice_.get());
}

// As the fit that would have been made.
void FastGreedy::count_unfitted(int p) {
  ++run_.walk.unfitted;
  ++run_.counters.numOLRs;
  ++run_.models.olrcalls[at(k_)];
  const bool by_formula = p == 1 && run_.options.olrone;
  ++(by_formula ? run_.counters.OLRoneCalls : run_.counters.OLRdgelCalls);
}

// The work space that fits of candidates up to p terms have left: what DGELS gets has to be the
// same to the last bit.
void FastGreedy::request_room(int p) {
  if (p == 0) return;
  const bool by_formula = p == 1 && run_.options.olrone;
  if (!by_formula && !request_dgels(run_, run_.lsq.seriesrows, p)) return;
  if (!run_.lsq.lsqwork.request(run_.memory, run_.sizes.ndata)) {
    fail(run_, Code::out_of_memory, 2);
  }
}

void FastGreedy::take(int column) {
  if (values_ != nullptr) values_->take(column);
}

// --- the model in hand --------------------------------------------------------------------------

void FastGreedy::set_incumbent_exact() {
  const ModelValue& value = search_.value;
  incumbent_ = {{value.fit, value.fit}, {value.metric, value.metric}, value.meanerr};
}

bool FastGreedy::is_within_tolerance() {
  const double tolerance = run_.outputs.tolmeanerror[at(k_)];
  if (!(incumbent_.least_meanerr <= tolerance)) return false;
  settle();
  return search_.value.meanerr <= tolerance;
}

// Gives the model in hand its fit.
void FastGreedy::settle() {
  if (!pending_) return;
  const std::size_t nbas = at(run_.sizes.nbas);
  const std::span<bool> choice = run_.models.thischoice.first(nbas);
  const std::span<double> beta = run_.models.thisbeta.first(nbas);
  assert(last_unfitted_);  // as that model was, at least
  std::copy(choice.begin(), choice.end(), saved_choice_.get());
  std::copy(search_.workchoice.begin(), search_.workchoice.end(), choice.begin());
  request_room(pending_room_);
  const Candidate model = value_candidate(run_, k_, pending_terms_, rules_);
  assert(model.fit >= incumbent_.fit.lowest && model.fit <= incumbent_.fit.highest);
  search_.value = {model.metric, meanerror(run_, model.fit), model.fit};
  std::copy(beta.begin(), beta.end(), search_.workbeta.begin());
  last_unfitted_ = !std::equal(choice.begin(), choice.end(), last_choice_.get());
  std::copy_n(saved_choice_.get(), nbas, choice.begin());
  pending_ = false;
  unlooked_ = most_unlooked;
  set_incumbent_exact();
}

// What is left to do for thisbeta is left to who asks for it.
void FastGreedy::leave_last() {
  settle();
  if (!last_unfitted_) return;
  request_room(room_);
  const int nbas = run_.sizes.nbas;
  run_.walk.last_candidate = std::make_unique<bool[]>(at(nbas));
  std::copy_n(last_choice_.get(), nbas, run_.walk.last_candidate.get());
  run_.walk.last_output = k_;
  last_unfitted_ = false;
}

// --- time ---------------------------------------------------------------------------------------

bool FastGreedy::is_over() {
  if (failed(run_)) return true;
  if (unlooked_ < most_unlooked) return false;
  unlooked_ = 0;
  charge_time();
  return timeup_lately(run_);
}

// The time of the values is time in the least-squares layer.
void FastGreedy::charge_time() {
  const double before = run_.timers.clock.last_reading();
  const double seconds = run_.timers.clock.seconds() - before;
  run_.timers.t_olr += seconds;
  run_.models.olrtime[at(k_)] += seconds;
}

void FastGreedy::finish() {
  leave_last();
  charge_time();
}

}  // namespace torve
