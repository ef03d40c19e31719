#include <fmt/format.h>

#include <cmath>

#include "adaptive/minq/minq_search.h"
#include "adaptive/minq/tolerances.h"

namespace torve {

namespace {

// The way from x to the bounds along coordinate i.
double down_to_bound(const MinqProblem& problem, const MinqState& state, int i) {
  return has_lower_bound(problem, i) ? problem.xu(i) - state.x(i) : -minq_infinity;
}

double up_to_bound(const MinqProblem& problem, const MinqState& state, int i) {
  return has_upper_bound(problem, i) ? problem.xo(i) - state.x(i) : minq_infinity;
}

// A variable between equal bounds never takes part, and one between its bounds only until the face
// is done.
bool takes_part(const MinqProblem& problem, const MinqState& state, int i) {
  if (problem.xu(i) == problem.xo(i)) return false;
  return !(state.face_is_done && is_free(problem, state, i));
}

// A bound that is reached is met to the last bit.
void set_coordinate(const MinqProblem& problem, MinqState& state, int i, const Alp& step) {
  const double old = state.x(i);
  double& x = state.x(i);
  if (step.found == AlpCase::at_lower) {
    x = problem.xu(i);
  } else if (step.found == AlpCase::at_upper) {
    x = problem.xo(i);
  } else {
    VECTOR p(problem.n());
    p(i) = 1.0;
    state.x = moved(problem, state.x, step.alp, p);
  }
  const double change = state.x(i) - old;
  for (int j = 0; j < problem.n(); ++j) {
    const double term = problem.G(j, i) * change;
    state.g(j) += term;
    state.g_size(j) += std::abs(term);
  }
}

}  // namespace

// A slope within rounding counts as none, and a step must gain more than the rounding of the slope
// could feign. The minimiser is that of the whole line: where G(i, i) < 0 x jumps to the better
// end.
MinqStep coordinate_search(const MinqProblem& problem, MinqState& state, Messages& messages) {
  double gain_cs = 0.0;
  bool gained = false;
  for (int i = 0; i < problem.n(); ++i) {
    if (!takes_part(problem, state, i)) continue;
    const double rounding = minq_tolerance * state.g_size(i);
    const double slope = std::abs(state.g(i)) > rounding ? state.g(i) : 0.0;
    const double curvature = problem.G(i, i);
    const Alp step = getalp(down_to_bound(problem, state, i), up_to_bound(problem, state, i), slope,
                            curvature, messages);
    if (step.found == AlpCase::none) return MinqStep::broken;
    if (step.found == AlpCase::unbounded) {
      VECTOR p(problem.n());
      p(i) = step.alp > 0.0 ? 1.0 : -1.0;
      report_unbounded(problem, state, p, true, messages);
      return MinqStep::unbounded;
    }
    const double gain = -step.alp * (slope + 0.5 * curvature * step.alp);
    if (!(gain > rounding * std::abs(step.alp))) continue;
    if (problem.prt > 0 && !is_free(problem, state, i))
      messages.say(fmt::format("unfixstep: {}", i + 1));
    set_coordinate(problem, state, i, step);
    gain_cs += gain;
    gained = true;
  }
  if (problem.prt > 0) {
    messages.say(fmt::format("csrch gain_cs = {} fct = {}", gain_cs, state.fct));
    if (!state.face_is_done) messages.say("bounds may be freed in next csearch");
  }
  if (!gained) return MinqStep::no_gain;
  state.face_is_done = false;
  evaluate(problem, state);
  return state.finite ? MinqStep::go_on : MinqStep::broken;
}

}  // namespace torve
