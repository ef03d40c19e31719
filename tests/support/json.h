#pragma once

// A small JSON reader for test data: numbers, strings, arrays, objects, true, false, null. Throws
// std::runtime_error with the place of the trouble; a test that reads a broken file should stop.

#include <cctype>
#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace torve::test {

class Json {
 public:
  enum class Kind { null, boolean, number, string, array, object };

  static Json parse(std::string_view text) {
    Reader reader{text};
    Json value = reader.value();
    reader.skip_blanks();
    if (reader.at != text.size()) reader.fail("text behind the value");
    return value;
  }

  static Json read_file(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error("cannot open " + path);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    return parse(text);
  }

  Kind kind() const { return kind_; }
  std::size_t size() const { return items_.size(); }

  bool boolean() const { return expect(Kind::boolean), number_ != 0.0; }
  double number() const { return expect(Kind::number), number_; }
  const std::string& text() const { return expect(Kind::string), text_; }
  const std::vector<Json>& items() const { return expect(Kind::array), items_; }
  const Json& operator[](std::size_t i) const { return items().at(i); }

  // Members of an object, in the order of the file.
  const std::vector<std::string>& names() const { return expect(Kind::object), names_; }
  bool has(std::string_view name) const { return find(name) != nullptr; }
  const Json& operator[](std::string_view name) const {
    const Json* member = find(name);
    if (member == nullptr) throw std::runtime_error("no member " + std::string(name));
    return *member;
  }
  const Json& operator[](const char* name) const { return (*this)[std::string_view(name)]; }

  // An array of numbers, and an array of such arrays.
  std::vector<double> numbers() const {
    std::vector<double> result;
    for (const Json& item : items()) result.push_back(item.number());
    return result;
  }
  std::vector<std::vector<double>> rows() const {
    std::vector<std::vector<double>> result;
    for (const Json& item : items()) result.push_back(item.numbers());
    return result;
  }

 private:
  struct Reader {
    std::string_view text;
    std::size_t at = 0;

    [[noreturn]] void fail(const std::string& what) const {
      throw std::runtime_error("JSON, character " + std::to_string(at + 1) + ": " + what);
    }

    void skip_blanks() {
      while (at < text.size() && std::isspace(static_cast<unsigned char>(text[at])) != 0) ++at;
    }

    char peek() {
      skip_blanks();
      if (at == text.size()) fail("unexpected end");
      return text[at];
    }

    bool take(char c) {
      if (peek() != c) return false;
      ++at;
      return true;
    }

    void demand(char c) {
      if (!take(c)) fail(std::string("expected ") + c);
    }

    Json value() {
      switch (peek()) {
        case '{':
          return object();
        case '[':
          return array();
        case '"':
          return quoted();
        case 't':
          return word("true", Kind::boolean, 1.0);
        case 'f':
          return word("false", Kind::boolean, 0.0);
        case 'n':
          return word("null", Kind::null, 0.0);
        default:
          return number();
      }
    }

    Json object() {
      Json result;
      result.kind_ = Kind::object;
      demand('{');
      if (take('}')) return result;
      do {
        result.names_.push_back(quoted().text_);
        demand(':');
        result.items_.push_back(value());
      } while (take(','));
      demand('}');
      return result;
    }

    Json array() {
      Json result;
      result.kind_ = Kind::array;
      demand('[');
      if (take(']')) return result;
      do {
        result.items_.push_back(value());
      } while (take(','));
      demand(']');
      return result;
    }

    // \u is read for the codes below 128 only; the data files need no others.
    Json quoted() {
      Json result;
      result.kind_ = Kind::string;
      demand('"');
      for (;;) {
        if (at == text.size()) fail("string without end");
        char c = text[at++];
        if (c == '"') return result;
        if (c == '\\') c = escaped();
        result.text_ += c;
      }
    }

    char escaped() {
      if (at == text.size()) fail("string without end");
      const char c = text[at++];
      switch (c) {
        case 'n':
          return '\n';
        case 't':
          return '\t';
        case 'r':
          return '\r';
        case 'b':
          return '\b';
        case 'f':
          return '\f';
        case 'u': {
          const std::string digits(text.substr(at, 4));
          char* end = nullptr;
          const long code = std::strtol(digits.c_str(), &end, 16);
          if (end != digits.c_str() + 4 || code > 127) fail("character code");
          at += 4;
          return static_cast<char>(code);
        }
        default:
          return c;
      }
    }

    Json word(std::string_view expected, Kind kind, double number_value) {
      if (text.substr(at, expected.size()) != expected) fail("unknown word");
      at += expected.size();
      Json result;
      result.kind_ = kind;
      result.number_ = number_value;
      return result;
    }

    Json number() {
      std::size_t end = at;
      while (end < text.size() && (std::isalnum(static_cast<unsigned char>(text[end])) != 0 ||
                                   text[end] == '+' || text[end] == '-' || text[end] == '.'))
        ++end;
      const std::string digits(text.substr(at, end - at));
      char* stop = nullptr;
      Json result;
      result.kind_ = Kind::number;
      result.number_ = std::strtod(digits.c_str(), &stop);
      if (digits.empty() || *stop != '\0') fail("no number");
      at = end;
      return result;
    }
  };

  void expect(Kind kind) const {
    if (kind_ != kind) throw std::runtime_error("JSON value of another kind");
  }

  const Json* find(std::string_view name) const {
    expect(Kind::object);
    for (std::size_t i = 0; i < names_.size(); ++i)
      if (names_[i] == name) return &items_[i];
    return nullptr;
  }

  Kind kind_ = Kind::null;
  double number_ = 0.0;
  std::string text_;
  std::vector<std::string> names_;
  std::vector<Json> items_;
};

}  // namespace torve::test
