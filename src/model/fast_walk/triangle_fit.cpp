#include "model/fast_walk/triangle_fit.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace torve::fast_walk {

namespace {

std::size_t size_of(int n) {
  return static_cast<std::size_t>(n);
}

double product(const double* x, const double* y, int from, int height) {
  double sum = 0.0;
  for (int i = from; i < height; ++i) sum += x[i] * y[i];
  return sum;
}

}  // namespace

TriangleFit::TriangleFit(const Triangle& triangle, int size)
    : triangle_(triangle), a_(size_of(triangle.height) * size_of(size + 1)) {}

// Source: Golub and Van Loan, Matrix Computations, section on Householder QR.
Look TriangleFit::at(std::span<const int> columns) {
  const int height = triangle_.height;
  const int size = static_cast<int>(columns.size());
  const auto column = [&](int p) { return a_.data() + size_of(p) * size_of(height); };
  Look look{0.0, 0.0, std::numeric_limits<double>::infinity()};
  for (int p = 0; p < size; ++p) {
    const std::size_t place = size_of(triangle_.places - 1 - columns[size_of(p)]);
    for (int i = 0; i < height; ++i) {
      column(p)[i] = triangle_.rows[size_of(i) * size_of(triangle_.stride) + place];
    }
  }
  std::copy(triangle_.z.begin(), triangle_.z.end(), column(size));
  for (int p = 0; p < std::min(size, height); ++p) {
    double* x = column(p);
    const double left = product(x, x, p, height);
    const std::size_t place = size_of(triangle_.places - 1 - columns[size_of(p)]);
    look.ratio = std::min(look.ratio, left / triangle_.squares[place]);
    if (!(left > 0.0)) return {0.0, 0.0, 0.0};
    const double length = std::sqrt(left);
    x[p] += x[p] < 0.0 ? -length : length;
    const double factor = 2.0 / product(x, x, p, height);
    for (int q = p + 1; q <= size; ++q) {
      double* y = column(q);
      const double along = factor * product(x, y, p, height);
      for (int i = p; i < height; ++i) y[i] -= along * x[i];
    }
  }
  const double* z = column(size);
  look.sse = triangle_.tail + product(z, z, size, height);
  look.error = 32.0 * std::numeric_limits<double>::epsilon() * triangle_.yy / std::sqrt(look.ratio);
  return look;
}

}  // namespace torve::fast_walk
