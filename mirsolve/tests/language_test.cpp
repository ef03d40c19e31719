// The language by small texts: what formulas mean, the freedom that a text has, each oddity of the
// format alone, and each slip with its place.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "mirsolve/language/limits.h"
#include "mirsolve/language/oddities.h"
#include "mirsolve/language/options.h"
#include "mirsolve/language/problem_reader.h"
#include "mirsolve/language/slips.h"

namespace {

using namespace mirsolve;

std::optional<Problem> read(std::string_view text, std::string& error) {
  return read_problem(text, "test", error);
}

// --- values -------------------------------------------------------------------------------------

struct Formula {
  const char* name;
  const char* text;
  double expected;  // at x = 3, y = 0.5
};

class Formulas : public testing::TestWithParam<Formula> {};

TEST_P(Formulas, have_their_values) {
  std::string error;
  const auto problem =
      read(std::string("VARIABLES x, y;\nOBJ: minimize ") + GetParam().text + ";", error);
  ASSERT_TRUE(problem) << error;
  const double value = evaluate(problem->graph, problem->objective, std::array{3.0, 0.5});
  EXPECT_DOUBLE_EQ(value, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Formulas,
    testing::Values(
        Formula{"number", "2.5", 2.5}, Formula{"point_first", ".5", 0.5},
        Formula{"point_last", "5.*x", 15.0}, Formula{"exponent", "1e3+1E-2+1.5e+1", 1015.01},
        Formula{"exponent_d", "1d2+1.5D-1", 100.15},
        Formula{"long_number", "0.1000000000000000055511151231257827", 0.1},
        Formula{"too_small", "1e-400", 0.0}, Formula{"sums_from_the_left", "10-x-4+y", 3.5},
        Formula{"quotients_from_the_left", "12/x/2*y", 1.0},
        Formula{"powers_from_the_left", "2^x^2", 64.0}, Formula{"product_first", "1+2*x", 7.0},
        Formula{"power_first", "2*x^2", 18.0},
        Formula{"division_of_the_last_only", "(x)^2 + (y)^2 / 2", 9.125},
        Formula{"sign_of_a_power", "-x^2", -9.0}, Formula{"power_of_a_sign", "(-x)^2", 9.0},
        Formula{"sign_in_a_power", "2^-1", 0.5},
        Formula{"sign_and_power_in_a_power", "2^-x^2*512", 1.0},
        Formula{"sign_behind_sum", "1 + -2 * x", -5.0},
        Formula{"sign_behind_difference", "1 - -2 * x", 7.0},
        Formula{"sign_behind_product", "2*-x", -6.0},
        Formula{"sign_behind_quotient", "6/-x*2", -4.0}, Formula{"plus_ahead", "+x", 3.0},
        Formula{"plus_in_brackets", "( + ( 2) * x )", 6.0},
        Formula{"plus_ahead_of_a_negative_number", "( + -2 * x )", -6.0},
        Formula{"difference_of_brackets", "10-(x-(4-y))", 10.5},
        Formula{"power_of_brackets", "(x-1)^(y*2)", 2.0}, Formula{"pi", "pi", 3.141592653589793},
        Formula{"pi_in_capitals", "PI/PI", 1.0},
        Formula{"functions", "abs(-x)+exp(0)+log10(100)+log(1)+sqrt(4)", 8.0},
        Formula{"hyperbolic", "sinh(0)+cosh(0)+tanh(0)", 1.0},
        Formula{"circular", "sin(0)+cos(0)+tan(0)", 1.0},
        Formula{"arcs", "asin(1)/acos(0)+atan(0)", 1.0},
        Formula{"function_in_capitals", "ABS(-2)", 2.0},
        Formula{"blank_behind_function", "abs (-2)", 2.0},
        Formula{"power_of_a_function", "abs(-x)^2", 9.0},
        Formula{"nested_functions", "abs(-abs(-x)*exp(0))", 3.0},
        Formula{"remark", "x // + y\n + 1", 4.0}, Formula{"nothing", "", 0.0},
        Formula{"empty_brackets", "3 * ( )", 0.0}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(Language, variables_may_be_called_as_functions_are) {
  std::string error;
  const auto problem = read("VARIABLES log, pi; OBJ: minimize log*log(pi)+pi;", error);
  ASSERT_TRUE(problem) << error;
  EXPECT_DOUBLE_EQ(evaluate(problem->graph, problem->objective, std::array{3.0, 1.0}), 1.0);
}

// --- freedom ------------------------------------------------------------------------------------

TEST(Language, words_stand_in_any_case_and_order) {
  std::string error;
  const auto problem = read(
      "obj: MAXIMIZE 2;\nequation a;\nPositive_Variables p;\r\n\tvariable x;\nBinary_variables b;\n"
      "upper_Bounds{b:0;x:+4;}\na: x>=p;\nStarting_Point{p:-2;}\nlower_bounds{x:-1e2;}\n"
      "options{EPSA:0.5;maxtime:3;}",
      error);
  ASSERT_TRUE(problem) << error;
  EXPECT_TRUE(problem->maximize);
  ASSERT_EQ(problem->variables.size(), 3U);
  EXPECT_EQ(problem->variables[0].name, "p");
  EXPECT_EQ(problem->variables[0].lower, 0.0);
  EXPECT_EQ(problem->variables[0].upper, infinite);
  EXPECT_EQ(problem->variables[0].start, -2.0);
  EXPECT_EQ(problem->variables[1].lower, -100.0);
  EXPECT_EQ(problem->variables[1].upper, 4.0);
  EXPECT_EQ(problem->variables[2].kind, VariableKind::binary);
  EXPECT_EQ(problem->variables[2].upper, 0.0);
  EXPECT_EQ(problem->options.absolute_gap, 0.5);
  EXPECT_EQ(problem->options.seconds, 3.0);
  EXPECT_EQ(problem->statements[0].relation, Relation::at_least);
  EXPECT_TRUE(problem->oddities.empty());
}

TEST(Language, unknown_options_are_noted) {
  std::string error;
  const auto problem = read(
      "OPTIONS{ nonsense: 3; allowcplex: 0; deltaT: 5; nonsenseofmorethantwentythree: 1; }\n"
      "OBJ: minimize 1;",
      error);
  ASSERT_TRUE(problem) << error;
  EXPECT_EQ(problem->oddities,
            (std::vector<std::string>{"unknown option nonsense",
                                      "unknown option nonsenseofmorethantwent"}));
}

TEST(Language, options_have_names_of_their_own) {
  std::set<std::string_view> names;
  for (const OptionRow& row : option_rows) {
    EXPECT_TRUE(names.insert(row.name).second) << row.name;
    EXPECT_EQ(find_option(row.name), &row);
    EXPECT_LE(row.lowest, row.highest);
  }
}

// --- oddities -----------------------------------------------------------------------------------

struct OddText {
  Oddity oddity;
  const char* text;
  const char* refused;  // the same elsewhere
  int statements;
};

class Oddities : public testing::TestWithParam<OddText> {};

TEST_P(Oddities, are_accepted_and_noted_where_the_format_has_them) {
  const OddText& row = GetParam();
  std::string error;
  const auto problem = read(row.text, error);
  ASSERT_TRUE(problem) << error;
  EXPECT_EQ(problem->oddities, std::vector<std::string>{std::string(row_of(row.oddity).name)});
  EXPECT_EQ(problem->statements.size(), static_cast<std::size_t>(row.statements));
  EXPECT_FALSE(read(row.refused, error));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Oddities,
    testing::Values(
        OddText{Oddity::empty_sum, "VARIABLES x; EQUATIONS e; e: == 2; OBJ: minimize x;",
                "VARIABLES x; EQUATIONS e; e: + == 2; OBJ: minimize x;", 1},
        OddText{Oddity::name_twice,
                "VARIABLES x; EQUATIONS trv_sselimit, trv_sselimit; trv_sselimit: x<=1;"
                "OBJ: minimize x;",
                "VARIABLES x; EQUATIONS trv_sselimit, trv_sselimit, trv_sselimit;"
                "trv_sselimit: x<=1; OBJ: minimize x;",
                1},
        OddText{Oddity::no_semicolon,
                "VARIABLES x; EQUATIONS trv_erra_1, trv_erra_2; trv_erra_1: 2 - ( x ) <= x\n"
                "trv_erra_2: 2 <= x OBJ: minimize x;",
                "VARIABLES x; EQUATIONS trv_erra1_1; trv_erra1_1: 2 - ( x ) <= x\n"
                "OBJ: minimize x;",
                2},
        OddText{Oddity::stray_bracket,
                "VARIABLES x; EQUATIONS trv_errb_1; trv_errb_1: -2 + x ) <= x; OBJ: minimize x;",
                "VARIABLES x; EQUATIONS trv_erra_1; trv_erra_1: -2 + x ) <= x; OBJ: minimize x;",
                1},
        OddText{Oddity::quote_before_number,
                "VARIABLES x; EQUATIONS trv_crc_1_1; trv_crc_1_1: (x/('4)) <= 0; OBJ: minimize x;",
                "VARIABLES x; EQUATIONS trv_crd_1_1; trv_crd_1_1: (x/('4)) <= 0; OBJ: minimize x;",
                1}),
    [](const auto& row) { return std::string(row_of(row.param.oddity).name); });

// --- limits -------------------------------------------------------------------------------------

std::string error_of(const std::string& text) {
  std::string error;
  EXPECT_FALSE(read(text, error));
  return error;
}

std::string repeated(std::string_view piece, std::size_t count) {
  std::string text;
  text.reserve(piece.size() * count);
  for (std::size_t i = 0; i < count; ++i) text += piece;
  return text;
}

// Deep inside any stack of calls.
TEST(Limits, of_brackets_are_far_above_what_is_written) {
  std::string error;
  const std::string head = "OBJ: minimize ";
  EXPECT_TRUE(read(head + repeated("(", 1000) + "1" + repeated(")", 1000) + ";", error)) << error;
  EXPECT_EQ(error_of(head + repeated("(", 1001) + "1" + repeated(")", 1001) + ";"),
            "line 1, column 1015: too many brackets are open: '('");
  EXPECT_EQ(error_of(head + repeated("abs(", 100000)),
            "line 1, column 4018: too many brackets are open: '('");
}

// Signs and powers stand on stacks of their own.
TEST(Limits, of_operators_are_those_of_memory) {
  std::string error;
  const auto problem = read("OBJ: minimize 1" + repeated("^1", 200000) + ";", error);
  ASSERT_TRUE(problem) << error;
  EXPECT_EQ(evaluate(problem->graph, problem->objective, {}), 1.0);
}

TEST(Limits, refuse_long_texts) {
  EXPECT_EQ(error_of(std::string(Limits{}.text + 1, ' ')), "the text is too long");
}

struct LimitCase {
  const char* name;
  Limits limits;
  const char* text;
  const char* error;  // of the text; with one more of all of the limits there is none
};

class LimitRows : public testing::TestWithParam<LimitCase> {};

TEST_P(LimitRows, are_told_with_their_place) {
  const LimitCase& row = GetParam();
  std::string error;
  EXPECT_FALSE(read_problem(row.text, "test", error, row.limits));
  EXPECT_EQ(error, row.error);
  Limits more = row.limits;
  for (std::size_t Limits::*limit : {&Limits::text, &Limits::brackets, &Limits::nodes,
                                     &Limits::operands, &Limits::variables, &Limits::statements}) {
    more.*limit += 1;
  }
  EXPECT_TRUE(read_problem(row.text, "test", error, more)) << error;
}

Limits with(std::size_t Limits::*limit, std::size_t value) {
  Limits limits;
  limits.*limit = value;
  return limits;
}

INSTANTIATE_TEST_SUITE_P(
    Rows, LimitRows,
    testing::Values(
        LimitCase{"text", with(&Limits::text, 15), "OBJ: minimize 1;", "the text is too long"},
        LimitCase{"brackets", with(&Limits::brackets, 2), "OBJ: minimize (2*((1)));",
                  "line 1, column 19: too many brackets are open: '('"},
        // x, the product, its sum with x: the text's end is where the sum is made.
        LimitCase{"nodes", with(&Limits::nodes, 2), "VARIABLES x; OBJ: minimize x*x+x;",
                  "line 1, column 33: the formulas are too large: ';'"},
        LimitCase{"nodes_of_powers", with(&Limits::nodes, 3), "VARIABLES x; OBJ: minimize x^x^x^x;",
                  "line 1, column 35: the formulas are too large: ';'"},
        LimitCase{"operands", with(&Limits::operands, 3), "VARIABLES x; OBJ: minimize x+x+x+x;",
                  "line 1, column 35: the formulas are too large: ';'"},
        LimitCase{"variables", with(&Limits::variables, 2),
                  "VARIABLES x, y;\nBINARY_VARIABLES z; OBJ: minimize 1;",
                  "line 2, column 18: too many variables: 'z'"},
        LimitCase{"options", with(&Limits::variables, 1), "OPTIONS{a:1; b:2;} OBJ: minimize 1;",
                  "line 1, column 14: too many variables: 'b'"},
        LimitCase{"statements", with(&Limits::statements, 1),
                  "VARIABLES x; e: x<=1; f: x<=2; EQUATIONS e, f; OBJ: minimize 1;",
                  "line 1, column 23: too many statements: 'f'"},
        LimitCase{"listed", with(&Limits::statements, 1),
                  "VARIABLES x; EQUATIONS e, f; e: x<=1; f: x<=2; OBJ: minimize 1;",
                  "line 1, column 27: too many statements: 'f'"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(Limits, a_large_problem_is_read_at_once) {
  std::string text = "VARIABLES ";
  for (int j = 0; j < 60; ++j) text += (j > 0 ? ", trv_beta_" : "trv_beta_") + std::to_string(j);
  text += ";\nOBJ: minimize\n";
  for (int i = 0; i < 1000; ++i) {
    text += i > 0 ? " + ((" : "   ((";
    text += std::to_string(i * 0.37) + ") - (\n";
    for (int j = 0; j < 60; ++j) {
      text += "  + (" + std::to_string(std::sin(i + 0.1 * j)) + ") * trv_beta_" +
              std::to_string(j) + "\n";
    }
    text += " ) ) ^2\n";
  }
  const auto start = std::chrono::steady_clock::now();
  std::string error;
  EXPECT_TRUE(read(text + ";", error)) << error;
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
  RecordProperty("seconds", std::to_string(time.count()));
  EXPECT_LT(time.count(), 5.0);  // of a busy machine
}

// --- texts cut short ----------------------------------------------------------------------------

TEST(Language, a_text_cut_anywhere_is_told) {
  const std::string text =
      "OPTIONS{ epsa: 0.5 ; }\nBINARY_VARIABLES y;\nPOSITIVE_VARIABLES p;\nVARIABLES x ;\n"
      "LOWER_BOUNDS{ x: -1e2 ; }\nEQUATIONS a, trv_errb_1 ;\na: (2.5) * y - x <= 0 ;\n"
      "trv_errb_1: -2 + exp(x) ) <= p\nOBJ: minimize ((1) - ( + (2)*x ))^2 / 3 ;";
  std::string error;
  ASSERT_TRUE(read(text, error)) << error;
  for (std::size_t length = 0; length < text.size(); ++length) {
    error.clear();
    EXPECT_FALSE(read(std::string_view(text).substr(0, length), error)) << length;
    EXPECT_TRUE(error.starts_with("line ")) << length << error;
    EXPECT_LT(error.size(), 100U);
  }
}

// Each byte of a text replaced by each of some others: a problem or a message.
TEST(Language, a_text_with_any_byte_changed_is_read_or_told) {
  const std::string text =
      "OPTIONS{ NumSol: 5 ; }\nBINARY_VARIABLES y;\nVARIABLES x ;\nUPPER_BOUNDS{ x: 3 ; }\n"
      "EQUATIONS a ;\na: (2.5) * y - x <= 0 ;\nOBJ: minimize abs(x)+1e2*y ;\nSTARTING_POINT{y:1;}";
  using namespace std::string_view_literals;
  constexpr std::string_view bytes = "\0\t \n\"'()*+,-./05:;<=>E^_ey{}~\x7f\x80\xff"sv;
  int refused = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    for (const char byte : bytes) {
      std::string changed = text;
      changed[i] = byte;
      std::string error;
      const bool is_read = read(changed, error).has_value();
      EXPECT_EQ(is_read, error.empty());
      refused += is_read ? 0 : 1;
    }
  }
  EXPECT_GT(refused, 2000);
}

}  // namespace
