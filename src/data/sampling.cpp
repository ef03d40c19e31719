#include "data/sampling.h"

#include <algorithm>
#include <vector>

#include "basis/catalogue.h"
#include "data/faure.h"
#include "data/simulator.h"
#include "report/printer.h"

namespace torve {

namespace {

constexpr std::uint64_t multiplier = 65539;
constexpr std::uint64_t modulus = std::uint64_t{1} << 31;
constexpr double scale = 1.0 / static_cast<double>(modulus);
constexpr int faure_method = 3;

bool is_own_method(int method) {
  return method >= 1 && method <= faure_method;
}

void draw_random_points(RunState& run, int first, int last) {
  for (int i = first; i <= last; ++i) {
    for (int j = 0; j < run.sizes.ninputs; ++j) {
      run.points.xdata(i, j) = randomnumber(run.randstate, run.options.seed);
    }
  }
}

// The sequence is prepared at its first use; one that failed is not tried again.
bool faure_is_ready(RunState& run) {
  FaureState& faure = run.faure;
  if (faure.fauredim == 0 && !faure.faurefailed) {
    FaureStatus status{};
    faureinit(faure, run.sizes.ninputs, status);
  }
  return !faure.faurefailed;
}

// Draws points of the sequence; the first row that it could not fill.
int draw_faure_points(RunState& run, int first, int last) {
  if (!faure_is_ready(run)) return first;
  std::vector<double> point(at(run.sizes.ninputs));
  for (int i = first; i <= last; ++i) {
    if (!faurenextpoint(run.faure, point)) return i;
    for (int j = 0; j < run.sizes.ninputs; ++j) run.points.xdata(i, j) = point[at(j)];
  }
  return last + 1;
}

// Points of the unit cube.
void draw_points(RunState& run, int method, int first, int last) {
  int row = first;
  if (method == faure_method) {
    const bool known = run.faure.faurefailed;
    row = draw_faure_points(run, first, last);
    if (row <= last && !known) {
      trvprint(run, "Warning: Faure sequence initialization failed. Switching to random numbers.");
    }
  }
  draw_random_points(run, row, last);
}

void map_into_box(RunState& run, int first, int last) {
  for (int j = 0; j < run.sizes.ninputs; ++j) {
    const double lowest = run.inputs.xmin[at(j)];
    const double highest = run.inputs.xmax[at(j)];
    for (int i = first; i <= last; ++i) {
      double& x = run.points.xdata(i, j);
      // Rounding may carry a point over the bound.
      x = std::clamp((highest - lowest) * x + lowest, lowest, highest);
    }
  }
}

// Without a program to call no more points can be had than the bank has.
int cut_to_bank(const RunState& run, int first, int last) {
  const int nbank = run.sizes.nbank;
  const bool bank_alone = nbank > 0 && run.options.simulator.empty();
  return bank_alone && nbank <= last - first ? first + nbank - 1 : last;
}

// Ends that leave the rows that were obtained as good as any.
bool ended_early_or_well(const RunState& run) {
  const Code code = run.status.trvstatus;
  return code == Code::normal || code == Code::time_used_up || code == Code::iterations_used_up;
}

}  // namespace

double randomnumber(std::int32_t& state, std::int32_t seed, bool reset) {
  const std::int32_t from = reset || state == 0 ? seed : state;
  // The modulus is a power of two, so that wrapping of a negative seed gives the same residue.
  const auto wide = static_cast<std::uint64_t>(static_cast<std::int64_t>(from)) * multiplier;
  state = static_cast<std::int32_t>(wide % modulus);
  return state * scale;
}

void samplepoints(RunState& run, int method, int first, int& last, bool evaluate) {
  if (is_own_method(method)) {
    draw_points(run, method, first, last);
    map_into_box(run, first, last);
  }
  last = cut_to_bank(run, first, last);
  int lastobtained = first - 1;
  runsimulator(run, first, last, lastobtained, true);
  last = lastobtained;
  if (!evaluate || !ended_early_or_well(run)) return;
  const MatrixView points = run.points.xdata.view(last + 1, run.sizes.ninputs);
  for (int i = first; i <= last; ++i) evaluate_point(run, points, i, run.basis.xij, i, false);
}

}  // namespace torve
