#include <fmt/format.h>

#include "input/option_storage.h"
#include "input/problem_reader.h"

namespace torve {

namespace {

// The line that tells what is refused, and where.
bool refuse(ProblemReader& reader, const Refusal& refusal) {
  if (refusal.code == Code::out_of_memory) return stop(reader, refusal.code, refusal.location);
  return stop(reader, refusal.code, refusal.location,
              {fmt::format("{} found in line {}", reader.typed, reader.lines.lineno)});
}

}  // namespace

std::optional<double> read_value(ProblemReader& reader) {
  LineReader& lines = reader.lines;
  if (!lines.readline()) {
    stop_on_fault(reader);
    return std::nullopt;
  }
  std::optional<double> value = lines.number();
  if (value) return value;
  stop_on_fault(reader);
  const std::string detail =
      fmt::format("Error while reading option value at line {}", lines.lineno);
  if (lines.fault().location == 200) stop(reader, Code::bad_value, 193, {detail});
  return std::nullopt;
}

bool read_scalar(ProblemReader& reader) {
  RunState& run = reader.run;
  const OptionRow& row = *reader.option.row;
  if (const Refusal refusal = check_scalar(run, row)) return refuse(reader, refusal);
  std::optional<double> value = read_value(reader);
  if (!value) return false;
  checkoption(run, reader.keyword, *value, true);
  if (row.kind == Kind::ignored) return reader.lines.checkeol() || stop_on_fault(reader);
  if (reader.keyword == "keepscratch") *value = 1.0 - *value;
  if (const Refusal refusal = store_scalar(run, row, *value)) return refuse(reader, refusal);
  // What follows a count of no points isn't looked at.
  if (row.name == "ndata" && *value < 0.5) return true;
  return reader.lines.checkeol() || stop_on_fault(reader);
}

}  // namespace torve
