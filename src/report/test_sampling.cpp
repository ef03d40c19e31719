#include "report/test_sampling.h"

#include <fmt/format.h>

#include <algorithm>

#include "data/point_tables.h"
#include "data/sampling.h"
#include "report/printer.h"

namespace torve {

namespace {

bool are_wanted(const RunState& run) {
  return run.sizes.ntestsets > 0 && run.sizes.ntestsamplesum > 0;
}

// Points are drawn into the row behind the data.
bool make_scratch_row(RunState& run) {
  if (run.sizes.ndatacap > run.sizes.ndata) return true;
  run.sizes.ndatacap = run.sizes.ndata + 1;
  return grow_points(run);
}

// One point of a section; false when it can't be had.
bool draw_point(RunState& run, int target) {
  const int row = run.sizes.ndata;
  for (int failures = 0; failures < std::max(run.options.maxsim, 1); ++failures) {
    int last = row;
    samplepoints(run, run.options.initializer, row, last, false);
    if (failed(run)) return false;
    if (last == row) {
      Points& points = run.points;
      for (int j = 0; j < run.sizes.ninputs; ++j) {
        points.xtestdata(target, j) = points.xdata(row, j);
      }
      for (int k = 0; k < run.sizes.noutputs; ++k) {
        points.ztestdata(target, k) = points.zdata(row, k);
      }
      return true;
    }
    if (timeup(run)) return false;
  }
  return false;
}

// The last section comes first.
void fill_sections(RunState& run, const Array<int>& starts, Array<int>& found) {
  bool going_on = true;
  for (std::size_t s = at(run.sizes.ntestsets); s > 0 && going_on; --s) {
    const std::size_t section = s - 1;
    const int first = starts[section] + run.points.ntestdata[section];
    while (going_on && found[section] < run.points.ntestsample[section]) {
      const bool obtained = draw_point(run, first + found[section]);
      if (obtained) ++found[section];
      going_on = obtained && !timeup(run);
    }
    trvprint(run, fmt::format("Sampled {} points for test set {}", found[section], s));
  }
}

}  // namespace

void sample_tests(RunState& run) {
  if (!are_wanted(run)) return;
  trvprint(run, "Sampling test data ");
  Array<int> starts;
  Array<int> found;
  if (!found.request(run.memory, run.sizes.ntestsets)) {
    fail(run, Code::out_of_memory, 53);
    return;
  }
  if (!make_scratch_row(run) || !widen_test_points(run, starts)) return;
  fill_sections(run, starts, found);
  close_test_gaps(run, starts, found);
  starts.release(run.memory);
  found.release(run.memory);
}

}  // namespace torve
