#pragma once

#include "adaptive/linalg/messages.h"

namespace torve {

// The minimiser on a line, and what it is.
enum class AlpCase {
  interior,  // between the ends, or the whole line is level
  at_lower,
  at_upper,
  unbounded,  // alp is plus or minus the largest finite double, the way the function falls for ever
  none,       // alp isn't to be used
};

struct Alp {
  double alp = 0.0;
  AlpCase found = AlpCase::none;
};

// Minimises gTp alp + pTGp alp^2 / 2 over alpu <= alp <= alpo; ends of plus and minus the largest
// finite double or beyond stand for none. The minimum is that of the whole interval: where the
// curvature is negative the lower one of the two ends. On a level line alp is the place next to 0.
// An empty interval or NaN is an error.
Alp getalp(double alpu, double alpo, double gTp, double pTGp, Messages& messages);

}  // namespace torve
