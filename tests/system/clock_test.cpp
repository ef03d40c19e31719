#include "system/clock.h"

#include <gtest/gtest.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>

namespace {

double process_seconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

// Keeps the processor busy for so many seconds of its time.
void work(double seconds) {
  const double end = process_seconds() + seconds;
  while (process_seconds() < end) {
  }
}

// How far the clock goes from the kernel's own count over an action. A virtual machine may stand
// still between the two readings, which the kernel charges to the process: the best of some tries
// tells.
template <class Action>
double deviation(Action action) {
  double least = 1e30;
  for (int attempt = 0; attempt < 5 && least > 1e-3; ++attempt) {
    torve::CpuClock clock;
    const double clock_start = clock.seconds();
    const double start = process_seconds();
    action();
    const double counted = clock.seconds() - clock_start;
    least = std::min(least, std::abs(counted - (process_seconds() - start)));
  }
  return least;
}

TEST(CpuClock, counts_the_time_of_the_process) {
  EXPECT_LT(deviation([] { work(0.05); }), 1e-3);
}

TEST(CpuClock, does_not_count_sleep) {
  const auto sleep = [] { std::this_thread::sleep_for(std::chrono::milliseconds(100)); };
  EXPECT_LT(deviation(sleep), 1e-3);
}

TEST(CpuClock, never_falls) {
  torve::CpuClock clock;
  double last = clock.seconds();
  for (int i = 0; i < 200000; ++i) {
    const double now = clock.seconds();
    ASSERT_GE(now, last);
    last = now;
  }
}

// Between two looks at the kernel's clock it goes on by less than a look takes.
TEST(CpuClock, moves_in_small_steps) {
  torve::CpuClock clock;
  work(0.001);
  clock.seconds();
  int moved = 0;
  double last = clock.seconds();
  for (int i = 0; i < 200000; ++i) {
    const double now = clock.seconds();
    moved += now > last ? 1 : 0;
    last = now;
  }
  EXPECT_GT(moved, 100000);
}

TEST(CpuClock, adds_waiting_and_repeats_the_last_reading) {
  torve::CpuClock clock;
  const double start = clock.seconds();
  EXPECT_EQ(clock.last_reading(), start);
  clock.add_waiting(10.0);
  EXPECT_DOUBLE_EQ(clock.last_reading(), start + 10.0);
  EXPECT_GE(clock.seconds(), start + 10.0);
}

}  // namespace
