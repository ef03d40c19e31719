// Whole runs in which a program stands in for the solver mirak and really solves what it is given:
// the models against those of enumeration where the problem as stated is the metric, and against
// the problem as stated where it isn't. TORVE_MIRAK_STANDIN is that program.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <string_view>
#include <vector>

#include "support/reference_selection.h"
#include "support/rows.h"
#include "support/small_problem.h"

namespace torve::test {
namespace {

constexpr std::string_view by_enumeration = "solvemip 0\nenumall 0\nenum1 -1\nbuilder 0\n";
constexpr std::string_view by_solver = "solvemip 1\nenumall 0\nenum1 0\nbuilder 0\n";

void use_standin(RunState& run) {
  run.files.mirakpath = TORVE_MIRAK_STANDIN;
}

// Columns: the inputs and the constant. The output depends on two of them.
SmallProblem random_problem(Random& random, int inputs, int points) {
  SmallProblem problem;
  for (int i = 0; i < points; ++i) {
    std::vector<double> row(static_cast<std::size_t>(inputs));
    for (double& value : row) value = random.real(0.5, 3.0);
    const double z = 6.0 + 2.0 * row[0] - 1.5 * row[1] + 0.4 * random.normal();
    problem.x.push_back(std::move(row));
    problem.z.push_back({z});
  }
  return problem;
}

std::vector<std::vector<double>> columns_of(const SmallProblem& problem) {
  std::vector<std::vector<double>> columns(problem.x[0].size() + 1);
  for (const std::vector<double>& row : problem.x) {
    for (std::size_t j = 0; j < row.size(); ++j) columns[j].push_back(row[j]);
    columns.back().push_back(1.0);
  }
  return columns;
}

SmallRun run_with(const SmallProblem& problem, std::string_view strategy) {
  SmallProblem changed = problem;
  changed.options += strategy;
  return SmallRun(changed.text(), use_standin);
}

void expect_model(SmallRun& run, const std::vector<bool>& chosen, const std::vector<double>& beta) {
  ASSERT_TRUE(run.ended_normally()) << run.screen();
  ASSERT_EQ(run.chosen(0), chosen) << run.listing();
  for (std::size_t j = 0; j < beta.size(); ++j) {
    EXPECT_NEAR(chosen[j] ? run.beta(0)[j] : 0.0, chosen[j] ? beta[j] : 0.0, 1e-7) << j;
  }
}

// --- the problem as stated is the metric --------------------------------------------------------

struct MetricRow {
  const char* name;
  const char* options;
};

class SelectionByMirak : public testing::TestWithParam<MetricRow> {};

TEST_P(SelectionByMirak, gives_the_model_of_enumeration) {
  for (std::uint64_t seed = 1; seed <= 4; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    SmallProblem problem = random_problem(random, random.whole(2, 4), random.whole(10, 16));
    problem.options = GetParam().options;
    SmallRun expected = run_with(problem, by_enumeration);
    ASSERT_TRUE(expected.ended_normally());
    ASSERT_EQ(expected.state().counters.n_mip, 0);
    SmallRun run = run_with(problem, by_solver);
    EXPECT_GT(run.state().counters.n_mip, 0);
    expect_model(run, expected.chosen(0), expected.beta(0));
    EXPECT_NEAR(run.reported_metric("Z1"), expected.reported_metric("Z1"), 1e-6);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, SelectionByMirak,
    testing::Values(MetricRow{"bic", "modeler 1\ncvxbic 1\n"}, MetricRow{"cp", "modeler 2\n"},
                    MetricRow{"aicc", "modeler 3\n"}, MetricRow{"hqc", "modeler 4\n"},
                    MetricRow{"mse", "modeler 5\n"}, MetricRow{"ssep", "modeler 6\nconvpen 0.3\n"},
                    MetricRow{"ric", "modeler 7\n"},
                    MetricRow{"bic_without_scaled_bases", "modeler 1\ncvxbic 1\nscalebases 0\n"},
                    MetricRow{"aicc_of_scaled_outputs", "modeler 3\nscalez 1\n"},
                    MetricRow{"mse_of_scaled_outputs", "modeler 5\nscalez 1\nscalebases 0\n"},
                    MetricRow{"cp_of_two_terms", "modeler 2\nmaxterms 2\n"},
                    MetricRow{"aicc_of_two_terms", "modeler 3\nmaxterms 2\n"},
                    MetricRow{"bic_under_debug", "modeler 1\ncvxbic 1\ndebug 1\n"}),
    RowName());

struct RuleRow {
  const char* name;
  const char* rules;
};

class GroupsByMirak : public testing::TestWithParam<RuleRow> {};

// Group 1 holds the columns that matter, group 2 one of them and a third, group 3 the constant.
TEST_P(GroupsByMirak, are_kept) {
  for (const int modeler : {1, 2, 7}) {
    for (std::uint64_t seed = 11; seed <= 13; ++seed) {
      SCOPED_TRACE(fmt::format("modeler {} seed {}", modeler, seed));
      Random random(seed);
      SmallProblem problem = random_problem(random, 3, 14);
      problem.options = fmt::format("modeler {}\ncvxbic 1\nngroups 3\n", modeler);
      problem.sections = fmt::format(
          "begin_groups\n1 lin 1\n1 lin 2\n2 lin 2\n2 lin 3\n3 const\nend_groups\n"
          "begin_groupcon\n{}end_groupcon\n",
          GetParam().rules);
      SmallRun expected = run_with(problem, by_enumeration);
      SmallRun run = run_with(problem, by_solver);
      EXPECT_GT(run.state().counters.n_mip, 0);
      expect_model(run, expected.chosen(0), expected.beta(0));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Rows, GroupsByMirak,
                         testing::Values(RuleRow{"at_most", "1 1 nmt 1\n"},
                                         RuleRow{"at_least", "2 1 atl 2\n"},
                                         RuleRow{"required", "1 1 req 2\n"},
                                         RuleRow{"excluded", "1 1 xcl 3\n"},
                                         RuleRow{"several", "1 -1 nmt 1\n3 1 req 2\n"}),
                         RowName());

TEST(SelectionByMirakOfMissingValues, leaves_rows_out) {
  Random random(5);
  SmallProblem problem = random_problem(random, 3, 14);
  problem.z[3][0] = problem.z[9][0] = -999.0;
  problem.options = "modeler 2\npreset -999\n";
  SmallRun expected = run_with(problem, by_enumeration);
  SmallRun run = run_with(problem, by_solver);
  expect_model(run, expected.chosen(0), expected.beta(0));
}

// --- the problem as stated is something else ----------------------------------------------------

struct Stated {
  std::vector<bool> chosen;
  std::vector<double> beta;
  double objective = 1e300;
};

// The largest of 100 (z - fit)/|z| and 100 (fit - z) at the vertices of the problem: for each
// subset of terms as many sides of rows as there are unknowns hold with equality.
class LargestErrors {
 public:
  LargestErrors(const SmallProblem& problem, double price)
      : columns_(columns_of(problem)), price_(price) {
    for (std::size_t i = 0; i < problem.z.size(); ++i) z_.push_back(problem.z[i][0]);
  }
  Stated best() {
    for (unsigned bits = 1; bits < 1U << columns_.size(); ++bits) {
      terms_.clear();
      for (std::size_t j = 0; j < columns_.size(); ++j) {
        if ((bits >> j & 1U) != 0) terms_.push_back(j);
      }
      sides_.clear();
      choose(0);
    }
    return best_;
  }

 private:
  double factor(std::size_t side) const {
    return side % 2 == 0 ? 100.0 / std::abs(z_[side / 2]) : -100.0;
  }
  void choose(std::size_t from) {
    if (sides_.size() == terms_.size() + 1) {
      try_vertex();
      return;
    }
    for (std::size_t side = from; side < 2 * z_.size(); ++side) {
      sides_.push_back(side);
      choose(side + 1);
      sides_.pop_back();
    }
  }
  // factor (z - fit) = mad on the chosen sides; the solution counts with its true largest error.
  void try_vertex() {
    std::vector<std::vector<double>> matrix(terms_.size() + 1);
    std::vector<double> right;
    for (const std::size_t side : sides_) {
      for (std::size_t p = 0; p < terms_.size(); ++p) {
        matrix[p].push_back(factor(side) * columns_[terms_[p]][side / 2]);
      }
      matrix.back().push_back(1.0);
      right.push_back(factor(side) * z_[side / 2]);
    }
    const std::vector<long double> solution =
        reference_least_squares(matrix, right, std::vector<bool>(right.size(), true));
    // Both sides of a row don't meet.
    const auto is_finite = [](long double value) { return std::isfinite(value); };
    if (!std::ranges::all_of(solution, is_finite)) return;
    double mad = 0.0;
    for (std::size_t side = 0; side < 2 * z_.size(); ++side) {
      long double error = z_[side / 2];
      for (std::size_t p = 0; p < terms_.size(); ++p) {
        error -= solution[p] * columns_[terms_[p]][side / 2];
      }
      mad = std::max(mad, factor(side) * static_cast<double>(error));
    }
    const double objective = mad + price_ * static_cast<double>(terms_.size());
    if (!(objective < best_.objective - 1e-9)) return;
    best_ = {std::vector<bool>(columns_.size(), false), std::vector<double>(columns_.size(), 0.0),
             objective};
    for (std::size_t p = 0; p < terms_.size(); ++p) {
      best_.chosen[terms_[p]] = true;
      best_.beta[terms_[p]] = static_cast<double>(solution[p]);
    }
  }

  std::vector<std::vector<double>> columns_;
  std::vector<double> z_;
  double price_;
  std::vector<std::size_t> terms_;
  std::vector<std::size_t> sides_;
  Stated best_;
};

TEST(StatedByMirak, largest_errors_are_not_those_of_least_squares) {
  for (std::uint64_t seed = 1; seed <= 3; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    SmallProblem problem = random_problem(random, 2, 7);
    problem.options = "modeler 8\nconvpen 1.5\n";
    const Stated expected = LargestErrors(problem, 1.5).best();
    SmallRun run = run_with(problem, by_solver);
    expect_model(run, expected.chosen, expected.beta);
  }
}

// For absolute errors a chosen column holds the errors that it weighs at a sum of 0, so that only
// columns of both signs can be chosen without an exact fit.
TEST(StatedByMirak, absolute_errors_are_balanced) {
  SmallProblem problem;
  problem.x = {{-2.0, 1.0}, {-1.0, 2.0}, {0.0, 1.0}, {1.0, 3.0}, {2.0, 1.0}};
  problem.z = {{-3.5}, {-2.5}, {0.5}, {1.5}, {4.5}};
  problem.options = "modeler 6\nconvpen 0.1\nlinearerror 1\nscalebases 0\n";
  SmallRun run = run_with(problem, by_solver);
  ASSERT_TRUE(run.ended_normally()) << run.screen();
  EXPECT_EQ(run.chosen(0), (std::vector<bool>{true, false, false}));
  // Errors of at least 0.5 each with sum x e = 0: any slope from 1.75 to 2.25 is as good at best,
  // and errors may be larger than the distances they bound.
  const double slope = run.beta(0)[0];
  double errors = 0.0;
  for (std::size_t i = 0; i < problem.x.size(); ++i) {
    errors += std::abs(problem.z[i][0] - slope * problem.x[i][0]);
  }
  EXPECT_NEAR(errors, 2.5, 1e-9);
}

// --- least squares ------------------------------------------------------------------------------

TEST(LeastSquaresByMirak, are_those_of_the_chain) {
  Random random(3);
  SmallProblem problem = random_problem(random, 3, 12);
  SmallRun expected = run_with(problem, by_enumeration);
  problem.options += "olrone 0\nolrdgels 0\nolrclr 0\nolrgsi 0\nolrmir 1\n";
  SmallRun run = run_with(problem, by_enumeration);
  EXPECT_GT(run.state().counters.OLRmirCalls, 10);
  EXPECT_EQ(run.state().counters.OLRmirFails, 0);
  expect_model(run, expected.chosen(0), expected.beta(0));
}

}  // namespace
}  // namespace torve::test
