// A slip of each kind, with its place and words.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <string_view>

#include "mirsolve/language/problem_reader.h"
#include "mirsolve/language/slips.h"

namespace {

using namespace mirsolve;

struct SlipCase {
  const char* name;
  const char* text;
  const char* place;
  Slip slip;
  const char* near;  // nullptr: at the end of the text
};

// What stands ahead of a formula in hand.
#define FORMULA "VARIABLES x;\nOBJ: minimize "

const SlipCase rows[] = {
    {"control_character", "VARIABLES x\001;", "line 1, column 12", Slip::unknown_character, "?"},
    {"at_sign", FORMULA "x@2;", "line 2, column 16", Slip::unknown_character, "@"},
    {"less_alone", "VARIABLES x; EQUATIONS e;\ne: x < 2;", "line 2, column 6",
     Slip::unknown_character, "<"},
    {"lone_point", FORMULA "1+.;", "line 2, column 17", Slip::unknown_character, "."},
    {"double_quote", FORMULA "\"x\";", "line 2, column 15", Slip::unknown_character, "\""},
    {"byte_above_ascii", FORMULA "\xc3\xa4;", "line 2, column 15", Slip::unknown_character, "?"},
    {"two_points", FORMULA "1.2.3;", "line 2, column 15", Slip::malformed_number, "1.2.3"},
    {"no_exponent", FORMULA "1e;", "line 2, column 15", Slip::malformed_number, "1e"},
    {"exponent_without_digits", FORMULA "1e+;", "line 2, column 15", Slip::malformed_number, "1e+"},
    {"letters_behind_digits", FORMULA "\n\n  12abc;", "line 4, column 3", Slip::malformed_number,
     "12abc"},
    {"hexadecimal", FORMULA "0x10;", "line 2, column 15", Slip::malformed_number, "0x10"},
    {"point_in_the_exponent", FORMULA "1e2.5;", "line 2, column 15", Slip::malformed_number,
     "1e2.5"},
    {"malformed_bound", "VARIABLES x;\nLOWER_BOUNDS{ x: 1..2; }", "line 2, column 18",
     Slip::malformed_number, "1..2"},
    {"large_number", FORMULA "1e309;", "line 2, column 15", Slip::number_too_large, "1e309"},
    {"large_exponent", FORMULA "x*1d99999999999;", "line 2, column 17", Slip::number_too_large,
     "1d99999999999"},
    {"comma_at_the_list_s_end", "VARIABLES x, ;", "line 1, column 14", Slip::name_expected, ";"},
    {"number_in_a_list", "VARIABLES x, 2;", "line 1, column 14", Slip::name_expected, "2"},
    {"comma_first", "EQUATIONS , e;", "line 1, column 11", Slip::name_expected, ","},
    {"list_cut", "VARIABLES x,", "line 1, column 13", Slip::name_expected, nullptr},
    {"word_for_an_option", "OPTIONS{ epsa: small; }", "line 1, column 16", Slip::number_expected,
     "small"},
    {"not_a_number", "VARIABLES x;\nUPPER_BOUNDS{ x: NaN; }", "line 2, column 18",
     Slip::number_expected, "NaN"},
    {"infinite_bound", "VARIABLES x;\nUPPER_BOUNDS{ x: -inf; }", "line 2, column 19",
     Slip::number_expected, "inf"},
    {"two_signs_of_a_bound", "VARIABLES x;\nUPPER_BOUNDS{ x: --1; }", "line 2, column 19",
     Slip::number_expected, "-"},
    {"sum_cut", FORMULA "x + ;", "line 2, column 19", Slip::operand_expected, ";"},
    {"two_operators", FORMULA "x * / 2;", "line 2, column 19", Slip::operand_expected, "/"},
    {"bracket_cut", FORMULA "(x - );", "line 2, column 20", Slip::operand_expected, ")"},
    {"product_first", FORMULA "* x;", "line 2, column 15", Slip::operand_expected, "*"},
    {"star_star", FORMULA "x**2;", "line 2, column 17", Slip::operand_expected, "*"},
    {"text_cut_in_a_formula", FORMULA "x +", "line 2, column 18", Slip::operand_expected, nullptr},
    {"text_cut_ahead_of_a_formula", "OBJ: minimize", "line 1, column 14", Slip::operand_expected,
     nullptr},
    {"lone_sign_in_brackets", FORMULA "2*(+);", "line 2, column 19", Slip::operand_expected, ")"},
    {"two_relations", "VARIABLES x;\nEQUATIONS e;\ne: x <= <= 2;\nOBJ: minimize x;",
     "line 3, column 9", Slip::operand_expected, "<="},
    {"empty_right_side", "VARIABLES x;\nEQUATIONS e;\ne: x <= ;\nOBJ: minimize x;",
     "line 3, column 9", Slip::operand_expected, ";"},
    {"statement_without_colon", "VARIABLES x;\nEQUATIONS e;\ne x <= 2;", "line 3, column 3",
     Slip::colon_expected, "x"},
    {"misspelt_section", "BINARY_VARIABLE y;", "line 1, column 17", Slip::colon_expected, "y"},
    {"bound_without_colon", "VARIABLES x;\nLOWER_BOUNDS{ x 1; }", "line 2, column 17",
     Slip::colon_expected, "1"},
    {"objective_without_colon", "OBJ minimize 1;", "line 1, column 5", Slip::colon_expected,
     "minimize"},
    {"list_without_comma", "VARIABLES x y;", "line 1, column 13", Slip::semicolon_expected, "y"},
    {"statement_without_semicolon",
     "VARIABLES x; EQUATIONS e, f;\ne: x <= 2\nf: x >= 1; OBJ: minimize x;", "line 3, column 1",
     Slip::semicolon_expected, "f"},
    {"odd_statement_that_ends_with_a_number",
     "VARIABLES x; EQUATIONS trv_erra_1;\ntrv_erra_1: x <= 2\nOBJ: minimize x;", "line 3, column 1",
     Slip::semicolon_expected, "OBJ"},
    {"option_without_semicolon", "OPTIONS{ epsa: 1 epsr: 2; }", "line 1, column 18",
     Slip::semicolon_expected, "epsr"},
    {"objective_without_semicolon", FORMULA "x", "line 2, column 16", Slip::semicolon_expected,
     nullptr},
    {"operand_behind_operand", FORMULA "2 x;", "line 2, column 17", Slip::semicolon_expected, "x"},
    {"quote_elsewhere", FORMULA "x/('4);", "line 2, column 18", Slip::operand_expected, "'"},
    {"options_without_brace", "OPTIONS epsa: 1;", "line 1, column 9", Slip::opening_expected,
     "epsa"},
    {"start_without_brace", "STARTING_POINT", "line 1, column 15", Slip::opening_expected, nullptr},
    {"braces_not_closed", "OPTIONS{ epsa: 1;", "line 1, column 18", Slip::closing_expected,
     nullptr},
    {"number_for_an_option", "OPTIONS{ 5: 1; }", "line 1, column 10", Slip::closing_expected, "5"},
    {"no_relation", "VARIABLES x;\nEQUATIONS e;\ne: x + 2;", "line 3, column 9",
     Slip::relation_expected, ";"},
    {"statement_cut", "VARIABLES x;\nEQUATIONS e;\ne: x", "line 3, column 5",
     Slip::relation_expected, nullptr},
    {"no_goal", "OBJ: best 2;", "line 1, column 6", Slip::goal_expected, "best"},
    {"goal_cut", "OBJ:", "line 1, column 5", Slip::goal_expected, nullptr},
    {"brace_between_sections", "OPTIONS{} }", "line 1, column 11", Slip::section_expected, "}"},
    {"semicolon_between_sections", "OPTIONS{};", "line 1, column 10", Slip::section_expected, ";"},
    {"options_twice", "OPTIONS{}\nOptions{}", "line 2, column 1", Slip::section_twice, "Options"},
    {"variables_by_both_words", "VARIABLES x;\nVARIABLE y;", "line 2, column 1",
     Slip::section_twice, "VARIABLE"},
    {"two_objectives", FORMULA "x;\nOBJ: minimize 1;", "line 3, column 1", Slip::section_twice,
     "OBJ"},
    {"empty_text", "", "line 1, column 1", Slip::no_objective, nullptr},
    {"remark_alone", "// nothing\n", "line 2, column 1", Slip::no_objective, nullptr},
    {"no_objective", "VARIABLES x;", "line 1, column 13", Slip::no_objective, nullptr},
    {"bracket_open", FORMULA "2*(x + (1;", "line 2, column 22", Slip::unclosed_bracket, "("},
    {"bracket_open_at_a_relation", "VARIABLES x; EQUATIONS e;\ne: (x <= 2;", "line 2, column 4",
     Slip::unclosed_bracket, "("},
    {"bracket_open_at_the_end", FORMULA "2*(x", "line 2, column 17", Slip::unclosed_bracket, "("},
    {"bracket_too_many", FORMULA "(x));", "line 2, column 18", Slip::unopened_bracket, ")"},
    {"bracket_too_many_on_the_left", "VARIABLES x; EQUATIONS e;\ne: x) <= 2;", "line 2, column 5",
     Slip::unopened_bracket, ")"},
    {"bracket_too_many_on_the_right", "VARIABLES x; EQUATIONS e;\ne: x <= 2);", "line 2, column 10",
     Slip::unopened_bracket, ")"},
    {"odd_statement_with_a_bracket_on_the_right",
     "VARIABLES x; EQUATIONS trv_errb_1;\ntrv_errb_1: 1 <= x )", "line 2, column 20",
     Slip::unopened_bracket, ")"},
    {"two_signs", FORMULA "x + - - 3;", "line 2, column 21", Slip::two_signs, "-"},
    {"two_signs_first", FORMULA "+-x;", "line 2, column 16", Slip::two_signs, "-"},
    {"unknown_function", FORMULA "1+ln(x);", "line 2, column 17", Slip::unknown_function, "ln"},
    {"variable_as_function", FORMULA "x(2);", "line 2, column 15", Slip::unknown_function, "x"},
    {"function_alone", FORMULA "sin;", "line 2, column 15", Slip::function_without_bracket, "sin"},
    {"function_without_bracket", FORMULA "sin x;", "line 2, column 15",
     Slip::function_without_bracket, "sin"},
    {"function_of_nothing", FORMULA "2*sin( );", "line 2, column 22",
     Slip::function_without_argument, ")"},
    {"undeclared", FORMULA "x+z;", "line 2, column 17", Slip::undeclared, "z"},
    {"other_case", FORMULA "X;", "line 2, column 15", Slip::undeclared, "X"},
    {"declared_later", "OBJ: minimize x;\nVARIABLES x;", "line 1, column 15", Slip::undeclared,
     "x"},
    {"bound_of_nothing", "VARIABLES x;\nLOWER_BOUNDS{ z: 1; }", "line 2, column 15",
     Slip::undeclared, "z"},
    {"start_of_nothing", "VARIABLES x;\nSTARTING_POINT{ x: 1; z: 1; }", "line 2, column 23",
     Slip::undeclared, "z"},
    {"long_name", FORMULA "name_of_more_than_twenty_three;", "line 2, column 15", Slip::undeclared,
     "name_of_more_than_twent..."},
    {"declared_twice", "VARIABLES x, y, x;", "line 1, column 17", Slip::declared_twice, "x"},
    {"declared_in_two_lists", "BINARY_VARIABLES x;\nVARIABLES x;", "line 2, column 11",
     Slip::declared_twice, "x"},
    {"option_twice", "OPTIONS{ epsa: 1;\nepsa: 1; }", "line 2, column 1", Slip::value_twice,
     "epsa"},
    {"bound_twice", "VARIABLES x;\nUPPER_BOUNDS{ x: 1; x: 2; }", "line 2, column 21",
     Slip::value_twice, "x"},
    {"stated_twice", "VARIABLES x; EQUATIONS e;\ne: x<=1;\ne: x>=1;", "line 3, column 1",
     Slip::stated_twice, "e"},
    {"listed_twice", "EQUATIONS e,\n  e;", "line 2, column 3", Slip::listed_twice, "e"},
    {"not_listed", "VARIABLES x; EQUATIONS e;\ne: x<=1;\nf: x>=1;\ng: x>=2;\nOBJ: minimize x;",
     "line 3, column 1", Slip::not_listed, "f"},
    {"no_list", "VARIABLES x;\ne: x<=1;\nOBJ: minimize x;", "line 2, column 1", Slip::not_listed,
     "e"},
    {"not_stated", "VARIABLES x;\nEQUATIONS e, f, g;\ne: x<=1; OBJ: minimize x;",
     "line 2, column 14", Slip::not_stated, "f"},
    {"negative_time", "OPTIONS{ maxtime: -1; }", "line 1, column 19", Slip::option_out_of_range,
     "-"},
    {"negative_gap", "OPTIONS{ epsr: -1e-9; }", "line 1, column 16", Slip::option_out_of_range,
     "-"},
    {"no_solutions", "OPTIONS{ NumSol: 0; }", "line 1, column 18", Slip::option_out_of_range, "0"},
    {"too_many_solutions", "OPTIONS{ NumSol: 1e10; }", "line 1, column 18",
     Slip::option_out_of_range, "1e10"},
    {"other_than_a_flag", "OPTIONS{ firstfeas: 2; }", "line 1, column 21",
     Slip::option_out_of_range, "2"},
    {"part_of_a_solution", "OPTIONS{ NumSol: 2.5; }", "line 1, column 18", Slip::option_not_whole,
     "2.5"},
    {"half_a_flag", "OPTIONS{ firstfeas: .5; }", "line 1, column 21", Slip::option_not_whole, ".5"},
    {"bounds_cross",
     "VARIABLES x, y;\nLOWER_BOUNDS{ y: 1; x: 2; }\nUPPER_BOUNDS{ y: 3;\nx: 1; }\nOBJ: minimize 1;",
     "line 4, column 1", Slip::bounds_cross, "x"},
    {"positive_below_zero", "POSITIVE_VARIABLES p;\nUPPER_BOUNDS{ p: -1; }\nOBJ: minimize 1;",
     "line 2, column 15", Slip::bounds_cross, "p"},
    {"binary_of_two", "BINARY_VARIABLES y;\nUPPER_BOUNDS{ y: 2; }", "line 2, column 18",
     Slip::bounds_of_binary, "2"},
    {"binary_of_half", "BINARY_VARIABLES y;\nLOWER_BOUNDS{ y: 0.5; }", "line 2, column 18",
     Slip::bounds_of_binary, "0.5"},
};

class Slips : public testing::TestWithParam<SlipCase> {};

TEST_P(Slips, are_told_with_their_place) {
  const SlipCase& row = GetParam();
  std::string error;
  EXPECT_FALSE(read_problem(row.text, "test", error));
  const std::string words(slip_rows[static_cast<std::size_t>(row.slip)].words);
  const std::string near =
      row.near == nullptr ? " at the end of the text" : ": '" + std::string(row.near) + "'";
  EXPECT_EQ(error, std::string(row.place) + ": " + words + near);
}

INSTANTIATE_TEST_SUITE_P(Rows, Slips, testing::ValuesIn(rows),
                         [](const auto& row) { return std::string(row.param.name); });

// Limits have their own tests.
TEST(SlipTable, has_a_case_for_each_row) {
  const std::set<Slip> limits = {Slip::too_deep, Slip::formulas_too_large, Slip::too_many_variables,
                                 Slip::too_many_statements, Slip::text_too_long};
  std::set<Slip> covered;
  for (const SlipCase& row : rows) covered.insert(row.slip);
  std::set<std::string_view> words;
  for (const SlipRow& row : slip_rows) {
    EXPECT_EQ(covered.contains(row.slip), !limits.contains(row.slip)) << row.words;
    EXPECT_TRUE(words.insert(row.words).second) << row.words;
  }
}

}  // namespace
