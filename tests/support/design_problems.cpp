#include "support/design_problems.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/run_masks.h"

namespace torve::test {

namespace {

constexpr double missing = -999.0;

// Points between `low` and `high`.
void fill_inputs(SmallProblem& problem, Random& random, int points, int inputs, double low,
                 double high) {
  for (int i = 0; i < points; ++i) {
    std::vector<double> row(static_cast<std::size_t>(inputs));
    for (double& value : row) value = random.real(low, high);
    problem.x.push_back(std::move(row));
  }
}

// z = 3 + 2 a - 1.5 b^2 + noise.
void fill_output(SmallProblem& problem, Random& random, double noise) {
  for (const auto& row : problem.x) {
    problem.z.push_back({3.0 + 2.0 * row[0] - 1.5 * row[1] * row[1] + noise * random.normal()});
  }
}

void make_noisy(SmallProblem& problem, Random& random, int points) {
  fill_inputs(problem, random, points, 3, 0.5, 3.0);
  fill_output(problem, random, random.chance(0.5) ? 0.05 : 1.0);
}

void make_exact(SmallProblem& problem, Random& random, int points) {
  fill_inputs(problem, random, points, 3, 0.5, 3.0);
  fill_output(problem, random, 0.0);
}

// A hundredth to a ten-thousandth of the mean: powers of an input are nearly dependent.
void make_narrow(SmallProblem& problem, Random& random, int points) {
  const double width = std::pow(10.0, -random.whole(2, 4));
  fill_inputs(problem, random, points, 2, 5.0, 5.0 * (1.0 + width));
  fill_output(problem, random, 0.1 * width);
}

void make_duplicates(SmallProblem& problem, Random& random, int points) {
  fill_inputs(problem, random, points, 4, 0.5, 3.0);
  for (auto& row : problem.x) row[2] = row[1];
  fill_output(problem, random, 0.2);
}

// The third input is a sum of the others, the fourth is 0 but for one point.
void make_dependent(SmallProblem& problem, Random& random, int points) {
  fill_inputs(problem, random, points, 5, 0.5, 3.0);
  for (auto& row : problem.x) {
    row[2] = row[0] + row[1];
    row[3] = 0.0;
  }
  problem.x[0][3] = random.chance(0.5) ? 1.0 : 0.0;
  fill_output(problem, random, 0.2);
}

void make_huge(SmallProblem& problem, Random& random, int points) {
  make_noisy(problem, random, points);
  const double scale = std::pow(10.0, random.whole(3, 12));
  for (auto& row : problem.z) row[0] *= scale;
  if (random.chance(0.5)) {
    for (auto& row : problem.x) row[0] *= 1000.0;
  }
}

void make_tiny(SmallProblem& problem, Random& random, int points) {
  make_noisy(problem, random, points);
  const double scale = std::pow(10.0, -random.whole(3, 12));
  for (auto& row : problem.z) row[0] *= scale;
  if (random.chance(0.5)) {
    for (auto& row : problem.x) row[0] *= 0.001;
  }
}

void lose_some(SmallProblem& problem, Random& random, int points) {
  for (int lost = random.whole(1, 3); lost > 0; --lost) {
    problem.z[static_cast<std::size_t>(random.whole(0, points - 1))][0] = missing;
  }
}

void make_gaps(SmallProblem& problem, Random& random, int points) {
  make_noisy(problem, random, points);
  lose_some(problem, random, points);
}

// Outputs near 0, where percentages turn into plain errors.
void make_small_outputs(SmallProblem& problem, Random& random, int points) {
  make_noisy(problem, random, points);
  for (int i = 0; i < points; i += 3) problem.z[static_cast<std::size_t>(i)][0] = 0.0005;
}

// An odd column and an even output: products that are 0 but for rounding.
void make_orthogonal(SmallProblem& problem, Random& random, int points) {
  const double scale = std::pow(10.0, random.whole(0, 6));
  for (int i = 0; i < points; ++i) {
    const double x = 2.0 * i / (points - 1) - 1.0;
    problem.x.push_back({x, random.real(-1.0, 1.0), std::abs(x) + 0.1});
    problem.z.push_back({scale * (x * x + 0.1 * std::abs(x))});
  }
}

// One to three rules on four groups, the fourth of which holds the first.
void make_grouped(SmallProblem& problem, Random& random, int points) {
  make_noisy(problem, random, points);
  std::string rules;
  for (int r = random.whole(1, 3); r > 0; --r) {
    const int group = random.whole(1, 4);
    constexpr const char* types[] = {"nmt", "atl", "req", "xcl"};
    const int type = random.whole(0, 3);
    const int parameter = type < 2 ? random.whole(type, 2) : group % 4 + 1;
    rules += fmt::format("{} -1 {} {}\n", group, types[type], parameter);
  }
  problem.sections = fmt::format(
      "begin_groups\n1 lin -1\n2 mono -1 2\n2 lin 1\n3 log -1\n3 const\n4 grp 1\n4 mono 1 3\n"
      "end_groups\nbegin_groupcon\n{}end_groupcon\n",
      rules);
}

// Rules, and outputs that weren't measured everywhere.
void make_grouped_gaps(SmallProblem& problem, Random& random, int points) {
  make_grouped(problem, random, points);
  lose_some(problem, random, points);
}

// Four inputs, for some tens of columns.
void make_many(SmallProblem& problem, Random& random, int points) {
  const double width = random.chance(0.5) ? 2.0 : 0.2;
  fill_inputs(problem, random, std::max(points, 8), 4, 1.0, 1.0 + width);
  fill_output(problem, random, random.chance(0.3) ? 0.0 : 0.1 * width);
}

constexpr const char* many_columns =
    "monomialpower -1 0.5 2 3\nlogfcns 1\nmulti2power 1\nscreener 0\ntracefname trace.trc\n";

constexpr const char* plain_columns =
    "monomialpower 2 3\nmulti2power 1\nscreener 0\ntracefname trace.trc\n";

void expect_same(const std::string& expected, const std::string& found) {
  EXPECT_EQ(first_difference(mask_output(expected, "/none"), mask_output(found, "/none")), "");
}

}  // namespace

const std::vector<DesignProblem>& design_problems() {
  static const std::vector<DesignProblem> designs = {
      {"noisy", make_noisy, many_columns},
      {"exact", make_exact, many_columns},
      {"narrow", make_narrow, many_columns},
      {"duplicates", make_duplicates, plain_columns},
      {"dependent", make_dependent, plain_columns},
      {"huge", make_huge, many_columns},
      {"tiny", make_tiny, many_columns},
      {"gaps", make_gaps, many_columns + fmt::format("preset {}\n", missing)},
      {"small_outputs", make_small_outputs, many_columns},
      {"grouped", make_grouped, std::string(many_columns) + "ngroups 4\n"},
      {"grouped_gaps", make_grouped_gaps,
       std::string(many_columns) + fmt::format("ngroups 4\npreset {}\n", missing)},
      {"fifty_one_columns", make_many,
       "monomialpower -2 -1 0.5 2 3 4\nlogfcns 1\nexpfcns 1\nsinfcns 1\ncosfcns 1\n"
       "multi2power 1 2\nratiopower 1\nscreener 0\ntracefname trace.trc\n",
       3},
      {"sixty_columns", make_many,
       "monomialpower -2 -1 0.5 1.5 2 3 4\nlogfcns 1\nexpfcns 1\nsinfcns 1\ncosfcns 1\n"
       "constant 0\nmulti2power 1 2 3\nratiopower 1\nscreener 0\ntracefname trace.trc\n",
       3},
      {"orthogonal", make_orthogonal,
       "monomialpower 2 3 4 5\nmulti2power 1\ntracefname trace.trc\n"},
  };
  return designs;
}

std::string metric_options(Random& random, int modeler) {
  std::string options;
  if (modeler >= 6) options += fmt::format("convpen {}\n", random.chance(0.5) ? 0.0 : 0.3);
  if (random.chance(0.2)) options += "sigma -1\n";
  if (modeler == 1 && random.chance(0.3)) options += "cvxbic 1\n";
  if (random.chance(0.2)) options += "olrone 0\n";
  if (random.chance(0.3)) {
    constexpr double tolerances[] = {-1.0, 0.0, 1e-6, 0.01, 0.1};
    options += fmt::format("tolmeanerror {}\n", tolerances[random.whole(0, 4)]);
  }
  return options;
}

void expect_same_texts(const SmallRun& expected, const SmallRun& found) {
  expect_same(expected.screen(), found.screen());
  expect_same(expected.listing(), found.listing());
  expect_same(expected.trace(), found.trace());
}

}  // namespace torve::test
