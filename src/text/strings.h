// Small helpers over plain characters. They know the letters A to Z and nothing of locales, so that
// a label reads the same on every machine.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace torve {

constexpr bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

constexpr bool is_letter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

/// Whether a label may hold `c`: a letter, a digit or an underscore.
constexpr bool is_label_character(char c) {
  return is_letter(c) || is_digit(c) || c == '_';
}

/// A to Z become a to z; every other character, also one outside ASCII, stays as it is.
constexpr char fold_lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
std::string fold_lower(std::string_view text);

/// Whether two texts differ in nothing but the case of their letters.
bool equal_folded(std::string_view a, std::string_view b);

// The views that the next three return look into the argument and end with it.

/// `text` without its trailing blanks. A tab isn't a blank.
std::string_view trim_right(std::string_view text);

/// `text` without leading and trailing blanks.
std::string_view trim(std::string_view text);

/// What a field of `width` characters keeps of `text`: its first characters, without trailing
/// blanks.
std::string_view cut(std::string_view text, std::size_t width);

/// `text` followed by blanks up to `width`; a longer text is left whole.
std::string pad_right(std::string_view text, std::size_t width);

}  // namespace torve
