// The line search, the factorisation that changes by a row, the problems with linear constraints
// and the regularised fit.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <ostream>
#include <string>
#include <vector>

#include "adaptive/linalg/linalg.h"
#include "adaptive/minq/ldl.h"
#include "adaptive/minq/line_search.h"
#include "adaptive/minq/minq.h"
#include "adaptive/minq_problems.h"

namespace torve::test {
namespace {

// ---- getalp -------------------------------------------------------------------------------------

struct AlpRow {
  const char* name;
  double alpu, alpo, gTp, pTGp;
  AlpCase found;
  double alp;
};

void PrintTo(const AlpRow& row, std::ostream* stream) {
  *stream << row.name;
}

class Getalp : public testing::TestWithParam<AlpRow> {};

TEST_P(Getalp, finds_the_minimiser) {
  const AlpRow& row = GetParam();
  Messages messages;
  const Alp result = getalp(row.alpu, row.alpo, row.gTp, row.pTGp, messages);
  EXPECT_EQ(result.found, row.found);
  EXPECT_EQ(result.alp, row.alp);
  EXPECT_TRUE(messages.lines.empty());
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Getalp,
    testing::Values(AlpRow{"inside", -1, 5, -6, 3, AlpCase::interior, 2},
                    AlpRow{"inside_without_ends", -none, none, -6, 3, AlpCase::interior, 2},
                    AlpRow{"before_lower", 3, 5, -6, 3, AlpCase::at_lower, 3},
                    AlpRow{"behind_upper", -1, 1, -6, 3, AlpCase::at_upper, 1},
                    AlpRow{"rising", -1, 1, 2, 0, AlpCase::at_lower, -1},
                    AlpRow{"falling", -1, 1, -2, 0, AlpCase::at_upper, 1},
                    AlpRow{"rising_for_ever", -none, 1, 2, 0, AlpCase::unbounded, -none},
                    AlpRow{"falling_for_ever", -1, none, -2, 0, AlpCase::unbounded, none},
                    AlpRow{"level", -1, 1, 0, 0, AlpCase::interior, 0},
                    AlpRow{"level_above", 2, 3, 0, 0, AlpCase::interior, 2},
                    AlpRow{"level_without_ends", -infinity, infinity, 0, 0, AlpCase::interior, 0},
                    AlpRow{"hill_to_the_left", -3, 2, 0, -1, AlpCase::at_lower, -3},
                    AlpRow{"hill_to_the_right", -3, 2, -2, -1, AlpCase::at_upper, 2},
                    AlpRow{"hill_without_lower", -none, 2, -9, -1, AlpCase::unbounded, -none},
                    AlpRow{"hill_without_upper", -2, infinity, 9, -1, AlpCase::unbounded, none},
                    AlpRow{"hill_without_ends", -none, none, 1, -1, AlpCase::unbounded, -none},
                    AlpRow{"flat_hill_without_ends", -none, none, 0, -1, AlpCase::unbounded, none},
                    AlpRow{"quotient_overflows", -1, none, -1e10, 1e-310, AlpCase::unbounded, none},
                    AlpRow{"point", 4, 4, 1, 1, AlpCase::at_lower, 4}),
    [](const auto& row) { return std::string(row.param.name); });

class GetalpBad : public testing::TestWithParam<AlpRow> {};

TEST_P(GetalpBad, shows_what_it_was_called_with) {
  const AlpRow& row = GetParam();
  Messages messages;
  EXPECT_EQ(getalp(row.alpu, row.alpo, row.gTp, row.pTGp, messages).found, AlpCase::none);
  EXPECT_TRUE(messages.failed);
  ASSERT_EQ(messages.lines.size(), 2);
  EXPECT_EQ(messages.lines[0].find("getalp: "), 0);
  EXPECT_EQ(messages.lines[1], "programming error: no alp found");
}

INSTANTIATE_TEST_SUITE_P(
    Rows, GetalpBad,
    testing::Values(AlpRow{"empty", 2, 1, 1, 1, AlpCase::none, 0},
                    AlpRow{"nan_end", not_a_number, 1, 1, 1, AlpCase::none, 0},
                    AlpRow{"nan_slope", 0, 1, not_a_number, 1, AlpCase::none, 0},
                    AlpRow{"nan_curvature", 0, 1, 1, not_a_number, AlpCase::none, 0}),
    [](const auto& row) { return std::string(row.param.name); });

// ---- LDL' ---------------------------------------------------------------------------------------

MATRIX product(const MATRIX& L, const VECTOR& d) {
  Messages messages;
  MATRIX scaled = L;
  for (int j = 0; j < d.size(); ++j) {
    for (int i = 0; i < d.size(); ++i) scaled(i, j) *= d(j);
  }
  return gemm(scaled, L, 'N', 'T', messages);
}

double curvature(const MATRIX& a, const VECTOR& p) {
  Messages messages;
  return dot(p, gemv(a, p, 'N', messages), messages);
}

double largest(const MATRIX& a) {
  Messages messages;
  return matrix_norm(a, -3, messages);
}

void expect_factors(const MATRIX& a, const MATRIX& L, const VECTOR& d) {
  const MATRIX rebuilt = product(L, d);
  for (int j = 0; j < d.size(); ++j) {
    EXPECT_GT(d(j), 0.0);
    EXPECT_EQ(L(j, j), 1.0);
    for (int i = 0; i < j; ++i) EXPECT_EQ(L(i, j), 0.0);
    for (int i = 0; i < d.size(); ++i)
      EXPECT_NEAR(rebuilt(i, j), a(i, j), 1e-12 * largest(a)) << i << ' ' << j;
  }
}

// a with the rows and columns that aren't in it replaced by those of the unit matrix.
MATRIX masked(const MATRIX& a, const std::vector<bool>& in) {
  MATRIX result = eye(a.rows());
  for (int j = 0; j < a.rows(); ++j) {
    for (int i = 0; i < a.rows(); ++i) {
      if (in[at(i)] && in[at(j)]) result(i, j) = a(i, j);
    }
  }
  return result;
}

TEST(Ldl, follows_rows_in_and_out) {
  Dice dice(31);
  Messages messages;
  for (int round = 0; round < 20; ++round) {
    const int n = dice.whole(1, 12);
    const MATRIX a = gram(dice.matrix(n, n + 2));
    std::vector<bool> in(at(n), false);
    MATRIX L = eye(n);
    VECTOR d(n, 1.0);
    for (int change = 0; change < 60; ++change) {
      const int j = dice.whole(0, n - 1);
      VECTOR p;
      if (in[at(j)]) {
        in[at(j)] = false;
        ASSERT_EQ(ldldown(L, d, j, messages), LdlChange::done);
      } else {
        in[at(j)] = true;
        ASSERT_EQ(ldlup(L, d, j, masked(a, in).column(j), p, messages), LdlChange::done);
      }
      expect_factors(masked(a, in), L, d);
      if (HasFailure()) return;
    }
    const VECTOR b = dice.vector(n);
    const VECTOR back = gemv(masked(a, in), ldl_solve(L, d, b), 'N', messages);
    for (int i = 0; i < n; ++i) EXPECT_NEAR(back(i), b(i), 1e-9);
  }
}

// Rows of an indefinite matrix: one that can't come in leaves the factors alone and shows why.
TEST(Ldl, shows_a_way_down) {
  Dice dice(32);
  Messages messages;
  int refused = 0;
  for (int round = 0; round < 200; ++round) {
    const int n = dice.whole(1, 10);
    MATRIX a = gram(dice.matrix(n, dice.whole(1, n)));
    for (int i = 0; i < n; ++i) a(i, i) -= round % 2 == 0 ? 0.3 * dice.real() : 0.0;
    std::vector<bool> in(at(n), false);
    MATRIX L = eye(n);
    VECTOR d(n, 1.0);
    for (int change = 0; change < n; ++change) {
      const int j = (change * 7 + round) % n;
      if (in[at(j)]) continue;
      in[at(j)] = true;
      VECTOR p;
      const MATRIX wanted = masked(a, in);
      if (ldlup(L, d, j, wanted.column(j), p, messages) == LdlChange::not_definite) {
        ++refused;
        EXPECT_LE(curvature(wanted, p), 1e-12 * largest(a) * dot(p, p, messages));
        EXPECT_GE(vector_norm(p, 3, messages), 1.0);
        in[at(j)] = false;
      }
      expect_factors(masked(a, in), L, d);
      if (HasFailure()) return;
    }
  }
  EXPECT_GE(refused, 100);
}

TEST(Ldl, changes_by_rank_one) {
  Dice dice(33);
  int refused = 0;
  for (int round = 0; round < 300; ++round) {
    const int n = dice.whole(1, 12);
    Messages messages;
    MATRIX L = eye(n);
    VECTOR d(n);
    for (int j = 0; j < n; ++j) {
      d(j) = 1.5 + dice.real();
      for (int i = j + 1; i < n; ++i) L(i, j) = dice.real();
    }
    const VECTOR u = dice.vector(n);
    const double alp = 0.6 * dice.real();
    MATRIX a = product(L, d);
    const MATRIX old_a = a;
    for (int j = 0; j < n; ++j) {
      for (int i = 0; i < n; ++i) a(i, j) += alp * u(i) * u(j);
    }
    VECTOR p;
    if (ldlrk1(L, d, alp, u, p, messages) == LdlChange::done) {
      EXPECT_GT(syev(a, messages)(0), 0.0);
      expect_factors(a, L, d);
    } else {
      ++refused;
      EXPECT_LE(syev(a, messages)(0), 1e-12);
      EXPECT_LE(curvature(a, p), 1e-12 * dot(p, p, messages));
      expect_factors(old_a, L, d);
    }
    if (HasFailure()) return;
  }
  EXPECT_GE(refused, 20);
}

TEST(Ldl, words_bad_shapes) {
  MATRIX L = eye(2);
  VECTOR d(2, 1.0);
  VECTOR p;
  Messages messages;
  EXPECT_EQ(ldlrk1(L, d, 1.0, VECTOR(3), p, messages), LdlChange::bad_shapes);
  EXPECT_EQ(ldlup(L, d, 2, VECTOR(2), p, messages), LdlChange::bad_shapes);
  VECTOR short_d(1, 1.0);
  EXPECT_EQ(ldldown(L, short_d, 0, messages), LdlChange::bad_shapes);
  EXPECT_EQ(messages.lines, (std::vector<std::string>{"ldlrk1: dimensions do not match!",
                                                      "ldlup: dimensions do not match!",
                                                      "ldldown: dimensions do not match!"}));
  EXPECT_TRUE(messages.failed);
}

// ---- linear constraints -------------------------------------------------------------------------

struct Constrained {
  VECTOR c;
  VECTOR d;
  MATRIX G;  // diag(d) in the separable case
  MATRIX A;
  VECTOR b;
  VECTOR eq;
};

// Rows pass a point on its feasible side. Later ones may repeat earlier ones.
Constrained random_constrained(Dice& dice, bool separable, bool repeated) {
  const int n = dice.whole(1, 10);
  const int m = dice.whole(0, 14);
  Constrained problem = {dice.vector(n),    dice.vector(n), MATRIX(n, n),
                         dice.matrix(m, n), VECTOR(m),      VECTOR(m)};
  const VECTOR point = dice.vector(n);
  for (double& value : problem.d.span()) value = 1.1 + value;
  for (int k = 0; k < n; ++k) problem.G(k, k) = problem.d(k);
  Messages messages;
  if (!separable) problem.G = gram(dice.matrix(n, n + 3));
  int equations = 0;
  for (int i = 0; i < m; ++i) {
    if (repeated && i > 0 && dice.whole(0, 2) == 0) problem.A.set_row(i, problem.A.row(i - 1));
    problem.b(i) = dot(problem.A.row(i), point, messages);
    if (equations < n / 2 && dice.whole(0, 3) == 0) {
      problem.eq(i) = 1.0;
      ++equations;
    } else if (dice.whole(0, 1) == 0) {
      problem.b(i) -= std::max(0.0, dice.real());
    }
  }
  return problem;
}

// The conditions of Karush, Kuhn and Tucker, which are enough for a convex problem.
void expect_kkt(const Constrained& problem, const DualResult& result) {
  ASSERT_EQ(result.ier, MinqStatus::minimum);
  Messages messages;
  VECTOR rest = vector_add(problem.c, gemv(problem.G, result.x, 'N', messages), messages);
  const double size = 1.0 + vector_norm(result.x, 3, messages);
  for (int i = 0; i < result.y.size(); ++i) {
    const VECTOR row = problem.A.row(i);
    for (int k = 0; k < rest.size(); ++k) rest(k) -= result.y(i) * row(k);
    const double beyond = dot(row, result.x, messages) - problem.b(i);
    if (problem.eq(i) != 0.0) {
      EXPECT_NEAR(beyond, 0.0, 1e-9 * size) << i;
      continue;
    }
    EXPECT_GE(beyond, -1e-9 * size) << i;
    EXPECT_GE(result.y(i), 0.0) << i;
    EXPECT_NEAR(std::min(result.y(i), std::max(0.0, beyond)), 0.0, 1e-9 * size) << i;
  }
  const double terms = 1.0 + vector_norm(result.y, 1, messages);
  for (int k = 0; k < rest.size(); ++k) EXPECT_NEAR(rest(k), 0.0, 1e-9 * terms * size) << k;
}

DualResult solve(const Constrained& problem, bool separable, Messages& messages) {
  return separable ? minqsep(problem.c, problem.d, problem.A, problem.b, problem.eq, 0, messages)
                   : minqdef(problem.c, problem.G, problem.A, problem.b, problem.eq, 0, messages);
}

struct DualRow {
  const char* name;
  bool separable;
  bool repeated;
};

void PrintTo(const DualRow& row, std::ostream* stream) {
  *stream << row.name;
}

class MinqDual : public testing::TestWithParam<DualRow> {};

TEST_P(MinqDual, is_optimal) {
  Dice dice(34);
  for (int i = 0; i < 300; ++i) {
    SCOPED_TRACE(i);
    const Constrained problem = random_constrained(dice, GetParam().separable, GetParam().repeated);
    Messages messages;
    expect_kkt(problem, solve(problem, GetParam().separable, messages));
    EXPECT_FALSE(messages.failed);
    if (HasFailure()) return;
  }
}

// A nonnegative combination of the rows, turned round, that asks for a little more.
TEST_P(MinqDual, finds_contradictions) {
  Dice dice(35);
  for (int i = 0; i < 100; ++i) {
    SCOPED_TRACE(i);
    Constrained problem = random_constrained(dice, GetParam().separable, GetParam().repeated);
    VECTOR sum(problem.c.size());
    double right = 0.0;
    for (int k = 0; k < problem.A.rows(); ++k) {
      const double share = std::abs(dice.real());
      for (int j = 0; j < sum.size(); ++j) sum(j) -= share * problem.A(k, j);
      right -= share * problem.b(k);
    }
    problem.A.append_row(sum);
    problem.b.push_back(right + 1e-4);
    problem.eq.push_back(0.0);
    Messages messages;
    const DualResult result = solve(problem, GetParam().separable, messages);
    EXPECT_EQ(result.ier, MinqStatus::unbounded);
    EXPECT_EQ(result.x.size(), 0);
    EXPECT_TRUE(says(messages, "unbounded"));
    if (HasFailure()) return;
  }
}

// Rows that are the bounds of a box: the same x as minq finds.
TEST_P(MinqDual, agrees_with_minq_on_boxes) {
  Dice dice(36);
  for (int i = 0; i < 100; ++i) {
    SCOPED_TRACE(i);
    Constrained problem = random_constrained(dice, GetParam().separable, false);
    const int n = problem.c.size();
    VECTOR xu = dice.vector(n);
    VECTOR xo = xu;
    problem.A = MATRIX(2 * n, n);
    problem.b = VECTOR(2 * n);
    problem.eq = VECTOR(2 * n);
    for (int k = 0; k < n; ++k) {
      xo(k) += 0.7 + 0.6 * dice.real();
      problem.A(2 * k, k) = 1.0;
      problem.b(2 * k) = xu(k);
      problem.A(2 * k + 1, k) = -1.0;
      problem.b(2 * k + 1) = -xo(k);
    }
    Messages messages;
    const DualResult dual = solve(problem, GetParam().separable, messages);
    const MinqResult direct = minq(0.0, problem.c, problem.G, xu, xo, 0, messages);
    ASSERT_EQ(dual.ier, MinqStatus::minimum);
    ASSERT_EQ(direct.ier, MinqStatus::minimum);
    for (int k = 0; k < n; ++k) EXPECT_NEAR(dual.x(k), direct.x(k), 1e-9) << k;
    if (HasFailure()) return;
  }
}

INSTANTIATE_TEST_SUITE_P(Rows, MinqDual,
                         testing::Values(DualRow{"minqsep", true, false},
                                         DualRow{"minqsep_repeated_rows", true, true},
                                         DualRow{"minqdef", false, false},
                                         DualRow{"minqdef_repeated_rows", false, true}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(MinqDual, needs_no_rows) {
  Messages messages;
  const DualResult sep = minqsep({2.0, -3.0}, {1.0, 3.0}, {}, {}, {}, 0, messages);
  ASSERT_EQ(sep.ier, MinqStatus::minimum);
  EXPECT_NEAR(sep.x(0), -2.0, 1e-15);
  EXPECT_NEAR(sep.x(1), 1.0, 1e-15);
  const DualResult def = minqdef({2.0}, {{4.0}}, MATRIX(0, 1), {}, {}, 0, messages);
  ASSERT_EQ(def.ier, MinqStatus::minimum);
  EXPECT_NEAR(def.x(0), -0.5, 1e-15);
}

struct BadDualRow {
  const char* name;
  VECTOR c;
  VECTOR d;
  MATRIX A;
  VECTOR b;
  VECTOR eq;
  const char* text;
};

void PrintTo(const BadDualRow& row, std::ostream* stream) {
  *stream << row.name;
}

class MinqsepBad : public testing::TestWithParam<BadDualRow> {};

TEST_P(MinqsepBad, gives_the_text) {
  const BadDualRow& row = GetParam();
  Messages messages;
  const DualResult result = minqsep(row.c, row.d, row.A, row.b, row.eq, 0, messages);
  EXPECT_EQ(result.ier, MinqStatus::bad_arguments);
  EXPECT_TRUE(messages.failed);
  EXPECT_EQ(messages.lines, std::vector<std::string>{row.text});
}

const char* const illegal_text = "minqsep: illegal values of input arguments!";

INSTANTIATE_TEST_SUITE_P(
    Rows, MinqsepBad,
    testing::Values(
        BadDualRow{"c", {1}, {1, 1}, {{1, 2}}, {1}, {0}, "minqsep: wrong dimension of c vector!"},
        BadDualRow{"d", {1, 1}, {1}, {{1, 2}}, {1}, {0}, "minqsep: wrong dimension of d vector!"},
        BadDualRow{"b", {1, 1}, {1, 1}, {{1, 2}}, {}, {0}, "minqsep: wrong dimension of b vector!"},
        BadDualRow{
            "eq", {1, 1}, {1, 1}, {{1, 2}}, {1}, {}, "minqsep: wrong dimension of eq vector!"},
        BadDualRow{"zero_d", {1}, {0}, {{1}}, {1}, {0}, illegal_text},
        BadDualRow{"infinite_d", {1}, {infinity}, {{1}}, {1}, {0}, illegal_text},
        BadDualRow{"nan_c", {not_a_number}, {1}, {{1}}, {1}, {0}, illegal_text},
        BadDualRow{"nan_eq", {1}, {1}, {{1}}, {1}, {not_a_number}, illegal_text}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(Minqdef, refuses_what_it_cannot_use) {
  Messages messages;
  EXPECT_EQ(minqdef({1}, {{1, 2}}, {{1}}, {1}, {0}, 0, messages).ier, MinqStatus::bad_arguments);
  EXPECT_EQ(minqdef({1}, {{1}}, {{1, 2}}, {1}, {0}, 0, messages).ier, MinqStatus::bad_arguments);
  EXPECT_EQ(minqdef({1}, {{-1}}, {{1}}, {1}, {0}, 0, messages).ier, MinqStatus::bad_arguments);
  EXPECT_EQ(messages.lines,
            (std::vector<std::string>{"minqdef: wrong dimension of G matrix!",
                                      "minqdef: wrong dimension of A matrix!",
                                      "chol: factorization could not be completed!"}));
}

// ---- regularised least squares ------------------------------------------------------------------

// Columns at right angles: x_i = a_i'b / (a_i'a_i + 1 / s_i^2).
TEST(Rls, shrinks_each_coefficient) {
  Messages messages;
  const VECTOR x =
      rls({{2.0, 0.0}, {0.0, 1.0}, {0.0, 1.0}}, {4.0, 3.0, 1.0}, {0.5, none}, messages);
  ASSERT_EQ(x.size(), 2);
  EXPECT_NEAR(x(0), 8.0 / (4.0 + 4.0), 1e-15);
  EXPECT_NEAR(x(1), 2.0, 1e-15);
}

TEST(Rls, refuses_what_it_cannot_use) {
  Messages messages;
  EXPECT_EQ(rls({{1.0}}, {1.0, 2.0}, {1.0}, messages).size(), 0);
  EXPECT_EQ(rls({{1.0}}, {1.0}, {0.0}, messages).size(), 0);
  EXPECT_EQ(messages.lines, (std::vector<std::string>{"rls: dimensions do not match!",
                                                      "rls: illegal values of input arguments!"}));
}

}  // namespace
}  // namespace torve::test
