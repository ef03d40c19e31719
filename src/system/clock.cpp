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
// to tell, each reading is a look.
void CpuClock::look(std::int64_t tick) {
  const double time = read(CLOCK_MONOTONIC);
  cpu_ = read(CLOCK_PROCESS_CPUTIME_ID);
  look_tick_ = tick;
  if (first_tick_ < 0) {
    first_tick_ = tick;
    first_time_ = time;
  }
  const double passed = time - first_time_;
  const auto ticks = static_cast<double>(tick - first_tick_);
  if (passed < seconds_between_looks || ticks <= 0.0) return;
  seconds_per_tick_ = passed / ticks;
  look_again_ = static_cast<std::int64_t>(seconds_between_looks / seconds_per_tick_);
}

std::int64_t CpuClock::monotonic_nanoseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

}  // namespace torve
