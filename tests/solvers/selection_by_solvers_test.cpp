// The random selection problems, left to a solver by either route: the models against those of
// enumeration where the problem as stated is the metric, and always against the best subset of the
// problem as stated.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "solvers/standin_runs.h"
#include "support/random_cases.h"
#include "support/rows.h"
#include "support/stated_selection.h"

namespace torve::test {
namespace {

constexpr bool walks_the_sizes(int modeler) {
  return modeler >= 3 && modeler <= 5;
}
bool has_groups(Twist twist) {
  return twist == Twist::at_most || twist == Twist::at_least || twist == Twist::requires_group ||
         twist == Twist::excludes_group;
}

// Why a model of the solver isn't to be that of enumeration. The rest has to be, by both routes:
// Cp, RIC, SSEp and BIC in its convex form with one solve, AICc, HQC and MSE with a solve for each
// size. RIC is stated with the number of all columns, screened out or not; none of these problems
// turns on that.
struct Difference {
  std::string_view name;
  std::string_view reason;
  bool mirak;  // a difference of this route
  bool gams;
  bool (*applies)(const RandomRow& row, const RandomCase& made);
};

constexpr std::array differences = {
    Difference{"bic_of_squares", "BIC is stated with squares in the place of their logarithm", true,
               true,
               [](const RandomRow& row, const RandomCase& made) {
                 return row.modeler == 1 && !made.options.cvxbic;
               }},
    Difference{
        "madp_of_least_deviation",
        "MADp is stated with the coefficients of the least deviation, not those of the least "
        "squares",
        true, true, [](const RandomRow& row, const RandomCase&) { return row.modeler == 8; }},
    Difference{"sigma_of_one_square", "an estimated sigma divides the last square alone", true,
               false,
               [](const RandomRow& row, const RandomCase&) {
                 return row.twist.twist == Twist::estimated_sigma &&
                        (row.modeler == 1 || row.modeler == 2 || row.modeler == 7);
               }},
    Difference{
        "nested_groups",
        "a group that holds others is active only with them; enumeration takes it for active "
        "with any group",
        true, true,
        [](const RandomRow& row, const RandomCase&) {
          return row.twist.twist == Twist::nested_groups;
        }},
    Difference{"forbidden_size", "a size that the groups forbid ends the walk; enumeration goes on",
               true, true,
               [](const RandomRow& row, const RandomCase&) {
                 return walks_the_sizes(row.modeler) && has_groups(row.twist.twist);
               }},
    Difference{"early_end", "enumeration of a size ends with the first subset within tolmeanerror",
               true, true,
               [](const RandomRow& row, const RandomCase& made) {
                 return walks_the_sizes(row.modeler) && made.options.tolmeanerror >= 0.0;
               }},
};

bool differs(Route route, const RandomRow& row, const RandomCase& made) {
  return std::ranges::any_of(differences, [&](const Difference& difference) {
    return (route == Route::mirak ? difference.mirak : difference.gams) &&
           difference.applies(row, made);
  });
}

// SSEp doesn't estimate sigma: the squares are divided by the -1 that asks for it, and the problem
// isn't one that the stand-ins solve.
bool is_concave(const RandomRow& row, const RandomCase& made) {
  return row.modeler == 6 && row.twist.twist == Twist::estimated_sigma &&
         made.options.convpen > 0.0;
}

// SSEp without a price takes the full fit where it may, and one term is enumerated, whatever is
// asked for: no solver is called.
bool needs_no_solver(const RandomCase& made, int k) {
  const ReferenceOptions& options = made.options;
  const bool takes_full_fit = options.modeler == 6 && options.convpen <= 0.0 &&
                              ReferenceSelection::count(made.screened) <= options.nmax &&
                              made.groups_of(k).allow(made.screened);
  return takes_full_fit || options.nmax == 1;
}

// The tolerances of the walk mean nothing to a metric that is solved at once. Such a problem has a
// model without terms as well, with which enumeration doesn't begin.
ReferenceModel expected_of_enumeration(ReferenceSelection& reference, int modeler) {
  if (walks_the_sizes(modeler)) return reference.enumerate_all();
  ReferenceModel best = reference.exhaust();
  const ReferenceModel empty = reference.value(0, 0);
  return reference.groups.allow(0) && empty.metric < best.metric ? empty : best;
}

StatedSelection stated(Route route, const RandomCase& made, int k) {
  StatedOptions options;
  options.route = route;
  options.metric = made.options;
  StatedSelection selection(made.columns, made.values(k), made.use[static_cast<std::size_t>(k)],
                            made.screened, options);
  selection.groups = made.groups_of(k);
  return selection;
}

void expect_models(Route route, const RandomRow& row, const RandomCase& made) {
  if (is_concave(row, made)) return;
  SmallRun run = run_by_standin(route, made.problem);
  ASSERT_TRUE(run.ended_normally()) << run.screen();
  int solver_outputs = 0;
  for (const int k : made.modelled) {
    ReferenceSelection reference = made.reference(k);
    if (needs_no_solver(made, k)) {
      const ReferenceModel expected = reference.enumerate_all();
      expect_same_model(run, k, expected.mask, expected.beta);
      continue;
    }
    ++solver_outputs;
    StatedSelection selection = stated(route, made, k);
    expect_least(run, k, selection, selection.run());
    if (differs(route, row, made)) continue;
    const ReferenceModel expected = expected_of_enumeration(reference, row.modeler);
    expect_same_model(run, k, expected.mask, expected.beta);
  }
  if (walks_the_sizes(row.modeler)) {
    EXPECT_GE(run.state().counters.n_mip, solver_outputs);
  } else {
    EXPECT_EQ(run.state().counters.n_mip, solver_outputs);
  }
}

struct RouteRow {
  Route route;
  RandomRow row;
};

void PrintTo(const RouteRow& row, std::ostream* out) {
  PrintTo(row.row, out);
}

std::vector<RouteRow> all_route_rows() {
  std::vector<RouteRow> rows;
  for (const Route route : {Route::mirak, Route::gams}) {
    for (const RandomRow& row : all_random_rows()) rows.push_back({route, row});
  }
  return rows;
}

std::string route_row_name(const testing::TestParamInfo<RouteRow>& info) {
  const testing::TestParamInfo<RandomRow> row(info.param.row, info.index);
  return (info.param.route == Route::mirak ? "mirak_" : "gams_") + random_row_name(row);
}

class SelectionBySolvers : public testing::TestWithParam<RouteRow> {};

TEST_P(SelectionBySolvers, finds_the_best_of_all_subsets) {
  for (int round = 0; round < endless_rounds; ++round) {
    const RandomCase made = endless_case(GetParam().row, round);
    expect_models(GetParam().route, GetParam().row, made);
    if (HasFailure()) FAIL() << "round " << round << "\n" << made.problem.text();
  }
}

TEST_P(SelectionBySolvers, walks_the_sizes_until_a_rule_ends_it) {
  for (int round = 0; round < ending_rounds; ++round) {
    const RandomCase made = ending_case(GetParam().row, round);
    expect_models(GetParam().route, GetParam().row, made);
    if (HasFailure()) FAIL() << "round " << round << "\n" << made.problem.text();
  }
}

INSTANTIATE_TEST_SUITE_P(Random, SelectionBySolvers, testing::ValuesIn(all_route_rows()),
                         route_row_name);

// --- the table ----------------------------------------------------------------------------------

void PrintTo(const Difference& difference, std::ostream* out) {
  *out << difference.reason;
}

class SolverDifference : public testing::TestWithParam<Difference> {};

// Alone it makes a difference for some problem.
bool shows(const Difference& difference, Route route, const RandomRow& row,
           const RandomCase& made) {
  if (is_concave(row, made)) return false;
  const auto applies = [&](const Difference& other) { return other.applies(row, made); };
  if (!applies(difference) || std::ranges::count_if(differences, applies) != 1) return false;
  return std::ranges::any_of(made.modelled, [&](int k) {
    if (needs_no_solver(made, k)) return false;
    ReferenceSelection reference = made.reference(k);
    const ReferenceModel enumerated = expected_of_enumeration(reference, row.modeler);
    return stated(route, made, k).run().mask != enumerated.mask;
  });
}

TEST_P(SolverDifference, is_there) {
  const Difference& difference = GetParam();
  for (const Route route : {Route::mirak, Route::gams}) {
    if (!(route == Route::mirak ? difference.mirak : difference.gams)) continue;
    bool found = false;
    for (const RandomRow& row : all_random_rows()) {
      for (int round = 0; round < endless_rounds && !found; ++round) {
        found = shows(difference, route, row, endless_case(row, round));
      }
      for (int round = 0; round < ending_rounds && !found; ++round) {
        found = shows(difference, route, row, ending_case(row, round));
      }
    }
    EXPECT_TRUE(found) << difference.reason;
  }
}

INSTANTIATE_TEST_SUITE_P(Rows, SolverDifference, testing::ValuesIn(differences), RowName());

}  // namespace
}  // namespace torve::test
