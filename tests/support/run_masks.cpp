#include "run_masks.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

namespace torve::test {

namespace {

// What differs between two runs of the same problem on the screen, on the listing and in what is
// written for a solver: times, and the release and system of the build.
constexpr std::array masks = {
    Mask{"Version ", Masked::rest_of_line, "", "<version>"},
    Mask{"(Approx. elapsed time ", Masked::number, " s)", "<t>"},
    Mask{"Total execution time ", Masked::number, " s", "<t>"},
    Mask{"    OLR time:        ", Masked::number, " s in ", "<t>"},
    Mask{"    CLR time:        ", Masked::number, " s in ", "<t>"},
    Mask{"    MINLP time:      ", Masked::number, " s in ", "<t>"},
    Mask{"    Lasso time:      ", Masked::number, " s in ", "<t>"},
    Mask{"    Sampling time:   ", Masked::number, " s to ", "<t>"},
    Mask{"    Simulation time: ", Masked::number, " s to ", "<t>"},
    Mask{"    All other time:  ", Masked::number, " s in ", "<t>"},
    Mask{"maxtime: ", Masked::number, " ;", "<t>"},
    Mask{"option reslim =", Masked::number, " ;", "<t>"},
};

constexpr std::string_view trace_separator = ", ";
constexpr std::string_view first_trace_column = "#filename";
constexpr std::array<std::string_view, 12> masked_trace_columns = {
    "OLRTime",  "CLRTime",   "MIPTime",   "LassoTime", "SimTime",   "OtherTime",
    "TimeConv", "Step0Time", "Step1Time", "Step2Time", "TotalTime", "TorveVersion"};

// 0 when the text does not begin with a number.
std::size_t length_of_number(std::string_view text) {
  const std::size_t length = std::min(text.find_first_not_of("0123456789.eE+-"), text.size());
  return text.substr(0, length).find_first_of("0123456789") < length ? length : 0;
}

std::string masked_line(std::string_view line, const Mask& mask) {
  std::string text(line);
  const std::size_t before = text.find(mask.before);
  if (before == std::string::npos) return text;
  const std::size_t from = before + mask.before.size();
  std::size_t length = 0;
  switch (mask.masked) {
    case Masked::number:
      length = length_of_number(line.substr(from));
      break;
    case Masked::rest_of_line:
      length = std::min(line.find('\n', from), line.size()) - from;
      break;
  }
  if (length > 0 && line.substr(from + length).starts_with(mask.after)) {
    text.replace(from, length, mask.shown);
  }
  return text;
}

std::vector<std::string_view> trace_fields(std::string_view line) {
  std::vector<std::string_view> fields;
  for (std::size_t at = line.find(trace_separator); at != std::string_view::npos;
       at = line.find(trace_separator)) {
    fields.push_back(line.substr(0, at));
    line.remove_prefix(at + trace_separator.size());
  }
  fields.push_back(line);
  return fields;
}

bool is_masked_in_trace(std::string_view column) {
  return std::ranges::find(masked_trace_columns, column) != masked_trace_columns.end();
}

// Control characters and trailing blanks as something that can be seen.
std::string visible(std::string_view line) {
  const bool ended = line.ends_with('\n');
  if (ended) line.remove_suffix(1);
  std::string text;
  for (const char c : line) {
    const auto code = static_cast<unsigned char>(c);
    if (code < 0x20 || code == 0x7f) {
      text += fmt::format("\\x{:02x}", code);
    } else {
      text += c;
    }
  }
  if (line.ends_with(' ')) text += "<end of line>";
  if (!ended) text += "<end of file without end of line>";
  return text;
}

}  // namespace

std::vector<std::string_view> lines_of(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const std::size_t length = std::min(text.find('\n'), text.size() - 1) + 1;
    lines.push_back(text.substr(0, length));
    text.remove_prefix(length);
  }
  return lines;
}

std::string replace_all(std::string text, std::string_view from, std::string_view to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at)) {
    text.replace(at, from.size(), to);
    at += to.size();
  }
  return text;
}

std::span<const Mask> line_masks() {
  return masks;
}

std::string mask_lines(std::string_view text, std::span<const Mask> rows) {
  std::string masked;
  for (const std::string_view line : lines_of(text)) {
    std::string shown(line);
    for (const Mask& mask : rows) shown = masked_line(shown, mask);
    masked += shown;
  }
  return masked;
}

std::string mask_trace(std::string_view text) {
  std::vector<std::string_view> header;
  std::string masked;
  for (const std::string_view line : lines_of(text)) {
    const std::vector<std::string_view> fields = trace_fields(line);
    if (fields[0] == first_trace_column) header = fields;
    const bool is_row = !line.starts_with('#') && fields.size() >= header.size();
    for (std::size_t i = 0; i < fields.size(); ++i) {
      const bool is_masked = is_row && i + 1 < header.size() && is_masked_in_trace(header[i]) &&
                             !fields[i].empty() && length_of_number(fields[i]) == fields[i].size();
      if (i > 0) masked += trace_separator;
      masked += is_masked ? "<t>" : fields[i];
    }
  }
  return masked;
}

std::string mask_output(std::string text, const fs::path& folder) {
  text = replace_all(std::move(text), folder.string(), folder_mark);
  const std::string header = std::string(first_trace_column) + std::string(trace_separator);
  const bool is_trace = text.starts_with(header) || text.find("\n" + header) != std::string::npos;
  return is_trace ? mask_trace(text) : mask_lines(text);
}

std::string first_difference(std::string_view expected, std::string_view actual) {
  if (expected == actual) return {};
  constexpr std::size_t lines_around = 3;
  constexpr std::size_t most_lines = 12;
  const auto old_lines = lines_of(expected);
  const auto new_lines = lines_of(actual);
  const std::size_t shorter = std::min(old_lines.size(), new_lines.size());
  std::size_t first = 0;
  while (first < shorter && old_lines[first] == new_lines[first]) ++first;
  std::size_t equal_at_end = 0;
  while (equal_at_end < shorter - first && old_lines[old_lines.size() - 1 - equal_at_end] ==
                                               new_lines[new_lines.size() - 1 - equal_at_end]) {
    ++equal_at_end;
  }

  std::string text = fmt::format("@@ line {} @@\n", first + 1);
  const auto show = [&text](char mark, const std::vector<std::string_view>& lines, std::size_t from,
                            std::size_t to) {
    const std::size_t stop = std::min(to, from + most_lines);
    for (std::size_t i = from; i < stop; ++i)
      text += fmt::format("{}{}\n", mark, visible(lines[i]));
    if (stop < to) text += fmt::format("{}... and {} more lines\n", mark, to - stop);
  };
  const std::size_t end_of_old = old_lines.size() - equal_at_end;
  show(' ', old_lines, first - std::min(first, lines_around), first);
  show('-', old_lines, first, end_of_old);
  show('+', new_lines, first, new_lines.size() - equal_at_end);
  show(' ', old_lines, end_of_old, std::min(old_lines.size(), end_of_old + lines_around));
  return text;
}

}  // namespace torve::test
