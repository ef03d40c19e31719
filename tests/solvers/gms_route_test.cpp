// The way through GAMS inside this process, with shell commands in the place of GAMS: what is
// written and run, what is taken over, and every failure with its code and place.
// TORVE_GAMS_STANDIN is a program that solves what it is given.
#include "solvers/gms_route.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "model/fit.h"
#include "solvers/olr_routes.h"
#include "support/in_process.h"
#include "support/reference_selection.h"
#include "support/rows.h"
#include "support/small_problem.h"

namespace torve::test {
namespace {

constexpr int points = 9;
constexpr int columns = 4;  // three inputs and the constant
constexpr int terms = 2;
constexpr double betabound = 50.0;

SmallProblem problem_of_three_inputs() {
  SmallProblem problem;
  Random random(5);
  for (int i = 0; i < points; ++i) {
    const double a = random.real(-2.0, 2.0);
    const double b = random.real(-2.0, 2.0);
    const double c = random.real(-2.0, 2.0);
    problem.x.push_back({a, b, c});
    problem.z.push_back({3.0 * a - 2.0 * c + 0.2 * b + 0.1 * random.normal()});
  }
  problem.options = "solvemip 0\n";
  return problem;
}

// A run that has a model, in a folder of its own, before an outside solver is asked.
class GmsRoute : public testing::Test {
 protected:
  GmsRoute() : small_(problem_of_three_inputs().text()) {
    EXPECT_TRUE(small_.ended_normally());
    EXPECT_EQ(run().sizes.nbas, columns);
  }

  RunState& run() { return small_.state(); }

  void solve() { trvsolvemipgms(run(), terms, 0, betabound, 100.0, miperr_); }

  void expect_code(Code code, int location) {
    EXPECT_EQ(run().status.trvstatus, code);
    EXPECT_EQ(run().status.trvlocation, location);
  }

  SmallRun small_;
  WorkingFolder folder_;
  int miperr_ = -1;
};

// A command that leaves this text in res.put, whatever arguments follow.
std::string answer_with(const std::string& text, const std::string& more = "") {
  return "printf '" + text + "' > res.put; " + more + ":";
}

const std::string good_answer = R"(  1\n0.5\n1 3\n0 0\n1 -2\n0 0\n)";

// --- what is run --------------------------------------------------------------------------------

TEST_F(GmsRoute, names_the_program_and_the_options_of_gams) {
  run().options.gams = "  printf '%s|' >command.txt   ";
  run().options.gamsoptions = " Sys12=1  ";
  solve();
  EXPECT_EQ(text_of("command.txt"), "surrogate|Sys12=1|lo=2|");
  run().options.print_gams_out = true;
  solve();
  EXPECT_EQ(text_of("command.txt"), "surrogate|Sys12=1|");
}

TEST_F(GmsRoute, counts_runs_and_their_seconds) {
  run().options.gams = answer_with(good_answer, "sleep 0.05; ");
  const double total = run().timers.t_total;
  solve();
  EXPECT_EQ(run().counters.n_mip, 1);
  EXPECT_GE(run().timers.t_mip2, 0.05);
  EXPECT_GE(run().timers.t_total - total, 0.05);
  EXPECT_EQ(run().timers.t_mip, 0.0);
}

// --- what is taken over -------------------------------------------------------------------------

TEST_F(GmsRoute, takes_the_answer_in_the_scale_of_the_data) {
  run().options.gams = answer_with(good_answer);
  run().options.scalebases = true;
  run().options.scalez = true;
  double zscale = 0.0;
  for (int i = 0; i < points; ++i) zscale += std::abs(run().points.zdata(i, 0)) / points;
  for (std::size_t j = 0; j < columns; ++j) run().models.xscale[j] = 1.0 + static_cast<double>(j);
  solve();
  EXPECT_EQ(miperr_, 0);
  expect_code(Code::normal, 0);
  const std::vector<double> expected = {3.0 * zscale, 0.0, -2.0 / 3.0 * zscale, 0.0};
  for (std::size_t j = 0; j < columns; ++j) {
    EXPECT_EQ(run().models.thischoice[j], expected[j] != 0.0) << j;
    EXPECT_DOUBLE_EQ(run().models.thisbeta[j], expected[j]) << j;
  }
}

TEST_F(GmsRoute, leaves_out_columns_that_may_not_be_chosen) {
  run().options.gams = answer_with(good_answer);
  run().models.screened[2] = false;
  solve();
  EXPECT_EQ(miperr_, 0);
  EXPECT_FALSE(run().models.thischoice[2]);
  EXPECT_EQ(run().models.thisbeta[2], 0.0);
}

TEST_F(GmsRoute, removes_the_results_and_keeps_the_program) {
  run().options.gams = answer_with(good_answer);
  solve();
  EXPECT_FALSE(fs::exists("res.put"));
  EXPECT_TRUE(text_of("surrogate.gms").starts_with("$offdigit\n"));
  EXPECT_FALSE(fs::exists("surrogate1.gms"));
}

TEST_F(GmsRoute, takes_a_good_answer_of_a_gams_that_fails) {
  run().options.gams = answer_with(good_answer, "false && ");
  solve();
  EXPECT_EQ(miperr_, 0);
  expect_code(Code::normal, 0);
  EXPECT_TRUE(run().models.thischoice[0]);
}

TEST_F(GmsRoute, does_not_read_old_results) {
  write_file("res.put", "  1\n0\n1 3\n0 0\n1 -2\n0 0\n");
  run().options.gams = "true";
  solve();
  EXPECT_EQ(miperr_, 2);
  EXPECT_FALSE(fs::exists("res.put"));
}

TEST_F(GmsRoute, finds_the_best_subset_with_a_solver) {
  run().options.gams = TORVE_GAMS_STANDIN;
  run().options.modeler = 5;
  run().models.sseterm = true;
  run().models.hasmodel[0] = false;  // no cut-off by a better model
  trvsolvemipgms(run(), terms, 0, betabound, no_model_yet, miperr_);
  ASSERT_EQ(miperr_, 0);
  expect_code(Code::normal, 0);
  EXPECT_EQ(count(run().models.thischoice.first(columns)), terms);
  EXPECT_NEAR(run().models.thisbeta[0], 3.0, 0.5);
  EXPECT_NEAR(run().models.thisbeta[2], -2.0, 0.5);
}

// --- miperr -------------------------------------------------------------------------------------

struct StatusRow {
  const char* name;
  const char* answer;
  const char* solver;
  bool dive, shortcut;
  int miperr;
};

class GmsRouteStatus : public GmsRoute, public testing::WithParamInterface<StatusRow> {};

TEST_P(GmsRouteStatus, becomes_miperr) {
  run().options.gams = answer_with(GetParam().answer);
  run().options.gamssolver = GetParam().solver;
  run().options.dive = GetParam().dive;
  run().options.shortcut = GetParam().shortcut;
  const std::vector<bool> before(run().models.thischoice.first(columns).begin(),
                                 run().models.thischoice.first(columns).end());
  solve();
  EXPECT_EQ(miperr_, GetParam().miperr);
  expect_code(Code::normal, 0);
  EXPECT_TRUE(fs::exists("res.put"));
  EXPECT_TRUE(std::ranges::equal(before, run().models.thischoice.first(columns)));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, GmsRouteStatus,
    testing::Values(StatusRow{"infeasible", "  4\\n", "mirak", true, true, 1},
                    StatusRow{"integer_infeasible", " 10\\n", "cplex", false, false, 1},
                    StatusRow{"infeasible_no_solution", " 19\\n", "mirak", false, false, 1},
                    StatusRow{"no_solution_of_a_dive", " 14\\n", "mirak  ", true, false, 1},
                    StatusRow{"no_solution_of_a_shortcut", " 14\\n", "mirak", false, true, 1},
                    StatusRow{"no_solution_of_a_search", " 14\\n", "mirak", false, false, 3},
                    StatusRow{"no_solution_of_another_solver", " 14\\n", "cplex", true, true, 3},
                    StatusRow{"error", " 13\\n", "mirak", true, true, 3},
                    StatusRow{"cut_off", "  1\\n0\\n1 1\\n", "mirak", true, true, 2},
                    StatusRow{"empty", "", "mirak", true, true, 2}),
    RowName());

// --- failures -----------------------------------------------------------------------------------

struct FailureRow {
  const char* name;
  std::function<void(RunState&)> prepare;
  Code code;
  int location;
  int miperr;
};

class GmsRouteFailure : public GmsRoute, public testing::WithParamInterface<FailureRow> {};

TEST_P(GmsRouteFailure, has_its_code_and_place) {
  run().options.gams = answer_with(good_answer);
  GetParam().prepare(run());
  solve();
  expect_code(GetParam().code, GetParam().location);
  EXPECT_EQ(miperr_, GetParam().miperr);
}

void ask_for_copies(RunState& run, const char* more) {
  run.options.debug = true;
  run.options.gams = answer_with(good_answer, more);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, GmsRouteFailure,
    testing::Values(
        FailureRow{"time_is_up", [](RunState& run) { run.options.maxtime = 0.0; },
                   Code::time_used_up, 89, 0},
        FailureRow{"time_ends_gams",
                   [](RunState& run) {
                     run.options.maxtime = elapsed(run) + 0.2;
                     run.options.gams = "sleep 20; :";
                   },
                   Code::time_used_up, 89, 0},
        FailureRow{"program_cannot_be_opened",
                   [](RunState&) { fs::create_directory("surrogate.gms"); }, Code::normal, 0, 2},
        FailureRow{"program_cannot_be_written",
                   [](RunState&) { fs::create_symlink("/dev/full", "surrogate.gms"); },
                   Code::normal, 0, 2},
        FailureRow{"no_memory_for_the_program", [](RunState& run) { run.memory.machine_bytes = 1; },
                   Code::out_of_memory, 40, 0},
        FailureRow{"copy_of_program",
                   [](RunState& run) {
                     ask_for_copies(run, "");
                     fs::create_directory("surrogate1.gms");
                   },
                   Code::copy_failed, 41, 0},
        FailureRow{"copy_of_listing", [](RunState& run) { ask_for_copies(run, ""); },
                   Code::copy_failed, 42, 0},
        FailureRow{"copy_of_log",
                   [](RunState& run) {
                     ask_for_copies(run, "touch surrogate.lst surrogate.log; ");
                     fs::create_directory("surrogate1.log");
                   },
                   Code::copy_failed, 43, 0},
        FailureRow{"gams_fails_without_results",
                   [](RunState& run) { run.options.gams = "exit 3; "; }, Code::best_subset_failed,
                   44, 0},
        FailureRow{"gams_is_absent",
                   [](RunState& run) { run.options.gams = "./no_such_gams 2>/dev/null"; },
                   Code::best_subset_failed, 44, 0},
        FailureRow{"gams_dies", [](RunState& run) { run.options.gams = "kill -9 $$; "; },
                   Code::best_subset_failed, 44, 0},
        FailureRow{"no_results", [](RunState& run) { run.options.gams = "true"; }, Code::normal, 0,
                   2},
        FailureRow{"results_are_a_folder",
                   [](RunState& run) { run.options.gams = "mkdir res.put; :"; }, Code::normal, 0,
                   2}),
    RowName());

// --- debug --------------------------------------------------------------------------------------

TEST_F(GmsRoute, keeps_numbered_copies_for_a_reader) {
  run().options.debug = true;
  run().options.gams = answer_with(good_answer, "printf listing > surrogate.lst; ");
  solve();
  EXPECT_EQ(run().counters.imodel, 1);
  EXPECT_EQ(text_of("surrogate1.gms"), text_of("surrogate.gms"));
  EXPECT_EQ(text_of("surrogate1.lst"), "listing");
  EXPECT_FALSE(fs::exists("surrogate1.log"));
  run().options.gams = answer_with(good_answer, "printf log > surrogate.log; ");
  solve();
  EXPECT_EQ(run().counters.imodel, 2);
  EXPECT_EQ(text_of("surrogate2.log"), "log");
  EXPECT_TRUE(fs::exists("surrogate2.lst"));
}

TEST_F(GmsRoute, tells_the_listing_what_it_gets_and_leaves) {
  run().options.debug = true;
  run().options.gams = answer_with(good_answer, "touch surrogate.lst; ");
  run().options.modeler = 5;
  ASSERT_TRUE(run().files.listing.open_replace("debug.lst"));
  solve();
  run().files.listing.close();
  const std::string listing = text_of("debug.lst");
  EXPECT_TRUE(
      listing.starts_with(">>> Entering trvsolvemipgms with\n    trvstatus = 0\n"
                          "    ndata     = 9\n    nbas      = 4\n    xij       = \n"))
      << listing;
  EXPECT_NE(listing.find("    active    = T T T T \n    screened  = T T T T \n"
                         "    simulated = T T T T T T T T T \n    k         = 1\n    zdata     = "),
            std::string::npos)
      << listing;
  EXPECT_NE(listing.find("\n>>> Building model 0\n"), std::string::npos);
  EXPECT_TRUE(
      listing.ends_with(">>> Exiting trvsolvemipgms with\n    it        = 2\n"
                        "    k         = 1\n    sseplus   = 0.5\n    miperr    = 0\n"
                        "    ferr      = 0\n    trvstatus = 0\n    imodel    = 1\n"))
      << listing;
}

// The metrics whose objective holds more than the error show the error of the fit.
TEST_F(GmsRoute, tells_the_error_of_the_fit) {
  run().options.debug = true;
  run().options.gams = answer_with(good_answer, "touch surrogate.lst; ");
  ASSERT_TRUE(run().files.listing.open_replace("debug.lst"));
  solve();
  run().files.listing.close();
  EXPECT_EQ(text_of("debug.lst").find("sseplus   = 0.5\n"), std::string::npos);
}

// --- least squares ------------------------------------------------------------------------------

class GmsRouteSquares : public GmsRoute {
 protected:
  GmsRouteSquares() {
    EXPECT_TRUE(request_row_arrays(run()));
    mark_usable_rows(run(), 0);
  }

  void fit_squares() { trvolrgms(run(), chosen_, 0, beta_, sse_); }

  std::array<bool, columns> chosen_{true, false, true, true};
  std::array<double, columns> beta_{9.0, 9.0, 9.0, 9.0};
  double sse_ = -1.0;
};

TEST_F(GmsRouteSquares, are_least) {
  run().options.gams = TORVE_GAMS_STANDIN;
  const int n_mip = run().counters.n_mip;
  fit_squares();
  expect_code(Code::normal, 0);
  std::vector<std::vector<double>> used;
  for (const int j : {0, 2, 3}) {
    const auto column = run().basis.xij.column(j, points);
    used.emplace_back(column.begin(), column.end());
  }
  const auto zdata = run().points.zdata.column(0, points);
  const std::vector<double> z(zdata.begin(), zdata.end());
  const auto expected =
      reference_least_squares(used, z, std::vector<bool>(static_cast<std::size_t>(points), true));
  double sse = 0.0;
  for (std::size_t i = 0; i < z.size(); ++i) {
    double error = z[i];
    for (std::size_t p = 0; p < used.size(); ++p) {
      error -= used[p][i] * static_cast<double>(expected[p]);
    }
    sse += error * error;
  }
  EXPECT_NEAR(beta_[0], static_cast<double>(expected[0]), 1e-10);
  EXPECT_EQ(beta_[1], 0.0);
  EXPECT_NEAR(beta_[2], static_cast<double>(expected[1]), 1e-10);
  EXPECT_NEAR(beta_[3], static_cast<double>(expected[2]), 1e-10);
  EXPECT_NEAR(sse_, sse, 1e-10);
  EXPECT_FALSE(fs::exists("res.put"));
  EXPECT_EQ(run().counters.n_mip, n_mip);
}

TEST_F(GmsRouteSquares, are_a_program_of_their_own) {
  run().options.gams = "printf '%s|' >command.txt";
  fit_squares();
  EXPECT_EQ(text_of("command.txt"), "olr|Sys12=1|ExecErr=1e9|lo=2|");
  EXPECT_TRUE(fs::exists("olr.gms"));
}

TEST_F(GmsRouteSquares, keep_copies_for_a_reader) {
  run().options.debug = true;
  run().options.gams = answer_with(good_answer, "touch olr.lst; ");
  fit_squares();
  expect_code(Code::normal, 0);
  EXPECT_EQ(text_of("olr1.gms"), text_of("olr.gms"));
  EXPECT_TRUE(fs::exists("olr1.lst"));
}

struct SquaresFailureRow {
  const char* name;
  std::function<void(RunState&)> prepare;
  Code code;
  int location;
};

class GmsRouteSquaresFailure : public GmsRouteSquares,
                               public testing::WithParamInterface<SquaresFailureRow> {};

TEST_P(GmsRouteSquaresFailure, has_its_code_and_place) {
  run().options.gams = answer_with(good_answer);
  GetParam().prepare(run());
  fit_squares();
  expect_code(GetParam().code, GetParam().location);
  EXPECT_EQ(beta_, (std::array<double, columns>{}));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, GmsRouteSquaresFailure,
    testing::Values(
        SquaresFailureRow{"time_is_up", [](RunState& run) { run.options.maxtime = 0.0; },
                          Code::time_used_up, 89},
        SquaresFailureRow{"program_cannot_be_opened",
                          [](RunState&) { fs::create_directory("olr.gms"); },
                          Code::least_squares_solver_failed, 29},
        SquaresFailureRow{"gams_fails", [](RunState& run) { run.options.gams = "false"; },
                          Code::least_squares_solver_failed, 29},
        SquaresFailureRow{"no_results", [](RunState& run) { run.options.gams = "true"; },
                          Code::least_squares_solver_failed, 29},
        SquaresFailureRow{"no_solution",
                          [](RunState& run) { run.options.gams = answer_with("  4\\n"); },
                          Code::least_squares_solver_failed, 29},
        SquaresFailureRow{"bad_results",
                          [](RunState& run) { run.options.gams = answer_with("  1\\nx\\n"); },
                          Code::least_squares_solver_failed, 29},
        SquaresFailureRow{"copy", [](RunState& run) { run.options.debug = true; },
                          Code::copy_failed, 29}),
    RowName());

}  // namespace
}  // namespace torve::test
