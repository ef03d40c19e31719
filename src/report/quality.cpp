#include "report/quality.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "basis/catalogue.h"
#include "data/scaling.h"
#include "model/predict.h"
#include "report/printer.h"
#include "report/test_sampling.h"

namespace torve {

namespace {

constexpr double no_adjusted_r2 = -1e31;  // as many terms as points but one

// Running sums over the points that count.
struct Sums {
  int n = 0;
  double z = 0.0;
  double sse = 0.0;
  double sst = 0.0;
  double maxpercent = 0.0;
  double madfit = 0.0;
};

double percentage(double error, double z) {
  return error == 0.0 ? 0.0 : 100.0 * error / std::abs(z);
}

Sums sum_up(std::span<const double> z, std::span<const double> y, const QualityRules& rules) {
  constexpr double small = 0.001;  // below it MAD takes the error itself
  Sums sums;
  const auto counts = [&](std::size_t i) { return !is_bad_value(z[i], rules.preset); };
  for (std::size_t i = 0; i < z.size(); ++i) {
    if (!counts(i)) continue;
    ++sums.n;
    sums.z += z[i];
  }
  const double mean = rules.constant && sums.n > 0 ? sums.z / sums.n : 0.0;
  for (std::size_t i = 0; i < z.size(); ++i) {
    if (!counts(i)) continue;
    const double error = std::abs(z[i] - y[i]);
    sums.sse += error * error;
    sums.sst += (z[i] - mean) * (z[i] - mean);
    const double percent = percentage(error, z[i]);
    if (!(percent <= sums.maxpercent)) sums.maxpercent = percent;
    const double deviation = std::abs(z[i]) > small ? percent : error;
    if (!(deviation <= sums.madfit)) sums.madfit = deviation;
  }
  return sums;
}

SetQuality no_quality(double preset) {
  SetQuality quality;
  quality.sse = quality.rmse = quality.r2 = quality.r2adjusted = quality.maxpercent = preset;
  quality.metrics.fill(preset);
  return quality;
}

// --- sets of points -----------------------------------------------------------------------------

EvaluatedSet make_set(std::string name, int number, int first, int rows, const Table<double>& x,
                      const Table<double>& z) {
  EvaluatedSet set;
  set.name = std::move(name);
  set.number = number;
  set.first = first;
  set.rows = rows;
  set.x = &x;
  set.z = &z;
  return set;
}

std::vector<EvaluatedSet> list_sets(const RunState& run) {
  const Sizes& sizes = run.sizes;
  const Points& points = run.points;
  std::vector<EvaluatedSet> sets;
  sets.push_back(make_set("", 0, 0, sizes.ndata, points.xdata, points.zdata));
  if (sizes.nbank > 0) {
    sets.push_back(make_set("banked set", -1, 0, sizes.nbank, points.xbank, points.zbank));
  }
  if (!points.ztestdata.exists()) return sets;
  const int sections = std::max(sizes.ntestsets, 1);
  int first = 0;
  for (int s = 0; s < sections && at(s) < points.ntestdata.size(); ++s) {
    const int rows = std::min(points.ntestdata[at(s)], sizes.ntestdatasum - first);
    const std::string name = sections == 1 ? "test set" : fmt::format("test set {}", s + 1);
    sets.push_back(make_set(name, s + 1, first, rows, points.xtestdata, points.ztestdata));
    first += rows;
  }
  return sets;
}

// Model values of all outputs. Rows of the data are in the regression matrix already; the other
// sets are evaluated now, each set on its own rows.
bool evaluate_set(RunState& run, EvaluatedSet& set) {
  const Sizes& sizes = run.sizes;
  if (!set.zmodel.request(run.memory, set.rows, sizes.noutputs)) {
    return fail(run, Code::out_of_memory, 53);
  }
  const MatrixView all = set.x->view(set.first + set.rows, sizes.ninputs);
  const MatrixView own{all.data + set.first, set.rows, all.columns, all.stride};
  for (int i = 0; i < set.rows; ++i) {
    const double* row = nullptr;
    std::int64_t stride = 1;
    if (set.number == 0) {
      const MatrixView xij = run.basis.xij.view(sizes.ndata, sizes.nbas);
      row = xij.data + i;
      stride = xij.stride;
    } else {
      row = evaluate_loose_point(run, own, i).data();
    }
    for (int k = 0; k < sizes.noutputs; ++k) set.zmodel(i, k) = predict(run, k, row, stride);
  }
  return true;
}

// Metrics of the data take all points for n, as the selection does; other sets the points that
// count.
void measure_outputs(RunState& run, EvaluatedSet& set) {
  const Sizes& sizes = run.sizes;
  set.outputs.clear();
  for (int k = 0; k < sizes.noutputs; ++k) {
    if (run.outputs.ignore[at(k)] || !run.models.hasmodel[at(k)]) {
      set.outputs.push_back(no_quality(run.options.preset));
      continue;
    }
    QualityRules rules;
    rules.preset = run.options.preset;
    rules.constant = run.options.constant != 0;
    rules.terms = run.models.ModelSize[at(k)];
    rules.points = set.number == 0 ? sizes.ndata : 0;
    rules.metrics = {run.options.sigma, run.options.convpen, run.options.cvxbic, sizes.nbasmax};
    const std::span<const double> z = set.z->column(k, set.first + set.rows).subspan(at(set.first));
    set.outputs.push_back(measure(z, set.zmodel.column(k, set.rows), rules));
  }
}

}  // namespace

SetQuality measure(std::span<const double> z, std::span<const double> y,
                   const QualityRules& rules) {
  const Sums sums = sum_up(z, y, rules);
  if (sums.n == 0) return no_quality(rules.preset);
  SetQuality quality;
  quality.sse = sums.sse;
  quality.rmse = std::sqrt(sums.sse / sums.n);
  quality.r2 = sums.sst == 0.0 ? rules.preset : 1.0 - sums.sse / sums.sst;
  const int freedom = sums.n - rules.terms - 1;
  if (freedom == 0) {
    quality.r2adjusted = no_adjusted_r2;
  } else if (sums.sst == 0.0) {
    quality.r2adjusted = rules.preset;
  } else {
    quality.r2adjusted = 1.0 - (sums.n - 1.0) * (1.0 - quality.r2) / freedom;
  }
  const int n = rules.points > 0 ? rules.points : sums.n;
  for (int m = 1; m <= static_cast<int>(metrics); ++m) {
    const double f = m == static_cast<int>(Metric::madp) ? sums.madfit : sums.sse;
    quality.metrics[at(m - 1)] = fitmetric(f, rules.terms, n, m, rules.metrics);
  }
  quality.maxpercent = sums.maxpercent;
  return quality;
}

void qualitymetrics(RunState& run) {
  if (!failed(run)) sample_tests(run);
  trvprint(run, "");
  trvprint(run, "Calculating quality metrics ");
  run.quality.sets.clear();
  for (EvaluatedSet& set : list_sets(run)) {
    if (!evaluate_set(run, set)) return;
    measure_outputs(run, set);
    // What follows finds only sets that are measured.
    run.quality.sets.push_back(std::move(set));
  }
}

}  // namespace torve
