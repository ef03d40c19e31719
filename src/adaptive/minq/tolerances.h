#pragma once

#include <limits>

namespace torve {

// A hundred times the distance from 1 to the next number: what rounding may leave of a sum,
// relative to the magnitudes of its terms.
inline constexpr double minq_tolerance = 2.220446049250313e-14;

// A new value of the function, at most this many times the old one, counts as not worse.
inline constexpr double minq_acceptance = 1.0000000000000222;

// Stands for no bound, with either sign.
inline constexpr double minq_infinity = std::numeric_limits<double>::max();

}  // namespace torve
