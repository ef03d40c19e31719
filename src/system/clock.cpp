#include "system/clock.h"

#include <ctime>

namespace torve {

namespace {

constexpr double seconds_between_looks = 100e-6;

double read(clockid_t id) {
  timespec now{};
  clock_gettime(id, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

}  // namespace

// The pace of the counter comes from all the time since the first look; until that is long enough
// to tell, each reading is a look. Where the process was held up between the counter and the clock,
// the two belong together only so far.
void CpuClock::look(std::int64_t tick) {
  const double time = read(CLOCK_MONOTONIC);
  const std::int64_t gap = counter() - tick;
  cpu_ = read(CLOCK_PROCESS_CPUTIME_ID);
  look_tick_ = tick;
  if (first_tick_ < 0) {
    first_tick_ = tick;
    first_time_ = time;
    first_gap_ = gap;
  }
  constexpr std::int64_t precision = 100;
  const double passed = time - first_time_;
  const std::int64_t ticks = tick - first_tick_;
  if (passed < seconds_between_looks || ticks <= 0 || ticks < precision * (first_gap_ + gap))
    return;
  seconds_per_tick_ = passed / static_cast<double>(ticks);
  look_again_ = static_cast<std::int64_t>(seconds_between_looks / seconds_per_tick_);
}

std::int64_t CpuClock::monotonic_nanoseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

}  // namespace torve
