#include "adaptive/snobfit/snobfit.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <numeric>

#include "adaptive/linalg/linalg.h"
#include "adaptive/snobfit/grid.h"
#include "adaptive/snobfit/request.h"
#include "adaptive/snobfit/routines.h"

namespace torve {
namespace {

// ---- arguments ----------------------------------------------------------------------------------

bool good_parameters(const PARAMETERS& p, Messages& messages) {
  if (p.u.size() == 0 || p.u.size() != p.v.size()) {
    return messages.fail("snobfit: dimensions of u and v in the params data do not match!");
  }
  for (int i = 0; i < p.u.size(); ++i) {
    // NaN fails the comparison too; the reciprocal of the width is needed.
    if (!(p.u(i) < p.v(i)) || !std::isnormal(p.v(i) - p.u(i))) {
      return messages.fail("snobfit: condition u(i) < v(i) is violated!");
    }
  }
  if (p.nreq < 0) return messages.fail("snobfit: nreq must not be negative!");
  if (!(p.p >= 0.0 && p.p <= 1.0)) return messages.fail("snobfit: p must lie between 0 and 1!");
  return true;
}

bool good_resolution(const VECTOR& dx, int n, Messages& messages) {
  if (dx.size() != n) {
    return messages.fail("snobfit: dimension of dx does not match to the params data!");
  }
  for (int i = 0; i < n; ++i) {
    if (!(dx(i) > 0.0) || !std::isfinite(dx(i))) {
      return messages.fail("snobfit: dx should only contain positive entries!");
    }
  }
  return true;
}

bool good_data(const MATRIX& x, const MATRIX& f, int n, Messages& messages) {
  if (x.rows() != f.rows()) {
    return messages.fail("snobfit: first dimension of x and f do not match!");
  }
  if (x.rows() == 0) return true;  // no points, whatever the number of columns
  if (x.columns() != n) return messages.fail("snobfit: second dimension of x is not n!");
  if (f.columns() != 2) return messages.fail("snobfit: second dimension of f is not 2!");
  if (!all_finite(x)) return messages.fail("snobfit: x should only contain finite entries!");
  return true;
}

// A result in use must come from a problem of the same number of inputs.
bool good_result(const SnobfitResult& result, int n, Messages& messages) {
  if (result.xbest.size() != 0 && result.xbest.size() != n) {
    return messages.fail("snobfit: dimension of xbest is not n!");
  }
  if (!result.request.empty() && result.request.columns() != n + 2) {
    return messages.fail("snobfit: dimensions of request do not match the params data!");
  }
  return true;
}

// ---- state --------------------------------------------------------------------------------------

bool old_state(const std::string& file, int n, SnobfitState& state, Messages& messages) {
  std::error_code error;
  if (!std::filesystem::exists(file, error)) {
    return messages.fail(fmt::format("snobfit: file {} does not exist as expected!", file));
  }
  return load_data(file, n, state, messages);
}

bool same(const VECTOR& a, const VECTOR& b) {
  return std::ranges::equal(a.span(), b.span());
}

// ---- models -------------------------------------------------------------------------------------

void resize_models(SnobfitState& state) {
  const int added = state.points() - state.d.rows();
  if (added == 0) return;
  const int n = state.inputs();
  add_rows(state.d, added, n);
  add_rows(state.g, added, n);
  add_rows(state.y, added, n);
  for (int k = 0; k < added; ++k) {
    state.sigma.push_back(0.0);
    state.fy.push_back(0.0);
  }
}

// Local models and proposed points of the points inew.
bool update_models(SnobfitState& state, const PARAMETERS& p, const std::vector<int>& inew,
                   Random& random, Messages& messages) {
  if (!state.has_models()) return true;
  resize_models(state);
  LocalFit fit;
  VECTOR y;
  double fy = 0.0;
  for (const int j : inew) {
    if (!snoblocf(j, state.x, state.f, state.near[at(j)], state.dx, fit, messages)) return false;
    if (!snobpoint(j, state.x, state.f, fit, p.u, p.v, state.dx, random, y, fy, messages)) {
      return false;
    }
    state.d.set_row(j, fit.d);
    state.g.set_row(j, fit.g);
    state.sigma(j) = fit.sigma;
    state.y.set_row(j, y);
    state.fy(j) = fy;
  }
  return true;
}

// Takes in the points and brings boxes, neighbours and models up to date.
bool update_state(SnobfitState& state, const MATRIX& x, const MATRIX& f, const PARAMETERS& p,
                  Random& random, Messages& messages) {
  std::vector<int> inew;
  const MATRIX none_x(0, state.inputs());
  const MATRIX none_f(0, 2);
  const bool none = x.rows() == 0;
  if (!snobupdt(state, none ? none_x : x, none ? none_f : f, x.rows(), p.u, p.v, inew, messages)) {
    return false;
  }
  if (!inew.empty() && inew.back() >= state.points()) {
    return messages.fail("snobfit: algorithm error: dimensions of x & max(inew) do not match!");
  }
  if (state.xl.rows() != state.points() || state.xu.rows() != state.points()) {
    return messages.fail("snobfit: algorithm error: size(xl, 1) /= sx .or. size(xu, 1) /= sx!");
  }
  // Proposed points belong to a request box.
  if (!same(state.u_request, p.u) || !same(state.v_request, p.v)) {
    inew.resize(at(state.points()));
    std::iota(inew.begin(), inew.end(), 0);
    state.u_request = p.u;
    state.v_request = p.v;
  }
  return update_models(state, p, inew, random, messages);
}

// A point of the request box, if there is one.
void set_best(const SnobfitState& state, const PARAMETERS& p, SnobfitResult& result) {
  int best = best_point(state, p.u, p.v, false);
  if (best < 0) best = best_point(state, p.u, p.v, true);
  result.xbest = best < 0 ? VECTOR() : state.x.row(best);
  result.fbest = best < 0 ? no_value : state.f(best, 0);
}

}  // namespace

bool snobfit(const std::string& file, const MATRIX& x, const MATRIX& f,
             const PARAMETERS& parameters, const VECTOR& dx, bool firstcall, SnobfitResult& result,
             Messages& messages) {
  if (!good_parameters(parameters, messages)) return false;
  const int n = parameters.u.size();
  if (firstcall && !good_resolution(dx, n, messages)) return false;
  if (!good_data(x, f, n, messages) || !good_result(result, n, messages)) return false;

  SnobfitState state;
  if (firstcall) {
    state = new_state(parameters.u, parameters.v, dx, static_cast<std::uint32_t>(parameters.seed));
  } else if (!old_state(file, n, state, messages)) {
    return false;
  }
  Random random(state.random);
  if (!update_state(state, x, f, parameters, random, messages)) return false;
  MATRIX request;
  if (!make_request(state, parameters, random, request, messages)) return false;
  state.random = random.state();
  if (!save_data(file, state, messages)) return false;
  result.request = request;
  set_best(state, parameters, result);
  return true;
}

}  // namespace torve
