#pragma once

#include <cstdio>
#include <functional>
#include <string>

namespace torve_python {

// Takes the lines that the program has for the screen, while it lives: they are kept, and each
// piece is handed to `echo` if there is one. The C library's stream is exchanged, not the process's
// descriptor: what others print by Python, and what child processes print, goes where it went.
class Screen {
 public:
  explicit Screen(std::function<void(const std::string&)> echo);
  ~Screen();
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

  // Everything so far.
  const std::string& text() const { return text_; }
  void take(const std::string& piece);

 private:
  std::function<void(const std::string&)> echo_;
  std::string text_;
  std::FILE* own_ = nullptr;
  std::FILE* before_ = nullptr;
};

}  // namespace torve_python
