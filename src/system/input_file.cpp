#include "system/input_file.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace torve {

namespace {

bool wait_for_bytes(int fd) {
  pollfd stream{fd, POLLIN, 0};
  return ::poll(&stream, 1, -1) == 1;
}

}  // namespace

std::optional<InputFile> InputFile::open(const std::string& name) {
  const int fd = ::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) return std::nullopt;
  struct stat status {};
  if (::fstat(fd, &status) != 0 || S_ISDIR(status.st_mode)) {
    ::close(fd);
    return std::nullopt;
  }
  return InputFile(fd, status.st_size);
}

InputFile::InputFile(InputFile&& other) noexcept
    : fd_(std::exchange(other.fd_, -1)), size_(other.size_) {}

InputFile::~InputFile() {
  if (fd_ >= 0) ::close(fd_);
}

std::optional<std::size_t> InputFile::read(char* to, std::size_t most) {
  while (true) {
    const ssize_t got = ::read(fd_, to, most);
    if (got >= 0) return static_cast<std::size_t>(got);
    if (errno != EAGAIN || !wait_for_bytes(fd_)) return std::nullopt;
  }
}

}  // namespace torve
