#include "model/fit.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "basis/model_line.h"
#include "model/debug_lines.h"
#include "model/masks.h"
#include "model/trvolr.h"
#include "report/printer.h"
#include "text/number_edits.h"

namespace torve {

namespace {

constexpr double smallest_magnitude = 0.001;
constexpr double no_box = 1e31;  // bound of coefficients where there is no full fit
constexpr double box_margin = 1.25;

std::span<double> working_model_values(RunState& run) {
  const Sizes& sizes = run.sizes;
  Models& models = run.models;
  LeastSquares& lsq = run.lsq;
  std::size_t n = 0;
  for (int j = 0; j < sizes.nbas; ++j) {
    const double b = models.thisbeta[at(j)];
    if (!models.thischoice[at(j)] || !(std::abs(b) > smallest_coefficient)) continue;
    lsq.chosen[n] = j;
    lsq.coefficients[n++] = b;
  }
  const std::span<double> y = lsq.yhat.first(at(sizes.ndata));
  model_values(run.basis.xij.view(sizes.ndata, sizes.nbas), lsq.chosen.first(n),
               lsq.coefficients.first(n), y);
  return y;
}

// use := a and b; returns how many hold.
int both(std::span<const bool> a, std::span<const bool> b, std::span<bool> use) {
  int total = 0;
  std::size_t i = 0;
  for (; i + 8 <= use.size(); i += 8) {
    const std::uint64_t flags = eight_flags(a, i) & eight_flags(b, i);
    std::memcpy(use.data() + i, &flags, sizeof flags);
    total += count_flags(flags);
  }
  for (; i < use.size(); ++i) {
    use[i] = a[i] && b[i];
    total += use[i] ? 1 : 0;
  }
  return total;
}

}  // namespace

FitSeries::FitSeries(RunState& run, int k) : lsq_(run.lsq) {
  if (!request_row_arrays(run)) return;
  lsq_.seriesrows = mark_usable_rows(run, k);
  lsq_.seriesoutput = k;
  run.timers.clock.seconds();
}

int mark_usable_rows(RunState& run, int k) {
  run.lsq.seriesoutput = -1;
  const int ndata = run.sizes.ndata;
  return both(run.points.rows.first(at(ndata)), run.points.simulated.column(k, ndata),
              run.lsq.rowsuse.first(at(ndata)));
}

double ssefit(RunState& run, int k) {
  const int ndata = run.sizes.ndata;
  find_usable_rows(run, k);
  return sum_of_squares(run.points.zdata.column(k, ndata), working_model_values(run),
                        run.lsq.rowsuse.first(at(ndata)));
}

double fit(RunState& run, int k) {
  if (run.options.modeler != static_cast<int>(Metric::madp)) return ssefit(run, k);
  const int ndata = run.sizes.ndata;
  find_usable_rows(run, k);
  return largest_percentage_error(run.points.zdata.column(k, ndata), working_model_values(run),
                                  run.lsq.rowsuse.first(at(ndata)));
}

void recall_last_candidate(RunState& run) {
  const std::unique_ptr<bool[]> candidate = std::move(run.walk.last_candidate);
  if (candidate == nullptr) return;
  const int k = run.walk.last_output;
  const std::size_t nbas = at(run.sizes.nbas);
  const Counters counters = run.counters;
  const int olrcalls = run.models.olrcalls[at(k)];
  trvolr(run, {candidate.get(), nbas}, k, run.models.thisbeta.first(nbas));
  run.counters = counters;
  run.models.olrcalls[at(k)] = olrcalls;
}

MetricRules metric_rules(const RunState& run) {
  return {run.options.sigma, run.options.convpen, run.options.cvxbic, run.sizes.nbasmax};
}

double fitmetric(const RunState& run, double f, int p) {
  return fitmetric(f, p, run.sizes.ndata, run.options.modeler, metric_rules(run));
}

double meanerror(const RunState& run, double f) {
  return meanerror(f, run.sizes.ndata, run.options.modeler);
}

int count(std::span<const bool> mask) {
  return static_cast<int>(std::count(mask.begin(), mask.end(), true));
}

// --- full fit -----------------------------------------------------------------------------------

namespace {

// The mean magnitude of each screened column, and the 1-norm of the scaled coefficients.
double measure_box(RunState& run) {
  Models& models = run.models;
  const int ndata = run.sizes.ndata;
  double sum = 0.0;
  for (int j = 0; j < run.sizes.nbas; ++j) {
    if (!models.screened[at(j)]) continue;
    double scale = 1.0;
    if (run.options.scalebases) {
      double total = 0.0;
      for (const double value : run.basis.xij.column(j, ndata)) total += std::abs(value);
      const double mean = total / ndata;
      scale = mean < smallest_magnitude ? 1.0 : mean;
      models.xscale[at(j)] = scale;
    }
    sum += std::abs(models.thisbeta[at(j)]) * scale;
  }
  return sum;
}

// The noise level: the user's, or the full fit's root mean square where the metric needs one and
// there are points to tell it from.
void estimate_noise(RunState& run, int k) {
  Models& models = run.models;
  double& sigma = run.options.sigma;
  if (models.sigmaset) {
    if (debugging(run)) debug_line(run, "Using sigma value set by user");
    return;
  }
  const auto metric = static_cast<Metric>(run.options.modeler);
  const bool wanted = metric == Metric::bic || metric == Metric::cp || metric == Metric::ric;
  if (!wanted || run.sizes.ndata <= run.sizes.nbas + 1) return;
  const double sse = models.SSEOLR[at(k)];
  if (sse <= models.ssezero) {
    models.sseterm = false;
    sigma = models.ssezero;
  } else {
    sigma = std::sqrt(sse / run.sizes.ndata);
  }
}

// Terms of the full fit; those of earlier ones stay in the selection.
void keep_full_fit(RunState& run) {
  Models& models = run.models;
  for (std::size_t j = 0; j < at(run.sizes.nbas); ++j) {
    models.fullbeta[j] = models.thisbeta[j];
    if (models.thisbeta[j] != 0.0) models.fullchoice[j] = true;
    models.thischoice[j] = models.fullchoice[j];
  }
}

}  // namespace

double estimatesigma(RunState& run, int k) {
  Models& models = run.models;
  const std::size_t nbas = at(run.sizes.nbas);
  if (run.options.modeler != static_cast<int>(Metric::madp)) models.sseterm = true;
  models.fullfitok = false;
  forget_last_candidate(run);
  if (trvolr(run, models.screened.first(nbas), k, models.thisbeta.first(nbas))) {
    models.xscale.fill(1.0);
    return no_box;
  }
  if (failed(run)) return no_box;
  const double boxsum = measure_box(run);
  models.fullfitok = true;
  keep_full_fit(run);
  models.SSEOLR[at(k)] = ssefit(run, k);
  estimate_noise(run, k);
  if (debugging(run)) {
    debug_line(run, fmt::format("ndata, nbas, sigma = {} {} {}", run.sizes.ndata, run.sizes.nbas,
                                free_form(run.options.sigma)));
  }
  return box_margin * boxsum;
}

// --- accepted models ----------------------------------------------------------------------------

void storemodel(RunState& run, int k, double metric) {
  Models& models = run.models;
  int size = 0;
  for (int j = 0; j < run.sizes.nbas; ++j) {
    const double b = models.thisbeta[at(j)];
    const bool counts = models.thischoice[at(j)] && b != 0.0 && !std::isnan(b);
    models.bestbeta(j, k) = b;
    models.bestchosen(j, k) = counts;
    if (counts) ++size;
  }
  models.ModelSize[at(k)] = size;
  models.hasmodel[at(k)] = true;
  reportmodel(run, k, metric);
}

void reportmodel(RunState& run, int k, double metric) {
  const std::string_view name = metric_row(run.options.modeler).name;
  const std::string head = fmt::format(" ---- {} = {} with", name, free_form(metric));
  if (run.options.print_to_screen) {
    print_on_screen(head + model_line(run, k, ModelDigits::screen));
  }
  if (run.files.listing.is_open()) {
    print_to_listing(run, head + model_line(run, k, ModelDigits::full));
    run.files.listing.flush();
  }
}

}  // namespace torve
