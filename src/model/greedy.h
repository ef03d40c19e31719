#pragma once

#include "model/enumeration.h"

namespace torve {

// The greedy strategies work on the model in workchoice, workbeta with its value, and change it
// only if they find something better. thischoice holds the last candidate afterwards,
// and thisbeta its coefficients once recall_last_candidate was called.

// Adds terms, one at a time, up to maxn. Returns whether nothing was gained.
bool trvbuildup(RunState& run, int k, int maxn, ModelValue& value, std::span<bool> workchoice,
                std::span<double> workbeta);

// Drops terms, one at a time; while there are more than maxn, whatever it costs. Returns whether
// nothing was gained.
bool trvbackstep(RunState& run, int k, int maxn, ModelValue& value, std::span<bool> workchoice,
                 std::span<double> workbeta);

}  // namespace torve
