// The search for broken constraints through GAMS, with a stand-in that does what conreg.gms says:
// the points that come back, and what is left in the folder. The model is z = 2 x on 0..10.
// TORVE_GAMS_STANDIN is the stand-in.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "solvers/conreg_search.h"
#include "support/rows.h"
#include "support/sampling_state.h"

namespace torve::test {
namespace {

class GamsSearch : public SamplingState {
 public:
  GamsSearch() : SamplingState(3) {
    RunState& state = run();
    state.options.crmir = false;
    state.options.crgms = true;
    state.options.crnviol = 4;
    state.options.gams = TORVE_GAMS_STANDIN;
    EXPECT_TRUE(state.outputs.zmin.request(state.memory, 1));
    EXPECT_TRUE(state.outputs.zmax.request(state.memory, 1));
  }
  std::vector<std::vector<double>> search(SearchKind kind, double bound,
                                          const std::string& custom = "") {
    run().outputs.zmin[0] = run().outputs.zmax[0] = bound;
    run().outputs.customcon = {custom};
    return trvsolveconreg(run(), kind, 0, 0).points;
  }
};

struct PointsRow {
  std::string_view name;
  SearchKind kind;
  double bound;
  std::string custom;
  double best;       // where the constraint is broken most
  double low, high;  // where it is broken at all
};

void PrintTo(const PointsRow& row, std::ostream* out) {
  *out << row.name;
}

class GamsPoints : public testing::TestWithParam<PointsRow> {};

TEST_P(GamsPoints, lie_where_the_constraint_is_broken) {
  const PointsRow& row = GetParam();
  GamsSearch problem;
  const auto points = problem.search(row.kind, row.bound, row.custom);
  ASSERT_EQ(problem.run().status.trvstatus, Code::normal);
  ASSERT_EQ(points.size(), 4U);
  EXPECT_NEAR(points[0][0], row.best, 1e-5);
  for (std::size_t p = 0; p < points.size(); ++p) {
    ASSERT_EQ(points[p].size(), 1U);
    EXPECT_GE(points[p][0], row.low);
    EXPECT_LE(points[p][0], row.high);
    for (std::size_t q = 0; q < p; ++q) EXPECT_GE(std::abs(points[p][0] - points[q][0]), 0.01);
  }
}

// A constraint is broken where its value exceeds the tolerance of 0.001.
INSTANTIATE_TEST_SUITE_P(
    Rows, GamsPoints,
    testing::Values(PointsRow{"below", SearchKind::below_zmin, 5.0, "", 0.0, 0.0, 2.5},
                    PointsRow{"above", SearchKind::above_zmax, 15.0, "", 10.0, 7.5, 10.0},
                    PointsRow{"custom", SearchKind::custom, 0.0, "z1+X1-27", 10.0, 9.0, 10.0},
                    PointsRow{"custom_with_a_power", SearchKind::custom, 0.0, "7-(X1-6)^2+0*z1",
                              6.0, 6.0 - std::sqrt(7.0), 6.0 + std::sqrt(7.0)}),
    RowName());

TEST(GamsFolderOfASearch, is_left_without_answers) {
  GamsSearch problem;
  problem.search(SearchKind::above_zmax, 15.0);
  EXPECT_TRUE(fs::exists("conreg.gms"));
  EXPECT_TRUE(fs::exists("multsol1.gdx"));
  EXPECT_TRUE(fs::exists("multsol4.gdx"));
  EXPECT_FALSE(fs::exists("merged.gdx"));
  EXPECT_FALSE(fs::exists("crres.put"));
}

// What the program leaves when nobody reads it.
TEST(GamsFolderOfASearch, holds_answers_when_gams_has_run) {
  GamsSearch problem;
  problem.search(SearchKind::above_zmax, 15.0);
  ASSERT_EQ(std::system(TORVE_GAMS_STANDIN " conreg lo=2"), 0);
  EXPECT_TRUE(fs::exists("merged.gdx"));
  EXPECT_TRUE(text_of("crres.put").starts_with("  1\n10 20\n")) << text_of("crres.put");
}

// The rows that GAMS writes for solutions that there aren't hold zeros.
TEST(GamsFolderOfASearch, keeps_what_gams_has_put_for_a_reader) {
  GamsSearch problem;
  problem.run().options.debug = true;
  const auto points = problem.search(SearchKind::above_zmax, 19.9);
  EXPECT_EQ(problem.run().status.trvstatus, Code::normal);
  EXPECT_EQ(text_of("conreg1.put"), "  1\n10 20\n0 0\n0 0\n0 0\n");
  EXPECT_EQ(text_of("conreg1.gms"), text_of("conreg.gms"));
  EXPECT_EQ(points, (std::vector<std::vector<double>>{{10}, {0}, {0}, {0}}));
}

struct NoneRow {
  std::string_view name;
  SearchKind kind;
  double bound;
  std::string custom = {};
};

void PrintTo(const NoneRow& row, std::ostream* out) {
  *out << row.name;
}

class GamsNone : public testing::TestWithParam<NoneRow> {};

TEST_P(GamsNone, is_found_where_the_constraint_holds) {
  GamsSearch problem;
  const auto points = problem.search(GetParam().kind, GetParam().bound, GetParam().custom);
  EXPECT_TRUE(points.empty());
  EXPECT_EQ(problem.run().status.trvstatus, Code::normal);
  EXPECT_TRUE(fs::exists("conreg.lst"));
  EXPECT_FALSE(fs::exists("multsol1.gdx"));
  EXPECT_FALSE(fs::exists("merged.gdx"));
  EXPECT_FALSE(fs::exists("crres.put"));
}

INSTANTIATE_TEST_SUITE_P(Rows, GamsNone,
                         testing::Values(NoneRow{"below", SearchKind::below_zmin, -0.1},
                                         NoneRow{"above", SearchKind::above_zmax, 20.1},
                                         NoneRow{"custom", SearchKind::custom, 0.0, "z1+X1-30"},
                                         NoneRow{"custom_within_its_tolerance", SearchKind::custom,
                                                 0.0, "z1+X1-29.9995"}),
                         RowName());

// Files of an earlier search that found more are merged again, and do no harm: what a solver says
// is tested at the point.
TEST(GamsFolderOfASearch, may_hold_solutions_of_an_earlier_search) {
  GamsSearch problem;
  problem.search(SearchKind::above_zmax, 15.0);
  const auto points = problem.search(SearchKind::above_zmax, 19.9);
  ASSERT_EQ(points.size(), 4U);
  EXPECT_EQ(points[0], std::vector<double>{10});
  EXPECT_LT(points[3][0], 9.95);
}

// Another solver gives one solution at most and the program has no answer to put.
TEST(GamsFolderOfASearch, has_no_answer_of_another_solver) {
  GamsSearch problem;
  problem.run().options.gamsnlpsolver = "other";
  EXPECT_TRUE(problem.search(SearchKind::above_zmax, 15.0).empty());
  EXPECT_EQ(problem.run().status.trvstatus, Code::constrained_regression_failed);
  EXPECT_EQ(problem.run().status.trvlocation, 28);
}

}  // namespace
}  // namespace torve::test
