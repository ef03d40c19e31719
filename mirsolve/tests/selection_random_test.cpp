// Random problems over columns of a catalogue, which depend on each other nearly: sizes, prices,
// rules, rows on coefficients and their bounds in any mixture, against every choice of the
// switches.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>

#include "mirsolve/run/solvers.h"
#include "mirsolve/tests/selection_brute_force.h"
#include "mirsolve/tests/selection_problems.h"
#include "support/random.h"

namespace mirsolve::test {

namespace {

using torve::test::Random;

std::size_t at(int i) {
  return static_cast<std::size_t>(i);
}

// Some of thirty columns, so that any two may be near.
void choose_columns(SelectionCase& made, int columns, Random& random) {
  std::vector<int> order(made.rows.front().size());
  std::iota(order.begin(), order.end(), 0);
  for (std::size_t i = order.size() - 1; i > 0; --i) {
    std::swap(order[i], order[at(random.whole(0, static_cast<int>(i)))]);
  }
  for (auto& row : made.rows) {
    std::vector<double> chosen;
    for (int j = 0; j < columns; ++j) chosen.push_back(row[at(order[at(j)])]);
    row = chosen;
  }
}

Sense one_side(Random& random) {
  return random.chance(0.5) ? Sense::at_most : Sense::at_least;
}

LinearRow rule(int columns, Random& random) {
  LinearRow row{{}, one_side(random), static_cast<double>(random.whole(1, 2))};
  for (int j = 0; j < columns; ++j) {
    if (random.chance(0.4)) row.terms.emplace_back(j, 1.0);
  }
  return row;
}

// The model's value near a point of the data, kept on one side of the output there, or nearly.
LinearRow bounding_row(const SelectionCase& made, Random& random) {
  const std::size_t i = at(random.whole(0, static_cast<int>(made.rows.size()) - 1));
  LinearRow row{{}, one_side(random), made.z[i] + random.real(-0.2, 0.2)};
  for (int j = 0; j < made.columns(); ++j) {
    row.terms.emplace_back(j, made.rows[i][at(j)] * random.real(0.9, 1.1));
  }
  return row;
}

SelectionCase drawn_case(unsigned seed) {
  Random random(seed);
  const int columns = random.whole(5, 10);
  const double noise = random.chance(0.3) ? 1e-3 : 0.5;
  SelectionCase made = catalogue_case(random.whole(12, 40), 30, noise, seed);
  choose_columns(made, columns, random);
  if (random.chance(0.5)) made.penalty = std::pow(10.0, random.real(-4.0, 1.0));
  if (made.penalty == 0.0 || random.chance(0.4)) {
    const Sense sense = random.chance(0.5) ? Sense::at_most : Sense::equal;
    made.sizes = {{{}, sense, static_cast<double>(random.whole(1, 5))}};
  }
  for (int left = random.whole(0, 2); left > 0; --left) {
    LinearRow row = rule(columns, random);
    if (row.terms.size() > 1) made.logic.push_back(std::move(row));
  }
  for (int left = random.whole(0, 2); left > 0; --left) {
    made.limits.push_back(bounding_row(made, random));
  }
  if (random.chance(0.2)) {
    made.lower.assign(at(columns), -1e31);
    made.upper.assign(at(columns), 1e31);
    made.lower[0] = -0.5;
    made.upper[1] = 0.5;
  }
  return made;
}

#if defined(__SANITIZE_ADDRESS__)
constexpr unsigned problems = 200;  // which take longer
#else
constexpr unsigned problems = 1000;
#endif

TEST(SelectionOfRandomProblems, IsTheBestChoice) {
  int infeasible = 0;
  for (unsigned seed = 1; seed <= problems; ++seed) {
    SCOPED_TRACE(seed);
    const SelectionCase made = drawn_case(seed);
    const std::optional<BruteForce> best = solve_by_brute_force(made);
    const Problem problem = build(made);
    const std::optional<Answer> answer = solve_selection(problem, Deadline(60.0));
    ASSERT_TRUE(answer);
    if (!best) {
      ++infeasible;
      EXPECT_EQ(answer->status, Status::infeasible);
      continue;
    }
    ASSERT_EQ(answer->status, Status::proven);
    EXPECT_EQ(broken_by(problem, answer->points.front()), "");
    EXPECT_NEAR(answer->objective, best->objective, 1e-6 * (1e-6 + std::abs(best->objective)));
    EXPECT_LE(answer->bound, answer->objective);
  }
  EXPECT_GT(infeasible, 2);
  EXPECT_LT(infeasible, 200);
}

}  // namespace

}  // namespace mirsolve::test
