#include <csignal>
#include <new>
#include <string>

#include "run/set_calls.h"
#include "run/trvrun.h"
#include "system/files.h"
#include "system/interrupts.h"
#include "text/strings.h"

namespace {

// Hands the command line to the set calls; a fault skips the remaining ones, and the run's own
// checks then tell.
void set_arguments(torve::RunState& run, int count, char** arguments) {
  const auto argument = [&](int i) { return torve::trim_right(arguments[i]); };
  if (torve::trvsetint(run, "cmdcount", count) != 0) return;
  if (count >= 2 && torve::trvsetstring(run, "scratchin", argument(2)) != 0) return;
  if (count < 1) return;
  const auto length = static_cast<int>(std::string_view(arguments[1]).size());
  if (torve::trvsetint(run, "cmdlength", length) != 0) return;
  torve::trvsetstring(run, "fname", argument(1));
}

}  // namespace

int main(int argc, char** argv) {
  // A reader of the screen that goes away must not take the listing with it.
  std::signal(SIGPIPE, SIG_IGN);
  torve::reserve_standard_streams();
  torve::watch_interrupts();
  try {
    set_arguments(torve::TRVSPACE, argc - 1, argv);
  } catch (const std::bad_alloc&) {
    torve::fail(torve::TRVSPACE, torve::Code::out_of_memory, 53);
  }
  torve::trvrun(torve::TRVSPACE);
  torve::raise_interrupt_again();
  return 0;
}
