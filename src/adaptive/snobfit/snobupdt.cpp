// Update of the state with new points (Huyer and Neumaier): averaging of points given
// again, explored box, boxes, neighbour lists, made-up values.
#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

#include "adaptive/snobfit/grid.h"
#include "adaptive/snobfit/routines.h"
#include "adaptive/snobfit/shapes.h"

namespace torve {
namespace {

// What the steps share.
struct Update {
  SnobfitState& state;
  int old_points = 0;
  bool extended = false;       // the explored box grew
  std::vector<bool> revalued;  // points whose value is another one now
  std::vector<bool> relisted;  // points whose neighbours were found anew
  Messages& messages;
};

bool good_shapes(const SnobfitState& state, const MATRIX& x, const MATRIX& f, int nx,
                 const VECTOR& u1, const VECTOR& v1, Messages& messages) {
  const int n = state.inputs();
  const int points = state.points();
  const int models = state.has_models() ? points : 0;
  if (f.rows() != nx) {
    return messages.fail("snobupdt: size(f, 1) /= nx: suspicious use of nx!");
  }
  Shapes shapes("snobupdt", messages);
  shapes.vector("dx", state.dx, state.x.columns());
  shapes.vector("u1", u1, n).vector("v1", v1, n);
  shapes.vector("u", state.u, n).vector("v", state.v, n);
  shapes.matrix("x", x, nx, n).matrix("f", f, nx, 2);
  shapes.matrix("x", state.x, points, n).matrix("f", state.f, points, 2);
  shapes.matrix("xl", state.xl, points, n).matrix("xu", state.xu, points, n);
  shapes.matrix("nsplit", state.nsplit, points, n);
  shapes.list("np", state.np, points).vector("t", state.t, points);
  shapes.list("small", state.small, points).list("near", state.near, models);
  shapes.matrix("d", state.d, models, n);
  return shapes.good();
}

// ---- points -------------------------------------------------------------------------------------

struct Value {
  double f;
  double df;
  bool defined;
};

Value value_given(const MATRIX& f, int row) {
  const bool known = std::isfinite(f(row, 1)) && f(row, 1) > 0.0;
  return {std::clamp(f(row, 0), -no_value, no_value),
          known ? std::min(f(row, 1), no_value) : std::sqrt(machine_epsilon),
          std::isfinite(f(row, 0))};
}

// f(j, 0) is the mean of np values, t their sum of squares around it, and
// f(j, 1)^2 = (sum of the squared uncertainties + t) / np. False: nothing changed.
bool average(SnobfitState& state, int j, const Value& value) {
  if (!value.defined) return false;
  const int m = ++state.np[at(j)];
  double& mean = state.f(j, 0);
  double& df = state.f(j, 1);
  if (m == 1) {  // made up until now
    mean = value.f;
    df = value.df;
    std::erase(state.fnan, j);
    return true;
  }
  double& t = state.t.data()[j];
  if (value.f == mean && value.df == df && t == 0.0) return false;
  const double uncertainties = std::max((m - 1) * df * df - t, 0.0) + value.df * value.df;
  const double step = value.f - mean;
  mean += step / m;
  t += step * (value.f - mean);
  df = std::sqrt((uncertainties + t) / m);
  return true;
}

// Row `row` of x becomes point j.
void store_point(SnobfitState& state, int j, const VECTOR& point, const Value& value) {
  state.x.set_row(j, point);
  state.f(j, 0) = value.defined ? value.f : no_value;
  state.f(j, 1) = value.df;
  state.np[at(j)] = value.defined ? 1 : 0;
  state.t(j) = 0.0;
  if (!value.defined) state.fnan.push_back(j);
}

void resize_points(SnobfitState& state, int rows) {
  const int n = state.inputs();
  MATRIX x(rows, n);
  MATRIX f(rows, 2);
  const int kept = std::min(rows, state.points());
  for (int i = 0; i < n; ++i)
    std::copy_n(state.x.data() + at(i) * at(state.points()), kept, x.data() + at(i) * at(rows));
  for (int j = 0; j < kept; ++j) {
    f(j, 0) = state.f(j, 0);
    f(j, 1) = state.f(j, 1);
  }
  VECTOR t(rows);
  std::copy_n(state.t.data(), kept, t.data());
  state.x = std::move(x);
  state.f = std::move(f);
  state.t = std::move(t);
  state.np.resize(at(rows));
}

// The point of the state that is the same; count of them in found.
int find_point(const SnobfitState& state, int points, const VECTOR& point, int& found) {
  int at_row = -1;
  found = 0;
  // Most points differ in the first input already.
  const double* first = state.x.view().column_data(0);
  for (int j = 0; j < points; ++j) {
    if (!same_coordinate(point(0), first[j]) || !same_point(point, state.x, j)) continue;
    if (at_row < 0) at_row = j;
    ++found;
  }
  return at_row;
}

// Adds the new points, and averages those that the state has already.
bool add_points(Update& update, const MATRIX& x, const MATRIX& f) {
  SnobfitState& state = update.state;
  int points = state.points();
  resize_points(state, points + x.rows());
  update.revalued.assign(at(points + x.rows()), false);
  for (int row = 0; row < x.rows(); ++row) {
    const VECTOR point = x.row(row);
    const Value value = value_given(f, row);
    int l = 0;
    const int j = find_point(state, points, point, l);
    if (l > 1) return update.messages.fail("snobupdt: algorithm error: l > 1!");
    if (l == 1) {
      if (average(state, j, value)) update.revalued[at(j)] = true;
      continue;
    }
    store_point(state, points, point, value);
    update.revalued[at(points++)] = true;
  }
  resize_points(state, points);
  update.revalued.resize(at(points));
  return true;
}

// ---- boxes --------------------------------------------------------------------------------------

// Row k of the boxes becomes the box of point points[k].
void store_boxes(SnobfitState& state, const std::vector<int>& points, const Boxes& boxes) {
  for (int k = 0; k < static_cast<int>(points.size()); ++k) {
    const int j = points[at(k)];
    state.xl.set_row(j, boxes.xl.row(k));
    state.xu.set_row(j, boxes.xu.row(k));
    state.nsplit.set_row(j, boxes.nsplit.row(k));
    state.small[at(j)] = boxes.small[at(k)];
  }
}

bool split_box(Update& update, const std::vector<int>& points, const Box& box) {
  SnobfitState& state = update.state;
  const int count = static_cast<int>(points.size());
  MATRIX x(count, state.inputs());
  MATRIX f(count, 2);
  for (int k = 0; k < count; ++k) {
    x.set_row(k, state.x.row(points[at(k)]));
    f.set_row(k, state.f.row(points[at(k)]));
  }
  Boxes boxes;
  if (!snobsplit(x, f, box, state.u, state.v, boxes, update.messages)) return false;
  store_boxes(state, points, boxes);
  return true;
}

bool split_explored_box(Update& update) {
  const SnobfitState& state = update.state;
  std::vector<int> all(at(state.points()));
  std::iota(all.begin(), all.end(), 0);
  return split_box(update, all, {state.u, state.v, VECTOR(state.inputs())});
}

// The first of the old boxes that holds point j, -1 when none does. Boxes share faces, so that
// there may be several.
int box_of(const SnobfitState& state, int old_points, int j) {
  for (int k = 0; k < old_points; ++k) {
    bool inside = true;
    for (int i = 0; i < state.inputs() && inside; ++i) {
      inside = state.x(j, i) >= state.xl(k, i) && state.x(j, i) <= state.xu(k, i);
    }
    if (inside) return k;
  }
  return -1;
}

// Gives each new point its box. Without old points the explored box is split, and also when a new
// point lies in no box: then the boxes don't fill the explored box as they should.
bool update_boxes(Update& update) {
  SnobfitState& state = update.state;
  const int points = state.points();
  const int added = points - update.old_points;
  if (added == 0) return true;
  add_rows(state.xl, added, state.inputs());
  add_rows(state.xu, added, state.inputs());
  add_rows(state.nsplit, added, state.inputs());
  state.small.resize(at(points));
  if (update.old_points == 0) return split_explored_box(update);

  IndexLists held(at(update.old_points));
  for (int j = update.old_points; j < points; ++j) {
    const int k = box_of(state, update.old_points, j);
    if (k < 0) {
      update.messages.say("snobupdt: warning: cnt == 0!");
      return split_explored_box(update);
    }
    if (held[at(k)].empty()) held[at(k)].push_back(k);
    held[at(k)].push_back(j);
  }
  std::vector<int> cnt(at(points), 0);
  for (int k = 0; k < update.old_points; ++k) {
    if (held[at(k)].empty()) continue;
    const Box box{state.xl.row(k), state.xu.row(k), state.nsplit.row(k)};
    if (!split_box(update, held[at(k)], box)) return false;
    for (const int j : held[at(k)]) ++cnt[at(j)];
  }
  for (int j = update.old_points; j < points; ++j) {
    if (cnt[at(j)] != 1) {
      return update.messages.fail("snobupdt: algorithm error: cnt == 0 or cnt > 1!");
    }
  }
  return true;
}

// ---- neighbours ---------------------------------------------------------------------------------

// True when a new point belongs to the neighbours of point j: it is nearer than the last of them,
// or it is the first to differ by the resolution in some input.
bool list_is_out_of_date(const Update& update, int j, const VECTOR& scale) {
  const SnobfitState& state = update.state;
  const std::vector<int>& near = state.near[at(j)];
  const auto distance = [&](int k) {
    double sum = 0.0;
    for (int i = 0; i < scale.size(); ++i) {
      const double s = (state.x(k, i) - state.x(j, i)) / scale(i);
      sum += s * s;
    }
    return sum;
  };
  const auto differs = [&](int k, int i) {
    return std::abs(state.x(k, i) - state.x(j, i)) >= state.dx(i);
  };
  const double last = distance(near.back());
  for (int k = update.old_points; k < state.points(); ++k) {
    if (distance(k) < last) return true;
    for (int i = 0; i < scale.size(); ++i) {
      if (differs(k, i) && std::ranges::none_of(near, [&](int l) { return differs(l, i); })) {
        return true;
      }
    }
  }
  return false;
}

// Lists exist when there are enough points for a fit.
bool update_neighbours(Update& update) {
  SnobfitState& state = update.state;
  const int m = state.inputs() + dn;
  update.relisted.assign(at(state.points()), false);
  if (state.points() <= m) return true;
  // Distances count in units of the explored box: a larger box may change each list.
  const bool all = !state.has_models() || update.extended;
  const VECTOR scale = difference(state.v, state.u);
  state.near.resize(at(state.points()));
  for (int j = 0; j < state.points(); ++j) {
    const bool is_new = j >= update.old_points;
    if (!all && !is_new && !list_is_out_of_date(update, j, scale)) continue;
    if (!snobnn(state.x.row(j), state.x, j, m, state.dx, scale, state.near[at(j)],
                update.messages)) {
      return false;
    }
    update.relisted[at(j)] = true;
  }
  return true;
}

// ---- made-up values -----------------------------------------------------------------------------

// A model must also be made anew when the value of a neighbour changed.
bool update_values(Update& update, std::vector<int>& inew) {
  SnobfitState& state = update.state;
  std::vector<int> made_up;
  if (!snobnan(state.fnan, state.near, state.f, made_up, update.messages)) return false;
  for (const int j : made_up) update.revalued[at(j)] = true;
  inew.clear();
  const auto revalued = [&](int j) { return update.revalued[at(j)]; };
  for (int j = 0; j < state.points(); ++j) {
    const bool anew = revalued(j) || update.relisted[at(j)] ||
                      (state.has_models() && std::ranges::any_of(state.near[at(j)], revalued));
    if (anew) inew.push_back(j);
  }
  return true;
}

}  // namespace

bool snobupdt(SnobfitState& state, const MATRIX& x, const MATRIX& f, int nx, const VECTOR& u1,
              const VECTOR& v1, std::vector<int>& inew, Messages& messages) {
  if (!good_shapes(state, x, f, nx, u1, v1, messages)) return false;
  Update update{state, state.points(), false, {}, {}, messages};
  return snobnewb(state, x, u1, v1, update.extended, messages) && add_points(update, x, f) &&
         update_boxes(update) && update_neighbours(update) && update_values(update, inew);
}

}  // namespace torve
