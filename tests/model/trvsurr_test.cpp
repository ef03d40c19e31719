// The driver of an output's selection: which strategies run, in what order, and what ends them.
// With debug the listing names each strategy on entry.
#include "model/trvsurr.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "model/enumeration.h"
#include "model/fit.h"
#include "support/reference_selection.h"
#include "support/small_problem.h"

namespace torve::test {
namespace {

int occurrences(const std::string& text, std::string_view part) {
  int count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

int enumerated_sizes(const SmallRun& run) {
  return occurrences(run.listing(), ">>> Entering trvenum1 with\n");
}
int full_enumerations(const SmallRun& run) {
  return occurrences(run.listing(), ">>> Entering trvenum with\n");
}
int build_ups(const SmallRun& run) {
  return occurrences(run.listing(), ">>> Entering trvbuildup with\n");
}
int back_steps(const SmallRun& run) {
  return occurrences(run.listing(), ">>> Entering trvbackstep with\n");
}

std::string chosen(SmallRun& run, int k = 0) {
  std::string text;
  for (const bool value : run.chosen(k)) text += value ? '1' : '0';
  return text;
}

// Orthogonal columns of +-1 over eight points; each output has its weights, and a rest of 8.
SmallProblem orthogonal(const std::vector<std::array<double, 4>>& outputs) {
  SmallProblem problem;
  for (unsigned i = 0; i < 8; ++i) {
    const auto sign = [&](unsigned bits) {
      return __builtin_popcount(i & bits) % 2 == 0 ? 1.0 : -1.0;
    };
    problem.x.push_back({sign(1), sign(2), sign(4), sign(3)});
    problem.z.emplace_back();
    for (const auto& weights : outputs) {
      double z = sign(7);
      for (std::size_t j = 0; j < 4; ++j) z += weights[j] * problem.x.back()[j];
      problem.z.back().push_back(z);
    }
  }
  problem.options = "constant 0\ndebug 1\n";
  return problem;
}

SmallRun run_of(SmallProblem problem, const std::string& options) {
  problem.options += options;
  return SmallRun(problem.text());
}

// Ready for another call of the driver.
void forget_models(RunState& run) {
  run.options.print_to_screen = false;
  run.options.debug = false;
  run.models.hasmodel.fill(false);
  run.models.bestchosen.fill(false);
  run.models.bestbeta.fill(0.0);
  run.models.converged.fill(false);
  run.counters = Counters{};
}

// --- the walk over sizes ------------------------------------------------------------------------

TEST(Sizes, end_at_the_first_without_gain) {
  SmallRun run = run_of(orthogonal({{5, 3, 0.3, 0.2}}), "");
  EXPECT_EQ(chosen(run), "1100");
  EXPECT_EQ(enumerated_sizes(run), 3);
  EXPECT_EQ(run.state().counters.numOLRs, 1 + 4 + 6 + 4);
  EXPECT_EQ(build_ups(run), 0);
  EXPECT_NEAR(run.reported_metric("Z1"), 2 * std::log(8.0) + 8 * std::log(1.13), 1e-12);
}

TEST(Sizes, all_have_their_turn_under_percentages) {
  SmallRun run = run_of(orthogonal({{5, 3, 0.3, 0.2}}), "modeler 8\nbackstepper 1\n");
  EXPECT_EQ(enumerated_sizes(run), 4);
  EXPECT_EQ(build_ups(run), 1);
  EXPECT_EQ(back_steps(run), 1);
}

TEST(Sizes, have_a_single_pass_for_one_term) {
  SmallRun run = run_of(orthogonal({{5, 3, 0, 0}}), "maxterms 1\n");
  EXPECT_EQ(chosen(run), "1000");
  EXPECT_EQ(enumerated_sizes(run), 1);
  EXPECT_EQ(run.state().counters.numOLRs, 1 + 4);
}

TEST(Sizes, end_with_an_exact_fit) {
  SmallProblem problem = orthogonal({{0, 0, 0, 0}});
  for (std::size_t i = 0; i < 8; ++i) problem.z[i][0] = 2 * problem.x[i][1];
  SmallRun run = run_of(problem, "");
  EXPECT_EQ(chosen(run), "0100");
  EXPECT_EQ(enumerated_sizes(run), 1);
  EXPECT_EQ(run.reported_metric("Z1"), -1e30);
}

TEST(Sizes, end_within_the_tolerance) {
  // Errors: sqrt(8 * 26) / 8 with the best single column, sqrt(8 * 10) / 8 with the best two.
  SmallProblem problem = orthogonal({{5, 4, 3, 0}});
  for (const std::string_view enumall : {"enumall 0\n", "enumall -1\n"}) {
    SmallRun run = run_of(problem, std::string(enumall) + "tolmeanerror 1.119\n");
    EXPECT_EQ(chosen(run), "1100");
    EXPECT_EQ(enumerated_sizes(run), 2);
    // The first pair is within it.
    EXPECT_EQ(run.state().counters.numOLRs, 1 + 4 + 1);
    SmallRun closer = run_of(problem, std::string(enumall) + "tolmeanerror 1.118\n");
    EXPECT_EQ(chosen(closer), "1110");
  }
}

TEST(Sizes, go_on_where_groups_forbid_one) {
  SmallProblem problem = orthogonal({{5, 3, 0.3, 0.2}});
  problem.options += "ngroups 1\n";
  problem.sections =
      "begin_groups\n1 lin -1\nend_groups\nbegin_groupcon\n1 1 atl 2\nend_groupcon\n";
  SmallRun run(problem.text());
  EXPECT_EQ(chosen(run), "1100");
  // Not a single column was fitted, and the first model that is reported has two terms.
  EXPECT_EQ(run.state().counters.numOLRs, 1 + 6 + 4);
  const std::size_t first = run.listing().find("\n ---- ");
  EXPECT_EQ(
      occurrences(run.listing().substr(first, run.listing().find('\n', first + 1) - first), " * "),
      2);
  // No gain at size 3 doesn't end the sizes under group rules, but too small a gain does.
  EXPECT_EQ(enumerated_sizes(run), 3);
}

TEST(Sizes, store_nothing_where_groups_forbid_all) {
  SmallProblem problem = orthogonal({{5, 3, 0, 0}});
  problem.options += "ngroups 1\n";
  problem.sections =
      "begin_groups\n1 lin -1\nend_groups\nbegin_groupcon\n1 1 nmt 0\nend_groupcon\n";
  SmallRun run(problem.text());
  EXPECT_TRUE(run.ended_normally());
  EXPECT_FALSE(run.state().models.hasmodel[0]);
  EXPECT_EQ(chosen(run), "0000");
  EXPECT_EQ(run.state().counters.numOLRs, 1);
}

TEST(Sizes, are_not_walked_when_the_full_fit_is_the_answer) {
  SmallRun run = run_of(orthogonal({{5, 3, 2, 1}}), "modeler 6\n");
  EXPECT_EQ(chosen(run), "1111");
  EXPECT_EQ(run.state().counters.numOLRs, 1);
  EXPECT_NEAR(run.reported_metric("Z1"), 8.0, 1e-12);
  SmallRun fewer = run_of(orthogonal({{5, 3, 2, 1}}), "modeler 6\nmaxterms 3\n");
  EXPECT_EQ(chosen(fewer), "1110");
  SmallRun penalised = run_of(orthogonal({{5, 3, 2, 1}}), "modeler 6\nconvpen 10\n");
  EXPECT_EQ(chosen(penalised), "1110");
}

// --- enumeration --------------------------------------------------------------------------------

// With a huge noise level Cp is 2 p - n to the last bit, whatever the fit.
TEST(Ties, go_to_the_smaller_fit) {
  SmallRun run = run_of(orthogonal({{1, 3, 2, 0}}), "modeler 2\nsigma 1e20\nmaxterms 1\n");
  EXPECT_EQ(chosen(run), "0100");
  EXPECT_EQ(run.reported_metric("Z1"), -6.0);
}

TEST(Ties, of_both_go_to_the_earlier_subset) {
  SmallRun run = run_of(orthogonal({{1, 3, 3, -3}}), "maxterms 1\n");
  EXPECT_EQ(chosen(run), "0100");
}

struct Enumeration : testing::Test {
  SmallRun run = run_of(orthogonal({{1, 3, 2, 0}}), "");
  RunState& state = run.state();

  void SetUp() override { forget_models(state); }
};

TEST_F(Enumeration, keeps_an_incumbent_that_is_not_beaten) {
  state.models.bestchosen(3, 0) = true;
  state.models.bestbeta(3, 0) = 9.0;
  ModelValue best{-1e9, 0.5, 3.0};
  EXPECT_FALSE(trvenum1(state, 0, 2, best));
  EXPECT_EQ(best.metric, -1e9);
  EXPECT_EQ(best.fit, 3.0);
  EXPECT_EQ(chosen(run), "0001");
  EXPECT_EQ(state.models.thisbeta[3], 9.0);
  EXPECT_TRUE(state.models.thischoice[3]);
  EXPECT_FALSE(state.models.thischoice[0]);
  EXPECT_FALSE(state.models.hasmodel[0]);
  EXPECT_EQ(state.counters.numOLRs, 6);
}

TEST_F(Enumeration, ends_with_a_subset_within_the_tolerance) {
  // x1 x2 leaves 40, x1 x3 leaves 80, x2 x3 leaves 16.
  state.outputs.tolmeanerror[0] = std::sqrt(40.0) / 8 + 1e-9;
  ModelValue best;
  trvenum1(state, 0, 2, best);
  EXPECT_EQ(chosen(run), "1100");
  EXPECT_EQ(state.counters.numOLRs, 1);
  // A worse metric than the incumbent's doesn't keep it from ending the walk.
  forget_models(state);
  best = {-1e9, 0.5, 3.0};
  trvenum1(state, 0, 2, best);
  EXPECT_EQ(best.metric, -1e9);
  EXPECT_EQ(state.counters.numOLRs, 1);
}

TEST_F(Enumeration, charges_the_size_where_too_few_columns_are_left) {
  state.models.screened[0] = state.models.screened[3] = false;
  ModelValue best;
  trvenum1(state, 0, 3, best);
  EXPECT_EQ(chosen(run), "0110");
  EXPECT_EQ(state.counters.numOLRs, 1);
  EXPECT_NEAR(best.metric, 3 * std::log(8.0) + 8 * std::log(2.0), 1e-12);
}

TEST_F(Enumeration, measures_percentages_plainly) {
  state.options.modeler = 8;
  ModelValue best;
  trvenum1(state, 0, 1, best);
  EXPECT_DOUBLE_EQ(best.meanerr, std::sqrt(best.fit) / 8);
}

TEST_F(Enumeration, ends_with_a_failed_fit) {
  Options& options = state.options;
  options.olrone = options.olrdgels = options.olrclr = options.olrmir = false;
  state.lsq.nbasgsi = 0;
  ModelValue best;
  EXPECT_TRUE(trvenum1(state, 0, 2, best));
  EXPECT_EQ(state.counters.numOLRs, 1);
  trvsurr1(state, 0, 4, false);
  EXPECT_EQ(state.status.trvstatus, Code::buildup_fit_failed);
  EXPECT_EQ(state.status.trvlocation, 219);
}

TEST(Enumeration1, never_runs_with_a_limit_of_zero) {
  SmallRun run = run_of(orthogonal({{5, 3, 0, 0}}), "enum1 0\n");
  EXPECT_EQ(enumerated_sizes(run), 0);
  EXPECT_EQ(build_ups(run), 1);
  EXPECT_EQ(chosen(run), "1100");
  SmallRun all = run_of(orthogonal({{5, 3, 0, 0}}), "enum1 0\nenumall -1\n");
  EXPECT_EQ(enumerated_sizes(all), 3);
  EXPECT_EQ(build_ups(all), 0);
}

TEST(Enumeration1, is_replaced_by_a_solver_without_a_builder) {
  SmallRun run = run_of(orthogonal({{5, 3, 0, 0}}), "enum1 0\nbuilder 0\nmipgms 0\nmipmir 0\n");
  EXPECT_EQ(run.state().status.trvstatus, Code::solver_needed);
  EXPECT_EQ(run.state().status.trvlocation, 220);
  EXPECT_FALSE(run.state().models.hasmodel[0]);
}

// --- several outputs ----------------------------------------------------------------------------

// A budget of two terms is covered by a limit of two subsets, one of four isn't.
TEST(FullEnumeration, stays_on_for_later_outputs) {
  const SmallProblem problem = orthogonal({{5, 3, 0, 0}, {0, 3, 0, 4}});
  EXPECT_EQ(full_enumerations(run_of(problem, "enumall 2\nmaxterms 2 4\n")), 2);
  EXPECT_EQ(full_enumerations(run_of(problem, "enumall 2\nmaxterms 4 2\n")), 1);
  EXPECT_EQ(full_enumerations(run_of(problem, "enumall 2\nmaxterms 4 4\n")), 0);
  EXPECT_EQ(full_enumerations(run_of(problem, "enumall 8\nmaxterms 4 4\n")), 2);
}

TEST(FullEnumeration, runs_for_a_bounded_output_too) {
  SmallProblem problem = orthogonal({{5, 3, 0, 0}, {0, 3, 0, 4}});
  problem.options += "enumall 2\nmaxterms 2 4\n";
  problem.sections = "begin_zmin\n2 -100\n2 -100\nend_zmin\n";
  SmallRun run(problem.text());
  EXPECT_FALSE(run.state().models.conreg[0]);
  EXPECT_TRUE(run.state().models.conreg[1]);
  EXPECT_EQ(full_enumerations(run), 2);
  // Sizes 1, 2 and 3 of the second output, which can't gain, through the constrained fit.
  EXPECT_EQ(run.state().models.clrcalls[0], 0);
  EXPECT_EQ(run.state().models.clrcalls[1], 4 + 6 + 4);
  EXPECT_EQ(chosen(run, 1), "0101");
}

TEST(Outputs, that_have_converged_are_left) {
  SmallRun run = run_of(orthogonal({{5, 3, 0, 0}, {0, 3, 0, 4}}), "");
  RunState& state = run.state();
  forget_models(state);
  state.models.converged[0] = true;
  state.options.print_to_screen = true;
  testing::internal::CaptureStdout();
  trvsurr(state);
  EXPECT_NE(testing::internal::GetCapturedStdout().find(
                "We have already converged the model for variable Z1\n"),
            std::string::npos);
  EXPECT_FALSE(state.models.hasmodel[0]);
  EXPECT_TRUE(state.models.hasmodel[1]);
}

TEST(Outputs, are_left_when_the_time_is_up) {
  SmallRun run = run_of(orthogonal({{5, 3, 0, 0}, {0, 3, 0, 4}}), "");
  forget_models(run.state());
  run.state().options.maxtime = 0.0;
  trvsurr(run.state());
  EXPECT_EQ(run.state().status.trvstatus, Code::time_used_up);
  EXPECT_EQ(run.state().status.trvlocation, 89);
  EXPECT_TRUE(run.state().models.hasmodel[0]);
  EXPECT_FALSE(run.state().models.hasmodel[1]);
}

TEST(Outputs, need_the_scratch_folder) {
  SmallRun run = run_of(orthogonal({{5, 3, 0, 0}}), "");
  forget_models(run.state());
  run.state().options.usescratch = true;
  run.state().files.scratch = "/no/such/folder";
  trvsurr(run.state());
  EXPECT_EQ(run.state().status.trvstatus, Code::cannot_enter_scratch);
  EXPECT_EQ(run.state().status.trvlocation, 68);
  EXPECT_FALSE(run.state().models.hasmodel[0]);
}

TEST(Outputs, have_null_models_without_columns) {
  SmallRun run = run_of(orthogonal({{5, 3, 0, 0}, {0, 3, 0, 4}}), "linfcns 0\n");
  constexpr std::string_view line =
      "No basis functions are numerically acceptable.  Terminating with null model(s).\n";
  EXPECT_TRUE(run.ended_normally());
  EXPECT_EQ(occurrences(run.screen(), line), 1);
  for (std::size_t k : {0U, 1U}) {
    EXPECT_TRUE(run.state().models.converged[k]);
    EXPECT_FALSE(run.state().models.hasmodel[k]);
  }
  // The scratch folder isn't entered, or it would be missed.
  run.state().options.usescratch = true;
  run.state().options.print_to_screen = false;
  run.state().files.scratch = "/no/such/folder";
  trvsurr(run.state());
  EXPECT_EQ(run.state().status.trvstatus, Code::normal);
}

// --- noise level --------------------------------------------------------------------------------

// The full fit leaves 8 over 8 points, so that an estimate is 1 for the first output; the second
// has half its rest.
SmallProblem two_noise_levels() {
  SmallProblem problem = orthogonal({{5, 3, 0, 0}, {0, 0, 0, 0}});
  for (std::size_t i = 0; i < 8; ++i) {
    problem.z[i][1] = 0.5 * (problem.z[i][0] - 5 * problem.x[i][0] - 3 * problem.x[i][1]);
  }
  return problem;
}

std::vector<double> noise_levels(const SmallRun& run) {
  std::vector<double> levels;
  constexpr std::string_view words = "\nsigma in trvsurr1 = ";
  const std::string& text = run.listing();
  for (std::size_t at = text.find(words); at != std::string::npos; at = text.find(words, at + 1)) {
    levels.push_back(std::stod(text.substr(at + words.size())));
  }
  return levels;
}

void expect_levels(const std::string& options, double first, double second) {
  const std::vector<double> levels = noise_levels(run_of(two_noise_levels(), options));
  ASSERT_EQ(levels.size(), 2U) << options;
  EXPECT_NEAR(levels[0], first, 1e-12) << options;
  EXPECT_NEAR(levels[1], second, 1e-12) << options;
}

TEST(Noise, is_one_unless_it_is_given) {
  expect_levels("", 1.0, 1.0);
  expect_levels("sigma 0.25\n", 0.25, 0.25);
}

TEST(Noise, is_estimated_for_every_output) {
  for (const int modeler : {1, 2, 7}) {
    expect_levels(fmt::format("modeler {}\nsigma -1\n", modeler), 1.0, 0.5);
    expect_levels(fmt::format("modeler {}\nsigma 0\n", modeler), 1.0, 0.5);
  }
}

TEST(Noise, stands_where_the_metric_needs_none) {
  for (const int modeler : {3, 4, 5, 6, 8}) {
    expect_levels(fmt::format("modeler {}\nsigma -1\n", modeler), -1.0, -1.0);
  }
}

TEST(Noise, stands_where_there_are_too_few_points) {
  SmallProblem problem = two_noise_levels();
  problem.options += "monomialpower 3\nsigma -1\n";  // eight columns for eight points
  for (const double level : noise_levels(SmallRun(problem.text()))) EXPECT_EQ(level, -1.0);
}

// --- stored models ------------------------------------------------------------------------------

TEST(StoreModel, drops_terms_without_a_coefficient) {
  SmallRun run = run_of(orthogonal({{5, 3, 0, 0}}), "");
  RunState& state = run.state();
  forget_models(state);
  const std::array<double, 4> beta = {1e-200, 0.0, std::nan(""), 4.0};
  for (std::size_t j = 0; j < 4; ++j) {
    state.models.thischoice[j] = true;
    state.models.thisbeta[j] = beta[j];
  }
  storemodel(state, 0, 1.0);
  EXPECT_EQ(chosen(run), "1001");
  EXPECT_EQ(state.models.ModelSize[0], 2);
  EXPECT_TRUE(state.models.hasmodel[0]);
}

TEST(ReportModel, names_the_metric) {
  const std::array<std::string_view, 8> names = {"BIC", "Cp",   "AICc", "HQC",
                                                 "MSE", "SSEp", "RIC",  "MADp"};
  for (int modeler = 1; modeler <= 8; ++modeler) {
    const SmallRun run =
        run_of(orthogonal({{5, 3, 0, 0}}), fmt::format("modeler {}\nmaxterms 1\n", modeler));
    const std::string line =
        fmt::format("\n ---- {} = ", names[static_cast<std::size_t>(modeler - 1)]);
    EXPECT_EQ(occurrences(run.listing(), line), 1) << modeler;
    EXPECT_EQ(occurrences(run.screen(), line), 1) << modeler;
    // The largest percentage is least with a coefficient of zero.
    const std::string_view model = modeler == 8 ? " with Z1 = 0.00 * X" : " with Z1 = 5.00 * X1\n";
    EXPECT_EQ(occurrences(run.screen(), model), 1) << run.screen();
  }
}

// --- the lasso's model --------------------------------------------------------------------------

TEST(LassoModel, ends_the_output_within_the_tolerance) {
  SmallRun run = run_of(orthogonal({{5, 3, 0, 0}}), "screener 1\nlassopath 1\ntolmeanerror 100\n");
  EXPECT_TRUE(run.state().models.LassoSuccess[0]);
  EXPECT_TRUE(run.state().models.hasmodel[0]);
  EXPECT_EQ(run.state().counters.numOLRs, 0);
  EXPECT_EQ(run.state().models.Metric2Lasso[0], run.state().options.preset);
}

TEST(LassoModel, loses_against_a_better_one) {
  const std::array<double, 4> weights = {5, 3, 0, 0.3};
  SmallRun run = run_of(orthogonal({weights}), "screener 1\nlassopath 1\nbuilder 0\n");
  EXPECT_FALSE(run.state().models.LassoSuccess[0]);
  EXPECT_EQ(chosen(run), "1100");
  EXPECT_NEAR(run.beta(0)[0], 5.0, 1e-12);
  // Its coefficients are drawn towards zero, and its metric is that of the plain formula.
  const Array<double>& beta = run.state().models.lassobeta;
  double fit = 8.0;
  int terms = 0;
  for (std::size_t j = 0; j < 4; ++j) {
    fit += 8 * (weights[j] - beta[j]) * (weights[j] - beta[j]);
    terms += beta[j] != 0.0 ? 1 : 0;
  }
  EXPECT_GT(fit, 8.0);
  EXPECT_NEAR(run.state().models.Metric1Lasso[0], terms * std::log(8.0) + 8 * std::log(fit / 8),
              1e-10);
}

// Full enumeration leaves the comparison's start value behind, which the lasso's model beats.
TEST(LassoModel, wins_after_full_enumeration) {
  SmallRun run =
      run_of(orthogonal({{5, 3, 0, 0}}), "screener 1\nlassopath 1\nenumall -1\nbuilder 0\n");
  EXPECT_TRUE(run.state().models.LassoSuccess[0]);
  EXPECT_EQ(run.reported_metric("Z1"), run.state().models.Metric1Lasso[0]);
}

// --- random walks with the greedy strategies ----------------------------------------------------

TEST(Driver, walks_as_told_where_enumeration_is_out_of_reach) {
  for (std::uint64_t seed = 1; seed <= 150; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const int inputs = random.whole(3, 9);
    const int points = inputs + random.whole(4, 12);
    SmallProblem problem;
    std::vector<std::vector<double>> columns(static_cast<std::size_t>(inputs));
    std::vector<double> z;
    for (int i = 0; i < points; ++i) {
      problem.x.emplace_back();
      z.push_back(0.5 * random.normal());
      for (int j = 0; j < inputs; ++j) {
        columns[static_cast<std::size_t>(j)].push_back(random.normal());
        problem.x.back().push_back(columns[static_cast<std::size_t>(j)].back());
        z.back() += (j % 2 == 0 ? 1.0 : 0.1) * problem.x.back().back();
      }
      problem.z.push_back({z.back()});
    }
    ReferenceOptions options;
    options.modeler = random.whole(1, 8);
    options.convpen = random.real(0.1, 2.0);
    options.nbasmax = inputs;
    options.nmax = random.whole(2, inputs);
    options.backstepper = random.chance(0.6);
    options.builder = !options.backstepper || random.chance(0.7);
    options.greedybuild = random.chance(0.6);
    options.greedyback = random.chance(0.6);
    options.enum1 = random.chance(0.5) ? 0 : inputs + random.whole(0, 3 * inputs);
    options.tolmeanerror = random.chance(0.7) ? -1.0 : random.real(0.05, 0.4);
    problem.options = fmt::format(
        "constant 0\nmodeler {}\nconvpen {}\nmaxterms {}\nbackstepper {}\n", options.modeler,
        digits(options.convpen), options.nmax, options.backstepper ? 1 : 0);
    SmallRun run(problem.text());
    RunState& state = run.state();
    forget_models(state);
    state.options.enum1 = options.enum1;
    state.options.builder = options.builder ? 1 : 0;
    state.options.greedybuild = options.greedybuild;
    state.options.greedyback = options.greedyback;
    state.outputs.tolmeanerror[0] = options.tolmeanerror;
    trvsurr(state);
    ReferenceSelection reference(columns, z, std::vector<bool>(z.size(), true),
                                 (Mask{1} << static_cast<unsigned>(inputs)) - 1, options);
    const ReferenceModel expected = reference.walk();
    Mask mask = 0;
    const std::vector<bool> found = run.chosen(0);
    for (std::size_t j = 0; j < found.size(); ++j) mask |= found[j] ? Mask{1} << j : 0;
    ASSERT_EQ(mask, expected.mask) << problem.text();
    for (std::size_t j = 0; j < found.size(); ++j) {
      EXPECT_NEAR(found[j] ? run.beta(0)[j] : 0.0, expected.beta[j], 1e-9);
    }
  }
}

}  // namespace
}  // namespace torve::test
