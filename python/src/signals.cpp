#include "signals.h"

#include "system/interrupts.h"

namespace torve_python {

InterruptWatch::InterruptWatch(bool wanted) : watching_(wanted) {
  if (!wanted) return;
  struct sigaction terminate {};
  struct sigaction hangup {};
  sigaction(SIGINT, nullptr, &before_);
  sigaction(SIGTERM, nullptr, &terminate);
  sigaction(SIGHUP, nullptr, &hangup);
  torve::clear_interrupt();
  torve::watch_interrupts();
  sigaction(SIGTERM, &terminate, nullptr);
  sigaction(SIGHUP, &hangup, nullptr);
  // The program's own watch lasts for one signal and lets the second end the process. An
  // interpreter must outlive impatience.
  struct sigaction mine {};
  sigaction(SIGINT, nullptr, &mine);
  mine.sa_flags &= ~static_cast<int>(SA_RESETHAND);
  sigaction(SIGINT, &mine, nullptr);
}

InterruptWatch::~InterruptWatch() {
  end();
}

bool InterruptWatch::end() {
  if (!watching_) return false;
  watching_ = false;
  sigaction(SIGINT, &before_, nullptr);
  const bool came = torve::interrupted();
  torve::clear_interrupt();
  if (came) std::raise(SIGINT);
  return came;
}

}  // namespace torve_python
