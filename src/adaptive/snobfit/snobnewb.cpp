// The explored box when a point or a request box reaches beyond it (Huyer and Neumaier).
#include <algorithm>
#include <cmath>

#include "adaptive/snobfit/grid.h"
#include "adaptive/snobfit/routines.h"
#include "adaptive/snobfit/shapes.h"

namespace torve {
namespace {

// Faces at the old bounds move to the new ones; all others stay, so that the boxes fill the box as
// before.
void extend_boxes(SnobfitState& state, const VECTOR& u, const VECTOR& v) {
  for (int j = 0; j < state.points(); ++j) {
    for (int i = 0; i < state.inputs(); ++i) {
      if (state.xl(j, i) <= state.u(i)) state.xl(j, i) = u(i);
      if (state.xu(j, i) >= state.v(i)) state.xu(j, i) = v(i);
    }
  }
}

}  // namespace

bool snobnewb(SnobfitState& state, const MATRIX& x, const VECTOR& u1, const VECTOR& v1,
              bool& extended, Messages& messages) {
  const int n = state.inputs();
  Shapes shapes("snobnewb", messages);
  shapes.matrix("x", x, x.rows(), n).vector("u1", u1, n).vector("v1", v1, n);
  shapes.vector("u", state.u, n).vector("v", state.v, n);
  shapes.matrix("xl", state.xl, state.points(), n).matrix("xu", state.xu, state.points(), n);
  if (!shapes.good()) return false;

  VECTOR u = state.u;
  VECTOR v = state.v;
  for (int i = 0; i < n; ++i) {
    u(i) = std::min(u(i), u1(i));
    v(i) = std::max(v(i), v1(i));
    for (int j = 0; j < x.rows(); ++j) {
      u(i) = std::min(u(i), x(j, i));
      v(i) = std::max(v(i), x(j, i));
    }
    if (!std::isfinite(v(i) - u(i))) {
      return messages.fail("snobnewb: the points lie too far apart!");
    }
  }
  extended = false;
  for (int i = 0; i < n; ++i) extended |= u(i) < state.u(i) || v(i) > state.v(i);
  if (!extended) return true;
  extend_boxes(state, u, v);
  state.u = u;
  state.v = v;
  for (int j = 0; j < state.points(); ++j) {
    state.small[at(j)] = smallness(state.xl.row(j), state.xu.row(j), u, v);
  }
  return true;
}

}  // namespace torve
