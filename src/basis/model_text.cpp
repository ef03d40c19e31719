#include "basis/model_text.h"

#include <cmath>

#include "text/number_edits.h"
#include "text/strings.h"

namespace torve {

namespace {

constexpr double whole_tolerance = 1e-6;
constexpr double largest_whole = 2147483647.0;

constexpr std::string_view before_term = "\t+-*/( %=^";
constexpr std::string_view behind_term = "\t+-*/() %=^";
constexpr std::string_view double_star = "**";

bool stands_alone(std::string_view source, std::size_t at, std::size_t length) {
  const char before = at == 0 ? ' ' : source[at - 1];
  const std::size_t end = at + length;
  const char behind = end == source.size() ? ' ' : source[end];
  return before_term.find(before) != std::string_view::npos &&
         behind_term.find(behind) != std::string_view::npos;
}

std::string carets(std::string_view text) {
  return replaceterm(text, double_star, "^");
}

std::string coefficient_text(double value, ModelDigits digits) {
  const std::string text =
      digits == ModelDigits::screen ? fixed_edit(value, 12, 2) : general_edit(value, 30, 23, 3);
  return std::string(trim(text));
}

}  // namespace

std::string scaletext(double value) {
  std::string text = general_edit(value, 19, 12, 3);
  while (!text.empty() && (text.back() == '0' || text.back() == ' ')) text.pop_back();
  return std::string(trim(text));
}

std::string numtext(double value) {
  const bool whole = std::abs(std::fmod(value, 1.0)) <= whole_tolerance;
  if (whole && std::abs(value) <= largest_whole) return free_form(std::llround(value));
  return scaletext(value);
}

std::string replaceterm(std::string_view source, std::string_view find,
                        std::string_view replacement) {
  std::string result;
  std::size_t from = 0;
  while (true) {
    const std::size_t at = source.find(find, from);
    if (at == std::string_view::npos || find.empty()) break;
    result += source.substr(from, at - from);
    const bool replace = find == double_star || stands_alone(source, at, find.size());
    result += replace ? replacement : find;
    from = at + find.size();
  }
  result += source.substr(from);
  return result;
}

std::string applyfunform(int funform, std::string_view basislabel, std::string_view basispower,
                         std::string_view present) {
  switch (funform) {
    case 1:
    case 6:
      return std::string(basislabel);
    case 2:
      return std::string(basispower);
    case 3:
      return carets(basislabel);
    case 4:
      return replaceterm(basispower, "power", "pow");
    case 5:
      return replaceterm(carets(basislabel), "log", "ln");
    default:
      return std::string(present);
  }
}

std::string writemodel(const ModelTerms& terms, ModelDigits digits) {
  std::string line(" ");
  line += trim(terms.zlabel);
  line += " = ";
  if (terms.zisint) line += " nint( ";
  bool any = false;
  const std::size_t columns = terms.chosen.size();
  for (std::size_t j = 0; j < columns; ++j) {
    if (!terms.chosen[j]) continue;
    const double b = terms.beta[j];
    if (b < 0.0) {
      line += " - ";
    } else if (any) {
      line += " + ";
    }
    const double magnitude = std::abs(b);
    if (j + 1 == columns && terms.constant) {
      line += coefficient_text(magnitude, digits);
    } else if (magnitude == 1.0) {
      line += trim(terms.basismodel[j]);
    } else {
      line += coefficient_text(magnitude, digits);
      line += " * ";
      line += trim(terms.basismodel[j]);
    }
    any = true;
  }
  if (terms.zisint) line += " )";
  if (!any) line += "0.00";
  return line;
}

}  // namespace torve
