#pragma once

#include <cstdint>

#include "run/trvspace.h"

namespace torve {

// One number in [0, 1) of the multiplicative congruential generator s := 65539 s mod 2^31 (RANDU,
// kept so that sampled points can be reproduced). A state of 0, or reset, starts it from the seed;
// a seed of 0 gives 0 for ever.
double randomnumber(std::int32_t& state, std::int32_t seed, bool reset = false);

// Fills rows first to last (from 0) of the data with points of the box and has them evaluated;
// last comes back as the last row that was obtained. method: 1, 2 random, 3 Faure, any other: the
// points stand in their rows already. evaluate: their rows of xij are filled as well.
void samplepoints(RunState& run, int method, int first, int& last, bool evaluate);

}  // namespace torve
