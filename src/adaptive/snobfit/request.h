#pragma once

#include <vector>

#include "adaptive/linalg/matrix.h"
#include "adaptive/linalg/messages.h"
#include "adaptive/snobfit/random.h"
#include "adaptive/snobfit/snobfit.h"
#include "adaptive/snobfit/state.h"

namespace torve {

// What a request point is there for.
enum class PointClass {
  quadratic = 1,  // minimiser of the quadratic model around the best point
  local = 2,      // proposed by the local model of a local point
  nonlocal = 3,   // proposed by the local model of another point
  large_box = 4,  // in a large box
  far_away = 5,   // far from all points
};

// The point of [u, v] with the lowest value; -1 when there is none where the function is defined.
// With anywhere set points outside of the box take part.
int best_point(const SnobfitState& state, const VECTOR& u, const VECTOR& v, bool anywhere);

// Fills the request class by class, as far as it can be filled. A row a point: n inputs, estimated
// value, class.
bool make_request(const SnobfitState& state, const PARAMETERS& parameters, Random& random,
                  MATRIX& request, Messages& messages);

}  // namespace torve
