#include "adaptive/minq/minq.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "adaptive/linalg/linalg.h"
#include "adaptive/minq/minq_search.h"
#include "adaptive/minq/tolerances.h"

namespace torve {

// ---- evaluation ---------------------------------------------------------------------------------

bool has_lower_bound(const MinqProblem& problem, int i) {
  return problem.xu(i) > -minq_infinity;
}

bool has_upper_bound(const MinqProblem& problem, int i) {
  return problem.xo(i) < minq_infinity;
}

bool is_free(const MinqProblem& problem, const MinqState& state, int i) {
  return state.x(i) > problem.xu(i) && state.x(i) < problem.xo(i);
}

int free_variables(const MinqProblem& problem, const MinqState& state) {
  int count = 0;
  for (int i = 0; i < problem.n(); ++i) count += is_free(problem, state, i) ? 1 : 0;
  return count;
}

void evaluate(const MinqProblem& problem, MinqState& state) {
  const int n = problem.n();
  state.g = problem.c;
  state.g_size = VECTOR(n);
  for (int i = 0; i < n; ++i) state.g_size(i) = std::abs(problem.c(i));
  for (int j = 0; j < n; ++j) {
    if (state.x(j) == 0.0) continue;
    for (int i = 0; i < n; ++i) {
      const double term = problem.G(i, j) * state.x(j);
      state.g(i) += term;
      state.g_size(i) += std::abs(term);
    }
  }
  double twice = 0.0;
  for (int i = 0; i < n; ++i) twice += state.x(i) * (problem.c(i) + state.g(i));
  state.fct = problem.gamma + 0.5 * twice;
  state.finite = all_finite(state.x) && all_finite(state.g_size.span()) && std::isfinite(state.fct);
}

VECTOR moved(const MinqProblem& problem, const VECTOR& x, double alp, const VECTOR& p) {
  VECTOR result = x;
  for (int i = 0; i < problem.n(); ++i) {
    if (p(i) != 0.0) result(i) = std::clamp(x(i) + alp * p(i), problem.xu(i), problem.xo(i));
  }
  return result;
}

Curvature curvature_along(const MATRIX& G, const VECTOR& p) {
  Curvature sum;
  for (int j = 0; j < p.size(); ++j) {
    if (p(j) == 0.0) continue;
    for (int i = 0; i < p.size(); ++i) {
      const double term = p(i) * G(i, j) * p(j);
      sum.pTGp += term;
      sum.size += std::abs(term);
    }
  }
  return sum;
}

// ---- words --------------------------------------------------------------------------------------

namespace {

void say_curvature(const MinqProblem& problem, const MinqState& state, const VECTOR& p,
                   Messages& messages) {
  const Curvature curvature = curvature_along(problem.G, p);
  double gTp = 0.0;
  double gam1 = 0.0;
  for (int i = 0; i < p.size(); ++i) {
    gTp += state.g(i) * p(i);
    gam1 += problem.c(i) * p(i);
  }
  const VECTOR diagonal = get_diag(problem.G);
  const double quot = curvature.size > 0.0 ? curvature.pTGp / curvature.size : 0.0;
  messages.say("f(alp*x) = gam + gam1 * alp + gam2 * alp^2 / 2, where:");
  messages.say(fmt::format("gTp = {}", gTp));
  messages.say(fmt::format("pTGp = {}", curvature.pTGp));
  messages.say(fmt::format("quot = {}", quot));
  messages.say(fmt::format("gam1 = {}", gam1));
  messages.say(fmt::format("gam2 = {}", curvature.pTGp));
  messages.say(fmt::format("min_diag_G = {}", std::ranges::min(diagonal.span())));
  messages.say(fmt::format("max_diag_G = {}", std::ranges::max(diagonal.span())));
}

}  // namespace

void report_unbounded(const MinqProblem& problem, MinqState& state, const VECTOR& p,
                      bool coordinate, Messages& messages) {
  if (coordinate) {
    messages.say("minq: function unbounded below in coordinate direction, unbounded direction");
    messages.say("possibly caused by roundoff.");
  } else {
    messages.say("minq: function unbounded below, unbounded subspace direction");
    messages.say("possibly caused by roundoff: regularize G to avoid this!");
  }
  if (problem.prt > 0) say_curvature(problem, state, p, messages);
  state.x = p;
  state.fct = -minq_infinity;
}

namespace {

void say_where(const MinqProblem& problem, const MinqState& state, Messages& messages) {
  if (problem.prt <= 0) return;
  for (int i = 0; i < problem.n(); ++i) {
    const char* where = state.x(i) <= problem.xu(i)   ? "at lower bound"
                        : state.x(i) >= problem.xo(i) ? "at upper bound"
                                                      : "free";
    messages.say(fmt::format("x({}) = {} {}", i + 1, state.x(i), where));
  }
}

// ---- arguments ----------------------------------------------------------------------------------

bool shapes_are_right(const VECTOR& c, const MATRIX& G, const VECTOR& xu, const VECTOR& xo,
                      const VECTOR& xx, Messages& messages) {
  const int n = G.rows();
  if (G.columns() != n) return messages.fail("minq: Hessian has wrong dimensions");
  if (c.size() != n) return messages.fail("minq: linear term has wrong dimension");
  if (xu.size() != n) return messages.fail("minq: lower bound has wrong dimension");
  if (xo.size() != n) return messages.fail("minq: upper bound has wrong dimension");
  if (xx.size() != 0 && xx.size() != n)
    return messages.fail("minq: initial vector has wrong dimension");
  return true;
}

bool values_are_right(double gamma, const VECTOR& c, const MATRIX& G, const VECTOR& xu,
                      const VECTOR& xo, const VECTOR& xx, Messages& messages) {
  if (!std::isfinite(gamma) || !all_finite(c) || !all_finite(G))
    return messages.fail("minq: infinite value in the linear term or the Hessian");
  for (int i = 0; i < c.size(); ++i) {
    const bool some_number = xu(i) < minq_infinity && xo(i) > -minq_infinity;
    if (!some_number || !(xu(i) <= xo(i)))
      return messages.fail("minq: lower bound is above upper bound");
  }
  if (!all_finite(xx)) return messages.fail("minq: error: infinite value in xx");
  return true;
}

MinqState start_at(const MinqProblem& problem, const VECTOR& xx) {
  const int n = problem.n();
  MinqState state;
  state.x = VECTOR(n);
  for (int i = 0; i < n; ++i)
    state.x(i) = std::clamp(xx.size() > 0 ? xx(i) : 0.0, problem.xu(i), problem.xo(i));
  state.L = eye(n);
  state.d = VECTOR(n, 1.0);
  state.in_factor.assign(at(n), false);
  evaluate(problem, state);
  return state;
}

// Only the symmetric part of G counts in x'Gx. Half of each, so that the sum doesn't overflow.
MATRIX symmetric_part(const MATRIX& G) {
  MATRIX part = G;
  for (int j = 0; j < G.columns(); ++j) {
    for (int i = 0; i < G.rows(); ++i) {
      if (G(i, j) != G(j, i)) part(i, j) = 0.5 * G(i, j) + 0.5 * G(j, i);
    }
  }
  return part;
}

// ---- the loop -----------------------------------------------------------------------------------

// A coordinate search that finds nothing to gain on a face that is done ends the run; until then
// each round takes variables off their bounds and minimises over the face they open. The value
// falls with each round, so that no face comes up twice but for rounding, which the limit is for.
MinqStatus search(const MinqProblem& problem, MinqState& state, Messages& messages) {
  const int limit = 3 * problem.n() + 10;
  MinqState best = state;
  for (int iteration = 0; iteration < limit; ++iteration) {
    if (!state.finite) return MinqStatus::bad_arguments;
    const MinqStep step = coordinate_search(problem, state, messages);
    if (step == MinqStep::unbounded) return MinqStatus::unbounded;
    if (step == MinqStep::broken) return MinqStatus::bad_arguments;
    if (step == MinqStep::no_gain && state.face_is_done) {
      if (problem.prt > 0) messages.say("terminate: no improvement in coordinate search");
      return MinqStatus::minimum;
    }
    const MinqStep next = subspace_search(problem, state, messages);
    if (next == MinqStep::unbounded) return MinqStatus::unbounded;
    if (next == MinqStep::broken) return MinqStatus::bad_arguments;
    if (state.fct < best.fct) best = state;
  }
  state = best;
  return MinqStatus::iteration_limit;
}

void word_the_end(const MinqProblem& problem, const MinqState& state, MinqStatus ier,
                  Messages& messages) {
  switch (ier) {
    case MinqStatus::minimum:
      say_where(problem, state, messages);
      if (problem.prt > 0) messages.say(fmt::format("minq: minimum found fct = {}", state.fct));
      break;
    case MinqStatus::iteration_limit:
      messages.say("minq: incomplete minimization: maximim number of iterations");
      break;
    case MinqStatus::bad_arguments:
      messages.fail("infinite xx in minq!");
      break;
    case MinqStatus::unbounded:  // worded where the direction was met
      break;
  }
}

}  // namespace

MinqResult minq(double gamma, const VECTOR& c, const MATRIX& G, const VECTOR& xu, const VECTOR& xo,
                int prt, Messages& messages, const VECTOR& xx) {
  if (!shapes_are_right(c, G, xu, xo, xx, messages)) return {};
  if (!values_are_right(gamma, c, G, xu, xo, xx, messages)) return {};
  const MinqProblem problem = {gamma, c, symmetric_part(G), xu, xo, prt};
  MinqState state = start_at(problem, xx);
  const MinqStatus ier = search(problem, state, messages);
  word_the_end(problem, state, ier, messages);
  return {state.x, state.fct, ier, state.nsub};
}

}  // namespace torve
