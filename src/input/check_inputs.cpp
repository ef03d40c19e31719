#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "data/scaling.h"
#include "input/trvcheck.h"
#include "report/printer.h"
#include "run/option_table.h"
#include "text/number_edits.h"
#include "text/strings.h"

namespace torve {

namespace {

void name_by_number(std::vector<std::string>& labels, int count, std::string_view letter) {
  labels.clear();
  for (int i = 1; i <= count; ++i) labels.push_back(fmt::format("{}{}", letter, i));
}

bool refuse_label_pair(RunState& run, int location, std::size_t i, std::string_view other,
                       std::size_t j, const std::string& label, std::string_view first) {
  trvprint(run, "Found duplicate label " + label);
  trvprint(run, fmt::format("XLABELS are identical for {} variable {} and {} variable {}", first,
                            i + 1, other, j + 1));
  return fail(run, Code::label_twice, location);
}

// An input and an output of one name can't be told apart in a model.
bool check_inputs_against_outputs(RunState& run) {
  if (!seen(run, "xlabels") && !seen(run, "zlabels")) return true;
  std::map<std::string, std::size_t> outputs;
  for (std::size_t j = 0; j < at(run.sizes.noutputs); ++j) {
    outputs.emplace(fold_lower(run.outputs.zlabels[j]), j);
  }
  for (std::size_t i = 0; i < at(run.sizes.ninputs); ++i) {
    const std::string& label = run.inputs.xlabels[i];
    const auto same = outputs.find(fold_lower(label));
    if (same != outputs.end()) {
      return refuse_label_pair(run, 75, i, "output", same->second, label, "input");
    }
  }
  return true;
}

bool check_within_list(RunState& run, const std::vector<std::string>& labels, std::string_view kind,
                       int location) {
  std::map<std::string, std::size_t> known;
  for (std::size_t j = 0; j < labels.size(); ++j) {
    const auto [entry, fresh] = known.emplace(fold_lower(labels[j]), j);
    if (!fresh) {
      return refuse_label_pair(run, location, entry->second, kind, j, labels[j], kind);
    }
  }
  return true;
}

// Formulas name their variables by label, so that labels of one list have to differ as well; a
// calling program sets them without the tests of the problem file.
bool check_formula_names(RunState& run) {
  const bool formulas = !run.basis.custombas.empty() || !run.outputs.customcon.empty() ||
                        !run.outputs.transforms.empty();
  if (!formulas) return true;
  return check_within_list(run, run.inputs.xlabels, "input", 387) &&
         check_within_list(run, run.outputs.zlabels, "output", 388);
}

bool check_bounds(RunState& run) {
  for (std::size_t j = 0; j < at(run.sizes.ninputs); ++j) {
    if (run.inputs.xmax[j] >= run.inputs.xmin[j]) continue;
    trvprint(run, "XMAX is smaller than XMIN for variable " + run.inputs.xlabels[j]);
    return fail(run, Code::xmax_below_xmin, 76);
  }
  return true;
}

bool may_get_points(const RunState& run) {
  return !run.options.simulator.empty() || run.sizes.nbank != 0;
}

bool refuse_point(RunState& run, std::size_t j, int point, double value) {
  const Inputs& inputs = run.inputs;
  trvprint(run, fmt::format("XDATA outside [XMIN, XMAX] range for variable {} and data point {}",
                            inputs.xlabels[j], point));
  trvprint(run, fmt::format("Values read (xmin, xdata, xmax) = {} {} {}", free_form(inputs.xmin[j]),
                            free_form(value), free_form(inputs.xmax[j])));
  return fail(run, Code::data_out_of_range, 77);
}

// Points that join others have to lie in the box that all are drawn from.
bool check_range(RunState& run) {
  const double allowance = run.options.nulltol;
  const Inputs& inputs = run.inputs;
  const int ndata = run.sizes.ndata;
  for (int p = 0; p < ndata + run.sizes.nbank; ++p) {
    const bool bank = p >= ndata;
    const Table<double>& x = bank ? run.points.xbank : run.points.xdata;
    for (std::size_t j = 0; j < at(run.sizes.ninputs); ++j) {
      if (inputs.exclude[j]) continue;
      const double value = x(bank ? p - ndata : p, static_cast<int>(j));
      if (value < inputs.xmin[j] - allowance || value > inputs.xmax[j] + allowance) {
        return refuse_point(run, j, p + 1, value);
      }
    }
  }
  return true;
}

// An input that doesn't vary in data that are all there is says nothing.
void exclude_constant_inputs(RunState& run) {
  if (run.sizes.ndata < 1) return;
  for (int j = 0; j < run.sizes.ninputs; ++j) {
    if (run.inputs.exclude[at(j)]) continue;
    const auto [least, most] = std::ranges::minmax(run.points.xdata.column(j, run.sizes.ndata));
    if (most > least + run.options.nulltol) continue;
    run.inputs.exclude[at(j)] = true;
    trvprint(run, "Warning: excluding constant input " + run.inputs.xlabels[at(j)]);
    if (run.options.constant != 0) continue;
    trvprint(run, "Using constant basis instead");
    run.options.constant = 1;
  }
}

bool allocate_input_vectors(RunState& run) {
  Inputs& inputs = run.inputs;
  MemoryAccount& memory = run.memory;
  const Sizes& sizes = run.sizes;
  const int n = sizes.ninputs;
  // Outputs may have come without inputs; the points then stand at zero.
  const bool enough = inputs.exclude.request(memory, n) && inputs.xisint.request(memory, n) &&
                      inputs.xscale.request(memory, n) && inputs.xminscaled.request(memory, n) &&
                      inputs.xmaxscaled.request(memory, n) &&
                      run.points.xdata.request(memory, sizes.ndata, n) &&
                      run.points.zdata.request(memory, sizes.ndata, sizes.noutputs) &&
                      run.points.xbank.request(memory, sizes.nbank, n) &&
                      run.points.zbank.request(memory, sizes.nbank, sizes.noutputs) &&
                      run.points.bankused.request(memory, sizes.nbank);
  return enough || fail(run, Code::out_of_memory, 265);
}

bool fill_extrapolation_box(RunState& run) {
  if (!run.outputs.bounded) return true;
  Inputs& inputs = run.inputs;
  const auto fill = [&](Array<double>& box, const Array<double>& bound) {
    if (box.exists()) return true;
    if (!box.request(run.memory, run.sizes.ninputs)) return false;
    std::copy_n(bound.data(), run.sizes.ninputs, box.data());
    return true;
  };
  const bool filled = fill(inputs.extrapxmin, inputs.xmin) && fill(inputs.extrapxmax, inputs.xmax);
  return filled || fail(run, Code::out_of_memory, 265);
}

}  // namespace

bool check_labels(RunState& run) {
  if (!seen(run, "xlabels")) name_by_number(run.inputs.xlabels, run.sizes.ninputs, "X");
  if (!seen(run, "zlabels")) name_by_number(run.outputs.zlabels, run.sizes.noutputs, "Z");
  return check_inputs_against_outputs(run) && check_formula_names(run);
}

bool check_inputs(RunState& run) {
  if (!allocate_input_vectors(run)) return false;
  if (!check_bounds(run)) return false;
  if (may_get_points(run)) {
    if (!check_range(run)) return false;
  } else {
    exclude_constant_inputs(run);
  }
  const std::span<const bool> excluded = run.inputs.exclude.first(at(run.sizes.ninputs));
  run.sizes.nactinputs = static_cast<int>(std::count(excluded.begin(), excluded.end(), false));
  run.sizes.requestpoints = run.sizes.nactinputs + 6;
  if (!fill_extrapolation_box(run)) return false;
  find_scales(run);
  return true;
}

}  // namespace torve
