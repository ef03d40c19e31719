// Tests of whole runs. A case is a folder: what the program reads, how it is started, and what it
// must leave. The runner copies the folder to a fresh place, starts the program there, masks what
// differs from run to run, and compares the rest byte for byte.
#pragma once

#include <filesystem>
#include <string>

#include "run_setup.h"

namespace torve::test {

// ---- One start of the program ------------------------------------------------------------------

struct Ending {
  std::string screen;  // standard output
  std::string errors;  // standard error
  int wait_status = 0;
  bool too_long = false;  // killed, because `timeout_seconds` were over
  bool too_much = false;  // killed, because the output did not end
};

// Runs the program in `folder` with standard input empty. The environment is the fixed one of all
// runs with the changes of the set-up.
Ending run_program(const fs::path& program, const Words& arguments, const fs::path& folder,
                   const RunSetup& setup);

// ---- A case ------------------------------------------------------------------------------------

// A folder of its own below the system's folder for temporary files. Removed at the end of life,
// whatever permissions it was given, unless the variable TORVE_KEEP is set.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  const fs::path& path() const { return path_; }

 private:
  fs::path path_;
};

enum class Mode {
  compare,
  update,  // write the outputs as the expected files of the case
};

struct CaseReport {
  Words faults;         // each a text of one or more lines
  std::string skipped;  // why the case proves nothing; empty: it was compared
};

CaseReport run_case(const fs::path& case_folder, const fs::path& program, Mode mode);

}  // namespace torve::test
