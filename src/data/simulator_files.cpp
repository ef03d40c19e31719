#include "data/simulator_files.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <limits>

#include "text/free_format.h"
#include "text/number_edits.h"
#include "text/strings.h"

namespace torve {

namespace {

constexpr int field_width = 20;
constexpr int field_digits = 12;
constexpr int exponent_digits = 3;

constexpr std::string_view line_ends = "\n";
constexpr std::string_view blanks = " \t\r\n";
constexpr std::string_view separators = " \t\r\n,/";

// NaN, with or without a sign and a remark in brackets, as compilers write it.
bool is_nan_word(std::string_view word) {
  if (word.starts_with('+') || word.starts_with('-')) word.remove_prefix(1);
  const std::string_view remark = word.substr(std::min<std::size_t>(word.size(), 3));
  return equal_folded(word.substr(0, 3), "nan") &&
         (remark.empty() || (remark.starts_with('(') && remark.ends_with(')')));
}

bool read_value(std::string_view word, double& value) {
  if (is_nan_word(word)) {
    value = std::numeric_limits<double>::quiet_NaN();
    return true;
  }
  const std::optional<double> number = read_free_real(word);
  if (number) value = *number;
  return number.has_value();
}

}  // namespace

std::string simulator_input(MatrixView points, int process_number, std::span<const bool> ignore) {
  std::string text = fmt::format(" {} {}\n", points.rows, process_number);
  for (int i = 0; i < points.rows; ++i) {
    for (int j = 0; j < points.columns; ++j) {
      text += general_edit(points(i, j), field_width, field_digits, exponent_digits);
    }
    text += '\n';
  }
  for (const bool ignored : ignore) text += ignored ? " F" : " T";
  text += '\n';
  return text;
}

void RecordReader::skip_line() {
  const std::size_t end = rest_.find_first_of(line_ends);
  rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end + 1);
}

// Goes on to the next character that isn't blank.
bool RecordReader::find_value() {
  rest_.remove_prefix(std::min(rest_.find_first_not_of(blanks), rest_.size()));
  return !rest_.empty();
}

// One item: a value, a repeated value, or nothing before a comma. The comma that ends it goes with
// it.
RecordReader::Outcome RecordReader::read_item(std::span<double> values, std::size_t& filled) {
  const std::string_view item = rest_.substr(0, rest_.find_first_of(separators));
  std::size_t count = 1;
  std::string_view word = item;
  if (const std::size_t star = item.find('*'); star != std::string_view::npos) {
    const char* const end = item.data() + star;
    const auto repeat = std::from_chars(item.data(), end, count);
    if (repeat.ec != std::errc() || repeat.ptr != end || count == 0) return Outcome::no_number;
    word.remove_prefix(star + 1);
  }
  double value = 0.0;
  if (!word.empty() && !read_value(word, value)) return Outcome::no_number;
  count = std::min(count, values.size() - filled);
  if (!word.empty()) std::ranges::fill(values.subspan(filled, count), value);
  filled += count;
  rest_.remove_prefix(item.size());
  const std::size_t next = std::min(rest_.find_first_not_of(" \t\r"), rest_.size());
  if (rest_.substr(next).starts_with(',')) rest_.remove_prefix(next + 1);
  return Outcome::read;
}

RecordReader::Outcome RecordReader::next(std::span<double> values) {
  std::size_t filled = 0;
  while (filled < values.size()) {
    if (!find_value()) return Outcome::end_of_file;
    if (rest_.front() == '/') break;
    const Outcome outcome = read_item(values, filled);
    if (outcome != Outcome::read) return outcome;
  }
  skip_line();
  return Outcome::read;
}

}  // namespace torve
