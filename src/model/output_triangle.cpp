#include "model/output_triangle.h"

#include <algorithm>
#include <cmath>

#include "model/fast_walk/triangle.h"
#include "model/masks.h"
#include "model/metrics.h"

namespace torve {

bool has_triangle(RunState& run, int k) {
  FastWalk& walk = run.walk;
  if (walk.output == k) return walk.usable;
  walk.output = k;
  walk.usable = false;
  walk.nrows = run.lsq.seriesrows;
  const int nbas = run.sizes.nbas;
  walk.columns.resize(at(nbas));
  walk.columns.resize(at(list_true(run.models.screened.first(at(nbas)), walk.columns.data())));
  const int ndata = run.sizes.ndata;
  const Regression problem{run.basis.xij.view(ndata, nbas), walk.columns,
                           run.points.zdata.column(k, ndata), run.lsq.rowsuse.first(at(ndata)),
                           walk.nrows};
  walk.usable = fast_walk::reduce(problem, walk.triangle);
  return walk.usable;
}

bool rises_with_squares(const RunState& run) {
  switch (static_cast<Metric>(run.options.modeler)) {
    case Metric::bic:
      return !run.options.cvxbic || run.options.sigma > 0.0;
    case Metric::cp:
    case Metric::ric:
      return run.options.sigma > 0.0;
    case Metric::aicc:
    case Metric::hqc:
    case Metric::mse:
    case Metric::ssep:
    case Metric::madp:
      return true;
  }
  return false;
}

double least_weight(std::span<const double> z, RowMask rows) {
  double largest = 0.0;
  bool small = false;
  for (std::size_t i = 0; i < z.size(); ++i) {
    if (!rows[i]) continue;
    largest = std::max(largest, std::abs(z[i]));
    small = small || !(std::abs(z[i]) > 0.001);
  }
  const double weight = 100.0 / largest;
  return small ? std::min(weight, 1.0) : weight;
}

}  // namespace torve
