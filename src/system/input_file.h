#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace torve {

// A file that is read from its start to its end, a piece at a time. Any kind of file but a folder;
// a pipe is waited for.
class InputFile {
 public:
  // Nothing when the file can't be opened.
  static std::optional<InputFile> open(const std::string& name);

  InputFile(InputFile&& other) noexcept;
  InputFile& operator=(InputFile&& other) = delete;
  ~InputFile();

  // The size that the file had when it was opened; 0 where none is known.
  std::int64_t size() const { return size_; }
  // Reads what can be had at once, up to `most` bytes, and says how many; 0 at the end of the
  // file. Nothing when reading fails.
  std::optional<std::size_t> read(char* to, std::size_t most);

 private:
  InputFile(int fd, std::int64_t size) : fd_(fd), size_(size) {}

  int fd_;
  std::int64_t size_;
};

}  // namespace torve
