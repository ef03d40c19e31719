// The chain of least-squares methods, on the state of a small run.
#include "model/trvolr.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "support/reference_selection.h"
#include "support/small_problem.h"

namespace torve::test {
namespace {

// A run whose catalogue is its inputs alone, and a fit of some of them.
class Chain {
 public:
  explicit Chain(const SmallProblem& problem) : run_(problem.text()) {
    EXPECT_TRUE(run_.ended_normally()) << run_.screen();
    state().options.print_to_screen = false;
    state().counters = Counters{};
  }

  RunState& state() { return run_.state(); }
  const Counters& counters() { return state().counters; }

  // True when the fit failed.
  bool fit(Mask columns) {
    const auto n = static_cast<std::size_t>(state().sizes.nbas);
    for (std::size_t j = 0; j < n; ++j) chosen_.get()[j] = ((columns >> j) & 1U) != 0;
    beta_.assign(n, 77.0);
    return trvolr(state(), {chosen_.get(), n}, 0, beta_);
  }
  const std::vector<double>& beta() const { return beta_; }

 private:
  SmallRun run_;
  std::unique_ptr<bool[]> chosen_ = std::make_unique<bool[]>(32);
  std::vector<double> beta_;
};

SmallProblem inputs_alone(std::vector<std::vector<double>> x, const std::vector<double>& z) {
  SmallProblem problem;
  problem.x = std::move(x);
  for (const double value : z) problem.z.push_back({value});
  problem.options = "constant 0\nnumlimitbasis 0\n";
  return problem;
}

// Five points in three inputs; the third is twice the first.
const std::vector<std::vector<double>> dependent = {
    {1, 1, 2}, {2, 3, 4}, {3, 2, 6}, {4, 5, 8}, {5, 4, 10}};
const std::vector<double> output = {3, 7, 8, 14, 13};

TEST(Chain, fits_one_term_by_its_formula) {
  Chain chain(inputs_alone(dependent, output));
  EXPECT_FALSE(chain.fit(1));
  EXPECT_DOUBLE_EQ(chain.beta()[0], (3.0 + 14 + 24 + 56 + 65) / 55);
  EXPECT_EQ(chain.beta()[1], 0.0);
  EXPECT_EQ(chain.counters().OLRoneCalls, 1);
  EXPECT_EQ(chain.counters().OLRoneFails, 0);
  EXPECT_EQ(chain.counters().OLRdgelCalls, 0);
  EXPECT_EQ(chain.counters().numOLRs, 1);
}

TEST(Chain, fits_two_terms_by_dgels) {
  Chain chain(inputs_alone(dependent, output));
  EXPECT_FALSE(chain.fit(3));
  const auto expected = reference_least_squares({{1, 2, 3, 4, 5}, {1, 3, 2, 5, 4}}, output,
                                                std::vector<bool>(5, true));
  EXPECT_NEAR(chain.beta()[0], static_cast<double>(expected[0]), 1e-13);
  EXPECT_NEAR(chain.beta()[1], static_cast<double>(expected[1]), 1e-13);
  EXPECT_EQ(chain.counters().OLRoneCalls, 0);
  EXPECT_EQ(chain.counters().OLRdgelCalls, 1);
  EXPECT_EQ(chain.counters().OLRdgelFails, 0);
  EXPECT_EQ(chain.counters().OLRclrCalls, 0);
}

struct Method {
  std::string_view name;
  std::vector<bool Options::*> off;
  int Counters::*calls;
};

// Whatever links stand before it are switched off.
TEST(Chain, finds_the_same_fit_by_every_link) {
  const std::vector<Method> methods = {
      {"dgels", {}, &Counters::OLRdgelCalls},
      {"clr", {&Options::olrdgels}, &Counters::OLRclrCalls},
      {"gsi", {&Options::olrdgels, &Options::olrclr}, &Counters::OLRgsiCalls}};
  const auto expected = reference_least_squares({{1, 2, 3, 4, 5}, {1, 3, 2, 5, 4}}, output,
                                                std::vector<bool>(5, true));
  for (const Method& method : methods) {
    SCOPED_TRACE(method.name);
    Chain chain(inputs_alone(dependent, output));
    chain.state().options.gsiabstol = chain.state().options.gsireltol = 1e-12;
    for (bool Options::*option : method.off) chain.state().options.*option = false;
    EXPECT_FALSE(chain.fit(3));
    EXPECT_EQ(chain.counters().*method.calls, 1);
    EXPECT_NEAR(chain.beta()[0], static_cast<double>(expected[0]), 1e-9);
    EXPECT_NEAR(chain.beta()[1], static_cast<double>(expected[1]), 1e-9);
    EXPECT_EQ(chain.beta()[2], 0.0);
  }
}

// A link's constrained fit shows in the counter of all such fits, not in that of the output.
TEST(Chain, counts_the_constrained_link_once) {
  Chain chain(inputs_alone(dependent, output));
  chain.state().options.olrdgels = false;
  chain.state().models.clrcalls[0] = 5;
  EXPECT_FALSE(chain.fit(3));
  EXPECT_EQ(chain.counters().numCLRs, 1);
  EXPECT_EQ(chain.state().models.clrcalls[0], 5);
}

// Dependent columns: whichever link answers, the fit is that of one of them, and a link that was
// passed over has counted its failure.
TEST(Chain, goes_on_behind_a_rejected_answer) {
  Chain chain(inputs_alone(dependent, output));
  EXPECT_FALSE(chain.fit(5));
  EXPECT_NEAR(chain.beta()[0] + 2 * chain.beta()[2], 162.0 / 55, 1e-6);
  EXPECT_EQ(chain.counters().OLRdgelCalls, 1);
  EXPECT_EQ(chain.counters().OLRclrCalls, chain.counters().OLRdgelFails);
  EXPECT_EQ(chain.counters().OLRgsiCalls, chain.counters().OLRclrFails);
}

TEST(Chain, gives_a_column_of_zeros_zero) {
  Chain chain(inputs_alone({{1, 1}, {2, 0}, {3, 0}, {4, 0}}, {2, 4, 9, 1}));
  for (int i = 0; i < 4; ++i) chain.state().basis.xij(i, 1) = 0.0;
  EXPECT_FALSE(chain.fit(2));
  EXPECT_EQ(chain.beta()[1], 0.0);
  EXPECT_EQ(chain.counters().OLRoneFails, 0);
}

// With fewer rows than columns the sum of squares is reported as 0, and the model indeed meets all
// rows.
TEST(Chain, meets_all_rows_when_there_are_few) {
  Chain chain(inputs_alone({{1, 4, 2}, {3, 1, 5}}, {2, 9}));
  EXPECT_FALSE(chain.fit(7));
  const std::vector<double>& b = chain.beta();
  EXPECT_NEAR(b[0] + 4 * b[1] + 2 * b[2], 2.0, 1e-12);
  EXPECT_NEAR(3 * b[0] + b[1] + 5 * b[2], 9.0, 1e-12);
  EXPECT_EQ(chain.counters().OLRdgelFails, 0);
}

void switch_off_all(Options& options) {
  options.olrone = options.olrdgels = options.olrclr = options.olrgsi = options.olrmir =
      options.olrgms = false;
}

TEST(Chain, does_nothing_without_a_link) {
  Chain chain(inputs_alone(dependent, output));
  switch_off_all(chain.state().options);
  chain.state().options.olrone = true;
  EXPECT_FALSE(chain.fit(3));
  EXPECT_EQ(chain.beta(), (std::vector<double>{0, 0, 0}));
}

TEST(Chain, leaves_the_coefficients_of_an_empty_subset) {
  Chain chain(inputs_alone(dependent, output));
  EXPECT_FALSE(chain.fit(0));
  EXPECT_EQ(chain.beta(), (std::vector<double>{77, 77, 77}));
  EXPECT_EQ(chain.counters().numOLRs, 1);
}

TEST(Chain, leaves_the_coefficients_without_rows) {
  Chain chain(inputs_alone(dependent, output));
  for (int i = 0; i < 5; ++i) chain.state().points.simulated(i, 0) = false;
  EXPECT_FALSE(chain.fit(1));
  EXPECT_EQ(chain.beta(), (std::vector<double>{77, 77, 77}));
}

TEST(Chain, sees_rows_that_take_part_and_have_a_value) {
  Chain chain(inputs_alone(dependent, output));
  chain.state().points.simulated(4, 0) = false;
  chain.state().points.rows[0] = false;
  EXPECT_FALSE(chain.fit(1));
  EXPECT_DOUBLE_EQ(chain.beta()[0], (14.0 + 24 + 56) / (4 + 9 + 16));
}

TEST(Chain, counts_a_system_too_large_for_gauss_seidel) {
  Chain chain(inputs_alone(dependent, output));
  switch_off_all(chain.state().options);
  chain.state().options.olrgsi = true;
  chain.state().lsq.nbasgsi = 1;
  EXPECT_TRUE(chain.fit(3));
  EXPECT_EQ(chain.counters().OLRgsiCalls, 1);
  EXPECT_EQ(chain.counters().OLRgsiFails, 1);
  EXPECT_EQ(chain.beta(), (std::vector<double>{0, 0, 0}));
}

// The clock is asked when a link has failed; the chain then ends with the answer missing.
TEST(Chain, ends_with_the_time) {
  Chain chain(inputs_alone(dependent, output));
  switch_off_all(chain.state().options);
  chain.state().options.olrgsi = chain.state().options.olrmir = true;
  chain.state().lsq.nbasgsi = 1;
  chain.state().options.maxtime = 0.0;
  EXPECT_TRUE(chain.fit(3));
  EXPECT_EQ(chain.counters().OLRmirCalls, 0);
  EXPECT_EQ(chain.state().status.trvstatus, Code::time_used_up);
}

// --- constrained fit ----------------------------------------------------------------------------

struct Clr : testing::Test {
  Chain chain{inputs_alone(dependent, output)};
  std::unique_ptr<bool[]> chosen = std::make_unique<bool[]>(3);
  std::vector<double> beta = {77, 77, 77};

  bool fit(const CRELEM* bounding) {
    return trvclr(chain.state(), bounding, {chosen.get(), 3}, 0, beta);
  }
};

TEST_F(Clr, is_the_plain_fit_without_bounds) {
  chosen[0] = true;
  EXPECT_FALSE(fit(nullptr));
  EXPECT_NEAR(beta[0], 162.0 / 55, 1e-12);
  EXPECT_EQ(beta[1], 0.0);
}

TEST_F(Clr, leaves_preset_without_columns) {
  EXPECT_FALSE(fit(nullptr));
  EXPECT_EQ(beta, std::vector<double>(3, -111111.0));
}

// One column: a lower or upper bound at the point 2 cuts the coefficient off.
TEST_F(Clr, keeps_the_bounds_of_the_output) {
  chosen[0] = true;
  RunState& run = chain.state();
  CRELEM bounding;
  bounding.crndata = 1;
  ASSERT_TRUE(bounding.crxij.request(run.memory, 1, 3));
  ASSERT_TRUE(bounding.type.request(run.memory, 1));
  ASSERT_TRUE(run.outputs.zmin.request(run.memory, 1));
  ASSERT_TRUE(run.outputs.zmax.request(run.memory, 1));
  bounding.crxij(0, 0) = 2.0;
  run.outputs.zmin[0] = 7.0;
  run.outputs.zmax[0] = 4.0;
  bounding.type[0] = 1;
  EXPECT_FALSE(fit(&bounding));
  EXPECT_NEAR(beta[0], 3.5, 1e-12);
  bounding.type[0] = 2;
  EXPECT_FALSE(fit(&bounding));
  EXPECT_NEAR(beta[0], 2.0, 1e-12);
  run.outputs.zmin[0] = run.outputs.zmax[0] = 5.0;
  bounding.type[0] = 3;
  EXPECT_FALSE(fit(&bounding));
  EXPECT_NEAR(beta[0], 2.5, 1e-12);
  // No coefficient lies above 7/2 and below 4/2.
  run.outputs.zmin[0] = 7.0;
  run.outputs.zmax[0] = 4.0;
  EXPECT_TRUE(fit(&bounding));
  EXPECT_EQ(beta, std::vector<double>(3, -111111.0));
}

}  // namespace
}  // namespace torve::test
