#include "mirsolve/language/tokens.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace mirsolve {

namespace {

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}
bool begins_name(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}
bool goes_on_name(char c) {
  return begins_name(c) || is_digit(c);
}
bool is_blank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// A piece of the text that can be printed.
std::string shown(std::string_view text) {
  constexpr std::size_t most_shown = 23;
  std::string result(text.substr(0, most_shown));
  for (char& c : result) {
    if (c < ' ' || c > '~') c = '?';
  }
  return text.size() > most_shown ? result + "..." : result;
}

}  // namespace

bool Tokens::fail(Slip slip, const Token& token) {
  if (has_failed()) return false;
  const std::string_view words = slip_rows[static_cast<std::size_t>(slip)].words;
  error_ = fmt::format("line {}, column {}: {}", token.line, token.column, words);
  error_ += token.kind == TokenKind::end ? " at the end of the text"
                                         : fmt::format(": '{}'", shown(token.text));
  next_ = text_.size();
  now_ = {TokenKind::end, {}, token.line, token.column};
  return false;
}

void Tokens::skip_blanks() {
  while (next_ < text_.size()) {
    if (text_.substr(next_, 2) == "//") {
      next_ = std::min(text_.find('\n', next_), text_.size());
    } else if (is_blank(text_[next_])) {
      if (text_[next_++] != '\n') continue;
      ++line_;
      line_start_ = next_;
    } else {
      return;
    }
  }
}

// Digits with points, letters, and signs behind an exponent's letter: all that hangs together, so
// that a malformed number is one token. 0: no number begins here.
std::size_t Tokens::number_length() const {
  const std::string_view rest = text_.substr(next_);
  const bool begins = is_digit(rest[0]) || (rest[0] == '.' && rest.size() > 1 && is_digit(rest[1]));
  if (!begins) return 0;
  std::size_t n = 0;
  const auto is_exponent = [](char c) { return c == 'e' || c == 'E' || c == 'd' || c == 'D'; };
  for (; n < rest.size(); ++n) {
    const bool is_sign = rest[n] == '+' || rest[n] == '-';
    if (is_sign && n > 0 && is_exponent(rest[n - 1])) continue;
    if (!goes_on_name(rest[n]) && rest[n] != '.') break;
  }
  return n;
}

// 0: the character is none of the signs.
std::size_t Tokens::sign_length() const {
  constexpr std::array<std::string_view, 3> pairs = {"<=", ">=", "=="};
  if (std::ranges::find(pairs, text_.substr(next_, 2)) != pairs.end()) return 2;
  constexpr std::string_view signs = ",;:{}()+-*/^'=";
  return signs.find(text_[next_]) == std::string_view::npos ? 0 : 1;
}

void Tokens::advance() {
  if (has_failed()) return;
  skip_blanks();
  now_ = {TokenKind::end, {}, line_, static_cast<int>(next_ - line_start_) + 1};
  if (next_ == text_.size()) return;
  std::size_t n = number_length();
  if (n > 0) {
    now_.kind = TokenKind::number;
  } else if (begins_name(text_[next_])) {
    now_.kind = TokenKind::name;
    while (next_ + n < text_.size() && goes_on_name(text_[next_ + n])) ++n;
  } else {
    now_.kind = TokenKind::sign;
    n = sign_length();
  }
  now_.text = text_.substr(next_, std::max<std::size_t>(n, 1));
  if (n == 0) {
    fail(Slip::unknown_character);
    return;
  }
  next_ += n;
}

bool Tokens::accept(std::string_view sign) {
  if (!is(sign)) return false;
  advance();
  return true;
}

}  // namespace mirsolve
