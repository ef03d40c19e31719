#include <fmt/format.h>

#include <array>

#include "input/point_storage.h"
#include "input/problem_reader.h"
#include "system/large_pages.h"

namespace torve {

namespace {

std::string section_found(const ProblemReader& reader, std::string_view name) {
  return fmt::format("{} section found in line {}", name, reader.lines.lineno);
}

// A table by columns; none where the section has no such values.
struct Columns {
  double* first = nullptr;
  std::int64_t stride = 0;

  double& operator()(int row, int j) const { return first[j * stride + row]; }
};

// A table that is about to be filled.
Columns columns_of(Table<double>* table) {
  if (table == nullptr || !table->exists()) return {};
  const MutableMatrixView view = table->view(table->rows(), table->columns());
  const auto values =
      static_cast<std::size_t>(view.stride) * static_cast<std::size_t>(view.columns);
  prefer_large_pages(view.data, values * sizeof(double));
  return {view.data, view.stride};
}

// A row that is one line of plain numbers, as nearly all are. False where it isn't.
bool read_plain_row(ProblemReader& reader, int width, int inputs, Columns x, Columns z, int row) {
  // All of it copied, so that nothing has to be fetched again behind a value that was stored.
  const auto put = [inputs, x, z, row](int j, double value) {
    if (j < inputs) {
      x(row, j) = value;
    } else {
      z(row, j - inputs) = value;
    }
  };
  if (!reader.lines.plain_row(width, put)) return false;
  ++reader.lines.lineno;
  return true;
}

// One row of numbers, which may run over lines.
bool read_row(ProblemReader& reader, const PointRows& rows, int i) {
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
  const std::array points{columns_of(rows.x), columns_of(rows.z)};
  const std::array bank{columns_of(rows.xbank), columns_of(rows.zbank)};
  for (int i = 0; i < rows.rows; ++i) {
    const bool banked = i >= rows.points;
    const auto [x, z] = banked ? bank : points;
    const int row = banked ? i - rows.points : i;
    const bool plain = read_plain_row(reader, rows.width, rows.inputs, x, z, row);
    if (!plain && !read_row(reader, rows, i)) return false;
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
