// What the linear programs of a search hold, and that they stop.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>

#include "linear_selections.h"
#include "mirsolve/linear/program.h"

namespace {

namespace linear = mirsolve::linear;
using mirsolve::Deadline;
using mirsolve::test::drawn_data;
using mirsolve::test::Fit;
using mirsolve::test::selection;

struct FactorCase {
  const char* name;
  double bound;
  std::ptrdiff_t links;  // rows that tie 3 coefficients to their variables from both sides
};

class LargeFactors : public testing::TestWithParam<FactorCase> {};

TEST_P(LargeFactors, are_in_no_row) {
  const Fit fit{.name = "some", .bound = GetParam().bound};
  const auto recognised = linear::recognise(selection(fit, drawn_data(fit, 1)));
  ASSERT_TRUE(recognised);
  EXPECT_EQ(recognised->complaint, "");
  EXPECT_EQ(std::ranges::count(recognised->model.rows, true, &linear::Row::is_link),
            GetParam().links);
}

INSTANTIATE_TEST_SUITE_P(Linear, LargeFactors,
                         testing::Values(FactorCase{"small", 50, 6}, FactorCase{"largest", 1e4, 6},
                                         FactorCase{"too_large", 1.1e4, 0},
                                         FactorCase{"infinite", 1e31, 0}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(SimplexMethod, ends_when_the_time_is_over) {
  const Fit fit{.name = "large", .rows = 150, .columns = 40, .most = 6, .bound = 1000};
  const linear::Recognised recognised =
      linear::recognise(selection(fit, drawn_data(fit, 5))).value();
  linear::Clock clock{Deadline(0.0)};
  const linear::Bounds bounds{recognised.model.lower, recognised.model.upper};
  const linear::Program program = linear::make_program(recognised.model, bounds, clock);
  program.solver->initialSolve();
  EXPECT_EQ(linear::end_of(*program.solver, clock), linear::End::stopped);
  EXPECT_LE(program.solver->getIterationCount(), 2);
}

}  // namespace
