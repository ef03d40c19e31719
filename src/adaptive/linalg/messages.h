#pragma once

#include <string>
#include <utility>
#include <vector>

namespace torve {

// What numerical routines that know nothing of a run have to say. The caller prints the lines on
// the console; the flag tells that a result isn't to be used.
struct Messages {
  std::vector<std::string> lines;
  bool failed = false;

  void say(std::string text) { lines.push_back(std::move(text)); }
  // For use in `return messages.fail(text);`: false.
  bool fail(std::string text) {
    say(std::move(text));
    failed = true;
    return false;
  }
};

}  // namespace torve
