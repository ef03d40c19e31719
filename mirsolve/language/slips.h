// What can be wrong with a text, and how it is worded.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace mirsolve {

enum class Slip : unsigned char {
  unknown_character,
  malformed_number,
  number_too_large,
  name_expected,
  number_expected,
  operand_expected,
  colon_expected,
  semicolon_expected,
  opening_expected,
  closing_expected,
  relation_expected,
  goal_expected,
  section_expected,
  section_twice,
  no_objective,
  unclosed_bracket,
  unopened_bracket,
  two_signs,
  unknown_function,
  function_without_bracket,
  function_without_argument,
  undeclared,
  declared_twice,
  value_twice,
  stated_twice,
  listed_twice,
  not_listed,
  not_stated,
  option_out_of_range,
  option_not_whole,
  bounds_cross,
  bounds_of_binary,
  too_deep,
  formulas_too_large,
  too_many_variables,
  too_many_statements,
  text_too_long,
};

struct SlipRow {
  Slip slip;
  std::string_view words;
};

inline constexpr std::array slip_rows = {
    SlipRow{Slip::unknown_character, "unknown character"},
    SlipRow{Slip::malformed_number, "malformed number"},
    SlipRow{Slip::number_too_large, "number too large"},
    SlipRow{Slip::name_expected, "a name is expected"},
    SlipRow{Slip::number_expected, "a number is expected"},
    SlipRow{Slip::operand_expected, "an operand is expected"},
    SlipRow{Slip::colon_expected, "a colon is expected"},
    SlipRow{Slip::semicolon_expected, "a semicolon is expected"},
    SlipRow{Slip::opening_expected, "an opening brace is expected"},
    SlipRow{Slip::closing_expected, "a name or a closing brace is expected"},
    SlipRow{Slip::relation_expected, "a relation is expected"},
    SlipRow{Slip::goal_expected, "minimize or maximize is expected"},
    SlipRow{Slip::section_expected, "a section or a statement is expected"},
    SlipRow{Slip::section_twice, "the section stands twice"},
    SlipRow{Slip::no_objective, "there is no objective"},
    SlipRow{Slip::unclosed_bracket, "a bracket isn't closed"},
    SlipRow{Slip::unopened_bracket, "nothing opens the bracket"},
    SlipRow{Slip::two_signs, "two signs ahead of an operand"},
    SlipRow{Slip::unknown_function, "unknown function"},
    SlipRow{Slip::function_without_bracket, "the function has no bracket"},
    SlipRow{Slip::function_without_argument, "the function has no argument"},
    SlipRow{Slip::undeclared, "the variable isn't declared"},
    SlipRow{Slip::declared_twice, "the variable is declared twice"},
    SlipRow{Slip::value_twice, "a value is given twice"},
    SlipRow{Slip::stated_twice, "the statement stands twice"},
    SlipRow{Slip::listed_twice, "the statement is listed twice"},
    SlipRow{Slip::not_listed, "the statement isn't listed"},
    SlipRow{Slip::not_stated, "the statement is listed and doesn't stand"},
    SlipRow{Slip::option_out_of_range, "the option doesn't take this value"},
    SlipRow{Slip::option_not_whole, "the option takes a whole number"},
    SlipRow{Slip::bounds_cross, "the lower bound is above the upper one"},
    SlipRow{Slip::bounds_of_binary, "the bound of a binary variable is neither 0 nor 1"},
    SlipRow{Slip::too_deep, "too many brackets are open"},
    SlipRow{Slip::formulas_too_large, "the formulas are too large"},
    SlipRow{Slip::too_many_variables, "too many variables"},
    SlipRow{Slip::too_many_statements, "too many statements"},
    SlipRow{Slip::text_too_long, "the text is too long"},
};

consteval bool row_is_slip() {
  for (std::size_t i = 0; i < slip_rows.size(); ++i) {
    if (static_cast<std::size_t>(slip_rows[i].slip) != i) return false;
  }
  return true;
}
static_assert(row_is_slip(), "row i holds slip i");

}  // namespace mirsolve
