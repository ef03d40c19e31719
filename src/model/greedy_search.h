#pragma once

#include "model/enumeration.h"

namespace torve {

class FastGreedy;

// What build-up and back-step share during a call.
struct GreedySearch {
  RunState& run;
  int k;
  int maxn;
  ModelValue& value;  // of the model in workchoice, workbeta
  std::span<bool> workchoice;
  std::span<double> workbeta;
  bool nogain = true;
  FastGreedy* fast = nullptr;  // null: every candidate is fitted
};

// Fits the candidate in thischoice as a model of p terms and keeps it if it is better, or in any
// case with `forced`.
bool fit_and_judge(GreedySearch& search, int p, bool forced, const MetricRules& rules);

}  // namespace torve
