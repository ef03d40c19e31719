#pragma once

#include <bitset>

#include "run/basis_state.h"
#include "run/faure_state.h"
#include "run/files.h"
#include "run/model_state.h"
#include "run/options.h"
#include "run/points.h"
#include "run/quality_state.h"
#include "run/sizes.h"
#include "run/status.h"
#include "system/interrupts.h"

namespace torve {

inline constexpr std::size_t most_options = 256;

// Everything that lives for a run, in records by lifetime. Routines take the record they work on,
// and the whole only when they need several.
struct RunState {
  Options options;
  Sizes sizes;
  std::bitset<most_options> seen;  // options that were given, by row of the option table
  MemoryAccount memory;
  Inputs inputs;
  Outputs outputs;
  Points points;
  Basis basis;
  Groups groups;
  Models models;
  LeastSquares lsq;
  FastWalk walk;
  Screening screening;
  Quality quality;
  Timers timers;
  Counters counters;
  Status status;
  Files files;
  int randstate = 0;  // state of the random numbers, 0 before the first draw
  FaureState faure;
};

// The one run state of the process.
extern RunState TRVSPACE;

// Back to the initial state for a second run; changes nothing when no run was started. Returns 0.
int trvinit();

// Frees every array of the run state; safe to call twice.
void release_arrays(RunState& run);

// Sets the code and the place it was found. For use in `return fail(run, code, location);`: false.
inline bool fail(RunState& run, Code code, int location) {
  run.status.trvstatus = code;
  run.status.trvlocation = location;
  return false;
}

inline bool failed(const RunState& run) {
  return run.status.trvstatus != Code::normal;
}

// Seconds that the run has taken so far.
double elapsed(RunState& run);

// True when maxtime is used up or the run was interrupted; the run then ends with code 68.
bool timeup(RunState& run);
bool end_for_time(RunState& run);
// The same at the clock's last reading, for loops that have just had the clock read: a fit does.
inline bool timeup_lately(RunState& run) {
  const double taken = run.timers.t_total + run.timers.clock.last_reading();
  if (!interrupted() && run.options.maxtime - taken > 0.0) return false;
  return end_for_time(run);
}

inline void cpu_start(Timers& timers, double& timer) {
  timer -= timers.clock.seconds();
}
inline void cpu_stop(Timers& timers, double& timer) {
  timer += timers.clock.seconds();
}

}  // namespace torve
