// The characters of a GAMS program as lines of the compiler and tokens.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace torve::test {

struct GmsToken {
  enum class Kind { name, number, element, sign, end };
  Kind kind = Kind::end;
  std::string text;  // names in small letters, elements without quotes
  int line = 0;
};

struct GmsSource {
  std::vector<GmsToken> tokens;  // the last is the end
  std::map<std::string, std::vector<std::string>> option_files;
};

// Takes out the lines that begin with a dollar sign and what they enclose; throws
// std::runtime_error with the line for what is no token.
GmsSource split_gms(std::string_view text);

}  // namespace torve::test
