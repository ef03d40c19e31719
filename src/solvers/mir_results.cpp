#include "solvers/mir_results.h"

#include <algorithm>
#include <charconv>
#include <system_error>
#include <utility>

#include "text/free_format.h"

namespace torve {

namespace {

constexpr std::string_view blanks = " \t\r\n";
constexpr std::string_view separators = " \t\r\n,/";
constexpr std::string_view solution_line = "The best solution found";
constexpr int lines_before_solution = 2;

constexpr int status_infeasible = 2;
constexpr int status_failed = 5;  // and all above

std::optional<int> whole_number(std::string_view word) {
  if (word.starts_with('+')) word.remove_prefix(1);
  int value = 0;
  const char* const end = word.data() + word.size();
  const auto read = std::from_chars(word.data(), end, value);
  if (word.empty() || read.ec != std::errc() || read.ptr != end) return std::nullopt;
  return value;
}

}  // namespace

bool ResultReader::skip_lines(int count) {
  for (; count > 0; --count) {
    if (rest_.empty()) return false;
    end_record();
  }
  return true;
}

bool ResultReader::find_line(std::string_view words) {
  while (!rest_.starts_with(words)) {
    if (!skip_lines(1)) return false;
  }
  return skip_lines(1);
}

void ResultReader::end_record() {
  const std::size_t end = rest_.find('\n');
  rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end + 1);
  repeats_ = 0;
}

// The next item, empty where a record leaves one out. The comma that ends it goes with it.
std::optional<std::string_view> ResultReader::next_item() {
  rest_.remove_prefix(std::min(rest_.find_first_not_of(blanks), rest_.size()));
  if (rest_.empty()) return std::nullopt;
  std::size_t end = std::min(rest_.find_first_of(separators), rest_.size());
  const char quote = rest_.front();
  if (quote == '\'' || quote == '"') {
    end = rest_.find(quote, 1);
    if (end == std::string_view::npos) return std::nullopt;
    ++end;
  }
  const std::string_view item = rest_.substr(0, end);
  rest_.remove_prefix(end);
  const std::size_t next = std::min(rest_.find_first_not_of(" \t\r"), rest_.size());
  if (rest_.substr(next).starts_with(',')) rest_.remove_prefix(next + 1);
  return item;
}

// A number as it stands in the text; "3*1.5" is a number three times.
std::optional<std::string_view> ResultReader::next_value() {
  if (repeats_ == 0) {
    const std::optional<std::string_view> item = next_item();
    if (!item) return std::nullopt;
    repeated_ = *item;
    repeats_ = 1;
    if (const std::size_t star = item->find('*'); star != std::string_view::npos) {
      const std::optional<int> times = whole_number(item->substr(0, star));
      if (!times || *times < 1) return std::nullopt;
      repeated_ = item->substr(star + 1);
      repeats_ = *times;
    }
  }
  --repeats_;
  return repeated_;
}

bool ResultReader::read_name() {
  const std::optional<std::string_view> item = next_item();
  return item && !item->empty();
}

bool ResultReader::read_whole(int& value) {
  const std::optional<std::string_view> word = next_value();
  const std::optional<int> number = word ? whole_number(*word) : std::nullopt;
  if (number) value = *number;
  return number.has_value();
}

bool ResultReader::read_real(double& value) {
  const std::optional<std::string_view> word = next_value();
  const std::optional<double> number = word ? read_free_real(*word) : std::nullopt;
  if (number) value = *number;
  return number.has_value();
}

std::optional<MirEnd> read_mir_end(std::string_view tim) {
  ResultReader reader(tim);
  MirEnd end;
  int count = 0;
  double objective = 0.0;
  bool whole = reader.read_name();
  for (int i = 0; i < 4; ++i) whole = whole && reader.read_whole(count);
  whole = whole && reader.read_real(end.bound) && reader.read_real(objective);
  whole = whole && reader.read_whole(count) && reader.read_whole(end.status) &&
          reader.read_whole(count);
  if (!whole) return std::nullopt;
  return end;
}

std::optional<int> read_mir_status(std::string_view tim) {
  const std::optional<MirEnd> end = read_mir_end(tim);
  return end ? std::optional(end->status) : std::nullopt;
}

int miperr_of_status(int status) {
  if (status == status_infeasible) return 1;
  return status >= status_failed ? 3 : 0;
}

std::optional<std::vector<double>> read_mir_values(ResultReader& reader, int count) {
  std::vector<double> values;
  for (; count > 0; --count) {
    double before = 0.0;
    double value = 0.0;
    if (!reader.read_name() || !reader.read_real(before) || !reader.read_real(value)) {
      return std::nullopt;
    }
    reader.end_record();
    values.push_back(value);
  }
  return values;
}

// Values of groups are read and dropped; the lines of positive variables aren't even looked at.
std::optional<MirSolution> read_mir_solution(std::string_view res, const MirLayout& layout) {
  ResultReader reader(res);
  if (!reader.find_line(solution_line) || !reader.skip_lines(lines_before_solution)) {
    return std::nullopt;
  }
  std::optional<std::vector<double>> y = read_mir_values(reader, layout.terms);
  if (!y || !read_mir_values(reader, layout.groups)) return std::nullopt;
  if (!reader.skip_lines(layout.positive)) return std::nullopt;
  std::optional<std::vector<double>> beta = read_mir_values(reader, layout.free);
  if (!beta) return std::nullopt;
  return MirSolution{std::move(*y), std::move(*beta)};
}

}  // namespace torve
