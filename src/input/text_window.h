// The part of a text that is in memory.
#pragma once

#include <cstddef>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "text/read_decimal.h"

namespace torve {

// Where a text comes from: writes up to `most` bytes, at least one, and says how many; 0 at the end
// of the text, nothing when reading fails. Isn't called again after either.
using TextSource = std::function<std::optional<std::size_t>(char* to, std::size_t most)>;

TextSource source_of(std::string text);
// A file that is missing fails with the first read.
TextSource source_of_file(const std::string& name);

inline constexpr std::size_t usual_block = std::size_t{1} << 20U;

// A window that runs over a text, a block at a time, however long the text is. Characters that were
// taken are gone. Behind the last character in memory stand zeros, as many as read_decimal needs.
class TextWindow {
 public:
  // The most characters that may be looked at without being taken.
  static constexpr std::size_t longest_look = 10'240;

  explicit TextWindow(TextSource source, std::size_t block = usual_block);

  // The characters in memory that weren't taken. They stay where they are until more() is called.
  const char* begin() const { return next_; }
  const char* end() const { return end_; }
  std::size_t size() const { return static_cast<std::size_t>(end_ - next_); }
  char front() const { return *next_; }

  void take(std::size_t count) { next_ += count; }
  // Characters that were taken.
  std::size_t position() const { return before_ + static_cast<std::size_t>(next_ - buffer_.get()); }

  // Another block behind the characters in memory; false when there is none.
  bool more();
  // Whether there are so many characters, which are then in memory.
  bool has(std::size_t count) {
    while (size() < count) {
      if (!more()) return false;
    }
    return true;
  }

  bool failed() const { return failed_; }

 private:
  TextSource source_;
  std::size_t block_;
  std::unique_ptr<char[]> buffer_;  // room for a look, a block and the zeros
  const char* next_;
  char* end_;
  std::size_t before_ = 0;  // characters of the text ahead of the buffer
  bool ended_ = false;
  bool failed_ = false;
};

}  // namespace torve
