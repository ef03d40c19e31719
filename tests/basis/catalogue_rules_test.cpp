// What removes columns: the power lists, unsafe powers, bounds, excluded inputs, and the data.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "basis/catalogue.h"
#include "basis/catalogue_row.h"
#include "support/rows.h"
#include "support/small_problem.h"

namespace torve::test {
namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

bool contains(const std::string& text, std::string_view part) {
  return text.find(part) != std::string::npos;
}

// The place of a column in the catalogue; fails the test when there is none.
std::size_t place_of(SmallRun& run, std::string_view label) {
  const std::vector<std::string>& labels = run.state().basis.basislabel;
  for (std::size_t j = 0; j < labels.size(); ++j) {
    if (labels[j] == label) return j;
  }
  ADD_FAILURE() << "no column " << label;
  return 0;
}

bool is_active(SmallRun& run, std::string_view label) {
  return run.state().basis.basisactive[place_of(run, label)];
}

// --- powers -------------------------------------------------------------------------------------

struct PowerCase {
  std::string_view name;
  double base, exponent, limit;
  bool unsafe;
};

void PrintTo(const PowerCase& row, std::ostream* out) {
  *out << row.name;
}

class Power : public testing::TestWithParam<PowerCase> {};

TEST_P(Power, is_formed_or_not) {
  const PowerCase& row = GetParam();
  EXPECT_EQ(powunsafe(row.base, row.exponent, row.limit), row.unsafe);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Power,
    testing::Values(
        PowerCase{"plain", 2, 3, 1e10, false}, PowerCase{"base_nan", nan, 2, 1e10, true},
        PowerCase{"exponent_nan", 2, nan, 1e10, true}, PowerCase{"limit_nan", 2, 2, nan, true},
        PowerCase{"base_zero", 0, 2, 1e10, true}, PowerCase{"base_minus_zero", -0.0, 2, 1e10, true},
        PowerCase{"exponent_zero", 2, 0, 1e10, true}, PowerCase{"exponent_one", 2, 1, 1e10, true},
        PowerCase{"exponent_near_one", 2, 1.0000001, 1e10, false},
        PowerCase{"limit_zero", 2, 2, 0, true}, PowerCase{"limit_negative", 2, 2, -5, true},
        PowerCase{"negative_whole", -2, 3, 1e10, false},
        PowerCase{"negative_whole_below_zero", -2, -3, 1e10, false},
        PowerCase{"negative_fraction", -2, 0.5, 1e10, true},
        PowerCase{"negative_isnt_measured", -1e9, 4, 1e10, false},
        PowerCase{"negative_beyond_32_bits", -2, 3e9, 1e10, true},
        PowerCase{"below_limit", 99999, 2, 1e10, false},
        PowerCase{"above_limit", 100001, 2, 1e10, true},
        PowerCase{"small_base_negative_exponent", 1e-6, -2, 1e10, true},
        PowerCase{"small_base_positive_exponent", 1e-6, 2, 1e10, false},
        PowerCase{"limit_of_its_own", 3, 2, 8.9, true}),
    RowName());

struct ListCase {
  std::string_view name;
  std::vector<double> powers, kept, dropped;
};

void PrintTo(const ListCase& row, std::ostream* out) {
  *out << row.name;
}

class PowerList : public testing::TestWithParam<ListCase> {};

TEST_P(PowerList, is_sorted_and_single) {
  std::vector<double> powers = GetParam().powers;
  EXPECT_EQ(drop_duplicate_powers(powers), GetParam().dropped);
  EXPECT_EQ(powers, GetParam().kept);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PowerList,
    testing::Values(ListCase{"empty", {}, {}, {}}, ListCase{"one", {2}, {2}, {}},
                    ListCase{"unsorted", {3, -1, 2}, {-1, 2, 3}, {}},
                    ListCase{"twice", {2, 3, 2}, {2, 3}, {2}},
                    ListCase{"three_times", {2, 2, 2}, {2}, {2, 2}},
                    ListCase{"nearly_equal", {2, 2.00000000005}, {2}, {2.00000000005}},
                    ListCase{"apart", {2, 2.000000001}, {2, 2.000000001}, {}}),
    RowName());

// Inputs between 1 and 2, so that data alone remove nothing.
SmallProblem between_one_and_two(const std::string& options) {
  SmallProblem problem;
  problem.x = {{1.1, 1.9, 1.3}, {1.4, 1.2, 1.8}, {1.7, 1.6, 1.2}, {1.9, 1.3, 1.5}, {1.2, 1.5, 1.7}};
  for (const auto& row : problem.x) problem.z.push_back({row[0] * row[1]});
  problem.xmin = {1, 1, 1};
  problem.xmax = {2, 2, 2};
  problem.options = options + "maxterms 1\n";
  return problem;
}

constexpr std::string_view zeros_go =
    "Warning: powers of 0 will be discarded from the set of basis functions.\n";
constexpr std::string_view ones_go =
    "Warning: powers of 1 will be discarded from the set of basis functions.\n";
constexpr std::string_view use_constant = "Hint: use option CONSTANT instead of powers of 0.\n";
constexpr std::string_view use_linfcns = "Hint: use option LINFCNS instead of powers of 1.\n";

TEST(MonomialPowers, lose_zeros_and_ones) {
  SmallRun run(between_one_and_two("monomialpower 0 1 2\n").text());
  EXPECT_EQ(run.state().basis.monomialpower, std::vector<double>{2.0});
  EXPECT_EQ(run.state().sizes.mono, 1);
  EXPECT_EQ(run.state().sizes.nbas, 3 + 3 + 1);
  EXPECT_TRUE(contains(run.screen(), std::string(zeros_go) + std::string(ones_go)));
  EXPECT_FALSE(contains(run.screen(), "Hint"));
}

TEST(MonomialPowers, hint_at_what_they_stand_for) {
  SmallRun run(between_one_and_two("monomialpower 2 0 1\nconstant 0\nlinfcns 0\n").text());
  EXPECT_TRUE(contains(run.screen(), std::string(zeros_go) + std::string(use_constant) +
                                         std::string(ones_go) + std::string(use_linfcns)));
}

TEST(Powers, are_told_when_they_stand_twice) {
  SmallRun run(between_one_and_two("monomialpower 3 2 3\nmulti2power 2.5 2.5\nmulti3power 3 2 3\n"
                                   "ratiopower -1 2 -1\n")
                   .text());
  for (const std::string_view line : {"Warning: eliminating duplicate monomial power 3\n",
                                      "Warning: eliminating duplicate multi2power 2.5\n",
                                      "Warning: eliminating duplicate multi3power 3\n",
                                      "Warning: eliminating duplicate ratio power -1\n"}) {
    EXPECT_TRUE(contains(run.screen(), line)) << line;
  }
  EXPECT_EQ(run.state().sizes.nbas, 3 + 6 + 3 + 2 + 12 + 1);
}

// Zeros and ones go from the monomials alone.
TEST(Powers, of_zero_stay_in_products) {
  SmallRun run(between_one_and_two("multi2power 0\nratiopower 0\nnumlimitbasis 0\n").text());
  EXPECT_EQ(run.state().basis.basislabel[3], "(X1*X2)**0");
  EXPECT_EQ(run.state().basis.basispower[6], "power(x1/x2,0)");
  EXPECT_FALSE(contains(run.screen(), "discarded"));
}

// --- bounds -------------------------------------------------------------------------------------

struct BoundCase {
  std::string_view name;
  std::string_view options;
  std::array<double, 3> xmin, xmax;
  std::string_view label;
  bool active;
};

void PrintTo(const BoundCase& row, std::ostream* out) {
  *out << row.name;
}

class Bounds : public testing::TestWithParam<BoundCase> {};

TEST_P(Bounds, remove_what_can_not_be_formed) {
  const BoundCase& row = GetParam();
  SmallProblem problem = between_one_and_two(std::string(row.options));
  problem.xmin.assign(row.xmin.begin(), row.xmin.end());
  problem.xmax.assign(row.xmax.begin(), row.xmax.end());
  SmallRun run(problem.text());
  EXPECT_EQ(is_active(run, row.label), row.active);
  const std::string warning = "Warning: eliminating basis " + std::string(row.label) + "\n";
  EXPECT_EQ(contains(run.screen(), warning), !row.active);
  // The screen isn't made without the option; the data are good for every column but powers of 1.
  problem.options += "numlimitbasis 0\n";
  SmallRun lenient(problem.text());
  EXPECT_TRUE(is_active(lenient, row.label));
  EXPECT_FALSE(contains(lenient.screen(), "eliminating"));
}

INSTANTIATE_TEST_SUITE_P(
    Exponentials, Bounds,
    testing::Values(BoundCase{"below", "expfcns 1\n", {1, 1, 1}, {23.02, 2, 2}, "exp(X1)", true},
                    BoundCase{"above", "expfcns 1\n", {1, 1, 1}, {23.03, 2, 2}, "exp(X1)", false},
                    BoundCase{
                        "other_input", "expfcns 1\n", {1, 1, 1}, {23.03, 2, 2}, "exp(X2)", true}),
    RowName());

INSTANTIATE_TEST_SUITE_P(
    Monomials, Bounds,
    testing::Values(
        BoundCase{"safe", "monomialpower 2\n", {1, 1, 1}, {2, 2, 2}, "X1**2", true},
        BoundCase{"lower_zero", "monomialpower 2\n", {0, 1, 1}, {2, 2, 2}, "X1**2", false},
        BoundCase{"negative_whole", "monomialpower 2\n", {-1, 1, 1}, {2, 2, 2}, "X1**2", true},
        BoundCase{"negative_root", "monomialpower 0.5\n", {-1, 1, 1}, {2, 2, 2}, "X1**0.5", false},
        BoundCase{"below_limit", "monomialpower 2\n", {1, 1, 1}, {99999, 2, 2}, "X1**2", true},
        BoundCase{"above_limit", "monomialpower 2\n", {1, 1, 1}, {100001, 2, 2}, "X1**2", false}),
    RowName());

INSTANTIATE_TEST_SUITE_P(
    Products, Bounds,
    testing::Values(
        BoundCase{"pair", "multi2power 2\n", {1, 1, 1}, {2, 2, 2}, "(X1*X2)**2", true},
        BoundCase{"pair_of_one", "multi2power 1\n", {1, 1, 1}, {2, 2, 2}, "X1*X2", false},
        BoundCase{"pair_with_zero", "multi2power 2\n", {1, 0, 1}, {2, 2, 2}, "(X1*X2)**2", false},
        BoundCase{
            "mixed_corner", "multi2power 0.5\n", {1, -2, 1}, {2, 2, 2}, "(X1*X2)**0.5", false},
        BoundCase{
            "two_negative", "multi2power 0.5\n", {-3, -2, 1}, {-1, -1, 2}, "(X1*X2)**0.5", true},
        BoundCase{
            "pair_too_large", "multi2power 2\n", {1, 1, 1}, {400, 300, 2}, "(X1*X2)**2", false},
        BoundCase{"triple", "multi3power 2\n", {1, 1, 1}, {2, 2, 2}, "(X1*X2*X3)**2", true},
        BoundCase{"triple_of_one", "multi3power 1\n", {1, 1, 1}, {2, 2, 2}, "X1*X2*X3", false},
        BoundCase{
            "triple_corner", "multi3power 0.5\n", {1, 1, -2}, {2, 2, 2}, "(X1*X2*X3)**0.5", false},
        BoundCase{"triple_too_large",
                  "multi3power 2\n",
                  {1, 1, 1},
                  {100, 40, 26},
                  "(X1*X2*X3)**2",
                  false}),
    RowName());

INSTANTIATE_TEST_SUITE_P(
    Ratios, Bounds,
    testing::Values(
        BoundCase{"ratio", "ratiopower 2\n", {1, 1, 1}, {2, 2, 2}, "(X1/X2)**2", true},
        BoundCase{"of_one", "ratiopower 1\n", {1, 1, 1}, {2, 2, 2}, "X1/X2", false},
        BoundCase{
            "lower_denominator_zero", "ratiopower 2\n", {1, 0, 1}, {2, 2, 2}, "(X1/X2)**2", false},
        BoundCase{
            "upper_denominator_zero", "ratiopower 2\n", {1, -2, 1}, {2, 0, 2}, "(X1/X2)**2", false},
        BoundCase{"numerator_zero", "ratiopower 2\n", {0, 1, 1}, {2, 2, 2}, "(X1/X2)**2", false},
        BoundCase{
            "both_contain_zero", "ratiopower 2\n", {-1, -1, 1}, {2, 2, 2}, "(X1/X2)**2", false},
        BoundCase{"denominator_contains_zero",
                  "ratiopower 2\n",
                  {1, -1, 1},
                  {2, 2, 2},
                  "(X1/X2)**2",
                  true},
        BoundCase{
            "numerator_contains_zero", "ratiopower 2\n", {-1, 1, 1}, {2, 2, 2}, "(X1/X2)**2", true},
        BoundCase{
            "quotient_too_large", "ratiopower 2\n", {1, 1e-6, 1}, {2, 2, 2}, "(X1/X2)**2", false},
        BoundCase{
            "its_inverse_is_safe", "ratiopower 2\n", {1, 1e-6, 1}, {2, 2, 2}, "(X2/X1)**2", true}),
    RowName());

// The scaled bounds count: 4e4 over a range near 4e4 is near one.
TEST(Bounds, are_scaled) {
  SmallProblem problem = between_one_and_two("monomialpower 3\nxscaling 1\nnulltol 0\n");
  problem.xmax = {40000, 2, 2};
  SmallRun run(problem.text());
  EXPECT_TRUE(is_active(run, "(X1/39999.)**3"));
  problem.options = "monomialpower 3\nmaxterms 1\n";
  SmallRun plain(problem.text());
  EXPECT_FALSE(is_active(plain, "X1**3"));
}

TEST(Logarithms, need_a_positive_range) {
  SmallProblem problem = between_one_and_two("logfcns 1\n");
  problem.xmin = {0, 1, 1};
  SmallRun run(problem.text());
  EXPECT_EQ(run.state().basis.basislabel[3], "");
  EXPECT_FALSE(run.state().basis.basisactive[3]);
  EXPECT_TRUE(run.state().basis.basisactive[4]);
  EXPECT_FALSE(run.state().basis.logusable[0]);
  EXPECT_TRUE(contains(run.screen(), "Warning: eliminating basis log(X1)\n"));
  EXPECT_EQ(run.state().basis.xij(0, 3), -111111.0);
  problem.options += "numlimitbasis 0\n";
  SmallRun silent(problem.text());
  EXPECT_FALSE(silent.state().basis.basisactive[3]);
  EXPECT_FALSE(contains(silent.screen(), "log(X1)"));
}

// --- excluded inputs ----------------------------------------------------------------------------

TEST(Excluded, inputs_take_their_columns_along) {
  SmallProblem problem = between_one_and_two(
      "exclude 0 1 0\nsinfcns 1\nmonomialpower 2\nmulti2power 2\nmulti3power 2\nratiopower 2\n"
      "ncustombas 1\n");
  problem.sections = "begin_custombas\nX2+1\nend_custombas\n";
  SmallRun run(problem.text());
  std::string live;
  for (int j = 0; j < run.state().sizes.nbas; ++j) {
    const auto column = static_cast<std::size_t>(j);
    if (run.state().basis.basisactive[column]) live += run.state().basis.basislabel[column] + " ";
  }
  EXPECT_EQ(live, "X1 X3 sin(X1) sin(X3) X1**2 X3**2 (X1*X3)**2 (X1/X3)**2 (X3/X1)**2 X2+1 1.00 ");
  for (const std::string_view gone : {"X2", "sin(X2)", "X2**2", "(X1*X2)**2", "(X2*X3)**2",
                                      "(X1*X2*X3)**2", "(X1/X2)**2", "(X2/X1)**2", "(X3/X2)**2"}) {
    EXPECT_TRUE(contains(run.screen(), "Warning: excluding basis " + std::string(gone) + "\n"))
        << gone;
  }
  EXPECT_EQ(run.state().sizes.nactinputs, 2);
}

TEST(Excluded, are_inputs_that_never_change) {
  SmallProblem problem = between_one_and_two("constant 0\n");
  for (auto& row : problem.x) row = {1.5, 1.25, 1.5};
  SmallRun run(problem.text());
  for (const std::string_view label : {"X1", "X2", "X3"}) {
    EXPECT_TRUE(contains(run.screen(), "Warning: excluding constant input " + std::string(label)));
  }
  EXPECT_TRUE(contains(run.screen(), "Using constant basis instead\n"));
  EXPECT_EQ(run.state().options.constant, 1);
  EXPECT_EQ(run.state().sizes.nbasmax, 1);
  EXPECT_TRUE(run.state().models.hasmodel[0]);
}

// --- data ---------------------------------------------------------------------------------------

TEST(Data, with_a_zero_leave_preset_in_a_monomial) {
  SmallProblem problem = between_one_and_two("monomialpower 2\nnumlimitbasis 0\n");
  problem.x[2][0] = 0.0;
  SmallRun run(problem.text());
  EXPECT_EQ(run.state().basis.xij(2, 3), -111111.0);
  EXPECT_DOUBLE_EQ(run.state().basis.xij(1, 3), 1.4 * 1.4);
  EXPECT_TRUE(run.state().basis.basisactive[3]);
  problem.options = "monomialpower 2\nmaxterms 1\n";
  SmallRun strict(problem.text());
  EXPECT_FALSE(strict.state().basis.basisactive[3]);
  EXPECT_TRUE(contains(strict.screen(), "Warning: eliminating basis X1**2\n"));
  EXPECT_EQ(strict.state().sizes.nbasmax, 6);
}

struct FormulaCase {
  std::string_view name;
  std::string_view formula;
  bool fails;  // at the first point
};

void PrintTo(const FormulaCase& row, std::ostream* out) {
  *out << row.name;
}

class CustomColumn : public testing::TestWithParam<FormulaCase> {};

TEST_P(CustomColumn, goes_when_it_fails_at_a_point) {
  const FormulaCase& row = GetParam();
  for (const bool strict : {true, false}) {
    SmallProblem problem = between_one_and_two("ncustombas 1\n");
    if (!strict) problem.options += "numlimitbasis 0\n";
    problem.sections = "begin_custombas\n" + std::string(row.formula) + "\nend_custombas\n";
    SmallRun run(problem.text());
    EXPECT_EQ(run.state().basis.xij(0, 3) == -111111.0, row.fails);
    EXPECT_EQ(run.state().basis.basisactive[3], !row.fails || !strict);
    const std::string warning = "Warning: eliminating basis " + std::string(row.formula) + "\n";
    EXPECT_EQ(contains(run.screen(), warning), row.fails && strict);
  }
}

INSTANTIATE_TEST_SUITE_P(Rows, CustomColumn,
                         testing::Values(FormulaCase{"good", "x1*1e9", false},
                                         FormulaCase{"too_large", "x1*1e10", true},
                                         FormulaCase{"too_small", "-x1*1e10", true},
                                         FormulaCase{"division_by_zero", "1/(x1-1.1)", true},
                                         FormulaCase{"root_of_negative", "sqrt(x1-1.3)", true}),
                         RowName());

TEST(LinearKernel, lengthens_the_list_alone) {
  SmallRun plain(between_one_and_two("").text());
  SmallRun run(between_one_and_two("linkernel 1\n").text());
  EXPECT_EQ(run.state().sizes.nbas, plain.state().sizes.nbas + 5);
  EXPECT_EQ(run.state().sizes.nbasmax, plain.state().sizes.nbasmax);
}

TEST(PowerRadial, columns_of_a_power_are_alike) {
  SmallProblem problem =
      between_one_and_two("prbfpower 1 3\nlinfcns 0\nconstant 0\nnumlimitbasis 0\n");
  SmallRun run(problem.text());
  ASSERT_EQ(run.state().sizes.nbas, 10);
  for (int i = 0; i < 5; ++i) {
    const auto distance = [&](std::size_t centre) {
      double sum = 0.0;
      for (std::size_t j = 0; j < 3; ++j) {
        const double d = problem.x[static_cast<std::size_t>(i)][j] - problem.x[centre][j];
        sum += d * d;
      }
      return std::sqrt(sum);
    };
    for (int j = 0; j < 5; ++j) {
      // An exponent of one isn't safe, and the centre itself has no third power: a base of zero
      // isn't either.
      EXPECT_DOUBLE_EQ(run.state().basis.xij(i, j), -111111.0);
      const double expected = i == 1 ? -111111.0 : std::pow(distance(1), 3.0);
      EXPECT_DOUBLE_EQ(run.state().basis.xij(i, j + 5), expected);
    }
  }
}

TEST(NullColumns, go_where_the_data_are_complete) {
  SmallProblem problem = between_one_and_two("ncustombas 2\n");
  problem.sections = "begin_custombas\nx1*1e-5\nx1*1e-4\nend_custombas\n";
  SmallRun run(problem.text());
  EXPECT_FALSE(run.state().basis.basisactive[3]);
  EXPECT_TRUE(run.state().basis.basisactive[4]);
  EXPECT_EQ(run.state().sizes.nbasmax, 5);
  EXPECT_TRUE(contains(run.screen(), "Warning: eliminating null basis x1*1e-5\n"));
  problem.options += "numlimitbasis 0\n";
  SmallRun lenient(problem.text());
  EXPECT_TRUE(lenient.state().basis.basisactive[3]);
}

// The last point is the bank's; a column that is null but for it lives.
TEST(NullColumns, live_by_the_bank) {
  SmallProblem problem = between_one_and_two("ncustombas 1\n");
  problem.x.back()[0] = 1.2;
  problem.sections = "begin_custombas\n(x1-1.1)*(x1-1.4)*(x1-1.7)*(x1-1.9)\nend_custombas\n";
  problem.options += "nbank 1\n";
  SmallRun banked(problem.text());
  EXPECT_TRUE(banked.state().basis.basisactive[3]);
  problem.sections =
      "begin_custombas\n(x1-1.1)*(x1-1.4)*(x1-1.7)*(x1-1.9)*(x1-1.2)\nend_custombas\n";
  SmallRun null(problem.text());
  EXPECT_FALSE(null.state().basis.basisactive[3]);
}

TEST(Eliminate, counts_a_column_once) {
  SmallRun run(between_one_and_two("").text());
  RunState& state = run.state();
  testing::internal::CaptureStdout();
  eliminatebasis(state, 1);
  eliminatebasis(state, 1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Warning: eliminating basis X2\n");
  EXPECT_EQ(state.sizes.nbasmax, 3);
  EXPECT_FALSE(state.basis.basisactive[1]);
}

}  // namespace
}  // namespace torve::test
