#include "solvers/best_subset.h"

namespace torve {

void trvsolvemip(RunState& run, int, int, double, double, int& miperr) {
  miperr = 3;
  fail(run, Code::best_subset_failed, 221);
}

}  // namespace torve
