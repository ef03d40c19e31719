// A whole lasso path of 100 points: the fast kernels, the plain ones, and the plain ones with each
// sum in one chain, as the formulas read. All three on the same problem, in turn.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

#include "model/fast_lasso.h"
#include "model/lasso.h"
#include "side_by_side.h"

namespace {

using torve::LassoProblem;

constexpr std::size_t points = 100;

// Numbers between -1 and 1: Knuth's MMIX generator, its upper bits. lasso_beside_python.py makes
// the same ones.
class Numbers {
 public:
  double next() {
    state_ = state_ * 6364136223846793005U + 1442695040888963407U;
    return static_cast<double>(state_ >> 11U) * 0x1p-52 - 1.0;
  }

 private:
  std::uint64_t state_ = 1;
};

// Standardised columns that share two common parts, and an output of a tenth of them with noise.
struct Data {
  Data(int rows, int columns) : rows_(rows), columns_(columns) {
    Numbers numbers;
    const auto next = [&] { return numbers.next(); };
    x_.resize(torve::at(rows * columns));
    z_.resize(torve::at(rows));
    for (int i = 0; i < rows; ++i) {
      const std::array<double, 2> common = {next(), next()};
      for (int j = 0; j < columns; ++j)
        x_[torve::at(j * rows + i)] = next() + common[torve::at(j % 2)];
      z_[torve::at(i)] = next();
      for (int j = 0; j < columns; j += 10) {
        z_[torve::at(i)] += (j % 20 == 0 ? 2.0 : -1.0) * x_[torve::at(j * rows + i)];
      }
    }
    for (int j = 0; j < columns; ++j)
      standardise(std::span(x_).subspan(torve::at(j * rows), z_.size()));
    const double mean = torve::column_moments(z_).mean;
    for (double& value : z_) value -= mean;
  }
  LassoProblem problem() const { return {{x_.data(), rows_, columns_, rows_}, z_}; }

 private:
  static void standardise(std::span<double> x) {
    const torve::ColumnMoments moments = torve::column_moments(x);
    for (double& value : x) value = (value - moments.mean) / moments.deviation;
  }
  int rows_, columns_;
  std::vector<double> x_, z_;
};

// The sweep as its formulas read.
class OneChain : public torve::LassoSteps {
 public:
  explicit OneChain(const LassoProblem& problem)
      : problem_(problem), residual_(problem.zc.size()) {}

  void sweep(double lambda, std::span<bool> mask, std::span<double> b) override {
    make_residual(mask, b);
    for (std::size_t j = 0; j < mask.size(); ++j) {
      if (!mask[j]) continue;
      const std::span<const double> x = problem_.xstd.column(static_cast<int>(j));
      const double old = b[j];
      double u = 0.0;
      for (std::size_t i = 0; i < x.size(); ++i) u += x[i] * (residual_[i] + x[i] * old);
      b[j] = torve::soft_threshold(u / static_cast<double>(x.size()), lambda);
      if (std::abs(b[j]) <= torve::smallest_lasso_coefficient) mask[j] = false;
      subtract(x, b[j] - old);
    }
  }
  bool find_strong(double lambda, torve::ColumnMask active, std::span<const double> b,
                   std::span<bool> strong) override {
    make_residual(active, b);
    for (std::size_t j = 0; j < strong.size(); ++j) {
      const std::span<const double> x = problem_.xstd.column(static_cast<int>(j));
      double sum = 0.0;
      for (std::size_t i = 0; i < x.size(); ++i) sum += x[i] * residual_[i];
      strong[j] = std::abs(sum) > lambda;
    }
    return std::find(strong.begin(), strong.end(), true) != strong.end();
  }
  double sse(std::span<const double> b) override {
    return torve::lasso_sse(problem_, b, residual_);
  }

 private:
  void make_residual(torve::ColumnMask mask, std::span<const double> b) {
    std::ranges::copy(problem_.zc, residual_.begin());
    for (std::size_t j = 0; j < mask.size(); ++j) {
      if (mask[j]) subtract(problem_.xstd.column(static_cast<int>(j)), b[j]);
    }
  }
  void subtract(std::span<const double> x, double factor) {
    for (std::size_t i = 0; i < x.size(); ++i) residual_[i] -= x[i] * factor;
  }

  LassoProblem problem_;
  std::vector<double> residual_;
};

// The work space of a path, and what it ends at.
class Path {
 public:
  explicit Path(const LassoProblem& problem)
      : problem_(problem), coef_(columns()), old_(columns()) {
    for (auto& set : sets_) set = std::make_unique<bool[]>(columns());
  }
  // The sum of the points' sums of squares.
  double follow(torve::LassoSteps& steps) {
    std::array<double, points> penalties{};
    torve::make_penalties(problem_, penalties);
    torve::LassoPath path(steps, {set(0), set(1), set(2), coef_, old_});
    double sum = 0.0;
    for (const double lambda : penalties) {
      path.descend(lambda, [] { return false; });
      sum += steps.sse(path.coefficients());
    }
    return sum;
  }
  std::ptrdiff_t live() const {
    return std::count_if(coef_.begin(), coef_.end(), [](double b) { return b != 0.0; });
  }

 private:
  std::size_t columns() const { return torve::at(problem_.xstd.columns); }
  std::span<bool> set(std::size_t i) { return {sets_[i].get(), columns()}; }

  LassoProblem problem_;
  std::array<std::unique_ptr<bool[]>, 3> sets_;
  std::vector<double> coef_, old_;
};

void lasso_path(benchmark::State& state) {
  const Data data(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
  const LassoProblem problem = data.problem();
  Path path(problem);
  std::vector<double> scratch(problem.zc.size());
  torve::PlainLasso plain(problem, scratch);
  OneChain chain(problem);
  double fast_sum = 0.0;
  std::vector<double> plain_seconds;
  const auto ours = [&] {
    const auto fast = torve::FastLasso::make(problem, torve::MemoryAccount{});
    fast_sum = path.follow(*fast);
  };
  // Outside the pairs: the plain sweep gives the same number.
  const auto prepare = [&] {
    const double start = torve::bench::seconds(CLOCK_THREAD_CPUTIME_ID);
    const double sum = path.follow(plain);
    plain_seconds.push_back(torve::bench::seconds(CLOCK_THREAD_CPUTIME_ID) - start);
    ours();
    if (sum != fast_sum) state.SkipWithError("the paths differ");
  };
  torve::bench::side_by_side(state, CLOCK_THREAD_CPUTIME_ID, 1.0, prepare, ours,
                             [&] { benchmark::DoNotOptimize(path.follow(chain)); });
  state.counters["lanes"] = 1.0 / torve::bench::median(plain_seconds);
  state.counters["live"] = static_cast<double>(path.live());
}
BENCHMARK(lasso_path)
    ->ArgNames({"rows", "columns"})
    ->Args({100, 60})
    ->Args({200, 200})
    ->Args({1000, 500})
    ->Unit(benchmark::kMillisecond);

}  // namespace
