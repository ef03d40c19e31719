#include "system/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string_view>

#include "system/input_file.h"

namespace torve {

namespace fs = std::filesystem;

namespace {

// A trailing separator would make the name lead through a link to what it points at.
std::string without_trailing_separators(std::string name) {
  while (name.size() > 1 && name.back() == '/') name.pop_back();
  return name;
}

}  // namespace

bool file_exists(const std::string& name) {
  struct stat status {};
  return ::stat(name.c_str(), &status) == 0;
}

bool regular_file_exists(const std::string& name) {
  struct stat status {};
  return ::stat(name.c_str(), &status) == 0 && !S_ISDIR(status.st_mode);
}

bool folder_exists(const std::string& name) {
  struct stat status {};
  return ::stat(name.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool is_link(const std::string& name) {
  std::error_code error;
  return fs::is_symlink(fs::symlink_status(without_trailing_separators(name), error));
}

bool program_exists(const std::string& name) {
  struct stat status {};
  return ::stat(name.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
         ::access(name.c_str(), X_OK) == 0;
}

std::optional<std::string> current_folder() {
  std::error_code error;
  const fs::path here = fs::current_path(error);
  if (error) return std::nullopt;
  return here.string();
}

bool enter_folder(const std::string& name) {
  return ::chdir(name.c_str()) == 0;
}

bool make_folder(const std::string& name) {
  return ::mkdir(name.c_str(), 0777) == 0;
}

bool remove_tree(const std::string& name) {
  std::error_code error;
  fs::remove_all(without_trailing_separators(name), error);
  return !error;
}

bool remove_file(const std::string& name) {
  return ::unlink(name.c_str()) == 0;
}

bool copy_file(const std::string& from, const std::string& to) {
  std::error_code error;
  return fs::copy_file(from, to, fs::copy_options::overwrite_existing, error) && !error;
}

bool is_same_or_ancestor(const std::string& name, const std::string& of) {
  std::error_code error;
  const fs::path target = fs::weakly_canonical(name, error);
  if (error) return true;
  fs::path folder = fs::weakly_canonical(of, error);
  // The name of a pipe leads nowhere.
  if (error) folder = fs::absolute(of, error).lexically_normal();
  if (error) return true;
  while (true) {
    if (folder == target || fs::equivalent(folder, target, error)) return true;
    if (!folder.has_relative_path()) return false;
    folder = folder.parent_path();
  }
}

void reserve_standard_streams() {
  for (int fd = 0; fd <= 2; ++fd) {
    // The lowest free number is taken, which is this one.
    if (::fcntl(fd, F_GETFD) == -1 && ::open("/dev/null", O_RDWR) != fd) return;
  }
}

bool is_same_file(const std::string& a, const std::string& b) {
  std::error_code error;
  return fs::equivalent(a, b, error) && !error;
}

std::optional<std::string> read_file(const std::string& name) {
  std::optional<InputFile> file = InputFile::open(name);
  if (!file) return std::nullopt;
  std::string text;
  // One byte more than there are, to meet the end of the file without growing.
  text.resize(file->size() > 0 ? static_cast<std::size_t>(file->size()) + 1 : 65536);
  std::size_t filled = 0;
  while (true) {
    if (filled == text.size()) text.resize(2 * text.size());
    const std::optional<std::size_t> got = file->read(text.data() + filled, text.size() - filled);
    if (!got) return std::nullopt;
    if (*got == 0) break;
    filled += *got;
  }
  text.resize(filled);
  return text;
}

std::vector<std::string> path_entries() {
  std::vector<std::string> entries;
  const char* value = std::getenv("PATH");
  std::string_view rest = value == nullptr ? "" : value;
  while (!rest.empty()) {
    const std::size_t end = rest.find(':');
    const std::string_view entry = rest.substr(0, end);
    if (!entry.empty()) entries.emplace_back(entry);
    if (end == std::string_view::npos) break;
    rest.remove_prefix(end + 1);
  }
  return entries;
}

}  // namespace torve
