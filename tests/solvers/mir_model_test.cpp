// Texts of surrogate.mir and olr.mir: each kind of problem against a file of tests/data/solvers,
// and each file against the tests' own reader of the language. TORVE_TEST_DATA is tests/data; with
// TORVE_UPDATE=1 in the environment the files are written anew.
#include "solvers/mir_model.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <set>
#include <string_view>

#include "subset_case.h"
#include "support/mir_language.h"
#include "support/rows.h"

namespace torve::test {
namespace {

std::string expected_text(const std::string& name, const std::string& text) {
  const std::string path = std::string(TORVE_TEST_DATA) + "/solvers/" + name + ".mir";
  const char* update = std::getenv("TORVE_UPDATE");
  if (update != nullptr && std::string_view(update) == "1") {
    std::ofstream(path, std::ios::binary) << text;
  }
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

struct ModelRow {
  const char* name;
  std::function<void(SubsetCase&)> change;
  std::set<std::string> oddities;
};

class MirModel : public testing::TestWithParam<ModelRow> {};

TEST_P(MirModel, is_the_text_of_its_file_and_can_be_read) {
  SubsetCase c;
  GetParam().change(c);
  const std::string text = mir_model(c.problem);
  EXPECT_EQ(text, expected_text(GetParam().name, text));
  const MirFile file = read_mir(text);
  EXPECT_EQ(name_complaints(file), std::vector<std::string>{});
  EXPECT_EQ(file.oddities, GetParam().oddities);
}

const std::set<std::string> none;

INSTANTIATE_TEST_SUITE_P(
    Metrics, MirModel,
    testing::Values(ModelRow{"bic", [](SubsetCase&) {}, none},
                    ModelRow{"bic_any_size", [](SubsetCase& c) { c.problem.cardinality = false; },
                             none},
                    ModelRow{"cp",
                             [](SubsetCase& c) {
                               set_metric(c, Metric::cp);
                               c.problem.sigma = 0.25;
                             },
                             none},
                    ModelRow{"aicc",
                             [](SubsetCase& c) {
                               set_metric(c, Metric::aicc);
                               c.problem.cutoff = 12.125;
                             },
                             none},
                    ModelRow{"hqc",
                             [](SubsetCase& c) {
                               set_metric(c, Metric::hqc);
                               c.problem.cutoff = 1e30;
                             },
                             none},
                    ModelRow{"mse", [](SubsetCase& c) { set_metric(c, Metric::mse); }, none},
                    ModelRow{"ssep",
                             [](SubsetCase& c) {
                               set_metric(c, Metric::ssep);
                               c.problem.tight_gaps = true;
                               c.problem.cutoff = 1e30;
                             },
                             none},
                    ModelRow{"ssep_penalty",
                             [](SubsetCase& c) {
                               set_metric(c, Metric::ssep);
                               c.problem.convpen = 0.5;
                             },
                             none},
                    ModelRow{"ric", [](SubsetCase& c) { set_metric(c, Metric::ric); }, none},
                    ModelRow{"madp", [](SubsetCase& c) { set_metric(c, Metric::madp); }, none},
                    ModelRow{"madp_penalty_and_start",
                             [](SubsetCase& c) {
                               set_metric(c, Metric::madp);
                               c.problem.convpen = 2.5;
                               start_from_model(c);
                             },
                             none}),
    RowName());

const std::set<std::string> of_absolute_errors = {"no_semicolon", "stray_bracket"};

INSTANTIATE_TEST_SUITE_P(
    Errors, MirModel,
    testing::Values(ModelRow{"linearerror", take_absolute_errors, of_absolute_errors},
                    ModelRow{"relerror", take_relative_errors, none},
                    ModelRow{"relerror_of_mse",
                             [](SubsetCase& c) {
                               set_metric(c, Metric::mse);
                               take_relative_errors(c);
                             },
                             none},
                    ModelRow{"exact_fit", [](SubsetCase& c) { c.problem.sseterm = false; }, none},
                    ModelRow{"exact_fit_of_mse",
                             [](SubsetCase& c) {
                               set_metric(c, Metric::mse);
                               c.problem.sseterm = false;
                             },
                             std::set<std::string>{"empty_sum"}},
                    ModelRow{"sselimit", limit_sse, std::set<std::string>{"name_twice"}},
                    ModelRow{"sselimit_with_relerror",
                             [](SubsetCase& c) {
                               limit_sse(c);
                               take_relative_errors(c);
                             },
                             std::set<std::string>{"name_twice"}},
                    ModelRow{"sselimit_with_linearerror",
                             [](SubsetCase& c) {
                               limit_sse(c);
                               take_absolute_errors(c);
                             },
                             std::set<std::string>{"name_twice", "no_semicolon", "stray_bracket"}}),
    RowName());

INSTANTIATE_TEST_SUITE_P(
    Scaling, MirModel,
    testing::Values(ModelRow{"scalebases", scale_bases, none}, ModelRow{"scalez", scale_z, none},
                    ModelRow{"scalez_and_scalebases_of_madp",
                             [](SubsetCase& c) {
                               set_metric(c, Metric::madp);
                               scale_bases(c);
                               scale_z(c);
                             },
                             none},
                    ModelRow{"wide_bounds", [](SubsetCase& c) { c.problem.betaup.assign(5, 1e31); },
                             none}),
    RowName());

INSTANTIATE_TEST_SUITE_P(
    Conditions, MirModel,
    testing::Values(ModelRow{"groups", add_all_conditions, none},
                    ModelRow{"groups_and_start",
                             [](SubsetCase& c) {
                               add_all_conditions(c);
                               start_from_model(c);
                             },
                             none},
                    ModelRow{"bounding_set", [](SubsetCase& c) { c.add_bounding_set(); }, none},
                    ModelRow{"bounding_set_below",
                             [](SubsetCase& c) {
                               c.add_bounding_set();
                               c.problem.zmax.reset();
                               scale_bases(c);
                               scale_z(c);
                             },
                             none},
                    ModelRow{"prbf", [](SubsetCase& c) { c.problem.prbf = std::pair(1, 3); }, none},
                    ModelRow{"prbf_screened_out",
                             [](SubsetCase& c) { c.problem.prbf = std::pair(2, 2); }, none},
                    ModelRow{"start", start_from_model, none}),
    RowName());

INSTANTIATE_TEST_SUITE_P(Options, MirModel,
                         testing::Values(ModelRow{"all_options",
                                                  [](SubsetCase& c) {
                                                    c.problem.firstfeas = true;
                                                    c.problem.dive = true;
                                                    c.problem.deltaterm = true;
                                                    c.problem.debug = true;
                                                  },
                                                  none},
                                         ModelRow{"shortcut",
                                                  [](SubsetCase& c) {
                                                    c.problem.shortcut = true;
                                                    c.problem.allowcplex = true;
                                                    c.problem.print_solver = true;
                                                    c.problem.seconds = 0.0;
                                                  },
                                                  none},
                                         ModelRow{"no_term", [](SubsetCase& c) { c.screen_all(); },
                                                  std::set<std::string>{"empty_sum"}},
                                         ModelRow{"no_term_of_aicc",
                                                  [](SubsetCase& c) {
                                                    set_metric(c, Metric::aicc);
                                                    c.screen_all();
                                                  },
                                                  std::set<std::string>{"empty_sum"}},
                                         ModelRow{"no_term_but_groups",
                                                  [](SubsetCase& c) {
                                                    c.screen_all();
                                                    add_all_conditions(c);
                                                  },
                                                  std::set<std::string>{"empty_sum"}}),
                         RowName());

INSTANTIATE_TEST_SUITE_P(
    CustomConstraints, MirModel,
    testing::Values(ModelRow{"custom",
                             [](SubsetCase& c) {
                               c.add_bounding_set();
                               c.problem.custom = {{1, "z1 - x^2 - 3"}, {3, "2*y - z1"}};
                             },
                             none},
                    ModelRow{"custom_with_scalebases",
                             [](SubsetCase& c) {
                               c.add_bounding_set();
                               c.problem.custom = {{2, "z1 - x^2 - 3"}};
                               scale_bases(c);
                               scale_z(c);
                             },
                             std::set<std::string>{"quote_before_number"}}),
    RowName());

// --- everything at once --------------------------------------------------------------------------

class MirCombinations : public testing::TestWithParam<int> {};

// A metric with every choice of what may stand beside it.
TEST_P(MirCombinations, can_be_read) {
  const auto metric = static_cast<Metric>(GetParam());
  const std::array<std::function<void(SubsetCase&)>, 8> changes = {
      scale_bases,
      scale_z,
      limit_sse,
      add_all_conditions,
      [](SubsetCase& c) {
        c.add_bounding_set();
        c.problem.custom = {{1, "z1 - x^2 - 3"}, {2, "-z1"}};
      },
      [](SubsetCase& c) { c.problem.prbf = std::pair(1, 4); },
      start_from_model,
      [](SubsetCase& c) { c.problem.convpen = 0.5; }};
  for (const auto error : {ErrorModel::squares, ErrorModel::relative_squares, ErrorModel::absolute,
                           ErrorModel::largest_percent}) {
    if ((metric == Metric::madp) != (error == ErrorModel::largest_percent)) continue;
    for (unsigned bits = 0; bits < 1U << changes.size(); ++bits) {
      SubsetCase c;
      set_metric(c, metric);
      c.problem.error = error;
      for (std::size_t n = 0; n < changes.size(); ++n) {
        if ((bits >> n & 1U) != 0) changes[n](c);
      }
      if (metric == Metric::madp) c.problem.sse_limit.reset();
      const MirFile file = read_mir(mir_model(c.problem));
      ASSERT_EQ(name_complaints(file), std::vector<std::string>{}) << bits;
      ASSERT_EQ(file.variables().size(), 8U + ((bits & 8U) != 0 ? 3U : 0U) + file.positive.size());
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Metrics, MirCombinations, testing::Range(1, 9));

// --- least squares ------------------------------------------------------------------------------

class MirLeastSquares : public testing::Test {
 protected:
  MirLeastSquares() {
    problem.x = c.problem.xij;
    problem.z = c.z;
    problem.rows = c.simulated;
    problem.chosen = chosen;
    problem.labels = c.labels;
    problem.epsa = 0.05;
    problem.epsr = 0.0001;
    problem.seconds = 12.5;
  }

  SubsetCase c;
  std::array<bool, SubsetCase::columns> chosen = {true, false, false, false, true};
  LeastSquaresProblem problem;
};

TEST_F(MirLeastSquares, is_the_text_of_its_file) {
  const std::string text = mir_least_squares(problem);
  EXPECT_EQ(text, expected_text("olr", text));
  const MirFile file = read_mir(text);
  EXPECT_EQ(name_complaints(file), std::vector<std::string>{});
  EXPECT_TRUE(file.oddities.empty());
  problem.debug = problem.allowcplex = problem.print_solver = true;
  const std::string verbose = mir_least_squares(problem);
  EXPECT_EQ(verbose, expected_text("olr_debug", verbose));
  read_mir(verbose);
}

TEST_F(MirLeastSquares, sums_the_squares_of_used_rows) {
  const MirFile file = read_mir(mir_least_squares(problem));
  const MirValues values = {{"beta_1", 1.25}, {"beta_5", -2.0}};
  double expected = 0.0;
  for (const int i : {0, 1, 2, 4, 5}) {
    const double error = c.z[at(i)] - 1.25 + 2.0 * c.x[at(4 * SubsetCase::rows + i)];
    expected += error * error;
  }
  EXPECT_DOUBLE_EQ(evaluate(file.objective, values), expected);
}

// --- all files ----------------------------------------------------------------------------------

// No file is beyond the reader, and no exception that it makes is without a file that needs it.
TEST(MirFiles, can_be_read) {
  std::set<std::string> oddities;
  for (const auto& entry :
       std::filesystem::directory_iterator(std::string(TORVE_TEST_DATA) + "/solvers")) {
    if (entry.path().extension() != ".mir") continue;
    SCOPED_TRACE(entry.path());
    std::ifstream stream(entry.path(), std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(stream), {}};
    const MirFile file = read_mir(text);
    EXPECT_EQ(name_complaints(file), std::vector<std::string>{});
    oddities.insert(file.oddities.begin(), file.oddities.end());
  }
  for (const MirOddity& oddity : mir_oddities) {
    EXPECT_TRUE(oddities.contains(std::string(oddity.name))) << oddity.name;
  }
}

}  // namespace
}  // namespace torve::test
