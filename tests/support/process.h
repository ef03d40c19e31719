// One start of the program in the current folder, with everything about it in the caller's hand.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

#include "run_setup.h"

namespace torve::test {

struct Start {
  Words arguments{};
  std::function<void()> in_child{};  // before the program is loaded; system calls only
  std::function<void(pid_t process)> meanwhile{};  // while it runs
  double timeout_seconds = 60;
};

struct Finished {
  int wait_status = 0;  // of SIGKILL when the time was over
  std::string screen;
  double cpu_seconds = 0;
  long peak_kibibytes = 0;

  bool ended_normally() const;  // with status 0
  bool ended_by(int signal) const;
};

// The standard output goes to a file, and to what `in_child` makes of it.
Finished run_process(const fs::path& program, const Start& start);

// The standard output up to now, for `meanwhile`.
std::string screen_so_far();

// Waits until the condition holds; false after so many seconds.
bool wait_until(const std::function<bool()>& holds, double seconds);

}  // namespace torve::test
