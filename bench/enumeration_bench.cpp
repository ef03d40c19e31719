// Subsets fitted per second: the enumeration of one size by a fit of each, with all that belongs to
// it, beside a loop that does nothing but hand the same subsets to DGELS.
#include "dgels_loop.h"
#include "model/combinations.h"
#include "model/enumeration.h"
#include "side_by_side.h"
#include "support/sample_problem.h"

namespace {

using torve::RunState;

constexpr int columns = 30;

void enumeration(benchmark::State& state) {
  const int rows = static_cast<int>(state.range(0));
  const int size = static_cast<int>(state.range(1));
  std::int32_t subsets = 1;
  for (int it = 1; it <= size; ++it) subsets = torve::nextcombos(it, columns, subsets);
  RunState run;
  torve::test::fill_selection(run, rows, columns);
  run.walk.allowed = false;  // a fit for every subset
  torve::bench::DgelsLoop loop(run.basis.xij.view(rows, columns), run.points.zdata.column(0, rows),
                               size);
  const auto ours = [&] {
    torve::ModelValue best;
    if (torve::trvenum1(run, 0, size, best)) state.SkipWithError("a fit failed");
    benchmark::DoNotOptimize(best);
  };
  torve::bench::side_by_side(
      state, CLOCK_THREAD_CPUTIME_ID, subsets, [] {}, ours, [&] { loop.run(); });
  if (run.counters.OLRdgelFails > 0) state.SkipWithError("a fit went down the chain");
}
BENCHMARK(enumeration)
    ->ArgNames({"rows", "size"})
    ->ArgsProduct({{20, 100, 1000}, {1, 2, 3, 4}})
    ->Unit(benchmark::kMillisecond);

}  // namespace
