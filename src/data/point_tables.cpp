#include "data/point_tables.h"

#include <algorithm>

namespace torve {

namespace {

void copy_row(Table<double>& from, int i, Table<double>& to, int j) {
  for (int c = 0; c < from.columns(); ++c) to(j, c) = from(i, c);
}

}  // namespace

bool grow_points(RunState& run) {
  const int capacity = run.sizes.ndatacap;
  const int ndata = run.sizes.ndata;
  Points& points = run.points;
  MemoryAccount& memory = run.memory;
  const bool enough =
      points.xdata.grow_rows(memory, capacity) && points.zdata.grow_rows(memory, capacity) &&
      points.simulated.grow_rows(memory, capacity) && points.zerror.grow_rows(memory, capacity) &&
      run.basis.xij.grow_rows(memory, capacity) && points.newrow.grow(memory, capacity) &&
      points.rows.grow(memory, capacity);
  if (!enough) return fail(run, Code::out_of_memory, 53);
  for (int k = 0; k < run.sizes.noutputs; ++k) {
    for (int i = ndata; i < capacity; ++i) {
      points.zdata(i, k) = run.options.preset;
      points.simulated(i, k) = true;
    }
  }
  points.rows.fill(true);
  return true;
}

bool widen_test_points(RunState& run, Array<int>& starts) {
  Points& points = run.points;
  const Sizes& sizes = run.sizes;
  MemoryAccount& memory = run.memory;
  const int sections = sizes.ntestsets;
  const long long total = static_cast<long long>(sizes.ntestdatasum) + sizes.ntestsamplesum;
  Table<double> x;
  Table<double> z;
  // Counts that were given ahead of the number of sections are fewer.
  const bool enough = points.ntestdata.grow(memory, sections) &&
                      points.ntestsample.grow(memory, sections) &&
                      starts.request(memory, sections) && x.request(memory, total, sizes.ninputs) &&
                      z.request(memory, total, sizes.noutputs);
  if (!enough) return fail(run, Code::out_of_memory, 53);
  int from = 0;
  int to = 0;
  for (std::size_t s = 0; s < at(sections); ++s) {
    starts[s] = to;
    for (int i = 0; i < points.ntestdata[s] && from < sizes.ntestdatasum; ++i, ++from) {
      copy_row(points.xtestdata, from, x, to + i);
      copy_row(points.ztestdata, from, z, to + i);
    }
    to += points.ntestdata[s] + points.ntestsample[s];
  }
  points.xtestdata.release(memory);
  points.ztestdata.release(memory);
  points.xtestdata = std::move(x);
  points.ztestdata = std::move(z);
  return true;
}

void close_test_gaps(RunState& run, const Array<int>& starts, const Array<int>& found) {
  Points& points = run.points;
  int to = 0;
  for (std::size_t s = 0; s < at(run.sizes.ntestsets); ++s) {
    points.ntestdata[s] += found[s];
    for (int i = 0; i < points.ntestdata[s]; ++i, ++to) {
      copy_row(points.xtestdata, starts[s] + i, points.xtestdata, to);
      copy_row(points.ztestdata, starts[s] + i, points.ztestdata, to);
    }
  }
  run.sizes.ntestdatasum = to;
}

}  // namespace torve
