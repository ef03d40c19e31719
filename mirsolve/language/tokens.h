// Words, numbers and signs of a text, with their places.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "mirsolve/language/slips.h"

namespace mirsolve {

enum class TokenKind : unsigned char { name, number, sign, end };

struct Token {
  TokenKind kind = TokenKind::end;
  std::string_view text;
  int line = 1;  // both count from 1; a tab is one column
  int column = 1;
};

// The present token and the way to the next. Remarks run from two slashes to the end of the line.
// Behind the first slip there are no more tokens, so that every loop over them ends.
class Tokens {
 public:
  explicit Tokens(std::string_view text) : text_(text) { advance(); }

  const Token& now() const { return now_; }
  bool is(std::string_view sign) const { return now_.kind == TokenKind::sign && now_.text == sign; }
  void advance();
  // Whether the sign stands here; goes behind it.
  bool accept(std::string_view sign);

  // Keeps the first slip, with the place and the text of the token. Always false, so that a step
  // fails and returns in one line.
  bool fail(Slip slip) { return fail(slip, now_); }
  bool fail(Slip slip, const Token& token);
  bool has_failed() const { return !error_.empty(); }
  const std::string& error() const { return error_; }

 private:
  void skip_blanks();
  std::size_t number_length() const;
  std::size_t sign_length() const;

  std::string_view text_;
  std::size_t next_ = 0;  // the first character that isn't read
  int line_ = 1;
  std::size_t line_start_ = 0;
  Token now_;
  std::string error_;
};

}  // namespace mirsolve
