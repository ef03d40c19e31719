#include "run/trvspace.h"
#include "system/interrupts.h"
#include "system/machine.h"

namespace torve {

RunState TRVSPACE;

int trvinit() {
  if (!TRVSPACE.status.runstarted) return 0;
  release_arrays(TRVSPACE);
  TRVSPACE = RunState{};
  return 0;
}

void release_arrays(RunState& run) {
  run.inputs = Inputs{};
  run.outputs = Outputs{};
  run.points = Points{};
  run.basis = Basis{};
  run.groups = Groups{};
  run.models = Models{};
  run.lsq = LeastSquares{};
  run.walk = FastWalk{};
  run.screening = Screening{};
  run.quality = Quality{};
  run.memory.clear();
}

double elapsed(RunState& run) {
  return run.timers.t_total + run.timers.clock.seconds();
}

bool timeup(RunState& run) {
  run.timers.clock.seconds();
  return timeup_lately(run);
}

bool end_for_time(RunState& run) {
  fail(run, Code::time_used_up, 89);
  return true;
}

}  // namespace torve
