#include "system/text_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

namespace torve {

TextFile::TextFile(TextFile&& other) noexcept {
  *this = std::move(other);
}

TextFile& TextFile::operator=(TextFile&& other) noexcept {
  std::swap(file_, other.file_);
  std::swap(good_, other.good_);
  return *this;
}

bool TextFile::open(const std::string& name, int flags) {
  close();
  good_ = true;
  // A pipe without a reader or a device must not hold the run up; only regular files and devices
  // that open at once are taken.
  const int fd = ::open(name.c_str(), flags | O_WRONLY | O_CLOEXEC | O_NONBLOCK, 0666);
  if (fd < 0) return false;
  struct stat status {};
  if (::fstat(fd, &status) != 0 || S_ISDIR(status.st_mode)) {
    ::close(fd);
    return false;
  }
  file_ = ::fdopen(fd, (flags & O_APPEND) != 0 ? "a" : "w");
  if (file_ == nullptr) ::close(fd);
  return file_ != nullptr;
}

bool TextFile::open_replace(const std::string& name) {
  return open(name, O_CREAT | O_TRUNC);
}
bool TextFile::open_append(const std::string& name) {
  return open(name, O_APPEND);
}
bool TextFile::open_new(const std::string& name) {
  return open(name, O_CREAT | O_EXCL);
}

void TextFile::write(std::string_view text) {
  if (file_ == nullptr) return;
  if (std::fwrite(text.data(), 1, text.size(), file_) != text.size()) good_ = false;
}

void TextFile::line(std::string_view text) {
  write(text);
  write("\n");
}

void TextFile::flush() {
  if (file_ != nullptr && std::fflush(file_) != 0) good_ = false;
}

bool TextFile::close() {
  if (file_ != nullptr && std::fclose(file_) != 0) good_ = false;
  file_ = nullptr;
  return good_;
}

}  // namespace torve
