#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "basis/formula/formula.h"
#include "text/number_edits.h"

namespace torve {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

const std::vector<std::string> names = {"x", "y", "e"};

/// A table whose only slot holds `text`.
FormulaTable compiled(std::string_view text) {
  FormulaTable table;
  int status = -1;
  fninit(table, 1, status);
  std::vector<std::string> report;
  fnparse(table, 0, text, names, status, &report);
  EXPECT_EQ(status, 0) << text << '\n' << (report.empty() ? "" : report[0]);
  return table;
}

struct ValueRow {
  std::string_view name;
  std::string_view text;
  double value;  // at x = 0.75, y = -2, e = 3
};

class FormulaValue : public testing::TestWithParam<ValueRow> {};

TEST_P(FormulaValue, is_that_of_the_closed_form) {
  FormulaTable table = compiled(GetParam().text);
  const double value = fneval(table, 0, std::array{0.75, -2.0, 3.0});
  EXPECT_DOUBLE_EQ(value, GetParam().value);
  EXPECT_EQ(table.fnerrtype, 0);
  EXPECT_EQ(fnerrmsg(table), "");
}

const ValueRow value_rows[] = {
    {"power", "2**3", 8.0},
    {"power_of_power", "2 ^ 3 ^ 2", 64.0},
    {"minus_over_power", "-2^2", -4.0},
    {"power_of_minus", "(-2)^2", 4.0},
    {"left_difference", "10-3-2", 5.0},
    {"left_quotient", "100/5/2", 10.0},
    {"exponent", "1.5e-3+x", 0.7515},
    {"no_exponent", "x-e-3", -5.25},
    {"pi", "2*pi", 6.283185307179586},
    {"abs", "abs(y)", 2.0},
    {"exp", "exp(1)", 2.718281828459045},
    {"log", "log(2)", 0.6931471805599453},
    {"log_of_exp", "log(exp(x))", 0.75},
    {"log10", "log10(1000)", 3.0},
    {"sqrt", "sqrt(e*e+16)", 5.0},
    {"sqrt_of_zero", "sqrt(0)", 0.0},
    {"sinh", "sinh(x)", (std::exp(0.75) - std::exp(-0.75)) / 2.0},
    {"cosh", "cosh(x)", (std::exp(0.75) + std::exp(-0.75)) / 2.0},
    {"tanh", "tanh(x)", (std::exp(1.5) - 1.0) / (std::exp(1.5) + 1.0)},
    {"sin", "sin(pi/6)", 0.5},
    {"cos", "cos(pi)", -1.0},
    {"tan", "tan(pi/4)", 1.0},
    {"asin", "asin(1)", std::numbers::pi / 2.0},
    {"asin_least", "asin(-1)", -std::numbers::pi / 2.0},
    {"acos", "acos(-1)", std::numbers::pi},
    {"atan", "atan(1)", std::numbers::pi / 4.0},
    {"pythagoras", "sin(x)^2+cos(x)^2", 1.0},
    {"polynomial", "3*x^2-2*x+1", 1.1875},
    {"ratio", "(x+y)/(x-y)", -1.25 / 2.75},
    {"negative_to_whole_power", "y^3", -8.0},
    {"negative_to_negative_whole_power", "y^(-3)", -0.125},
    {"negative_to_power_zero", "y^0", 1.0},
    {"zero_to_power_zero", "0^0", 1.0},
    {"zero_to_whole_power", "0^2", 0.0},
    {"positive_to_fraction", "16^0.25", 2.0},
    {"overflow_is_no_error", "exp(1000)", infinity},
    {"overflow_of_power_is_no_error", "10^400", infinity},
    {"overflow_of_product_is_no_error", "-1e308*100", -infinity},
};

INSTANTIATE_TEST_SUITE_P(Rows, FormulaValue, testing::ValuesIn(value_rows),
                         [](const auto& row) { return std::string(row.param.name); });

// Were sum and difference of equal precedence, the first two would overflow like the third.
TEST(FormulaRounding, follows_the_order_of_operators) {
  const std::array<double, 3> values{1e308, 1e308, 1e308};
  FormulaTable table = compiled("x+y-e");
  EXPECT_EQ(fneval(table, 0, values), 1e308);
  table = compiled("x*y/e");
  EXPECT_EQ(fneval(table, 0, values), 1e308);
  table = compiled("(x+y)-e");
  EXPECT_EQ(fneval(table, 0, values), infinity);
}

struct FaultRow {
  std::string_view name;
  std::string_view text;
  double x;
  int fnerrtype;
  std::string_view message;
};

class FormulaFault : public testing::TestWithParam<FaultRow> {};

TEST_P(FormulaFault, gives_zero_and_its_kind) {
  FormulaTable table = compiled(GetParam().text);
  EXPECT_EQ(fneval(table, 0, std::array{GetParam().x, 0.0, 0.0}), 0.0);
  EXPECT_EQ(table.fnerrtype, GetParam().fnerrtype);
  EXPECT_EQ(fnerrmsg(table), GetParam().message);
}

constexpr std::string_view division = "Division by zero";
constexpr std::string_view root = "Argument of SQRT negative";
constexpr std::string_view logarithm = "Argument of LOG <= 0";
constexpr std::string_view arc = "Argument of ASIN or ACOS illegal";
constexpr std::string_view power = "-ve number to fractional power";

constexpr FaultRow fault_rows[] = {
    {"division", "1/x", 0.0, 1, division},
    {"division_by_minus_zero", "1/x", -0.0, 1, division},
    {"zero_by_zero", "x/x", 0.0, 1, division},
    {"zero_to_negative_whole", "x^(-1)", 0.0, 1, division},
    {"zero_to_negative_fraction", "x^(-0.5)", 0.0, 1, division},
    {"zero_to_fraction", "x^0.5", 0.0, 5, power},
    {"negative_to_fraction", "x^1.5", -4.0, 5, power},
    {"negative_to_negative_fraction", "x^(-1.5)", -4.0, 5, power},
    {"negative_to_nearly_whole", "x^2.0000000000000004", -4.0, 5, power},
    {"root", "sqrt(x)", -1e-300, 2, root},
    {"logarithm_of_zero", "log(x)", 0.0, 3, logarithm},
    {"logarithm_of_negative", "log(x)", -1.0, 3, logarithm},
    {"decimal_logarithm_of_zero", "log10(x)", 0.0, 3, logarithm},
    {"decimal_logarithm_of_negative", "log10(x)", -1.0, 3, logarithm},
    {"asin_above", "asin(x)", 1.0000000000000002, 4, arc},
    {"asin_below", "asin(x)", -1.0000000000000002, 4, arc},
    {"acos_above", "acos(x)", 1.0000000000000002, 4, arc},
    {"acos_below", "acos(x)", -2.0, 4, arc},
    {"deep_in_the_formula", "2+3*exp(1+log(x)/2)", -1.0, 3, logarithm},
    {"first_of_two", "sqrt(x)+log(x)", -1.0, 2, root},
    {"times_zero_no_excuse", "0*log(x)", 0.0, 3, logarithm},
};

INSTANTIATE_TEST_SUITE_P(Rows, FormulaFault, testing::ValuesIn(fault_rows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(FormulaNaN, passes_through_every_function_without_a_fault) {
  for (const std::string_view text :
       {"x+1",     "1-x",    "2*x",    "x/2",      "2/x",     "x^2",     "x^0.5",   "2^x",
        "-x",      "abs(x)", "exp(x)", "log10(x)", "log(x)",  "sqrt(x)", "sinh(x)", "cosh(x)",
        "tanh(x)", "sin(x)", "cos(x)", "tan(x)",   "asin(x)", "acos(x)", "atan(x)"}) {
    FormulaTable table = compiled(text);
    EXPECT_TRUE(std::isnan(fneval(table, 0, std::array{nan, 0.0, 0.0}))) << text;
    EXPECT_EQ(table.fnerrtype, 0) << text;
  }
}

TEST(FormulaEvaluation, starts_afresh_after_a_fault_and_in_the_same_memory) {
  FormulaTable table = compiled("1+2*(3+1/x)");
  const double* const stack = table.slots[0].stack.data();
  EXPECT_EQ(fneval(table, 0, std::array{0.0, 0.0, 0.0}), 0.0);
  EXPECT_EQ(table.fnerrtype, 1);
  EXPECT_EQ(fneval(table, 0, std::array{0.5, 0.0, 0.0}), 11.0);
  EXPECT_EQ(table.fnerrtype, 0);
  EXPECT_EQ(fnerrmsg(table), "");
  EXPECT_EQ(fneval(table, 0, std::array{1.0, 0.0, 0.0}), 9.0);
  EXPECT_EQ(table.slots[0].stack.data(), stack);
  EXPECT_EQ(table.slots[0].stack.size(), table.slots[0].stack_depth);
}

// An evaluator of its own, that works on the text by splitting it at operators from the right:
// slow, short, and with nothing in common with the compiler.

struct Outcome {
  double value = 0.0;
  int fault = 0;
};

Outcome computed(char op, double a, double b) {
  switch (op) {
    case '+':
      return {a + b};
    case '-':
      return {a - b};
    case '*':
      return {a * b};
    case '/':
      return b == 0.0 ? Outcome{0.0, 1} : Outcome{a / b};
    default:
      if (a == 0.0 && b < 0.0) return {0.0, 1};
      if (a <= 0.0 && std::floor(b) != b) return {0.0, 5};
      return {std::pow(a, b)};
  }
}

Outcome called(std::string_view function, double x) {
  if (function == "log" || function == "log10") {
    if (x <= 0.0) return {0.0, 3};
    return {function == "log" ? std::log(x) : std::log10(x)};
  }
  if (function == "sqrt") return x < 0.0 ? Outcome{0.0, 2} : Outcome{std::sqrt(x)};
  if (function == "acos") return std::fabs(x) > 1.0 ? Outcome{0.0, 4} : Outcome{std::acos(x)};
  return {function == "abs" ? std::fabs(x) : std::sin(x)};
}

bool is_one_of(char c, std::string_view set) {
  return set.find(c) != std::string_view::npos;
}

/// Whether the sign at `at` belongs to the exponent of a number.
bool is_exponent_sign(std::string_view text, std::size_t at) {
  if (at < 2 || at + 1 == text.size() || !is_one_of(text[at - 1], "eEdD")) return false;
  if (!is_one_of(text[at + 1], "0123456789")) return false;
  std::size_t from = at - 1;
  while (from > 0 && is_one_of(text[from - 1], "0123456789.")) --from;
  return from < at - 1 && (from == 0 || is_one_of(text[from - 1], "+-*/^("));
}

/// Where the last `op` outside parentheses stands that has two operands; 0 when there is none.
std::size_t last_split(std::string_view text, char op) {
  int depth = 0;
  for (std::size_t i = text.size(); i-- > 1;) {
    depth += text[i] == ')' ? 1 : text[i] == '(' ? -1 : 0;
    if (depth != 0 || text[i] != op) continue;
    if (!is_exponent_sign(text, i)) return i;
  }
  return 0;
}

bool is_parenthesised(std::string_view text) {
  if (text.front() != '(' || text.back() != ')') return false;
  int depth = 0;
  for (std::size_t i = 0; i + 1 < text.size(); ++i) {
    depth += text[i] == '(' ? 1 : text[i] == ')' ? -1 : 0;
    if (depth == 0) return false;
  }
  return true;
}

Outcome reference(std::string_view text, const std::vector<double>& values);

Outcome negated(std::string_view text, const std::vector<double>& values) {
  Outcome outcome = reference(text, values);
  outcome.value = -outcome.value;
  return outcome;
}

Outcome reference_leaf(std::string_view text, const std::vector<double>& values) {
  const std::size_t parenthesis = text.find('(');
  if (parenthesis != std::string_view::npos) {
    const Outcome argument = reference(text.substr(parenthesis), values);
    return argument.fault != 0 ? argument : called(text.substr(0, parenthesis), argument.value);
  }
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (names[i] == text) return {values[i]};
  }
  if (text == "pi") return {std::numbers::pi};
  std::string number(text);
  for (char& c : number) c = c == 'd' || c == 'D' ? 'e' : c;
  Outcome outcome;
  std::from_chars(number.data(), number.data() + number.size(), outcome.value);
  return outcome;
}

Outcome reference(std::string_view text, const std::vector<double>& values) {
  if (text.front() == '+') return reference(text.substr(1), values);
  if (is_parenthesised(text)) return reference(text.substr(1, text.size() - 2), values);
  for (const char op : std::string_view("+-*/^")) {
    const std::size_t split = last_split(text, op);
    if (split == 0) continue;
    if (text.front() == '-' && is_one_of(op, "*/^")) return negated(text.substr(1), values);
    const Outcome left = reference(text.substr(0, split), values);
    if (left.fault != 0) return left;
    const Outcome right = reference(text.substr(split + 1), values);
    if (right.fault != 0) return right;
    return computed(op, left.value, right.value);
  }
  if (text.front() == '-') return negated(text.substr(1), values);
  return reference_leaf(text, values);
}

/// Random formulas without blanks, right in their syntax.
class RandomFormulas {
 public:
  std::string next() { return expression(0); }
  double value() { return std::array{-2.0, -0.5, 0.0, 0.25, 1.0, 3.0}[pick(6)]; }

 private:
  std::size_t pick(std::size_t count) { return static_cast<std::size_t>(bits_() % count); }

  std::string expression(int depth) {
    std::string text = std::array{"", "", "-", "+"}[pick(4)] + operand(depth);
    for (std::size_t more = pick(5); more > 0; --more) {
      text += "+-*/^"[pick(5)];
      text += operand(depth);
    }
    return text;
  }

  std::string operand(int depth) {
    const std::size_t kind = pick(depth < 3 ? 10 : 7);
    if (kind < 3) return names[kind];
    if (kind < 6)
      return std::array{"2", "1.5", "0.5", "3e-1", "2.d+0", ".5E1", "10e-1", "0", "1"}[pick(9)];
    if (kind == 6) return "pi";
    const char* const functions[] = {"abs", "log10", "log", "sqrt", "sin", "acos"};
    return (kind == 7 ? functions[pick(6)] : "") + ("(" + expression(depth + 1) + ")");
  }

  std::mt19937 bits_{4711};
};

TEST(FormulaProperty, random_formulas_agree_with_splitting_the_text) {
  RandomFormulas formulas;
  std::array<int, 6> seen{};
  for (int i = 0; i < 20'000; ++i) {
    const std::string text = formulas.next();
    const std::vector<double> values = {formulas.value(), formulas.value(), formulas.value()};
    FormulaTable table = compiled(text);
    const double value = fneval(table, 0, values);
    const Outcome expected = reference(text, values);
    ASSERT_EQ(table.fnerrtype, expected.fault) << text;
    ++seen.at(static_cast<std::size_t>(expected.fault));
    if (expected.fault != 0 || std::isnan(expected.value)) {
      ASSERT_EQ(std::isnan(value), expected.fault == 0) << text;
    } else {
      ASSERT_EQ(std::bit_cast<std::uint64_t>(value), std::bit_cast<std::uint64_t>(expected.value))
          << text << " gives " << free_form(value) << ", not " << free_form(expected.value);
    }
  }
  // The formulas have to reach every outcome often enough to tell something.
  for (const int times : seen) EXPECT_GT(times, 100);
  EXPECT_GT(seen[0], 5'000);
}

}  // namespace
}  // namespace torve
