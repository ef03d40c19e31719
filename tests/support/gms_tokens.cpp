#include "gms_tokens.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <stdexcept>

namespace torve::test {

namespace {

std::string folded(std::string_view text) {
  std::string result(text);
  std::ranges::transform(result, result.begin(),
                         [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return result;
}

bool is_digit(char c) {
  return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

bool is_name_character(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

[[noreturn]] void refuse(int line, std::string_view what) {
  throw std::runtime_error(fmt::format("line {}: {}", line, what));
}

// The end of a number: digits with a point, an exponent. Two points are a sign of their own.
std::size_t number_end(std::string_view text, std::size_t from) {
  std::size_t end = from;
  while (end < text.size() && is_digit(text[end])) ++end;
  if (end < text.size() && text[end] == '.' && text.substr(end, 2) != "..") ++end;
  while (end < text.size() && is_digit(text[end])) ++end;
  if (end < text.size() && (text[end] == 'e' || text[end] == 'E')) {
    std::size_t digits = end + 1;
    if (digits < text.size() && (text[digits] == '+' || text[digits] == '-')) ++digits;
    if (digits < text.size() && is_digit(text[digits])) {
      end = digits;
      while (end < text.size() && is_digit(text[end])) ++end;
    }
  }
  return end;
}

constexpr std::array<std::string_view, 22> signs = {
    "=l=", "=g=", "=e=", "..", "<=", ">=", "**", "<", ">", "=", "+",
    "-",   "*",   "/",   "(",  ")",  ",",  "$",  ":", ";", ".", "&"};

void split_line(std::string_view text, int line, std::vector<GmsToken>& tokens) {
  std::size_t at = 0;
  while (at < text.size()) {
    const char c = text[at];
    if (c == ' ' || c == '\t') {
      ++at;
    } else if (is_digit(c)) {
      const std::size_t end = number_end(text, at);
      if (end < text.size() && is_name_character(text[end])) refuse(line, "a number runs on");
      tokens.push_back({GmsToken::Kind::number, std::string(text.substr(at, end - at)), line});
      at = end;
    } else if (is_name_character(c)) {
      std::size_t end = at;
      while (end < text.size() && is_name_character(text[end])) ++end;
      tokens.push_back({GmsToken::Kind::name, folded(text.substr(at, end - at)), line});
      at = end;
    } else if (c == '\'' || c == '"') {
      const std::size_t end = text.find(c, at + 1);
      if (end == std::string_view::npos) refuse(line, "a quote isn't closed");
      tokens.push_back(
          {GmsToken::Kind::element, std::string(text.substr(at + 1, end - at - 1)), line});
      at = end + 1;
    } else {
      const std::string rest = folded(text.substr(at, 3));
      const auto* const sign = std::ranges::find_if(
          signs, [&](std::string_view candidate) { return rest.starts_with(candidate); });
      if (sign == signs.end()) refuse(line, fmt::format("no token begins with '{}'", c));
      tokens.push_back({GmsToken::Kind::sign, std::string(*sign), line});
      at += sign->size();
    }
  }
}

// What the lines since the last dollar line are.
enum class Block { program, remark, option_file };

}  // namespace

GmsSource split_gms(std::string_view text) {
  GmsSource source;
  Block block = Block::program;
  std::string file;
  int line = 0;
  while (!text.empty()) {
    ++line;
    const std::size_t end = text.find('\n');
    if (end == std::string_view::npos) refuse(line, "the last line has no end");
    const std::string_view row = text.substr(0, end);
    text.remove_prefix(end + 1);
    const std::string word = folded(row.substr(0, row.find(' ')));
    if (block == Block::remark) {
      if (word == "$offtext") block = Block::program;
    } else if (block == Block::option_file) {
      if (word == "$offecho") {
        block = Block::program;
      } else {
        source.option_files[file].emplace_back(row);
      }
    } else if (word == "$ontext") {
      block = Block::remark;
    } else if (word == "$onecho") {
      const std::string_view target = "$onecho > ";
      if (!row.starts_with(target)) refuse(line, "$onecho without a file");
      file = row.substr(target.size());
      if (!source.option_files.try_emplace(file).second) refuse(line, "a second file " + file);
      block = Block::option_file;
    } else if (word == "$offdigit" || row == "$offsymxref offsymlist") {
      continue;
    } else if (row.starts_with('$')) {
      refuse(line, fmt::format("unknown '{}'", row));
    } else if (row.starts_with('*')) {
      refuse(line, "a statement that GAMS takes for a remark");
    } else {
      split_line(row, line, source.tokens);
    }
  }
  if (block != Block::program) refuse(line, "a block isn't closed");
  source.tokens.push_back({GmsToken::Kind::end, "", line});
  return source;
}

}  // namespace torve::test
