// Random models: no point that a random search finds is better than the proven bound, and the
// answer is as good as the best of them. MIRSOLVE_BOX_TRIALS in the environment sets another number
// of random points, for longer runs.
#include "box_models.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>

#include "mirsolve/run/solvers.h"

namespace mirsolve::test {
namespace {

struct Row {
  int inputs;
  bool opposed;
  std::uint64_t seed;
};

int trials() {
#if defined(__SANITIZE_ADDRESS__)
  constexpr int usual = 20'000;
#else
  constexpr int usual = 1'000'000;
#endif
  const char* const text = std::getenv("MIRSOLVE_BOX_TRIALS");
  return text == nullptr ? usual : std::atoi(text);
}

class BoxModels : public testing::TestWithParam<Row> {};

TEST_P(BoxModels, RandomSearchDoesntBeatTheBound) {
  const Row& row = GetParam();
  const Model model = random_model(row.seed, row.inputs, 10, row.opposed);
  const Problem problem = model.problem();
  const auto answer = solve_box(problem, Deadline(60.0));
  ASSERT_TRUE(answer);
  ASSERT_EQ(answer->status, Status::proven);
  EXPECT_LE(answer->objective - answer->bound, 0.0501 * std::abs(answer->objective));

  std::vector<double> found(answer->points.at(0).begin() + 1, answer->points.at(0).end());
  const double size = std::ranges::max(model.factors, {}, [](double f) { return std::abs(f); });
  const double rounding = 1e-12 * std::abs(size);
  EXPECT_NEAR(model.value(found), answer->objective, rounding);
  for (std::size_t i = 0; i < found.size(); ++i) {
    EXPECT_GE(found[i], model.sides[i].first);
    EXPECT_LE(found[i], model.sides[i].second);
  }
  torve::test::Random random(row.seed + 100);
  double best = answer->objective;
  for (int i = 0; i < trials(); ++i) {
    std::vector<double> x = random_point(random, model.sides);
    // Least values often lie on the border.
    for (std::size_t d = 0; d < x.size(); ++d) {
      if (random.chance(0.3)) {
        x[d] = random.chance(0.5) ? model.sides[d].first : model.sides[d].second;
      }
    }
    best = std::min(best, model.value(x));
  }
  EXPECT_GE(best, answer->bound - rounding);
}

std::vector<Row> rows() {
  std::vector<Row> result;
  for (const int inputs : {2, 3, 4, 6, 8}) {
    for (const std::uint64_t seed : {11U, 12U}) {
      result.push_back({inputs, true, seed});
      result.push_back({inputs, false, seed});
    }
  }
  return result;
}

INSTANTIATE_TEST_SUITE_P(Models, BoxModels, testing::ValuesIn(rows()), [](const auto& row) {
  return std::to_string(row.param.inputs) + (row.param.opposed ? "_opposed_" : "_random_") +
         std::to_string(row.param.seed);
});

// 1000 (x - 1.1)^2 (x - 1.2)^2 - 0.001 x, multiplied out around 0: factors of several thousands
// that leave about a thousandth. The least value lies next to 1.2.
TEST(BoxModel, OfOpposedFactorsOverANarrowBox) {
  const Problem problem = box_problem({{1.0, 1.3}}, [](std::span<const Term> x) {
    return 1000.0 * pow(x[0], 4.0) + -4600.0 * pow(x[0], 3.0) + 7930.0 * pow(x[0], 2.0) +
           -6072.001 * x[0] + 1742.4;
  });
  const auto answer = solve_box(problem, Deadline(20.0));
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->status, Status::proven);
  EXPECT_NEAR(answer->objective, -0.0012, 1e-6);
  EXPECT_NEAR(answer->points.at(0).at(1), 1.2, 1e-3);
}

}  // namespace
}  // namespace mirsolve::test
