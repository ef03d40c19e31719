#include "text/strings.h"

#include <algorithm>

namespace torve {

std::string fold_lower(std::string_view text) {
  std::string folded(text);
  for (char& c : folded) c = fold_lower(c);
  return folded;
}

bool equal_folded(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return fold_lower(x) == fold_lower(y); });
}

std::string_view trim_right(std::string_view text) {
  // find_last_not_of gives npos for a text of blanks, and npos + 1 is 0.
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

std::string_view trim(std::string_view text) {
  const std::string_view kept = trim_right(text);
  return kept.substr(std::min(kept.find_first_not_of(' '), kept.size()));
}

std::string_view cut(std::string_view text, std::size_t width) {
  return trim_right(text.substr(0, width));
}

std::string pad_right(std::string_view text, std::size_t width) {
  std::string padded(text);
  if (padded.size() < width) padded.resize(width, ' ');
  return padded;
}

}  // namespace torve
