#pragma once

#include <cstdint>

namespace torve {

// CPU seconds of the process. A reading asks the kernel at most every 50 microseconds and in
// between counts on with the monotonic clock, which costs a tenth: the least-squares layer reads
// the clock several times for each subset. Readings never fall.
class CpuClock {
 public:
  double seconds();
  // Adds time that the process spent waiting for an outside program.
  void add_waiting(double seconds) { waited_ += seconds; }

 private:
  std::int64_t cpu_ = -1;       // nanoseconds at the last look at the process clock
  std::int64_t monotonic_ = 0;  // nanoseconds of the monotonic clock at that moment
  std::int64_t last_ = 0;       // largest reading so far
  double waited_ = 0.0;
};

}  // namespace torve
