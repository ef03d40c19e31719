#include "input/text_window.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <utility>

#include "system/input_file.h"

namespace torve {

TextSource source_of(std::string text) {
  return [text = std::move(text), taken = std::size_t{0}](
             char* to, std::size_t most) mutable -> std::optional<std::size_t> {
    const std::size_t count = text.copy(to, most, taken);
    taken += count;
    return count;
  };
}

TextSource source_of_file(const std::string& name) {
  // Shared, since a function object can be copied and an open file can't.
  const auto file = std::make_shared<std::optional<InputFile>>(InputFile::open(name));
  return [file](char* to, std::size_t most) -> std::optional<std::size_t> {
    if (!*file) return std::nullopt;
    return (*file)->read(to, most);
  };
}

TextWindow::TextWindow(TextSource source, std::size_t block)
    : source_(std::move(source)),
      block_(std::max(block, std::size_t{1})),
      buffer_(new char[longest_look + block_ + decimal_reach]),
      next_(buffer_.get()),
      end_(buffer_.get()) {
  std::memset(end_, 0, decimal_reach);
}

bool TextWindow::more() {
  if (ended_) return false;
  const std::size_t kept = size();
  assert(kept <= longest_look);
  std::memmove(buffer_.get(), next_, kept);
  before_ = position();
  next_ = buffer_.get();
  end_ = buffer_.get() + kept;
  const std::optional<std::size_t> got = source_(end_, block_);
  failed_ = !got;
  ended_ = !got || *got == 0;
  end_ += got.value_or(0);
  std::memset(end_, 0, decimal_reach);
  return !ended_;
}

}  // namespace torve
