#include "screen.h"

#include <new>
#include <utility>

namespace torve_python {

namespace {

// The C library calls this; nothing may be thrown through it.
ssize_t take_bytes(void* screen, const char* bytes, std::size_t size) {
  try {
    static_cast<Screen*>(screen)->take(std::string(bytes, size));
  } catch (const std::bad_alloc&) {
    // A line that memory can't hold is lost, and the run goes on.
  }
  return static_cast<ssize_t>(size);
}

}  // namespace

Screen::Screen(std::function<void(const std::string&)> echo) : echo_(std::move(echo)) {
#if defined(__GLIBC__)
  cookie_io_functions_t functions{};
  functions.write = take_bytes;
  own_ = fopencookie(this, "w", functions);
  if (own_ == nullptr) return;
  std::fflush(stdout);
  before_ = std::exchange(stdout, own_);
#endif
}

Screen::~Screen() {
  if (own_ == nullptr) return;
  stdout = before_;
  std::fclose(own_);
}

void Screen::take(const std::string& piece) {
  text_ += piece;
  if (echo_) echo_(piece);
}

}  // namespace torve_python
