// Problems of up to ten columns against every choice of the switches, fitted in long double.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "mirsolve/run/solvers.h"
#include "mirsolve/tests/selection_brute_force.h"
#include "mirsolve/tests/selection_problems.h"

namespace mirsolve::test {

namespace {

std::size_t at(int i) {
  return static_cast<std::size_t>(i);
}

struct Case {
  const char* name;
  std::function<SelectionCase(unsigned seed)> make;
  int seeds = 6;
};

SelectionCase with_penalty(SelectionCase made, double sigma, double penalty) {
  made.weights.assign(made.rows.size(), 1.0 / sigma);
  made.penalty = penalty;
  return made;
}

SelectionCase with_size(SelectionCase made, Sense sense, double limit) {
  made.sizes.push_back({{}, sense, limit});
  return made;
}

// One divisor, at the last square alone.
SelectionCase bic(unsigned seed) {
  SelectionCase made = with_penalty(random_case(30, 8, 3, 1.0, seed), 1.0, std::log(30.0));
  made.weights.back() = 1.0 / 0.37;
  return made;
}

SelectionCase relative_errors(unsigned seed) {
  SelectionCase made = random_case(20, 7, 3, 0.5, seed);
  for (std::size_t i = 0; i < made.rows.size(); ++i) {
    if (std::abs(made.z[i]) <= 1e-3) continue;
    for (double& x : made.rows[i]) x /= made.z[i];
    made.z[i] = 1.0;
  }
  return with_size(made, Sense::equal, 3);
}

// z as the best fit of the columns 1 and 4, exactly.
SelectionCase exact_fit(unsigned seed) {
  SelectionCase made = random_case(15, 7, 2, 0.0, seed);
  for (std::size_t i = 0; i < made.rows.size(); ++i) {
    made.z[i] = 2.0 * made.rows[i][1] - made.rows[i][4];
  }
  return made;
}

SelectionCase exact_fit_by_limit(unsigned seed) {
  SelectionCase made = exact_fit(seed);
  made.counts_squares = false;
  made.penalty = 2.5;
  made.square_limit = 2e-10;
  return made;
}

SelectionCase bounded(unsigned seed) {
  SelectionCase made = with_size(random_case(16, 5, 3, 0.5, seed), Sense::at_most, 3);
  made.penalty = 0.5;
  made.lower = {-0.3, -1.0, 0.1, -1e31, 0.2};
  made.upper = {0.3, 0.4, 0.6, 0.2, 1e31};
  return made;
}

SelectionCase with_limits(unsigned seed, std::vector<LinearRow> limits) {
  SelectionCase made = with_penalty(random_case(16, 5, 3, 0.5, seed), 0.3, 1.0);
  made.limits = std::move(limits);
  return made;
}

// Groups 0: columns 0 to 2, 1: columns 3 and 4, 2: column 5 and group 0; a group is on when and
// only when one of its members is.
SelectionCase grouped(unsigned seed, std::vector<LinearRow> rules) {
  SelectionCase made = with_penalty(random_case(18, 7, 4, 0.7, seed), 0.4, 1.2);
  made.groups = 3;
  const int first = 7;
  const std::vector<std::vector<int>> members = {{0, 1, 2}, {3, 4}, {5, first}};
  for (int g = 0; g < made.groups; ++g) {
    LinearRow some{{{first + g, 1.0}}, Sense::at_most, 0.0};
    for (const int member : members[at(g)]) {
      some.terms.emplace_back(member, -1.0);
      made.logic.push_back({{{member, 1.0}, {first + g, -1.0}}, Sense::at_most, 0.0});
    }
    made.logic.push_back(some);
  }
  for (LinearRow& rule : rules) made.logic.push_back(std::move(rule));
  return made;
}

const LinearRow no_more_than_one{{{0, 1.0}, {1, 1.0}, {2, 1.0}}, Sense::at_most, 1.0};
const LinearRow at_least_two{{{0, 1.0}, {1, 1.0}, {2, 1.0}}, Sense::at_least, 2.0};
const LinearRow second_requires_third{{{8, 1.0}, {9, -1.0}}, Sense::at_most, 0.0};
const LinearRow first_excludes_second{{{7, 1.0}, {8, 1.0}}, Sense::at_most, 1.0};
const LinearRow second_is_on{{{8, 1.0}}, Sense::at_least, 1.0};

SelectionCase with_dependent_columns(unsigned seed) {
  SelectionCase made = with_penalty(random_case(14, 8, 3, 0.6, seed), 0.5, 1.5);
  for (auto& row : made.rows) {
    row[3] = row[0];
    row[5] = row[1] - 2.0 * row[2];
    row[7] = 0.0;
  }
  return made;
}

const Case cases[] = {
    {"penalty_and_a_divisor_at_the_last_square", bic},
    {"penalty_of_two",
     [](unsigned s) { return with_penalty(random_case(25, 9, 4, 2.0, s), 1.7, 2.0); }},
    {"penalty_and_size",
     [](unsigned s) {
       return with_size(with_penalty(random_case(25, 9, 6, 1.0, s), 1.0, 2.0), Sense::at_most, 2);
     }},
    {"penalty_on_few_points",
     [](unsigned s) { return with_penalty(random_case(9, 8, 3, 1.0, s), 0.2, 2.8); }},
    {"penalty_below_zero",
     [](unsigned s) { return with_penalty(random_case(20, 6, 2, 1.0, s), 1.0, -0.5); }},
    {"size_of_three",
     [](unsigned s) { return with_size(random_case(30, 10, 4, 1.0, s), Sense::equal, 3); }},
    {"size_of_none",
     [](unsigned s) { return with_size(random_case(30, 4, 2, 1.0, s), Sense::equal, 0); }},
    {"size_of_all",
     [](unsigned s) { return with_size(random_case(30, 5, 2, 1.0, s), Sense::equal, 5); }},
    {"size_of_more_than_all",
     [](unsigned s) { return with_size(random_case(30, 5, 2, 1.0, s), Sense::equal, 6); }, 1},
    {"size_of_at_least", [](unsigned s) { return with_size(bic(s), Sense::at_least, 6); }},
    {"squares_alone",
     [](unsigned s) { return with_size(random_case(20, 8, 3, 1.0, s), Sense::at_most, 4); }},
    {"relative_errors", relative_errors},
    {"as_many_points_as_columns",
     [](unsigned s) { return with_size(random_case(7, 7, 3, 1.0, s), Sense::equal, 3); }},
    {"fewer_points_than_columns",
     [](unsigned s) { return with_size(random_case(4, 8, 3, 1.0, s), Sense::at_most, 3); }},
    {"one_point", [](unsigned s) { return with_penalty(random_case(1, 4, 2, 1.0, s), 0.01, 1.0); }},
    {"large_numbers",
     [](unsigned s) {
       SelectionCase made = with_size(random_case(20, 6, 3, 1.0, s), Sense::equal, 3);
       for (auto& row : made.rows) row[2] *= 1e20, row[3] *= 1e-20;
       for (double& z : made.z) z *= 1e8;
       return made;
     }},
    {"exact_fit", [](unsigned s) { return with_size(exact_fit(s), Sense::equal, 2); }},
    {"exact_fit_with_a_penalty", [](unsigned s) { return with_penalty(exact_fit(s), 1e-6, 2.0); }},
    {"limit_of_squares", exact_fit_by_limit},
    {"limit_of_squares_that_needs_more_than_may_be",
     [](unsigned s) { return with_size(exact_fit_by_limit(s), Sense::at_most, 1); }, 2},
    {"limit_of_squares_of_noise",
     [](unsigned s) {
       SelectionCase made = random_case(20, 8, 4, 1.0, s);
       made.counts_squares = false;
       made.penalty = 1.0;
       made.square_limit = 24.0;
       return made;
     }},
    {"limit_beside_the_squares",
     [](unsigned s) {
       SelectionCase made = random_case(20, 8, 4, 1.0, s);
       made.penalty = 20.0;
       made.square_limit = 24.0;
       return made;
     }},
    {"penalty_alone",
     [](unsigned s) {
       SelectionCase made = with_size(random_case(6, 4, 2, 1.0, s), Sense::at_least, 2);
       made.counts_squares = false;
       made.penalty = 1.25;
       return made;
     },
     1},
    {"nothing_to_minimise",
     [](unsigned s) {
       SelectionCase made = with_size(random_case(6, 4, 2, 1.0, s), Sense::equal, 2);
       made.counts_squares = false;
       return made;
     },
     1},
    {"bounds_that_cut_off", bounded, 12},
    {"bounds_that_contradict_the_size",
     [](unsigned s) {
       SelectionCase made = with_size(random_case(9, 3, 2, 1.0, s), Sense::equal, 2);
       made.lower = {1.0, 1.0, -1e31};
       made.upper = {0.5, 0.5, 1e31};
       return made;
     },
     2},
    {"sum_of_coefficients_is_zero",
     [](unsigned s) {
       return with_limits(s, {{{{0, 1.0}, {1, 1.0}, {3, 1.0}}, Sense::equal, 0.0}});
     },
     12},
    {"bounding_rows",
     [](unsigned s) {
       return with_limits(s, {{{{0, 1.0}, {1, 2.0}, {2, -1.0}}, Sense::at_least, -0.2},
                              {{{0, 0.5}, {2, 1.0}, {4, -1.5}}, Sense::at_most, 0.3},
                              {{{1, 1.0}, {3, 1.0}}, Sense::at_most, 0.1}});
     },
     12},
    {"rows_that_need_a_column",
     [](unsigned s) {
       return with_limits(s, {{{{1, 1.0}, {4, -1.0}}, Sense::at_least, 0.7}});
     },
     8},
    {"rows_that_contradict_each_other",
     [](unsigned s) {
       return with_limits(s, {{{{1, 1.0}, {4, -1.0}}, Sense::at_least, 0.7},
                              {{{1, 1.0}, {4, -1.0}}, Sense::at_most, 0.6}});
     },
     2},
    {"rows_beside_bounds",
     [](unsigned s) {
       SelectionCase made = bounded(s);
       made.limits = {{{{0, 1.0}, {1, 1.0}, {3, -1.0}}, Sense::at_most, 0.15}};
       return made;
     },
     12},
    {"rows_and_a_limit_of_squares",
     [](unsigned s) {
       SelectionCase made = with_limits(s, {{{{0, 1.0}, {1, 1.0}}, Sense::at_most, 0.5}});
       made.counts_squares = false;
       made.square_limit = 60.0;
       return made;
     }},
    {"rows_and_a_penalty_alone",
     [](unsigned s) {
       SelectionCase made = with_limits(s, {{{{0, 1.0}, {1, 1.0}}, Sense::at_least, 0.5},
                                            {{{1, 1.0}, {3, -2.0}}, Sense::at_most, -1.0},
                                            {{{0, 1.0}, {3, 1.0}}, Sense::at_most, 0.4}});
       made.counts_squares = false;
       return made;
     },
     1},
    {"groups", [](unsigned s) { return grouped(s, {}); }},
    {"no_more_than", [](unsigned s) { return grouped(s, {no_more_than_one}); }},
    {"at_least", [](unsigned s) { return grouped(s, {at_least_two}); }},
    {"requires",
     [](unsigned s) {
       return grouped(s, {second_requires_third, second_is_on});
     }},
    {"excludes", [](unsigned s) { return grouped(s, {first_excludes_second}); }},
    {"all_rules",
     [](unsigned s) {
       return with_size(
           grouped(s, {no_more_than_one, second_requires_third, first_excludes_second}),
           Sense::equal, 3);
     }},
    {"rules_that_contradict_each_other",
     [](unsigned s) {
       return grouped(s, {no_more_than_one, at_least_two});
     },
     2},
    {"rules_that_contradict_over_groups",
     [](unsigned s) {
       return grouped(s, {first_excludes_second, second_is_on, at_least_two});
     },
     2},
    {"dependent_columns", with_dependent_columns},
    {"dependent_columns_of_a_size",
     [](unsigned s) {
       SelectionCase made = with_dependent_columns(s);
       made.penalty = 0.0;
       return with_size(made, Sense::equal, 5);
     }},
    {"only_empty_columns",
     [](unsigned s) {
       SelectionCase made = with_size(random_case(5, 3, 1, 1.0, s), Sense::equal, 2);
       for (auto& row : made.rows) row.assign(3, 0.0);
       return made;
     },
     1},
    {"output_of_zeros",
     [](unsigned s) {
       SelectionCase made = with_penalty(random_case(8, 4, 1, 1.0, s), 1.0, 2.0);
       made.z.assign(made.z.size(), 0.0);
       return made;
     },
     2},
};

class Selection : public testing::TestWithParam<Case> {};

TEST_P(Selection, IsAsGoodAsEveryChoice) {
  for (unsigned seed = 1; seed <= static_cast<unsigned>(GetParam().seeds); ++seed) {
    SCOPED_TRACE(seed);
    const SelectionCase made = GetParam().make(seed);
    const Problem problem = build(made);
    const std::optional<BruteForce> wanted = solve_by_brute_force(made);
    const std::optional<Answer> answer = solve_selection(problem, Deadline(60.0));
    ASSERT_TRUE(answer);
    if (!wanted) {
      EXPECT_EQ(answer->status, Status::infeasible);
      EXPECT_TRUE(answer->points.empty());
      continue;
    }
    ASSERT_EQ(answer->status, Status::proven);
    ASSERT_EQ(answer->points.size(), 1U);
    const std::vector<double>& point = answer->points.front();
    EXPECT_EQ(broken_by(problem, point), "");
    EXPECT_EQ(answer->objective, evaluate(problem.graph, problem.objective, point));
    // Sums of squares of exact fits are what rounding leaves of the output.
    double output = 0.0;
    for (const double z : made.z) output += z * z;
    const double slack = 1e-9 * std::abs(wanted->objective) + 1e-9 + 1e-24 * output;
    EXPECT_NEAR(answer->objective, wanted->objective, slack);
    EXPECT_LE(answer->bound, answer->objective);
    EXPECT_GE(answer->bound, answer->objective - 2e-9 * (1.0 + std::abs(answer->objective)));
    if (wanted->next && *wanted->next > wanted->objective + 10.0 * slack) {
      std::vector<int> columns;
      for (int j = 0; j < made.columns(); ++j) {
        if (point[at(j)] == 1.0) columns.push_back(j);
      }
      EXPECT_EQ(columns, wanted->columns);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(All, Selection, testing::ValuesIn(cases),
                         [](const auto& test) { return test.param.name; });

}  // namespace

}  // namespace mirsolve::test
