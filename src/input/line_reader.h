#pragma once

#include <cstddef>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "input/text_window.h"
#include "run/codes.h"
#include "text/free_format.h"

namespace torve {

inline constexpr std::size_t longest_line = 10000;  // characters of a logical line
inline constexpr std::size_t chunk_length = 100;    // a physical line is read in pieces of it

// Why reading stopped: the code, the place, and the line for the console.
struct Fault {
  Code code = Code::normal;
  int location = 0;
  std::string text;
};

// The two lower layers of the problem file: characters and logical lines, and the tokens on them.
// Knows nothing of keywords or of the run. Columns count from 0 here and from 1 in messages. Every
// routine that can fail returns false (or nothing) and leaves the reason in fault().
class LineReader {
 public:
  // Of a text that comes in blocks; what a caller sees doesn't depend on their length.
  explicit LineReader(TextSource source, std::size_t block = usual_block);
  // Of a text in memory.
  explicit LineReader(const std::string& text);

  // Characters, for the keyword scan. A carriage return before a line end isn't seen.
  enum class Event { character, end_of_line, end_of_file };
  Event next(char& c);    // takes one character or the end of the line
  bool at_end_of_line();  // nothing but the line's end is left on the physical line
  bool at_end_of_file() { return !window_.has(1); }
  bool cannot_be_read() const { return window_.failed(); }  // which ends the text early
  std::size_t column() const { return window_.position() - line_start_; }  // characters taken
  void skip_line();       // to the start of the next physical line
  void skip_separator();  // blanks and one "=" or ":" behind a keyword; the line's end as well
  bool skip_to_rows();  // behind a section's keyword: nothing but a comment may follow on its line

  // Takes the rest of the physical line into the buffer, without comment; col stands on the first
  // character that isn't blank. After a continuation mark it is the next line, and is counted.
  bool readline();
  bool blank() const { return col_ >= line_.size(); }

  // One number, with the next line read first when a continuation mark was passed.
  std::optional<double> number();
  // The same, silent: nothing at the end of the line or on a token that is no number.
  std::optional<double> quiet_number();
  std::optional<std::string> word();  // one blank-separated token
  std::optional<std::string> rest();  // everything to the end of the line
  int counttokens() const;            // tokens from the present column on
  bool checkeol();                    // nothing but a comment may be left

  // A whole physical line of `count` plain decimals and blanks, which is what nearly all rows of
  // data are: put(j, value) for each, and the next line is the present one. False where anything
  // else stands there; then nothing is taken, and values that were put don't count.
  template <class Put>
  bool plain_row(int count, Put put);

  std::string_view line() const { return line_; }
  // The first token of the line, folded; the column doesn't move.
  std::string first_word_folded() const;
  bool continues() const { return contpending_; }
  void forget_continuation() { contpending_ = false; }

  const Fault& fault() const { return fault_; }
  bool refuse(Code code, int location, std::string text);

  int lineno = 0;          // of the present physical line, from 1
  bool incomment = false;  // characters aren't checked

 private:
  struct Chunk {
    bool line_ended;  // the physical line has no more
    bool finished;    // a comment or a continuation mark ends the logical line
  };
  std::string_view piece_in_memory();
  Chunk take_chunk();
  bool append_marked(std::string_view piece);
  void step_over_line_end();  // from its first mark, if any
  void skip_blanks();         // of the physical line
  void pass_blanks();         // of the logical line
  bool check_characters();
  bool premature_end(int location);
  std::optional<std::string_view> token(int location);

  // The same for the characters in memory, if they hold the line. Returns what is behind its end.
  template <class Put>
  const char* parse_plain_row(int count, Put put) const;

  TextWindow window_;
  std::size_t line_start_ = 0;  // position of the present physical line
  std::string line_;
  bool simple_ = true;  // the line needs no test of its characters
  std::size_t col_ = 0;
  std::size_t offset_ = 0;  // where the buffer begins on its physical line
  bool contpending_ = false;
  Fault fault_;
};

template <class Put>
const char* LineReader::parse_plain_row(int count, Put put) const {
  // The zeros behind the characters are neither digits nor blanks, so that no step has to ask for
  // the end.
  const auto pass = [](const char* c) {
    while (*c == ' ' || *c == '\t') ++c;
    return c;
  };
  const char* c = pass(window_.begin());
  for (int j = 0; j < count; ++j) {
    double value = 0.0;
    const char* behind = read_decimal(c, value);
    if (behind == nullptr) [[unlikely]] {
      double hard_value = 0.0;  // another one, so that the value itself stays in a register
      behind = read_plain_real(c, window_.end(), hard_value);
      if (behind == nullptr) return nullptr;
      value = hard_value;
    }
    // One blank is what nearly always follows.
    if (*behind == ' ') [[likely]] {
      c = behind + 1;
      if (*c <= ' ') c = pass(c);
    } else {
      c = pass(behind);
      if (c == behind && *c != '\n' && *c != '\r') return nullptr;
    }
    put(j, value);
  }
  if (*c == '\r') ++c;
  if (*c != '\n' || static_cast<std::size_t>(c - window_.begin()) > longest_line) return nullptr;
  return c + 1;
}

template <class Put>
bool LineReader::plain_row(int count, Put put) {
  if (contpending_ || incomment || count < 1) return false;
  const char* behind = parse_plain_row(count, put);
  while (behind == nullptr) {
    // A line that the block cuts off is looked at again when more of it is there.
    if (window_.size() > longest_line) return false;
    if (std::memchr(window_.begin(), '\n', window_.size()) != nullptr) return false;
    if (!window_.more()) return false;
    behind = parse_plain_row(count, put);
  }
  window_.take(static_cast<std::size_t>(behind - window_.begin()));
  line_start_ = window_.position();
  line_.clear();
  col_ = 0;
  return true;
}

}  // namespace torve
