#include "mirsolve/box/cholesky.h"

#include <cmath>

namespace mirsolve::box {

bool factor(std::span<double> a, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j <= i; ++j) {
      double sum = a[i * n + j];
      for (std::size_t k = 0; k < j; ++k) sum -= a[i * n + k] * a[j * n + k];
      if (j < i) {
        a[i * n + j] = sum / a[j * n + j];
      } else if (sum > 0.0 && std::isfinite(sum)) {
        a[i * n + i] = std::sqrt(sum);
      } else {
        return false;
      }
    }
  }
  return true;
}

void solve_factored(std::span<const double> l, std::size_t n, std::span<double> b) {
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t k = 0; k < i; ++k) b[i] -= l[i * n + k] * b[k];
    b[i] /= l[i * n + i];
  }
  for (std::size_t i = n; i-- > 0;) {
    for (std::size_t k = i + 1; k < n; ++k) b[i] -= l[k * n + i] * b[k];
    b[i] /= l[i * n + i];
  }
}

}  // namespace mirsolve::box
