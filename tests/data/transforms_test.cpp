#include "data/transforms.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "support/rows.h"
#include "support/small_problem.h"

namespace torve::test {
namespace {

// Two inputs, one output in the data, and outputs that are formulas.
SmallProblem transformed(const std::vector<std::string>& formulas) {
  SmallProblem problem;
  problem.x = {{1, 4}, {2, 5}, {3, 7}, {4, 1}};
  problem.z = {{10}, {20}, {40}, {30}};
  problem.transforms = static_cast<int>(formulas.size());
  problem.options = "ntrans " + std::to_string(formulas.size()) + "\n";
  problem.sections = "begin_transforms\n";
  for (const std::string& formula : formulas) problem.sections += formula + "\n";
  problem.sections += "end_transforms\n";
  return problem;
}

struct FormulaCase {
  std::string_view name;
  std::string_view formula;
  std::vector<double> values;
};

void PrintTo(const FormulaCase& row, std::ostream* out) {
  *out << row.name;
}

class Transform : public testing::TestWithParam<FormulaCase> {};

TEST_P(Transform, fills_an_output) {
  SmallRun run(transformed({std::string(GetParam().formula)}).text());
  ASSERT_TRUE(run.ended_normally()) << run.screen();
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_DOUBLE_EQ(run.state().points.zdata(static_cast<int>(i), 1), GetParam().values[i]);
  }
  EXPECT_TRUE(run.state().models.hasmodel[1]);
}

INSTANTIATE_TEST_SUITE_P(Rows, Transform,
                         testing::Values(FormulaCase{"of_an_output", "z1/10", {1, 2, 4, 3}},
                                         FormulaCase{"of_inputs", "x1*x2", {4, 10, 21, 4}},
                                         FormulaCase{"of_both", "z1-x1^2", {9, 16, 31, 14}},
                                         FormulaCase{"of_capitals",
                                                     "LOG(Z1)",
                                                     {std::log(10.0), std::log(20.0),
                                                      std::log(40.0), std::log(30.0)}}),
                         RowName());

TEST(Transforms, come_in_order) {
  SmallRun run(transformed({"z1/10", "x1+1"}).text());
  ASSERT_TRUE(run.ended_normally()) << run.screen();
  EXPECT_EQ(run.state().sizes.noutputs, 3);
  EXPECT_EQ(run.state().sizes.noutputs0, 1);
  EXPECT_EQ(run.state().points.zdata(2, 1), 4.0);
  EXPECT_EQ(run.state().points.zdata(2, 2), 4.0);
  EXPECT_EQ(run.state().points.zdata(3, 2), 5.0);
}

// Formulas see the inputs as they were given.
TEST(Transforms, come_before_scaling) {
  SmallProblem problem = transformed({"x1*x2"});
  problem.options += "xfactor 2 4\n";
  SmallRun run(problem.text());
  EXPECT_EQ(run.state().points.zdata(1, 1), 10.0);
  EXPECT_EQ(run.state().points.xdata(1, 0), 1.0);
}

TEST(Transforms, take_over_a_missing_value) {
  SmallProblem problem = transformed({"z1*2", "x1*2"});
  problem.z[2][0] = -111111.0;
  SmallRun run(problem.text());
  ASSERT_TRUE(run.ended_normally()) << run.screen();
  EXPECT_EQ(run.state().points.zdata(2, 1), -111111.0);
  EXPECT_FALSE(run.state().points.simulated(2, 1));
  EXPECT_EQ(run.state().points.zdata(2, 2), 6.0);
}

TEST(Transforms, reach_bank_and_test_points) {
  SmallProblem problem = transformed({"z1+x1"});
  problem.options += "nbank 1\nntestsets 1\nntestdata 2\n";
  problem.sections += "begin_testdata\n1 2 100\n2 3 200\nend_testdata\n";
  SmallRun run(problem.text());
  ASSERT_TRUE(run.ended_normally()) << run.screen();
  EXPECT_EQ(run.state().points.zbank(0, 1), 34.0);
  EXPECT_EQ(run.state().points.ztestdata(0, 1), 101.0);
  EXPECT_EQ(run.state().points.ztestdata(1, 1), 202.0);
}

struct FailureCase {
  std::string_view name;
  std::string_view formula;
  std::string_view options;
  std::string_view line;
};

void PrintTo(const FailureCase& row, std::ostream* out) {
  *out << row.name;
}

class Failure : public testing::TestWithParam<FailureCase> {};

TEST_P(Failure, names_the_point) {
  const FailureCase& row = GetParam();
  SmallProblem problem = transformed({std::string(row.formula)});
  problem.options += row.options;
  if (row.options.find("ntestsets") != std::string_view::npos) {
    problem.sections += "begin_testdata\n1 2 100\n2 3 200\n9 3 200\nend_testdata\n";
  }
  SmallRun run(problem.text());
  EXPECT_EQ(run.state().status.trvstatus, Code::transform_evaluation);
  EXPECT_NE(run.screen().find(std::string(row.line) + "\n"), std::string::npos) << run.screen();
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Failure,
    testing::Values(FailureCase{"third_point", "1/(x1-3)", "", "Data point 3 cannot be evaluated."},
                    FailureCase{"bank_point", "1/(x1-4)", "nbank 1\n",
                                "Data point 4 cannot be evaluated."},
                    FailureCase{"logarithm", "log(z1-20)", "", "Data point 1 cannot be evaluated."},
                    FailureCase{"second_test_set", "1/(x1-9)", "ntestsets 2\nntestdata 1 2\n",
                                "Data point 2 of test set 2 cannot be evaluated."}),
    RowName());

TEST(Transforms, replace_an_ignored_output) {
  SmallProblem problem = transformed({"log(z1)"});
  problem.options += "ignore 1 0\n";
  SmallRun run(problem.text());
  ASSERT_TRUE(run.ended_normally()) << run.screen();
  EXPECT_FALSE(run.state().models.hasmodel[0]);
  EXPECT_TRUE(run.state().models.hasmodel[1]);
}

}  // namespace
}  // namespace torve::test
