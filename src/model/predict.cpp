#include "model/predict.h"

#include <cmath>

namespace torve {

double predict(const RunState& run, int k, const double* row, std::int64_t stride) {
  // Large terms of opposite sign are common; the report's residuals are told to their last digits
  // by summing in the widest format there is and rounding once.
  long double sum = 0.0L;
  for (int j = 0; j < run.sizes.nbas; ++j) {
    const double b = run.models.bestbeta(j, k);
    if (run.models.bestchosen(j, k) && std::abs(b) > smallest_coefficient) {
      sum += static_cast<long double>(b) * static_cast<long double>(row[j * stride]);
    }
  }
  const auto value = static_cast<double>(sum);
  return run.outputs.zisint[static_cast<std::size_t>(k)] ? std::round(value) : value;
}

}  // namespace torve
