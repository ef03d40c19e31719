#include "adaptive/minq/line_search.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace torve {

namespace {

constexpr double infinite = std::numeric_limits<double>::max();

Alp at_lower_end(double alpu) {
  return alpu <= -infinite ? Alp{-infinite, AlpCase::unbounded} : Alp{alpu, AlpCase::at_lower};
}

Alp at_upper_end(double alpo) {
  return alpo >= infinite ? Alp{infinite, AlpCase::unbounded} : Alp{alpo, AlpCase::at_upper};
}

// -gTp / pTGp, or the end before it. A quotient that overflows lies behind every end.
Alp bottom_of_parabola(double alpu, double alpo, double gTp, double pTGp) {
  const double alp = -gTp / pTGp;
  if (alp >= alpo || alp >= infinite) return at_upper_end(alpo);
  if (alp <= alpu || alp <= -infinite) return at_lower_end(alpu);
  return {alp, AlpCase::interior};
}

Alp foot_of_slope(double alpu, double alpo, double gTp) {
  if (gTp > 0.0) return at_lower_end(alpu);
  if (gTp < 0.0) return at_upper_end(alpo);
  return {std::clamp(0.0, alpu, alpo), AlpCase::interior};
}

// Values at the ends differ by (alpo - alpu)(gTp + pTGp (alpo + alpu) / 2).
Alp lower_end_of_hill(double alpu, double alpo, double gTp, double pTGp) {
  const bool no_lower = alpu <= -infinite;
  const bool no_upper = alpo >= infinite;
  if (no_lower && no_upper) return gTp > 0.0 ? at_lower_end(alpu) : at_upper_end(alpo);
  if (no_lower) return at_lower_end(alpu);
  if (no_upper) return at_upper_end(alpo);
  const double mean = 0.5 * alpo + 0.5 * alpu;
  return gTp + pTGp * mean < 0.0 ? at_upper_end(alpo) : at_lower_end(alpu);
}

}  // namespace

Alp getalp(double alpu, double alpo, double gTp, double pTGp, Messages& messages) {
  if (!(alpu <= alpo) || std::isnan(gTp) || std::isnan(pTGp)) {
    messages.say(fmt::format("getalp: {} {} {} {}", alpu, alpo, gTp, pTGp));
    messages.fail("programming error: no alp found");
    return {};
  }
  if (pTGp > 0.0) return bottom_of_parabola(alpu, alpo, gTp, pTGp);
  if (pTGp < 0.0) return lower_end_of_hill(alpu, alpo, gTp, pTGp);
  return foot_of_slope(alpu, alpo, gTp);
}

}  // namespace torve
