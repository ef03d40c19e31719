#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace torve {

// A text file that is written line by line. The first error of a write is remembered.
class TextFile {
 public:
  TextFile() = default;
  TextFile(const TextFile&) = delete;
  TextFile& operator=(const TextFile&) = delete;
  TextFile(TextFile&& other) noexcept;
  TextFile& operator=(TextFile&& other) noexcept;
  ~TextFile() { close(); }

  bool open_replace(const std::string& name);  // what was there is gone
  bool open_append(const std::string& name);   // the file must exist
  bool open_new(const std::string& name);      // the file must not exist
  bool is_open() const { return file_ != nullptr; }

  void write(std::string_view text);
  void line(std::string_view text);
  void flush();
  // False when anything that was written did not reach the file.
  bool close();
  bool good() const { return good_; }

 private:
  bool open(const std::string& name, int flags);

  std::FILE* file_ = nullptr;
  bool good_ = true;
};

}  // namespace torve
