#include "system/clock.h"

#include <algorithm>
#include <ctime>

namespace torve {

namespace {

constexpr std::int64_t nanoseconds_per_second = 1000000000;
constexpr std::int64_t look_again_after = 50000;  // nanoseconds

std::int64_t read(clockid_t id) {
  timespec now{};
  clock_gettime(id, &now);
  return static_cast<std::int64_t>(now.tv_sec) * nanoseconds_per_second + now.tv_nsec;
}

}  // namespace

double CpuClock::seconds() {
  const std::int64_t now = read(CLOCK_MONOTONIC);
  if (cpu_ < 0 || now - monotonic_ > look_again_after) {
    cpu_ = read(CLOCK_PROCESS_CPUTIME_ID);
    monotonic_ = now;
  }
  last_ = std::max(last_, cpu_ + (now - monotonic_));
  return static_cast<double>(last_) / static_cast<double>(nanoseconds_per_second) + waited_;
}

}  // namespace torve
