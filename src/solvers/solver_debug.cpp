#include "solvers/solver_debug.h"

#include <fmt/format.h>

#include <vector>

#include "model/debug_lines.h"

namespace torve {

namespace {

void debug_table(RunState& run, std::string_view label, const Table<double>& table, int rows,
                 int columns) {
  debug_line(run, label);
  std::vector<double> row(at(columns));
  for (int i = 0; i < rows; ++i) {
    for (int j = 0; j < columns; ++j) row[at(j)] = table(i, j);
    debug_reals(run, "", row);
  }
}

}  // namespace

void debug_subset_entry(RunState& run, std::string_view routine, int k) {
  if (!debugging(run)) return;
  const Sizes& sizes = run.sizes;
  debug_line(run, fmt::format(">>> Entering {} with", routine));
  debug_whole(run, "    trvstatus = ", static_cast<int>(run.status.trvstatus));
  debug_whole(run, "    ndata     = ", sizes.ndata);
  debug_whole(run, "    nbas      = ", sizes.nbas);
  debug_matrix(run, "    xij       = ");
  debug_mask(run, "    active    = ", run.basis.basisactive.first(at(sizes.nbas)));
  debug_mask(run, "    screened  = ", run.models.screened.first(at(sizes.nbas)));
  debug_mask(run, "    simulated = ", run.points.simulated.column(k, sizes.ndata));
  debug_whole(run, "    k         = ", k + 1);
  debug_reals(run, "    zdata     = ", run.points.zdata.column(k, sizes.ndata));
  if (run.models.conreg[at(k)]) {
    const CRELEM& set = run.models.bounding[at(k)];
    debug_table(run, "    crxij     = ", set.crxij, set.crndata, sizes.nbas);
    debug_table(run, "    crxdata   = ", set.crxdata, set.crndata, sizes.ninputs);
  }
  debug_whole(run, ">>> Building model ", run.counters.imodel);
}

}  // namespace torve
