#include "basis/formula/formula_syntax.h"

#include <algorithm>
#include <array>
#include <numbers>
#include <utility>

#include "basis/formula/formula_codes.h"
#include "text/free_format.h"
#include "text/strings.h"

namespace torve::formula {
namespace {

constexpr std::string_view operators = "+-*/^";  // in the order of their codes
constexpr std::string_view after_element = "+-*/^) ";

struct FunctionRow {
  std::string_view name;
  Unary code;
};

// A name is taken by the first row that it starts with, so a name stands before those that it
// begins with: log10 before log, sinh before sin.
constexpr std::array<FunctionRow, 14> functions{{
    {"abs", Unary::abs},
    {"exp", Unary::exp},
    {"log10", Unary::log10},
    {"log", Unary::log},
    {"sqrt", Unary::sqrt},
    {"sinh", Unary::sinh},
    {"cosh", Unary::cosh},
    {"tanh", Unary::tanh},
    {"sin", Unary::sin},
    {"cos", Unary::cos},
    {"tan", Unary::tan},
    {"asin", Unary::asin},
    {"acos", Unary::acos},
    {"atan", Unary::atan},
}};

constexpr bool no_name_hides_a_later_one() {
  for (std::size_t i = 0; i < functions.size(); ++i) {
    for (std::size_t j = i + 1; j < functions.size(); ++j) {
      if (functions[j].name.starts_with(functions[i].name)) return false;
    }
  }
  return true;
}
static_assert(no_name_hides_a_later_one(), "a shorter function name stands before a longer one");

/// A formula without blanks, and where each character stood in the text as it was given.
struct PackedText {
  std::string characters;
  std::vector<std::size_t> origin;  // one entry more than characters: the end of the text
};

/// The formula as it is read, from left to right.
struct Walk {
  std::string_view text;  // without blanks
  std::span<const std::string> varnames;
  std::vector<Token>& tokens;
  std::size_t at = 0;    // the next character
  std::size_t open = 0;  // parentheses that are still open
  SyntaxError error{};   // with the position in `text`
};

/// What a step decides.
///   go_on      the next step of this pass follows
///   next_pass  an operand has to follow, after an operator or an opening parenthesis
///   finish     the text has ended
///   fail       `error` tells what is wrong
enum class Next { go_on, next_pass, finish, fail };

bool ended(const Walk& walk) {
  return walk.at == walk.text.size();
}

bool is_operator(char c) {
  return operators.find(c) != std::string_view::npos;
}

Next fail(Walk& walk, std::string message) {
  walk.error = {std::move(message), walk.at};
  return Next::fail;
}

/// `**` becomes `^` and a blank, so that it takes no other place than before, and blanks go.
PackedText packed(std::string_view text) {
  PackedText formula;
  formula.characters.reserve(text.size());
  formula.origin.reserve(text.size() + 1);
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == ' ') continue;
    const bool doubled = text.substr(i, 2) == "**";
    formula.characters += doubled ? '^' : text[i];
    formula.origin.push_back(i);
    if (doubled) ++i;
  }
  formula.origin.push_back(trim_right(text).size());
  return formula;
}

/// A sign may open a formula or a parenthesis; a plus has no effect.
Next read_sign(Walk& walk) {
  const char sign = walk.text[walk.at];
  if (sign != '+' && sign != '-') return Next::go_on;
  ++walk.at;
  if (ended(walk)) return fail(walk, "Missing operand");
  if (is_operator(walk.text[walk.at])) return fail(walk, "Multiple operators");
  if (sign == '-') walk.tokens.push_back({.kind = Token::Kind::minus});
  return Next::go_on;
}

/// Leaves the walk on the opening parenthesis of the argument.
Next read_function(Walk& walk) {
  const std::string_view rest = walk.text.substr(walk.at);
  for (const FunctionRow& row : functions) {
    if (!equal_folded(rest.substr(0, row.name.size()), row.name)) continue;
    walk.at += row.name.size();
    if (ended(walk)) return fail(walk, "Missing function argument");
    if (walk.text[walk.at] != '(') return fail(walk, "Missing opening parenthesis");
    walk.tokens.push_back(
        {.kind = Token::Kind::function, .code = static_cast<std::int32_t>(row.code)});
    break;
  }
  return Next::go_on;
}

Next read_opening(Walk& walk) {
  if (walk.text[walk.at] != '(') return Next::go_on;
  walk.tokens.push_back({.kind = Token::Kind::opening});
  ++walk.open;
  ++walk.at;
  return Next::next_pass;
}

std::size_t skip_digits(std::string_view text, std::size_t at) {
  while (at < text.size() && is_digit(text[at])) ++at;
  return at;
}

/// Where the number that starts at `at` ends. A malformed one ends at the character that spoils it,
/// or at the end of the text; `good` is then false.
std::size_t number_end(std::string_view text, std::size_t at, bool& good) {
  const std::size_t whole_end = skip_digits(text, at);
  std::size_t digits = whole_end - at;
  std::size_t end = whole_end;
  if (end < text.size() && text[end] == '.') {
    const std::size_t fraction_end = skip_digits(text, end + 1);
    digits += fraction_end - (end + 1);
    end = fraction_end;
  }
  good = digits > 0 && (end == text.size() || text[end] != '.');
  if (!good || end == text.size()) return end;

  const char letter = fold_lower(text[end]);
  if (letter != 'e' && letter != 'd') return end;
  ++end;
  if (end < text.size() && (text[end] == '+' || text[end] == '-')) ++end;
  const std::size_t exponent_end = skip_digits(text, end);
  good = exponent_end > end;
  return exponent_end;
}

/// A number too large for a double is malformed as well, since it would compile to infinity.
Next read_number(Walk& walk) {
  bool good = false;
  const std::size_t end = number_end(walk.text, walk.at, good);
  const std::optional<double> value =
      good ? read_free_real(walk.text.substr(walk.at, end - walk.at)) : std::nullopt;
  if (!value) {
    const std::size_t stop = good ? end : walk.text.find_first_of("+-*/^()", end);
    const std::string_view part =
        walk.text.substr(walk.at, std::min(stop, walk.text.size()) - walk.at);
    return fail(walk, "Invalid number format:  " + std::string(part));
  }
  walk.tokens.push_back({.kind = Token::Kind::number, .value = *value});
  walk.at = end;
  return Next::go_on;
}

/// A variable or the constant pi.
Next read_element(Walk& walk) {
  const std::size_t end =
      std::min(walk.text.find_first_of(after_element, walk.at), walk.text.size());
  const std::string_view element = walk.text.substr(walk.at, end - walk.at);
  const auto name = std::find(walk.varnames.begin(), walk.varnames.end(), element);
  const bool known = name != walk.varnames.end();
  if (element == "pi" || (!known && equal_folded(element, "pi"))) {
    walk.tokens.push_back({.kind = Token::Kind::number, .value = std::numbers::pi});
  } else if (known && !element.empty()) {
    const auto index = static_cast<std::int32_t>(name - walk.varnames.begin());
    walk.tokens.push_back({.kind = Token::Kind::variable, .code = first_variable + index});
  } else {
    return fail(walk, "Invalid element: " + std::string(element));
  }
  walk.at = end;
  return Next::go_on;
}

/// A closing parenthesis where an operand is due.
Next refuse_closing(Walk& walk) {
  if (walk.open == 0) return fail(walk, "Mismatched parenthesis");
  if (walk.text[walk.at - 1] == '(') return fail(walk, "Empty parentheses");
  return fail(walk, "Invalid element: ");
}

Next read_operand(Walk& walk) {
  const char c = walk.text[walk.at];
  if (c == ')') return refuse_closing(walk);
  return is_digit(c) || c == '.' ? read_number(walk) : read_element(walk);
}

Next read_closings(Walk& walk) {
  for (; !ended(walk) && walk.text[walk.at] == ')'; ++walk.at) {
    if (walk.open == 0) return fail(walk, "Mismatched parenthesis");
    --walk.open;
    walk.tokens.push_back({.kind = Token::Kind::closing});
  }
  return Next::go_on;
}

/// After an operand the text ends, or an operator follows and then another operand.
Next read_operator(Walk& walk) {
  if (ended(walk)) return Next::finish;
  const std::size_t which = operators.find(walk.text[walk.at]);
  if (which == std::string_view::npos) return fail(walk, "Missing operator");
  ++walk.at;
  if (ended(walk)) return fail(walk, "Missing operand");
  if (is_operator(walk.text[walk.at])) return fail(walk, "Multiple operators");
  walk.tokens.push_back(
      {.kind = Token::Kind::binary,
       .code = static_cast<std::int32_t>(Binary::add) + static_cast<std::int32_t>(which)});
  return Next::next_pass;
}

/// One pass: everything up to an operand, the operand, and the operator behind it. An opening
/// parenthesis starts a pass of its own, so that nesting takes no stack.
Next read_pass(Walk& walk) {
  // Only an opening parenthesis can leave the text ended here.
  if (ended(walk)) return Next::finish;
  Next next = read_sign(walk);
  if (next == Next::go_on) next = read_function(walk);
  if (next == Next::go_on) next = read_opening(walk);
  if (next == Next::go_on) next = read_operand(walk);
  if (next == Next::go_on) next = read_closings(walk);
  if (next == Next::go_on) next = read_operator(walk);
  return next;
}

}  // namespace

std::optional<SyntaxError> read_formula(std::string_view text,
                                        std::span<const std::string> varnames,
                                        std::vector<Token>& tokens) {
  const PackedText formula = packed(text);
  tokens.clear();
  tokens.reserve(formula.characters.size());
  Walk walk{.text = formula.characters, .varnames = varnames, .tokens = tokens};

  Next next = ended(walk) ? fail(walk, "Missing operand") : Next::next_pass;
  while (next == Next::next_pass) next = read_pass(walk);
  if (next == Next::finish && walk.open > 0) next = fail(walk, "Missing )");
  if (next != Next::fail) return std::nullopt;
  return SyntaxError{std::move(walk.error.message), formula.origin[walk.error.position]};
}

std::vector<std::string> error_lines(std::string_view text, const SyntaxError& error) {
  return {"*** Error in syntax of function string: " + error.message, std::string(trim_right(text)),
          std::string(error.position, ' ') + "?"};
}

}  // namespace torve::formula
