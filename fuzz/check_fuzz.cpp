// Reads any bytes as a problem file and carries the problem through the checks, the catalogue, the
// groups and the formulas: all that comes before the first file is opened.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>

#include "input/problem_reader.h"
#include "input/trvcheck.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  return std::freopen("/dev/null", "w", stdout) == nullptr ? 1 : 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  torve::RunState run;
  run.status.cmdcount = 1;
  // Little memory keeps the catalogue small, and so an input fast.
  run.memory.machine_bytes = std::int64_t{4} << 20U;
  torve::read_problem_text(run, std::string(reinterpret_cast<const char*>(data), size));
  if (torve::failed(run)) return 0;
  // No folder is entered and no program looked for.
  run.options.usescratch = false;
  run.options.simulator.clear();
  torve::trvcheck(run);
  return 0;
}
