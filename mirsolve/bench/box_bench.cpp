// Ten-term models over boxes of one to eight inputs, to a gap of 0.05 of the value: with random
// factors, and with large ones that nearly cancel.
#include <benchmark/benchmark.h>

#include "box_models.h"
#include "mirsolve/run/solvers.h"

namespace {

void ten_terms(benchmark::State& state, bool opposed) {
  constexpr int terms = 10;
  constexpr double seconds = 60.0;
  constexpr std::uint64_t models = 5;
  std::vector<mirsolve::Problem> problems;
  for (std::uint64_t seed = 1; seed <= models; ++seed) {
    problems.push_back(
        mirsolve::test::random_model(seed, static_cast<int>(state.range(0)), terms, opposed)
            .problem());
  }
  double boxes = 0.0;
  double unproven = 0.0;
  for ([[maybe_unused]] auto _ : state) {
    for (const mirsolve::Problem& problem : problems) {
      const auto answer = solve_box(problem, mirsolve::Deadline(seconds));
      boxes += static_cast<double>(answer->nodes);
      unproven += answer->status == mirsolve::Status::proven ? 0.0 : 1.0;
    }
  }
  const auto runs = static_cast<double>(state.iterations());
  state.counters["boxes"] = boxes / runs;
  state.counters["unproven"] = unproven / runs;
}

}  // namespace

BENCHMARK_CAPTURE(ten_terms, random, false)
    ->DenseRange(1, 6)
    ->Arg(8)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ten_terms, opposed, true)
    ->DenseRange(1, 6)
    ->Arg(8)
    ->Unit(benchmark::kMillisecond);
