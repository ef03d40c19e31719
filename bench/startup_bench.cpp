// Seconds from the start of the program to the end of "-h", beside those of a program that does
// nothing.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>

#include "side_by_side.h"

namespace {

bool run_silently(std::array<const char*, 3> arguments) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t child = 0;
  const int refused = posix_spawn(&child, arguments[0], &actions, nullptr,
                                  const_cast<char* const*>(arguments.data()), environ);
  posix_spawn_file_actions_destroy(&actions);
  int status = 0;
  return refused == 0 && waitpid(child, &status, 0) == child && status == 0;
}

void startup(benchmark::State& state) {
  const auto must = [&](bool good) {
    if (!good) state.SkipWithError("the program failed");
  };
  torve::bench::side_by_side(
      state, CLOCK_MONOTONIC, 1.0, [] {},
      [&] {
        must(run_silently({TORVE_PROGRAM, "-h", nullptr}));
      },
      [&] {
        must(run_silently({"/bin/true", nullptr, nullptr}));
      });
}
BENCHMARK(startup)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
