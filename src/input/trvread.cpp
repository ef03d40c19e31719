#include <fmt/format.h>

#include <string>
#include <utility>

#include "input/problem_reader.h"
#include "report/printer.h"
#include "text/strings.h"

namespace torve {

namespace {

constexpr std::size_t longest_keyword = 16;
constexpr std::string_view line_comments = "#!*%/";

enum class Scan { keyword, end_of_file, stopped };

// Skips comments and blank lines up to the first character of a keyword.
bool find_keyword(ProblemReader& reader, char& first) {
  while (true) {
    ++reader.lines.lineno;
    while (true) {
      const LineReader::Event event = reader.lines.next(first);
      if (event == LineReader::Event::end_of_file) return false;
      if (event == LineReader::Event::end_of_line) break;
      if (first == ' ' || first == '\t') continue;
      if (line_comments.find(first) == std::string_view::npos) return true;
      reader.lines.skip_line();
      break;
    }
  }
}

bool ends_keyword(char c) {
  return c == ' ' || c == '\t' || c == ':' || c == '=';
}

std::string upper(std::string text) {
  for (char& c : text) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return text;
}

void name_keyword(ProblemReader& reader, const std::string& word) {
  reader.keyword = meaning_of(fold_lower(word));
  reader.typed = upper(reader.keyword);
}

// A byte that no line may hold isn't put on the screen as part of an unknown keyword either.
bool is_printable(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte > 32 && byte < 127;
}

// Takes the keyword and what separates it from its value.
Scan scan_keyword(ProblemReader& reader) {
  char c = ' ';
  if (!find_keyword(reader, c)) return Scan::end_of_file;
  LineReader& lines = reader.lines;
  std::string word;
  std::size_t column = lines.column();
  while (true) {
    if (!is_printable(c)) {
      stop(reader, Code::syntax_error, 198,
           {fmt::format("Disallowed character \"{}\" found in input file (line {} column {})", c,
                        lines.lineno, column)});
      return Scan::stopped;
    }
    if (word.size() == longest_keyword) {
      stop(reader, Code::keyword_too_long, 94,
           {fmt::format("Keyword too long at line {}", lines.lineno)});
      return Scan::stopped;
    }
    word += c;
    if (lines.at_end_of_file()) {
      stop(reader, Code::premature_end, 192,
           {fmt::format("Premature end of input file at line {}", lines.lineno)});
      return Scan::stopped;
    }
    if (lines.at_end_of_line()) break;
    lines.next(c);
    column = lines.column();
    if (ends_keyword(c)) break;
  }
  name_keyword(reader, word);
  return Scan::keyword;
}

bool refuse_duplicate(ProblemReader& reader) {
  const std::string first = fmt::format("Keyword {} has already been defined.", reader.keyword);
  const std::string second = fmt::format("Second definition found in line {}", reader.lines.lineno);
  return stop(reader, Code::keyword_twice, 95, {first, second});
}

// Words that belong to a keyword's flag without being a keyword.
bool is_flag_word(const ProblemReader& reader) {
  if (reader.keyword == "xdata") return seen(reader.run, "begin_xdata");
  return reader.keyword == "zdata" && seen(reader.run, "begin_zdata");
}

bool is_duplicate(const ProblemReader& reader) {
  const OptionName& option = reader.option;
  return option.shares_flag && option.row->occurs == Occurs::once && reader.run.seen[option.flag];
}

// The order rule of the option: what must have been given before.
bool check_needs(ProblemReader& reader) {
  const Needs& needs = reader.option.row->needs;
  if (needs.option.empty()) return true;
  const bool met =
      needs.option == "ninputs" ? seen(reader.run, "ninputs") : seen(reader.run, "noutputs");
  if (met) return true;
  return stop(reader, needs.code, needs.location,
              {fmt::format("{} found in line {}", reader.typed, reader.lines.lineno)});
}

bool is_section(const ProblemReader& reader) {
  return reader.option.row->kind == Kind::section || reader.keyword.starts_with("begin_");
}

bool read_item(ProblemReader& reader) {
  if (is_section(reader)) return read_section(reader);
  if (!check_needs(reader)) return false;
  reader.lines.skip_separator();
  switch (reader.option.row->kind) {
    case Kind::whole:
    case Kind::logical:
    case Kind::real:
    case Kind::ignored:
      return read_scalar(reader);
    case Kind::reals:
    case Kind::wholes:
    case Kind::logicals:
      return read_list(reader);
    case Kind::labels:
      return read_labels(reader);
    case Kind::powers:
      return read_powers(reader);
    case Kind::text:
    case Kind::token:
      return read_text(reader);
    case Kind::section:
    case Kind::unreachable:
      break;
  }
  return false;
}

// A value is looked at before its keyword is known to be one, so that a line of an unknown keyword
// without a value is told as such.
bool refuse_unknown(ProblemReader& reader) {
  reader.lines.skip_separator();
  if (!read_value(reader)) return false;
  return stop(reader, Code::unknown_keyword, 174,
              {fmt::format(">>> TORVE option {} not recognized at line {}", reader.keyword,
                           reader.lines.lineno)});
}

bool dispatch(ProblemReader& reader) {
  if (is_flag_word(reader)) return refuse_duplicate(reader);
  const std::optional<OptionName> option = look_up(reader.keyword);
  if (!option || option->row->kind == Kind::unreachable) return refuse_unknown(reader);
  reader.option = *option;
  if (is_duplicate(reader)) return refuse_duplicate(reader);
  if (!read_item(reader)) return false;
  if (reader.option.shares_flag) reader.run.seen.set(reader.option.flag);
  reader.lines.forget_continuation();
  return true;
}

}  // namespace

bool stop(ProblemReader& reader, Code code, int location,
          std::initializer_list<std::string> details) {
  for (const std::string& line : details) print_to_console(reader.run, line);
  return fail(reader.run, code, location);
}

bool stop_on_fault(ProblemReader& reader) {
  const Fault& fault = reader.lines.fault();
  return stop(reader, fault.code, fault.location, {fault.text});
}

bool stop_without_memory(ProblemReader& reader) {
  return stop(reader, Code::out_of_memory, 195);
}

void trvread(RunState& run) {
  LineReader lines(source_of_file(run.files.fname));
  if (lines.cannot_be_read()) {
    fail(run, Code::problem_file_cannot_be_opened, 93);
    return;
  }
  if (run.status.cmdcount >= 0) trvprint(run, "Reading input data");
  read_problem_lines(run, std::move(lines));
}

void read_problem_text(RunState& run, const std::string& text) {
  read_problem_lines(run, LineReader(text));
}

void read_problem_lines(RunState& run, LineReader lines) {
  ProblemReader reader{run, std::move(lines), "", "", {}};
  while (true) {
    const Scan scan = scan_keyword(reader);
    if (scan == Scan::stopped) return;
    if (scan == Scan::end_of_file) break;
    if (!dispatch(reader)) return;
  }
  // A file that broke off isn't whole, even where the rest can be done without.
  if (reader.lines.cannot_be_read()) {
    fail(run, Code::problem_file_cannot_be_opened, 93);
    return;
  }
  finish_reading(reader);
}

}  // namespace torve
