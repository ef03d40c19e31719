#include "adaptive/adaptive_sampling.h"

namespace torve {

void trvadaptivesampling(RunState& run) {
  fail(run, Code::snobfit_failed, 211);
}

}  // namespace torve
