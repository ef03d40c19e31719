#include <fmt/format.h>

#include <cmath>
#include <map>

#include "input/problem_reader.h"
#include "text/strings.h"

namespace torve {

namespace {

constexpr std::size_t label_width = 128;
constexpr std::size_t text_width = 1024;
constexpr std::size_t command_width = 2047;

// The first value of a list stands on the keyword's line, or on the next when that is blank.
bool begin_list(ProblemReader& reader) {
  return reader.lines.readline() || stop_on_fault(reader);
}

bool end_list(ProblemReader& reader) {
  return reader.lines.checkeol() || stop_on_fault(reader);
}

// count values into what `put` stores them in.
template <class Put>
bool read_values(ProblemReader& reader, int count, Put put) {
  if (!begin_list(reader)) return false;
  for (int i = 0; i < count; ++i) {
    const std::optional<double> value = reader.lines.number();
    if (!value) return stop_on_fault(reader);
    if (!put(static_cast<std::size_t>(i), *value)) return false;
  }
  return end_list(reader);
}

bool rounds_to_one(double value) {
  return value >= 0.5 && value < 1.5;
}

// A list of the run's record, allocated at its length.
template <class T, class Convert>
bool read_array(ProblemReader& reader, Array<T>& array, int count, Convert convert) {
  if (!array.request(reader.run.memory, count)) return stop_without_memory(reader);
  return read_values(reader, count, [&](std::size_t i, double value) {
    array[i] = convert(value);
    return true;
  });
}

bool read_xfactors(ProblemReader& reader) {
  Array<double>& xfactors = reader.run.inputs.xfactors;
  const int count = reader.run.sizes.ninputs;
  if (!xfactors.request(reader.run.memory, count)) return stop_without_memory(reader);
  const bool whole = read_values(reader, count, [&](std::size_t i, double value) {
    xfactors[i] = value;
    if (value != 0.0) return true;
    return stop(reader, Code::zero_scale, 98,
                {fmt::format("A zero XFACTOR found in line {}", reader.lines.lineno)});
  });
  if (whole) reader.run.options.xscaling = true;
  return whole;
}

// Bounds on outputs switch constrained regression on for all of them.
void bound_all_outputs(RunState& run, bool lower) {
  (lower ? run.outputs.haszmin : run.outputs.haszmax).fill(true);
  run.outputs.bounded = true;
}

// Points of each test set, in the file or to be sampled; fewer than none are none.
bool read_test_counts(ProblemReader& reader, Array<int>& counts, int& sum) {
  RunState& run = reader.run;
  const int count = seen(run, "ntestsets") || run.sizes.ntestsets > 0 ? run.sizes.ntestsets : 1;
  long long total = 0;
  if (!read_array(reader, counts, count, [&](double value) {
        const int points = std::max(to_whole(value), 0);
        total += points;
        return points;
      })) {
    return false;
  }
  if (total > most_whole) return stop_without_memory(reader);
  sum = static_cast<int>(total);
  return true;
}

}  // namespace

int list_length(const RunState& run, const OptionRow& row) {
  return row.needs.option == "ninputs" ? run.sizes.ninputs : run.sizes.noutputs;
}

bool read_list(ProblemReader& reader) {
  RunState& run = reader.run;
  const OptionRow& row = *reader.option.row;
  const int count = list_length(run, row);
  const auto as_real = [](double value) { return value; };
  if (row.name == "xfactors") return read_xfactors(reader);
  if (row.name == "ntestdata") {
    return read_test_counts(reader, run.points.ntestdata, run.sizes.ntestdatasum);
  }
  if (row.name == "ntestsample") {
    return read_test_counts(reader, run.points.ntestsample, run.sizes.ntestsamplesum);
  }
  if (const auto* inputs = std::get_if<Array<double> Inputs::*>(&row.storage)) {
    return read_array(reader, run.inputs.*(*inputs), count, as_real);
  }
  if (const auto* flags = std::get_if<Array<bool> Inputs::*>(&row.storage)) {
    return read_array(reader, run.inputs.*(*flags), count, rounds_to_one);
  }
  if (const auto* flags = std::get_if<Array<bool> Outputs::*>(&row.storage)) {
    return read_array(reader, run.outputs.*(*flags), count, rounds_to_one);
  }
  if (const auto* wholes = std::get_if<Array<int> Outputs::*>(&row.storage)) {
    return read_array(reader, run.outputs.*(*wholes), count, to_whole);
  }
  const auto& outputs = std::get<Array<double> Outputs::*>(row.storage);
  if (!read_array(reader, run.outputs.*outputs, count, as_real)) return false;
  if (row.name == "zmin" || row.name == "zmax") bound_all_outputs(run, row.name == "zmin");
  return true;
}

// --- labels -------------------------------------------------------------------------------------

namespace {

// The words and places of one label list; both lists speak of XLABEL in the syntax line.
struct LabelList {
  std::string_view kind;
  std::string_view keyword;
  int bad_start;
  int bad_character;
  int reserved;
  int duplicate;
};
constexpr LabelList input_labels{"input", "XLABELS", 100, 101, 102, 103};
constexpr LabelList output_labels{"output", "ZLABELS", 105, 106, 107, 108};

bool refuse_label(ProblemReader& reader, const LabelList& list, std::size_t i, Code code,
                  int location) {
  return stop(
      reader, code, location,
      {fmt::format("Unacceptable {} variable label in line {}", list.kind, reader.lines.lineno),
       fmt::format("Syntax error in XLABEL for variable {}", i + 1)});
}

bool check_label_characters(ProblemReader& reader, const LabelList& list,
                            const std::vector<std::string>& labels, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const std::string& label = labels[i];
    if (!is_letter(label.front())) {
      return refuse_label(reader, list, i, Code::label_start, list.bad_start);
    }
    for (const char c : label) {
      if (!is_label_character(c)) {
        return refuse_label(reader, list, i, Code::label_character, list.bad_character);
      }
    }
  }
  for (std::size_t i = 0; i < count; ++i) {
    if (fold_lower(labels[i]).starts_with("trv_")) {
      return refuse_label(reader, list, i, Code::label_reserved, list.reserved);
    }
  }
  return true;
}

bool check_labels_differ(ProblemReader& reader, const LabelList& list,
                         const std::vector<std::string>& labels, std::size_t count) {
  std::map<std::string, std::size_t> first;
  std::size_t i = count;
  std::size_t j = count;
  for (std::size_t k = 0; k < count; ++k) {
    const auto [entry, fresh] = first.emplace(fold_lower(labels[k]), k);
    if (!fresh && entry->second < i) {
      i = entry->second;
      j = k;
    }
  }
  if (i == count) return true;
  return stop(
      reader, Code::label_twice, list.duplicate,
      {fmt::format("Unacceptable {} variable labels in line {}", list.kind, reader.lines.lineno),
       fmt::format("Found duplicate label {}", labels[i]),
       fmt::format("{} are identical for {} variables {} and {}", list.keyword, list.kind, i + 1,
                   j + 1)});
}

}  // namespace

bool read_labels(ProblemReader& reader) {
  RunState& run = reader.run;
  const bool inputs = reader.option.row->name == "xlabels";
  std::vector<std::string>& labels = inputs ? run.inputs.xlabels : run.outputs.zlabels;
  const auto count = static_cast<std::size_t>(list_length(run, *reader.option.row));
  if (!begin_list(reader)) return false;
  labels.clear();
  for (std::size_t i = 0; i < count; ++i) {
    const std::optional<std::string> word = reader.lines.word();
    if (!word) return stop_on_fault(reader);
    labels.emplace_back(cut(*word, label_width));
  }
  const LabelList& list = inputs ? input_labels : output_labels;
  if (!check_label_characters(reader, list, labels, count)) return false;
  if (!check_labels_differ(reader, list, labels, count)) return false;
  return end_list(reader);
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

bool read_powers(ProblemReader& reader) {
  RunState& run = reader.run;
  const OptionRow& row = *reader.option.row;
  const PowerList& list = power_list(row.name);
  if (run.seen[reader.option.flag]) return stop(reader, list.twice, list.location);
  if (!begin_list(reader)) return false;
  const int count = reader.lines.counttokens();
  run.sizes.*(list.count) = count;
  for (int i = 0; i < count; ++i) {
    const std::optional<double> value = reader.lines.number();
    if (!value) return stop_on_fault(reader);
    if (const auto* reals = std::get_if<std::vector<double> Basis::*>(&row.storage)) {
      (run.basis.*(*reals)).push_back(*value);
    } else {
      (run.basis.*std::get<std::vector<int> Basis::*>(row.storage)).push_back(to_whole(*value));
    }
  }
  return end_list(reader);
}

// --- texts --------------------------------------------------------------------------------------

bool read_text(ProblemReader& reader) {
  RunState& run = reader.run;
  const OptionRow& row = *reader.option.row;
  if (!begin_list(reader)) return false;
  const bool one_word = row.kind == Kind::token;
  const std::optional<std::string> text = one_word ? reader.lines.word() : reader.lines.rest();
  if (!text) return stop_on_fault(reader);
  const std::size_t width = row.name == "gams" ? command_width : text_width;
  run.options.*std::get<std::string Options::*>(row.storage) = cut(*text, width);
  if (row.name == "tracefname") {
    run.options.trace = true;
    mark_seen(run, "trace");
  }
  return one_word ? end_list(reader) : true;
}

}  // namespace torve
