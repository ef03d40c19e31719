// Whole runs inside the test program, where a run state and the memory can be looked at.
#pragma once

#include <functional>
#include <string>

#include "run/trvspace.h"
#include "run_folder.h"

namespace torve::test {

// A fresh folder that is the current one as long as this lives.
class WorkingFolder {
 public:
  WorkingFolder();
  ~WorkingFolder();
  WorkingFolder(const WorkingFolder&) = delete;
  WorkingFolder& operator=(const WorkingFolder&) = delete;
  const fs::path& path() const { return folder_.path(); }

 private:
  TemporaryFolder folder_;
  fs::path before_;
};

// Puts a file of tests/data/robust into the current folder.
void fetch_problem(const std::string& name);

// The run state as the command line `torve <name>` leaves it for the run.
void set_command_line(RunState& run, const std::string& name);

// What `work` prints on the standard output.
std::string screen_of(const std::function<void()>& work);

// A file of the current folder; empty when there is none.
std::string text_of(const std::string& name);

}  // namespace torve::test
