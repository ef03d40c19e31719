#include "solvers/gms_results.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <span>

#include "data/simulator_files.h"
#include "text/strings.h"

namespace torve {

namespace {

constexpr std::size_t status_width = 3;
constexpr double not_read = std::numeric_limits<double>::quiet_NaN();

// The whole number in the first characters of a text's first line, which is taken off.
std::optional<int> take_status(std::string_view& text) {
  const std::size_t end = std::min(text.find('\n'), text.size());
  std::string_view line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  if (line.ends_with('\r')) line.remove_suffix(1);
  const std::string_view field = trim(line.substr(0, status_width));
  int status = 0;
  const auto read = std::from_chars(field.data(), field.data() + field.size(), status);
  if (read.ec != std::errc() || read.ptr != field.data() + field.size()) return std::nullopt;
  return status;
}

// What a model status means, for miperr.
int classify(int modelstat, NoSolution no_solution) {
  switch (modelstat) {
    case 1:   // optimal
    case 2:   // locally optimal
    case 3:   // unbounded
    case 7:   // feasible
    case 8:   // integer
    case 15:  // the only solution
    case 16:
    case 17:
      return 0;
    case 4:   // infeasible
    case 10:  // integer infeasible
    case 19:  // infeasible, no solution
      return 1;
    case 14:  // no solution
      return no_solution == NoSolution::is_an_answer ? 1 : 3;
    default:
      return 3;
  }
}

// A record of finite values; a value that it leaves out isn't finite.
bool read_record(RecordReader& reader, std::span<double> values) {
  std::ranges::fill(values, not_read);
  return reader.next(values) == RecordReader::Outcome::read &&
         std::ranges::all_of(values, [](double value) { return std::isfinite(value); });
}

bool is_whole(double value) {
  return std::trunc(value) == value && std::abs(value) <= std::numeric_limits<int>::max();
}

bool read_solution(std::string_view text, int nbas, GmsAnswer& answer) {
  RecordReader reader(text);
  if (!read_record(reader, std::span(&answer.value, 1))) return false;
  std::array<double, 2> record{};  // y, beta
  for (int j = 0; j < nbas; ++j) {
    if (!read_record(reader, record) || !is_whole(record[0])) return false;
    answer.subset.chosen.push_back(record[0] > 0.0);
    answer.subset.beta.push_back(record[1]);
  }
  return true;
}

}  // namespace

GmsAnswer read_gms_answer(std::string_view text, int nbas, NoSolution no_solution) {
  GmsAnswer answer;
  const std::optional<int> status = take_status(text);
  answer.miperr = 2;
  if (!status) return answer;
  answer.modelstat = *status;
  answer.miperr = classify(*status, no_solution);
  if (answer.miperr == 0 && !read_solution(text, nbas, answer)) answer.miperr = 2;
  return answer;
}

}  // namespace torve
