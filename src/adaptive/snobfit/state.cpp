#include "adaptive/snobfit/state.h"

#include "adaptive/snobfit/random.h"

namespace torve {

SnobfitState new_state(const VECTOR& u, const VECTOR& v, const VECTOR& dx, std::uint32_t seed) {
  const int n = dx.size();
  SnobfitState state;
  state.x = state.xl = state.xu = state.nsplit = MATRIX(0, n);
  state.d = state.g = state.y = MATRIX(0, n);
  state.f = MATRIX(0, 2);
  state.dx = dx;
  state.u = state.u_request = u;
  state.v = state.v_request = v;
  state.random = Random(seed).state();
  return state;
}

}  // namespace torve
