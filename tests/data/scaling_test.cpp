#include "data/scaling.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "support/rows.h"
#include "support/small_problem.h"

namespace torve::test {
namespace {

struct ScaleCase {
  std::string_view name;
  std::string_view options;
  std::array<double, 2> xmin, xmax, scale;
};

void PrintTo(const ScaleCase& row, std::ostream* out) {
  *out << row.name;
}

class Scale : public testing::TestWithParam<ScaleCase> {};

SmallProblem problem_of(const ScaleCase& row) {
  SmallProblem problem;
  problem.x = {{2, 3}, {2.5, 3.25}, {2.25, 3.5}};
  problem.z = {{1}, {4}, {2}};
  problem.xmin.assign(row.xmin.begin(), row.xmin.end());
  problem.xmax.assign(row.xmax.begin(), row.xmax.end());
  problem.options = std::string(row.options) + "maxterms 1\n";
  return problem;
}

TEST_P(Scale, divides_data_and_bounds) {
  const ScaleCase& row = GetParam();
  const SmallProblem problem = problem_of(row);
  SmallRun run(problem.text());
  ASSERT_TRUE(run.ended_normally()) << run.screen();
  const Inputs& inputs = run.state().inputs;
  for (std::size_t j = 0; j < 2; ++j) {
    EXPECT_EQ(inputs.xscale[j], row.scale[j]);
    EXPECT_EQ(inputs.xminscaled[j], row.xmin[j] / row.scale[j]);
    EXPECT_EQ(inputs.xmaxscaled[j], row.xmax[j] / row.scale[j]);
    EXPECT_EQ(inputs.xmin[j], row.xmin[j]);
    EXPECT_EQ(inputs.xmax[j], row.xmax[j]);
    for (std::size_t i = 0; i < 3; ++i) {
      EXPECT_EQ(run.state().points.xdata(static_cast<int>(i), static_cast<int>(j)),
                problem.x[i][j] / row.scale[j]);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Scale,
    testing::Values(ScaleCase{"off", "", {0, 0}, {4, 100}, {1, 1}},
                    ScaleCase{"by_range", "xscaling 1\n", {0, 0}, {4, 100}, {4, 100}},
                    ScaleCase{"small_range", "xscaling 1\n", {2, 3}, {2.5, 3.5}, {1, 1}},
                    ScaleCase{"negative_bound", "xscaling 1\n", {-4, 0}, {4, 5}, {8, 5}},
                    ScaleCase{"by_factor", "xfactor 3 0.5\n", {0, 0}, {4, 100}, {3, 0.5}},
                    ScaleCase{"negative_factor", "xfactors -2 7\n", {0, 0}, {4, 100}, {-2, 7}}),
    RowName());

TEST(Scale, stands_in_the_label) {
  SmallRun four(problem_of({"", "xscaling 1\n", {0, 3}, {4, 3.5}, {}}).text());
  EXPECT_EQ(four.state().basis.basislabel[0], "X1/4.");
  EXPECT_EQ(four.state().basis.basislabel[1], "X2");
  EXPECT_EQ(four.state().points.xdata(0, 0), 0.5);
}

// The model speaks of the inputs as they were given.
TEST(Scale, leaves_the_fit_as_it_is) {
  SmallRun plain(problem_of({"", "", {0, 0}, {4, 100}, {}}).text());
  SmallRun scaled(problem_of({"", "xscaling 1\n", {0, 0}, {4, 100}, {}}).text());
  EXPECT_EQ(plain.chosen(0), scaled.chosen(0));
  for (std::size_t j = 0; j < 2; ++j) {
    EXPECT_NEAR(scaled.beta(0)[j], plain.beta(0)[j] * (j == 0 ? 4 : 100), 1e-9);
  }
}

TEST(Scale, divides_every_table_of_points) {
  SmallProblem problem = problem_of({"", "xfactor 2 4\n", {0, 0}, {10, 10}, {}});
  problem.options += "nbank 1\nntestsets 1\nntestdata 1\nnpredata 2\n";
  problem.sections =
      "begin_testdata\n6 8 1\nend_testdata\nbegin_xpredata\n1 2\n3 4\nend_xpredata\n";
  SmallRun run(problem.text());
  ASSERT_TRUE(run.ended_normally()) << run.screen();
  const Points& points = run.state().points;
  EXPECT_EQ(points.xdata(1, 0), 1.25);
  EXPECT_EQ(points.xbank(0, 0), 2.25 / 2);
  EXPECT_EQ(points.xbank(0, 1), 3.5 / 4);
  EXPECT_EQ(points.xtestdata(0, 0), 3.0);
  EXPECT_EQ(points.xtestdata(0, 1), 2.0);
  EXPECT_EQ(points.xpredata(0, 0), 0.5);
  EXPECT_EQ(points.xpredata(1, 1), 1.0);
}

// --- range of the data --------------------------------------------------------------------------

struct RangeCase {
  std::string_view name;
  double value;  // of the first input at the third point
  std::string_view options;
  bool inside;
};

void PrintTo(const RangeCase& row, std::ostream* out) {
  *out << row.name;
}

class DataRange : public testing::TestWithParam<RangeCase> {};

TEST_P(DataRange, is_tested_with_a_bank) {
  const RangeCase& row = GetParam();
  SmallProblem problem = problem_of({"", row.options, {2, 3}, {2.5, 3.5}, {}});
  problem.x[2][0] = row.value;
  SmallRun run(problem.text());
  const std::string lines = fmt::format(
      "XDATA outside [XMIN, XMAX] range for variable X1 and data point 3\n"
      "Values read (xmin, xdata, xmax) = 2 {} 2.5\n",
      row.value);
  EXPECT_EQ(run.ended_normally(), row.inside);
  EXPECT_EQ(run.screen().find(lines) == std::string::npos, row.inside) << run.screen();
}

INSTANTIATE_TEST_SUITE_P(Rows, DataRange,
                         testing::Values(RangeCase{"at_xmax", 2.5, "nbank 1\n", true},
                                         RangeCase{"at_xmin", 2.0, "nbank 1\n", true},
                                         RangeCase{"above", 2.75, "nbank 1\n", false},
                                         RangeCase{"below", 1.75, "nbank 1\n", false},
                                         RangeCase{"without_bank", 2.75, "", true},
                                         RangeCase{"excluded", 2.75, "nbank 1\nexclude 1 0\n",
                                                   true}),
                         RowName());

// --- bad values ---------------------------------------------------------------------------------

TEST(BadValues, lie_within_a_ten_thousandth_of_preset) {
  EXPECT_TRUE(is_bad_value(-111111.0, -111111.0));
  EXPECT_TRUE(is_bad_value(-111111.00009, -111111.0));
  EXPECT_TRUE(is_bad_value(-111110.99991, -111111.0));
  EXPECT_FALSE(is_bad_value(-111111.00011, -111111.0));
  EXPECT_FALSE(is_bad_value(111111.0, -111111.0));
  EXPECT_TRUE(is_bad_value(0.00005, 0.0));
}

TEST(BadValues, are_bad_for_their_output_alone) {
  SmallProblem problem = problem_of({"", "preset -7\n", {0, 0}, {4, 100}, {}});
  problem.z = {{1, -7}, {-7, 4}, {2, 6}};
  problem.options = "preset -7\nmaxterms 1 1\n";
  SmallRun run(problem.text());
  const Table<bool>& good = run.state().points.simulated;
  EXPECT_TRUE(good(0, 0) && !good(0, 1));
  EXPECT_TRUE(!good(1, 0) && good(1, 1));
  EXPECT_TRUE(good(2, 0) && good(2, 1));
}

}  // namespace
}  // namespace torve::test
