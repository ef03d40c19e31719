// The program that stands in for mirak in other tests, against problems whose answers are found
// another way.
#include "support/mir_solver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/small_problem.h"
#include "support/small_programs.h"

namespace torve::test {
namespace {

// Rows a'x <= b around the origin, which all of them hold.
std::vector<Row> random_rows(Random& random, std::size_t variables, int count) {
  std::vector<Row> rows;
  for (int r = 0; r < count; ++r) {
    Row row;
    for (std::size_t j = 0; j < variables; ++j) row.a.push_back(random.normal());
    row.b = random.real(0.5, 2.0);
    rows.push_back(std::move(row));
  }
  for (std::size_t j = 0; j < variables; ++j) {
    for (const Real side : {1.0L, -1.0L}) {
      Row row{RealVector(variables, 0), 3, false};
      row.a[j] = side;
      rows.push_back(std::move(row));
    }
  }
  return rows;
}

bool holds_all(const std::vector<Row>& rows, const RealVector& x) {
  return std::ranges::all_of(rows, [&](const Row& row) {
    Real sum = -row.b;
    for (std::size_t j = 0; j < x.size(); ++j) sum += row.a[j] * x[j];
    return row.equality ? std::abs(sum) < 1e-9L : sum < 1e-9L;
  });
}

// The least value of a linear function in the plane is taken at a corner.
Real least_at_corners(const RealVector& c, const std::vector<Row>& rows) {
  Real least = INFINITY;
  for (std::size_t p = 0; p < rows.size(); ++p) {
    for (std::size_t q = 0; q < p; ++q) {
      const RealVector& a = rows[p].a;
      const RealVector& b = rows[q].a;
      const Real determinant = a[0] * b[1] - a[1] * b[0];
      if (std::abs(determinant) < 1e-12L) continue;
      const RealVector x = {(rows[p].b * b[1] - rows[q].b * a[1]) / determinant,
                            (a[0] * rows[q].b - b[0] * rows[p].b) / determinant};
      if (holds_all(rows, x)) least = std::min(least, c[0] * x[0] + c[1] * x[1]);
    }
  }
  return least;
}

TEST(LinearProgram, is_solved_at_a_corner) {
  for (std::uint64_t seed = 1; seed <= 50; ++seed) {
    Random random(seed);
    const std::vector<Row> rows = random_rows(random, 2, 6);
    const RealVector c = {random.normal(), random.normal()};
    const std::optional<ProgramAnswer> answer = solve_linear(c, rows);
    ASSERT_TRUE(answer) << seed;
    EXPECT_TRUE(holds_all(rows, answer->x)) << seed;
    EXPECT_NEAR(static_cast<double>(answer->objective - least_at_corners(c, rows)), 0.0, 1e-12);
  }
}

TEST(LinearProgram, may_have_no_solution) {
  EXPECT_FALSE(solve_linear({1.0L}, {{{1.0L}, -1.0L, false}, {{-1.0L}, -1.0L, false}}));
  EXPECT_FALSE(solve_linear({1.0L}, {{{1.0L}, -1.0L, false}}));
  const std::optional<ProgramAnswer> answer =
      solve_linear({1.0L, 0.0L}, {{{1.0L, 1.0L}, 2.0L, true}, {{0.0L, 1.0L}, 5.0L, false}});
  ASSERT_TRUE(answer);
  EXPECT_NEAR(static_cast<double>(answer->objective), -3.0, 1e-12);
}

// A step along any line inside the rows doesn't lower the objective.
TEST(QuadraticProgram, has_no_better_neighbour) {
  for (std::uint64_t seed = 1; seed <= 30; ++seed) {
    Random random(seed);
    const std::size_t n = 3;
    const std::vector<Row> rows = random_rows(random, n, 5);
    std::vector<RealVector> h(n, RealVector(n, 0));
    for (int k = 0; k < 4; ++k) {
      const RealVector v = {random.normal(), random.normal(), random.normal()};
      for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = 0; j < n; ++j) h[i][j] += v[i] * v[j];
      }
    }
    const RealVector c = {8 * random.normal(), 8 * random.normal(), 8 * random.normal()};
    const auto objective = [&](const RealVector& x) {
      Real sum = 0;
      for (std::size_t i = 0; i < n; ++i) {
        sum += c[i] * x[i];
        for (std::size_t j = 0; j < n; ++j) sum += h[i][j] * x[i] * x[j] / 2;
      }
      return sum;
    };
    const std::optional<ProgramAnswer> answer = solve_quadratic(h, c, rows);
    ASSERT_TRUE(answer) << seed;
    ASSERT_TRUE(holds_all(rows, answer->x)) << seed;
    EXPECT_NEAR(static_cast<double>(answer->objective - objective(answer->x)), 0.0, 1e-9);
    for (int step = 0; step < 2000; ++step) {
      RealVector x = answer->x;
      const double length = std::pow(10.0, random.real(-6.0, 1.0));
      for (Real& value : x) value += length * random.normal();
      if (holds_all(rows, x)) {
        ASSERT_GE(static_cast<double>(objective(x) - answer->objective), -1e-8) << seed;
      }
    }
  }
}

TEST(QuadraticProgram, may_have_no_solution_or_equal_columns) {
  const std::vector<RealVector> flat = {{1, 1}, {1, 1}};
  EXPECT_FALSE(solve_quadratic(flat, {0, 0}, {{{1, 0}, -1, false}, {{-1, 0}, -1, false}}));
  const std::optional<ProgramAnswer> answer =
      solve_quadratic(flat, {-2, -2}, {{{1, 0}, 0.5L, true}});
  ASSERT_TRUE(answer);
  EXPECT_NEAR(static_cast<double>(answer->x[0] + answer->x[1]), 2.0, 1e-12);
  EXPECT_NEAR(static_cast<double>(answer->x[0]), 0.5, 1e-12);
}

std::optional<MirSolved> solved(const std::string& text) {
  return solve_mir(read_mir(text));
}

constexpr const char* knapsack = R"(BINARY_VARIABLES a, b, c;
VARIABLES x;
LOWER_BOUNDS{ x: -10; }
UPPER_BOUNDS{ x: 10; }
EQUATIONS weight, link;
weight: 3*a + 4*b + 2*c <= 6;
link: x - (10)*a <= 0;
OBJ: minimize (x - 3)^2 - 5*b - 4*c ;
)";

TEST(MirSolver, tries_all_choices) {
  // b and c weigh 6 and leave x at 0: 9 - 9; with a and c x may be 3: -4.
  const std::optional<MirSolved> answer = solved(knapsack);
  ASSERT_TRUE(answer);
  EXPECT_NEAR(answer->objective, -4.0, 1e-12);
  EXPECT_NEAR(answer->values.at("x"), 3.0, 1e-12);
  EXPECT_EQ(answer->values.at("a"), 1.0);
  EXPECT_EQ(answer->values.at("b"), 0.0);
}

TEST(MirSolver, keeps_to_a_cutoff) {
  EXPECT_TRUE(solved(std::string("OPTIONS{ cutoff: -3.5; }\n") + knapsack));
  EXPECT_FALSE(solved(std::string("OPTIONS{ cutoff: -4.5; }\n") + knapsack));
}

TEST(MirSolver, meets_a_quadratic_condition) {
  const std::string text =
      "BINARY_VARIABLES a;\nVARIABLES x;\nEQUATIONS fit, link;\n"
      "fit: (x - 1)^2 <= 2e-10;\nlink: x - 5*a <= 0;\nOBJ: minimize a;";
  const std::optional<MirSolved> answer = solved(text);
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->values.at("a"), 1.0);
  EXPECT_NEAR(answer->values.at("x"), 1.0, 1e-4);
}

TEST(MirSolver, refuses_what_is_beyond_it) {
  EXPECT_THROW(solved("VARIABLES x;\nOBJ: minimize x*x*x;"), std::runtime_error);
  EXPECT_THROW(solved("VARIABLES x;\nOBJ: minimize log(x);"), std::runtime_error);
  EXPECT_THROW(solved("VARIABLES x;\nOBJ: minimize 1/x;"), std::runtime_error);
}

std::string box_problem(const std::string& goal, const std::string& bound) {
  return "OPTIONS{ NumSol: 5; isoltol: 0.01; }\nVARIABLE trv_z, x1, x2;\n"
         "LOWER_BOUNDS{ x1: -1; x2: 0.5; " +
         (goal == "maximize" ? bound : "") + "}\nUPPER_BOUNDS{ x1: 2; x2: 3; " +
         (goal == "minimize" ? bound : "") +
         "}\nEQUATION trv_defz;\ntrv_defz: - trv_z + (1)* (x1^2) + (-2)* (log(x2)) == 0;\n"
         "OBJ: " +
         goal + " trv_z;\n";
}

TEST(MirSolver, searches_a_box) {
  const std::optional<MirSolved> least = solved(box_problem("minimize", "trv_z: -1;"));
  ASSERT_TRUE(least);
  EXPECT_NEAR(least->objective, -2.0 * std::log(3.0), 1e-9);
  EXPECT_NEAR(least->values.at("x1"), 0.0, 1e-5);
  EXPECT_EQ(least->others.size(), 4U);
  for (const MirValues& other : least->others) {
    const double x1 = other.at("x1");
    EXPECT_DOUBLE_EQ(other.at("trv_z"), x1 * x1 - 2.0 * std::log(other.at("x2")));
    EXPECT_LE(other.at("trv_z"), -1.0);
  }
  EXPECT_FALSE(solved(box_problem("minimize", "trv_z: -2.2;")));
  const std::optional<MirSolved> largest = solved(box_problem("maximize", "trv_z: 5;"));
  ASSERT_TRUE(largest);
  EXPECT_NEAR(largest->values.at("trv_z"), 4.0 + 2.0 * std::log(2.0), 1e-9);
  EXPECT_FALSE(solved(box_problem("maximize", "trv_z: 5.5;")));
}

}  // namespace
}  // namespace torve::test
