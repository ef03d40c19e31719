#include "input/line_reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "text/free_format.h"
#include "text/strings.h"

namespace torve {

namespace {

enum class Character : unsigned char { plain, tab, comment, continuation, refused };

// "=" and ":" separate a keyword from its value; only ":" may also stand among values.
constexpr std::array<Character, 256> make_characters() {
  std::array<Character, 256> table{};
  table.fill(Character::refused);
  for (std::size_t c = 'a'; c <= 'z'; ++c) table[c] = Character::plain;
  for (std::size_t c = 'A'; c <= 'Z'; ++c) table[c] = Character::plain;
  for (std::size_t c = '0'; c <= '9'; ++c) table[c] = Character::plain;
  for (const char c : std::string_view(" .-+_^\":/*~()\\")) {
    table[static_cast<unsigned char>(c)] = Character::plain;
  }
  table['\t'] = Character::tab;
  table['!'] = table['#'] = table['%'] = Character::comment;
  table['&'] = Character::continuation;
  return table;
}
constexpr std::array<Character, 256> characters = make_characters();

Character kind_of(char c) {
  return characters[static_cast<unsigned char>(c)];
}

// Whether the text holds nothing but blanks, letters, digits and + - . / : , which is what nearly
// all lines are made of. All arithmetic on bytes, so that the compiler takes sixteen at a time.
bool is_simple(std::string_view text) {
  unsigned char others = 0;
  for (const char c : text) {
    const auto u = static_cast<unsigned char>(c);
    const auto from_plus = static_cast<unsigned char>(u - '+');
    const auto from_a = static_cast<unsigned char>((u | 0x20U) - 'a');
    const bool number = from_plus <= ':' - '+' && u != ',';
    const bool letter = from_a <= 'z' - 'a';
    others |= static_cast<unsigned char>(!(number | letter | (u == ' ')));
  }
  return others == 0;
}

// Not inlined, since the compiler would then know the bound of the length and copy by an
// instruction that is slow to start.
[[gnu::noinline]] void append(std::string& line, std::string_view piece) {
  line.append(piece);
}

bool is_blank(char c) {
  return c == ' ' || c == '\t';
}

constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";

}  // namespace

LineReader::LineReader(TextSource source, std::size_t block) : window_(std::move(source), block) {
  if (window_.has(byte_order_mark.size()) &&
      std::string_view(window_.begin(), byte_order_mark.size()) == byte_order_mark) {
    window_.take(byte_order_mark.size());
    line_start_ = window_.position();
  }
  line_.reserve(longest_line + chunk_length);
}

LineReader::LineReader(const std::string& text)
    : LineReader(source_of(text), std::min(text.size() + 1, usual_block)) {}

void LineReader::step_over_line_end() {
  if (window_.has(1) && window_.front() == '\r') window_.take(1);
  if (window_.has(1) && window_.front() == '\n') window_.take(1);
  line_start_ = window_.position();
}

LineReader::Event LineReader::next(char& c) {
  if (at_end_of_file()) return Event::end_of_file;
  if (at_end_of_line()) {
    step_over_line_end();
    return Event::end_of_line;
  }
  c = window_.front();
  window_.take(1);
  return Event::character;
}

bool LineReader::at_end_of_line() {
  if (at_end_of_file() || window_.front() == '\n') return true;
  if (window_.front() != '\r') return false;
  return !window_.has(2) || window_.begin()[1] == '\n';
}

void LineReader::skip_line() {
  const void* found = nullptr;
  while (found == nullptr && window_.has(1)) {
    found = std::memchr(window_.begin(), '\n', window_.size());
    const char* const behind =
        found == nullptr ? window_.end() : static_cast<const char*>(found) + 1;
    window_.take(static_cast<std::size_t>(behind - window_.begin()));
  }
  line_start_ = window_.position();
}

void LineReader::skip_blanks() {
  while (!at_end_of_line() && is_blank(window_.front())) window_.take(1);
}

void LineReader::skip_separator() {
  skip_blanks();
  if (!at_end_of_line() && (window_.front() == '=' || window_.front() == ':')) {
    window_.take(1);
    skip_blanks();
  }
  // A keyword alone on its line takes its value from the next one.
  if (at_end_of_line()) step_over_line_end();
}

bool LineReader::skip_to_rows() {
  skip_blanks();
  if (at_end_of_line()) {
    step_over_line_end();
    return true;
  }
  return readline() && checkeol();
}

// What a full piece and the marks of a line end may take, or less up to the end of the line or the
// text; no block is waited for that isn't needed.
std::string_view LineReader::piece_in_memory() {
  while (true) {
    const std::string_view text(window_.begin(), std::min(window_.size(), chunk_length + 2));
    if (text.size() == chunk_length + 2 || text.find('\n') != std::string_view::npos) return text;
    if (!window_.more()) return {window_.begin(), window_.size()};
  }
}

// Appends the next piece of the physical line up to a comment or continuation mark; tabs become
// blanks. Where a comment mark stands in a line that is longer than the piece, the rest of that
// line stays unread and comes back as a line of its own; old problem files count on it.
LineReader::Chunk LineReader::take_chunk() {
  const std::string_view text = piece_in_memory();
  std::size_t length = std::min(text.find('\n'), text.size());
  const bool end_is_seen = length < chunk_length + 2;
  if (end_is_seen && length > 0 && text[length - 1] == '\r') --length;
  const bool line_ended = end_is_seen && length <= chunk_length;
  const std::string_view piece = text.substr(0, std::min(length, chunk_length));
  bool finished = false;
  if (is_simple(piece)) {
    append(line_, piece);
  } else {
    simple_ = false;
    finished = append_marked(piece);
  }
  window_.take(piece.size());
  const bool continues = finished && !line_.empty() && line_.back() == '&';
  if (line_ended) {
    step_over_line_end();
  } else if (continues) {
    skip_line();
  }
  return {line_ended, finished};
}

// True when a mark ended the piece.
bool LineReader::append_marked(std::string_view piece) {
  for (const char c : piece) {
    switch (kind_of(c)) {
      case Character::refused:
      case Character::plain:
        line_ += c;
        break;
      case Character::tab:
        line_ += ' ';
        break;
      case Character::comment:
        return true;
      case Character::continuation:
        line_ += c;
        return true;
    }
  }
  return false;
}

bool LineReader::readline() {
  if (contpending_) {
    ++lineno;
    contpending_ = false;
  }
  line_.clear();
  simple_ = true;
  col_ = 0;
  offset_ = column();
  if (at_end_of_file()) return premature_end(196);
  while (true) {
    const Chunk chunk = take_chunk();
    if (line_.size() > longest_line) {
      return refuse(Code::line_too_long, 197,
                    fmt::format("More than {} characters read in input file at line {}",
                                longest_line, lineno));
    }
    if (chunk.line_ended || chunk.finished) break;
  }
  while (!line_.empty() && line_.back() == ' ') line_.pop_back();
  pass_blanks();
  return check_characters();
}

bool LineReader::check_characters() {
  if (incomment || simple_) return true;
  const auto refused = [](char c) { return kind_of(c) == Character::refused; };
  const auto found =
      std::find_if(line_.begin() + static_cast<std::ptrdiff_t>(std::min(col_, line_.size())),
                   line_.end(), refused);
  if (found == line_.end()) return true;
  const std::size_t column = offset_ + static_cast<std::size_t>(found - line_.begin()) + 1;
  return refuse(Code::syntax_error, 198,
                fmt::format("Disallowed character \"{}\" found in input file (line {} column {})",
                            *found, lineno, column));
}

// To the next token. A continuation mark that is met asks for the next physical line.
void LineReader::pass_blanks() {
  while (col_ < line_.size() && line_[col_] == ' ') ++col_;
  if (col_ < line_.size() && line_[col_] == '&') {
    contpending_ = true;
    col_ = line_.size();
  }
}

bool LineReader::refuse(Code code, int location, std::string text) {
  fault_ = {code, location, std::move(text)};
  return false;
}

bool LineReader::premature_end(int location) {
  return refuse(Code::premature_end, location,
                fmt::format("Premature end of input file at line {}", lineno));
}

// The token at the column; a continuation mark may close it without a blank.
std::optional<std::string_view> LineReader::token(int location) {
  if (contpending_ && !readline()) return std::nullopt;
  if (blank()) {
    premature_end(location);
    return std::nullopt;
  }
  const std::size_t begin = col_;
  while (col_ < line_.size() && line_[col_] != ' ' && line_[col_] != '&') ++col_;
  const std::string_view found = std::string_view(line_).substr(begin, col_ - begin);
  pass_blanks();
  return found;
}

// Most numbers are plain decimals, whose end from_chars finds; what else stands there is cut out as
// a token and read by the rules of the free format.
std::optional<double> LineReader::number() {
  if (!contpending_ && !blank()) {
    const char* const begin = line_.data() + col_;
    const char* const end = line_.data() + line_.size();
    double value = 0.0;
    const char* const after = read_plain_real(begin, end, value);
    if (after != nullptr && (after == end || *after == ' ' || *after == '&')) {
      col_ += static_cast<std::size_t>(after - begin);
      pass_blanks();
      return value;
    }
  }
  const std::optional<std::string_view> found = token(199);
  if (!found) return std::nullopt;
  const std::optional<double> value = read_free_real(*found);
  if (!value) {
    refuse(Code::syntax_error, 200,
           fmt::format("Unexpected character in input file at line {}", lineno));
  }
  return value;
}

std::optional<double> LineReader::quiet_number() {
  if (blank() && !contpending_) return std::nullopt;
  const std::optional<std::string_view> found = token(199);
  return found ? read_free_real(*found) : std::nullopt;
}

std::optional<std::string> LineReader::word() {
  const std::optional<std::string_view> found = token(199);
  if (!found) return std::nullopt;
  return std::string(*found);
}

std::optional<std::string> LineReader::rest() {
  if (blank()) {
    premature_end(201);
    return std::nullopt;
  }
  std::string text = line_.substr(col_);
  col_ = line_.size();
  return text;
}

int LineReader::counttokens() const {
  int count = 0;
  std::size_t at = col_;
  while (at < line_.size() && line_[at] != '&') {
    ++count;
    at = std::min(line_.find_first_of(" &", at), line_.size());
    at = std::min(line_.find_first_not_of(' ', at), line_.size());
  }
  return count;
}

// A single stray character in the last column of a line passes; old files have them.
bool LineReader::checkeol() {
  if (col_ + 1 >= line_.size()) return true;
  return refuse(Code::extra_text, 202,
                fmt::format("Extraneous characters found in input file (line {} column {})", lineno,
                            offset_ + col_ + 1));
}

std::string LineReader::first_word_folded() const {
  if (blank()) return "";
  const std::size_t end = std::min(line_.find(' ', col_), line_.size());
  return fold_lower(std::string_view(line_).substr(col_, end - col_));
}

}  // namespace torve
