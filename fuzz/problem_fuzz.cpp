// Reads any bytes as a problem file.
#include <cstdint>
#include <cstdio>
#include <string>

#include "input/problem_reader.h"

// The reader's lines for the console; findings go to the standard error.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
  return std::freopen("/dev/null", "w", stdout) == nullptr ? 1 : 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  torve::RunState run;
  run.status.cmdcount = 1;
  run.memory.machine_bytes = std::int64_t{256} << 20U;
  torve::read_problem_text(run, std::string(reinterpret_cast<const char*>(data), size));
  return 0;
}
