// The rules of a pass, with a bank as the source of values so that each point is known.
#include "adaptive/adaptive_sampling.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "basis/catalogue.h"
#include "support/rows.h"
#include "support/sampling_state.h"

namespace torve::test {
namespace {

constexpr double unbounded = 1e30;

// Rows behind the data with the column filled, and the values given.
void add_rows(RunState& run, const std::vector<double>& x, const std::vector<double>& z) {
  for (std::size_t p = 0; p < x.size(); ++p) {
    const int i = 3 + static_cast<int>(p);
    run.points.xdata(i, 0) = x[p];
    run.points.zdata(i, 0) = z[p];
    run.basis.xij(i, 0) = x[p];
  }
}

TEST(MaxSqError, is_the_largest_square) {
  SamplingState state(6);
  add_rows(state.run(), {1, 2, 3}, {2.5, 1, 6});
  EXPECT_DOUBLE_EQ(maxsqerror(state.run(), 3, 5, 0, unbounded), 9.0);
  EXPECT_DOUBLE_EQ(maxsqerror(state.run(), 3, 3, 0, unbounded), 0.25);
}

TEST(MaxSqError, counts_rows_that_have_no_value) {
  SamplingState state(6);
  add_rows(state.run(), {1, 2, 3}, {2, 5, 6});
  state.run().points.simulated(4, 0) = false;
  EXPECT_DOUBLE_EQ(maxsqerror(state.run(), 3, 5, 0, unbounded), 1.0);
}

TEST(MaxSqError, stops_beyond_the_bound) {
  SamplingState state(6);
  add_rows(state.run(), {1, 2, 3}, {3, 7, 60});
  EXPECT_DOUBLE_EQ(maxsqerror(state.run(), 3, 5, 0, 0.5), 1.0);
  EXPECT_DOUBLE_EQ(maxsqerror(state.run(), 3, 5, 0, 1.0), 9.0);
}

TEST(MaxSqError, is_zero_for_no_rows_and_a_negative_bound) {
  SamplingState state(6);
  add_rows(state.run(), {1, 2, 3}, {3, 7, 60});
  EXPECT_EQ(maxsqerror(state.run(), 4, 3, 0, unbounded), 0.0);
  EXPECT_EQ(maxsqerror(state.run(), 3, 5, 0, -1.0), 0.0);
  EXPECT_EQ(maxrelsqerror(state.run(), 4, 3, 0, unbounded), 0.0);
  EXPECT_EQ(maxrelsqerror(state.run(), 3, 5, 0, -1.0), 0.0);
}

TEST(MaxSqError, keeps_what_is_no_number) {
  SamplingState state(6);
  add_rows(state.run(), {1, 2, 3}, {2, std::nan(""), 6});
  EXPECT_TRUE(std::isnan(maxsqerror(state.run(), 3, 5, 0, unbounded)));
}

TEST(MaxRelSqError, divides_by_values_that_are_not_small) {
  SamplingState state(6);
  add_rows(state.run(), {1, 0.001, 3}, {4, 0.001, 6});
  EXPECT_DOUBLE_EQ(maxrelsqerror(state.run(), 3, 3, 0, unbounded), 0.25);
  EXPECT_DOUBLE_EQ(maxrelsqerror(state.run(), 4, 4, 0, unbounded), 1e-6);
  EXPECT_DOUBLE_EQ(maxrelsqerror(state.run(), 3, 5, 0, unbounded), 0.25);
}

TEST(MaxRelSqError, passes_over_rows_that_have_no_value) {
  SamplingState state(6);
  add_rows(state.run(), {1, 2, 3}, {2, 50, 6});
  state.run().points.simulated(4, 0) = false;
  EXPECT_EQ(maxrelsqerror(state.run(), 3, 5, 0, unbounded), 0.0);
}

// --- a pass -------------------------------------------------------------------------------------

struct PassCase {
  std::string_view name;
  int sampler;
  int minpoints, maxpoints;
  std::vector<double> errors;  // of the bank points, in the order of their use
  double tolmaxerror, tolesterror;
  int added;
  bool converged;
};

void PrintTo(const PassCase& row, std::ostream* out) {
  *out << row.name;
}

class Passes : public testing::TestWithParam<PassCase> {};

// All bank points are one point, so that they are used from the first on; what the sampler asks for
// is of no matter.
TEST_P(Passes, end_as_told) {
  const PassCase& row = GetParam();
  SamplingState state(50);
  RunState& run = state.run();
  std::vector<double> z;
  for (const double error : row.errors) z.push_back(10.0 + error);
  state.set_bank(std::vector<double>(z.size(), 5.0), z);
  run.options.sampler = row.sampler;
  run.options.minpoints = row.minpoints;
  run.options.maxpoints = row.maxpoints;
  run.options.tolesterror = row.tolesterror;
  run.outputs.tolmaxerror[0] = row.tolmaxerror;
  run.status.iteration = 7;
  trvadaptivesampling(run);
  EXPECT_FALSE(failed(run));
  EXPECT_EQ(run.sizes.ndata, 3 + row.added);
  EXPECT_EQ(run.models.converged[0], row.converged);
  EXPECT_EQ(run.status.nconverged, row.converged ? 1 : 0);
  if (row.converged) {
    EXPECT_EQ(run.models.iterconv[0], 7);
    EXPECT_EQ(run.models.ndataconv[0], 3);
    EXPECT_GT(run.models.timeconv[0], 0.0);
  }
  for (int i = 0; i < run.sizes.ndata; ++i) EXPECT_EQ(run.points.newrow[at(i)], i >= 3);
}

const std::vector<double> no_errors(10, 0.0);

INSTANTIATE_TEST_SUITE_P(
    Snobfit, Passes,
    testing::Values(
        PassCase{"converges_on_a_full_sample", 2, 1, 5, no_errors, 0.1, 0.1, 5, true},
        PassCase{
            "rejects_when_enough_points_are_there", 2, 1, 5, {1, 1, 1, 1, 1}, 0.1, 9, 2, false},
        PassCase{"rejects_later", 2, 1, 9, {0, 0, 0, 1, 0, 0, 0, 0, 0}, 0.1, 9, 4, false},
        PassCase{
            "remembers_the_first_points", 2, 3, 9, {1, 0, 0, 0, 0, 0, 0, 0, 0}, 0.1, 9, 4, false},
        // The last but one is passed over; on the last the sample is judged.
        PassCase{"passes_over_the_last_but_one", 2, 1, 5, {0, 0, 0, 1, 0}, 0.1, 9, 5, false},
        // The mean of five errors of 1 is sqrt(5)/5 = 0.447, which is not their root mean square.
        PassCase{"rejects_for_the_mean", 2, 1, 5, {1, 1, 1, 1, 1}, 2, 0.44, 5, false},
        PassCase{"accepts_the_mean", 2, 1, 5, {1, 1, 1, 1, 1}, 2, 0.45, 5, true},
        PassCase{"takes_the_tolerance_as_met", 2, 1, 4, {1, 1, 1, 1}, 1, 0.5, 4, true},
        PassCase{"one_point_decides", 2, 1, 1, no_errors, 0.1, 0.1, 1, true},
        PassCase{"one_point_rejects", 2, 1, 1, {1, 0, 0}, 0.1, 9, 1, false},
        PassCase{"minpoints_above_maxpoints", 2, 9, 3, {1, 0, 0, 0, 0}, 0.1, 9, 3, false},
        PassCase{"bank_smaller_than_the_pass", 2, 1, 9, {0, 0, 0}, 0.1, 0.1, 3, true},
        PassCase{"bank_smaller_than_minpoints", 2, 5, 9, {0, 0, 0}, 0.1, 0.1, 3, false},
        PassCase{"no_number_rejects", 2, 1, 3, {std::nan(""), 0, 0}, 0.1, 9, 3, false}),
    RowName());

// The square of the relative error meets the tolerance as it stands: (1/11)^2 = 0.00826.
INSTANTIATE_TEST_SUITE_P(
    Batch, Passes,
    testing::Values(
        PassCase{"converges", 3, 1, 5, no_errors, 0.0, 0.1, 5, true},
        PassCase{"random_converges", 1, 1, 5, no_errors, 0.0, 0.1, 5, true},
        PassCase{"square_meets_the_tolerance", 3, 1, 5, {1, 0, 0, 0, 0}, 0.0083, 0, 5, true},
        PassCase{"square_misses_the_tolerance", 3, 1, 5, {1, 0, 0, 0, 0}, 0.0082, 0, 5, false},
        PassCase{"too_few_points_for_a_decision", 3, 5, 5, no_errors, 0.1, 0.1, 5, false},
        PassCase{"just_enough_points", 3, 4, 5, no_errors, 0.1, 0.1, 5, true},
        PassCase{"bank_gives_fewer", 3, 1, 9, {0, 0}, 0.1, 0.1, 2, true},
        PassCase{"no_number_is_no_decision", 3, 1, 5, {std::nan(""), 0, 0, 0, 0}, 9, 9, 5, false}),
    RowName());

INSTANTIATE_TEST_SUITE_P(Other, Passes,
                         testing::Values(PassCase{"does_nothing", 4, 1, 5, no_errors, 1, 1, 0,
                                                  false}),
                         RowName());

// One decision ends the pass; the other outputs wait for the next.
TEST(Pass, decides_about_one_output) {
  SamplingState state(20);
  RunState& run = state.run();
  state.set_bank(std::vector<double>(9, 5.0), std::vector<double>(9, 10.0));
  run.models.converged[0] = true;
  run.options.maxpoints = 4;
  trvadaptivesampling(run);
  EXPECT_EQ(run.sizes.ndata, 7);
  EXPECT_EQ(run.status.nconverged, 0);
}

// The points in hand stay, and the driver ends the run.
TEST(Pass, ends_with_the_time_and_keeps_its_rows) {
  SamplingState state(20);
  RunState& run = state.run();
  state.set_bank(std::vector<double>(9, 5.0), std::vector<double>(9, 10.0));
  run.options.maxpoints = 9;
  run.options.maxtime = 0.0;
  trvadaptivesampling(run);
  EXPECT_FALSE(failed(run));
  EXPECT_EQ(run.sizes.ndata, 4);
  EXPECT_FALSE(run.models.converged[0]);
}

// Without a record the row isn't used, and the next point takes its place.
TEST(Pass, closes_the_gap_of_a_point_without_result) {
  SamplingState state(20);
  RunState& run = state.run();
  state.set_simulator(
      "[ -e called ] || { touch called; : > output.txt; exit 0; }\n"
      "awk 'NR == 2 { printf \"%.17g %.17g\\n\", $1, 2 * $1 }' input.txt > output.txt");
  run.options.maxpoints = 3;
  trvadaptivesampling(run);
  EXPECT_FALSE(failed(run));
  EXPECT_EQ(run.sizes.ndata, 6);
  for (int i = 3; i < 6; ++i) {
    EXPECT_EQ(run.points.zdata(i, 0), 2.0 * run.points.xdata(i, 0)) << i;
    EXPECT_EQ(run.basis.xij(i, 0), run.points.xdata(i, 0)) << i;
  }
  EXPECT_TRUE(run.models.converged[0]);
}

TEST(Pass, loses_its_rows_with_a_code) {
  SamplingState state(20);
  RunState& run = state.run();
  state.set_simulator(
      "[ -e called ] && exit 1\ntouch called\n"
      "awk 'NR == 2 { print $1, 2 * $1 }' input.txt > output.txt");
  run.options.maxpoints = 3;
  trvadaptivesampling(run);
  EXPECT_EQ(run.status.trvstatus, Code::simulator_failed);
  EXPECT_EQ(run.sizes.ndata, 3);
}

}  // namespace
}  // namespace torve::test
