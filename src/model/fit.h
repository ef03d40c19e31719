#pragma once

#include <span>

#include "model/metrics.h"
#include "run/trvspace.h"

namespace torve {

inline constexpr double sse_unknown = -1.0;

// Room for a mask and a vector over the data.
inline bool request_row_arrays(RunState& run) {
  return run.lsq.rowsuse.request(run.memory, run.sizes.ndata) &&
         run.lsq.yhat.request(run.memory, run.sizes.ndata);
}

// Marks in lsq.rowsuse the rows that take part and hold a value of output k; returns their count.
int mark_usable_rows(RunState& run, int k);
inline int find_usable_rows(RunState& run, int k) {
  return run.lsq.seriesoutput == k ? run.lsq.seriesrows : mark_usable_rows(run, k);
}

// While it lives, fits of one output follow upon each other and nothing else happens: the points
// don't change, so that their rows are marked once, and the clock of a fit starts where that of the
// one before stopped. The metric and the step to the next subset thus count as the next fit's time:
// some 50 ns for each subset, where a reading of its own would cost 20.
class FitSeries {
 public:
  FitSeries(RunState& run, int k);
  ~FitSeries() { lsq_.seriesoutput = -1; }
  FitSeries(const FitSeries&) = delete;
  FitSeries& operator=(const FitSeries&) = delete;

 private:
  LeastSquares& lsq_;
};

// Fits the last candidate of a greedy search, so that thisbeta holds its coefficients, where that
// was left undone. Its fit has been counted.
void recall_last_candidate(RunState& run);
// Where thisbeta gets other coefficients.
inline void forget_last_candidate(RunState& run) {
  run.walk.last_candidate.reset();
}

// Fit of the working model (thischoice, thisbeta) for output k: its sum of squared errors, or the
// largest percentage error for modeler 8.
double fit(RunState& run, int k);
double ssefit(RunState& run, int k);
// The same where the regression may have left the sum of squares, or sse_unknown.
inline double fit(RunState& run, int k, double sse) {
  const bool is_sse = run.options.modeler != static_cast<int>(Metric::madp);
  if (is_sse && sse != sse_unknown) return sse;
  const double value = fit(run, k);
  run.timers.clock.seconds();  // not the time of the next fit of a series
  return value;
}

// The run's metric for a fit of output data with p terms, and the mean error.
MetricRules metric_rules(const RunState& run);
double fitmetric(const RunState& run, double f, int p);
double meanerror(const RunState& run, double f);

// Chosen columns of a mask.
int count(std::span<const bool> mask);

// The full fit of output k on every screened column: noise level, least SSE, magnitudes of the
// columns. Returns the bound of the scaled coefficients, 1e31 when the fit failed.
double estimatesigma(RunState& run, int k);

// Keeps the working model as the output's model and reports it. Terms whose coefficient is 0 or no
// number aren't part of it.
void storemodel(RunState& run, int k, double metric);

// The line of an accepted model, on screen and listing.
void reportmodel(RunState& run, int k, double metric);

}  // namespace torve
