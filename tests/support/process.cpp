#include "process.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <thread>

namespace torve::test {

namespace {

constexpr const char* screen_file = "screen.txt";

double seconds_of(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

[[noreturn]] void become_program(const Start& start, char** arguments) {
  const int input = ::open("/dev/null", O_RDONLY);
  const int screen = ::open(screen_file, O_WRONLY | O_CREAT | O_TRUNC, 0600);
  ::dup2(input, STDIN_FILENO);
  ::dup2(screen, STDOUT_FILENO);
  ::close(input);
  ::close(screen);
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) std::signal(number, SIG_DFL);
  if (start.in_child) start.in_child();
  ::execv(arguments[0], arguments);
  _exit(127);
}

}  // namespace

bool Finished::ended_normally() const {
  return WIFEXITED(wait_status) && WEXITSTATUS(wait_status) == 0;
}

bool Finished::ended_by(int signal) const {
  return WIFSIGNALED(wait_status) && WTERMSIG(wait_status) == signal;
}

std::string screen_so_far() {
  return fs::exists(screen_file) ? read_file(fs::path(screen_file)) : "";
}

bool wait_until(const std::function<bool()>& holds, double seconds) {
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + std::chrono::duration<double>(seconds);
  while (!holds()) {
    if (Clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

Finished run_process(const fs::path& program, const Start& start) {
  Words words = start.arguments;
  words.insert(words.begin(), program.string());
  std::vector<char*> pointers;
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  fs::remove(screen_file);

  const pid_t process = ::fork();
  if (process < 0) throw std::runtime_error(std::string("cannot fork: ") + std::strerror(errno));
  if (process == 0) become_program(start, pointers.data());
  if (start.meanwhile) start.meanwhile(process);

  Finished finished;
  rusage usage{};
  const auto has_ended = [&] {
    return ::wait4(process, &finished.wait_status, WNOHANG, &usage) == process;
  };
  if (!wait_until(has_ended, start.timeout_seconds)) {
    ::kill(process, SIGKILL);
    ::wait4(process, &finished.wait_status, 0, &usage);
  }
  finished.screen = screen_so_far();
  finished.cpu_seconds = seconds_of(usage.ru_utime) + seconds_of(usage.ru_stime);
  finished.peak_kibibytes = usage.ru_maxrss;
  return finished;
}

}  // namespace torve::test
