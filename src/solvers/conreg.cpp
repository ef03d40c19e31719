#include "solvers/conreg.h"

namespace torve {

int crfind(RunState& run, int) {
  fail(run, Code::constrained_regression_failed, 22);
  return 0;
}

}  // namespace torve
