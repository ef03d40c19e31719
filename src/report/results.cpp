#include "report/results.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "basis/catalogue.h"
#include "data/sampling.h"
#include "data/scaling.h"
#include "model/metrics.h"
#include "model/predict.h"
#include "report/printer.h"
#include "text/number_edits.h"
#include "text/strings.h"

namespace torve {

namespace {

constexpr std::size_t label_column = 32;
constexpr std::size_t coefficient_column = 26;
constexpr std::string_view point_columns =
    " (for each data point: x, z, zmodel, square error, absolute error):";

// Numbers of one line, in free form.
class Row {
 public:
  void add(double value) { text_ += " " + free_form(value); }
  void add(int value) { text_ += " " + free_form(value); }
  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

// --- data points --------------------------------------------------------------------------------

// Inputs in the user's units.
void add_inputs(const RunState& run, Row& row, const Table<double>& x, int i) {
  for (int j = 0; j < run.sizes.ninputs; ++j) row.add(x(i, j) * run.inputs.xscale[at(j)]);
}

bool has_error(const RunState& run, double z, int k) {
  return run.models.hasmodel[at(k)] && !is_bad_value(z, run.options.preset);
}

std::string point_line(const RunState& run, const EvaluatedSet& set, int i) {
  const int n = run.sizes.noutputs;
  const double preset = run.options.preset;
  const auto observed = [&](int k) { return (*set.z)(set.first + i, k); };
  const auto error = [&](int k) { return std::abs(observed(k) - set.zmodel(i, k)); };
  Row row;
  row.add(i + 1);
  add_inputs(run, row, *set.x, set.first + i);
  for (int k = 0; k < n; ++k) row.add(observed(k));
  for (int k = 0; k < n; ++k) row.add(run.models.hasmodel[at(k)] ? set.zmodel(i, k) : preset);
  for (int k = 0; k < n; ++k) {
    row.add(has_error(run, observed(k), k) ? error(k) * error(k) : preset);
  }
  for (int k = 0; k < n; ++k) row.add(has_error(run, observed(k), k) ? error(k) : preset);
  return row.text();
}

void list_points(RunState& run, const EvaluatedSet& set) {
  for (int i = 0; i < set.rows; ++i) print_to_listing(run, point_line(run, set, i));
}

void list_errors(RunState& run, const EvaluatedSet& set, std::string_view which) {
  print_to_listing(run, fmt::format(" Errors on {} data points ", which));
  print_to_listing(run, point_columns);
  list_points(run, set);
  print_to_listing(run, fmt::format(" Maximum absolute errors (%) on {} data points ", which));
  Row row;
  for (const SetQuality& quality : set.outputs) row.add(quality.maxpercent);
  print_to_listing(run, row.text());
}

void list_test_errors(RunState& run) {
  const auto is_test = [](const EvaluatedSet& set) { return set.number > 0; };
  const std::vector<EvaluatedSet>& sets = run.quality.sets;
  const auto sections = std::count_if(sets.begin(), sets.end(), is_test);
  if (sections == 0) return;
  print_to_listing(run, fmt::format(" Errors for test points{}", point_columns));
  for (const EvaluatedSet& set : sets) {
    if (!is_test(set)) continue;
    if (sections > 1) print_to_listing(run, fmt::format("-- Test section {}", set.number));
    list_points(run, set);
  }
}

void list_all_errors(RunState& run) {
  if (!run.files.listing.is_open()) return;
  for (const EvaluatedSet& set : run.quality.sets) {
    if (set.number == 0) list_errors(run, set, "observed");
    if (set.number == -1) list_errors(run, set, "banked");
  }
  list_test_errors(run);
}

// --- outputs ------------------------------------------------------------------------------------

void print_value(RunState& run, std::string_view label, double value) {
  trvprint(run, pad_right(label, label_column) + free_form(value));
}

// A measure: its words, its words on a test set where they differ, and where it stands.
struct Measure {
  std::string_view name;
  std::string_view test_words;
  double (*value)(const SetQuality&);
};
constexpr std::array<Measure, 4> measures{{
    {"SSE", "", [](const SetQuality& q) { return q.sse; }},
    {"RMSE", "", [](const SetQuality& q) { return q.rmse; }},
    {"R2", "", [](const SetQuality& q) { return q.r2; }},
    {"R2 adjusted", "this set", [](const SetQuality& q) { return q.r2adjusted; }},
}};

std::string measure_label(std::string_view name, const EvaluatedSet& set,
                          std::string_view test_words) {
  if (set.number == 0) return fmt::format(" {}:", name);
  const bool other_words = set.number > 0 && !test_words.empty();
  return fmt::format(" {} for {}:", name, other_words ? test_words : set.name);
}

void print_measures(RunState& run, int k) {
  const std::vector<EvaluatedSet>& sets = run.quality.sets;
  print_value(run, " SSE OLR:", run.models.SSEOLR[at(k)]);
  for (const Measure& measure : measures) {
    for (const EvaluatedSet& set : sets) {
      print_value(run, measure_label(measure.name, set, measure.test_words),
                  measure.value(set.outputs[at(k)]));
    }
  }
  for (std::size_t m = 0; m < metrics; ++m) {
    for (const EvaluatedSet& set : sets) {
      print_value(run, measure_label(metric_table[m].label, set, ""),
                  set.outputs[at(k)].metrics[m]);
    }
  }
}

void print_terms(RunState& run, int k) {
  const Models& models = run.models;
  bool any = false;
  for (int j = 0; j < run.sizes.nbas; ++j) any = any || models.bestchosen(j, k);
  trvprint(run, any ? " BETAS and BASES chosen for this output:"
                    : " BETAS and BASES chosen for this output: None");
  for (int j = 0; j < run.sizes.nbas; ++j) {
    const std::string& label = run.basis.basislabel[at(j)];
    if (!models.bestchosen(j, k) || label.empty()) continue;
    trvprint(run, " " + pad_right(free_form(models.bestbeta(j, k)), coefficient_column) + label);
  }
}

void print_output(RunState& run, int k) {
  const std::string title = "Quality metrics for output " + run.outputs.zlabels[at(k)];
  trvprint(run, "");
  trvprint(run, title);
  trvprint(run, std::string(title.size(), '-'));
  if (!run.models.hasmodel[at(k)]) {
    trvprint(run, "No model has been found for this output");
    return;
  }
  print_measures(run, k);
  if (run.options.lassopath) {
    print_value(run, " Lasso metric 1:", run.models.Metric1Lasso[at(k)]);
    print_value(run, " Lasso metric 2:", run.models.Metric2Lasso[at(k)]);
  }
  print_terms(run, k);
}

// --- predictions --------------------------------------------------------------------------------

// The point in row i of the data, with what its models say.
std::string prediction_line(RunState& run, int i) {
  const MatrixView points = run.points.xdata.view(i + 1, run.sizes.ninputs);
  const double* row = evaluate_loose_point(run, points, i).data();
  Row line;
  add_inputs(run, line, run.points.xdata, i);
  for (int k = 0; k < run.sizes.noutputs; ++k) {
    line.add(run.models.hasmodel[at(k)] ? predict(run, k, row, 1) : run.options.preset);
  }
  return line.text();
}

// A prediction point borrows the row behind the data, so that radial columns keep their centres.
void print_predictions(RunState& run) {
  const Sizes& sizes = run.sizes;
  if (sizes.npredata <= 0 || !run.points.xpredata.exists()) return;
  trvprint(run, " Predictions at xpredata");
  trvprint(run, " (for each data point: xpredata, zpredata):");
  if (!run.points.xdata.grow_rows(run.memory, sizes.ndata + 1)) {
    fail(run, Code::out_of_memory, 53);
    return;
  }
  for (int p = 0; p < sizes.npredata; ++p) {
    for (int j = 0; j < sizes.ninputs; ++j) {
      run.points.xdata(sizes.ndata, j) = run.points.xpredata(p, j);
    }
    trvprint(run, prediction_line(run, sizes.ndata));
  }
}

// As many points as keep the density of the data in the larger box.
int extrapolation_points(const RunState& run) {
  const Inputs& inputs = run.inputs;
  double inner = 0.0;
  double outer = 0.0;
  for (std::size_t j = 0; j < at(run.sizes.ninputs); ++j) {
    inner += inputs.xmax[j] - inputs.xmin[j];
    outer += inputs.extrapxmax[j] - inputs.extrapxmin[j];
  }
  const double points = std::round(run.sizes.ndata / inner * outer);
  return std::isfinite(points) && points > 0.0 ? static_cast<int>(std::min(points, 1e9)) : 0;
}

// The points overwrite the first row of the data, and so come last of all.
void print_extrapolation(RunState& run) {
  const Inputs& inputs = run.inputs;
  if (!run.options.printextrap || !inputs.extrapxmin.exists() || !inputs.extrapxmax.exists() ||
      run.sizes.ndata < 1) {
    return;
  }
  const int points = extrapolation_points(run);
  trvprint(run, fmt::format("NUMEXTRAPDATA     =  {}", points));
  trvprint(run, " Predictions in extrapolation range");
  trvprint(run, " (for each data point: xextrap, zextrap):");
  randomnumber(run.randstate, run.options.seed, true);
  for (int p = 0; p < points && !timeup(run); ++p) {
    for (std::size_t j = 0; j < at(run.sizes.ninputs); ++j) {
      const double u = randomnumber(run.randstate, run.options.seed);
      const double x = (inputs.extrapxmax[j] - inputs.extrapxmin[j]) * u + inputs.extrapxmin[j];
      run.points.xdata(0, static_cast<int>(j)) = x / inputs.xscale[j];
    }
    trvprint(run, prediction_line(run, 0));
  }
}

}  // namespace

void writereport(RunState& run) {
  if (run.quality.sets.empty()) return;
  list_all_errors(run);
  for (int k = 0; k < run.sizes.noutputs; ++k) {
    if (!run.outputs.ignore[at(k)]) print_output(run, k);
  }
  print_predictions(run);
  print_extrapolation(run);
}

}  // namespace torve
