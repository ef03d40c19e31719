#include "solvers/olr_routes.h"

namespace torve {

void trvolrmir(RunState& run, ColumnMask, int, std::span<double>, double&) {
  fail(run, Code::least_squares_solver_failed, 23);
}

void trvolrgms(RunState& run, ColumnMask, int, std::span<double>, double&) {
  fail(run, Code::least_squares_solver_failed, 29);
}

}  // namespace torve
