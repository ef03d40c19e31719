// The search for broken constraints, with the model z = 2 x on 0..10 and stand-ins for the solvers.
#include "solvers/conreg.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "basis/formula/formula.h"
#include "solvers/bounding_set.h"
#include "support/rows.h"
#include "support/sampling_state.h"

namespace torve::test {
namespace {

namespace fs = std::filesystem;

class Constrained : public SamplingState {
 public:
  explicit Constrained(const std::string& options = "") : SamplingState(3, options) {
    RunState& state = run();
    state.models.screened[0] = true;
    state.options.crcorner = false;
    state.options.crrobust = false;
    state.options.crninitial = 0;
    state.options.crnviol = 2;
    state.options.crntrials = 100;
    EXPECT_TRUE(state.outputs.zmin.request(state.memory, 1));
    EXPECT_TRUE(state.outputs.zmax.request(state.memory, 1));
  }
  void set_zmin(double zmin) {
    run().outputs.haszmin[0] = true;
    run().outputs.zmin[0] = zmin;
  }
  void set_zmax(double zmax) {
    run().outputs.haszmax[0] = true;
    run().outputs.zmax[0] = zmax;
  }
  void set_custom(const std::string& formula) {
    RunState& state = run();
    state.sizes.crncustom = 1;
    state.outputs.customcon = {formula};
    ASSERT_TRUE(state.outputs.crcustomind.request(state.memory, 1));
    state.outputs.crcustomind[0] = 0;
    int status = 0;
    fninit(state.basis.constraintformulas, 1, status);
    fnparse(state.basis.constraintformulas, 0, formula, std::vector<std::string>{"x1", "z1"},
            status);
    ASSERT_EQ(status, 0);
  }
  void put(double x, int type) {
    ASSERT_TRUE(grow_bounding_set(run(), set(), set().crndata));
    place_bounding_point(run(), set(), set().crndata, std::vector{x});
    set().type[at(set().crndata)] = type;
    ++set().crndata;
  }
  CRELEM& set() { return run().models.bounding[0]; }
};

// A program of the folder that stands for a solver.
std::string stand_in(const Constrained&, const std::string& script) {
  const std::string name = fs::current_path().string() + "/solver";
  std::ofstream(name) << "#!/bin/sh\n" << script << "\n";
  fs::permissions(name, fs::perms::owner_all);
  return name;
}

// --- the set and the trials ---------------------------------------------------------------------

TEST(BoundingSet, starts_with_corners_and_random_points) {
  Constrained problem;
  problem.run().options.crcorner = true;
  problem.run().options.crninitial = 2;
  problem.run().options.crntrials = 0;
  problem.set_zmin(-1.0);
  EXPECT_EQ(crfind(problem.run(), 0), 0);
  ASSERT_EQ(problem.set().crndata, 4);
  EXPECT_EQ(problem.set().crxdata(0, 0), 0.0);
  EXPECT_EQ(problem.set().crxdata(1, 0), 10.0);
  for (int n = 0; n < 4; ++n) {
    EXPECT_EQ(problem.set().type[at(n)], 0);
    EXPECT_EQ(problem.set().origin[at(n)], 0);
    EXPECT_EQ(problem.set().crxij(n, 0), problem.set().crxdata(n, 0));
  }
  // Once is enough.
  EXPECT_EQ(crfind(problem.run(), 0), 0);
  EXPECT_EQ(problem.set().crndata, 4);
}

TEST(BoundingSet, doubles_its_room) {
  Constrained problem;
  std::vector<int> rooms;
  for (int n = 0; n < 9; ++n) {
    problem.put(n, 0);
    if (rooms.empty() || rooms.back() != problem.set().capacity) {
      rooms.push_back(problem.set().capacity);
    }
  }
  EXPECT_EQ(rooms, (std::vector{1, 2, 4, 8, 16}));
  for (int n = 0; n < 9; ++n) EXPECT_EQ(problem.set().crxdata(n, 0), n);
}

TEST(BoundingSet, has_a_code_when_there_is_no_memory) {
  Constrained problem;
  problem.put(1, 0);
  problem.set_zmin(5.0);
  problem.run().memory.requests = 0;
  problem.run().memory.fail_at = 1;
  crfind(problem.run(), 0);
  EXPECT_EQ(problem.run().status.trvstatus, Code::out_of_memory);
  EXPECT_EQ(problem.run().status.trvlocation, 65);
}

struct PresentPoint {
  std::string_view name;
  double x;
  int type;
  int becomes;
  int violations;
};

void PrintTo(const PresentPoint& row, std::ostream* out) {
  *out << row.name;
}

class PresentPoints : public testing::TestWithParam<PresentPoint> {};

// 5 <= z <= 15 and z + x <= 27; z = 2 x.
TEST_P(PresentPoints, get_what_the_model_breaks_there) {
  Constrained problem;
  problem.set_zmin(5.0);
  problem.set_zmax(15.0);
  problem.set_custom("z1+x1-27");
  problem.run().options.crntrials = 0;
  problem.put(GetParam().x, GetParam().type);
  EXPECT_EQ(crfind(problem.run(), 0), GetParam().violations);
  EXPECT_EQ(problem.set().type[0], GetParam().becomes);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PresentPoints,
    testing::Values(PresentPoint{"sound", 5, 0, 0, 0}, PresentPoint{"low", 1, 0, 1, 1},
                    PresentPoint{"low_known", 1, 1, 1, 0}, PresentPoint{"low_new", 1, 6, 7, 1},
                    PresentPoint{"high", 8, 0, 2, 1}, PresentPoint{"high_new", 8, 5, 7, 1},
                    PresentPoint{"high_and_custom", 9.5, 0, 6, 2},
                    PresentPoint{"custom_new", 9.5, 3, 7, 1},
                    PresentPoint{"within_tolerance", 2.4996, 0, 0, 0},
                    PresentPoint{"beyond_tolerance", 2.499, 0, 1, 1},
                    PresentPoint{"all_known", 1, 7, 7, 0}),
    RowName());

TEST(CrFind, adds_random_points_up_to_its_fill) {
  Constrained problem;
  problem.set_zmin(5.0);
  problem.set_zmax(15.0);
  EXPECT_EQ(crfind(problem.run(), 0), 4);
  ASSERT_EQ(problem.set().crndata, 4);
  int low = 0;
  for (int n = 0; n < 4; ++n) {
    const double z = 2.0 * problem.set().crxdata(n, 0);
    EXPECT_TRUE(z < 5.0 || z > 15.0);
    EXPECT_EQ(problem.set().type[at(n)], z < 5.0 ? 1 : 2);
    EXPECT_EQ(problem.set().origin[at(n)], 1);
    low += z < 5.0 ? 1 : 0;
  }
  EXPECT_EQ(low, 2);
}

TEST(CrFind, tries_no_more_than_it_may) {
  Constrained problem;
  problem.set_zmin(5.0);
  problem.run().options.crntrials = 1;
  problem.run().randstate = 0;
  problem.run().options.seed = 1;  // the first point is next to 0
  EXPECT_EQ(crfind(problem.run(), 0), 1);
  EXPECT_EQ(problem.set().crndata, 1);
}

TEST(CrFind, leaves_its_model_as_the_selection) {
  Constrained problem;
  problem.set_zmin(-1.0);
  problem.run().models.thischoice[0] = false;
  problem.run().models.thisbeta[0] = 7.0;
  EXPECT_EQ(crfind(problem.run(), 0), 0);
  EXPECT_TRUE(problem.run().models.thischoice[0]);
  EXPECT_EQ(problem.run().models.thisbeta[0], 2.0);
}

TEST(CrFind, finds_nothing_in_a_sound_model) {
  Constrained problem;
  problem.set_zmin(-1.0);
  problem.set_zmax(20.0);
  EXPECT_EQ(crfind(problem.run(), 0), 0);
  EXPECT_EQ(problem.set().crndata, 0);
}

TEST(CrFind, does_not_count_a_constraint_without_value) {
  Constrained problem;
  problem.set_custom("log(x1-100)+1000");
  EXPECT_EQ(crfind(problem.run(), 0), 0);
  EXPECT_EQ(problem.set().crndata, 0);
}

// The model 2 x1 is below 1 where the other column has no value, which says nothing against it.
TEST(CrFind, counts_points_where_a_column_without_value_is_not_in_the_model) {
  Constrained problem("ncustombas 1\nbegin_custombas\nlog(x1-0.5)\nend_custombas\n");
  RunState& run = problem.run();
  ASSERT_EQ(run.sizes.nbas, 2);
  run.models.screened[1] = true;
  ASSERT_FALSE(run.models.bestchosen(1, 0));
  problem.set_zmin(1.0);
  EXPECT_EQ(crfind(run, 0), 2);
  ASSERT_EQ(problem.set().crndata, 2);
  for (int n : {0, 1}) {
    EXPECT_LT(problem.set().crxdata(n, 0), 0.5);
    EXPECT_EQ(problem.set().crxij(n, 1), run.options.preset);
    EXPECT_EQ(problem.set().type[at(n)], 1);
  }
}

TEST(CrFind, finds_nothing_where_the_model_has_no_value) {
  Constrained problem("ncustombas 1\nbegin_custombas\nlog(x1-0.5)\nend_custombas\n");
  RunState& run = problem.run();
  run.models.screened[1] = true;
  run.models.bestchosen(1, 0) = true;
  run.models.bestbeta(1, 0) = 1e-9;
  problem.set_zmin(1.0);
  EXPECT_EQ(crfind(run, 0), 0);
}

std::string listing_of(Constrained& problem) {
  problem.run().options.debug = true;
  problem.run().files.listing.open_replace("debug.lst");
  crfind(problem.run(), 0);
  problem.run().files.listing.close();
  return text_of("debug.lst");
}

TEST(CrFind, tells_of_a_pass_without_points) {
  Constrained problem;
  problem.set_zmin(-1.0);
  problem.run().options.crntrials = 0;
  EXPECT_EQ(listing_of(problem),
            ">>> Entering crfind with\n"
            "    trvstatus = 0\n"
            "    crndata   = 0\n"
            ">>> Exiting crfind with\n"
            "    crndata   = 0\n"
            "    trvstatus = 0\n"
            "    ntotal     = 2\n"
            "    nlo        = 0\n"
            "    nup        = 0\n"
            "    ncust      = 0\n"
            "    nloreuse   = 0\n"
            "    nupreuse   = 0\n"
            "    ncustreuse = 0\n"
            "Bounds approximated. No bounding points added\n");
}

TEST(CrFind, lists_its_points) {
  Constrained problem;
  problem.set_zmin(5.0);
  problem.run().options.crntrials = 1;
  problem.run().randstate = 0;
  problem.run().options.seed = 1 << 30;  // every point is in the middle
  problem.put(1, 0);
  problem.run().models.bestbeta(0, 0) = 0.5;
  const std::string listing = listing_of(problem);
  EXPECT_NE(listing.find("    Current points in bounding set (id, type, viol, x, zmode)\n"
                         "    1 0 4.5 1 0.5\n"),
            std::string::npos)
      << listing;
  EXPECT_NE(listing.find("New points added to bounding set (id, type, viol, x, zmode)\n"
                         "    2 1 2.5 5 2.5\n"),
            std::string::npos)
      << listing;
  EXPECT_NE(listing.find("    nlo        = 2\n"), std::string::npos);
  EXPECT_NE(listing.find("    nloreuse   = 1\n"), std::string::npos);
}

// --- the solver ---------------------------------------------------------------------------------

struct SolverCase {
  std::string_view name;
  std::string script;
  int violations;
  Code code = Code::normal;
  int location = 0;
  double maxtime = 1000.0;
};

void PrintTo(const SolverCase& row, std::ostream* out) {
  *out << row.name;
}

// z >= 5 is broken below x = 2.5; the trials are switched off.
void expect_search(const SolverCase& row, bool by_gams) {
  Constrained problem;
  RunState& run = problem.run();
  problem.set_zmin(5.0);
  run.options.crrobust = true;
  run.options.crntrials = 0;
  run.options.crmir = !by_gams;
  run.options.crgms = by_gams;
  run.options.maxtime = row.maxtime;
  run.files.mirakpath = stand_in(problem, row.script);
  run.options.gams = run.files.mirakpath;
  const std::size_t descriptors = open_descriptors();
  EXPECT_EQ(crfind(run, 0), row.violations);
  EXPECT_EQ(run.status.trvstatus, row.code);
  EXPECT_EQ(run.status.trvlocation, row.location);
  EXPECT_EQ(open_descriptors(), descriptors);
  EXPECT_FALSE(has_children());
  if (row.violations > 0) {
    EXPECT_EQ(problem.set().type[0], 1);
    EXPECT_EQ(problem.set().origin[0], 2);
  }
}

const std::string solved = "echo conreg 1 2 3 4 0.5 0.5 0 1 0 > tim.lst\n";
const std::string block =
    "echo The best solution found >> res.lst\necho a >> res.lst\n"
    "echo b >> res.lst\n";

class SearchByFile : public testing::TestWithParam<SolverCase> {};

TEST_P(SearchByFile, ends_as_told) {
  expect_search(GetParam(), false);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, SearchByFile,
    testing::Values(
        SolverCase{"one_point",
                   solved + block + "echo trv_z 0 4 >> res.lst\necho x1 0 2 >> res.lst", 1},
        SolverCase{"two_points",
                   solved + block + "echo trv_z 0 4 >> res.lst\necho x1 0 2 >> res.lst\n" + block +
                       "echo trv_z 0 2 >> res.lst\necho x1 0 1 >> res.lst",
                   2},
        SolverCase{"point_outside_the_box",
                   solved + block + "echo trv_z 0 4 >> res.lst\necho x1 0 -7 >> res.lst", 1},
        SolverCase{"point_at_the_bound",
                   solved + block + "echo trv_z 0 5 >> res.lst\necho x1 0 2.5 >> res.lst", 0},
        SolverCase{"infeasible", "echo conreg 1 2 3 4 0.5 0.5 0 2 0 > tim.lst", 0},
        SolverCase{"other_status", "echo conreg 1 2 3 4 0.5 0.5 0 5 0 > tim.lst", 0,
                   Code::constrained_regression_failed, 22},
        SolverCase{"fails", "exit 1", 0, Code::constrained_regression_failed, 22},
        SolverCase{"no_status", "true", 0, Code::constrained_regression_failed, 22},
        SolverCase{"broken_status", "echo conreg 1 2 > tim.lst", 0,
                   Code::constrained_regression_failed, 22},
        SolverCase{"no_solution_file", solved, 0, Code::constrained_regression_failed, 22},
        SolverCase{"no_solution", solved + "echo nothing > res.lst", 0,
                   Code::constrained_regression_failed, 22},
        SolverCase{"broken_solution", solved + block + "echo trv_z 0 4 >> res.lst", 0,
                   Code::constrained_regression_failed, 22},
        SolverCase{"solution_without_number",
                   solved + block + "echo trv_z 0 4 >> res.lst\necho x1 0 inf >> res.lst", 0,
                   Code::constrained_regression_failed, 22},
        SolverCase{"hangs", "sleep 1000", 0, Code::time_used_up, 89, 1.0}),
    RowName());

class SearchByGams : public testing::TestWithParam<SolverCase> {};

TEST_P(SearchByGams, ends_as_told) {
  expect_search(GetParam(), true);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, SearchByGams,
    testing::Values(
        SolverCase{"one_point", "printf '  2\\n2 4\\n' > crres.put", 1},
        SolverCase{"two_points", "printf '  2\\n2 4\\n1 2\\n' > crres.put", 2},
        SolverCase{"point_at_the_bound", "printf '  2\\n2.5 5\\n' > crres.put", 0},
        SolverCase{"infeasible", "printf '  4\\n' > crres.put", 0},
        SolverCase{"infeasible_10", "printf ' 10\\n' > crres.put", 0},
        SolverCase{"infeasible_19", "printf ' 19\\n' > crres.put", 0},
        SolverCase{"answer_in_spite_of_status", "printf '  2\\n2 4\\n' > crres.put; exit 3", 1},
        SolverCase{"cut_off_row", "printf '  2\\n2 4\\n1' > crres.put", 1},
        SolverCase{"no_number", "printf '  2\\nmany 4\\n' > crres.put", 0,
                   Code::constrained_regression_failed, 28},
        SolverCase{"no_modelstat", ": > crres.put", 0, Code::constrained_regression_failed, 28},
        SolverCase{"no_answer", "true", 0, Code::constrained_regression_failed, 28},
        SolverCase{"fails", "exit 1", 0, Code::constrained_regression_failed, 28},
        SolverCase{"hangs", "sleep 1000", 0, Code::time_used_up, 89, 1.0}),
    RowName());

struct CopyCase {
  std::string_view name;
  std::string missing;  // file that the solver doesn't leave, or a folder in place of the copy
  int location;
};

void PrintTo(const CopyCase& row, std::ostream* out) {
  *out << row.name;
}

// One line for each search: there is a minimum for the lower bound, then a maximum for the upper.
TEST(SearchByFile, tells_what_the_solver_has_proved) {
  Constrained problem;
  RunState& run = problem.run();
  problem.set_zmin(-1.0);
  problem.set_zmax(30.0);
  run.options.crrobust = run.options.crmir = true;
  run.options.crntrials = 0;
  run.files.mirakpath = stand_in(problem,
                                 "echo > sum.lst\necho > res.lst\n"
                                 "echo conreg 1 2 3 4 $(grep -c minimize conreg.mir).25 9 0 2 0 "
                                 "> tim.lst");
  const std::string listing = listing_of(problem);
  EXPECT_NE(listing.find("    ncustreuse = 0\n"
                         "    bound      = 1.25\n"
                         "    bound      = 0.25\n"
                         "Bounds guaranteed. No bounding points added\n"),
            std::string::npos)
      << listing;
}

class CopiesByFile : public testing::TestWithParam<CopyCase> {};

TEST_P(CopiesByFile, have_codes_of_their_own) {
  Constrained problem;
  RunState& run = problem.run();
  problem.set_zmin(5.0);
  run.options.crrobust = run.options.debug = true;
  run.options.crntrials = 0;
  run.options.crmir = true;
  fs::create_directories(GetParam().missing);
  run.files.mirakpath = stand_in(problem, "echo > sum.lst\n" + solved + block +
                                              "echo trv_z 0 4 >> res.lst\necho x1 0 2 >> res.lst");
  crfind(run, 0);
  EXPECT_EQ(run.status.trvstatus, Code::copy_failed);
  EXPECT_EQ(run.status.trvlocation, GetParam().location);
}

INSTANTIATE_TEST_SUITE_P(Rows, CopiesByFile,
                         testing::Values(CopyCase{"model", "conreg1.mir", 17},
                                         CopyCase{"solution", "conreg1.res", 18},
                                         CopyCase{"summary", "conreg1.sum", 19},
                                         CopyCase{"status", "conreg1.tim", 20}),
                         RowName());

class CopiesByGams : public testing::TestWithParam<CopyCase> {};

TEST_P(CopiesByGams, have_codes_of_their_own) {
  Constrained problem;
  RunState& run = problem.run();
  problem.set_zmin(5.0);
  run.options.crrobust = run.options.debug = run.options.crgms = true;
  run.options.crntrials = 0;
  run.options.crmir = false;
  fs::create_directories(GetParam().missing);
  run.options.gams =
      stand_in(problem, "echo > conreg.lst; echo > conreg.log; printf '  2\\n2 4\\n' > crres.put");
  crfind(run, 0);
  EXPECT_EQ(run.status.trvstatus, Code::copy_failed);
  EXPECT_EQ(run.status.trvlocation, GetParam().location);
}

INSTANTIATE_TEST_SUITE_P(Rows, CopiesByGams,
                         testing::Values(CopyCase{"program", "conreg1.gms", 25},
                                         CopyCase{"listing", "conreg1.lst", 26},
                                         CopyCase{"log", "conreg1.log", 27},
                                         CopyCase{"answer", "conreg1.put", 30}),
                         RowName());

}  // namespace
}  // namespace torve::test
