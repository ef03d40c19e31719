#include "mirsolve/selection/data.h"

#include <algorithm>
#include <cmath>

#include "model/lapack.h"

namespace mirsolve::selection {

namespace {

std::size_t at(int i) {
  return static_cast<std::size_t>(i);
}

double length(std::span<const double> v) {
  const int n = static_cast<int>(v.size());
  const int one = 1;
  return dnrm2_(&n, v.data(), &one);
}

// Brings the numbers to a length in [0.5, 1); returns the exponent of 2 that they lost.
int normalise(std::span<double> v) {
  const double largest =
      std::abs(*std::ranges::max_element(v, {}, [](double a) { return std::abs(a); }));
  if (largest == 0.0) return 0;
  // Two steps, as a length may overflow where no number does.
  int exponent = 0;
  std::frexp(largest, &exponent);
  for (double& a : v) a = std::ldexp(a, -exponent);
  int rest = 0;
  std::frexp(length(v), &rest);
  for (double& a : v) a = std::ldexp(a, -rest);
  return exponent + rest;
}

// Householder's QR of the first rows of `block`, in place; what is below the triangle becomes 0.
void triangularise(int rows, int columns, std::vector<double>& block, int stride,
                   std::vector<double>& work) {
  std::vector<double> tau(at(columns));
  int info = 0;
  int size = static_cast<int>(work.size());
  dgeqrf_(&rows, &columns, block.data(), &stride, tau.data(), work.data(), &size, &info);
  for (int j = 0; j < columns; ++j) {
    double* column = block.data() + at(j) * at(stride);
    if (j + 1 < rows) std::fill(column + j + 1, column + rows, 0.0);
  }
}

}  // namespace

std::optional<Data> gather(const Model& model) {
  Data data;
  data.rows = static_cast<int>(model.squares.size());
  data.columns = static_cast<int>(model.columns.size());
  const std::size_t m = model.squares.size();
  if (static_cast<double>(m) * (data.columns + 1.0) > most_numbers) return std::nullopt;
  data.a.assign(m * model.columns.size(), 0.0);
  data.b.assign(m, 0.0);
  data.scales.assign(model.columns.size(), 1.0);
  if (m == 0) return data;
  for (std::size_t i = 0; i < m; ++i) {
    const double weight = std::sqrt(model.squares[i].weight);
    const LinearForm& form = model.squares[i].form;
    data.b[i] = -weight * form.constant;
    for (const auto& [column, factor] : form.terms) data.a[at(column) * m + i] = weight * factor;
  }
  const auto is_finite = [](double a) { return std::isfinite(a); };
  if (!std::ranges::all_of(data.a, is_finite) || !std::ranges::all_of(data.b, is_finite)) {
    return std::nullopt;
  }
  const int of_b = normalise(data.b);
  data.unit = std::ldexp(1.0, 2 * of_b);
  for (int j = 0; j < data.columns; ++j) {
    const int of_column = normalise(std::span(data.a).subspan(at(j) * m, m));
    data.scales[at(j)] = std::ldexp(1.0, of_b - of_column);
  }
  return data;
}

bool reduce(Data& data, const Deadline& deadline) {
  const int n = data.columns;
  const int width = n + 1;
  const int at_once = std::max(256, width);
  const int stride = width + at_once;
  std::vector<double> block(at(stride) * at(width), 0.0);
  std::vector<double> work(at(width) * 64);
  int kept = 0;
  for (int first = 0; first < data.rows; first += at_once) {
    if (deadline.is_over()) return false;
    const int count = std::min(at_once, data.rows - first);
    for (int j = 0; j < width; ++j) {
      const double* source = j < n ? data.a.data() + at(j) * at(data.rows) : data.b.data();
      std::copy_n(source + first, count, block.data() + at(j) * at(stride) + kept);
    }
    triangularise(kept + count, width, block, stride, work);
    kept = std::min(width, kept + count);
  }
  data.triangle.resize(n);
  const auto number = [&](int i, int j) { return block[at(j) * at(stride) + at(i)]; };
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < width; ++j) data.triangle.row(i)[j] = number(i, j);
  }
  const double rest = number(n, n);
  data.triangle.tail = rest * rest;
  return true;
}

}  // namespace mirsolve::selection
