// Subsets fitted per second: the enumeration of one size, with all that belongs to it, beside a
// loop that does nothing but pack the same subsets in the same order and hand them to DGELS.
#include <algorithm>
#include <numeric>
#include <vector>

#include "model/combinations.h"
#include "model/dgels.h"
#include "model/enumeration.h"
#include "side_by_side.h"
#include "support/sample_problem.h"

namespace {

using torve::MatrixView;
using torve::RunState;

constexpr int columns = 30;

// The next combination in lexicographic order; false after the last.
bool advance(std::vector<int>& subset) {
  const int size = static_cast<int>(subset.size());
  int p = size - 1;
  while (p >= 0 && subset[static_cast<std::size_t>(p)] == columns - size + p) --p;
  if (p < 0) return false;
  const auto from = subset.begin() + p;
  std::iota(from, subset.end(), *from + 1);
  return true;
}

// The bare loop, with its work space queried once.
class DgelsLoop {
 public:
  DgelsLoop(MatrixView x, std::span<const double> z, int size)
      : x_(x), z_(z), subset_(static_cast<std::size_t>(size)) {
    a_.resize(z.size() * subset_.size());
    b_.resize(z.size());
    work_.resize(static_cast<std::size_t>(torve::dgels_workspace(x.rows, size, x.rows)));
  }

  void run() {
    std::iota(subset_.begin(), subset_.end(), 0);
    do {
      double* to = a_.data();
      for (const int j : subset_) to = std::copy_n(x_.column_data(j), x_.rows, to);
      std::copy(z_.begin(), z_.end(), b_.begin());
      torve::dgels(x_.rows, static_cast<int>(subset_.size()), a_.data(), x_.rows, b_.data(),
                   work_.data(), static_cast<int>(work_.size()));
      benchmark::DoNotOptimize(b_.data());
      benchmark::ClobberMemory();
    } while (advance(subset_));
  }

 private:
  MatrixView x_;
  std::span<const double> z_;
  std::vector<int> subset_;
  std::vector<double> a_, b_, work_;
};

void enumeration(benchmark::State& state) {
  const int rows = static_cast<int>(state.range(0));
  const int size = static_cast<int>(state.range(1));
  std::int32_t subsets = 1;
  for (int it = 1; it <= size; ++it) subsets = torve::nextcombos(it, columns, subsets);
  RunState run;
  torve::test::fill_selection(run, rows, columns);
  DgelsLoop loop(run.basis.xij.view(rows, columns), run.points.zdata.column(0, rows), size);
  const auto ours = [&] {
    torve::ModelValue best;
    if (torve::trvenum1(run, 0, size, best)) state.SkipWithError("a fit failed");
    benchmark::DoNotOptimize(best);
  };
  torve::bench::side_by_side(
      state, CLOCK_PROCESS_CPUTIME_ID, subsets, [] {}, ours, [&] { loop.run(); });
  if (run.counters.OLRdgelFails > 0) state.SkipWithError("a fit went down the chain");
}
BENCHMARK(enumeration)
    ->ArgNames({"rows", "size"})
    ->ArgsProduct({{20, 100, 1000}, {1, 2, 3, 4}})
    ->Unit(benchmark::kMillisecond);

}  // namespace
