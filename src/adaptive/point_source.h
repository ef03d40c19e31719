#pragma once

#include <span>

#include "run/trvspace.h"

namespace torve {

// Where a pass asks for points. Rows count from 0; counts are of rows.
struct Request {
  int maxrow = 0;    // rows that the pass may reach
  int last = 0;      // rows in use; the first new point goes to this row
  int nreqlast = 0;  // rows in use and asked for
};

// Points asked for in one request.
int points_to_request(const RunState& run, const Request& request);

// The value that SNOBFIT gets for a row, with the other sign: summed squared errors of the outputs.
double summed_error(const RunState& run, int row);

// Puts a point, in the user's units, into a row of the data, each input within its bounds.
void place_point(RunState& run, int row, std::span<const double> point);

// Fills rows last to last + count - 1 with random points, since SNOBFIT gave none.
void place_random_points(RunState& run, int last, int count);

// With debug: that random points stand in for SNOBFIT's.
void tell_snobfit_failure(RunState& run);

// The built-in SNOBFIT: rows last to nreqlast - 1 get points where the models are likely to be
// worst. On a folder that can't be entered the run has code 35 or 34.
void snobfitstep(RunState& run, Request& request, bool firstcall);

// The same by a program for MATLAB, which is written to the scratch folder and run; code 66 when
// that fails.
void matlabsnobfit(RunState& run, Request& request);

}  // namespace torve
