#include <benchmark/benchmark.h>

#include "system/machine.h"

// The baselines call LAPACK themselves, with the one thread that a run gives it.
int main(int argc, char** argv) {
  torve::use_one_algebra_thread();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
