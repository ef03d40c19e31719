// Subsets a second of the enumeration of one size on a triangle of the data, beside a fit of every
// subset, a bare loop of DGELS, and what the inner loop alone can do. The two slow ones are
// measured on a part of the work: so many subsets would take hours.
#include <algorithm>
#include <vector>

#include "dgels_loop.h"
#include "model/enumeration.h"
#include "model/fast_walk/kernels.h"
#include "model/fast_walk/walk.h"
#include "selection_designs.h"
#include "side_by_side.h"
#include "support/sample_problem.h"

namespace {

using torve::RunState;
using torve::bench::Design;

constexpr std::int64_t sample = 20000;  // subsets of the bare loop
constexpr int few_columns = 14;         // of the fits of every subset
constexpr double shortest = 0.03;       // seconds of a measurement

double seconds() {
  return torve::bench::seconds(CLOCK_THREAD_CPUTIME_ID);
}

// Subsets a second of a call that goes through `subsets` of them.
template <class Work>
double rate(double subsets, Work work) {
  const double start = seconds();
  double calls = 0.0;
  double end = start;
  for (; end < start + shortest; end = seconds(), ++calls) work();
  return calls * subsets / (end - start);
}

// With the reduction of the data.
void enumerate(benchmark::State& state, RunState& run, int size) {
  torve::ModelValue best;
  run.walk.output = -1;
  if (torve::trvenum1(run, 0, size, best)) state.SkipWithError("a fit failed");
  benchmark::DoNotOptimize(best);
}

double rate_of_all_fits(benchmark::State& state, const Design& design, int size) {
  const int columns = std::min(few_columns, static_cast<int>(design.columns.size()));
  const Design part = design.first(columns);
  RunState run;
  torve::test::fill_selection(run, part.columns, part.output);
  run.walk.allowed = false;
  const auto subsets = static_cast<double>(torve::fast_walk::binomial(columns, size));
  return rate(subsets, [&] { enumerate(state, run, size); });
}

// The last two positions of a block that stays in the first cache, with no leaf wanted.
double rate_of_leaves() {
  constexpr int places = 40;
  constexpr int stride = torve::fast_walk::padded(places);
  std::vector<double> gram(places * stride, 0.01);
  std::vector<double> ones(stride, 1.0);
  std::vector<double> small(stride, 0.01);
  std::vector<double> needed(stride);
  const auto any = torve::fast_walk::widest_kernels().any;
  return rate(places * (places - 1) / 2.0, [&] {
    torve::fast_walk::Leaves leaves{gram.data(),
                                    small.data(),
                                    stride,
                                    {small.data(), ones.data(), ones.data(), small.data(),
                                     small.data(), ones.data(), needed.data()},
                                    0.1,
                                    places - 1};
    benchmark::DoNotOptimize(any(leaves));
  });
}

void measure(benchmark::State& state, const Design& design, int size) {
  RunState run;
  torve::test::fill_selection(run, design.columns, design.output);
  const int rows = static_cast<int>(design.output.size());
  const int columns = static_cast<int>(design.columns.size());
  const auto subsets = static_cast<double>(torve::fast_walk::binomial(columns, size));
  torve::bench::DgelsLoop loop(run.basis.xij.view(rows, columns), run.points.zdata.column(0, rows),
                               size);
  const double bare_subsets = std::min(subsets, static_cast<double>(sample));
  std::vector<double> fast, bare, all_fits, leaves, ratios, plain_ratios;
  for ([[maybe_unused]] auto _ : state) {
    fast.push_back(rate(subsets, [&] { enumerate(state, run, size); }));
    bare.push_back(rate(bare_subsets, [&] { loop.run(sample); }));
    all_fits.push_back(rate_of_all_fits(state, design, size));
    leaves.push_back(rate_of_leaves());
    ratios.push_back(fast.back() / bare.back());
    plain_ratios.push_back(fast.back() / all_fits.back());
  }
  using torve::bench::median;
  state.counters["ours"] = median(fast);
  state.counters["bare"] = median(bare);
  state.counters["all_fits"] = median(all_fits);
  state.counters["leaves"] = median(leaves);
  state.counters["ratio"] = median(ratios);
  state.counters["to_all_fits"] = median(plain_ratios);
}

int argument(const benchmark::State& state, std::size_t i) {
  return static_cast<int>(state.range(i));
}

void selection(benchmark::State& state) {
  torve::test::Random random(1);
  measure(state, torve::bench::independent(random, argument(state, 0), argument(state, 1)),
          argument(state, 2));
}
BENCHMARK(selection)
    ->ArgNames({"rows", "columns", "size"})
    ->ArgsProduct({{20, 100, 1000}, {30, 40}, {4, 5, 6}})
    ->Args({100, 60, 4})
    ->Args({100, 60, 5})
    ->Iterations(5)
    ->Unit(benchmark::kMillisecond);

// Five columns, two of them at a time.
void selection_of_ten(benchmark::State& state) {
  torve::test::Random random(1);
  Design design = torve::bench::independent(random, argument(state, 0), 10);
  measure(state, design.first(5), 2);
}
BENCHMARK(selection_of_ten)
    ->ArgName("rows")
    ->Arg(20)
    ->Arg(100)
    ->Iterations(5)
    ->Unit(benchmark::kMillisecond);

// Functions of inputs whose range is so many thousandths of their value to either side.
void selection_catalogue(benchmark::State& state) {
  torve::test::Random random(1);
  const double width = 2.0 * argument(state, 3) / 1000.0;
  measure(state,
          torve::bench::catalogue(random, argument(state, 0), argument(state, 1), width,
                                  argument(state, 4) != 0),
          argument(state, 2));
}
BENCHMARK(selection_catalogue)
    ->ArgNames({"rows", "columns", "size", "width", "noisy"})
    ->Args({100, 49, 4, 500, 1})
    ->Args({100, 60, 4, 500, 1})
    ->Args({100, 60, 5, 500, 1})
    ->Args({100, 40, 4, 500, 0})
    ->Args({100, 40, 4, 50, 1})
    ->Args({100, 40, 4, 10, 1})
    ->Args({100, 40, 3, 1, 1})
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);

void selection_dependent(benchmark::State& state) {
  torve::test::Random random(1);
  measure(state, torve::bench::dependent(random, argument(state, 0), argument(state, 1)),
          argument(state, 2));
}
BENCHMARK(selection_dependent)
    ->ArgNames({"rows", "columns", "size"})
    ->Args({100, 40, 4})
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);

}  // namespace
