#include "solvers/bounding_set.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "basis/catalogue.h"
#include "data/point_tables.h"
#include "data/sampling.h"

namespace torve {

namespace {

// Beyond it the corners are more than a run can test.
constexpr int most_inputs_with_corners = 12;

bool is_initial_set_due(const RunState& run, const CRELEM& set) {
  return !set.started && (run.options.crninitial > 0 || run.options.crcorner);
}

// The columns are evaluated in the row behind the data, so that centres are those of the data.
bool has_scratch_row(RunState& run) {
  if (run.sizes.ndatacap > run.sizes.ndata) return true;
  run.sizes.ndatacap = run.sizes.ndata + 1;
  return grow_points(run);
}

bool add_initial_point(RunState& run, CRELEM& set, std::span<const double> point) {
  if (!grow_bounding_set(run, set, set.crndata)) return false;
  place_bounding_point(run, set, set.crndata, point);
  set.type[at(set.crndata)] = 0;
  set.origin[at(set.crndata)] = static_cast<int>(PointOrigin::initial_set);
  ++set.crndata;
  return true;
}

bool add_corners(RunState& run, CRELEM& set, std::span<double> point) {
  const int n = run.sizes.ninputs;
  if (n > most_inputs_with_corners) return true;
  for (unsigned corner = 0; corner < 1U << static_cast<unsigned>(n); ++corner) {
    for (int d = 0; d < n; ++d) {
      const bool high = ((corner >> static_cast<unsigned>(d)) & 1U) != 0;
      point[at(d)] = high ? box_highest(run, d) : box_lowest(run, d);
    }
    if (!add_initial_point(run, set, point)) return false;
  }
  return true;
}

}  // namespace

double box_lowest(const RunState& run, int input) {
  const Inputs& inputs = run.inputs;
  return inputs.extrapxmin.exists() ? inputs.extrapxmin[at(input)] : inputs.xmin[at(input)];
}

double box_highest(const RunState& run, int input) {
  const Inputs& inputs = run.inputs;
  return inputs.extrapxmax.exists() ? inputs.extrapxmax[at(input)] : inputs.xmax[at(input)];
}

bool grow_bounding_set(RunState& run, CRELEM& set, int n) {
  if (!has_scratch_row(run)) return false;
  if (set.crxij.exists() && n < set.capacity) return true;
  const long long wanted = std::max(2LL * set.capacity, n + 1LL);
  MemoryAccount& memory = run.memory;
  const bool fresh = !set.crxij.exists();
  const bool enough =
      wanted <= std::numeric_limits<int>::max() &&
      (fresh ? set.crxij.request(memory, wanted, run.sizes.nbas) &&
                   set.crxdata.request(memory, wanted, run.sizes.ninputs)
             : set.crxij.grow_rows(memory, wanted) && set.crxdata.grow_rows(memory, wanted)) &&
      set.type.grow(memory, wanted) && set.origin.grow(memory, wanted);
  if (!enough) return fail(run, Code::out_of_memory, 65);
  set.capacity = static_cast<int>(wanted);
  return true;
}

void place_bounding_point(RunState& run, CRELEM& set, int n, std::span<const double> point) {
  const int row = run.sizes.ndata;
  for (int d = 0; d < run.sizes.ninputs; ++d) {
    set.crxdata(n, d) = point[at(d)];
    run.points.xdata(row, d) = point[at(d)] / run.inputs.xscale[at(d)];
  }
  const MatrixView points = run.points.xdata.view(row + 1, run.sizes.ninputs);
  const std::span<const double> columns = evaluate_loose_point(run, points, row);
  for (int j = 0; j < run.sizes.nbas; ++j) set.crxij(n, j) = columns[at(j)];
}

double value_at_bounding_point(const RunState& run, const CRELEM& set, int n) {
  double value = 0.0;
  for (int j = 0; j < run.sizes.nbas; ++j) {
    if (!run.models.thischoice[at(j)]) continue;
    const double x = set.crxij(n, j);
    if (x == run.options.preset) return std::numeric_limits<double>::quiet_NaN();
    value += run.models.thisbeta[at(j)] * x;
  }
  return value;
}

bool fill_initial_set(RunState& run, CRELEM& set) {
  if (!is_initial_set_due(run, set)) return true;
  set.started = true;
  std::vector<double> point(at(run.sizes.ninputs));
  if (run.options.crcorner && !add_corners(run, set, point)) return false;
  for (int p = 0; p < run.options.crninitial; ++p) {
    if (timeup(run)) return false;
    draw_in_box(run, point);
    if (!add_initial_point(run, set, point)) return false;
  }
  return true;
}

void draw_in_box(RunState& run, std::span<double> point) {
  for (int d = 0; d < run.sizes.ninputs; ++d) {
    const double u = randomnumber(run.randstate, run.options.seed);
    const double lowest = box_lowest(run, d);
    const double highest = box_highest(run, d);
    point[at(d)] = std::clamp((highest - lowest) * u + lowest, std::min(lowest, highest),
                              std::max(lowest, highest));
  }
}

}  // namespace torve
