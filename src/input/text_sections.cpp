#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "input/problem_reader.h"
#include "text/strings.h"

namespace torve {

namespace {

constexpr std::size_t formula_width = 8192;
constexpr std::string_view end_of_comment = "end_comment";

// A formula, on as many lines as continuation marks ask for.
bool read_formula(ProblemReader& reader, std::string& formula) {
  LineReader& lines = reader.lines;
  std::optional<std::string> text = lines.rest();
  if (!text) return stop_on_fault(reader);
  while (text->ends_with('&')) {
    text->pop_back();
    ++lines.lineno;
    if (!lines.readline()) return stop_on_fault(reader);
    const std::optional<std::string> more = lines.rest();
    if (!more) return stop_on_fault(reader);
    *text += *more;
  }
  formula = cut(*text, formula_width);
  return true;
}

bool read_formulas(ProblemReader& reader, std::vector<std::string>& formulas, int count) {
  for (int i = 0; i < count; ++i) {
    if (!next_section_line(reader)) return false;
    formulas.emplace_back();
    if (!read_formula(reader, formulas.back())) return false;
  }
  return true;
}

// One side of the output bounds: an output's number and its bound a row.
struct BoundSection {
  std::string_view name;
  Array<double> Outputs::*bound;
  Array<bool> Outputs::*in_force;
  Code missing_noutputs;
  int needs_location;
  int index_location;
  std::string_view end;
  Code end_missing;
  int end_location;
};
constexpr BoundSection lower_bounds{"ZMIN",
                                    &Outputs::zmin,
                                    &Outputs::haszmin,
                                    Code::zmin_before_noutputs,
                                    141,
                                    139,
                                    "end_zmin",
                                    Code::end_zmin_missing,
                                    140};
constexpr BoundSection upper_bounds{"ZMAX",
                                    &Outputs::zmax,
                                    &Outputs::haszmax,
                                    Code::zmax_before_noutputs,
                                    144,
                                    142,
                                    "end_zmax",
                                    Code::end_zmax_missing,
                                    143};

bool read_bounds(ProblemReader& reader, const BoundSection& section) {
  RunState& run = reader.run;
  const bool known = seen(run, "noutputs");
  if (!check_preconditions(reader, section.name,
                           {{known, section.missing_noutputs, section.needs_location}})) {
    return false;
  }
  Array<double>& bounds = run.outputs.*(section.bound);
  bounds.fill(run.options.preset);
  for (int i = 0; i < run.sizes.noutputs; ++i) {
    if (!next_section_line(reader)) return false;
    const std::optional<double> number = reader.lines.number();
    if (!number) return stop_on_fault(reader);
    const int index = to_whole(*number);
    if (index < 1 || index > run.sizes.noutputs) {
      return stop(reader, Code::index_out_of_range, section.index_location,
                  {fmt::format("Variable index with value {} found in line {}", index,
                               reader.lines.lineno)});
    }
    const std::optional<double> bound = reader.lines.number();
    if (!bound) return stop_on_fault(reader);
    const auto k = static_cast<std::size_t>(index - 1);
    bounds[k] = *bound;
    (run.outputs.*(section.in_force))[k] = true;
    run.outputs.bounded = true;
    if (!reader.lines.checkeol()) return stop_on_fault(reader);
  }
  return close_section(reader, {section.end}, section.end_missing, section.end_location);
}

}  // namespace

bool next_section_line(ProblemReader& reader) {
  LineReader& lines = reader.lines;
  do {
    ++lines.lineno;
    if (!lines.readline()) return stop_on_fault(reader);
  } while (lines.blank() && !lines.continues());
  return true;
}

bool close_section(ProblemReader& reader, std::initializer_list<std::string_view> words, Code code,
                   int location) {
  LineReader& lines = reader.lines;
  do {
    ++lines.lineno;
    if (!lines.readline()) break;
    const std::string word = lines.first_word_folded();
    if (std::find(words.begin(), words.end(), word) != words.end()) return true;
  } while (lines.blank());
  return stop(reader, code, location, {fmt::format("Error while reading line {}", lines.lineno)});
}

bool read_zmin(ProblemReader& reader) {
  return read_bounds(reader, lower_bounds);
}
bool read_zmax(ProblemReader& reader) {
  return read_bounds(reader, upper_bounds);
}

bool read_customcon(ProblemReader& reader) {
  RunState& run = reader.run;
  if (!check_preconditions(reader, "CUSTOMCON",
                           {{seen(run, "crncustom"), Code::customcon_before_crncustom, 147}})) {
    return false;
  }
  const int count = run.sizes.crncustom;
  for (int i = 0; i < count; ++i) {
    if (!next_section_line(reader)) return false;
    const std::optional<double> number = reader.lines.number();
    if (!number) return stop_on_fault(reader);
    const int output = to_whole(*number);
    if (output < 1 || output > run.sizes.noutputs) {
      return stop(reader, Code::customcon_output, 145,
                  {fmt::format("Unacceptable CRCUSTOMIND found in line {}", reader.lines.lineno)});
    }
    if (!run.outputs.crcustomind.grow(run.memory, i + 1)) return stop_without_memory(reader);
    run.outputs.crcustomind[static_cast<std::size_t>(i)] = output - 1;
    run.outputs.customcon.emplace_back();
    if (!read_formula(reader, run.outputs.customcon.back())) return false;
  }
  return close_section(reader, {"end_customcon"}, Code::end_customcon_missing, 146);
}

bool read_custombas(ProblemReader& reader) {
  RunState& run = reader.run;
  if (!check_preconditions(reader, "CUSTOMBAS",
                           {{seen(run, "ncustombas"), Code::custombas_before_ncustombas, 149}})) {
    return false;
  }
  if (!read_formulas(reader, run.basis.custombas, run.sizes.ncustombas)) return false;
  return close_section(reader, {"end_custombas"}, Code::end_custombas_missing, 148);
}

bool read_transforms(ProblemReader& reader) {
  RunState& run = reader.run;
  if (!check_preconditions(reader, "TRANSFORMS",
                           {{seen(run, "ntrans"), Code::transforms_before_ntrans, 151}})) {
    return false;
  }
  run.outputs.transforms.clear();
  if (!read_formulas(reader, run.outputs.transforms, run.sizes.ntrans)) return false;
  return close_section(reader, {"end_transforms"}, Code::end_transforms_missing, 150);
}

bool read_comment(ProblemReader& reader) {
  LineReader& lines = reader.lines;
  lines.incomment = true;
  bool open = true;
  while (open) {
    ++lines.lineno;
    lines.forget_continuation();
    if (!lines.readline()) return stop_on_fault(reader);
    const std::string_view text = trim(lines.line());
    open = fold_lower(text.substr(0, end_of_comment.size())) != end_of_comment;
  }
  lines.incomment = false;
  return true;
}

// --- which section ------------------------------------------------------------------------------

namespace {

struct SectionRow {
  std::string_view keyword;
  bool (*read)(ProblemReader&);
};
constexpr auto sections = std::to_array<SectionRow>({
    {"begin_data", read_data},
    {"begin_xdata", read_xdata},
    {"begin_zdata", read_zdata},
    {"begin_testdata", read_testdata},
    {"begin_xpredata", read_xpredata},
    {"begin_zmin", read_zmin},
    {"begin_zmax", read_zmax},
    {"begin_customcon", read_customcon},
    {"begin_custombas", read_custombas},
    {"begin_transforms", read_transforms},
    {"begin_groups", read_groups},
    {"begin_groupcon", read_groupcon},
    {"begin_comment", read_comment},
});

}  // namespace

bool read_section(ProblemReader& reader) {
  // A section's keyword has its line for itself.
  if (reader.keyword == "begin_comment") {
    reader.lines.skip_line();
  } else if (!reader.lines.skip_to_rows()) {
    return stop_on_fault(reader);
  }
  const auto* row = std::find_if(sections.begin(), sections.end(), [&](const SectionRow& section) {
    return section.keyword == reader.keyword;
  });
  return row->read(reader);
}

}  // namespace torve
