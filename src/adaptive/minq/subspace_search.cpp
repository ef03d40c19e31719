#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <vector>

#include "adaptive/minq/ldl.h"
#include "adaptive/minq/minq_search.h"
#include "adaptive/minq/tolerances.h"

namespace torve {

namespace {

constexpr int nitrefmax = 3;  // refinements of a Newton step

// Free variables whose row and column of G depend, to rounding, on those of the factorisation:
// direction k has a 1 for the variable and changes no g_i of the factorisation.
struct Level {
  std::vector<VECTOR> directions;
  std::vector<double> curvatures;
};

// A direction with less curvature than rounding can feign.
bool falls_away(const Curvature& curvature) {
  return curvature.pTGp < -minq_tolerance * curvature.size;
}

double curvature_or_none(const Curvature& curvature) {
  return std::abs(curvature.pTGp) > minq_tolerance * curvature.size ? curvature.pTGp : 0.0;
}

// g'p, 0 when it is within rounding.
double slope_along(const MinqState& state, const VECTOR& p) {
  double sum = 0.0;
  double size = 0.0;
  for (int i = 0; i < p.size(); ++i) {
    sum += state.g(i) * p(i);
    size += std::abs(p(i)) * state.g_size(i);
  }
  return std::abs(sum) > minq_tolerance * size ? sum : 0.0;
}

// ---- the factorisation --------------------------------------------------------------------------

void drop_variables_at_bounds(const MinqProblem& problem, MinqState& state, Messages& messages) {
  for (int i = 0; i < problem.n(); ++i) {
    if (!state.in_factor[at(i)] || is_free(problem, state, i)) continue;
    ldldown(state.L, state.d, i, messages);
    state.in_factor[at(i)] = false;
  }
}

// Column j of G with the rows that the factorisation will then hold.
VECTOR column_for_factor(const MinqProblem& problem, const MinqState& state, int j) {
  VECTOR g(problem.n());
  for (int i = 0; i < problem.n(); ++i) {
    if (i == j || state.in_factor[at(i)]) g(i) = problem.G(i, j);
  }
  return g;
}

// p with p_j = 1 and p_K = -G_KK^-1 G_Kj, K being the variables of the factorisation.
VECTOR dependence(const MinqProblem& problem, const MinqState& state, int j) {
  VECTOR g = column_for_factor(problem, state, j);
  g(j) = 0.0;
  VECTOR p = ldl_solve(state.L, state.d, g);
  for (int i = 0; i < p.size(); ++i) p(i) = state.in_factor[at(i)] ? -p(i) : 0.0;
  p(j) = 1.0;
  return p;
}

// Takes every free variable into the factorisation that leaves it definite. A variable that was
// refused is asked again when others have come in. Returns a direction of negative curvature if one
// is met.
std::optional<VECTOR> add_free_variables(const MinqProblem& problem, MinqState& state,
                                         Messages& messages) {
  bool added = true;
  while (added) {
    added = false;
    for (int j = 0; j < problem.n(); ++j) {
      if (state.in_factor[at(j)] || !is_free(problem, state, j)) continue;
      VECTOR p;
      const VECTOR g = column_for_factor(problem, state, j);
      if (ldlup(state.L, state.d, j, g, p, messages) == LdlChange::done) {
        state.in_factor[at(j)] = true;
        added = true;
      } else if (falls_away(curvature_along(problem.G, p))) {
        return p;
      }
    }
  }
  return {};
}

Level dependent_variables(const MinqProblem& problem, const MinqState& state) {
  Level level;
  for (int j = 0; j < problem.n(); ++j) {
    if (state.in_factor[at(j)] || !is_free(problem, state, j)) continue;
    level.directions.push_back(dependence(problem, state, j));
    level.curvatures.push_back(
        curvature_or_none(curvature_along(problem.G, level.directions.back())));
  }
  return level;
}

// G on the directions that change no g_i of the factorisation is the Schur complement of the
// factorised block. Its diagonal is next to 0, so that it is indefinite if and only if an element
// off the diagonal isn't; the sum or the difference of two directions shows that.
std::optional<VECTOR> way_down(const MinqProblem& problem, const Level& level) {
  for (const VECTOR& p : level.directions) {
    if (falls_away(curvature_along(problem.G, p))) return p;
  }
  for (std::size_t a = 0; a < level.directions.size(); ++a) {
    for (std::size_t b = 0; b < a; ++b) {
      for (const double sign : {1.0, -1.0}) {
        VECTOR p = level.directions[a];
        for (int i = 0; i < p.size(); ++i) p(i) += sign * level.directions[b](i);
        if (falls_away(curvature_along(problem.G, p))) return p;
      }
    }
  }
  return {};
}

// ---- steps --------------------------------------------------------------------------------------

// The interval of alp that keeps x + alp p in the box. A way that overflows is cut short: there is
// a bound in that direction. Each end knows which variable it belongs to.
struct Room {
  double alpu = -minq_infinity;
  double alpo = minq_infinity;
  int lower = -1;
  int upper = -1;
};

Room room_along(const MinqProblem& problem, const VECTOR& x, const VECTOR& p) {
  constexpr double longest = 0.5 * minq_infinity;
  Room room;
  for (int i = 0; i < p.size(); ++i) {
    if (p(i) == 0.0) continue;
    const bool up = p(i) > 0.0;
    if (has_upper_bound(problem, i)) {
      const double alp = std::clamp((problem.xo(i) - x(i)) / p(i), -longest, longest);
      if (up && alp < room.alpo) room.alpo = alp, room.upper = i;
      if (!up && alp > room.alpu) room.alpu = alp, room.lower = i;
    }
    if (has_lower_bound(problem, i)) {
      const double alp = std::clamp((problem.xu(i) - x(i)) / p(i), -longest, longest);
      if (up && alp > room.alpu) room.alpu = alp, room.lower = i;
      if (!up && alp < room.alpo) room.alpo = alp, room.upper = i;
    }
  }
  return room;
}

// The bound that variable i meets on the way alp p, to the last bit.
void put_at_bound(const MinqProblem& problem, VECTOR& x, int i, double way) {
  x(i) = way > 0.0 ? problem.xo(i) : problem.xu(i);
}

enum class Reached { inside, bound, unbounded, nowhere };

// Goes to the minimiser along p, given the slope and the curvature there. p is 0 but for free
// variables; rounding may take one to its bound in a step that ends inside.
Reached line_search(const MinqProblem& problem, MinqState& state, const VECTOR& p, double gTp,
                    double pTGp, Messages& messages) {
  const Room room = room_along(problem, state.x, p);
  const Alp step = getalp(room.alpu, room.alpo, gTp, pTGp, messages);
  const int nfree = free_variables(problem, state);
  ++state.nsub;
  switch (step.found) {
    case AlpCase::none:
      return Reached::nowhere;
    case AlpCase::unbounded: {
      VECTOR direction = p;
      for (double& value : direction.span()) value = step.alp > 0.0 ? value : -value;
      report_unbounded(problem, state, direction, false, messages);
      return Reached::unbounded;
    }
    case AlpCase::interior:
      state.x = moved(problem, state.x, step.alp, p);
      break;
    case AlpCase::at_lower:
      state.x = moved(problem, state.x, step.alp, p);
      put_at_bound(problem, state.x, room.lower, -p(room.lower));
      break;
    case AlpCase::at_upper:
      state.x = moved(problem, state.x, step.alp, p);
      put_at_bound(problem, state.x, room.upper, p(room.upper));
      break;
  }
  evaluate(problem, state);
  if (!state.finite) return Reached::nowhere;
  return free_variables(problem, state) < nfree ? Reached::bound : Reached::inside;
}

// ---- Newton's direction -------------------------------------------------------------------------

bool gradient_is_left(const MinqProblem& problem, const MinqState& state) {
  for (int i = 0; i < problem.n(); ++i) {
    if (state.in_factor[at(i)] && std::abs(state.g(i)) > minq_tolerance * state.g_size(i))
      return true;
  }
  return false;
}

// -G_KK^-1 g_K, and its slope; the curvature is the negative of the slope.
double newton_direction(const MinqState& state, VECTOR& p) {
  VECTOR g = state.g;
  for (int i = 0; i < g.size(); ++i) {
    if (!state.in_factor[at(i)]) g(i) = 0.0;
  }
  p = ldl_solve(state.L, state.d, g);
  double slope = 0.0;
  for (int i = 0; i < p.size(); ++i) {
    p(i) = -p(i);
    slope += g(i) * p(i);
  }
  return slope;
}

void say_factor(const MinqProblem& problem, const MinqState& state, Messages& messages) {
  if (problem.prt <= 0) return;
  double minlam = minq_infinity;
  double maxlam = 0.0;
  for (int i = 0; i < problem.n(); ++i) {
    if (!state.in_factor[at(i)]) continue;
    minlam = std::min(minlam, state.d(i));
    maxlam = std::max(maxlam, state.d(i));
  }
  if (maxlam > 0.0) messages.say(fmt::format("minlam / maxlam = {}", minlam / maxlam));
}

// True when value isn't worse than old but for rounding.
bool acceptable(double value, double old) {
  return value <= std::max(old * minq_acceptance, old / minq_acceptance);
}

// Newton's step and its refinements, each of which is Newton's step again from the gradient at the
// point reached. Stops at a bound, when no gradient is left, when a refinement doesn't lower the
// value, or after nitrefmax of them.
Reached newton_steps(const MinqProblem& problem, MinqState& state, Messages& messages) {
  const auto trace = [&](const char* text) {
    if (problem.prt > 0) messages.say(text);
  };
  for (int nitref = 0; gradient_is_left(problem, state); ++nitref) {
    if (nitref > nitrefmax) {
      trace("terminate: nitref > nitrefmax");
      break;
    }
    VECTOR p;
    const double slope = newton_direction(state, p);
    if (!(slope < 0.0)) {
      trace("zero direction");
      break;
    }
    const MinqState old = state;
    const Reached reached = line_search(problem, state, p, slope, -slope, messages);
    if (reached != Reached::inside) return reached;
    if (nitref > 0 && state.fct >= old.fct) {
      trace("terminate: nitref > 0 and nfree_old == nfree and fctnew >= fct");
      if (!acceptable(state.fct, old.fct)) state = old;
      break;
    }
  }
  return Reached::inside;
}

// Along each dependent variable in turn, once the gradient of the others is gone.
Reached level_steps(const MinqProblem& problem, MinqState& state, const Level& level,
                    Messages& messages) {
  for (std::size_t k = 0; k < level.directions.size(); ++k) {
    const VECTOR& p = level.directions[k];
    const double slope = slope_along(state, p);
    if (slope == 0.0) continue;
    const Reached reached =
        line_search(problem, state, p, slope, std::max(0.0, level.curvatures[k]), messages);
    if (reached != Reached::inside) return reached;
  }
  return Reached::inside;
}

// One way to the minimiser of the face, or to its rim.
Reached face_search(const MinqProblem& problem, MinqState& state, Messages& messages) {
  drop_variables_at_bounds(problem, state, messages);
  const std::optional<VECTOR> fall = add_free_variables(problem, state, messages);
  if (fall) {
    const double pTGp = curvature_along(problem.G, *fall).pTGp;
    return line_search(problem, state, *fall, slope_along(state, *fall), pTGp, messages);
  }
  say_factor(problem, state, messages);
  const Level level = dependent_variables(problem, state);
  if (const std::optional<VECTOR> down = way_down(problem, level)) {
    const double pTGp = curvature_along(problem.G, *down).pTGp;
    return line_search(problem, state, *down, slope_along(state, *down), pTGp, messages);
  }
  const Reached reached = newton_steps(problem, state, messages);
  if (reached != Reached::inside) return reached;
  return level_steps(problem, state, level, messages);
}

}  // namespace

// Each bound that is met makes the face smaller, so that n + 1 faces are enough.
MinqStep subspace_search(const MinqProblem& problem, MinqState& state, Messages& messages) {
  for (int face = 0; face <= problem.n() && !state.face_is_done; ++face) {
    switch (face_search(problem, state, messages)) {
      case Reached::inside:
        state.face_is_done = true;
        break;
      case Reached::bound:
        break;
      case Reached::unbounded:
        return MinqStep::unbounded;
      case Reached::nowhere:
        return MinqStep::broken;
    }
    if (problem.prt > 0) {
      messages.say(fmt::format("ssrch nsub = {} nfree = {} fct = {}", state.nsub,
                               free_variables(problem, state), state.fct));
    }
  }
  drop_variables_at_bounds(problem, state, messages);
  return MinqStep::go_on;
}

}  // namespace torve
