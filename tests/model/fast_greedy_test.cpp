// Build-up and back-step with few fits against a fit of every candidate: what they leave in the run
// state, and the screen, listing and trace of whole runs, are the same but for times.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "model/fit.h"
#include "model/greedy.h"
#include "support/design_problems.h"
#include "support/rows.h"
#include "support/sample_problem.h"

namespace torve::test {
namespace {

// Half a hundred independent columns: large models without a doubtful one.
void make_many_inputs(SmallProblem& problem, Random& random, int points) {
  for (int i = 0; i < std::max(points, 70); ++i) {
    problem.x.emplace_back();
    double z = random.normal();
    for (int j = 0; j < 50; ++j) {
      problem.x.back().push_back(random.normal());
      if (j % 4 == 0) z += random.chance(0.9) ? problem.x.back().back() : 0.0;
    }
    problem.z.push_back({z});
  }
}

std::vector<DesignProblem> designs() {
  std::vector<DesignProblem> all = design_problems();
  all.push_back({"many_inputs", make_many_inputs, "screener 0\ntracefname trace.trc\n"});
  return all;
}

// --- calls --------------------------------------------------------------------------------------

// What a call leaves, numbers by their bits.
struct Left {
  bool nogain;
  std::vector<std::uint64_t> value;
  std::vector<bool> workchoice, thischoice;
  std::vector<std::uint64_t> workbeta, thisbeta;
  std::vector<int> counts;
  bool hasmodel;
  int status;

  bool operator==(const Left&) const = default;
};

std::vector<std::uint64_t> bits_of(const std::vector<double>& numbers) {
  std::vector<std::uint64_t> bits;
  for (const double number : numbers) bits.push_back(std::bit_cast<std::uint64_t>(number));
  return bits;
}

struct Call {
  bool up;
  int maxn;
  std::vector<bool> start;
  ModelValue value;
};

Left left_by(RunState& run, const Call& call, bool fast) {
  const std::size_t nbas = at(run.sizes.nbas);
  const auto choice = std::make_unique<bool[]>(nbas);
  std::copy(call.start.begin(), call.start.end(), choice.get());
  std::vector<double> beta(nbas, 0.5);
  ModelValue value = call.value;
  run.counters = Counters{};
  run.models.olrcalls[0] = run.models.clrcalls[0] = 0;
  run.models.hasmodel[0] = false;
  run.models.thisbeta.fill(0.25);
  // The work space of DGELS only grows, and what it does may depend on that.
  run.lsq.lsqwork.release(run.memory);
  run.lsq.query_columns = -1;
  run.walk.allowed = fast;
  run.walk.output = -1;
  const auto strategy = call.up ? trvbuildup : trvbackstep;
  const bool nogain = strategy(run, 0, call.maxn, value, {choice.get(), nbas}, beta);
  recall_last_candidate(run);
  const auto this_choice = run.models.thischoice.first(nbas);
  const auto this_beta = run.models.thisbeta.first(nbas);
  const Counters& c = run.counters;
  return {nogain,
          bits_of({value.metric, value.meanerr, value.fit}),
          std::vector<bool>(choice.get(), choice.get() + nbas),
          {this_choice.begin(), this_choice.end()},
          bits_of(beta),
          bits_of({this_beta.begin(), this_beta.end()}),
          {c.numOLRs, c.OLRoneCalls, c.OLRoneFails, c.OLRdgelCalls, c.OLRdgelFails, c.OLRclrCalls,
           c.OLRclrFails, c.OLRgsiCalls, c.OLRgsiFails, c.numCLRs, run.models.olrcalls[0],
           run.models.clrcalls[0]},
          run.models.hasmodel[0],
          static_cast<int>(run.status.trvstatus)};
}

// From nothing, from anything, or from everything; with a value that is hard or easy to beat.
Call call_of(RunState& run, Random& random) {
  const int nbas = run.sizes.nbas;
  Call call;
  call.up = random.chance(0.5);
  const double share = random.chance(0.4) ? (call.up ? 0.0 : 1.0) : random.real(0.0, 1.0);
  for (int j = 0; j < nbas; ++j) call.start.push_back(random.chance(share));
  const int terms = static_cast<int>(std::ranges::count(call.start, true));
  call.maxn = random.chance(0.4) ? nbas : random.whole(0, nbas);
  if (call.up && random.chance(0.5)) call.maxn = std::min(nbas, terms + random.whole(1, 4));
  if (random.chance(0.5)) call.value = {random.real(-300.0, 300.0), 0.05, random.real(0.0, 9.0)};
  return call;
}

void vary(RunState& run, Random& random) {
  Options& options = run.options;
  options.greedybuild = random.chance(0.7);
  options.greedyback = random.chance(0.7);
  options.modeler = random.whole(1, 8);
  options.convpen = random.chance(0.5) ? 0.0 : random.real(0.0, 1.0);
  options.sigma = random.chance(0.1) ? -1.0 : random.real(0.01, 1.0);
  options.cvxbic = random.chance(0.3);
  options.olrone = random.chance(0.8);
  constexpr double tolerances[] = {-1.0, 0.0, 1e-6, 0.01, 0.1};
  run.outputs.tolmeanerror[0] = tolerances[random.whole(0, 4)];
  const bool all = random.chance(0.6);
  for (int j = 0; j < run.sizes.nbas; ++j) run.models.screened[at(j)] = all || random.chance(0.8);
}

int points_of(Random& random) {
  if (random.chance(0.1)) return random.chance(0.5) ? 400 : 1000;
  return random.chance(0.1) ? random.whole(3, 15) : random.whole(12, 60);
}

class FastGreedyCalls : public testing::TestWithParam<DesignProblem> {};

TEST_P(FastGreedyCalls, leave_what_all_fits_leave) {
  std::int64_t unfitted = 0;
  std::int64_t fits = 0;
  for (std::uint64_t seed = 1; seed <= 12; ++seed) {
    Random random(seed);
    SmallProblem problem;
    GetParam().make(problem, random, points_of(random));
    problem.options = GetParam().options + "maxterms 1\nenum1 0\nbuilder 1\n";
    SmallRun made(problem.text());
    ASSERT_TRUE(made.ended_normally()) << made.screen();
    RunState& run = made.state();
    run.options.maxtime = 1e9;
    run.walk.unfitted = 0;
    for (int round = 0; round < 25; ++round) {
      SCOPED_TRACE(fmt::format("seed {} round {}\n{}", seed, round, problem.text()));
      vary(run, random);
      const Call call = call_of(run, random);
      const Left expected = left_by(run, call, false);
      fits += run.counters.numOLRs;
      const Left found = left_by(run, call, true);
      EXPECT_EQ(found.nogain, expected.nogain);
      EXPECT_EQ(found.value, expected.value);
      EXPECT_EQ(found.workchoice, expected.workchoice);
      EXPECT_EQ(found.workbeta, expected.workbeta);
      EXPECT_EQ(found.thischoice, expected.thischoice);
      EXPECT_EQ(found.thisbeta, expected.thisbeta);
      EXPECT_EQ(found.counts, expected.counts);
      ASSERT_TRUE(found == expected) << "way " << (call.up ? "up" : "down") << " modeler "
                                     << run.options.modeler << " maxn " << call.maxn;
    }
    unfitted += run.walk.unfitted;
  }
  RecordProperty("unfitted_of_a_thousand", static_cast<int>(1000 * unfitted / fits));
  // A part of the candidates takes no fit, or this test shows nothing.
  EXPECT_GT(unfitted, 200);
  EXPECT_GT(static_cast<double>(unfitted), 0.05 * static_cast<double>(fits));
}

INSTANTIATE_TEST_SUITE_P(Rows, FastGreedyCalls, testing::ValuesIn(designs()), RowName());

// More rows than DGELS takes work space for: what a first fit leaves lets it work in blocks.
TEST(FastGreedyRoom, leave_the_bits_of_large_fits_over_many_rows) {
  constexpr int rows = 7000;
  constexpr int columns = 40;
  std::vector<Left> left;
  for (const bool fast : {false, true}) {
    RunState run;
    fill_selection(run, rows, columns);
    run.options.modeler = 6;
    run.outputs.tolmeanerror[0] = 1e9;  // ends with the budget
    left.push_back(left_by(run, {false, columns - 5, std::vector<bool>(columns, true), {}}, fast));
  }
  EXPECT_TRUE(left[0] == left[1]);
}

// --- whole runs ---------------------------------------------------------------------------------

std::string options_of(Random& random, int modeler) {
  std::string options = fmt::format("modeler {}\nenumall 0\nenum1 0\nbuilder 1\nbackstepper {}\n",
                                    modeler, random.whole(0, 1));
  options += metric_options(random, modeler);
  if (random.chance(0.5)) options += fmt::format("maxterms {}\n", random.whole(1, 6));
  return options;
}

// A second output from the first, with gaps of its own.
void add_output(SmallProblem& problem, Random& random) {
  for (auto& row : problem.z) row.push_back(0.5 * row[0] + random.normal());
  problem.options += "preset -999\n";
  problem.z[0][1] = -999.0;
}

class FastGreedyRuns : public testing::TestWithParam<DesignProblem> {};

TEST_P(FastGreedyRuns, leave_what_all_fits_leave) {
  std::int64_t unfitted = 0;
  for (int modeler = 1; modeler <= 8; ++modeler) {
    for (int round = 0; round < 4; ++round) {
      Random random(static_cast<std::uint64_t>(1000 * modeler + round));
      SmallProblem problem;
      GetParam().make(problem, random, points_of(random));
      problem.options = options_of(random, modeler) + GetParam().options;
      if (random.chance(0.3)) add_output(problem, random);
      if (random.chance(0.2)) problem.options += "screener 1\nlassopath 1\n";
      SCOPED_TRACE(problem.text());
      const bool greed = random.chance(0.7);
      const auto prepare = [&](RunState& run, bool fast) {
        run.options.greedybuild = run.options.greedyback = greed;
        run.walk.allowed = fast;
      };
      SmallRun expected(problem.text(), [&](RunState& run) { prepare(run, false); });
      SmallRun found(problem.text(), [&](RunState& run) { prepare(run, true); });
      unfitted += found.state().walk.unfitted;
      expect_same_texts(expected, found);
      if (HasFailure()) return;
    }
  }
  EXPECT_GT(unfitted, 50);
}

INSTANTIATE_TEST_SUITE_P(Rows, FastGreedyRuns, testing::ValuesIn(designs()), RowName());

}  // namespace
}  // namespace torve::test
