// Time to the proof of the best subset: independent columns of which five make the output, with a
// price for each column or with a number of columns, and columns of a catalogue, which depend on
// each other nearly.
#include <benchmark/benchmark.h>

#include <cmath>

#include "mirsolve/run/solvers.h"
#include "selection_problems.h"

namespace {

using mirsolve::test::LinearRow;
using mirsolve::test::SelectionCase;
using mirsolve::test::Sense;

constexpr unsigned problems = 3;
constexpr double seconds = 600.0;

void prove(benchmark::State& state, SelectionCase (*make)(int rows, int columns, unsigned seed)) {
  std::vector<mirsolve::Problem> made;
  for (unsigned seed = 1; seed <= problems; ++seed) {
    made.push_back(mirsolve::test::build(
        make(static_cast<int>(state.range(1)), static_cast<int>(state.range(0)), seed)));
  }
  double nodes = 0.0;
  double unproven = 0.0;
  for ([[maybe_unused]] auto _ : state) {
    for (const mirsolve::Problem& problem : made) {
      const auto answer = solve_selection(problem, mirsolve::Deadline(seconds));
      nodes += static_cast<double>(answer->nodes);
      unproven += answer->status == mirsolve::Status::proven ? 0.0 : 1.0;
    }
  }
  const auto solves = static_cast<double>(state.iterations() * problems);
  state.counters["nodes"] = nodes / solves;
  state.counters["unproven"] = unproven / solves;
  state.counters["each"] =
      benchmark::Counter(solves, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

LinearRow size(int columns) {
  return {{}, Sense::equal, static_cast<double>(columns)};
}

// A price of ln(rows) times the variance of the noise.
SelectionCase priced(int rows, int columns, unsigned seed) {
  SelectionCase made = mirsolve::test::random_case(rows, columns, 5, 1.0, seed);
  made.penalty = std::log(rows);
  return made;
}
SelectionCase sized(int rows, int columns, unsigned seed) {
  SelectionCase made = mirsolve::test::random_case(rows, columns, 5, 1.0, seed);
  made.sizes = {size(6)};
  return made;
}
// A rule that says nothing leaves all to the branches.
SelectionCase ruled(int rows, int columns, unsigned seed) {
  SelectionCase made = sized(rows, columns, seed);
  made.logic = {{{{0, 1.0}, {1, 1.0}}, Sense::at_most, 2.0}};
  return made;
}
SelectionCase catalogue(int rows, int columns, unsigned seed) {
  SelectionCase made = mirsolve::test::catalogue_case(rows, columns, 0.5, seed);
  made.sizes = {size(3)};
  return made;
}

void shapes(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"columns", "rows"})
      ->ArgsProduct({{20, 30, 40, 60}, {100, 1000}})
      ->Unit(benchmark::kMillisecond);
}
BENCHMARK_CAPTURE(prove, priced, priced)->Apply(shapes);
BENCHMARK_CAPTURE(prove, sized, sized)->Apply(shapes);
BENCHMARK_CAPTURE(prove, ruled, ruled)->Apply(shapes);
BENCHMARK_CAPTURE(prove, catalogue, catalogue)->Apply(shapes);

}  // namespace
