#include "report/printer.h"

#include <cstdio>

#include "run/trvspace.h"

namespace torve {

namespace {

// A screen that nobody reads any more (a closed pipe) is not the run's business.
void to_screen(std::string_view lead, std::string_view text) {
  std::fwrite(lead.data(), 1, lead.size(), stdout);
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fputc('\n', stdout);
  std::fflush(stdout);
}

}  // namespace

void trvprint(RunState& run, std::string_view text) {
  if (run.files.holding) {
    run.files.held.emplace_back(text);
  } else if (run.options.print_to_screen) {
    to_screen("", text);
  }
  print_to_listing(run, text);
}

void hold_screen(RunState& run) {
  run.files.holding = true;
}

void release_screen(RunState& run) {
  run.files.holding = false;
  if (run.options.print_to_screen) {
    for (const std::string& line : run.files.held) to_screen("", line);
  }
  run.files.held.clear();
}

void print_to_listing(RunState& run, std::string_view text) {
  run.files.listing.line(text);
}

void print_to_console(RunState& run, std::string_view text) {
  release_screen(run);
  to_screen(" ", text);
}

void print_on_screen(std::string_view text) {
  to_screen("", text);
}

}  // namespace torve
