// The file setup.txt of a case: what is done to the files before the program starts, and how it is
// started. One verb per line; see the table of verbs in run_setup.cpp.
#pragma once

#include <sys/resource.h>

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace torve::test {

namespace fs = std::filesystem;

using Words = std::vector<std::string>;

// One line of setup.txt that works on files: `act` gets the folder of the run and the words after
// the verb.
struct FileStep {
  void (*act)(const fs::path& folder, const Words& words);
  Words words;
};

struct TimedSignal {
  double seconds;  // after the start of the program
  int number;
};

struct RunSetup {
  std::vector<FileStep> steps;                                    // in the order of the lines
  std::map<std::string, std::optional<std::string>> environment;  // without value: unset
  std::string working_folder;  // below the folder of the run; empty: that folder
  std::optional<rlim_t> memory_bytes;
  std::optional<rlim_t> file_bytes;
  std::vector<TimedSignal> signals;
  bool as_nobody = false;
  int runs = 1;
  double timeout_seconds = 60;
  int ending_signal = 0;  // 0: the program must end with status 0
  std::string errors;     // a part of what must stand on the standard error; empty: nothing may
  Words absent, present, same;
};

// Throws std::runtime_error with the number of the line for a line that cannot be understood.
RunSetup parse_setup(std::string_view text);

void set_up_files(const RunSetup& setup, const fs::path& folder);

std::string name_of_signal(int number);

std::string read_file(const fs::path& file);
void write_file(const fs::path& file, std::string_view text);

}  // namespace torve::test
