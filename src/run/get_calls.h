// Get calls: what a run left. Outputs count from 1, as in texts.
#pragma once

#include <string>

#include "run/trvspace.h"

namespace torve {

struct Version {
  int year;
  int month;
  int day;
};
Version trvgetversion();

// The termination code of the last run; 0 while all is well.
int trvgetstatus(const RunState& run);
// Seconds that the run took.
double trvgettime(const RunState& run);

// The model of an output as one line, coefficients in full digits; empty for an output without a
// model. Returns 0, or 147 for an output that doesn't exist; the text is untouched then.
int trvgetmodel(RunState& run, int output, std::string& text);

}  // namespace torve
