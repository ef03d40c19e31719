// Formulas, read into the graph by operator precedence: powers bind closest and from the left,
// then signs, then products and quotients, then sums. Nothing recurses; brackets stand on a stack
// of their own. Floyd, Syntactic analysis and operator precedence, J. ACM 10 (1963) 316.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "mirsolve/language/limits.h"
#include "mirsolve/language/names.h"
#include "mirsolve/language/tokens.h"
#include "mirsolve/problem/problem.h"

namespace mirsolve {

class FormulaReader {
 public:
  FormulaReader(Tokens& tokens, Problem& problem, const VariableIndex& variables,
                const Limits& limits)
      : tokens_(tokens), problem_(problem), variables_(variables), limits_(limits) {}

  // What a formula stands for.
  enum class Place : unsigned char { left, right, objective };

  // The formula that begins here, up to the first token that can't belong to it. An empty one is 0
  // and an oddity, but for a right side. `statement` is the name of the statement that it stands
  // in, for the oddities.
  std::optional<NodeId> read(Place place, std::string_view statement);

 private:
  enum class Operator : unsigned char { multiply, divide, negate, power };
  // What a step leads to: an operand or an operator must follow, or the formula is over; failed:
  // the tokens have the slip.
  enum class Next : unsigned char { operand, operation, over, failed };

  // An open bracket, or the formula itself: from where on the stacks belong to it.
  struct Frame {
    std::size_t terms = 0;
    std::size_t operators = 0;
    std::optional<Operation> function;  // that the bracket belongs to
    Token opened;
    bool is_fresh = true;      // nothing was read in it
    bool is_negative = false;  // the term in hand is subtracted
  };

  Next read_operand();
  Next read_name();
  Next read_sign();
  Next read_operator();
  Next open_bracket(std::optional<Operation> function);
  Next close_bracket();
  Next push_value(NodeId id);
  Next fail(Slip slip);
  bool is_empty_here() const;
  bool reduce_above(int strength);
  bool end_term();
  bool end_frame();
  bool has_room();

  Tokens& tokens_;
  Problem& problem_;
  const VariableIndex& variables_;
  const Limits& limits_;
  Place place_ = Place::objective;
  std::string_view statement_;
  static constexpr char no_sign = 0;
  char sign_ = no_sign;  // the last one ahead of the operand in hand
  std::vector<NodeId> values_;
  std::vector<Operator> operators_;
  std::vector<NodeId> terms_;
  std::vector<Frame> frames_;
};

}  // namespace mirsolve
