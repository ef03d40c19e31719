#pragma once

#include "run/trvspace.h"

namespace torve {

// Draws the test points that are to be sampled and has them evaluated; they join the points of
// their sections. A point that can't be had is drawn again, maxsim failures for one point or the
// end of the time (code 68) stop the sampling, and what was obtained stays.
void sample_tests(RunState& run);

}  // namespace torve
