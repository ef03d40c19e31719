#include "report/predict.h"

#include <cmath>

namespace torve {

double predict(const RunState& run, int k, const double* row, std::int64_t stride) {
  double value = 0.0;
  for (int j = 0; j < run.sizes.nbas; ++j) {
    const double b = run.models.bestbeta(j, k);
    if (run.models.bestchosen(j, k) && std::abs(b) > smallest_coefficient) {
      value += b * row[j * stride];
    }
  }
  return run.outputs.zisint[static_cast<std::size_t>(k)] ? std::round(value) : value;
}

}  // namespace torve
