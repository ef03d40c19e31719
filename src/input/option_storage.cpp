#include "input/option_storage.h"

#include <algorithm>
#include <array>
#include <map>

#include "input/problem_reader.h"
#include "text/strings.h"

namespace torve {

// --- one number ---------------------------------------------------------------------------------

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
  outputs.maxterms.fill(outputs.maxtermsall);
  return true;
}

Refusal needs_nothing(const RunState&) {
  return no_refusal;
}

Refusal check_ntrans(const RunState& run) {
  if (!seen(run, "noutputs")) return {Code::ntrans_before_noutputs, 172, 437};
  // Which columns of the data are formulas has to be known before outputs are read.
  if (seen(run, "begin_zdata") || seen(run, "begin_data")) {
    return {Code::ntrans_after_zdata, 173, 173};
  }
  return no_refusal;
}

Refusal check_nbank(const RunState& run) {
  if (!seen(run, "ndata")) return {Code::nbank_before_ndata, 207, 439};
  if (seen(run, "begin_data") || seen(run, "begin_xdata") || seen(run, "begin_zdata")) {
    return {Code::nbank_after_data, 385, 385};
  }
  return no_refusal;
}

Refusal store_ninputs(RunState& run) {
  return allocate_inputs(run) ? no_refusal : no_memory;
}
Refusal store_noutputs(RunState& run) {
  run.sizes.noutputs0 = run.sizes.noutputs - run.sizes.ntrans;
  return allocate_outputs(run) ? no_refusal : no_memory;
}
Refusal store_ntrans(RunState& run) {
  run.sizes.noutputs0 = run.sizes.noutputs - run.sizes.ntrans;
  return no_refusal;
}
// A bank of fewer than no points is no bank.
Refusal store_nbank(RunState& run) {
  Sizes& sizes = run.sizes;
  sizes.nbank = std::max(sizes.nbank, 0);
  return sizes.nbank <= sizes.ndata ? no_refusal : Refusal{Code::nbank_too_large, 386, 386};
}
// A noise level of 0 or less asks for an estimate, anew for every output.
Refusal store_sigma(RunState& run) {
  run.models.sigmaset = run.options.sigma > 0.0;
  return no_refusal;
}

// What a scalar option asks for and does besides being stored.
struct Effect {
  std::string_view option;
  Refusal (*check)(const RunState&);
  Refusal (*effect)(RunState&);
};
constexpr auto effects = std::to_array<Effect>({
    {"ninputs", needs_nothing, store_ninputs},
    {"noutputs", needs_nothing, store_noutputs},
    {"ntrans", check_ntrans, store_ntrans},
    {"nbank", check_nbank, store_nbank},
    {"sigma", needs_nothing, store_sigma},
});

const Effect* find_effect(const OptionRow& row) {
  const auto* found = std::find_if(effects.begin(), effects.end(),
                                   [&](const Effect& effect) { return effect.option == row.name; });
  return found == effects.end() ? nullptr : found;
}

bool rounds_to_one(double value) {
  return value >= 0.5 && value < 1.5;
}

void store(RunState& run, const OptionRow& row, double value) {
  if (const auto* whole = std::get_if<int Options::*>(&row.storage)) {
    run.options.*(*whole) = to_whole(value);
  } else if (const auto* size = std::get_if<int Sizes::*>(&row.storage)) {
    run.sizes.*(*size) = to_whole(value);
  } else if (const auto* logical = std::get_if<bool Options::*>(&row.storage)) {
    run.options.*(*logical) = rounds_to_one(value);
  } else if (const auto* real = std::get_if<double Options::*>(&row.storage)) {
    run.options.*(*real) = value;
  }
}

// Values that leave the option as it is: a limit of fewer than none, and a data set of no points,
// which is as good as none.
bool leaves_option(const OptionRow& row, double value) {
  if (row.name == "ndata") return value < 0.5;
  return (row.name == "maxsim" || row.name == "ndgels") && value < 0.0;
}

}  // namespace

Refusal check_scalar(const RunState& run, const OptionRow& row) {
  const Effect* effect = find_effect(row);
  return effect == nullptr ? no_refusal : effect->check(run);
}

Refusal store_scalar(RunState& run, const OptionRow& row, double value) {
  if (leaves_option(row, value)) return no_refusal;
  store(run, row, value);
  const Effect* effect = find_effect(row);
  return effect == nullptr ? no_refusal : effect->effect(run);
}

// --- lists --------------------------------------------------------------------------------------

namespace {

struct TestCounts {
  std::string_view option;
  int Sizes::*sum;
};
constexpr auto test_counts = std::to_array<TestCounts>({
    {"ntestdata", &Sizes::ntestdatasum},
    {"ntestsample", &Sizes::ntestsamplesum},
});

// The record that a storage belongs to.
template <class T>
T& member_of(RunState& run, T Inputs::*member) {
  return run.inputs.*member;
}
template <class T>
T& member_of(RunState& run, T Outputs::*member) {
  return run.outputs.*member;
}
template <class T>
T& member_of(RunState& run, T Points::*member) {
  return run.points.*member;
}

// Calls `act` with the array that the row is stored in; false for a row without one.
template <class Act>
bool with_array(RunState& run, const OptionRow& row, Act act) {
  return std::visit(
      [&](const auto& member) {
        if constexpr (requires { member_of(run, member).request(run.memory, 0); }) {
          return act(member_of(run, member));
        }
        return false;
      },
      row.storage);
}

// How a number of the file is stored in an array of each kind.
void put(Array<double>& array, std::size_t i, double value) {
  array[i] = value;
}
void put(Array<bool>& array, std::size_t i, double value) {
  array[i] = rounds_to_one(value);
}
void put(Array<int>& array, std::size_t i, double value) {
  array[i] = to_whole(value);
}

// Bounds on outputs switch constrained regression on for all of them.
void bound_all_outputs(RunState& run, bool lower) {
  (lower ? run.outputs.haszmin : run.outputs.haszmax).fill(true);
  run.outputs.bounded = true;
}

// Points of each test set, in the file or to be sampled; fewer than none are none.
Refusal add_up(RunState& run, const OptionRow& row, const TestCounts& counts) {
  Array<int>& points = run.points.*std::get<Array<int> Points::*>(row.storage);
  long long total = 0;
  for (int& count : points.first(at(list_length(run, row)))) {
    count = std::max(count, 0);
    total += count;
  }
  if (total > most_whole) return no_memory;
  run.sizes.*(counts.sum) = static_cast<int>(total);
  return no_refusal;
}

}  // namespace

int list_length(const RunState& run, const OptionRow& row) {
  if (row.needs.option == "ninputs") return run.sizes.ninputs;
  if (row.needs.option == "noutputs") return run.sizes.noutputs;
  // Without a number of test sets there is one.
  const bool known = seen(run, "ntestsets") || run.sizes.ntestsets > 0;
  return known ? run.sizes.ntestsets : 1;
}

bool request_list(RunState& run, const OptionRow& row) {
  const int count = list_length(run, row);
  return with_array(run, row, [&](auto& array) { return array.request(run.memory, count); });
}

Refusal store_element(RunState& run, const OptionRow& row, std::size_t i, double value) {
  with_array(run, row, [&](auto& array) {
    put(array, i, value);
    return true;
  });
  const bool zero_scale = row.name == "xfactors" && value == 0.0;
  return zero_scale ? Refusal{Code::zero_scale, 98, 98} : no_refusal;
}

Refusal finish_list(RunState& run, const OptionRow& row) {
  if (row.name == "xfactors") run.options.xscaling = true;
  if (row.name == "zmin" || row.name == "zmax") bound_all_outputs(run, row.name == "zmin");
  for (const TestCounts& counts : test_counts) {
    if (counts.option == row.name) return add_up(run, row, counts);
  }
  return no_refusal;
}

// --- power lists --------------------------------------------------------------------------------

namespace {

struct PowerList {
  std::string_view name;
  int Sizes::*count;
  Code twice;
  int location;
};
constexpr auto power_lists = std::to_array<PowerList>({
    {"monomialpower", &Sizes::mono, Code::monomialpower_twice, 155},
    {"multi2power", &Sizes::multi2, Code::multi2power_twice, 156},
    {"multi3power", &Sizes::multi3, Code::multi3power_twice, 157},
    {"ratiopower", &Sizes::ratios, Code::ratiopower_twice, 158},
    {"prbfpower", &Sizes::nprbf, Code::prbfpower_twice, 159},
});

const PowerList& power_list(std::string_view name) {
  std::size_t i = 0;
  while (power_lists[i].name != name) ++i;
  return power_lists[i];
}

}  // namespace

Refusal check_powers(const RunState& run, const OptionRow& row) {
  const std::optional<OptionName> option = look_up(row.name);
  if (!run.seen[option->flag]) return no_refusal;
  const PowerList& list = power_list(row.name);
  return {list.twice, list.location, list.location};
}

void begin_powers(RunState& run, const OptionRow& row, int count) {
  run.sizes.*(power_list(row.name).count) = count;
}

void add_power(RunState& run, const OptionRow& row, double value) {
  if (const auto* reals = std::get_if<std::vector<double> Basis::*>(&row.storage)) {
    (run.basis.*(*reals)).push_back(value);
  } else {
    (run.basis.*std::get<std::vector<int> Basis::*>(row.storage)).push_back(to_whole(value));
  }
}

// --- texts --------------------------------------------------------------------------------------

void store_text(RunState& run, const OptionRow& row, std::string_view text) {
  const std::size_t width = row.name == "gams" ? command_width : text_width;
  run.options.*std::get<std::string Options::*>(row.storage) = cut(text, width);
  if (row.name == "tracefname") {
    run.options.trace = true;
    mark_seen(run, "trace");
  }
}

// --- labels -------------------------------------------------------------------------------------

namespace {

// The places of one label list.
struct LabelPlaces {
  int bad_start;
  int bad_character;
  int reserved;
  int duplicate;
};
constexpr LabelPlaces input_places{100, 101, 102, 103};
constexpr LabelPlaces output_places{105, 106, 107, 108};

std::optional<LabelFault> check_characters(std::span<const std::string> labels,
                                           const LabelPlaces& places) {
  for (std::size_t i = 0; i < labels.size(); ++i) {
    const std::string& label = labels[i];
    if (label.empty() || !is_letter(label.front())) {
      return LabelFault{Code::label_start, places.bad_start, i, i};
    }
    if (!std::ranges::all_of(label, is_label_character)) {
      return LabelFault{Code::label_character, places.bad_character, i, i};
    }
  }
  for (std::size_t i = 0; i < labels.size(); ++i) {
    if (fold_lower(labels[i]).starts_with("trv_")) {
      return LabelFault{Code::label_reserved, places.reserved, i, i};
    }
  }
  return std::nullopt;
}

// Of several pairs the one with the first label.
std::optional<LabelFault> check_differences(std::span<const std::string> labels,
                                            const LabelPlaces& places) {
  std::map<std::string, std::size_t> first;
  std::optional<LabelFault> fault;
  for (std::size_t k = 0; k < labels.size(); ++k) {
    const auto [entry, fresh] = first.emplace(fold_lower(labels[k]), k);
    if (!fresh && (!fault || entry->second < fault->i)) {
      fault = LabelFault{Code::label_twice, places.duplicate, entry->second, k};
    }
  }
  return fault;
}

}  // namespace

std::vector<std::string>& labels_of(RunState& run, const OptionRow& row) {
  return row.name == "xlabels" ? run.inputs.xlabels : run.outputs.zlabels;
}

std::optional<LabelFault> check_labels(std::span<const std::string> labels, bool inputs) {
  const LabelPlaces& places = inputs ? input_places : output_places;
  if (const auto fault = check_characters(labels, places)) return fault;
  return check_differences(labels, places);
}

}  // namespace torve
