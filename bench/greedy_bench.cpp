// Greedy searches a second: build-up from nothing, back-step from all columns, and back-step to a
// few terms, with few fits and by a fit of every candidate, in turn.
#include <algorithm>
#include <memory>
#include <vector>

#include "model/greedy.h"
#include "side_by_side.h"
#include "support/sample_problem.h"

namespace {

using torve::RunState;

// A model to start from, and the room for what is found.
class Search {
 public:
  Search(RunState& run, bool all, int maxn)
      : run_(run),
        all_(all),
        maxn_(maxn),
        nbas_(static_cast<std::size_t>(run.sizes.nbas)),
        choice_(std::make_unique<bool[]>(nbas_)),
        beta_(nbas_) {}

  torve::ModelValue make(bool fast) {
    run_.walk.allowed = fast;
    run_.walk.output = -1;
    std::fill_n(choice_.get(), nbas_, all_);
    torve::ModelValue value;
    (all_ ? torve::trvbackstep : torve::trvbuildup)(run_, 0, maxn_, value, {choice_.get(), nbas_},
                                                    beta_);
    return value;
  }

 private:
  RunState& run_;
  const bool all_;
  const int maxn_;
  const std::size_t nbas_;
  std::unique_ptr<bool[]> choice_;
  std::vector<double> beta_;
};

void compare(benchmark::State& state, bool all, int most_terms) {
  const int rows = static_cast<int>(state.range(0));
  const int columns = static_cast<int>(state.range(1));
  RunState run;
  torve::test::fill_selection(run, rows, columns);
  run.options.greedybuild = run.options.greedyback = state.range(2) != 0;
  Search search(run, all, std::min(most_terms, columns));
  double fast = 0.0;
  double plain = 0.0;
  torve::bench::side_by_side(
      state, CLOCK_THREAD_CPUTIME_ID, 1.0, [] {}, [&] { fast = search.make(true).metric; },
      [&] { plain = search.make(false).metric; });
  if (fast != plain) state.SkipWithError("the two ways differ");
  run.counters = torve::Counters{};
  run.walk.unfitted = 0;
  search.make(true);
  state.counters["candidates"] = run.counters.numOLRs;
  state.counters["fits"] = static_cast<double>(run.counters.numOLRs - run.walk.unfitted);
}

constexpr int no_limit = 1 << 30;

void build_up(benchmark::State& state) {
  compare(state, false, no_limit);
}
void step_back(benchmark::State& state) {
  compare(state, true, no_limit);
}
void shrink_to_five(benchmark::State& state) {
  compare(state, true, 5);
}

// The best candidate of each pass takes the plain way minutes from all columns on, so that this is
// left to the build-up.
void sizes(benchmark::internal::Benchmark* benchmark, const std::vector<std::int64_t>& greed) {
  benchmark->ArgNames({"rows", "columns", "greed"})
      ->ArgsProduct({{20, 100, 1000}, {30, 60, 120}, greed})
      ->MinTime(0.3)
      ->Unit(benchmark::kMillisecond);
}
void with_both(benchmark::internal::Benchmark* benchmark) {
  sizes(benchmark, {1, 0});
}
void with_greed(benchmark::internal::Benchmark* benchmark) {
  sizes(benchmark, {1});
}
BENCHMARK(build_up)->Apply(with_both);
BENCHMARK(step_back)->Apply(with_greed);
BENCHMARK(shrink_to_five)->Apply(with_greed);

}  // namespace
