#include "text/free_format.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <system_error>

#include "text/read_decimal.h"
#include "text/strings.h"

namespace torve {
namespace {

bool ends_number(char c) {
  return c == ',' || c == '/';
}

/// The exponent letters that std::from_chars doesn't know.
bool is_foreign_exponent(char c) {
  const char folded = fold_lower(c);
  return folded == 'd' || folded == 'q';
}

/// The exponent as it is written, held within bounds that no mantissa of a readable file can
/// bring back into range.
long long written_exponent(std::string_view digits) {
  constexpr long long beyond_all = 1'000'000'000'000;
  const bool negative = !digits.empty() && digits.front() == '-';
  if (!digits.empty() && digits.front() == '+') digits.remove_prefix(1);
  long long exponent = 0;
  const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), exponent);
  if (read.ec == std::errc::result_out_of_range) return negative ? -beyond_all : beyond_all;
  return std::clamp(exponent, -beyond_all, beyond_all);
}

/// Whether a number that no double can hold is too small rather than too large. std::from_chars
/// reports both in the same way, so the place of the first digit that isn't zero has to tell.
bool is_below_range(std::string_view number) {
  const std::size_t letter = number.find_first_of("eE");
  const std::string_view mantissa = number.substr(0, letter);
  const std::size_t first = mantissa.find_first_of("123456789");
  if (first == std::string_view::npos) return true;
  const std::size_t point = std::min(mantissa.find('.'), mantissa.size());
  const long long place = static_cast<long long>(point) - static_cast<long long>(first);
  const long long exponent =
      letter == std::string_view::npos ? 0 : written_exponent(number.substr(letter + 1));
  return place + exponent < 0;
}

/// `number` has no plus sign and was found to be one number up to its end.
std::optional<double> settled(std::string_view number, double value, std::errc error) {
  if (error != std::errc::result_out_of_range) return value;
  if (!is_below_range(number)) return std::nullopt;
  return number.front() == '-' ? -0.0 : 0.0;
}

/// Reads `number`, whose mantissa ends before a letter d or q at `letter`, by way of a copy with
/// the letter e.
std::optional<double> read_foreign(std::string_view number, std::size_t letter) {
  constexpr std::size_t longest_number = 10'240;  // more than a logical line can hold
  const std::size_t end = std::min(number.find_first_of(",/", letter), number.size());
  if (end > longest_number) return std::nullopt;

  std::array<char, longest_number> copy;  // NOLINT(cppcoreguidelines-pro-type-member-init)
  std::copy_n(number.data(), end, copy.data());
  copy[letter] = 'e';
  const std::string_view text(copy.data(), end);
  double value = 0.0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), value);
  // An exponent without digits, a second one, or one with something behind it stops the reading
  // early.
  if (read.ptr != text.data() + text.size()) return std::nullopt;
  return settled(text, value, read.ec);
}

/// Whether a mantissa starts here. Keeps out the words that std::from_chars would take for numbers.
bool starts_number(std::string_view text) {
  if (text.starts_with('-')) text.remove_prefix(1);
  return !text.empty() && (is_digit(text.front()) || text.front() == '.');
}

}  // namespace

const char* read_plain_real(const char* begin, const char* end, double& value) {
  const auto length = static_cast<std::size_t>(end - begin);
  if (length >= decimal_reach) {
    if (const char* const after = read_decimal(begin, value)) return after;
  } else {
    std::array<char, 2 * decimal_reach> copy{};
    std::copy(begin, end, copy.begin());
    if (const char* const after = read_decimal(copy.data(), value)) {
      return begin + (after - copy.data());
    }
  }
  if (!starts_number({begin, length})) return nullptr;
  const auto read = std::from_chars(begin, end, value);
  return read.ec == std::errc() ? read.ptr : nullptr;
}

std::optional<double> read_free_real(std::string_view token) {
  const bool has_sign = !token.empty() && (token.front() == '+' || token.front() == '-');
  const std::string_view number = has_sign && token.front() == '+' ? token.substr(1) : token;
  const std::size_t start = has_sign && token.front() == '-' ? 1 : 0;
  // Keeps out a second sign and the words that std::from_chars would take for numbers.
  if (number.size() <= start) return std::nullopt;
  if (!is_digit(number[start]) && number[start] != '.') return std::nullopt;

  const char* const end = number.data() + number.size();
  double value = 0.0;
  const auto read = std::from_chars(number.data(), end, value);
  if (read.ec == std::errc::invalid_argument) return std::nullopt;
  const auto length = static_cast<std::size_t>(read.ptr - number.data());
  if (read.ptr == end || ends_number(*read.ptr)) {
    return settled(number.substr(0, length), value, read.ec);
  }
  if (is_foreign_exponent(*read.ptr)) return read_foreign(number, length);
  return std::nullopt;
}

}  // namespace torve
