#pragma once

#include <string>

#include "adaptive/linalg/matrix.h"
#include "adaptive/linalg/messages.h"

namespace torve {

// Stable noisy optimization by branch and fit: W. Huyer and A. Neumaier, SNOBFIT, ACM Transactions
// on Mathematical Software 35 (2008), 9:1-9:25. README.md of this folder has what each routine does
// and what was decided here.

// What a request is made with.
struct PARAMETERS {
  VECTOR u;             // lower bounds of the box, n entries
  VECTOR v;             // upper bounds, u(i) < v(i)
  int nreq = 0;         // points wanted
  double p = 0.5;       // probability of an evaluation point in unexplored space
  int seed = 19631963;  // of the random numbers of a first call
  bool created = false;
};

bool create_parameters(PARAMETERS& parameters, const VECTOR& u, const VECTOR& v, int nreq, double p,
                       int seed, Messages& messages);

struct SnobfitResult {
  MATRIX request;      // a row a point: n inputs, the model's estimate of its value, its class 1-5
  VECTOR xbest;        // best point so far
  double fbest = 0.0;  // its value
};

// One request. x holds the points (a row each, n columns) and f their values and uncertainties (2
// columns; an uncertainty of 0 or less: unknown; a value that isn't finite: the function isn't
// defined there). A first call builds the state from them and needs dx, the resolution of each
// input; a later call (dx not used) adds them to the state of the file. The state is written to a
// new file that then takes the place of the old one. False on an error, whose text is in messages;
// the old state file then stands as it was.
bool snobfit(const std::string& file, const MATRIX& x, const MATRIX& f,
             const PARAMETERS& parameters, const VECTOR& dx, bool firstcall, SnobfitResult& result,
             Messages& messages);

// One value for a function f with soft constraints F1 <= F <= F2, to be minimised in its place.
// sigma(i) is how much a violation of constraint i counts as one unit, f0 a typical value of f at
// feasible points, Delta > 0 a typical deviation from it. Between -1 and 3, below 1 where all
// constraints hold; infinite inputs count as 1e100; NaN where f or a constraint isn't defined, and
// 1e100 when the shapes are wrong.
double softmerit(double f, const VECTOR& F, const VECTOR& F1, const VECTOR& F2, double f0,
                 double Delta, const VECTOR& sigma, Messages& messages);

}  // namespace torve
