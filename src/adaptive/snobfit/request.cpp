// The points of a request (Huyer and Neumaier): one of class 1, then a mixture of
// classes 2 and 3 with class 4, and class 5 for what is missing.
#include "adaptive/snobfit/request.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <numeric>

#include "adaptive/snobfit/grid.h"
#include "adaptive/snobfit/routines.h"

namespace torve {
namespace {

// The places that are tried when that of the class-1 point is taken: random ones around it, each
// time in a larger part of the trust box, from a tenth to the whole.
constexpr int class_1_tries = 10;

// Points of the quadratic fit at most, for the time it takes: n (n + 3) goes beyond from 19 inputs
// on.
constexpr int most_neighbours = 400;

// A point that a class has to offer.
struct Offer {
  int origin;  // the point whose box or model it comes from
  PointClass kind;
  VECTOR point;
  double value;  // estimated
};

struct Request {
  const SnobfitState& state;
  const PARAMETERS& parameters;
  Random& random;
  Messages& messages;
  MATRIX points;  // a row a point
  VECTOR values;
  std::vector<PointClass> classes;
  VECTOR least_apart;  // from any point

  int missing() const { return parameters.nreq - points.rows(); }
};

double linear_estimate(const SnobfitState& state, int j, const VECTOR& point) {
  double value = state.f(j, 0);
  if (state.has_models()) {
    for (int i = 0; i < point.size(); ++i) value += state.g(j, i) * (point(i) - state.x(j, i));
  }
  return std::isfinite(value) ? value : no_value;
}

// apart: from the other points of the request.
bool add(Request& request, const Offer& offer, const VECTOR& apart) {
  const bool free = stands_apart(offer.point, request.state.x, request.least_apart) &&
                    stands_apart(offer.point, request.points, apart);
  if (!free) return false;
  request.points.append_row(offer.point);
  request.values.push_back(offer.value);
  request.classes.push_back(offer.kind);
  return true;
}

// ---- class 1 ------------------------------------------------------------------------------------

VECTOR random_point_around(Request& request, const VECTOR& centre, const VECTOR& d) {
  const PARAMETERS& p = request.parameters;
  VECTOR point(centre.size());
  for (int i = 0; i < centre.size(); ++i) {
    const double low = std::max(centre(i) - d(i), p.u(i));
    const double high = std::min(centre(i) + d(i), p.v(i));
    point(i) = on_grid(request.random.uniform(low, high), p.u(i), p.v(i), request.state.dx(i));
  }
  return point;
}

bool add_class_1(Request& request) {
  const SnobfitState& state = request.state;
  const PARAMETERS& p = request.parameters;
  const int n = state.inputs();
  const int best = best_point(state, p.u, p.v, false);
  if (best < 0 || request.missing() == 0) return true;
  const VECTOR d = state.d.row(best);
  const VECTOR scale = difference(state.v, state.u);
  Offer offer{best, PointClass::quadratic, {}, 0.0};
  const int nneigh = std::max(n, std::min(n * (n + 3), most_neighbours));
  if (!snobqfit(best, state.x, state.f, nneigh, d, p.u, p.v, scale, offer.point, offer.value,
                request.messages)) {
    return false;
  }
  const VECTOR centre = offer.point;
  offer.point = on_grid(centre, p.u, p.v, state.dx);
  for (int tries = 1; !add(request, offer, request.least_apart) && tries <= class_1_tries;
       ++tries) {
    offer.point = random_point_around(request, centre, scaled(tries / (1.0 * class_1_tries), d));
  }
  return true;
}

// ---- classes 2, 3 and 4 -------------------------------------------------------------------------

// Local points first, and each kind by rising value.
bool model_offers(const Request& request, std::vector<Offer>& offers) {
  const SnobfitState& state = request.state;
  const PARAMETERS& p = request.parameters;
  std::vector<bool> local;
  if (!snoblp(state.f, state.near, local, request.messages)) return false;
  for (int j = 0; j < state.points(); ++j) {
    if (!lies_within(state.y, j, p.u, p.v)) continue;
    const PointClass kind = local[at(j)] ? PointClass::local : PointClass::nonlocal;
    offers.push_back({j, kind, state.y.row(j), state.fy(j)});
  }
  std::ranges::stable_sort(offers, [](const Offer& a, const Offer& b) {
    return a.kind < b.kind || (a.kind == b.kind && a.value < b.value);
  });
  return true;
}

// Halfway between the point of the box and the farther edge of its part in [u, v].
VECTOR middle_of_larger_part(const SnobfitState& state, int j, const PARAMETERS& p) {
  VECTOR point(state.inputs());
  for (int i = 0; i < state.inputs(); ++i) {
    const double low = std::max(state.xl(j, i), p.u(i));
    const double high = std::min(state.xu(j, i), p.v(i));
    const double x = std::clamp(state.x(j, i), low, high);
    const double middle = x - low > high - x ? 0.5 * (low + x) : 0.5 * (x + high);
    point(i) = on_grid(middle, p.u(i), p.v(i), state.dx(i));
  }
  return point;
}

bool reaches_into(const SnobfitState& state, int j, const PARAMETERS& p) {
  for (int i = 0; i < state.inputs(); ++i) {
    if (state.xl(j, i) > p.v(i) || state.xu(j, i) < p.u(i)) return false;
  }
  return true;
}

// Sweeps over the boxes, each from the largest boxes to the smallest and with one box of each
// smallness; within a smallness the box with the lowest value comes first.
std::vector<Offer> box_offers(const Request& request) {
  const SnobfitState& state = request.state;
  std::map<int, std::vector<int>> levels;
  for (int j = 0; j < state.points(); ++j) {
    if (reaches_into(state, j, request.parameters)) levels[state.small[at(j)]].push_back(j);
  }
  std::size_t sweeps = 0;
  for (auto& [small, boxes] : levels) {
    std::ranges::stable_sort(boxes, {}, [&](int j) { return state.f(j, 0); });
    sweeps = std::max(sweeps, boxes.size());
  }
  std::vector<Offer> offers;
  for (std::size_t sweep = 0; sweep < sweeps; ++sweep) {
    for (const auto& [small, boxes] : levels) {
      if (sweep >= boxes.size()) continue;
      const int j = boxes[sweep];
      const VECTOR point = middle_of_larger_part(state, j, request.parameters);
      offers.push_back({j, PointClass::large_box, point, linear_estimate(state, j, point)});
    }
  }
  return offers;
}

// How far from the others of the request an offer must stand. A local point may be followed into
// the neighbourhood of another point, in steps of its own trust box.
VECTOR distance_wanted(const Request& request, const Offer& offer, const VECTOR& wide) {
  if (offer.kind != PointClass::local) return wide;
  VECTOR apart = scaled(separation_factor, request.state.d.row(offer.origin));
  for (int i = 0; i < apart.size(); ++i) apart(i) = std::max(apart(i), request.least_apart(i));
  return apart;
}

// The next offer that stands apart is added. False: none did.
bool add_next(Request& request, const std::vector<Offer>& offers, std::size_t& next,
              const VECTOR& wide) {
  while (next < offers.size()) {
    const Offer& offer = offers[next++];
    if (add(request, offer, distance_wanted(request, offer, wide))) return true;
  }
  return false;
}

// One point after the other, of class 4 with probability p. While there is a choice the points of a
// request stand well apart.
bool add_mixture(Request& request) {
  std::vector<Offer> by_model;
  if (!model_offers(request, by_model)) return false;
  const std::vector<Offer> by_box = box_offers(request);
  const VECTOR wide =
      scaled(separation_factor, difference(request.parameters.v, request.parameters.u));
  for (const VECTOR& apart : {wide, request.least_apart}) {
    std::size_t next_model = 0;
    std::size_t next_box = 0;
    bool added = true;
    while (added && request.missing() > 0) {
      const bool box_first = request.random.uniform() < request.parameters.p;
      added = box_first ? add_next(request, by_box, next_box, apart) ||
                              add_next(request, by_model, next_model, apart)
                        : add_next(request, by_model, next_model, apart) ||
                              add_next(request, by_box, next_box, apart);
    }
  }
  return true;
}

// ---- class 5 ------------------------------------------------------------------------------------

int nearest_point(const SnobfitState& state, const VECTOR& point, const VECTOR& scale) {
  if (state.points() == 0) return -1;
  VECTOR distances;
  squared_distances(point, state.x, scale, distances);
  return static_cast<int>(std::min_element(distances.data(), distances.data() + state.points()) -
                          distances.data());
}

bool add_class_5(Request& request) {
  if (request.missing() == 0) return true;
  const SnobfitState& state = request.state;
  MATRIX taken = state.x;
  add_rows(taken, request.points.rows(), state.inputs());
  for (int k = 0; k < request.points.rows(); ++k) {
    taken.set_row(state.points() + k, request.points.row(k));
  }
  MATRIX places;
  if (!snob5(taken, request.parameters.u, request.parameters.v, state.dx, request.missing(),
             request.random, places, request.messages)) {
    return false;
  }
  const VECTOR scale = difference(state.v, state.u);
  for (int k = 0; k < places.rows(); ++k) {
    const VECTOR point = places.row(k);
    const int j = nearest_point(state, point, scale);
    const double value = j < 0 ? no_value : linear_estimate(state, j, point);
    add(request, {j, PointClass::far_away, point, value}, request.least_apart);
  }
  return true;
}

MATRIX as_rows(const Request& request) {
  const int n = request.state.inputs();
  MATRIX rows(request.points.rows(), n + 2);
  for (int k = 0; k < rows.rows(); ++k) {
    for (int i = 0; i < n; ++i) rows(k, i) = request.points(k, i);
    rows(k, n) = request.values(k);
    rows(k, n + 1) = static_cast<double>(request.classes[at(k)]);
  }
  return rows;
}

void warn(Messages& messages) {
  messages.say("snobfit: the algorithm was not able to generate the desired number of points");
  messages.say("snobfit: change the search region or refine dx");
}

}  // namespace

int best_point(const SnobfitState& state, const VECTOR& u, const VECTOR& v, bool anywhere) {
  int best = -1;
  for (int j = 0; j < state.points(); ++j) {
    const bool counts = state.np[at(j)] > 0 && (anywhere || lies_within(state.x, j, u, v));
    if (counts && (best < 0 || state.f(j, 0) < state.f(best, 0))) best = j;
  }
  return best;
}

bool make_request(const SnobfitState& state, const PARAMETERS& parameters, Random& random,
                  MATRIX& rows, Messages& messages) {
  Request request{state,
                  parameters,
                  random,
                  messages,
                  MATRIX(0, state.inputs()),
                  {},
                  {},
                  scaled(separation_factor, state.dx)};
  if (state.has_models() && !(add_class_1(request) && add_mixture(request))) return false;
  if (!add_class_5(request)) return false;
  if (request.missing() > 0) warn(messages);
  rows = as_rows(request);
  return true;
}

}  // namespace torve
