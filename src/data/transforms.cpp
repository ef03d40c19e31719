#include "data/transforms.h"

#include <fmt/format.h>

#include <algorithm>

#include "basis/formula/formula.h"
#include "data/scaling.h"
#include "report/printer.h"

namespace torve {

namespace {

constexpr int location = 215;
constexpr std::int32_t first_variable_code = 22;

// Whether the formula reads an output whose value in the row doesn't exist.
bool reads_missing_output(const RunState& run, const CompiledFormula& formula,
                          std::span<const double> row) {
  for (const std::int32_t code : formula.codes) {
    const std::int32_t variable = code - first_variable_code;
    if (variable >= run.sizes.ninputs && is_bad_value(row[at(variable)], run.options.preset)) {
      return true;
    }
  }
  return false;
}

bool transform_row(RunState& run, const Table<double>& x, Table<double>& z, int i) {
  const Sizes& sizes = run.sizes;
  FormulaTable& formulas = run.basis.transformformulas;
  const std::span<double> row = run.basis.rowinputs.first(at(sizes.ninputs + sizes.noutputs));
  for (int j = 0; j < sizes.ninputs; ++j) row[at(j)] = x(i, j);
  for (int t = 0; t < sizes.ntrans; ++t) {
    const int k = sizes.noutputs0 + t;
    if (run.outputs.ignore[at(k)]) continue;
    for (int o = 0; o < sizes.noutputs; ++o) row[at(sizes.ninputs + o)] = z(i, o);
    if (reads_missing_output(run, formulas.slots[at(t)], row)) {
      z(i, k) = run.options.preset;
      continue;
    }
    z(i, k) = fneval(formulas, at(t), row);
    if (formulas.fnerrtype != 0) return false;
  }
  return true;
}

bool stop_at(RunState& run, const std::string& line) {
  trvprint(run, line);
  return fail(run, Code::transform_evaluation, location);
}

}  // namespace

int transform_rows(RunState& run, const Table<double>& x, Table<double>& z, int first, int last) {
  for (int i = first; i < last; ++i) {
    if (!transform_row(run, x, z, i)) return i;
  }
  return -1;
}

bool transform_given_points(RunState& run) {
  if (run.sizes.ntrans <= 0) return true;
  Points& points = run.points;
  const int ndata = run.sizes.ndata;
  int bad = transform_rows(run, points.xdata, points.zdata, 0, ndata);
  if (bad < 0 && run.sizes.nbank > 0) {
    bad = transform_rows(run, points.xbank, points.zbank, 0, run.sizes.nbank);
    if (bad >= 0) bad += ndata;
  }
  if (bad >= 0) {
    return stop_at(run, fmt::format("Data point {} cannot be evaluated.", bad + 1));
  }
  int first = 0;
  for (std::size_t s = 0; s < points.ntestdata.size() && points.ztestdata.exists(); ++s) {
    const int last = std::min(first + points.ntestdata[s], run.sizes.ntestdatasum);
    bad = transform_rows(run, points.xtestdata, points.ztestdata, first, last);
    if (bad >= 0) {
      return stop_at(run, fmt::format("Data point {} of test set {} cannot be evaluated.",
                                      bad - first + 1, s + 1));
    }
    first = last;
  }
  return true;
}

}  // namespace torve
