#pragma once

#include "run/trvspace.h"

namespace torve {

// One pass of the search for points where the model of output k (from 0) breaks its constraints by
// more than crtol; the model becomes the selection (thischoice, thisbeta). Searched are the
// bounding set itself, random points, and, for the kinds of constraint that none of these breaks,
// the outside solver where crrobust is on. What is found joins the bounding set. Returns how many
// violations were found. Codes: 51 no memory, 73 the solver fails, 74 a copy for debug fails, 68
// time is up.
int crfind(RunState& run, int k);

}  // namespace torve
