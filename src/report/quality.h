#pragma once

#include <span>

#include "model/metrics.h"
#include "run/trvspace.h"

namespace torve {

// Obtains the test points that are to be sampled, evaluates every model on every set of points, and
// keeps what came of it in run.quality. The run's code is set when sampling ends it.
void qualitymetrics(RunState& run);

// The measures of one output on one set. z and y hold observed and model values; points whose z is
// within 0.0001 of preset don't count.
struct QualityRules {
  double preset = 0.0;
  bool constant = false;  // the total sum of squares is taken about the mean
  int terms = 0;
  int points = 0;  // what the metrics take for the number of points; 0: those that count
  MetricRules metrics;
};
SetQuality measure(std::span<const double> z, std::span<const double> y, const QualityRules& rules);

}  // namespace torve
