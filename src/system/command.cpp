#include "system/command.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <string>
#include <thread>

#include "system/interrupts.h"

namespace torve {

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr double longest_look = 0.1;  // seconds between two looks at the interrupt flag
constexpr double patience = 2.0;      // seconds between the polite signal and the last one
constexpr double longest_wait = 1e9;  // no limit

double seconds_since(Clock::time_point start) {
  return Seconds(Clock::now() - start).count();
}

// Attributes and file actions of the child, released at the end of the block.
class SpawnPlan {
 public:
  SpawnPlan() {
    posix_spawnattr_init(&attributes_);
    posix_spawn_file_actions_init(&actions_);
    posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    sigset_t signals;
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes_, &signals);
    posix_spawnattr_setpgroup(&attributes_, 0);
    posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK);
  }
  SpawnPlan(const SpawnPlan&) = delete;
  SpawnPlan& operator=(const SpawnPlan&) = delete;
  ~SpawnPlan() {
    posix_spawn_file_actions_destroy(&actions_);
    posix_spawnattr_destroy(&attributes_);
  }
  const posix_spawnattr_t* attributes() const { return &attributes_; }
  const posix_spawn_file_actions_t* actions() const { return &actions_; }

 private:
  posix_spawnattr_t attributes_{};
  posix_spawn_file_actions_t actions_{};
};

bool start(const std::string& line, pid_t& pid) {
  std::string shell = "/bin/sh";
  std::string option = "-c";
  std::string command = line;
  const std::array<char*, 4> arguments{shell.data(), option.data(), command.data(), nullptr};
  const SpawnPlan plan;
  return posix_spawn(&pid, shell.c_str(), plan.actions(), plan.attributes(), arguments.data(),
                     environ) == 0;
}

// A process to wait for. A kernel without process descriptors is asked at short intervals.
class Child {
 public:
  explicit Child(pid_t pid)
      : pid_(pid), descriptor_(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0))) {}
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }

  // Waits for the end, so many seconds at most; a signal may end the wait early.
  bool has_ended(double seconds) {
    if (reap()) return true;
    if (descriptor_ >= 0) {
      pollfd watched{descriptor_, POLLIN, 0};
      ::poll(&watched, 1, static_cast<int>(seconds * 1000.0) + 1);
    } else {
      pause_ = std::min(pause_ * 1.5, 0.01);
      std::this_thread::sleep_for(Seconds(std::min(seconds, pause_)));
    }
    return reap();
  }
  int status() const { return WIFEXITED(status_) ? WEXITSTATUS(status_) : 128 + WTERMSIG(status_); }
  void signal_group(int signal) const { ::kill(-pid_, signal); }

 private:
  bool reap() {
    if (ended_) return true;
    const pid_t found = ::waitpid(pid_, &status_, WNOHANG);
    // A child that somebody else has reaped is over as well.
    ended_ = found == pid_ || (found < 0 && errno == ECHILD);
    return ended_;
  }

  pid_t pid_;
  int descriptor_;
  int status_ = 0;
  bool ended_ = false;
  double pause_ = 0.0001;
};

void end_group(Child& child) {
  child.signal_group(SIGTERM);
  // A stopped process would sleep through the polite signal.
  child.signal_group(SIGCONT);
  const Clock::time_point asked = Clock::now();
  while (seconds_since(asked) < patience && !child.has_ended(longest_look)) {
  }
  child.signal_group(SIGKILL);
  while (!child.has_ended(longest_look)) {
  }
}

}  // namespace

CommandResult run_command(const std::string& line, double most_seconds) {
  CommandResult result;
  const Clock::time_point begin = Clock::now();
  const double most = std::min(most_seconds, longest_wait);
  pid_t pid = 0;
  if (!start(line, pid)) return result;
  Child child(pid);
  for (;;) {
    const double left = most - seconds_since(begin);
    if (interrupted()) result.end = CommandEnd::interrupted;
    if (!interrupted() && left <= 0.0) result.end = CommandEnd::timed_out;
    if (result.end != CommandEnd::not_started) {
      end_group(child);
      break;
    }
    if (child.has_ended(std::clamp(left, 0.0, longest_look))) {
      result.end = CommandEnd::exited;
      break;
    }
  }
  result.status = child.status();
  result.seconds = seconds_since(begin);
  return result;
}

}  // namespace torve
