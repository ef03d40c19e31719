#pragma once

namespace torve {

// Ctrl-C, SIGTERM and SIGHUP ask a run to end through its final report instead of ending the
// process on the spot. A second signal of the kind ends it at once.
void watch_interrupts();
void unwatch_interrupts();
bool interrupted();
void clear_interrupt();

// Raises the signal that was caught, with its default action; does nothing when there was none.
void raise_interrupt_again();

}  // namespace torve
