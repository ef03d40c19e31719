#include <fmt/format.h>

#include <algorithm>

#include "input/problem_reader.h"

namespace torve {

namespace {

// One row of numbers, which may run over lines.
template <class Put>
bool read_row(ProblemReader& reader, int count, Put put) {
  if (!next_section_line(reader)) return false;
  for (int j = 0; j < count; ++j) {
    const std::optional<double> value = reader.lines.number();
    if (!value) return stop_on_fault(reader);
    put(j, *value);
  }
  const bool clean = reader.lines.checkeol() || stop_on_fault(reader);
  reader.lines.forget_continuation();
  return clean;
}

// The points of the bank are the last of those given; whichever section comes first takes them off.
void take_bank(RunState& run) {
  if (run.points.banktaken) return;
  run.points.banktaken = true;
  run.sizes.ndata -= run.sizes.nbank;
  run.sizes.nbankleft = run.sizes.nbank;
}

bool allocate_x(RunState& run) {
  Points& points = run.points;
  const Sizes& sizes = run.sizes;
  return points.xdata.request(run.memory, sizes.ndata, sizes.ninputs) &&
         points.xbank.request(run.memory, sizes.nbank, sizes.ninputs);
}

bool allocate_z(RunState& run) {
  Points& points = run.points;
  const Sizes& sizes = run.sizes;
  return points.zdata.request(run.memory, sizes.ndata, sizes.noutputs) &&
         points.zbank.request(run.memory, sizes.nbank, sizes.noutputs);
}

// Rows of `inputs` input values and `outputs` output values; rows beyond the data go to the bank.
bool read_points(ProblemReader& reader, int inputs, int outputs) {
  Points& points = reader.run.points;
  const Sizes& sizes = reader.run.sizes;
  const int ndata = sizes.ndata;
  for (int i = 0; i < ndata + sizes.nbank; ++i) {
    const bool bank = i >= ndata;
    const int row = bank ? i - ndata : i;
    Table<double>& x = bank ? points.xbank : points.xdata;
    Table<double>& z = bank ? points.zbank : points.zdata;
    const bool whole = read_row(reader, inputs + outputs, [&](int j, double value) {
      if (j < inputs) {
        x(row, j) = value;
      } else {
        z(row, j - inputs) = value;
      }
    });
    if (!whole) return false;
  }
  return true;
}

std::string section_found(const ProblemReader& reader, std::string_view name) {
  return fmt::format("{} section found in line {}", name, reader.lines.lineno);
}

int outputs_in_file(const RunState& run) {
  return std::max(run.sizes.noutputs0, 0);
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
  RunState& run = reader.run;
  if (!check_preconditions(reader, "DATA",
                           {{!seen(run, "begin_zdata"), Code::zdata_or_data, 124},
                            {!seen(run, "begin_xdata"), Code::xdata_or_data, 123}})) {
    return false;
  }
  if (!check_preconditions(reader, "DATA",
                           {{seen(run, "ndata"), Code::data_before_ndata, 126},
                            {seen(run, "noutputs"), Code::data_before_noutputs, 127},
                            {seen(run, "ninputs"), Code::data_before_ninputs, 128}})) {
    return false;
  }
  take_bank(run);
  if (!allocate_x(run) || !allocate_z(run)) return stop_without_memory(reader);
  if (!read_points(reader, run.sizes.ninputs, outputs_in_file(run))) return false;
  return close_section(reader, {"end_data"}, Code::end_data_missing, 125);
}

bool read_xdata(ProblemReader& reader) {
  RunState& run = reader.run;
  if (!check_preconditions(reader, "XDATA",
                           {{!seen(run, "begin_data"), Code::xdata_or_data, 123},
                            {seen(run, "ndata"), Code::xdata_before_ndata, 130},
                            {seen(run, "ninputs"), Code::xdata_before_ninputs, 131}})) {
    return false;
  }
  take_bank(run);
  if (!allocate_x(run)) return stop_without_memory(reader);
  if (!read_points(reader, run.sizes.ninputs, 0)) return false;
  return close_section(reader, {"end_xdata"}, Code::end_xdata_missing, 129);
}

bool read_zdata(ProblemReader& reader) {
  RunState& run = reader.run;
  if (!check_preconditions(reader, "ZDATA",
                           {{!seen(run, "begin_data"), Code::zdata_or_data, 124},
                            {seen(run, "ndata"), Code::zdata_before_ndata, 133},
                            {seen(run, "noutputs"), Code::zdata_before_noutputs, 134}})) {
    return false;
  }
  take_bank(run);
  if (!allocate_z(run)) return stop_without_memory(reader);
  if (!read_points(reader, 0, outputs_in_file(run))) return false;
  return close_section(reader, {"end_zdata"}, Code::end_zdata_missing, 132);
}

bool read_testdata(ProblemReader& reader) {
  RunState& run = reader.run;
  if (!check_preconditions(reader, "TESTDATA",
                           {{seen(run, "ntestdata"), Code::testdata_before_ntestdata, 136},
                            {seen(run, "noutputs"), Code::data_before_noutputs, 137},
                            {seen(run, "ninputs"), Code::data_before_ninputs, 138}})) {
    return false;
  }
  Points& points = run.points;
  const int rows = run.sizes.ntestdatasum;
  const int inputs = run.sizes.ninputs;
  if (!points.xtestdata.request(run.memory, rows, inputs) ||
      !points.ztestdata.request(run.memory, rows, run.sizes.noutputs)) {
    return stop_without_memory(reader);
  }
  for (int i = 0; i < rows; ++i) {
    const bool whole = read_row(reader, inputs + outputs_in_file(run), [&](int j, double value) {
      if (j < inputs) {
        points.xtestdata(i, j) = value;
      } else {
        points.ztestdata(i, j - inputs) = value;
      }
    });
    if (!whole) return false;
  }
  return close_section(reader, {"end_testdata", "end_valdata", "end_data"}, Code::end_data_missing,
                       135);
}

bool read_xpredata(ProblemReader& reader) {
  RunState& run = reader.run;
  if (!check_preconditions(reader, "XPREDATA",
                           {{seen(run, "npredata"), Code::xpredata_before_npredata, 153},
                            {seen(run, "ninputs"), Code::xpredata_before_ninputs, 154}})) {
    return false;
  }
  Table<double>& points = run.points.xpredata;
  if (!points.request(run.memory, run.sizes.npredata, run.sizes.ninputs)) {
    return stop_without_memory(reader);
  }
  for (int i = 0; i < run.sizes.npredata; ++i) {
    const auto put = [&](int j, double value) { points(i, j) = value; };
    if (!read_row(reader, run.sizes.ninputs, put)) return false;
  }
  return close_section(reader, {"end_xpredata"}, Code::end_xpredata_missing, 152);
}

}  // namespace torve
