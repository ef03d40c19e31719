#include "system/interrupts.h"

#include <array>
#include <csignal>

namespace torve {

namespace {

constexpr std::array<int, 3> watched{SIGINT, SIGTERM, SIGHUP};

// A signal handler can reach nothing but a static flag.
volatile std::sig_atomic_t caught = 0;

extern "C" void remember_signal(int signal) {
  caught = signal;
}

}  // namespace

void watch_interrupts() {
  for (const int signal : watched) {
    struct sigaction present {};
    sigaction(signal, nullptr, &present);
    if (present.sa_handler == SIG_IGN) continue;  // nohup stays in force
    struct sigaction action {};
    action.sa_handler = remember_signal;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
  }
}

void unwatch_interrupts() {
  for (const int signal : watched) {
    struct sigaction present {};
    sigaction(signal, nullptr, &present);
    if (present.sa_handler == remember_signal) std::signal(signal, SIG_DFL);
  }
}

bool interrupted() {
  return caught != 0;
}

void clear_interrupt() {
  caught = 0;
}

void raise_interrupt_again() {
  if (caught == 0) return;
  const int signal = caught;
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

}  // namespace torve
