#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "input/problem_reader.h"

namespace torve {

namespace {

bool allocate_inputs(RunState& run) {
  const int n = run.sizes.ninputs;
  MemoryAccount& memory = run.memory;
  Inputs& inputs = run.inputs;
  return inputs.xmin.request(memory, n) && inputs.xmax.request(memory, n) &&
         inputs.xscale.request(memory, n);
}

// What an output takes in all: its options, label, formula name, model, quality and sets of points.
constexpr double bytes_of_output = 1024.0;

// Everything is asked for before anything is filled, so that a count that the machine can't hold is
// refused before its pages are touched.
bool allocate_outputs(RunState& run) {
  const int n = run.sizes.noutputs;
  MemoryAccount& memory = run.memory;
  if (!memory.has_room(n, bytes_of_output)) return false;
  Outputs& outputs = run.outputs;
  const std::array<Array<double>*, 6> reals{&outputs.tolmeanerror, &outputs.tolrelmetric,
                                            &outputs.tolmaxerror,  &outputs.tolabsmetric,
                                            &outputs.zmin,         &outputs.zmax};
  const std::array<Array<bool>*, 4> logicals{&outputs.ignore, &outputs.zisint, &outputs.haszmin,
                                             &outputs.haszmax};
  for (Array<double>* array : reals) {
    if (!array->request(memory, n)) return false;
  }
  for (Array<bool>* array : logicals) {
    if (!array->request(memory, n)) return false;
  }
  if (!outputs.maxterms.request(memory, n)) return false;
  outputs.tolrelmetric.fill(1e-06);
  outputs.tolmaxerror.fill(0.05);
  outputs.tolabsmetric.fill(1e-06);
  outputs.maxterms.fill(-1);
  return true;
}

bool store_noutputs(ProblemReader& reader) {
  RunState& run = reader.run;
  run.sizes.noutputs0 = run.sizes.noutputs - run.sizes.ntrans;
  return allocate_outputs(run) || stop_without_memory(reader);
}

std::string found_in_line(const ProblemReader& reader) {
  return fmt::format("{} found in line {}", reader.typed, reader.lines.lineno);
}

// Which columns of the data are formulas has to be known before outputs are read.
bool store_ntrans(ProblemReader& reader) {
  RunState& run = reader.run;
  run.sizes.noutputs0 = run.sizes.noutputs - run.sizes.ntrans;
  return true;
}

bool check_ntrans(ProblemReader& reader) {
  if (!seen(reader.run, "noutputs")) {
    return stop(reader, Code::ntrans_before_noutputs, 172, {found_in_line(reader)});
  }
  if (seen(reader.run, "begin_zdata") || seen(reader.run, "begin_data")) {
    return stop(reader, Code::ntrans_after_zdata, 173, {found_in_line(reader)});
  }
  return true;
}

bool check_nbank(ProblemReader& reader) {
  const RunState& run = reader.run;
  if (!seen(run, "ndata")) {
    return stop(reader, Code::nbank_before_ndata, 207, {found_in_line(reader)});
  }
  if (seen(run, "begin_data") || seen(run, "begin_xdata") || seen(run, "begin_zdata")) {
    return stop(reader, Code::nbank_after_data, 385, {found_in_line(reader)});
  }
  return true;
}

// A bank of fewer than no points is no bank.
bool store_nbank(ProblemReader& reader) {
  Sizes& sizes = reader.run.sizes;
  sizes.nbank = std::max(sizes.nbank, 0);
  if (sizes.nbank <= sizes.ndata) return true;
  return stop(reader, Code::nbank_too_large, 386, {found_in_line(reader)});
}

void store(RunState& run, const OptionRow& row, double value) {
  if (const auto* whole = std::get_if<int Options::*>(&row.storage)) {
    run.options.*(*whole) = to_whole(value);
  } else if (const auto* size = std::get_if<int Sizes::*>(&row.storage)) {
    run.sizes.*(*size) = to_whole(value);
  } else if (const auto* logical = std::get_if<bool Options::*>(&row.storage)) {
    run.options.*(*logical) = std::lround(std::clamp(value, -10.0, 10.0)) == 1;
  } else if (const auto* real = std::get_if<double Options::*>(&row.storage)) {
    run.options.*(*real) = value;
  }
}

// What a scalar option does besides being stored. A check runs before its value is read.
struct Effect {
  std::string_view option;
  bool (*check)(ProblemReader&);
  bool (*effect)(ProblemReader&);
};

bool nothing(ProblemReader&) {
  return true;
}
bool store_ninputs(ProblemReader& reader) {
  return allocate_inputs(reader.run) || stop_without_memory(reader);
}
// A noise level of 0 or less asks for an estimate, anew for every output.
bool store_sigma(ProblemReader& reader) {
  reader.run.models.sigmaset = reader.run.options.sigma > 0.0;
  return true;
}

constexpr auto effects = std::to_array<Effect>({
    {"ninputs", nothing, store_ninputs},
    {"noutputs", nothing, store_noutputs},
    {"ntrans", check_ntrans, store_ntrans},
    {"nbank", check_nbank, store_nbank},
    {"sigma", nothing, store_sigma},
});

const Effect* find_effect(std::string_view option) {
  const auto* found = std::find_if(effects.begin(), effects.end(),
                                   [&](const Effect& row) { return row.option == option; });
  return found == effects.end() ? nullptr : found;
}

// Counts and limits that a bad value leaves as they are.
bool leaves_option(std::string_view name, double value) {
  return (name == "maxsim" || name == "ndgels") && value < 0.0;
}

}  // namespace

std::optional<double> read_value(ProblemReader& reader) {
  LineReader& lines = reader.lines;
  if (!lines.readline()) {
    stop_on_fault(reader);
    return std::nullopt;
  }
  std::optional<double> value = lines.number();
  if (value) return value;
  stop_on_fault(reader);
  const std::string detail =
      fmt::format("Error while reading option value at line {}", lines.lineno);
  if (lines.fault().location == 200) stop(reader, Code::bad_value, 193, {detail});
  return std::nullopt;
}

bool read_scalar(ProblemReader& reader) {
  RunState& run = reader.run;
  const OptionRow& row = *reader.option.row;
  const Effect* effect = find_effect(row.name);
  if (effect != nullptr && !effect->check(reader)) return false;
  std::optional<double> value = read_value(reader);
  if (!value) return false;
  checkoption(run, reader.keyword, *value, true);
  if (row.kind == Kind::ignored) return reader.lines.checkeol() || stop_on_fault(reader);
  if (reader.keyword == "keepscratch") *value = 1.0 - *value;
  // A data set of no points is as good as none: nothing is stored, and what follows on the line
  // isn't looked at.
  if (row.name == "ndata" && *value < 0.5) return true;
  if (!leaves_option(row.name, *value)) store(run, row, *value);
  if (effect != nullptr && !effect->effect(reader)) return false;
  return reader.lines.checkeol() || stop_on_fault(reader);
}

}  // namespace torve
