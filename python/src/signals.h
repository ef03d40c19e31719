#pragma once

#include <csignal>

namespace torve_python {

// While it lives, Ctrl-C asks the run to end instead of waiting for the interpreter, which holds no
// lock then and would see it only afterwards. Other signals keep their handlers.
class InterruptWatch {
 public:
  explicit InterruptWatch(bool wanted);
  ~InterruptWatch();
  InterruptWatch(const InterruptWatch&) = delete;
  InterruptWatch& operator=(const InterruptWatch&) = delete;

  // Gives Ctrl-C back and tells whether it came. The handler from before has been called then, so
  // that the interpreter knows.
  bool end();

 private:
  bool watching_ = false;
  struct sigaction before_ {};
};

}  // namespace torve_python
