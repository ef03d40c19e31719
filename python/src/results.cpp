#include "results.h"

#include <pybind11/stl.h>

#include <array>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "basis/catalogue.h"
#include "model/predict.h"
#include "run/option_table.h"
#include "run/trvspace.h"

namespace py = pybind11;

namespace torve_python {

namespace {

using torve::at;
using torve::RunState;
using torve::TRVSPACE;

// The words of the problem file for kinds of columns, in the order of the families.
constexpr std::array<const char*, torve::families> family_words{
    "lin",    "log",   "exp",  "sin",  "cos", "mono", "multi2",
    "multi3", "ratio", "grbf", "prbf", "lk",  "cust", "const"};

template <class T>
py::list first_of(const torve::Array<T>& array, int count) {
  py::list list;
  for (std::size_t i = 0; i < at(count) && i < array.size(); ++i) list.append(array[i]);
  return list;
}

// --- formulas -----------------------------------------------------------------------------------

py::list formulas(const torve::FormulaTable& table) {
  py::list list;
  for (const torve::CompiledFormula& formula : table.slots) {
    list.append(py::make_tuple(formula.codes, formula.immediates));
  }
  return list;
}

// --- terms --------------------------------------------------------------------------------------

// The stored coordinates of a data point: scaled, as the radial columns see them.
std::vector<double> stored_point(const RunState& run, int point) {
  std::vector<double> values;
  if (point < 0 || point >= run.sizes.ndata) return values;
  for (int j = 0; j < run.sizes.ninputs; ++j) values.push_back(run.points.xdata(point, j));
  return values;
}

py::dict term(const RunState& run, int j, int k) {
  const torve::Column& column = run.basis.columns[at(j)];
  const bool own_centre = column.family != torve::Family::power_radial;
  const int centre = own_centre ? column.index : column.position;
  const bool radial = column.family == torve::Family::gaussian ||
                      column.family == torve::Family::power_radial ||
                      column.family == torve::Family::kernel;
  py::dict fields;
  fields["family"] = family_words[static_cast<std::size_t>(column.family)];
  fields["inputs"] = column.inputs;
  fields["power"] = column.power;
  fields["radial_power"] = column.radial_power;
  fields["index"] = column.index;
  fields["centre_point"] = radial ? centre : -1;
  fields["centre"] = radial ? stored_point(run, centre) : std::vector<double>();
  fields["coefficient"] = run.models.bestbeta(j, k);
  fields["label"] = run.basis.basislabel[at(j)];
  fields["text"] = run.basis.basismodel[at(j)];
  return fields;
}

py::list terms(const RunState& run, int k) {
  py::list list;
  for (int j = 0; j < run.sizes.nbas; ++j) {
    if (run.models.bestchosen(j, k)) list.append(term(run, j, k));
  }
  return list;
}

// --- quality ------------------------------------------------------------------------------------

py::dict measures(const torve::SetQuality& quality) {
  py::dict fields;
  fields["sse"] = quality.sse;
  fields["rmse"] = quality.rmse;
  fields["r2"] = quality.r2;
  fields["r2_adjusted"] = quality.r2adjusted;
  fields["max_error_percent"] = quality.maxpercent;
  fields["criteria"] = quality.metrics;
  return fields;
}

// The largest absolute error at the points that have a value.
double largest_error(const RunState& run, const torve::EvaluatedSet& set, int k) {
  double largest = 0.0;
  for (int i = 0; i < set.rows; ++i) {
    const double z = (*set.z)(set.first + i, k);
    if (std::abs(z - run.options.preset) <= 0.0001) continue;
    const double error = std::abs(z - set.zmodel(i, k));
    if (!(error <= largest)) largest = error;
  }
  return largest;
}

py::list sets_of(const RunState& run, int k) {
  py::list list;
  for (const torve::EvaluatedSet& set : run.quality.sets) {
    if (set.outputs.size() <= at(k)) continue;
    py::dict fields = measures(set.outputs[at(k)]);
    fields["number"] = set.number;
    fields["rows"] = set.rows;
    fields["max_error"] = largest_error(run, set, k);
    list.append(fields);
  }
  return list;
}

// --- outputs ------------------------------------------------------------------------------------

bool has_model(const RunState& run, int k) {
  return run.models.exist && run.models.hasmodel.size() > at(k) && run.models.hasmodel[at(k)];
}

py::dict output(const RunState& run, int k) {
  const bool model = has_model(run, k);
  py::dict fields;
  fields["label"] = run.outputs.zlabels[at(k)];
  fields["ignored"] = static_cast<bool>(run.outputs.ignore[at(k)]);
  fields["is_whole"] = static_cast<bool>(run.outputs.zisint[at(k)]);
  fields["has_model"] = model;
  if (!model) return fields;
  fields["terms"] = terms(run, k);
  fields["size"] = run.models.ModelSize[at(k)];
  fields["sse_full"] = run.models.SSEOLR[at(k)];
  fields["converged"] = static_cast<bool>(run.models.converged[at(k)]);
  fields["sets"] = sets_of(run, k);
  return fields;
}

py::list outputs(const RunState& run) {
  py::list list;
  if (run.outputs.zlabels.size() < at(run.sizes.noutputs)) return list;
  if (!run.outputs.ignore.exists() || !run.outputs.zisint.exists()) return list;
  for (int k = 0; k < run.sizes.noutputs; ++k) list.append(output(run, k));
  return list;
}

// --- points and counts --------------------------------------------------------------------------

py::array_t<double> data_inputs(const RunState& run) {
  const int rows = run.points.xdata.exists() ? run.sizes.ndata : 0;
  py::array_t<double> x({rows, run.sizes.ninputs});
  auto values = x.mutable_unchecked<2>();
  for (int i = 0; i < rows; ++i) {
    for (int j = 0; j < run.sizes.ninputs; ++j) {
      values(i, j) = run.points.xdata(i, j) * run.inputs.xscale[at(j)];
    }
  }
  return x;
}

py::array_t<double> data_outputs(const RunState& run) {
  const int rows = run.points.zdata.exists() ? run.sizes.ndata : 0;
  py::array_t<double> z({rows, run.sizes.noutputs});
  auto values = z.mutable_unchecked<2>();
  for (int i = 0; i < rows; ++i) {
    for (int k = 0; k < run.sizes.noutputs; ++k) values(i, k) = run.points.zdata(i, k);
  }
  return z;
}

py::dict counts(const RunState& run) {
  py::dict fields;
  fields["iterations"] = run.status.iteration;
  fields["columns"] = run.sizes.nbas;
  fields["active_columns"] = run.sizes.nbasmax;
  fields["points"] = run.sizes.ndata;
  fields["simulated_points"] = run.counters.n_sim;
  fields["regressions"] = run.counters.numOLRs;
  fields["constrained_regressions"] = run.counters.numCLRs;
  fields["optimization_problems"] = run.counters.n_mip;
  return fields;
}

void add_inputs(const RunState& run, py::dict& fields) {
  const int n = run.sizes.ninputs;
  fields["xlabels"] = run.inputs.xlabels;
  fields["xscale"] = first_of(run.inputs.xscale, n);
  fields["excluded"] = first_of(run.inputs.exclude, n);
}

}  // namespace

py::dict results() {
  const RunState& run = TRVSPACE;
  py::dict fields;
  fields["models_exist"] = run.models.exist;
  fields["modeler"] = run.options.modeler;
  fields["rbfparam"] = run.options.rbfparam;
  fields["preset"] = run.options.preset;
  fields["numlimitbasis"] = run.options.numlimitbasis;
  add_inputs(run, fields);
  fields["outputs"] = outputs(run);
  fields["given_outputs"] = run.sizes.noutputs0;
  fields["custom"] = formulas(run.basis.customformulas);
  fields["transforms"] = formulas(run.basis.transformformulas);
  fields["counts"] = counts(run);
  fields["x"] = data_inputs(run);
  fields["z"] = data_outputs(run);
  return fields;
}

py::array_t<double> program_predictions(
    const py::array_t<double, py::array::c_style | py::array::forcecast>& points) {
  RunState& run = TRVSPACE;
  const torve::Sizes& sizes = run.sizes;
  if (!run.models.exist) throw std::runtime_error("there are no models");
  if (points.ndim() != 2 || points.shape(1) != sizes.ninputs) {
    throw std::invalid_argument("points need one column for each input");
  }
  if (!run.points.xdata.grow_rows(run.memory, sizes.ndata + 1)) throw std::bad_alloc();
  const auto x = points.unchecked<2>();
  py::array_t<double> predictions({x.shape(0), static_cast<py::ssize_t>(sizes.noutputs)});
  auto values = predictions.mutable_unchecked<2>();
  for (py::ssize_t i = 0; i < x.shape(0); ++i) {
    // The row behind the data, so that radial columns keep their centres.
    for (int j = 0; j < sizes.ninputs; ++j) {
      run.points.xdata(sizes.ndata, j) = x(i, j) / run.inputs.xscale[at(j)];
    }
    const torve::MatrixView all = run.points.xdata.view(sizes.ndata + 1, sizes.ninputs);
    const double* row = torve::evaluate_loose_point(run, all, sizes.ndata).data();
    for (int k = 0; k < sizes.noutputs; ++k) {
      values(i, k) = has_model(run, k) ? torve::predict(run, k, row, 1) : run.options.preset;
    }
  }
  return predictions;
}

// --- options ------------------------------------------------------------------------------------

namespace {

constexpr std::array<const char*, 13> kind_words{
    "whole",  "logical", "real",  "reals",   "wholes",  "logicals",   "labels",
    "powers", "text",    "token", "section", "ignored", "unreachable"};

}  // namespace

py::list option_rows() {
  py::list list;
  for (const torve::OptionRow& row : torve::option_table) {
    py::dict fields;
    fields["name"] = std::string(row.name);
    fields["kind"] = kind_words.at(static_cast<std::size_t>(row.kind));
    fields["needs"] = std::string(row.needs.option);
    fields["lowest"] = row.limits.exist ? py::cast(row.limits.lowest) : py::none();
    fields["highest"] = row.limits.exist ? py::cast(row.limits.highest) : py::none();
    list.append(fields);
  }
  return list;
}

py::dict option_aliases() {
  py::dict names;
  for (const torve::AliasRow& row : torve::alias_table) {
    names[py::str(std::string(row.name))] = std::string(row.option);
  }
  for (const torve::RenameRow& row : torve::rename_table) {
    names[py::str(std::string(row.word))] = std::string(row.meaning);
  }
  return names;
}

}  // namespace torve_python
