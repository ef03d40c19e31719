#pragma once

#include <fmt/format.h>

#include <string_view>

#include "adaptive/linalg/matrix.h"
#include "adaptive/linalg/messages.h"

namespace torve {

// The shape tests of one routine. good() after all of them; the first wrong shape has the message.
class Shapes {
 public:
  Shapes(std::string_view routine, Messages& messages) : routine_(routine), messages_(messages) {}

  Shapes& vector(std::string_view name, const VECTOR& x, int size) {
    return length(name, x.size(), size);
  }
  template <class List>
  Shapes& list(std::string_view name, const List& x, int size) {
    return length(name, static_cast<int>(x.size()), size);
  }
  Shapes& matrix(std::string_view name, const MATRIX& x, int rows, int columns) {
    if (good_ && (x.rows() != rows || x.columns() != columns)) fail(name, "matrix");
    return *this;
  }
  bool good() const { return good_; }

 private:
  Shapes& length(std::string_view name, int is, int expected) {
    if (good_ && is != expected) fail(name, "vector");
    return *this;
  }
  void fail(std::string_view name, std::string_view kind) {
    good_ = messages_.fail(fmt::format("{}: wrong dimension of {} {}!", routine_, name, kind));
  }

  std::string_view routine_;
  Messages& messages_;
  bool good_ = true;
};

}  // namespace torve
