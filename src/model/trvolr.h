#pragma once

#include <span>

#include "run/trvspace.h"

namespace torve {

// Least-squares coefficients of a subset of columns for output k (from 0), on the rows that take
// part and hold a value of the output. A chain of methods, cheapest first: one-term formula, DGELS,
// LSEI, Gauss-Seidel, and at last a solver by file. Every answer but the last link's is tested by
// olrcheck, and the first that passes ends the chain. `chosen` and `beta` have one entry a column;
// unchosen columns get 0. Returns whether every method failed. A code of the run (51, 68) may be
// set. Where the caller asks for it, `sse` gets the model's sum of squared errors, which the check
// finds on its way and which equals ssefit's to the last bit; it is left alone, or sse_unknown,
// where the check doesn't know it.
bool trvolr(RunState& run, ColumnMask chosen, int k, std::span<double> beta, double* sse = nullptr);

// The same fit with the model bounded below or above at the points of a bounding set (nothing: no
// such rows), by LSEI. When it fails, all coefficients are `preset`, which gives a huge error.
bool trvclr(RunState& run, const CRELEM* bounding, ColumnMask chosen, int k,
            std::span<double> beta);

// The fit of a candidate: with the output's constraints if it has any. `sse` as above.
bool fit_candidate(RunState& run, ColumnMask chosen, int k, std::span<double> beta,
                   double* sse = nullptr);

// Room for DGELS on m rows and n columns. False: code 51. The work space only grows, and how DGELS
// orders its sums may depend on how much there is.
bool request_dgels(RunState& run, int m, int n);

// Room for the run's fits, made once the catalogue and the points are known. False: code 51.
bool request_least_squares(RunState& run);

}  // namespace torve
