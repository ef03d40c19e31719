// The way to the solver and back, with small scripts in the solver's place: what is run, what is
// taken over, what is counted, and every way in which it can fail.
#include "solvers/mir_route.h"

#include <gtest/gtest.h>

#include <array>
#include <fstream>
#include <functional>

#include "model/fit.h"
#include "solvers/olr_routes.h"
#include "support/in_process.h"
#include "support/rows.h"
#include "support/small_problem.h"

namespace torve::test {
namespace {

// Columns: two inputs and the constant.
std::string problem_text(const std::string& options = "") {
  SmallProblem problem;
  problem.x = {{0, 1}, {1, 0}, {2, 2}, {3, 1}, {4, 5}, {5, 3}};
  problem.z = {{1.1}, {2.9}, {5.2}, {6.8}, {9.1}, {11.0}};
  problem.options = "scalebases 0\nmaxtime 100\n" + options;
  return problem.text();
}

std::string file_of(const std::string& name, const std::string& text) {
  return "cat > " + name + " <<'END'\n" + text + "END\n";
}

const std::string good_tim = file_of("tim.lst", "model 1 2 3 4 5.0 6.0 0 1 0\n");
const std::string good_sum = file_of("sum.lst", "solved\n");
const std::string solution =
    "The best solution found\nobjective\nvariables\n y1 0 1\n y2 0 0.5\n y3 0 0.75\n"
    " b1 0 2.5\n b2 0 4\n b3 0 -1.25\n";
const std::string good_res = file_of("res.lst", solution);
const std::string good_answers = good_tim + good_sum + good_res;

class Solver {
 public:
  Solver() : run_(problem_text()), state(run_.state()) {
    state.status = Status();
    state.models.xscale.fill(1.0);
    state.files.mirakpath = (folder_.path() / "solver").string();
  }
  void answer_with(const std::string& script) {
    std::ofstream("solver") << "#!/bin/sh\n" << script;
    fs::permissions("solver", fs::perms::owner_all);
  }
  int solve(int it = 2) {
    int miperr = -1;
    trvsolvemipmir(state, it, 0, 50.0, 1e31, miperr);
    return miperr;
  }
  Code code() const { return state.status.trvstatus; }
  int location() const { return state.status.trvlocation; }

 private:
  SmallRun run_;
  WorkingFolder folder_;

 public:
  RunState& state;
};

TEST(MirRoute, takes_over_the_answer) {
  Solver solver;
  solver.answer_with("echo \"$@\" > arguments\n" + good_answers);
  EXPECT_EQ(solver.solve(), 0);
  EXPECT_EQ(solver.code(), Code::normal);
  EXPECT_EQ(text_of("arguments"), "surrogate.mir\n");
  const Models& models = solver.state.models;
  const std::array chosen = {true, false, true};
  const std::array beta = {2.5, 0.0, -1.25};
  for (std::size_t j = 0; j < chosen.size(); ++j) {
    EXPECT_EQ(models.thischoice[j], chosen[j]) << j;
    EXPECT_EQ(models.thisbeta[j], beta[j]) << j;
  }
}

TEST(MirRoute, unscales_the_answer) {
  Solver solver;
  solver.answer_with(good_answers);
  solver.state.options.scalebases = true;
  solver.state.options.scalez = true;
  solver.state.models.xscale[0] = 2.5;
  EXPECT_EQ(solver.solve(), 0);
  const double zscale = (1.1 + 2.9 + 5.2 + 6.8 + 9.1 + 11.0) / 6.0;
  EXPECT_DOUBLE_EQ(solver.state.models.thisbeta[0], zscale);
  EXPECT_DOUBLE_EQ(solver.state.models.thisbeta[2], -1.25 * zscale);
}

TEST(MirRoute, counts_the_call_and_its_time) {
  Solver solver;
  solver.answer_with("sleep 0.2\n" + good_answers);
  const double before = solver.state.timers.t_total;
  solver.solve();
  EXPECT_EQ(solver.state.counters.n_mip, 1);
  EXPECT_GE(solver.state.timers.t_mip, 0.2);
  EXPECT_LT(solver.state.timers.t_mip, 50.0);
  EXPECT_EQ(solver.state.timers.t_mip2, 0.0);
  EXPECT_DOUBLE_EQ(solver.state.timers.t_total - before, solver.state.timers.t_mip);
  EXPECT_EQ(solver.state.counters.imodel, 0);
}

TEST(MirRoute, removes_the_answers_of_both_sides) {
  Solver solver;
  std::ofstream("sum.lst") << "old";
  solver.answer_with("test -e sum.lst && echo old > seen\n" + good_tim + good_res);
  EXPECT_EQ(solver.solve(), 0);
  EXPECT_FALSE(fs::exists("seen"));
  for (const char* name : {"res.lst", "sum.lst", "tim.lst"}) EXPECT_FALSE(fs::exists(name));
  EXPECT_TRUE(fs::exists("surrogate.mir"));
}

TEST(MirRoute, tells_the_solver_to_be_silent_unless_asked) {
  Solver solver;
  solver.answer_with(good_answers);
  solver.solve();
  EXPECT_NE(text_of("surrogate.mir").find("\nprlevel: 0;\n"), std::string::npos);
  solver.state.options.print_mirak_out = true;
  solver.solve();
  EXPECT_EQ(text_of("surrogate.mir").find("prlevel"), std::string::npos);
}

TEST(MirRoute, keeps_copies_under_debug) {
  Solver solver;
  solver.answer_with(good_answers);
  solver.state.options.debug = true;
  solver.state.counters.imodel = 6;
  EXPECT_EQ(solver.solve(), 0);
  EXPECT_EQ(solver.state.counters.imodel, 7);
  EXPECT_EQ(text_of("surrogate7.mir"), text_of("surrogate.mir"));
  EXPECT_EQ(text_of("surrogate7.res"), solution);
  EXPECT_EQ(text_of("surrogate7.sum"), "solved\n");
  EXPECT_TRUE(fs::exists("surrogate7.tim"));
}

TEST(MirRoute, writes_blocks_under_debug) {
  Solver solver;
  solver.answer_with(good_answers);
  solver.state.options.debug = true;
  solver.state.files.listing.open_replace("listing");
  solver.solve();
  solver.state.files.listing.close();
  const std::string listing = text_of("listing");
  std::size_t from = 0;
  for (const std::string line :
       {">>> Entering trvsolvemipmir with\n", "    trvstatus = 0\n", "    ndata     = 6\n",
        "    nbas      = 3\n", "    xij       = \n0 1 1 \n", "    active    = T T T \n",
        "    screened  = T T T \n", "    simulated = T T T T T T \n", "    k         = 1\n",
        "    zdata     = 1.1 2.9 ", ">>> Building model 0\n", ">>> Exiting trvsolvemipmir with\n",
        "    it        = 2\n", "    k         = 1\n", "    sseplus   = ", "    miperr    = 0\n",
        "    ferr      = 0\n", "    trvstatus = 0\n", "    imodel    = 1\n    bound     = 5\n"}) {
    from = listing.find(line, from);
    ASSERT_NE(from, std::string::npos) << line << listing;
    from += line.size();
  }
}

// What lies between the two lists of values in the file depends on the model.
TEST(MirRoute, passes_over_errors_and_largest_errors) {
  Solver solver;
  const std::string ys = "The best solution found\n\n\n y1 0 1\n y2 0 0\n y3 0 0\n";
  const std::string betas = " b1 0 2\n b2 0 3\n b3 0 4\n";
  solver.answer_with(good_tim + file_of("res.lst", ys + "mad\n" + betas));
  solver.state.options.modeler = 8;
  solver.state.models.sseterm = false;
  EXPECT_EQ(solver.solve(), 0);
  EXPECT_EQ(solver.state.models.thisbeta[0], 2.0);
  solver.state.options.modeler = 1;
  solver.state.models.sseterm = true;
  solver.state.options.linearerror = true;
  solver.answer_with(good_tim + file_of("res.lst", ys + "1\n2\n3\n4\n5\n6\n" + betas));
  EXPECT_EQ(solver.solve(), 0);
  EXPECT_EQ(solver.state.models.thisbeta[0], 2.0);
}

// --- failures -----------------------------------------------------------------------------------

struct Failure {
  const char* name;
  std::string script;
  bool debug;
  std::function<void(Solver&)> prepare;
  Code code;
  int location;
  int miperr;
};

void nothing(Solver&) {}

std::function<void(Solver&)> folder_named(const std::string& name) {
  return [name](Solver&) { fs::create_directory(name); };
}

class MirFailure : public testing::TestWithParam<Failure> {};

TEST_P(MirFailure, has_its_code_and_place) {
  const Failure& row = GetParam();
  Solver solver;
  solver.state.options.debug = row.debug;
  solver.answer_with(row.script);
  row.prepare(solver);
  EXPECT_EQ(solver.solve(), row.miperr);
  EXPECT_EQ(solver.code(), row.code);
  EXPECT_EQ(solver.location(), row.location);
}

constexpr Code failed_solver = Code::best_subset_failed;

INSTANTIATE_TEST_SUITE_P(
    Rows, MirFailure,
    testing::Values(
        Failure{"time_is_up", good_answers, false, [](Solver& s) { s.state.options.maxtime = 0.0; },
                Code::time_used_up, 89, 0},
        Failure{"time_is_up_in_the_solver", "sleep 30\n", false,
                [](Solver& s) { s.state.options.maxtime = elapsed(s.state) + 0.3; },
                Code::time_used_up, 89, 0},
        Failure{"no_memory", good_answers, false,
                [](Solver& s) { s.state.memory.machine_bytes = 1; }, Code::out_of_memory, 40, 0},
        Failure{"model_is_a_folder", good_answers, false, folder_named("surrogate.mir"),
                Code::normal, 0, 2},
        Failure{"model_on_a_full_disk", good_answers, false,
                [](Solver&) { fs::create_symlink("/dev/full", "surrogate.mir"); }, Code::normal, 0,
                2},
        Failure{"copy_of_the_model", good_answers, true, folder_named("surrogate1.mir"),
                Code::copy_failed, 33, 0},
        Failure{"copy_of_res", good_answers, true, folder_named("surrogate1.res"),
                Code::copy_failed, 34, 0},
        Failure{"copy_of_res_that_is_absent", good_tim + good_sum, true, nothing, Code::copy_failed,
                34, 0},
        Failure{"copy_of_sum", good_tim + good_res, true, nothing, Code::copy_failed, 35, 0},
        Failure{"copy_of_tim", good_sum + good_res, true, nothing, Code::copy_failed, 36, 0},
        Failure{"exit_status", good_answers + "exit 1\n", false, nothing, failed_solver, 37, 0},
        Failure{"killed", good_answers + "kill -9 $$\n", false, nothing, failed_solver, 37, 0},
        Failure{"no_solver", "", false, [](Solver&) { fs::remove("solver"); }, failed_solver, 37,
                0},
        Failure{"no_answer", "", false, nothing, failed_solver, 38, 0},
        Failure{"old_answers", "", false,
                [](Solver&) {
                  std::ofstream("res.lst") << solution;
                  std::ofstream("tim.lst") << "model 1 2 3 4 5 6 0 1 0\n";
                },
                failed_solver, 38, 0},
        Failure{"no_res", good_tim + good_sum, false, nothing, failed_solver, 38, 0},
        Failure{"no_tim", good_res + good_sum, false, nothing, failed_solver, 39, 0},
        Failure{"infeasible", good_res + file_of("tim.lst", "m 1 2 3 4 5 6 0 2 0\n"), false,
                nothing, Code::normal, 0, 1},
        Failure{"infeasible_without_solution",
                ": > res.lst\n" + file_of("tim.lst", "m 1 2 3 4 5 6 0 2 0\n"), false, nothing,
                Code::normal, 0, 1},
        Failure{"status_5", good_res + file_of("tim.lst", "m 1 2 3 4 5 6 0 5 0\n"), false, nothing,
                Code::normal, 0, 3},
        Failure{"status_above_5", good_res + file_of("tim.lst", "m 1 2 3 4 5 6 0 77 0\n"), false,
                nothing, Code::normal, 0, 3},
        Failure{"tim_is_empty", good_res + ": > tim.lst\n", false, nothing, Code::normal, 0, 2},
        Failure{"tim_is_cut_off", good_res + file_of("tim.lst", "m 1 2 3 4 5 6 0 1\n"), false,
                nothing, Code::normal, 0, 2},
        Failure{"tim_is_a_folder", good_res + "mkdir tim.lst\n", false, nothing, Code::normal, 0,
                2},
        Failure{"res_is_a_folder", good_tim + "mkdir res.lst\n", false, nothing, Code::normal, 0,
                2},
        Failure{"res_without_heading", good_tim + file_of("res.lst", "y1 0 1\n"), false, nothing,
                Code::normal, 0, 2},
        Failure{"res_is_cut_off",
                good_tim + file_of("res.lst", solution.substr(0, solution.find(" b3"))), false,
                nothing, Code::normal, 0, 2},
        Failure{"res_holds_no_number",
                good_tim + file_of("res.lst", solution.substr(0, solution.find("-1.25")) + "NaN\n"),
                false, nothing, Code::normal, 0, 2}),
    RowName());

// Whoever looks for the reason finds the files.
TEST(MirRoute, leaves_files_behind_after_a_failure) {
  Solver solver;
  solver.answer_with(good_res + good_sum + file_of("tim.lst", "m 1 2 3 4 5 6 0 2 0\n"));
  EXPECT_EQ(solver.solve(), 1);
  for (const char* name : {"surrogate.mir", "res.lst", "sum.lst", "tim.lst"}) {
    EXPECT_TRUE(fs::exists(name)) << name;
  }
}

TEST(MirRoute, keeps_the_model_in_hand_after_a_failure) {
  Solver solver;
  const double before = solver.state.models.thisbeta[0];
  solver.answer_with(good_tim + file_of("res.lst", solution.substr(0, solution.find(" b3"))));
  EXPECT_EQ(solver.solve(), 2);
  EXPECT_EQ(solver.state.models.thisbeta[0], before);
}

// --- whole runs ---------------------------------------------------------------------------------

struct WholeRun {
  const char* name;
  std::string script;
  const char* options;
  Code code;
  int location;
};

class MirWholeRun : public testing::TestWithParam<WholeRun> {};

TEST_P(MirWholeRun, ends_with_its_code) {
  const WholeRun& row = GetParam();
  const WorkingFolder folder;
  std::ofstream("solver") << "#!/bin/sh\n" << row.script;
  fs::permissions("solver", fs::perms::owner_all);
  const std::string solver = (folder.path() / "solver").string();
  SmallRun run(
      problem_text(std::string("builder 0\nenumall 0\nenum1 0\nsolvemip 1\n") + row.options),
      [&](RunState& state) { state.files.mirakpath = solver; });
  EXPECT_EQ(run.state().status.trvstatus, row.code);
  EXPECT_EQ(run.state().status.trvlocation, row.location);
}

const std::string infeasible_tim = file_of("tim.lst", "m 1 2 3 4 5 6 0 2 0\n");

INSTANTIATE_TEST_SUITE_P(
    Rows, MirWholeRun,
    testing::Values(WholeRun{"solved", good_answers, "", Code::normal, 0},
                    WholeRun{"solved_under_debug", good_answers, "debug 1\n", Code::normal, 0},
                    WholeRun{"infeasible", infeasible_tim + good_res, "", Code::normal, 0},
                    WholeRun{"infeasible_under_debug", infeasible_tim + good_res + good_sum,
                             "debug 1\n", Code::normal, 0},
                    WholeRun{"no_answer", "", "", failed_solver, 38},
                    WholeRun{"exit_status", "exit 3\n", "", failed_solver, 37},
                    WholeRun{"no_copy", "", "debug 1\n", Code::copy_failed, 34},
                    WholeRun{"cut_off", good_tim + ": > res.lst\n", "", failed_solver, 221},
                    WholeRun{"other_end", file_of("tim.lst", "m 1 2 3 4 5 6 0 9 0\n") + good_res,
                             "", failed_solver, 221},
                    WholeRun{"least_squares", "", "olrone 0\nolrdgels 0\nolrclr 0\nolrgsi 0\n",
                             Code::least_squares_solver_failed, 23}),
    RowName());

// --- the command --------------------------------------------------------------------------------

TEST(MirCommand, quotes_what_a_shell_would_change) {
  EXPECT_EQ(mirak_command("mirak", "olr.mir"), "mirak olr.mir");
  EXPECT_EQ(mirak_command("/opt/mirak-1.0/bin/mirak_x  ", "olr.mir"),
            "/opt/mirak-1.0/bin/mirak_x olr.mir");
  EXPECT_EQ(mirak_command("/opt/my solvers/mirak", "olr.mir"), "'/opt/my solvers/mirak' olr.mir");
  EXPECT_EQ(mirak_command("/o'brien/$mirak;x", "olr.mir"), "'/o'\\''brien/$mirak;x' olr.mir");
}

TEST(MirRoute, runs_a_solver_whose_folder_has_signs_of_the_shell) {
  Solver solver;
  solver.answer_with(good_answers);
  fs::create_directory("it's a $folder");
  fs::rename("solver", "it's a $folder/solver");
  solver.state.files.mirakpath = (fs::current_path() / "it's a $folder/solver").string();
  EXPECT_EQ(solver.solve(), 0);
  EXPECT_EQ(solver.code(), Code::normal);
}

// --- least squares ------------------------------------------------------------------------------

class SquaresSolver : public Solver {
 public:
  void solve_squares() {
    mark_usable_rows(state, 0);
    trvolrmir(state, chosen, 0, beta, sse);
  }
  std::array<bool, 3> chosen = {true, false, true};
  std::array<double, 3> beta = {7.0, 7.0, 7.0};
  double sse = -1.0;
};

const std::string squares_res =
    file_of("res.lst", "The best solution found\n\n\nbeta_1 0 2\nbeta_3 0 1\n");

TEST(MirLeastSquaresRoute, takes_over_the_coefficients) {
  SquaresSolver solver;
  solver.answer_with("echo \"$@\" > arguments\nsleep 0.1\n" + good_tim + good_sum + squares_res);
  const double before = solver.state.timers.t_olr;
  solver.solve_squares();
  EXPECT_EQ(solver.code(), Code::normal);
  EXPECT_EQ(solver.beta, (std::array{2.0, 0.0, 1.0}));
  // Errors 0.1, -0.1, 0.2, -0.2, 0.1 and 0.
  EXPECT_NEAR(solver.sse, 0.11, 1e-14);
  EXPECT_EQ(text_of("arguments"), "olr.mir\n");
  EXPECT_GE(solver.state.timers.t_olr - before, 0.1);
  EXPECT_EQ(solver.state.timers.t_mip, 0.0);
  EXPECT_EQ(solver.state.counters.n_mip, 0);
  for (const char* name : {"res.lst", "sum.lst", "tim.lst"}) EXPECT_FALSE(fs::exists(name));
}

TEST(MirLeastSquaresRoute, keeps_copies_under_debug) {
  SquaresSolver solver;
  solver.answer_with(good_tim + good_sum + squares_res);
  solver.state.options.debug = true;
  solver.solve_squares();
  EXPECT_EQ(solver.code(), Code::normal);
  for (const char* name : {"olr1.mir", "olr1.res", "olr1.sum", "olr1.tim"}) {
    EXPECT_TRUE(fs::exists(name)) << name;
  }
}

struct SquaresFailure {
  const char* name;
  std::string script;
  bool debug;
  std::function<void(Solver&)> prepare;
  Code code;
  int location;
};

class MirSquaresFailure : public testing::TestWithParam<SquaresFailure> {};

TEST_P(MirSquaresFailure, has_its_code_and_place) {
  const SquaresFailure& row = GetParam();
  SquaresSolver solver;
  solver.state.options.debug = row.debug;
  solver.answer_with(row.script);
  row.prepare(solver);
  solver.solve_squares();
  EXPECT_EQ(solver.code(), row.code);
  EXPECT_EQ(solver.location(), row.location);
}

constexpr Code failed_squares = Code::least_squares_solver_failed;

INSTANTIATE_TEST_SUITE_P(
    Rows, MirSquaresFailure,
    testing::Values(
        SquaresFailure{"time_is_up", "", false, [](Solver& s) { s.state.options.maxtime = 0.0; },
                       Code::time_used_up, 89},
        SquaresFailure{"model_is_a_folder", "", false, folder_named("olr.mir"), failed_squares, 23},
        SquaresFailure{"copy_of_the_model", "", true, folder_named("olr1.mir"), Code::copy_failed,
                       23},
        SquaresFailure{"copy_of_an_answer", "", true, nothing, Code::copy_failed, 23},
        SquaresFailure{"exit_status", "exit 7\n", false, nothing, failed_squares, 23},
        SquaresFailure{"no_answer", "", false, nothing, failed_squares, 23},
        SquaresFailure{"no_tim", squares_res, false, nothing, failed_squares, 23},
        SquaresFailure{"infeasible", squares_res + file_of("tim.lst", "m 1 2 3 4 5 6 0 2 0\n"),
                       false, nothing, failed_squares, 23},
        SquaresFailure{"answer_is_cut_off",
                       good_tim + file_of("res.lst", "The best solution found\n\n\nbeta_1 0 2\n"),
                       false, nothing, failed_squares, 23}),
    RowName());

}  // namespace
}  // namespace torve::test
