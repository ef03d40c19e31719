#pragma once

#include <span>

#include "run/trvspace.h"

namespace torve {

// Least squares by an outside global solver, the last link of the chain: the coefficients of the
// chosen columns over the rows of run.lsq.rowsuse, and the solver's own sum of squares. The run
// ends with code 67 where there is no answer.
void trvolrmir(RunState& run, ColumnMask chosen, int k, std::span<double> beta, double& sse);
void trvolrgms(RunState& run, ColumnMask chosen, int k, std::span<double> beta, double& sse);

}  // namespace torve
