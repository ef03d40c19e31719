#pragma once

#include <algorithm>
#include <cstdint>

namespace torve {

// CPU seconds of the process. A reading asks the kernel at most every 100 microseconds and in
// between counts on by the processor's own counter, which costs a twentieth: the least-squares
// layer reads the clock for each subset. Readings never fall.
class CpuClock {
 public:
  double seconds() {
    const std::int64_t tick = counter();
    std::int64_t since = tick - look_tick_;
    // A counter that went back belongs to another processor.
    if (since < 0 || since > look_again_) {
      look(tick);
      since = 0;
    }
    last_ = std::max(last_, cpu_ + static_cast<double>(since) * seconds_per_tick_);
    return last_reading();
  }
  // Without a look at any clock.
  double last_reading() const { return last_ + waited_; }
  // Adds time that the process spent waiting for an outside program.
  void add_waiting(double seconds) { waited_ += seconds; }

 private:
  // A counter of constant pace. Its pace isn't known beforehand.
  static std::int64_t counter() {
#if defined(__x86_64__)
    return static_cast<std::int64_t>(__builtin_ia32_rdtsc());
#else
    return monotonic_nanoseconds();
#endif
  }
  static std::int64_t monotonic_nanoseconds();
  void look(std::int64_t tick);

  double cpu_ = 0.0;              // the process clock at the last look, seconds
  std::int64_t look_tick_ = 0;    // the counter at that moment
  std::int64_t look_again_ = -1;  // ticks after it; negative until the counter's pace is known
  std::int64_t first_tick_ = -1;  // the counter and the monotonic clock at the first look
  double first_time_ = 0.0;
  std::int64_t first_gap_ = 0;  // ticks between the two
  double seconds_per_tick_ = 0.0;
  double last_ = 0.0;  // largest reading so far, without the waiting
  double waited_ = 0.0;
};

}  // namespace torve
