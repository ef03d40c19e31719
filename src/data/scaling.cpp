#include "data/scaling.h"

#include <algorithm>
#include <cmath>

namespace torve {

namespace {

constexpr double preset_tolerance = 0.0001;

void divide(Table<double>& points, int rows, int inputs, std::span<const double> scale) {
  for (int j = 0; j < inputs; ++j) {
    for (double& value : points.column(j, rows)) value /= scale[at(j)];
  }
}

}  // namespace

void find_scales(RunState& run) {
  Inputs& inputs = run.inputs;
  for (std::size_t j = 0; j < at(run.sizes.ninputs); ++j) {
    double scale = 1.0;
    if (run.options.xscaling) {
      scale = inputs.xfactors.exists() ? inputs.xfactors[j]
                                       : std::max(inputs.xmax[j] - inputs.xmin[j], 1.0);
    }
    inputs.xscale[j] = scale;
    inputs.xminscaled[j] = inputs.xmin[j] / scale;
    inputs.xmaxscaled[j] = inputs.xmax[j] / scale;
  }
}

void scale_points(RunState& run) {
  if (!run.options.xscaling) return;
  const Sizes& sizes = run.sizes;
  Points& points = run.points;
  const std::span<const double> scale = run.inputs.xscale.all();
  divide(points.xdata, sizes.ndata, sizes.ninputs, scale);
  if (sizes.nbank > 0) divide(points.xbank, sizes.nbank, sizes.ninputs, scale);
  if (points.xtestdata.exists()) divide(points.xtestdata, sizes.ntestdatasum, sizes.ninputs, scale);
  if (points.xpredata.exists()) divide(points.xpredata, sizes.npredata, sizes.ninputs, scale);
}

bool is_bad_value(double value, double preset) {
  return std::abs(value - preset) <= preset_tolerance;
}

void mark_bad_points(RunState& run) {
  const double preset = run.options.preset;
  for (int k = 0; k < run.sizes.noutputs; ++k) {
    for (int i = 0; i < run.sizes.ndata; ++i) {
      run.points.simulated(i, k) = !is_bad_value(run.points.zdata(i, k), preset);
    }
  }
}

}  // namespace torve
