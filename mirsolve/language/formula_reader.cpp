#include "mirsolve/language/formula_reader.h"

#include <array>
#include <numbers>
#include <span>

#include "mirsolve/language/number.h"

namespace mirsolve {

namespace {

struct FunctionRow {
  std::string_view name;
  Operation operation;
};
constexpr std::array functions = {
    FunctionRow{"abs", Operation::absolute}, FunctionRow{"exp", Operation::exponential},
    FunctionRow{"log10", Operation::log10},  FunctionRow{"log", Operation::log},
    FunctionRow{"sqrt", Operation::sqrt},    FunctionRow{"sinh", Operation::sinh},
    FunctionRow{"cosh", Operation::cosh},    FunctionRow{"tanh", Operation::tanh},
    FunctionRow{"sin", Operation::sin},      FunctionRow{"cos", Operation::cos},
    FunctionRow{"tan", Operation::tan},      FunctionRow{"asin", Operation::asin},
    FunctionRow{"acos", Operation::acos},    FunctionRow{"atan", Operation::atan},
};

std::optional<Operation> function_of(std::string_view name) {
  const auto row = std::ranges::find_if(
      functions, [&](const FunctionRow& function) { return same_word(function.name, name); });
  return row == functions.end() ? std::nullopt : std::optional(row->operation);
}

constexpr int weakest = 0;
constexpr int power_strength = 3;

}  // namespace

FormulaReader::Next FormulaReader::fail(Slip slip) {
  tokens_.fail(slip);
  return Next::failed;
}

bool FormulaReader::has_room() {
  const ExpressionGraph& graph = problem_.graph;
  if (graph.size() <= limits_.nodes && graph.all_operands() <= limits_.operands) return true;
  return tokens_.fail(Slip::formulas_too_large);
}

// Applies the operators of the open bracket that bind at least as strongly.
bool FormulaReader::reduce_above(int strength) {
  constexpr std::array strengths = {1, 1, 2, power_strength};
  while (operators_.size() > frames_.back().operators) {
    const Operator last = operators_.back();
    if (strengths[static_cast<std::size_t>(last)] < strength) return true;
    operators_.pop_back();
    NodeId& top = values_.back();
    if (last == Operator::negate) {
      top = problem_.graph.unary(Operation::negate, top);
    } else {
      constexpr std::array operations = {Operation::product, Operation::quotient, Operation::negate,
                                         Operation::power};
      const NodeId right = top;
      values_.pop_back();
      values_.back() =
          problem_.graph.binary(operations[static_cast<std::size_t>(last)], values_.back(), right);
    }
    if (!has_room()) return false;
  }
  return true;
}

bool FormulaReader::end_term() {
  if (!reduce_above(weakest)) return false;
  NodeId term = values_.back();
  values_.pop_back();
  if (frames_.back().is_negative) term = problem_.graph.unary(Operation::negate, term);
  terms_.push_back(term);
  return has_room();
}

// The sum of the terms in the bracket takes the bracket's place.
bool FormulaReader::end_frame() {
  const Frame frame = frames_.back();
  if (!end_term()) return false;
  const NodeId sum = problem_.graph.sum(std::span(terms_).subspan(frame.terms));
  terms_.resize(frame.terms);
  frames_.pop_back();
  values_.push_back(frame.function ? problem_.graph.unary(*frame.function, sum) : sum);
  return has_room();
}

FormulaReader::Next FormulaReader::push_value(NodeId id) {
  values_.push_back(id);
  frames_.back().is_fresh = false;
  sign_ = no_sign;
  return has_room() ? Next::operation : Next::failed;
}

FormulaReader::Next FormulaReader::open_bracket(std::optional<Operation> function) {
  if (frames_.size() > limits_.brackets) return fail(Slip::too_deep);
  frames_.back().is_fresh = false;
  sign_ = no_sign;
  frames_.push_back({terms_.size(), operators_.size(), function, tokens_.now()});
  tokens_.advance();
  return Next::operand;
}

FormulaReader::Next FormulaReader::close_bracket() {
  if (frames_.size() == 1) return Next::over;
  tokens_.advance();
  return end_frame() ? Next::operation : Next::failed;
}

// A sum may have no term at all, but for that of a function and a right side.
bool FormulaReader::is_empty_here() const {
  const Frame& frame = frames_.back();
  if (!frame.is_fresh || sign_ != no_sign || frame.function) return false;
  if (frames_.size() > 1) return tokens_.is(")");
  constexpr std::array<std::string_view, 4> relations = {"<=", ">=", "==", "="};
  switch (place_) {
    case Place::left:
      return tokens_.is(")") || std::ranges::any_of(relations, [&](std::string_view sign) {
               return tokens_.is(sign);
             });
    case Place::objective:
      return tokens_.is(";");
    case Place::right:
      break;
  }
  return false;
}

FormulaReader::Next FormulaReader::read_name() {
  const Token name = tokens_.now();
  tokens_.advance();
  const std::optional<Operation> function = function_of(name.text);
  if (tokens_.is("(")) {
    if (function) return open_bracket(function);
    tokens_.fail(Slip::unknown_function, name);
    return Next::failed;
  }
  if (const auto variable = variables_.find(name.text); variable != variables_.end()) {
    return push_value(problem_.graph.variable(variable->second));
  }
  if (same_word(name.text, "pi")) return push_value(problem_.graph.number(std::numbers::pi));
  tokens_.fail(function ? Slip::function_without_bracket : Slip::undeclared, name);
  return Next::failed;
}

// One, or the plus that begins a list of terms and the minus of the number in the first of them.
FormulaReader::Next FormulaReader::read_sign() {
  const Token sign = tokens_.now();
  const bool is_second = sign_ == '+' && sign.text == "-";
  if (sign_ != no_sign && !is_second) return fail(Slip::two_signs);
  sign_ = sign.text.front();
  if (sign_ == '-') operators_.push_back(Operator::negate);
  tokens_.advance();
  if (!is_second || tokens_.now().kind == TokenKind::number) return Next::operand;
  tokens_.fail(Slip::two_signs, sign);
  return Next::failed;
}

FormulaReader::Next FormulaReader::read_operand() {
  if (is_empty_here()) {
    note(problem_, Oddity::empty_sum);
    return push_value(problem_.graph.number(0.0));
  }
  if (tokens_.is("+") || tokens_.is("-")) {
    return read_sign();
  }
  if (tokens_.is("(")) return open_bracket(std::nullopt);
  if (tokens_.now().kind == TokenKind::name) return read_name();
  if (tokens_.is("'") && belongs_to(Oddity::quote_before_number, statement_)) {
    note(problem_, Oddity::quote_before_number);
    tokens_.advance();
  } else if (tokens_.now().kind != TokenKind::number) {
    const Frame& frame = frames_.back();
    if (frame.function && frame.is_fresh && tokens_.is(")")) {
      return fail(Slip::function_without_argument);
    }
    return fail(Slip::operand_expected);
  }
  double value = 0.0;
  if (!read_number(tokens_, value)) return Next::failed;
  return push_value(problem_.graph.number(value));
}

FormulaReader::Next FormulaReader::read_operator() {
  if (tokens_.is(")")) return close_bracket();
  const bool is_minus = tokens_.is("-");
  if (is_minus || tokens_.is("+")) {
    if (!end_term()) return Next::failed;
    frames_.back().is_negative = is_minus;
  } else if (tokens_.is("*") || tokens_.is("/")) {
    if (!reduce_above(1)) return Next::failed;
    operators_.push_back(tokens_.is("*") ? Operator::multiply : Operator::divide);
  } else if (tokens_.is("^")) {
    // From the left, as in the formulas that torve itself evaluates.
    if (!reduce_above(power_strength)) return Next::failed;
    operators_.push_back(Operator::power);
  } else {
    if (frames_.size() == 1) return Next::over;
    if (!tokens_.has_failed()) tokens_.fail(Slip::unclosed_bracket, frames_.back().opened);
    return Next::failed;
  }
  tokens_.advance();
  return Next::operand;
}

std::optional<NodeId> FormulaReader::read(Place place, std::string_view statement) {
  place_ = place;
  statement_ = statement;
  sign_ = no_sign;
  values_.clear();
  operators_.clear();
  terms_.clear();
  frames_.assign(1, Frame{});
  Next next = Next::operand;
  while (next == Next::operand || next == Next::operation) {
    next = next == Next::operand ? read_operand() : read_operator();
  }
  if (next == Next::failed || tokens_.has_failed() || !end_frame()) return std::nullopt;
  return values_.back();
}

}  // namespace mirsolve
