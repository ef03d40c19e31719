#pragma once

#include "model/enumeration.h"

namespace torve {

// Tries the subset in thischoice and keeps it in `best` and as the output's model where it is
// better. The result is its mean error by the plain formula, whatever the metric.
double try_subset(RunState& run, int k, int size, const MetricRules& rules, ModelValue& best,
                  bool& failed_fit);

// The same outcome as a fit of every subset of `size` screened columns: the same model to the last
// bit, the same counts. All subsets are valued on a triangle of the data; those that could win or
// end the walk, and those of which the triangle can't be sure, are fitted in their order. True when
// the walk was made; then `failed_fit` tells whether a regression failed. False where it doesn't
// apply: bounds, debug, few subsets, few rows, a metric that doesn't rise with the sum of
// squares, DGELS switched off, numbers near the ends of the range.
bool enumerate_fast(RunState& run, int k, int size, const MetricRules& rules, ModelValue& best,
                    bool& failed_fit);

}  // namespace torve
