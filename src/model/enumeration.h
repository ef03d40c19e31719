#pragma once

#include "model/metrics.h"
#include "run/trvspace.h"

namespace torve {

// Values of a model: the incumbent on entry of a strategy, the best on return.
struct ModelValue {
  double metric = no_model_yet;
  double meanerr = no_model_yet;
  double fit = no_model_yet;
};

// Fits every subset of `size` screened columns for output k (from 0) and keeps the best in
// bestchosen and bestbeta if it beats the incumbent. A subset within tolmeanerror ends the walk, so
// does a failed regression, which is the result.
bool trvenum1(RunState& run, int k, int size, ModelValue& best);

// Enumerates sizes 1 to nmax until the gain is too small. True when a regression failed, and what
// stands in bestchosen is incomplete.
bool trvenum(RunState& run, int k, int nmax);

// The candidate in thischoice, fitted and valued as a model of p terms. Its metric is that of all
// strategies; `failed` tells that the regression failed.
struct Candidate {
  double metric;
  double fit;
  bool failed;
};
Candidate value_candidate(RunState& run, int k, int p);
// The same for many candidates under the same rules.
Candidate value_candidate(RunState& run, int k, int p, const MetricRules& rules);

}  // namespace torve
