#include <fmt/format.h>

#include "input/option_storage.h"
#include "input/problem_reader.h"
#include "text/strings.h"

namespace torve {

namespace {

// The first value of a list stands on the keyword's line, or on the next when that is blank.
bool begin_list(ProblemReader& reader) {
  return reader.lines.readline() || stop_on_fault(reader);
}

bool end_list(ProblemReader& reader) {
  return reader.lines.checkeol() || stop_on_fault(reader);
}

// The only value that a list refuses is a scale of zero.
bool refuse_value(ProblemReader& reader, const Refusal& refusal) {
  return stop(reader, refusal.code, refusal.location,
              {fmt::format("A zero XFACTOR found in line {}", reader.lines.lineno)});
}

}  // namespace

bool read_list(ProblemReader& reader) {
  RunState& run = reader.run;
  const OptionRow& row = *reader.option.row;
  if (!request_list(run, row)) return stop_without_memory(reader);
  if (!begin_list(reader)) return false;
  const int count = list_length(run, row);
  for (int i = 0; i < count; ++i) {
    const std::optional<double> value = reader.lines.number();
    if (!value) return stop_on_fault(reader);
    if (const Refusal refusal = store_element(run, row, static_cast<std::size_t>(i), *value)) {
      return refuse_value(reader, refusal);
    }
  }
  if (!end_list(reader)) return false;
  const Refusal refusal = finish_list(run, row);
  return !refusal || stop(reader, refusal.code, refusal.location);
}

// --- labels -------------------------------------------------------------------------------------

namespace {

// Both lists speak of XLABEL in the syntax line; a reserved label is told like a wrong one.
bool refuse_labels(ProblemReader& reader, const LabelFault& fault, bool inputs,
                   const std::vector<std::string>& labels) {
  const std::string_view kind = inputs ? "input" : "output";
  const int lineno = reader.lines.lineno;
  if (fault.code != Code::label_twice) {
    return stop(reader, fault.code, fault.location,
                {fmt::format("Unacceptable {} variable label in line {}", kind, lineno),
                 fmt::format("Syntax error in XLABEL for variable {}", fault.i + 1)});
  }
  return stop(reader, fault.code, fault.location,
              {fmt::format("Unacceptable {} variable labels in line {}", kind, lineno),
               fmt::format("Found duplicate label {}", labels[fault.i]),
               fmt::format("{} are identical for {} variables {} and {}",
                           inputs ? "XLABELS" : "ZLABELS", kind, fault.i + 1, fault.j + 1)});
}

}  // namespace

bool read_labels(ProblemReader& reader) {
  RunState& run = reader.run;
  const OptionRow& row = *reader.option.row;
  std::vector<std::string>& labels = labels_of(run, row);
  if (!begin_list(reader)) return false;
  labels.clear();
  for (int i = 0; i < list_length(run, row); ++i) {
    const std::optional<std::string> word = reader.lines.word();
    if (!word) return stop_on_fault(reader);
    labels.emplace_back(cut(*word, label_width));
  }
  const bool inputs = row.name == "xlabels";
  if (const auto fault = check_labels(labels, inputs)) {
    return refuse_labels(reader, *fault, inputs, labels);
  }
  return end_list(reader);
}

// --- power lists --------------------------------------------------------------------------------

bool read_powers(ProblemReader& reader) {
  RunState& run = reader.run;
  const OptionRow& row = *reader.option.row;
  if (const Refusal refusal = check_powers(run, row)) {
    return stop(reader, refusal.code, refusal.location);
  }
  if (!begin_list(reader)) return false;
  const int count = reader.lines.counttokens();
  begin_powers(run, row, count);
  for (int i = 0; i < count; ++i) {
    const std::optional<double> value = reader.lines.number();
    if (!value) return stop_on_fault(reader);
    add_power(run, row, *value);
  }
  return end_list(reader);
}

// --- texts --------------------------------------------------------------------------------------

bool read_text(ProblemReader& reader) {
  if (!begin_list(reader)) return false;
  const OptionRow& row = *reader.option.row;
  const bool one_word = row.kind == Kind::token;
  const std::optional<std::string> text = one_word ? reader.lines.word() : reader.lines.rest();
  if (!text) return stop_on_fault(reader);
  store_text(reader.run, row, *text);
  return one_word ? end_list(reader) : true;
}

}  // namespace torve
