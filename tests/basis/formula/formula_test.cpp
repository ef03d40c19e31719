#include "basis/formula/formula.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <numbers>
#include <string>
#include <string_view>
#include <vector>

#include "text/number_edits.h"

namespace torve {
namespace {

const std::vector<std::string> names = {"x", "y", "e", "x1e", "Alpha_1"};

/// The code of a formula in words, with variables by their position: "1.5 v1 ^" for 1.5^x.
std::string code_of(const CompiledFormula& formula) {
  constexpr std::string_view words[] = {
      "",    "",     "neg",  "+",    "-",    "*",   "/",   "^",   "abs",  "exp",  "log10",
      "log", "sqrt", "sinh", "cosh", "tanh", "sin", "cos", "tan", "asin", "acos", "atan"};
  std::string text;
  std::size_t immediate = 0;
  for (const std::int32_t code : formula.codes) {
    if (!text.empty()) text += ' ';
    if (code == 1) {
      text += free_form(formula.immediates.at(immediate++));
    } else if (code >= 22) {
      text += "v" + free_form(code - 21);
    } else {
      text += words[code];
    }
  }
  EXPECT_EQ(immediate, formula.immediates.size());
  return text;
}

FormulaTable table_of(std::size_t count) {
  FormulaTable table;
  int status = -1;
  fninit(table, count, status);
  EXPECT_EQ(status, 0);
  return table;
}

struct CodeRow {
  std::string_view name;
  std::string_view text;
  std::string_view code;
};

class FormulaCode : public testing::TestWithParam<CodeRow> {};

TEST_P(FormulaCode, is_compiled) {
  FormulaTable table = table_of(1);
  int status = -1;
  std::vector<std::string> report;
  fnparse(table, 0, GetParam().text, names, status, &report);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(table.fnparseerr, 0);
  EXPECT_TRUE(report.empty());
  EXPECT_EQ(code_of(table.slots[0]), GetParam().code);

  fncheck(GetParam().text, names, status = -1, &report);
  EXPECT_EQ(status, 0);
}

constexpr CodeRow code_rows[] = {
    {"number", "5", "5"},
    {"number_point_last", "5.", "5"},
    {"number_point_first", ".5", "0.5"},
    {"number_exponent", "1.5e-3", "0.0015"},
    {"number_exponent_plus", "2E+3", "2000"},
    {"number_exponent_d", "2d3", "2000"},
    {"number_exponent_capital_d", "2.D-1", "0.2"},
    {"number_with_blanks_inside", "1 2 . 5", "12.5"},
    {"pi", "pi", "3.141592653589793"},
    {"pi_capital", "PI*x", "3.141592653589793 v1 *"},
    {"variable", "y", "v2"},
    {"variable_as_given", "Alpha_1", "v5"},
    {"plus_sign", "+x", "v1"},
    {"minus_sign", "-x", "v1 neg"},
    {"minus_number", "-2.5", "2.5 neg"},
    {"power_caret", "2^3", "2 3 ^"},
    {"power_stars", "2**3", "2 3 ^"},
    {"blanks_anywhere", "  x  *   y  ", "v1 v2 *"},
    {"power_associates_to_the_left", "2 ^ 3 ^ 2", "2 3 ^ 2 ^"},
    {"difference_associates_to_the_left", "x-y-e", "v1 v2 - v3 -"},
    {"quotient_associates_to_the_left", "x/y/e", "v1 v2 / v3 /"},
    {"sum_associates_to_the_left", "x+y+e", "v1 v2 + v3 +"},
    {"product_associates_to_the_left", "x*y*e", "v1 v2 * v3 *"},
    {"difference_before_sum", "x+y-e", "v1 v2 v3 - +"},
    {"difference_then_sum", "x-y+e", "v1 v2 - v3 +"},
    {"two_differences_around_sum", "x-y+e-x", "v1 v2 - v3 v1 - +"},
    {"quotient_before_product", "x*y/e", "v1 v2 v3 / *"},
    {"quotient_then_product", "x/y*e", "v1 v2 / v3 *"},
    {"product_before_sum", "x+y*e", "v1 v2 v3 * +"},
    {"power_before_product", "x*y^e", "v1 v2 v3 ^ *"},
    {"all_operators", "x+y-e*x/y^e", "v1 v2 v3 v1 v2 v3 ^ / * - +"},
    {"minus_over_power", "-2^2", "2 2 ^ neg"},
    {"minus_over_product", "-x*y", "v1 v2 * neg"},
    {"minus_over_quotient_and_power", "-x/y^e", "v1 v2 v3 ^ / neg"},
    {"minus_not_over_sum", "-x+y", "v1 neg v2 +"},
    {"minus_not_over_difference", "-x-y", "v1 neg v2 -"},
    {"minus_over_first_product_only", "-x*y-e*x", "v1 v2 * neg v3 v1 * -"},
    {"minus_in_parentheses", "(-2)^2", "2 neg 2 ^"},
    {"minus_over_parentheses", "-(x+y)", "v1 v2 + neg"},
    {"minus_over_power_of_parentheses", "-(x+y)^2", "v1 v2 + 2 ^ neg"},
    {"minus_over_function", "-sin(x)", "v1 sin neg"},
    {"minus_over_power_of_function", "-sin(x)^2", "v1 sin 2 ^ neg"},
    {"minus_in_exponent", "x^(-2)", "v1 2 neg ^"},
    {"plus_in_parentheses", "x*(+y)", "v1 v2 *"},
    {"parentheses_change_order", "x-(y-e)", "v1 v2 v3 - -"},
    {"two_pairs_of_parentheses", "(x+y)*(x-y)", "v1 v2 + v1 v2 - *"},
    {"needless_parentheses", "(((x)))", "v1"},
    {"exponent_of_number", "1.5e-3+x", "0.0015 v1 +"},
    {"exponent_behind_operator", "x*1e-3-y", "v1 0.001 * v2 -"},
    {"variable_e_and_difference", "x-e-3", "v1 v3 - 3 -"},
    {"variable_ending_in_digit_and_e", "x1e-3", "v4 3 -"},
    {"function_any_case", "SiN(x)", "v1 sin"},
    {"function_of_function", "exp(log(x))", "v1 log exp"},
    {"log10_before_log", "log10(x)+log(y)", "v1 log10 v2 log +"},
    {"sinh_before_sin", "sinh(x)+sin(y)", "v1 sinh v2 sin +"},
    {"cosh_before_cos", "cosh(x)+cos(y)", "v1 cosh v2 cos +"},
    {"tanh_before_tan", "tanh(x)+tan(y)", "v1 tanh v2 tan +"},
    {"arc_functions", "asin(x)+acos(y)+atan(e)", "v1 asin v2 acos + v3 atan +"},
    {"abs_and_sqrt", "sqrt(abs(x))", "v1 abs sqrt"},
    {"function_of_sum", "exp(-x*y+1)", "v1 v2 * neg 1 + exp"},
    {"function_binds_to_its_parentheses", "exp(x)^2*y", "v1 exp 2 ^ v2 *"},
    {"tiny_number_is_zero", "1e-400", "0"},
};

INSTANTIATE_TEST_SUITE_P(Rows, FormulaCode, testing::ValuesIn(code_rows),
                         [](const auto& row) { return std::string(row.param.name); });

struct ErrorRow {
  std::string_view name;
  std::string_view text;
  std::string_view message;
  std::size_t place;
};

class FormulaError : public testing::TestWithParam<ErrorRow> {};

TEST_P(FormulaError, is_reported_with_its_place) {
  const std::vector<std::string> expected = {
      "*** Error in syntax of function string: " + std::string(GetParam().message),
      std::string(GetParam().text.substr(0, GetParam().text.find_last_not_of(' ') + 1)),
      std::string(GetParam().place, ' ') + "?"};

  FormulaTable table = table_of(1);
  int status = 0;
  fnparse(table, 0, "x+1", names, status);
  ASSERT_EQ(status, 0);
  std::vector<std::string> report;
  fnparse(table, 0, GetParam().text, names, status, &report);
  EXPECT_NE(status, 0);
  EXPECT_EQ(table.fnparseerr, status);
  EXPECT_EQ(report, expected);
  EXPECT_TRUE(table.slots[0].codes.empty());

  report.clear();
  fncheck(GetParam().text, names, status = 0, &report);
  EXPECT_NE(status, 0);
  EXPECT_EQ(report, expected);

  fncheck(GetParam().text, names, status = 0);
  EXPECT_NE(status, 0);
}

constexpr ErrorRow error_rows[] = {
    {"nothing", "", "Missing operand", 0},
    {"blanks", "   ", "Missing operand", 0},
    {"lone_sign", "-", "Missing operand", 1},
    {"sign_opens_and_ends", "x*(-", "Missing operand", 4},
    {"operator_last", "x +  ", "Missing operand", 3},
    {"stars_last", "x**", "Missing operand", 3},
    {"two_signs", "--x", "Multiple operators", 1},
    {"sign_and_operator", "+*x", "Multiple operators", 1},
    {"operator_and_sign", "x * -y", "Multiple operators", 4},
    {"power_and_sign", "x^-2", "Multiple operators", 2},
    {"stars_apart", "x * * y", "Multiple operators", 4},
    {"three_stars", "x***y", "Multiple operators", 3},
    {"function_alone", "sin", "Missing function argument", 3},
    {"function_last", "x+log10", "Missing function argument", 7},
    {"function_without_parenthesis", "sin x", "Missing opening parenthesis", 4},
    {"function_name_opens_a_word", "single", "Missing opening parenthesis", 3},
    {"function_and_operator", "sin*x", "Missing opening parenthesis", 3},
    {"lone_point", ".", "Invalid number format:  .", 0},
    {"two_points", "x+1.5.2*y", "Invalid number format:  1.5.2", 2},
    {"two_points_together", "1..5", "Invalid number format:  1..5", 0},
    {"exponent_without_digits", "1e", "Invalid number format:  1e", 0},
    {"exponent_sign_without_digits", "2.5d-+x", "Invalid number format:  2.5d-", 0},
    {"exponent_and_word", "3exp(x)", "Invalid number format:  3exp", 0},
    {"number_too_large", "x+1e400-y", "Invalid number format:  1e400", 2},
    {"unknown_name", "x + why", "Invalid element: why", 4},
    {"name_in_other_case", "X", "Invalid element: X", 0},
    {"name_longer_than_known", "alpha_12", "Invalid element: alpha_12", 0},
    {"two_names", "x y", "Invalid element: xy", 0},
    {"name_and_parenthesis", "y(x)", "Invalid element: y(x", 0},
    {"operator_first", "*x", "Invalid element: ", 0},
    {"operator_opens_parentheses", "(/x)", "Invalid element: ", 1},
    {"operator_closes_parentheses", "(x+)", "Invalid element: ", 3},
    {"sign_closes_parentheses", "(-)", "Invalid element: ", 2},
    {"empty_parentheses", "x*()", "Empty parentheses", 3},
    {"empty_argument", "sin( )", "Empty parentheses", 5},
    {"lone_closing", ")", "Mismatched parenthesis", 0},
    {"one_closing_too_many", "(x))", "Mismatched parenthesis", 3},
    {"closing_first", "x*)", "Mismatched parenthesis", 2},
    {"closing_before_opening", "x)*(y", "Mismatched parenthesis", 1},
    {"lone_opening", "(", "Missing )", 1},
    {"opening_last", "x+(", "Missing )", 3},
    {"one_closing_too_few", "((x)", "Missing )", 4},
    {"function_left_open", "exp(x  ", "Missing )", 5},
    {"number_and_name", "2x", "Missing operator", 1},
    {"parentheses_side_by_side", "(x) (y)", "Missing operator", 4},
    {"name_behind_parenthesis", "(x)y", "Missing operator", 3},
    {"second_exponent", "1e5e3", "Missing operator", 3},
};

INSTANTIATE_TEST_SUITE_P(Rows, FormulaError, testing::ValuesIn(error_rows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(FormulaNames, let_a_spelling_of_pi_be_a_variable_but_not_pi) {
  const std::vector<std::string> spellings = {"PI", "pi"};
  FormulaTable table = table_of(3);
  int status = -1;
  fnparse(table, 0, "PI", spellings, status);
  fnparse(table, 1, "pi", spellings, status);
  fnparse(table, 2, "Pi", spellings, status);
  const std::vector<double> values = {10.0, 20.0};
  EXPECT_EQ(fneval(table, 0, values), 10.0);
  EXPECT_EQ(fneval(table, 1, values), std::numbers::pi);
  EXPECT_EQ(fneval(table, 2, values), std::numbers::pi);
}

TEST(FormulaNames, take_the_first_of_equal_names_and_none_for_blank_ones) {
  const std::vector<std::string> twice = {"", "a", "a"};
  FormulaTable table = table_of(1);
  int status = -1;
  fnparse(table, 0, "a", twice, status);
  EXPECT_EQ(code_of(table.slots[0]), "v2");
  fncheck("*a", twice, status);
  EXPECT_NE(status, 0);
}

TEST(FormulaNames, may_be_more_than_a_byte_can_count) {
  std::vector<std::string> many;
  std::vector<double> values;
  for (int i = 1; i <= 1000; ++i) {
    many.push_back("v" + free_form(i));
    values.push_back(0.5 * i);
  }
  FormulaTable table = table_of(1);
  int status = -1;
  fnparse(table, 0, "v106-v107*v128+v1000/v256", many, status);
  ASSERT_EQ(status, 0);
  EXPECT_EQ(fneval(table, 0, values), 53.0 - 53.5 * 64.0 + 500.0 / 128.0);
}

TEST(FormulaTableLife, starts_empty_and_ends_empty) {
  FormulaTable table = table_of(3);
  ASSERT_EQ(table.slots.size(), 3U);
  for (const CompiledFormula& slot : table.slots) EXPECT_TRUE(slot.codes.empty());
  table.fnerrtype = 4;
  EXPECT_EQ(fneval(table, 1, {}), 0.0);
  EXPECT_EQ(table.fnerrtype, 0);

  int status = -1;
  fnparse(table, 1, "1/0", names, status);
  fneval(table, 1, {});
  fnparse(table, 2, "1/", names, status);
  EXPECT_NE(table.fnerrtype, 0);
  EXPECT_NE(table.fnparseerr, 0);
  fnfree(table);
  EXPECT_TRUE(table.slots.empty());
  EXPECT_EQ(table.slots.capacity(), 0U);
  EXPECT_EQ(table.fnerrtype, 0);
  EXPECT_EQ(table.fnparseerr, 0);

  fninit(table, 0, status);
  EXPECT_EQ(status, 0);
}

TEST(FormulaTableLife, reports_a_table_that_does_not_fit_in_memory) {
  FormulaTable table;
  int status = 0;
  fninit(table, std::numeric_limits<std::size_t>::max(), status);
  EXPECT_EQ(status, 1);
  EXPECT_TRUE(table.slots.empty());
}

TEST(FormulaTableLife, ignores_slots_out_of_range) {
  FormulaTable table = table_of(2);
  int status = -1;
  fnparse(table, 1, "x", names, status);
  table.fnparseerr = 7;
  std::vector<std::string> report;
  fnparse(table, 2, ")", names, status = -1, &report);
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(report.empty());
  EXPECT_EQ(table.fnparseerr, 7);
  EXPECT_EQ(table.slots.size(), 2U);
  EXPECT_EQ(code_of(table.slots[1]), "v1");
  EXPECT_EQ(fneval(table, 2, {}), 0.0);
}

TEST(FormulaTableLife, lets_a_slot_be_used_again) {
  FormulaTable table = table_of(1);
  int status = -1;
  fnparse(table, 0, "x+1+2*(3-y)", names, status);
  fnparse(table, 0, "y", names, status);
  EXPECT_EQ(code_of(table.slots[0]), "v2");
  EXPECT_EQ(table.slots[0].stack_depth, 1U);
  fnparse(table, 0, "y+", names, status);
  EXPECT_TRUE(table.slots[0].stack.empty());
  EXPECT_EQ(fneval(table, 0, {}), 0.0);
}

struct DepthRow {
  std::string_view name;
  std::string_view text;
  std::size_t depth;
};

class StackDepth : public testing::TestWithParam<DepthRow> {};

TEST_P(StackDepth, is_what_the_code_needs) {
  FormulaTable table = table_of(1);
  int status = -1;
  fnparse(table, 0, GetParam().text, names, status);
  EXPECT_EQ(table.slots[0].stack_depth, GetParam().depth);
  EXPECT_EQ(table.slots[0].stack.size(), GetParam().depth);
}

constexpr DepthRow depth_rows[] = {
    {"leaf", "x", 1},
    {"function", "-sin(x)", 1},
    {"sum", "x+y", 2},
    {"chain", "x+y+e+x+y", 2},
    {"nested_to_the_right", "x+(y+(e+(x+y)))", 5},
    {"rising_precedence", "x+y-e*x/y^e", 6},
};

INSTANTIATE_TEST_SUITE_P(Rows, StackDepth, testing::ValuesIn(depth_rows),
                         [](const auto& row) { return std::string(row.param.name); });

constexpr std::size_t longest_formula = 8192;

std::string repeated(std::string_view part, std::size_t times) {
  std::string text;
  for (std::size_t i = 0; i < times; ++i) text += part;
  return text;
}

/// As many repetitions as a formula can hold around one operand.
std::string nested(std::string_view opening, std::string_view closing) {
  const std::size_t times = (longest_formula - 1) / (opening.size() + closing.size());
  return repeated(opening, times) + "x" + repeated(closing, times);
}

struct LongRow {
  std::string_view name;
  std::string opening;
  std::string closing;
  double value;  // at x = 1
};

class LongFormula : public testing::TestWithParam<LongRow> {};

TEST_P(LongFormula, is_compiled_and_evaluated) {
  const std::string text = nested(GetParam().opening, GetParam().closing);
  FormulaTable table = table_of(1);
  int status = -1;
  fnparse(table, 0, text, names, status);
  ASSERT_EQ(status, 0);
  EXPECT_EQ(fneval(table, 0, std::vector<double>(names.size(), 1.0)), GetParam().value);
  EXPECT_EQ(table.fnerrtype, 0);
}

const LongRow long_rows[] = {
    {"parentheses", "(", ")", 1.0},             // 4095 pairs
    {"signs", "-(", ")", 1.0},                  // 2730, an even number
    {"functions", "abs(", ")", 1.0},            // 1638
    {"sums_to_the_right", "x+(", ")", 2048.0},  // 2047
    {"sums_to_the_left", "(", "+x)", 2048.0},   // 2047
    {"chain_of_sums", "x+", "", 4096.0},        // 4095
    {"chain_of_powers", "x^", "", 1.0},         // 4095
    {"chain_of_quotients", "", "/x", 1.0},      // 4095
    {"rising_precedence_in_parentheses", "x+x-x*x/x^(", ")", 1.0},
};

INSTANTIATE_TEST_SUITE_P(Rows, LongFormula, testing::ValuesIn(long_rows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(HostileFormula, of_one_character_is_refused_at_full_length) {
  for (const char c : std::string_view("(+-*/^.ez$")) {
    int status = 0;
    fncheck(std::string(longest_formula, c), names, status);
    EXPECT_NE(status, 0) << c;
  }
}

}  // namespace
}  // namespace torve
