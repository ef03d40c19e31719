#include <algorithm>
#include <array>

#include "model/debug_lines.h"
#include "model/fit.h"
#include "model/least_squares.h"
#include "model/lsei.h"
#include "model/lsei_call.h"
#include "model/trvolr.h"
#include "report/printer.h"

namespace torve {

namespace {

constexpr int lower_bound_row = 1;
constexpr int upper_bound_row = 2;
constexpr int both_bounds_row = 3;

int constraint_rows(const CRELEM* bounding) {
  int rows = 0;
  for (int p = 0; bounding != nullptr && p < bounding->crndata; ++p) {
    const int type = bounding->type[at(p)];
    if (type == lower_bound_row || type == upper_bound_row) rows += 1;
    if (type == both_bounds_row) rows += 2;
  }
  return rows;
}

// One row of G x >= h: sign * (terms at the point) >= sign * bound.
struct RowWriter {
  double* w;
  int mdw;
  std::span<const int> columns;
  int row;

  void write(const CRELEM& bounding, int point, double sign, double bound) {
    const int n = static_cast<int>(columns.size());
    for (int p = 0; p < n; ++p) {
      w[p * static_cast<std::ptrdiff_t>(mdw) + row] = sign * bounding.crxij(point, columns[at(p)]);
    }
    w[n * static_cast<std::ptrdiff_t>(mdw) + row] = sign * bound;
    ++row;
  }
};

void write_constraints(const RunState& run, const CRELEM* bounding, int k, RowWriter writer) {
  for (int p = 0; bounding != nullptr && p < bounding->crndata; ++p) {
    const int type = bounding->type[at(p)];
    if (type == lower_bound_row || type == both_bounds_row) {
      writer.write(*bounding, p, 1.0, run.outputs.zmin[at(k)]);
    }
    if (type == upper_bound_row || type == both_bounds_row) {
      writer.write(*bounding, p, -1.0, run.outputs.zmax[at(k)]);
    }
  }
}

bool request_work(RunState& run, int rows, int n, int ma, int mg, int lw, int lip) {
  LeastSquares& lsq = run.lsq;
  return ma >= 0 && mg >= 0 &&
         lsq.lseiw.request(run.memory, static_cast<long long>(rows) * (n + 1)) &&
         lsq.lseix.request(run.memory, n) && lsq.lsqwork.request(run.memory, lw) &&
         lsq.lseiip.request(run.memory, std::max(lip, 2));
}

// True when the fit failed; beta is then all preset.
bool solve(RunState& run, const CRELEM* bounding, std::span<const int> columns, int ma, int k,
           std::span<double> beta) {
  LeastSquares& lsq = run.lsq;
  const int n = static_cast<int>(columns.size());
  const int mg = constraint_rows(bounding);
  const int mdw = ma + mg;
  if (mdw == 0 || n == 0) return false;
  const int lw = lsei_real_workspace(0, ma, mg, n);
  const int lip = lsei_integer_workspace(mg, n);
  if (!request_work(run, mdw, n, ma, mg, lw, lip)) {
    fail(run, Code::out_of_memory, 64);
    return true;
  }
  const Sizes& sizes = run.sizes;
  Regression problem{run.basis.xij.view(sizes.ndata, sizes.nbas), columns,
                     run.points.zdata.column(k, sizes.ndata),
                     run.lsq.rowsuse.first(at(sizes.ndata)), ma};
  double* w = lsq.lseiw.data();
  pack(problem, w, mdw, w + static_cast<std::ptrdiff_t>(n) * mdw);
  write_constraints(run, bounding, k, {w, mdw, columns, ma});
  lsq.lseiip[0] = static_cast<int>(lsq.lsqwork.size());
  lsq.lseiip[1] = static_cast<int>(lsq.lseiip.size());
  const double prgopt = 1.0;
  double rnorme = 0.0;
  double rnorml = 0.0;
  int mode = 0;
  call_lsei(w, mdw, 0, ma, mg, n, &prgopt, lsq.lseix.data(), rnorme, rnorml, mode,
            lsq.lsqwork.data(), lsq.lseiip.data());
  if (mode != 0) {
    if (run.options.debug) {
      trvprint(run, "Warning: Error in LSEI in TRVCLR: " + std::to_string(mode));
    }
    return true;
  }
  std::fill(beta.begin(), beta.end(), 0.0);
  for (int p = 0; p < n; ++p) beta[at(columns[at(p)])] = lsq.lseix[at(p)];
  return false;
}

}  // namespace

bool trvclr(RunState& run, const CRELEM* bounding, ColumnMask chosen, int k,
            std::span<double> beta) {
  cpu_start(run.timers, run.timers.t_clr);
  cpu_start(run.timers, run.models.clrtime[at(k)]);
  ++run.counters.numCLRs;
  ++run.models.clrcalls[at(k)];
  std::fill(beta.begin(), beta.end(), run.options.preset);
  bool has_failed = false;
  if (!request_row_arrays(run)) {
    has_failed = true;
    fail(run, Code::out_of_memory, 64);
  } else {
    const int ma = find_usable_rows(run, k);
    std::size_t n = 0;
    for (std::size_t j = 0; j < chosen.size(); ++j) {
      if (chosen[j]) run.lsq.chosen[n++] = static_cast<int>(j);
    }
    has_failed = solve(run, bounding, run.lsq.chosen.first(n), ma, k, beta);
  }
  cpu_stop(run.timers, run.models.clrtime[at(k)]);
  cpu_stop(run.timers, run.timers.t_clr);
  return has_failed;
}

bool fit_candidate(RunState& run, ColumnMask chosen, int k, std::span<double> beta, double* sse) {
  if (!run.models.conreg[at(k)]) return trvolr(run, chosen, k, beta, sse);
  return trvclr(run, &run.models.bounding[at(k)], chosen, k, beta);
}

}  // namespace torve
