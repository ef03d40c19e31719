#pragma once

#include <string>

namespace torve {

enum class CommandEnd {
  exited,       // by itself; status tells how
  timed_out,    // it was ended, since its time was over
  interrupted,  // it was ended, since the user interrupts the run
  not_started,  // there is no process
};

struct CommandResult {
  CommandEnd end = CommandEnd::not_started;
  int status = -1;       // exit status, or 128 + signal
  double seconds = 0.0;  // of the clock on the wall
};

// Runs a command line by /bin/sh in the current folder and waits for it, most_seconds at most. The
// command and what it starts form a process group of their own, which is ended as a whole when the
// time is over or an interrupt is seen: politely first, for good after a moment. The command reads
// an empty standard input, so that it can't swallow what a script feeds to this program.
CommandResult run_command(const std::string& line, double most_seconds);

}  // namespace torve
