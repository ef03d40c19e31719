#include "basis/model_text.h"

#include <gtest/gtest.h>

#include <array>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "support/rows.h"

namespace torve {
namespace {

using test::RowName;

// --- numbers ------------------------------------------------------------------------------------

struct NumberCase {
  std::string_view name;
  double value;
  std::string_view power;  // by numtext
  std::string_view scale;  // by scaletext
};

void PrintTo(const NumberCase& row, std::ostream* out) {
  *out << row.name;
}

class Number : public testing::TestWithParam<NumberCase> {};

TEST_P(Number, in_a_column_text) {
  EXPECT_EQ(numtext(GetParam().value), GetParam().power);
  EXPECT_EQ(scaletext(GetParam().value), GetParam().scale);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Number,
    testing::Values(NumberCase{"whole", 2.0, "2", "2."},
                    NumberCase{"negative_whole", -3.0, "-3", "-3."},
                    NumberCase{"zero", 0.0, "0", "0."}, NumberCase{"fraction", 2.5, "2.5", "2.5"},
                    NumberCase{"below_one", 0.5, "0.5", "0.5"},
                    NumberCase{"negative_below_one", -0.75, "-.75", "-.75"},
                    NumberCase{"third", 1.0 / 3.0, "0.333333333333", "0.333333333333"},
                    NumberCase{"near_whole_from_above", 2.0000005, "2", "2.0000005"},
                    // The remainder of a value just below a whole number isn't small.
                    NumberCase{"near_whole_from_below", 1.9999995, "1.9999995", "1.9999995"},
                    NumberCase{"hundred", 100.0, "100", "100."},
                    NumberCase{"largest_whole", 2147483647.0, "2147483647", "2147483647."},
                    NumberCase{"beyond_whole", 2147483648.0, "2147483648.", "2147483648."},
                    NumberCase{"twelve_digits", 123456789012.0, "123456789012.", "123456789012."},
                    NumberCase{"exponent", 1e13, "0.100000000000E+014", "0.100000000000E+014"},
                    // The zero that ends an exponent goes like any other.
                    NumberCase{"exponent_of_ten", 5e-11, "0", "0.500000000000E-01"},
                    NumberCase{"large_exponent_of_ten", 1.5e19, "0.150000000000E+02",
                               "0.150000000000E+02"},
                    NumberCase{"small", 0.05, "0.500000000000E-001", "0.500000000000E-001"}),
    RowName());

// --- terms --------------------------------------------------------------------------------------

struct ReplaceCase {
  std::string_view name;
  std::string_view source, find, replacement, result;
};

void PrintTo(const ReplaceCase& row, std::ostream* out) {
  *out << row.name;
}

class Replace : public testing::TestWithParam<ReplaceCase> {};

TEST_P(Replace, spares_what_is_part_of_a_label) {
  const ReplaceCase& row = GetParam();
  EXPECT_EQ(replaceterm(row.source, row.find, row.replacement), row.result);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Replace,
    testing::Values(
        ReplaceCase{"at_both_ends", "log", "log", "ln", "ln"},
        ReplaceCase{"function", "log(x1)", "log", "ln", "ln(x1)"},
        ReplaceCase{"head_of_label", "log1", "log", "ln", "log1"},
        ReplaceCase{"tail_of_label", "catalog", "log", "ln", "catalog"},
        ReplaceCase{"with_underscore", "log_x", "log", "ln", "log_x"},
        ReplaceCase{"between_operators", "2*log+log/log^log%log=log-log", "log", "ln",
                    "2*ln+ln/ln^ln%ln=ln-ln"},
        ReplaceCase{"in_brackets", "(log)", "log", "ln", "(ln)"},
        ReplaceCase{"behind_bracket", ")log", "log", "ln", ")log"},
        ReplaceCase{"between_tabs", "\tlog\t", "log", "ln", "\tln\t"},
        ReplaceCase{"behind_comma", "(x,log)", "log", "ln", "(x,log)"},
        ReplaceCase{"label_and_function", "log(catalog)+log", "log", "ln", "ln(catalog)+ln"},
        ReplaceCase{"stars_anywhere", "x1**2*(x2)**3", "**", "^", "x1^2*(x2)^3"},
        ReplaceCase{"three_stars", "a***b", "**", "^", "a^*b"},
        ReplaceCase{"replacement_is_not_searched", "ln ln", "ln", "ln ln", "ln ln ln ln"},
        ReplaceCase{"nothing_there", "x1+x2", "log", "ln", "x1+x2"},
        ReplaceCase{"empty", "", "log", "ln", ""}),
    RowName());

struct FormCase {
  std::string_view name;
  int funform;
  std::string_view label, power, result;
};

void PrintTo(const FormCase& row, std::ostream* out) {
  *out << row.name;
}

class Form : public testing::TestWithParam<FormCase> {};

TEST_P(Form, of_a_column) {
  const FormCase& row = GetParam();
  EXPECT_EQ(applyfunform(row.funform, row.label, row.power, "present"), row.result);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Form,
    testing::Values(FormCase{"label", 1, "x1**2", "power(x1,2)", "x1**2"},
                    FormCase{"power", 2, "x1**2", "power(x1,2)", "power(x1,2)"},
                    FormCase{"caret", 3, "x1**2", "power(x1,2)", "x1^2"},
                    FormCase{"caret_keeps_log", 3, "log(x1)", "log(x1)", "log(x1)"},
                    FormCase{"pow", 4, "x1**2", "power(x1,2)", "pow(x1,2)"},
                    FormCase{"pow_of_root", 4, "(x1*x2)**0.5", "(x1*x2)**0.5", "(x1*x2)**0.5"},
                    FormCase{"caret_and_ln", 5, "x1**2", "power(x1,2)", "x1^2"},
                    FormCase{"ln", 5, "log(x1)", "log(x1)", "ln(x1)"},
                    FormCase{"label_called_log", 5, "log", "log", "ln"},
                    FormCase{"label_with_log", 5, "catalog**2", "power(catalog,2)", "catalog^2"},
                    FormCase{"label_again", 6, "log(x1)**2", "power(log(x1),2)", "log(x1)**2"},
                    FormCase{"below_range", 0, "x1**2", "power(x1,2)", "present"},
                    FormCase{"above_range", 7, "x1**2", "power(x1,2)", "present"}),
    RowName());

// --- model lines --------------------------------------------------------------------------------

// Coefficients of x1, x2^2 and, if it is on, the constant; an empty mask chooses all that aren't 0.
struct LineCase {
  std::string_view name;
  std::vector<double> beta;
  bool constant;
  bool zisint;
  std::string_view screen;
  std::string_view listing;
};

void PrintTo(const LineCase& row, std::ostream* out) {
  *out << row.name;
}

class ModelLine : public testing::TestWithParam<LineCase> {};

TEST_P(ModelLine, is_one_line_of_algebra) {
  const LineCase& row = GetParam();
  const std::array<std::string, 3> names = {"x1", "x2^2", row.constant ? "1.00" : "x3"};
  std::array<bool, 3> chosen{};
  for (std::size_t j = 0; j < 3; ++j) chosen[j] = row.beta[j] != 0.0;
  const ModelTerms terms{"z", row.zisint, row.constant, chosen, row.beta, names};
  EXPECT_EQ(writemodel(terms, ModelDigits::screen), row.screen);
  EXPECT_EQ(writemodel(terms, ModelDigits::full), row.listing);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ModelLine,
    testing::Values(
        LineCase{"constant_alone",
                 {0, 0, 3.5},
                 true,
                 false,
                 " z = 3.50",
                 " z = 3.5000000000000000000000"},
        LineCase{"last_column_without_constant",
                 {0, 0, 3.5},
                 false,
                 false,
                 " z = 3.50 * x3",
                 " z = 3.5000000000000000000000 * x3"},
        LineCase{"sum",
                 {0.5, 2, 1},
                 true,
                 false,
                 " z = 0.50 * x1 + 2.00 * x2^2 + 1.00",
                 " z = 0.50000000000000000000000 * x1 + 2.0000000000000000000000 * x2^2 + "
                 "1.0000000000000000000000"},
        LineCase{"minus_one_first", {-1, 0, 0}, true, false, " z =  - x1", " z =  - x1"},
        LineCase{
            "ones_have_no_number", {1, -1, 0}, true, false, " z = x1 - x2^2", " z = x1 - x2^2"},
        LineCase{"minus_behind",
                 {0.5, 0, -2},
                 true,
                 false,
                 " z = 0.50 * x1 - 2.00",
                 " z = 0.50000000000000000000000 * x1 - 2.0000000000000000000000"},
        LineCase{"small_on_screen",
                 {0.004, 0, 0},
                 true,
                 false,
                 " z = 0.00 * x1",
                 " z = 0.40000000000000000832667E-002 * x1"},
        LineCase{"all_digits",
                 {0.1, 0, 0},
                 true,
                 false,
                 " z = 0.10 * x1",
                 " z = 0.10000000000000000555112 * x1"},
        LineCase{"large",
                 {1e25, 0, 0},
                 true,
                 false,
                 " z = ************ * x1",
                 " z = 0.10000000000000000905970E+026 * x1"},
        LineCase{"whole_output",
                 {2, 0, 0},
                 true,
                 true,
                 " z =  nint( 2.00 * x1 )",
                 " z =  nint( 2.0000000000000000000000 * x1 )"},
        LineCase{"empty", {0, 0, 0}, true, false, " z = 0.00", " z = 0.00"},
        LineCase{"empty_whole_output",
                 {0, 0, 0},
                 true,
                 true,
                 " z =  nint(  )0.00",
                 " z =  nint(  )0.00"}),
    RowName());

TEST(ModelLine, trims_the_label) {
  const std::array<std::string, 1> names = {"x1 "};
  const std::array<bool, 1> chosen = {true};
  const std::array<double, 1> beta = {2.0};
  const ModelTerms terms{"flow  ", false, false, chosen, beta, names};
  EXPECT_EQ(writemodel(terms, ModelDigits::screen), " flow = 2.00 * x1");
}

}  // namespace
}  // namespace torve
