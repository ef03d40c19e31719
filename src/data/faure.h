#pragma once

#include <cstdint>
#include <span>

#include "run/faure_state.h"

namespace torve {

enum class FaureStatus { ready, failed };

// Prepares the sequence for points of the dimension (at least 1). A dimension that no base of the
// first 250000 primes serves fails, as does a lack of memory.
void faureinit(FaureState& state, int dimension, FaureStatus& status);

// Writes the next point, each coordinate in [0, 1). False when memory for longer digits is missing.
bool faurenextpoint(FaureState& state, std::span<double> vector);

// The least prime not below n; 0 when that isn't among the first 250000 primes, whose last is
// 3497861.
std::int64_t prime_not_below(std::int64_t n);

}  // namespace torve
