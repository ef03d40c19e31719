#include "input/point_storage.h"

#include <algorithm>
#include <initializer_list>

namespace torve {

namespace {

struct Condition {
  bool met;
  Refusal refusal;
};

// The last condition that isn't met decides.
Refusal first_refusal(std::initializer_list<Condition> conditions) {
  Refusal refusal;
  for (const Condition& condition : conditions) {
    if (!condition.met) refusal = condition.refusal;
  }
  return refusal;
}

constexpr Refusal refusal_at(Code code, int location) {
  return {code, location, location};
}

// Points are given in one section or in two.
Refusal check_other_sections(const RunState& run, PointSection section) {
  const bool data = seen(run, "begin_data");
  const bool xdata = seen(run, "begin_xdata");
  const bool zdata = seen(run, "begin_zdata");
  switch (section) {
    case PointSection::data:
      return first_refusal({{!data, refusal_at(Code::data_twice, 389)},
                            {!zdata, refusal_at(Code::zdata_or_data, 124)},
                            {!xdata, refusal_at(Code::xdata_or_data, 123)}});
    case PointSection::xdata:
      return first_refusal({{!xdata, refusal_at(Code::xdata_twice, 390)},
                            {!data, refusal_at(Code::xdata_or_data, 123)}});
    case PointSection::zdata:
      return first_refusal({{!zdata, refusal_at(Code::zdata_twice, 391)},
                            {!data, refusal_at(Code::zdata_or_data, 124)}});
    case PointSection::testdata:
    case PointSection::xpredata:
      return no_refusal;
  }
  return no_refusal;
}

Refusal check_sizes(const RunState& run, PointSection section) {
  const bool ndata = seen(run, "ndata");
  const bool ninputs = seen(run, "ninputs");
  const bool noutputs = seen(run, "noutputs");
  switch (section) {
    case PointSection::data:
      return first_refusal({{ndata, refusal_at(Code::data_before_ndata, 126)},
                            {noutputs, refusal_at(Code::data_before_noutputs, 127)},
                            {ninputs, refusal_at(Code::data_before_ninputs, 128)}});
    case PointSection::xdata:
      return first_refusal({{ndata, refusal_at(Code::xdata_before_ndata, 130)},
                            {ninputs, refusal_at(Code::xdata_before_ninputs, 131)}});
    case PointSection::zdata:
      return first_refusal({{ndata, refusal_at(Code::zdata_before_ndata, 133)},
                            {noutputs, refusal_at(Code::zdata_before_noutputs, 134)}});
    case PointSection::testdata:
      return first_refusal(
          {{seen(run, "ntestdata"), refusal_at(Code::testdata_before_ntestdata, 136)},
           {noutputs, refusal_at(Code::data_before_noutputs, 137)},
           {ninputs, refusal_at(Code::data_before_ninputs, 138)}});
    case PointSection::xpredata:
      return first_refusal(
          {{seen(run, "npredata"), refusal_at(Code::xpredata_before_npredata, 153)},
           {ninputs, refusal_at(Code::xpredata_before_ninputs, 154)}});
  }
  return no_refusal;
}

void take_bank(RunState& run) {
  if (run.points.banktaken) return;
  run.points.banktaken = true;
  run.sizes.ndata -= run.sizes.nbank;
  run.sizes.nbankleft = run.sizes.nbank;
}

bool holds_inputs(PointSection section) {
  return section != PointSection::zdata;
}
bool holds_outputs(PointSection section) {
  return section != PointSection::xdata && section != PointSection::xpredata;
}

}  // namespace

Refusal check_section(const RunState& run, PointSection section) {
  if (const Refusal refusal = check_other_sections(run, section)) return refusal;
  return check_sizes(run, section);
}

PointRows rows_of(RunState& run, PointSection section) {
  Points& points = run.points;
  const Sizes& sizes = run.sizes;
  PointRows rows;
  rows.inputs = holds_inputs(section) ? sizes.ninputs : 0;
  rows.width = rows.inputs + (holds_outputs(section) ? std::max(sizes.noutputs0, 0) : 0);
  switch (section) {
    case PointSection::data:
    case PointSection::xdata:
    case PointSection::zdata:
      rows.x = &points.xdata;
      rows.z = &points.zdata;
      rows.xbank = &points.xbank;
      rows.zbank = &points.zbank;
      rows.points = points.banktaken ? sizes.ndata : sizes.ndata - sizes.nbank;
      rows.rows = rows.points + sizes.nbank;
      break;
    case PointSection::testdata:
      rows.x = &points.xtestdata;
      rows.z = &points.ztestdata;
      rows.points = rows.rows = sizes.ntestdatasum;
      break;
    case PointSection::xpredata:
      rows.x = &points.xpredata;
      rows.points = rows.rows = sizes.npredata;
      break;
  }
  return rows;
}

bool allocate_section(RunState& run, PointSection section) {
  const PointRows rows = rows_of(run, section);
  const Sizes& sizes = run.sizes;
  if (rows.xbank != nullptr) take_bank(run);
  MemoryAccount& memory = run.memory;
  const auto request = [&](Table<double>* points, Table<double>* bank, int columns) {
    if (!points->request(memory, rows.points, columns)) return false;
    return bank == nullptr || bank->request(memory, sizes.nbank, columns);
  };
  if (holds_inputs(section) && !request(rows.x, rows.xbank, sizes.ninputs)) return false;
  return !holds_outputs(section) || request(rows.z, rows.zbank, sizes.noutputs);
}

}  // namespace torve
