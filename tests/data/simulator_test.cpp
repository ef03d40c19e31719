// What the whole runs can't show: single steps of the exchange, and that none leaves anything
// behind.
#include "data/simulator.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "support/rows.h"
#include "support/sampling_state.h"

namespace torve::test {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view doubles_the_input =
    "awk 'NR==1 { n = $1; next } NR <= n + 1 { print $1, 2 * $1 }' input.txt > output.txt";

// Runs rows 3 to 5 (from 0), which hold 3, 5 and 7.
int lastobtained_of(RunState& run, bool isfresh = true) {
  for (int i = 3; i < 6; ++i) run.points.xdata(i, 0) = 2.0 * i - 3.0;
  int lastobtained = -5;
  runsimulator(run, 3, 5, lastobtained, isfresh);
  return lastobtained;
}

TEST(Simulator, fills_the_rows) {
  SamplingState state(6);
  state.set_simulator(std::string(doubles_the_input));
  EXPECT_EQ(lastobtained_of(state.run()), 5);
  EXPECT_FALSE(failed(state.run()));
  for (int i = 3; i < 6; ++i) {
    EXPECT_EQ(state.run().points.zdata(i, 0), 2.0 * (2.0 * i - 3.0));
    EXPECT_TRUE(state.run().points.simulated(i, 0));
  }
  EXPECT_EQ(state.run().counters.n_sim, 3);
  EXPECT_GT(state.run().timers.t_sim, 0.0);
}

TEST(Simulator, counts_its_time_in_the_total) {
  SamplingState state(6);
  state.set_simulator("sleep 0.2\n" + std::string(doubles_the_input));
  const double before = elapsed(state.run());
  lastobtained_of(state.run());
  EXPECT_GE(state.run().timers.t_sim, 0.2);
  EXPECT_GE(elapsed(state.run()) - before, 0.2);
}

TEST(Simulator, marks_rows_that_did_not_come) {
  SamplingState state(6);
  state.set_simulator("echo 3 6 > output.txt");
  EXPECT_EQ(lastobtained_of(state.run()), 3);
  EXPECT_TRUE(state.run().points.simulated(3, 0));
  EXPECT_FALSE(state.run().points.simulated(4, 0));
  EXPECT_FALSE(state.run().points.simulated(5, 0));
}

TEST(Simulator, marks_values_near_preset) {
  SamplingState state(6);
  state.set_simulator("printf '3 -111111.00009\\n5 -111110.9998\\n7 -111111\\n' > output.txt");
  EXPECT_EQ(lastobtained_of(state.run()), 5);
  EXPECT_FALSE(state.run().points.simulated(3, 0));
  EXPECT_TRUE(state.run().points.simulated(4, 0));
  EXPECT_FALSE(state.run().points.simulated(5, 0));
}

TEST(Simulator, marks_nothing_unless_points_are_fresh) {
  SamplingState state(6);
  state.set_simulator("echo 3 -111111 > output.txt");
  EXPECT_EQ(lastobtained_of(state.run(), false), 3);
  for (int i = 3; i < 6; ++i) EXPECT_TRUE(state.run().points.simulated(i, 0));
}

TEST(Simulator, gives_nothing_when_there_is_none) {
  SamplingState state(6);
  EXPECT_EQ(lastobtained_of(state.run()), 2);
  EXPECT_FALSE(failed(state.run()));
}

// --- bank ---------------------------------------------------------------------------------------

TEST(Bank, gives_the_nearest_point_that_is_left) {
  SamplingState state(6);
  state.set_bank({9, 6, 2}, {90, 60, 20});
  EXPECT_EQ(lastobtained_of(state.run()), 5);
  EXPECT_EQ(state.run().points.xdata(3, 0), 2);
  EXPECT_EQ(state.run().points.xdata(4, 0), 6);
  EXPECT_EQ(state.run().points.xdata(5, 0), 9);
  EXPECT_EQ(state.run().points.zdata(5, 0), 90);
  EXPECT_EQ(state.run().sizes.nbankleft, 0);
}

TEST(Bank, takes_the_first_of_equals) {
  SamplingState state(6);
  state.set_bank({2, 4, 2, 4}, {1, 2, 3, 4});
  lastobtained_of(state.run());
  EXPECT_EQ(state.run().points.zdata(3, 0), 1);
}

// The search ends at a point that is near enough, even with a nearer one behind it.
TEST(Bank, looks_no_further_than_near_enough) {
  SamplingState state(6);
  state.set_bank({3.0005, 3, 6}, {1, 2, 3});
  lastobtained_of(state.run());
  EXPECT_EQ(state.run().points.zdata(3, 0), 1);
}

TEST(Bank, has_points_however_far) {
  SamplingState state(6);
  state.set_bank({1e20, -1e200, 1e16}, {1, 2, 3});
  EXPECT_EQ(lastobtained_of(state.run()), 5);
  EXPECT_EQ(state.run().sizes.nbankleft, 0);
}

TEST(Bank, ends_a_batch_without_simulator) {
  SamplingState state(6);
  state.set_bank({3, 5}, {6, 10});
  EXPECT_EQ(lastobtained_of(state.run()), 4);
  EXPECT_FALSE(failed(state.run()));
}

TEST(Bank, leaves_the_rest_to_the_simulator) {
  SamplingState state(6);
  state.set_bank({3.5}, {7});
  state.set_simulator(std::string(doubles_the_input));
  EXPECT_EQ(lastobtained_of(state.run()), 5);
  EXPECT_EQ(state.run().points.xdata(3, 0), 3.5);
  EXPECT_EQ(state.run().points.zdata(4, 0), 10);
  EXPECT_EQ(state.run().counters.n_sim, 2);
}

TEST(Bank, marks_its_points_without_value) {
  SamplingState state(6);
  state.set_bank({3, 5, 7}, {6, -111111, 14});
  lastobtained_of(state.run());
  EXPECT_FALSE(state.run().points.simulated(4, 0));
  EXPECT_TRUE(state.run().points.simulated(5, 0));
}

// --- failures -----------------------------------------------------------------------------------

struct Failure {
  std::string_view name;
  std::string script;
  Code code;
  int location;
  double maxtime = 1000.0;
};

void PrintTo(const Failure& row, std::ostream* out) {
  *out << row.name;
}

class SimulatorFailures : public testing::TestWithParam<Failure> {};

TEST_P(SimulatorFailures, leave_nothing_behind) {
  for (const bool scratch : {false, true}) {
    SamplingState state(6);
    RunState& run = state.run();
    state.set_simulator(GetParam().script);
    if (scratch) state.use_scratch();
    run.options.maxtime = GetParam().maxtime;
    const std::size_t descriptors = open_descriptors();
    lastobtained_of(run);
    EXPECT_EQ(run.status.trvstatus, GetParam().code);
    EXPECT_EQ(run.status.trvlocation, GetParam().location);
    EXPECT_EQ(open_descriptors(), descriptors);
    EXPECT_FALSE(has_children());
    EXPECT_EQ(fs::current_path(), run.files.execdir);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, SimulatorFailures,
    testing::Values(
        Failure{"status", "exit 1", Code::simulator_failed, 211},
        Failure{"no_output", "true", Code::simulator_output_failed, 217},
        Failure{"word", "echo three 6 > output.txt", Code::simulator_output_failed, 217},
        Failure{"range", "echo 11 6 > output.txt", Code::data_out_of_range, 212},
        Failure{"input_nan", "echo nan 6 > output.txt", Code::simulator_input_nan, 213},
        Failure{"output_nan", "echo 3 nan > output.txt", Code::simulator_output_nan, 214},
        Failure{"hangs", "sleep 1000", Code::time_used_up, 89, 0.3},
        Failure{"hangs_with_children", "sleep 1000 & sleep 1000 & wait", Code::time_used_up, 89,
                0.3},
        Failure{"fills_a_pipe", "yes | head -c 100000000 | sleep 1000", Code::time_used_up, 89,
                0.3}),
    RowName());

TEST(SimulatorFolders, code_for_a_scratch_folder_that_is_gone) {
  SamplingState state(6);
  state.set_simulator(std::string(doubles_the_input));
  state.run().options.usescratch = true;
  EXPECT_EQ(lastobtained_of(state.run()), 2);
  EXPECT_EQ(state.run().status.trvstatus, Code::cannot_enter_scratch);
  EXPECT_EQ(state.run().status.trvlocation, 210);
}

TEST(SimulatorFolders, code_for_a_folder_of_the_run_that_is_gone) {
  SamplingState state(6);
  state.set_simulator(std::string(doubles_the_input));
  state.use_scratch();
  const std::string here = state.run().files.execdir;
  state.run().files.execdir = here + "/gone";
  lastobtained_of(state.run());
  fs::current_path(here);
  EXPECT_EQ(state.run().status.trvstatus, Code::cannot_enter_execution_folder);
  EXPECT_EQ(state.run().status.trvlocation, 218);
}

// The error that came first is the one that is told.
TEST(SimulatorFolders, keep_the_first_code) {
  SamplingState state(6);
  state.set_simulator("exit 1");
  state.use_scratch();
  const std::string here = state.run().files.execdir;
  state.run().files.execdir = here + "/gone";
  lastobtained_of(state.run());
  fs::current_path(here);
  EXPECT_EQ(state.run().status.trvstatus, Code::simulator_failed);
}

TEST(SimulatorFolders, code_for_an_input_file_that_cannot_be_written) {
  SamplingState state(6);
  state.set_simulator(std::string(doubles_the_input));
  state.run().options.simin = "nowhere/input.txt";
  lastobtained_of(state.run());
  EXPECT_EQ(state.run().status.trvstatus, Code::simulator_input_failed);
  EXPECT_EQ(state.run().status.trvlocation, 216);
}

}  // namespace
}  // namespace torve::test
