// Subsets a second of the enumeration of one size on a triangle of the data, beside a fit of every
// subset, a bare loop of DGELS, and what the inner loop alone can do. The two slow ones are
// measured on a part of the work: so many subsets would take hours.
#include <algorithm>
#include <vector>

#include "dgels_loop.h"
#include "model/enumeration.h"
#include "model/fast_walk/kernels.h"
#include "model/fast_walk/walk.h"
#include "side_by_side.h"
#include "support/sample_problem.h"

namespace {

using torve::RunState;

constexpr std::int64_t sample = 20000;  // subsets of the bare loop
constexpr int few_columns = 14;         // of the fits of every subset

double seconds() {
  return torve::bench::seconds(CLOCK_PROCESS_CPUTIME_ID);
}

// Subsets a second of a call that goes through `subsets` of them.
template <class Work>
double rate(double subsets, Work work) {
  const double start = seconds();
  work();
  return subsets / (seconds() - start);
}

void enumerate(benchmark::State& state, RunState& run, int size) {
  torve::ModelValue best;
  run.walk.output = -1;
  if (torve::trvenum1(run, 0, size, best)) state.SkipWithError("a fit failed");
  benchmark::DoNotOptimize(best);
}

double rate_of_all_fits(benchmark::State& state, int rows, int size) {
  RunState run;
  torve::test::fill_selection(run, rows, few_columns);
  run.walk.allowed = false;
  const auto subsets = static_cast<double>(torve::fast_walk::binomial(few_columns, size));
  return rate(subsets, [&] { enumerate(state, run, size); });
}

// The last two positions of a block that stays in the first cache, with no leaf wanted.
double rate_of_leaves() {
  constexpr int places = 40;
  constexpr int stride = torve::fast_walk::padded(places);
  constexpr int rounds = 2000;
  std::vector<double> gram(places * stride, 0.01);
  std::vector<double> diagonal(stride, 1.0);
  std::vector<double> z(stride, 0.01);
  std::vector<double> doubt(stride, 1e-13);
  const auto scan = torve::fast_walk::widest_kernels().scan;
  return rate(rounds * places * (places - 1) / 2.0, [&] {
    for (int round = 0; round < rounds; ++round) {
      torve::fast_walk::Leaves leaves{
          gram.data(), diagonal.data(), z.data(), doubt.data(), stride, 1.0, 0.1, places - 1};
      benchmark::DoNotOptimize(scan(leaves));
    }
  });
}

void selection(benchmark::State& state) {
  const int rows = static_cast<int>(state.range(0));
  const int columns = static_cast<int>(state.range(1));
  const int size = static_cast<int>(state.range(2));
  const auto subsets = static_cast<double>(torve::fast_walk::binomial(columns, size));
  RunState run;
  torve::test::fill_selection(run, rows, columns);
  torve::bench::DgelsLoop loop(run.basis.xij.view(rows, columns), run.points.zdata.column(0, rows),
                               size);
  std::vector<double> fast, bare, all_fits, leaves, ratios;
  for ([[maybe_unused]] auto _ : state) {
    fast.push_back(rate(subsets, [&] { enumerate(state, run, size); }));
    bare.push_back(rate(static_cast<double>(sample), [&] { loop.run(sample); }));
    all_fits.push_back(rate_of_all_fits(state, rows, size));
    leaves.push_back(rate_of_leaves());
    ratios.push_back(fast.back() / bare.back());
  }
  if (!run.walk.usable) state.SkipWithError("the triangle wasn't used");
  using torve::bench::median;
  state.counters["ours"] = median(fast);
  state.counters["bare"] = median(bare);
  state.counters["all_fits"] = median(all_fits);
  state.counters["leaves"] = median(leaves);
  state.counters["ratio"] = median(ratios);
}
BENCHMARK(selection)
    ->ArgNames({"rows", "columns", "size"})
    ->ArgsProduct({{20, 100, 1000}, {30, 40}, {4, 5, 6}})
    ->Args({100, 60, 4})
    ->Args({100, 60, 5})
    ->Iterations(5)
    ->Unit(benchmark::kMillisecond);

}  // namespace
