#include "selection_designs.h"

#include <array>
#include <cmath>

namespace torve::bench {

namespace {

constexpr std::size_t inputs = 4;
using Point = std::array<double, inputs>;

// z = c0 + c4 - 0.5 c9, and noise of a tenth of its spread.
void make_output(Design& design, test::Random& random, bool noisy) {
  const std::size_t rows = design.columns[0].size();
  const auto& c = design.columns;
  for (std::size_t i = 0; i < rows; ++i) {
    design.output.push_back(c[0][i] + c[4][i] - 0.5 * c[9][i]);
  }
  if (!noisy) return;
  double mean = 0.0;
  double square = 0.0;
  for (const double z : design.output) mean += z / static_cast<double>(rows);
  for (const double z : design.output) square += (z - mean) * (z - mean);
  const double spread = std::sqrt(square / static_cast<double>(rows));
  for (double& z : design.output) z += 0.1 * spread * random.normal();
}

std::vector<double> row_of_catalogue(const Point& x) {
  std::vector<double> row;
  for (const double v : x) row.push_back(v);
  for (const double v : x) row.push_back(v * v);
  for (const double v : x) row.push_back(1.0 / v);
  for (const double v : x) row.push_back(std::log(v));
  for (const double v : x) row.push_back(std::exp(v));
  for (const double v : x) row.push_back(v * v * v);
  for (const double v : x) row.push_back(std::sqrt(v));
  for (std::size_t a = 0; a < inputs; ++a) {
    for (std::size_t b = 0; b < inputs; ++b) {
      if (a < b) row.push_back(x[a] * x[b]);
      if (a != b) row.push_back(x[a] / x[b]);
      if (a != b) row.push_back(x[a] * x[a] * x[b]);
    }
  }
  row.push_back(1.0);
  row.push_back(1.0 / (x[0] * x[0]));
  return row;
}

}  // namespace

Design independent(test::Random& random, int rows, int columns) {
  Design design;
  for (int j = 0; j < columns; ++j) {
    std::vector<double> column(static_cast<std::size_t>(rows));
    for (double& value : column) value = random.real(-1.0, 1.0);
    design.columns.push_back(std::move(column));
  }
  make_output(design, random, true);
  return design;
}

Design catalogue(test::Random& random, int rows, int columns, double width, bool noisy) {
  Design design;
  design.columns.resize(static_cast<std::size_t>(columns));
  for (int i = 0; i < rows; ++i) {
    Point x;
    for (double& value : x) value = random.real(2.0 - width, 2.0 + width);
    const std::vector<double> row = row_of_catalogue(x);
    for (std::size_t j = 0; j < design.columns.size(); ++j) design.columns[j].push_back(row.at(j));
  }
  make_output(design, random, noisy);
  return design;
}

Design dependent(test::Random& random, int rows, int columns) {
  Design design = independent(random, rows, columns);
  for (const std::size_t j : {13U, 17U, 23U}) {
    for (std::size_t i = 0; i < design.output.size(); ++i) {
      design.columns[j][i] = design.columns[j - 1][i] + design.columns[j - 2][i];
    }
  }
  return design;
}

}  // namespace torve::bench
