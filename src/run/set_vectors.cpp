#include <algorithm>
#include <array>
#include <cmath>

#include "input/option_storage.h"
#include "input/point_storage.h"
#include "report/printer.h"
#include "run/call_names.h"
#include "run/set_calls.h"
#include "text/strings.h"

namespace torve {

namespace {

constexpr int integers_after_run = 475;
constexpr int reals_after_run = 476;

int refuse(RunState& run, const Refusal& refusal) {
  return refuse(run, refusal.code, refusal.call_location);
}

// Where a wrong length is found, by list.
struct LengthRow {
  std::string_view name;
  int location;
};
constexpr auto lengths = std::to_array<LengthRow>({
    {"ignore", 447},
    {"zisint", 448},
    {"exclude", 449},
    {"xisint", 450},
    {"maxterms", 451},
    {"ntestdata", 452},
    {"ntestsample", 452},
});
constexpr int wrong_input_list = 453;
constexpr int wrong_output_list = 454;
constexpr int wrong_points = 455;
constexpr int wrong_labels = 456;

int place_of_length(const OptionRow& row) {
  for (const LengthRow& length : lengths) {
    if (length.name == row.name) return length.location;
  }
  return row.needs.option == "ninputs" ? wrong_input_list : wrong_output_list;
}

// Whether the sizes are known that the option needs.
int check_needs(RunState& run, const OptionRow& row) {
  const Needs& needs = row.needs;
  if (needs.option.empty()) return 0;
  const bool known = needs.option == "ninputs" ? seen(run, "ninputs") : seen(run, "noutputs");
  return known ? 0 : refuse(run, needs.code, needs.location);
}

bool all_finite(std::span<const double> values) {
  return std::ranges::all_of(values, [](double value) { return std::isfinite(value); });
}

// How many values are stored. Callers of xisint have always given as many values as there are
// inputs and seen as many arrive as there are outputs; values beyond the list aren't touched.
std::size_t stored_length(const RunState& run, const OptionRow& row, std::size_t length) {
  if (row.name != "xisint") return length;
  return std::min(length, at(std::max(run.sizes.noutputs, 0)));
}

// Points of all test sets together, as many as no run can have: told before a count is stored,
// since the tables stand on what the counts add up to.
template <class T>
bool is_beyond_memory(const OptionRow& row, std::span<const T> values) {
  if (!std::holds_alternative<Array<int> Points::*>(row.storage)) return false;
  double total = 0.0;
  for (const T value : values) total += std::max(static_cast<double>(value), 0.0);
  return total > most_whole;
}

template <class T>
int set_list(RunState& run, const OptionName& option, std::span<const T> values) {
  const OptionRow& row = *option.row;
  if (const int result = check_needs(run, row); result != 0) return result;
  if (static_cast<long long>(values.size()) != list_length(run, row)) {
    return refuse(run, Code::vector_length, place_of_length(row));
  }
  if (row.name == "xfactors" && std::ranges::find(values, T{}) != values.end()) {
    return refuse(run, Code::zero_scale, 98);
  }
  if (is_beyond_memory(row, values)) return refuse(run, no_memory);
  if (!request_list(run, row)) return refuse(run, no_memory);
  for (std::size_t i = 0; i < stored_length(run, row, values.size()); ++i) {
    store_element(run, row, i, static_cast<double>(values[i]));
  }
  if (const Refusal refusal = finish_list(run, row)) return refuse(run, refusal);
  mark_given(run, option);
  return 0;
}

int set_powers(RunState& run, const OptionName& option, std::span<const double> values) {
  if (const Refusal refusal = check_powers(run, *option.row)) return refuse(run, refusal);
  begin_powers(run, *option.row, static_cast<int>(values.size()));
  for (const double value : values) add_power(run, *option.row, value);
  mark_given(run, option);
  return 0;
}

// --- points -------------------------------------------------------------------------------------

// The names of points in the calls. `occurs`: a second set of them isn't told by the section's own
// order codes.
struct PointsRow {
  std::string_view name;
  PointSection section;
  OptionFlag flag;
  Occurs occurs;
};
constexpr auto point_names = std::to_array<PointsRow>({
    {"data", PointSection::data, "begin_data", repeat},
    {"xdata", PointSection::xdata, "begin_xdata", repeat},
    {"zdata", PointSection::zdata, "begin_zdata", repeat},
    {"testdata", PointSection::testdata, "begin_testdata", once},
    {"xpredata", PointSection::xpredata, "begin_xpredata", repeat},
});

int set_points(RunState& run, const PointsRow& row, std::span<const double> values) {
  if (row.occurs == once && run.seen[row.flag.row]) return refuse(run, Code::keyword_twice, 388);
  if (const Refusal refusal = check_section(run, row.section)) return refuse(run, refusal);
  const PointRows rows = rows_of(run, row.section);
  const long long wanted = static_cast<long long>(std::max(rows.rows, 0)) * rows.width;
  if (static_cast<long long>(values.size()) != wanted) {
    return refuse(run, Code::vector_length, wrong_points);
  }
  if (!allocate_section(run, row.section)) return refuse(run, no_memory);
  std::size_t next = 0;
  for (int i = 0; i < rows.rows; ++i) {
    for (int j = 0; j < rows.width; ++j) rows.put(i, j, values[next++]);
  }
  run.seen.set(row.flag.row);
  return 0;
}

// Sections of text that only a problem file gives so far.
bool print_tbd(RunState& run, std::string_view name) {
  struct Line {
    std::string_view name;
    std::string_view text;
  };
  constexpr auto lines = std::to_array<Line>({
      {"custombas", "custombas API is still tbd ..."},
      {"customcon", "customcon API is still tbd ..."},
      {"transforms", "transforms API is still tbd ..."},
  });
  for (const Line& line : lines) {
    if (line.name != name) continue;
    print_to_console(run, line.text);
    return true;
  }
  return false;
}

}  // namespace

int trvsetintvector(RunState& run, std::string_view name, std::span<const int> values) {
  const CallName call = call_name(run, name, integers_after_run);
  if (call.result != 0) return call.result;
  if (print_tbd(run, call.name)) return 0;
  const std::optional<OptionName> option = call_option(call.name);
  const bool known =
      option && (option->row->kind == Kind::wholes || option->row->kind == Kind::logicals);
  if (!known) return refuse(run, Code::unknown_option_name, 395);
  if (option->row->name == "ntestdata" && seen(run, "begin_testdata")) {
    return refuse(run, Code::keyword_twice, 388);
  }
  return set_list(run, *option, values);
}

int trvsetrealvector(RunState& run, std::string_view name, std::span<const double> values) {
  const CallName call = call_name(run, name, reals_after_run);
  if (call.result != 0) return call.result;
  if (print_tbd(run, call.name)) return 0;
  if (!all_finite(values)) return refuse(run, Code::bad_value, 193);
  for (const PointsRow& row : point_names) {
    if (row.name == call.name) return set_points(run, row, values);
  }
  const std::optional<OptionName> option = call_option(call.name);
  if (option && option->row->kind == Kind::reals) return set_list(run, *option, values);
  if (option && option->row->kind == Kind::powers) return set_powers(run, *option, values);
  return refuse(run, Code::unknown_option_name, 396);
}

// --- labels -------------------------------------------------------------------------------------

namespace {

std::vector<std::string> split_labels(std::string_view text) {
  constexpr std::string_view dividers = " \t\r\n";
  std::vector<std::string> labels;
  std::size_t from = text.find_first_not_of(dividers);
  while (from != std::string_view::npos) {
    const std::size_t to = std::min(text.find_first_of(dividers, from), text.size());
    labels.emplace_back(cut(text.substr(from, to - from), label_width));
    from = text.find_first_not_of(dividers, to);
  }
  return labels;
}

}  // namespace

int trvsetlabels(RunState& run, std::string_view name, int count, std::string_view labels) {
  const CallName call = call_name(run, name, reals_after_run);
  if (call.result != 0) return call.result;
  const std::optional<OptionName> option = call_option(call.name);
  if (!option || option->row->kind != Kind::labels) {
    return refuse(run, Code::unknown_option_name, 397);
  }
  const OptionRow& row = *option->row;
  if (const int result = check_needs(run, row); result != 0) return result;
  std::vector<std::string> split = split_labels(labels);
  if (count != list_length(run, row) || static_cast<long long>(split.size()) != count) {
    return refuse(run, Code::vector_length, wrong_labels);
  }
  if (const auto fault = check_labels(split, row.name == "xlabels")) {
    return refuse(run, fault->code, fault->location);
  }
  labels_of(run, row) = std::move(split);
  mark_given(run, *option);
  return 0;
}

}  // namespace torve
