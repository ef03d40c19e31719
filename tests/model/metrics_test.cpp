#include "model/metrics.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "support/rows.h"

namespace torve {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

// Values to 40 digits by decimal arithmetic. Single-precision logarithms of HQC move its value in
// the seventh digit.
struct MetricCase {
  std::string_view name;
  int modeler;
  double fit;
  int p;
  int n;
  MetricRules rules;
  double expected;
};

void PrintTo(const MetricCase& row, std::ostream* out) {
  *out << row.name;
}

class MetricValue : public testing::TestWithParam<MetricCase> {};

TEST_P(MetricValue, is_the_closed_form) {
  const MetricCase& row = GetParam();
  const double value = fitmetric(row.fit, row.p, row.n, row.modeler, row.rules);
  if (std::isinf(row.expected)) {
    EXPECT_EQ(value, row.expected);
  } else {
    EXPECT_NEAR(value, row.expected, 4e-15 * std::abs(row.expected));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, MetricValue,
    testing::Values(
        MetricCase{"bic", 1, 7.5, 3, 20, {}, -10.62938823957255175},
        MetricCase{
            "bic_ignores_sigma", 1, 7.5, 3, 20, {0.25, 9.0, false, 5}, -10.62938823957255175},
        MetricCase{"bic_convex", 1, 7.5, 3, 20, {0.25, 0.0, true, 0}, 38.98719682066197298},
        MetricCase{"bic_exact_fit", 1, 0.0, 3, 20, {}, -1e30},
        MetricCase{"bic_convex_exact_fit", 1, 0.0, 3, 20, {0.25, 0.0, true, 0}, -1e30},
        MetricCase{"bic_negative_fit", 1, -1e-20, 3, 20, {}, -1e30},
        MetricCase{"cp", 2, 7.5, 3, 20, {0.5, 0.0, false, 0}, 1.0},
        MetricCase{"cp_exact_fit", 2, 0.0, 3, 20, {0.5, 0.0, false, 0}, -14.0},
        MetricCase{"aicc", 3, 7.5, 3, 20, {}, -12.11658506023452474},
        MetricCase{"aicc_without_room_for_correction", 3, 7.5, 3, 4, {}, 8.514434637689496551},
        MetricCase{"aicc_exact_fit", 3, 0.0, 3, 20, {}, -1e30},
        MetricCase{"hqc", 4, 7.5, 3, 20, {}, -13.03345279323623372},
        MetricCase{"hqc_thousand_points", 4, 7.5, 5, 1000, {}, -4873.525811191413433},
        MetricCase{"hqc_exact_fit", 4, 0.0, 3, 20, {}, -1e30},
        MetricCase{"hqc_one_point", 4, 7.5, 3, 1, {}, -infinity},
        MetricCase{"mse", 5, 7.5, 4, 20, {}, 0.5},
        MetricCase{"mse_without_degree_of_freedom", 5, 7.5, 3, 4, {}, 7.5},
        MetricCase{"mse_more_terms_than_points", 5, 7.5, 9, 4, {}, 7.5},
        MetricCase{"mse_exact_fit", 5, 0.0, 4, 20, {}, 0.0},
        MetricCase{"ssep", 6, 7.5, 3, 20, {0.5, 0.25, false, 0}, 8.25},
        MetricCase{"ssep_exact_fit", 6, 0.0, 3, 20, {0.5, 0.25, false, 0}, 0.75},
        MetricCase{"ric", 7, 7.5, 3, 20, {0.5, 0.0, false, 12}, 29.90943989872800186},
        MetricCase{"ric_one_column", 7, 7.5, 3, 20, {0.5, 0.0, false, 1}, 15.0},
        MetricCase{"madp", 8, 7.5, 3, 20, {0.5, 0.25, false, 0}, 8.25}),
    test::RowName());

TEST(Metrics, stand_in_the_table_by_number_and_name) {
  const std::array<std::string_view, 8> names = {"BIC", "Cp",   "AICc", "HQC",
                                                 "MSE", "SSEp", "RIC",  "MADp"};
  for (int modeler = 1; modeler <= 8; ++modeler) {
    EXPECT_EQ(static_cast<int>(metric_row(modeler).metric), modeler);
    EXPECT_EQ(metric_row(modeler).name, names[static_cast<std::size_t>(modeler - 1)]);
  }
}

TEST(MeanError, is_the_root_over_n_but_for_percentages) {
  for (int modeler = 1; modeler <= 7; ++modeler) EXPECT_EQ(meanerror(16.0, 8, modeler), 0.5);
  EXPECT_EQ(meanerror(16.0, 8, 8), 16.0);
}

struct BetterCase {
  std::string_view name;
  double metric, fit, than_metric, than_fit;
  bool expected;
};

void PrintTo(const BetterCase& row, std::ostream* out) {
  *out << row.name;
}

class Better : public testing::TestWithParam<BetterCase> {};

TEST_P(Better, breaks_ties_by_the_fit) {
  const BetterCase& row = GetParam();
  EXPECT_EQ(better(row.metric, row.fit, row.than_metric, row.than_fit), row.expected);
}

INSTANTIATE_TEST_SUITE_P(Rows, Better,
                         testing::Values(BetterCase{"smaller_metric", 1, 9, 2, 3, true},
                                         BetterCase{"larger_metric", 2, 1, 1, 3, false},
                                         BetterCase{"equal_metric_smaller_fit", 1, 2, 1, 3, true},
                                         BetterCase{"equal_in_both", 1, 3, 1, 3, false},
                                         BetterCase{"equal_metric_larger_fit", 1, 4, 1, 3, false},
                                         BetterCase{"metric_no_number", nan, 1, 2, 3, false},
                                         BetterCase{"tie_with_fit_no_number", 1, nan, 1, 3, false},
                                         BetterCase{"against_no_number", 1, 1, nan, nan, false}),
                         test::RowName());

struct GainCase {
  std::string_view name;
  double metric, previous, relative, absolute;
  bool too_little;
};

void PrintTo(const GainCase& row, std::ostream* out) {
  *out << row.name;
}

class Gain : public testing::TestWithParam<GainCase> {};

TEST_P(Gain, is_weighed_against_the_larger_tolerance) {
  const GainCase& row = GetParam();
  EXPECT_EQ(gains_too_little(row.metric, row.previous, row.relative, row.absolute), row.too_little);
}

INSTANTIATE_TEST_SUITE_P(Rows, Gain,
                         testing::Values(GainCase{"gain_above_both", 1, 10, 0.5, 1, false},
                                         GainCase{"gain_below_relative", 6, 10, 0.5, 1, true},
                                         GainCase{"gain_at_relative", 5, 10, 0.5, 1, true},
                                         GainCase{"gain_below_absolute", 7, 10, 0.1, 4, true},
                                         GainCase{"magnitude_of_negative", -12, -10, 0.5, 1, true},
                                         GainCase{"negative_with_gain", -16, -10, 0.5, 1, false},
                                         GainCase{"no_gain_without_tolerance", 10, 10, 0, 0, true},
                                         GainCase{"loss", 11, 10, 0, 0, true}),
                         test::RowName());

// --- fit ----------------------------------------------------------------------------------------

//      | 1  10  100  1000  10000 |
//  x = | 2  20  200  2000  20000 |
//      | 3  30  300  3000  30000 |
struct Fit : testing::Test {
  std::vector<double> x;
  MatrixView view;
  Fit() {
    for (const double scale : {1.0, 10.0, 100.0, 1000.0, 10000.0}) {
      for (const double row : {1.0, 2.0, 3.0}) x.push_back(scale * row);
    }
    view = {x.data(), 3, 5, 3};
  }
};

TEST_F(Fit, sums_the_columns) {
  const std::array columns = {0, 1, 2, 3, 4};
  const std::array beta = {5.0, 4.0, 3.0, 2.0, 1.0};
  for (std::size_t n = 0; n <= columns.size(); ++n) {
    std::array<double, 3> y = {7.0, 7.0, 7.0};
    model_values(view, std::span(columns).first(n), std::span(beta).first(n), y);
    double expected = 0.0;
    for (std::size_t p = 0; p < n; ++p) expected += beta[p] * std::pow(10.0, p);
    EXPECT_EQ(y, (std::array{expected, 2 * expected, 3 * expected})) << n;
  }
}

TEST_F(Fit, leaves_out_coefficients_of_1e_10_and_less) {
  const std::array columns = {0, 4, 4};
  const std::array beta = {2.0, 1e-10, -1e-10};
  std::array<double, 3> y{};
  model_values(view, columns, beta, y);
  EXPECT_EQ(y, (std::array{2.0, 4.0, 6.0}));
  const std::array larger = {0.0, 1.5e-10, 0.0};
  model_values(view, columns, larger, y);
  EXPECT_DOUBLE_EQ(y[0], 1.5e-6);
}

TEST(SumOfSquares, counts_the_rows_of_the_mask) {
  const std::array z = {1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0};
  const std::array y = {0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 4.0};
  const std::array<bool, 7> all = {true, true, true, true, true, true, true};
  EXPECT_EQ(sum_of_squares(z, y, all), 1 + 4 + 4 + 16 + 25 + 36 + 9);
  const std::array<bool, 7> some = {true, false, true, false, false, false, true};
  EXPECT_EQ(sum_of_squares(z, y, some), 1 + 4 + 9);
  const std::array<bool, 7> none{};
  EXPECT_EQ(sum_of_squares(z, y, none), 0.0);
}

TEST(SumOfSquares, ignores_what_stands_in_other_rows) {
  const std::array z = {1.0, nan, 3.0, infinity, 5.0};
  const std::array y = {0.0, 0.0, 0.0, 0.0, nan};
  const std::array<bool, 5> rows = {true, false, true, false, false};
  EXPECT_EQ(sum_of_squares(z, y, rows), 10.0);
}

struct PercentCase {
  std::string_view name;
  std::vector<double> z, y;
  double expected;
};

void PrintTo(const PercentCase& row, std::ostream* out) {
  *out << row.name;
}

class Percentage : public testing::TestWithParam<PercentCase> {};

TEST_P(Percentage, is_the_largest_of_the_rows) {
  const PercentCase& row = GetParam();
  const std::array<bool, 3> rows = {true, false, true};
  EXPECT_DOUBLE_EQ(largest_percentage_error(row.z, row.y, rows), row.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Percentage,
    testing::Values(
        PercentCase{"first", {4, 1, 8}, {3, 9, 7}, 25.0},
        PercentCase{"last", {4, 1, -8}, {4, 9, -10}, 25.0},
        PercentCase{"zero_output_counts_plainly", {0, 1, 8}, {60, 9, 4}, 60.0},
        PercentCase{"at_a_thousandth_the_error_itself", {0.001, 1, 8}, {2.001, 9, 8}, 2.0},
        PercentCase{"above_a_thousandth_the_percentage", {0.0016, 1, 8}, {0.0012, 9, 8}, 25.0},
        PercentCase{"exact", {4, 1, 8}, {4, 9, 8}, 0.0}),
    test::RowName());

}  // namespace
}  // namespace torve
