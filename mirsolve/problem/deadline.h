#pragma once

#include <chrono>

namespace mirsolve {

// The time that a solve may take. Copies end at the same moment.
class Deadline {
 public:
  explicit Deadline(double seconds) : start_(Clock::now()), seconds_(seconds) {}
  double elapsed() const { return std::chrono::duration<double>(Clock::now() - start_).count(); }
  double left() const { return seconds_ - elapsed(); }
  bool is_over() const { return left() <= 0.0; }

 private:
  using Clock = std::chrono::steady_clock;
  Clock::time_point start_;
  double seconds_;
};

}  // namespace mirsolve
