#include "model/fast_walk/triangle.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "model/fast_walk/kernels.h"
#include "model/lapack.h"

namespace torve::fast_walk {

namespace {

constexpr double least_ratio_of_all = 1e-13;
constexpr double ratio_of_no_use = 1e-3;

double length_of(const double* column, int rows) {
  const int one = 1;
  return dnrm2_(&rows, column, &one);
}

// Divides the column by the power of 2 of its length; returns the exponent. A column of zeros
// stays.
int normalise(double* column, int rows, double length) {
  if (length == 0.0) return 0;
  const int exponent = std::ilogb(length);
  const double power = std::ldexp(1.0, -std::clamp(exponent, -largest_exponent, largest_exponent));
  for (int i = 0; i < rows; ++i) column[i] *= power;
  return exponent;
}

// How large the errors of a fit may grow, in units of the sizes that take part. Rounding errors of
// a sum grow with its length at most; 50 stands for the steps of the factorization.
double rounding(int rows) {
  return std::numeric_limits<double>::epsilon() * (50.0 + rows);
}

struct Packed {
  std::vector<double> a;  // rows x (columns + 1), columns in reverse order, the output last
  int rows;
  int columns;
  double* column(int j) { return a.data() + static_cast<std::ptrdiff_t>(j) * rows; }
};

Packed pack_reversed(const Regression& problem) {
  Packed packed;
  packed.rows = problem.nrows;
  packed.columns = static_cast<int>(problem.columns.size());
  packed.a.resize(static_cast<std::size_t>(packed.rows) *
                  static_cast<std::size_t>(packed.columns + 1));
  pack(problem, packed.a.data(), packed.rows, packed.column(packed.columns));
  for (int j = 0; j < packed.columns / 2; ++j) {
    std::swap_ranges(packed.column(j), packed.column(j) + packed.rows,
                     packed.column(packed.columns - 1 - j));
  }
  return packed;
}

// Scales all columns and finds what fits on them can be relied on.
bool scale(Packed& packed, Triangle& triangle) {
  const int n = packed.rows;
  double* z = packed.column(packed.columns);
  const double z_length = length_of(z, n);
  if (!std::isfinite(z_length) || z_length == 0.0) return false;
  triangle.squares.reserve(static_cast<std::size_t>(packed.columns));
  Reliance reliance(n, z_length);
  for (int t = 0; t < packed.columns; ++t) {
    double* x = packed.column(t);
    const double length = length_of(x, n);
    if (!std::isfinite(length)) return false;
    double product = 0.0;
    for (int i = 0; i < n; ++i) product += x[i] * z[i];
    reliance.add(length, product);
    if (std::abs(normalise(x, n, length)) > largest_exponent) return false;
    const double scaled = length_of(x, n);
    triangle.squares.push_back(scaled * scaled);
  }
  const int exponent = normalise(z, n, z_length);
  if (std::abs(exponent) > largest_exponent) return false;
  triangle.exponent = 2 * exponent;
  const double scaled = length_of(z, n);
  triangle.yy = scaled * scaled;
  triangle.least_ratio = reliance.least_ratio();
  triangle.margin = reliance.margin();
  return reliance.is_of_use();
}

bool factorize(Packed& packed) {
  const int n = packed.columns + 1;
  std::vector<double> tau(static_cast<std::size_t>(n));
  double wanted = 0.0;
  int lwork = -1;
  int info = 0;
  dgeqrf_(&packed.rows, &n, packed.a.data(), &packed.rows, tau.data(), &wanted, &lwork, &info);
  if (info != 0) return false;
  lwork = std::max(static_cast<int>(wanted), n);
  std::vector<double> work(static_cast<std::size_t>(lwork));
  dgeqrf_(&packed.rows, &n, packed.a.data(), &packed.rows, tau.data(), work.data(), &lwork, &info);
  return info == 0;
}

void copy_triangle(Packed& packed, Triangle& triangle) {
  const int p = packed.columns;
  triangle.places = p;
  triangle.height = std::min(packed.rows, p);
  triangle.stride = padded(p);
  triangle.rows.assign(
      static_cast<std::size_t>(triangle.height) * static_cast<std::size_t>(triangle.stride), 0.0);
  const double* z = packed.column(p);
  triangle.z.assign(z, z + triangle.height);
  for (int i = 0; i < triangle.height; ++i) {
    double* row = triangle.rows.data() + static_cast<std::ptrdiff_t>(i) * triangle.stride;
    for (int t = i; t < p; ++t) row[t] = packed.column(t)[i];
  }
  triangle.tail = 0.0;
  for (int i = triangle.height; i < std::min(packed.rows, p + 1); ++i) triangle.tail += z[i] * z[i];
}

}  // namespace

Reliance::Reliance(int rows, double z_length)
    : rounding_(rounding(rows)), z_length_(z_length), least_ratio_(least_ratio_of_all) {}

// olrcheck rejects an answer whose residual's product g with a column x is above 0.01 and above a
// hundredth of x'z. A backward stable fit has |g| <= rounding |x| |z| / sqrt(ratio). The least
// ratio is one for which it can't be rejected, for any column.
void Reliance::add(double length, double product) {
  const double allowed = 0.01 * std::max(std::abs(product), 1.0);
  const double root = rounding_ * length * z_length_ / allowed;
  least_ratio_ = std::max(least_ratio_, root * root);
}

double Reliance::margin() const {
  const double root = 100.0 * rounding_;
  return std::max(1e-9, root * root / least_ratio_);
}

bool Reliance::is_of_use() const {
  return least_ratio_ < ratio_of_no_use;
}

bool reduce(const Regression& problem, Triangle& triangle) {
  triangle = Triangle{};
  Packed packed = pack_reversed(problem);
  if (!scale(packed, triangle) || !factorize(packed)) return false;
  copy_triangle(packed, triangle);
  return true;
}

}  // namespace torve::fast_walk
