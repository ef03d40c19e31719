#include "mirsolve/squares/dense_squares.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "model/lapack.h"
#include "model/orthogonal.h"

namespace mirsolve {

namespace {

using torve::at;

// The exponents that bring the columns to lengths from 1/2 to 1; 0 for a column of zeros.
std::vector<int> column_exponents(const torve::MatrixView& a) {
  constexpr int one = 1;
  std::vector<int> exponents(at(a.columns), 0);
  for (int j = 0; j < a.columns; ++j) {
    const double length = dnrm2_(&a.rows, a.column_data(j), &one);
    if (length > 0.0 && std::isfinite(length)) std::frexp(length, &exponents[at(j)]);
  }
  return exponents;
}

void scale_columns(const torve::MutableMatrixView& a, std::span<const int> exponents) {
  for (int j = 0; j < a.columns; ++j) {
    for (double& value : a.column(j)) value = std::ldexp(value, -exponents[at(j)]);
  }
}

// What belongs to a factorization.
struct Workspace {
  explicit Workspace(int columns)
      : pivot(at(columns)),
        tau(at(columns)),
        ztau(at(columns)),
        work(at(torve::factor_workspace(columns))) {}
  std::vector<int> pivot;
  std::vector<double> tau;
  std::vector<double> ztau;
  std::vector<double> work;
};

void solve_scaled(torve::CompleteFactor& factor, const torve::MatrixView& a,
                  std::span<const double> b, std::span<double> x) {
  const auto rows = b.size();
  std::vector<double> c(b.begin(), b.end());
  std::vector<double> y(x.size());
  torve::factorize(factor);
  // Lengths are near 1, so that what rounding leaves of a dependent column is about this.
  const double smallest = std::numeric_limits<double>::epsilon() * std::max(a.rows, a.columns);
  if (factor.rank > 0) torve::cut_rank(factor, smallest * std::abs(factor.a(0, 0)));
  torve::complete(factor);
  torve::apply_q_transposed(factor, c.data());
  torve::solve_triangle(factor, c.data(), y.data());
  if (factor.rank == a.columns && factor.rank > 0) {
    std::vector<double> r(rows);
    std::vector<double> f(rows);
    std::vector<double> g(y.size());
    torve::refine(factor, factor.rank, a, b.data(), y.data(), r.data(), f.data(), g.data());
  }
  torve::turn_back(factor, y.data(), x.data());
}

}  // namespace

namespace {

// How often a square goes into the matrix. Roots of weights round each number of a row by itself,
// so that a row which stands in the file several times, a small whole weight here, is repeated.
std::size_t copies(double weight) {
  constexpr double most_copies = 64.0;
  const bool is_small_and_whole = weight <= most_copies && weight == std::floor(weight);
  return is_small_and_whole ? static_cast<std::size_t>(weight) : 1;
}

}  // namespace

std::optional<DenseSquares> dense_squares(std::span<const WeightedSquare> squares, int columns) {
  std::size_t rows = 0;
  for (const WeightedSquare& square : squares) {
    if (!(square.weight >= 0.0)) return std::nullopt;
    rows += copies(square.weight);
  }
  if (columns > 0 && rows > most_matrix_elements / at(columns)) return std::nullopt;

  DenseSquares problem;
  problem.rows = static_cast<int>(rows);
  problem.columns = columns;
  problem.a.assign(rows * at(columns), 0.0);
  problem.b.assign(rows, 0.0);
  std::size_t row = 0;
  for (const WeightedSquare& square : squares) {
    const std::size_t behind = row + copies(square.weight);
    const double root = std::sqrt(square.weight / static_cast<double>(behind - row));
    for (; row < behind; ++row) {
      problem.b[row] = -root * square.form.constant;
      for (const auto& [variable, factor] : square.form.terms)
        problem.a[at(variable) * rows + row] = root * factor;
    }
  }
  return problem;
}

std::optional<DenseSolution> solve_dense(const DenseSquares& problem) {
  DenseSolution solution;
  solution.x.assign(at(problem.columns), 0.0);
  if (problem.rows == 0 || problem.columns == 0) return solution;
  std::vector<double> scaled = problem.a;
  const torve::MutableMatrixView a{scaled.data(), problem.rows, problem.columns, problem.rows};
  const std::vector<int> exponents = column_exponents(a);
  scale_columns(a, exponents);

  std::vector<double> factored = scaled;
  Workspace room(problem.columns);
  torve::CompleteFactor factor{{factored.data(), problem.rows, problem.columns, problem.rows},
                               room.pivot.data(),
                               room.tau.data(),
                               room.ztau.data(),
                               room.work.data(),
                               static_cast<int>(room.work.size())};
  solve_scaled(factor, a, problem.b, solution.x);
  solution.rank = factor.rank;
  for (int j = 0; j < problem.columns; ++j)
    solution.x[at(j)] = std::ldexp(solution.x[at(j)], -exponents[at(j)]);
  const bool is_finite = std::ranges::all_of(solution.x, [](double x) { return std::isfinite(x); });
  return is_finite ? std::optional(std::move(solution)) : std::nullopt;
}

}  // namespace mirsolve
