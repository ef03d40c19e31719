#include <fmt/format.h>

#include "input/point_storage.h"
#include "input/problem_reader.h"

namespace torve {

namespace {

std::string section_found(const ProblemReader& reader, std::string_view name) {
  return fmt::format("{} section found in line {}", name, reader.lines.lineno);
}

// One row of numbers, which may run over lines.
bool read_row(ProblemReader& reader, const PointRows& rows, int i) {
  if (reader.lines.plain_row(rows.width, [&](int j, double value) { rows.put(i, j, value); })) {
    ++reader.lines.lineno;
    return true;
  }
  if (!next_section_line(reader)) return false;
  for (int j = 0; j < rows.width; ++j) {
    const std::optional<double> value = reader.lines.number();
    if (!value) return stop_on_fault(reader);
    rows.put(i, j, *value);
  }
  const bool clean = reader.lines.checkeol() || stop_on_fault(reader);
  reader.lines.forget_continuation();
  return clean;
}

// All rows of a section, up to its end keyword.
bool read_points(ProblemReader& reader, std::string_view name, PointSection section) {
  RunState& run = reader.run;
  if (const Refusal refusal = check_section(run, section)) {
    return stop(reader, refusal.code, refusal.location, {section_found(reader, name)});
  }
  if (!allocate_section(run, section)) return stop_without_memory(reader);
  const PointRows rows = rows_of(run, section);
  for (int i = 0; i < rows.rows; ++i) {
    if (!read_row(reader, rows, i)) return false;
  }
  return true;
}

}  // namespace

bool check_preconditions(ProblemReader& reader, std::string_view name,
                         std::initializer_list<Precondition> preconditions) {
  const Precondition* missing = nullptr;
  for (const Precondition& row : preconditions) {
    if (!row.met) missing = &row;
  }
  if (missing == nullptr) return true;
  return stop(reader, missing->code, missing->location, {section_found(reader, name)});
}

bool read_data(ProblemReader& reader) {
  return read_points(reader, "DATA", PointSection::data) &&
         close_section(reader, {"end_data"}, Code::end_data_missing, 125);
}

bool read_xdata(ProblemReader& reader) {
  return read_points(reader, "XDATA", PointSection::xdata) &&
         close_section(reader, {"end_xdata"}, Code::end_xdata_missing, 129);
}

bool read_zdata(ProblemReader& reader) {
  return read_points(reader, "ZDATA", PointSection::zdata) &&
         close_section(reader, {"end_zdata"}, Code::end_zdata_missing, 132);
}

bool read_testdata(ProblemReader& reader) {
  return read_points(reader, "TESTDATA", PointSection::testdata) &&
         close_section(reader, {"end_testdata", "end_valdata", "end_data"}, Code::end_data_missing,
                       135);
}

bool read_xpredata(ProblemReader& reader) {
  return read_points(reader, "XPREDATA", PointSection::xpredata) &&
         close_section(reader, {"end_xpredata"}, Code::end_xpredata_missing, 152);
}

}  // namespace torve
