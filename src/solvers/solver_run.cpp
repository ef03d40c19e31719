#include "solvers/solver_run.h"

#include "system/files.h"

namespace torve {

CommandResult run_solver(RunState& run, const std::string& command, double& timer) {
  const CommandResult result = run_command(command, run.options.maxtime - elapsed(run));
  timer += result.seconds;
  run.timers.t_total += result.seconds;
  if (result.end == CommandEnd::timed_out || result.end == CommandEnd::interrupted) {
    end_for_time(run);
  }
  return result;
}

bool keep_copy(RunState& run, const std::string& from, const std::string& to, int location) {
  return copy_file(from, to) || fail(run, Code::copy_failed, location);
}

void remove_files(const std::vector<std::string>& names) {
  for (const std::string& name : names) remove_file(name);
}

}  // namespace torve
