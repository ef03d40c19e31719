// Build-up and back-step on small examples with known answers, and on random problems against a
// search that is written out again.
#include "model/greedy.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "support/reference_selection.h"
#include "support/small_problem.h"

namespace torve::test {
namespace {

Mask bit(int j) {
  return Mask{1} << static_cast<unsigned>(j);
}

// The state of a run, with all columns screened in, and a model to work on.
class Greedy {
 public:
  explicit Greedy(const std::string& problem) : run_(problem) {
    EXPECT_TRUE(run_.ended_normally()) << run_.screen();
    state().options.print_to_screen = false;
    state().counters = Counters{};
    state().models.hasmodel[0] = false;
    state().models.screened.fill(true);
    beta.assign(columns(), 0.0);
  }

  RunState& state() { return run_.state(); }
  std::size_t columns() { return static_cast<std::size_t>(state().sizes.nbas); }
  int fits() { return state().counters.numOLRs; }

  void start(Mask mask) {
    for (std::size_t j = 0; j < columns(); ++j) {
      choice_.get()[j] = ((mask >> j) & 1U) != 0;
    }
  }
  Mask choice() {
    Mask mask = 0;
    for (std::size_t j = 0; j < columns(); ++j) mask |= choice_[j] ? bit(static_cast<int>(j)) : 0;
    return mask;
  }
  // Both return whether nothing was gained.
  bool build(int most) {
    return trvbuildup(state(), 0, most, value, {choice_.get(), columns()}, beta);
  }
  bool back(int most) {
    return trvbackstep(state(), 0, most, value, {choice_.get(), columns()}, beta);
  }

  ModelValue value;
  std::vector<double> beta;

 private:
  SmallRun run_;
  std::unique_ptr<bool[]> choice_ = std::make_unique<bool[]>(32);
};

// Orthogonal columns of +-1 over eight points; z = 1 x1 + 3 x2 + 2 x3 + 0 x4 + a rest of squares 8.
// A subset's sum of squares is 8 (1 + the squares of the coefficients that it lacks).
SmallProblem orthogonal(int columns = 4) {
  SmallProblem problem;
  const std::vector<double> weights = {1, 3, 2, 0};
  for (unsigned i = 0; i < 8; ++i) {
    const auto sign = [&](unsigned bits) {
      return __builtin_popcount(i & bits) % 2 == 0 ? 1.0 : -1.0;
    };
    const std::vector<double> row = {sign(1), sign(2), sign(4), sign(3)};
    double z = sign(7);
    for (std::size_t j = 0; j < 4; ++j) z += weights[j] * row[j];
    problem.x.push_back({row.begin(), row.begin() + columns});
    problem.z.push_back({z});
  }
  problem.options = "constant 0\nmodeler 6\nconvpen 4\ntolmeanerror 0\n";
  return problem;
}

ModelValue nothing_yet() {
  return {};
}

TEST(BuildUp, takes_the_first_column_that_gains) {
  Greedy greedy(orthogonal().text());
  greedy.start(0);
  EXPECT_FALSE(greedy.build(4));
  // x1 lowers 8 * 15 = 120 to 112 and costs 4; x2 and x3 follow, x4 gains nothing.
  EXPECT_EQ(greedy.choice(), Mask{0b0111});
  EXPECT_DOUBLE_EQ(greedy.value.fit, 8.0);
  EXPECT_DOUBLE_EQ(greedy.value.metric, 20.0);
  EXPECT_DOUBLE_EQ(greedy.value.meanerr, std::sqrt(8.0) / 8);
  EXPECT_NEAR(greedy.beta[0], 1.0, 1e-14);
  EXPECT_NEAR(greedy.beta[1], 3.0, 1e-14);
  EXPECT_NEAR(greedy.beta[2], 2.0, 1e-14);
  EXPECT_EQ(greedy.fits(), 4);
  EXPECT_TRUE(greedy.state().models.hasmodel[0]);
}

TEST(BuildUp, takes_a_poor_column_first_from_nothing) {
  Greedy greedy(orthogonal().text());
  greedy.start(0);
  EXPECT_FALSE(greedy.build(1));
  EXPECT_EQ(greedy.choice(), Mask{0b0001});
  EXPECT_EQ(greedy.fits(), 1);
}

TEST(BuildUp, takes_the_best_of_a_pass_without_greed) {
  Greedy greedy(orthogonal().text());
  greedy.state().options.greedybuild = false;
  greedy.start(0);
  EXPECT_FALSE(greedy.build(2));
  EXPECT_EQ(greedy.choice(), Mask{0b0110});
  EXPECT_DOUBLE_EQ(greedy.value.fit, 16.0);
  EXPECT_EQ(greedy.fits(), 4 + 3);
}

TEST(BuildUp, leaves_a_model_of_full_size) {
  Greedy greedy(orthogonal().text());
  for (const int most : {2, 1, 0, -1}) {
    greedy.start(0b0011);
    greedy.value = {50.0, 2.0, 42.0};
    EXPECT_TRUE(greedy.build(most));
    EXPECT_EQ(greedy.choice(), Mask{0b0011});
    EXPECT_EQ(greedy.value.metric, 50.0);
  }
  EXPECT_EQ(greedy.fits(), 0);
  EXPECT_FALSE(greedy.state().models.hasmodel[0]);
}

TEST(BuildUp, gains_nothing_over_a_good_model) {
  Greedy greedy(orthogonal().text());
  greedy.start(0b0111);
  greedy.value = {20.0, std::sqrt(8.0) / 8, 8.0};
  EXPECT_TRUE(greedy.build(4));
  EXPECT_EQ(greedy.choice(), Mask{0b0111});
  EXPECT_EQ(greedy.fits(), 1);
}

TEST(BuildUp, sees_screened_columns_alone) {
  Greedy greedy(orthogonal().text());
  greedy.state().models.screened[1] = false;
  greedy.start(0);
  EXPECT_FALSE(greedy.build(4));
  EXPECT_EQ(greedy.choice(), Mask{0b0101});
}

// With greed the tolerance is asked only behind the candidate after the one that was taken.
TEST(BuildUp, ends_within_the_tolerance_behind_the_next_candidate) {
  Greedy greedy(orthogonal().text());
  greedy.state().outputs.tolmeanerror[0] = std::sqrt(112.0) / 8 + 1e-9;
  greedy.start(0);
  EXPECT_FALSE(greedy.build(4));
  // x1 meets it; x2, the next candidate, is taken at once, x3 as well; x4 isn't taken, and ends it.
  EXPECT_EQ(greedy.choice(), Mask{0b0111});
  EXPECT_EQ(greedy.fits(), 4);

  Greedy patient(orthogonal().text());
  patient.state().options.greedybuild = false;
  patient.state().outputs.tolmeanerror[0] = std::sqrt(112.0) / 8 + 1e-9;
  patient.start(0);
  EXPECT_FALSE(patient.build(4));
  EXPECT_EQ(patient.choice(), Mask{0b0001});
  EXPECT_EQ(patient.fits(), 1);
}

std::string with_groups(SmallProblem problem, const std::string& rows, const std::string& rules) {
  problem.options += "ngroups 2\n";
  problem.sections =
      "begin_groups\n" + rows + "end_groups\nbegin_groupcon\n" + rules + "end_groupcon\n";
  return problem.text();
}

TEST(BuildUp, tries_no_forbidden_column) {
  Greedy greedy(with_groups(orthogonal(), "1 lin 1 2\n2 lin 3\n", "1 1 nmt 1\n2 1 nmt 0\n"));
  greedy.start(0);
  EXPECT_FALSE(greedy.build(4));
  EXPECT_EQ(greedy.choice(), Mask{0b0001});
  EXPECT_EQ(greedy.fits(), 2);
}

TEST(BuildUp, stands_when_every_candidate_is_forbidden) {
  Greedy greedy(with_groups(orthogonal(), "1 lin -1\n2 lin 3\n", "1 1 nmt 0\n"));
  greedy.start(0);
  EXPECT_TRUE(greedy.build(4));
  EXPECT_EQ(greedy.choice(), Mask{0});
  EXPECT_EQ(greedy.fits(), 0);
}

// --- back-step ----------------------------------------------------------------------------------

TEST(BackStep, shrinks_to_the_budget_whatever_it_costs) {
  SmallProblem problem;
  Random random(4);
  for (int i = 0; i < 14; ++i) {
    problem.x.emplace_back();
    double z = random.normal();
    for (int j = 0; j < 10; ++j) {
      problem.x.back().push_back(random.normal());
      if (j >= 6) z += 10 * problem.x.back().back();
    }
    problem.z.push_back({z});
  }
  problem.options = "constant 0\nmaxterms 1\n";
  Greedy greedy(problem.text());
  greedy.start(bit(10) - 1);
  greedy.value = {-1e9, 0.0, 0.0};
  EXPECT_FALSE(greedy.back(4));
  // The first column of each pass goes, until four are left; none of them may go at a loss.
  EXPECT_EQ(greedy.choice(), Mask{0b1111000000});
  EXPECT_EQ(greedy.fits(), 6 + 4);
}

TEST(BackStep, drops_what_pays_no_longer) {
  Greedy greedy(orthogonal().text());
  greedy.start(0b1111);
  greedy.value = {24.0, std::sqrt(8.0) / 8, 8.0};
  EXPECT_FALSE(greedy.back(4));
  EXPECT_EQ(greedy.choice(), Mask{0b0111});
  EXPECT_DOUBLE_EQ(greedy.value.metric, 20.0);
  EXPECT_EQ(greedy.beta[3], 0.0);
  // x1 to x3 in vain, x4 taken, then x1 to x3 in vain once more.
  EXPECT_EQ(greedy.fits(), 7);
}

// With a penalty of 40 a term is worth 32 or 8 less than it costs; greed drops x1, then x3 (x2 is
// worth 72); without greed it is x4 that goes first.
TEST(BackStep, drops_the_first_or_the_best) {
  for (const bool greed : {true, false}) {
    SmallProblem problem = orthogonal();
    problem.options = "constant 0\nmodeler 6\nconvpen 40\n";
    Greedy greedy(problem.text());
    greedy.state().options.greedyback = greed;
    greedy.start(0b1111);
    greedy.value = {168.0, std::sqrt(8.0) / 8, 8.0};
    EXPECT_FALSE(greedy.back(4));
    EXPECT_EQ(greedy.choice(), Mask{0b0010});
    EXPECT_DOUBLE_EQ(greedy.value.metric, 48.0 + 40.0);
    // Greed: x1; x2 in vain, x3; x2 in vain, x4; x2. Else each pass tries all that is left.
    EXPECT_EQ(greedy.fits(), greed ? 1 + 2 + 2 + 1 : 4 + 3 + 2 + 1);
  }
}

TEST(BackStep, tries_a_model_of_no_terms) {
  Greedy greedy(orthogonal().text());
  greedy.start(0b0001);
  greedy.value = {115.0, std::sqrt(112.0) / 8, 112.0};
  EXPECT_TRUE(greedy.back(4));
  EXPECT_EQ(greedy.choice(), Mask{0b0001});
  EXPECT_EQ(greedy.fits(), 1);
  // The sum of squares of the output is 120.
  greedy.value = {121.0, std::sqrt(112.0) / 8, 112.0};
  EXPECT_FALSE(greedy.back(4));
  EXPECT_EQ(greedy.choice(), Mask{0});
  EXPECT_DOUBLE_EQ(greedy.value.fit, 120.0);
  EXPECT_DOUBLE_EQ(greedy.value.metric, 120.0);
}

TEST(BackStep, leaves_an_empty_model) {
  Greedy greedy(orthogonal().text());
  greedy.start(0);
  EXPECT_TRUE(greedy.back(4));
  EXPECT_EQ(greedy.fits(), 0);
}

TEST(BackStep, skips_forbidden_candidates_even_above_the_budget) {
  Greedy greedy(with_groups(orthogonal(), "1 lin 1 2 3 4\n2 lin 1\n", "1 1 atl 4\n"));
  greedy.start(0b1111);
  greedy.value = nothing_yet();
  EXPECT_TRUE(greedy.back(1));
  EXPECT_EQ(greedy.choice(), Mask{0b1111});
  EXPECT_EQ(greedy.fits(), 0);
}

// --- random problems ----------------------------------------------------------------------------

struct Round {
  SmallProblem problem;
  std::vector<std::vector<double>> columns;
  std::vector<double> z;
  ReferenceOptions options;
  ReferenceGroups groups;
};

Round make_round(Random& random) {
  Round made;
  const int inputs = random.whole(3, 9);
  const int points = inputs + random.whole(4, 12);
  made.columns.resize(static_cast<std::size_t>(inputs));
  for (int i = 0; i < points; ++i) {
    made.problem.x.emplace_back();
    double z = 0.7 * random.normal();
    for (int j = 0; j < inputs; ++j) {
      const double value = random.normal();
      made.problem.x.back().push_back(value);
      made.columns[static_cast<std::size_t>(j)].push_back(value);
      z += (j % 3 == 0 ? 1.0 : 0.2) * value;
    }
    made.problem.z.push_back({z});
    made.z.push_back(z);
  }
  ReferenceOptions& options = made.options;
  options.modeler = random.whole(1, 8);
  options.convpen = random.chance(0.5) ? random.real(0.1, 3.0) : 0.0;
  options.nbasmax = inputs;
  options.greedybuild = random.chance(0.5);
  options.greedyback = random.chance(0.5);
  options.tolmeanerror = random.chance(0.6) ? -1.0 : random.real(0.05, 0.5);
  made.problem.options =
      fmt::format("constant 0\nmodeler {}\nconvpen {}\n", options.modeler, digits(options.convpen));
  if (random.chance(0.3)) {
    const int most = random.whole(1, 2);
    made.groups.members = {Mask{0b011}, Mask{0b100}};
    made.groups.holds = {0, 0};
    made.groups.rules = {{0, 1, most}, {1, 3, 0}};
    made.problem.options += "ngroups 2\n";
    made.problem.sections = fmt::format(
        "begin_groups\n1 lin 1 2\n2 lin 3\nend_groups\nbegin_groupcon\n1 1 nmt {}\n2 1 req 1\n"
        "end_groupcon\n",
        most);
  }
  return made;
}

// A model to start from: none, or the value of some subset.
ReferenceModel starting_model(ReferenceSelection& reference, Random& random, int columns) {
  ReferenceModel model;
  model.mask = static_cast<Mask>(random.whole(0, (1 << columns) - 1));
  if (random.chance(0.7)) {
    model = reference.value(model.mask, ReferenceSelection::count(model.mask));
  }
  return model;
}

void expect_same(Greedy& greedy, const ReferenceModel& expected) {
  ASSERT_EQ(greedy.choice(), expected.mask);
  EXPECT_NEAR(greedy.value.metric, expected.metric,
              1e-9 * std::max(1.0, std::abs(expected.metric)));
  EXPECT_NEAR(greedy.value.fit, expected.fit, 1e-9 * std::max(1.0, expected.fit));
  EXPECT_NEAR(greedy.value.meanerr, expected.meanerr, 1e-9 * std::max(1.0, expected.meanerr));
}

TEST(Greedy, strategies_walk_as_told) {
  for (std::uint64_t seed = 1; seed <= 150; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    Round made = make_round(random);
    const int columns = made.options.nbasmax;
    ReferenceSelection reference(made.columns, made.z, std::vector<bool>(made.z.size(), true),
                                 bit(columns) - 1, made.options);
    reference.groups = made.groups;
    Greedy greedy(made.problem.text());
    greedy.state().options.greedybuild = made.options.greedybuild;
    greedy.state().options.greedyback = made.options.greedyback;
    greedy.state().outputs.tolmeanerror[0] = made.options.tolmeanerror;
    for (int turn = 0; turn < 4; ++turn) {
      ReferenceModel model = starting_model(reference, random, columns);
      greedy.start(model.mask);
      greedy.value = {model.metric, model.meanerr, model.fit};
      const int most = random.whole(1, columns);
      if (turn % 2 == 0) {
        EXPECT_EQ(greedy.build(most), reference.build_up(most, model));
      } else {
        EXPECT_EQ(greedy.back(most), reference.step_back(most, model));
      }
      expect_same(greedy, model);
    }
    if (HasFailure()) FAIL() << made.problem.text();
  }
}

}  // namespace
}  // namespace torve::test
