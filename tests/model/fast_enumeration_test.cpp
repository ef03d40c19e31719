// Enumeration on the triangle of the data against a fit of every subset: screen, listing and trace
// of whole runs are the same but for times.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "support/rows.h"
#include "support/run_masks.h"
#include "support/small_problem.h"

namespace torve::test {
namespace {

constexpr double missing = -999.0;

struct Design {
  std::string name;
  void (*make)(SmallProblem& problem, Random& random, int points);
  std::string options;
};

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

void make_gaps(SmallProblem& problem, Random& random, int points) {
  make_noisy(problem, random, points);
  for (int lost = random.whole(1, 3); lost > 0; --lost) {
    problem.z[static_cast<std::size_t>(random.whole(0, points - 1))][0] = missing;
  }
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

struct Row {
  std::string name;
  Design design;
};

class FastEnumeration : public testing::TestWithParam<Row> {};

struct Texts {
  std::string screen, listing, trace;
};
Texts texts_of(const SmallRun& run) {
  return {mask_output(run.screen(), "/none"), mask_output(run.listing(), "/none"),
          mask_output(run.trace(), "/none")};
}

std::string options_of(Random& random, int modeler) {
  const std::string walk = random.chance(0.5) ? "enumall -1\n" : "enumall 0\nenum1 -1\n";
  std::string options =
      fmt::format("modeler {}\n{}builder {}\n", modeler, walk, random.chance(0.3) ? 1 : 0);
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

int points_of(Random& random) {
  if (random.chance(0.1)) return 400;
  return random.chance(0.1) ? 1000 : random.whole(3, 40);
}

TEST_P(FastEnumeration, leaves_what_all_fits_leave) {
  int walks = 0;
  for (int modeler = 1; modeler <= 8; ++modeler) {
    for (int round = 0; round < 3; ++round) {
      Random random(static_cast<std::uint64_t>(1000 * modeler + round));
      SmallProblem problem;
      GetParam().design.make(problem, random, points_of(random));
      problem.options = options_of(random, modeler) + GetParam().design.options +
                        fmt::format("maxterms {}\n", random.chance(0.1) ? 6 : random.whole(2, 4));
      SCOPED_TRACE(problem.text());
      const auto plain = [](RunState& run) { run.walk.allowed = false; };
      SmallRun expected(problem.text(), plain);
      SmallRun found(problem.text());
      walks += found.state().walk.output >= 0 && found.state().walk.usable ? 1 : 0;
      const Texts left = texts_of(expected);
      const Texts right = texts_of(found);
      ASSERT_EQ(first_difference(left.screen, right.screen), "");
      ASSERT_EQ(first_difference(left.listing, right.listing), "");
      ASSERT_EQ(first_difference(left.trace, right.trace), "");
    }
  }
  // Most runs come to the triangle, or this test shows nothing.
  EXPECT_GT(walks, 10);
}

const std::string many_columns =
    "monomialpower -1 0.5 2 3\nlogfcns 1\nmulti2power 1\nscreener 0\ntracefname trace.trc\n";

std::vector<Row> rows() {
  const std::string plain = "monomialpower 2 3\nmulti2power 1\nscreener 0\ntracefname trace.trc\n";
  const std::vector<Design> designs = {
      {"noisy", make_noisy, many_columns},
      {"exact", make_exact, many_columns},
      {"narrow", make_narrow, many_columns},
      {"duplicates", make_duplicates, plain},
      {"dependent", make_dependent, plain},
      {"huge", make_huge, many_columns},
      {"tiny", make_tiny, many_columns},
      {"gaps", make_gaps, many_columns + fmt::format("preset {}\n", missing)},
      {"small_outputs", make_small_outputs, many_columns},
      {"grouped", make_grouped, many_columns + "ngroups 4\n"},
      {"orthogonal", make_orthogonal,
       "monomialpower 2 3 4 5\nmulti2power 1\ntracefname trace.trc\n"},

  };
  std::vector<Row> all;
  for (const Design& design : designs) all.push_back({design.name, design});
  return all;
}

INSTANTIATE_TEST_SUITE_P(Rows, FastEnumeration, testing::ValuesIn(rows()), RowName());

}  // namespace
}  // namespace torve::test
