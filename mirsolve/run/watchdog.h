// For when a solve doesn't look at its deadline: a library that waits for memory that never comes,
// say. Some seconds behind the deadline the files of results are written by a signal handler, with
// texts that were made before, and the program ends as it does with any results.
#pragma once

#include "mirsolve/answer/result_files.h"

namespace mirsolve {

class Watchdog {
 public:
  // One at a time. The texts stay in memory as long as this lives.
  Watchdog(double seconds, ResultTexts texts);
  ~Watchdog();
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;

 private:
  ResultTexts texts_;
};

}  // namespace mirsolve
