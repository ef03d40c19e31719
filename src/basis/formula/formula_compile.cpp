#include "basis/formula/formula_compile.h"

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <utility>
#include <vector>

#include "basis/formula/formula_codes.h"

// The shunting-yard method (E. W. Dijkstra, "Algol 60 translation", 1961). Operands go straight to
// the code; operators and parentheses wait until an operator of no higher precedence, or the
// closing parenthesis, lets them out. The method looks at each token once, and deep nesting costs
// memory and no recursion, so that a formula of nothing but parentheses does no harm.

namespace torve::formula {
namespace {

constexpr auto negate_code = static_cast<std::int32_t>(Unary::negate);

/// Higher binds stronger. A leading minus takes in products and powers, but no sum: -a*b+c is
/// (-(a*b))+c. Parentheses and functions wait for their closing parenthesis, whatever comes.
int precedence(const Token& waiting) {
  switch (waiting.kind) {
    case Token::Kind::minus:
      return 2;
    case Token::Kind::binary:
      switch (static_cast<Binary>(waiting.code)) {
        case Binary::add:
          return 0;
        case Binary::subtract:
          return 1;
        case Binary::multiply:
          return 3;
        case Binary::divide:
          return 4;
        case Binary::power:
          return 5;
      }
      break;
    case Token::Kind::number:
    case Token::Kind::variable:
    case Token::Kind::function:
    case Token::Kind::opening:
    case Token::Kind::closing:
      break;
  }
  return -1;
}

/// The code under construction.
struct Emitter {
  CompiledFormula formula;
  std::vector<Token> waiting;
  std::size_t depth = 0;  // stack entries in use after the codes so far

  void push(std::int32_t code) {
    formula.codes.push_back(code);
    ++depth;
    formula.stack_depth = std::max(formula.stack_depth, depth);
  }

  /// Moves the last waiting operator or function to the code.
  void release() {
    const Token token = waiting.back();
    waiting.pop_back();
    formula.codes.push_back(token.kind == Token::Kind::minus ? negate_code : token.code);
    if (token.kind == Token::Kind::binary) --depth;
  }

  /// Lets out what binds at least as strongly as `lowest`; equal operators go from left to right.
  void release_down_to(int lowest) {
    while (!waiting.empty() && precedence(waiting.back()) >= lowest) release();
  }

  void close() {
    release_down_to(0);
    assert(!waiting.empty() && waiting.back().kind == Token::Kind::opening);
    waiting.pop_back();
    if (!waiting.empty() && waiting.back().kind == Token::Kind::function) release();
  }
};

}  // namespace

CompiledFormula compile(std::span<const Token> tokens) {
  Emitter emitter;
  emitter.formula.codes.reserve(tokens.size());
  for (const Token& token : tokens) {
    switch (token.kind) {
      case Token::Kind::number:
        emitter.formula.immediates.push_back(token.value);
        emitter.push(push_immediate);
        break;
      case Token::Kind::variable:
        emitter.push(token.code);
        break;
      case Token::Kind::function:
      case Token::Kind::minus:
      case Token::Kind::opening:
        emitter.waiting.push_back(token);
        break;
      case Token::Kind::closing:
        emitter.close();
        break;
      case Token::Kind::binary:
        emitter.release_down_to(precedence(token));
        emitter.waiting.push_back(token);
        break;
    }
  }
  emitter.release_down_to(0);
  assert(emitter.waiting.empty() && emitter.depth == 1);
  emitter.formula.stack.assign(emitter.formula.stack_depth, 0.0);
  return std::move(emitter.formula);
}

}  // namespace torve::formula
