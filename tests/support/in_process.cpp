#include "in_process.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>

namespace torve::test {

namespace {

constexpr const char* screen_file = "screen.txt";

}  // namespace

WorkingFolder::WorkingFolder() : before_(fs::current_path()) {
  fs::current_path(folder_.path());
}

WorkingFolder::~WorkingFolder() {
  std::error_code ignored;
  fs::current_path(before_, ignored);
}

void fetch_problem(const std::string& name) {
  fs::copy_file(fs::path(TORVE_TEST_DATA) / "robust" / name, name,
                fs::copy_options::overwrite_existing);
}

void set_command_line(RunState& run, const std::string& name) {
  run.status.cmdcount = 1;
  run.status.cmdlength = static_cast<int>(name.size());
  run.files.fname = name;
}

std::string screen_of(const std::function<void()>& work) {
  std::fflush(stdout);
  const int kept = ::dup(STDOUT_FILENO);
  const int screen = ::open(screen_file, O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (kept < 0 || screen < 0 || ::dup2(screen, STDOUT_FILENO) < 0) {
    throw std::runtime_error("cannot redirect the standard output");
  }
  ::close(screen);
  work();
  std::fflush(stdout);
  ::dup2(kept, STDOUT_FILENO);
  ::close(kept);
  std::string text = text_of(screen_file);
  fs::remove(screen_file);
  return text;
}

std::string text_of(const std::string& name) {
  return fs::is_regular_file(name) ? read_file(fs::path(name)) : "";
}

}  // namespace torve::test
