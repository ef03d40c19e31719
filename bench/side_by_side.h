// Two ways to do the same work, timed in turn. On a machine that isn't idle the speed of everything
// changes from one moment to the next, but hardly within a pair, so that the median of the pairs'
// ratios holds to a percent where the quotient of two separate figures doesn't.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <ctime>
#include <vector>

namespace torve::bench {

inline double seconds(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

inline double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

constexpr std::size_t fewest_pairs = 9;

// Runs the loop of a benchmark whose iterations are pairs; `prepare` isn't timed. `work` is what
// one call does, in the unit of the figures. Counters: "ours" and "bare", the work a second, and
// "ratio", how fast ours is in units of the other.
template <class Prepare, class Ours, class Bare>
void side_by_side(benchmark::State& state, clockid_t clock, double work, Prepare prepare, Ours ours,
                  Bare bare) {
  std::vector<double> our_seconds;
  std::vector<double> bare_seconds;
  std::vector<double> ratios;
  const auto run_pair = [&] {
    prepare();
    const double start = seconds(clock);
    ours();
    const double half = seconds(clock);
    bare();
    const double end = seconds(clock);
    our_seconds.push_back(half - start);
    bare_seconds.push_back(end - half);
    ratios.push_back((end - half) / (half - start));
  };
  for ([[maybe_unused]] auto _ : state) run_pair();
  while (ratios.size() < fewest_pairs) run_pair();
  state.counters["ours"] = work / median(our_seconds);
  state.counters["bare"] = work / median(bare_seconds);
  state.counters["ratio"] = median(ratios);
}

}  // namespace torve::bench
