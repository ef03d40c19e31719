// The search of a box and what a GAMS program does with several solutions, on a program written by
// hand.
#include "gms_execution.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "box_search.h"
#include "in_process.h"
#include "rows.h"

namespace torve::test {
namespace {

// The least of a^2 - 2 log(b); the parts are replaced by the cases below.
const std::string program_text = R"(variable z, a, b;
a.lo = -1; a.up = 2;
b.lo = 0.5; b.up = 3;
z.up = -1;
equations def, link;
def .. z =e= power(a,2) - 2*log(b);
link .. a + b =l= 5;
model extreme /all/;
option nlp=mirak ;
$onecho > mirak.opt
NumSol  5
isoltol 0.25
gdxout case
$offecho
extreme.optfile = 1;
solve extreme minimizing z using nlp;
set found /case1*case7/;
variables zs(found), as(found), bs(found);
file out;
put out;
put extreme.modelstat:3:0 / ;
parameter stat; stat = extreme.modelstat;
if (stat eq 1,
execute 'gdxmerge case*.gdx > %gams.scrdir%merge.txt';
execute_load 'merged.gdx', zs=z, as=a, bs=b;
execute 'rm %gams.scrdir%merge.txt';
loop(found,
put as.l(found), bs.l(found), zs.l(found) /;
);
);
)";

std::string changed(std::string text, const std::string& from, const std::string& to) {
  const std::size_t place = text.find(from);
  EXPECT_NE(place, std::string::npos) << from;
  return text.replace(place, from.size(), to);
}

GmsSolution searched(const std::string& text) {
  const GmsProgram program = read_gms(text);
  return search_gms_box(program, evaluate_gms_data(program));
}

// What the program puts, in the current folder.
std::string put_by(const std::string& text) {
  const GmsProgram program = read_gms(text);
  const GmsModelValues data = evaluate_gms_data(program);
  const GmsSolution solution = search_gms_box(program, data);
  const GmsFolder folder;
  GmsFolder::write_solutions("case", solution);
  return put_text(program, data, solution, folder.system());
}

// --- the search ---------------------------------------------------------------------------------

struct ExtremeRow {
  const char* name;
  const char* from;
  const char* to;
  double a, b;
  const char* goal = "minimizing";
};

void PrintTo(const ExtremeRow& row, std::ostream* out) {
  *out << row.name;
}

class GmsBox : public testing::TestWithParam<ExtremeRow> {};

TEST_P(GmsBox, has_its_extreme_where_calculus_says) {
  const ExtremeRow& row = GetParam();
  const std::string text = changed(program_text, row.from, row.to);
  const GmsSolution solution = searched(changed(text, "minimizing", row.goal));
  ASSERT_EQ(solution.modelstat, 1);
  EXPECT_NEAR(solution.levels.at("a"), row.a, 1e-5);
  EXPECT_NEAR(solution.levels.at("b"), row.b, 1e-8);
  EXPECT_NEAR(solution.levels.at("z"), row.a * row.a - 2.0 * std::log(row.b), 1e-8);
}

INSTANTIATE_TEST_SUITE_P(Rows, GmsBox,
                         testing::Values(ExtremeRow{"least", "z.up = -1;", "z.up = -1;", 0.0, 3.0},
                                         ExtremeRow{"least_of_a_half", "link .. a + b =l= 5;",
                                                    "link .. a =g= 0.5;", 0.5, 3.0},
                                         ExtremeRow{"least_below_a_limit", "link .. a + b =l= 5;",
                                                    "link .. b =l= 2.5;", 0.0, 2.5},
                                         ExtremeRow{"largest", "z.up = -1;", "z.lo = 5;", 2.0, 0.5,
                                                    "maximizing"}),
                         RowName());

TEST(GmsBoxSearch, gives_points_apart_from_each_other_the_best_first) {
  const GmsSolution solution = searched(program_text);
  ASSERT_EQ(solution.others.size(), 4U);
  std::vector<GmsPoint> points = solution.others;
  points.insert(points.begin(), solution.levels);
  for (std::size_t p = 0; p < points.size(); ++p) {
    const double a = points[p].at("a");
    const double b = points[p].at("b");
    EXPECT_DOUBLE_EQ(points[p].at("z"), a * a - 2.0 * std::log(b)) << p;
    EXPECT_LE(points[p].at("z"), -1.0) << p;
    EXPECT_GE(points[p].at("z"), points[p > 0 ? p - 1 : 0].at("z"));
    for (std::size_t q = 0; q < p; ++q) {
      const double distance =
          std::max(std::abs(a - points[q].at("a")), std::abs(b - points[q].at("b")));
      EXPECT_GE(distance, 0.25) << p << q;
    }
  }
}

TEST(GmsBoxSearch, gives_one_point_without_a_file_of_options) {
  EXPECT_TRUE(searched(changed(program_text, "extreme.optfile = 1;", "")).others.empty());
  EXPECT_TRUE(searched(changed(program_text, "nlp=mirak", "nlp=other")).others.empty());
}

TEST(GmsBoxSearch, is_for_boxes_alone) {
  const auto is_box = [](const std::string& text) {
    const GmsProgram program = read_gms(text);
    return is_box_search(program, evaluate_gms_data(program));
  };
  EXPECT_TRUE(is_box(program_text));
  EXPECT_FALSE(is_box(changed(program_text, "a.up = 2;", "")));
  EXPECT_FALSE(is_box(changed(program_text, "using nlp", "using miqcp")));
  EXPECT_THROW(searched(changed(program_text, "a.up = 2;", "")), std::runtime_error);
  EXPECT_THROW(searched(changed(program_text, "z =e= power", "0 =e= -z + power")),
               std::runtime_error);
}

TEST(BoxSearch, passes_over_points_without_value) {
  BoxProblem problem;
  problem.lowest = {0.0};
  problem.highest = {4.0};
  problem.value = [](const std::vector<double>& x) {
    return x[0] < 1.0 ? std::nan("") : (x[0] - 0.5) * (x[0] - 0.5);
  };
  const std::vector<BoxPoint> found = search_box(problem);
  ASSERT_EQ(found.size(), 1U);
  EXPECT_NEAR(found[0].x[0], 1.0, 1e-9);
  problem.value = [](const std::vector<double>&) { return std::nan(""); };
  EXPECT_TRUE(search_box(problem).empty());
}

// --- files --------------------------------------------------------------------------------------

std::size_t lines_of(const std::string& text) {
  return static_cast<std::size_t>(std::ranges::count(text, '\n'));
}

TEST(GmsExecution, merges_loads_and_puts_the_solutions) {
  const WorkingFolder folder;
  std::istringstream put(put_by(program_text));
  int status = 0;
  put >> status;
  EXPECT_EQ(status, 1);
  std::vector<double> first;
  for (int row = 0; row < 7; ++row) {
    double a = -1.0;
    double b = -1.0;
    double z = -1.0;
    ASSERT_TRUE(put >> a >> b >> z) << row;
    if (row == 0) first = {a, b, z};
    // Elements of the set without a solution have the level that nothing has given them.
    EXPECT_DOUBLE_EQ(z, row < 5 ? a * a - 2.0 * std::log(b) : 0.0);
    EXPECT_EQ(row >= 5, b == 0.0);
  }
  EXPECT_EQ(first[1], 3.0);
  std::string rest;
  EXPECT_FALSE(put >> rest);
  EXPECT_EQ(lines_of(text_of("case1.gdx")), 3U);
  EXPECT_EQ(lines_of(text_of("merged.gdx")), 15U);
  EXPECT_TRUE(fs::exists("case5.gdx"));
  EXPECT_FALSE(fs::exists("case6.gdx"));
  EXPECT_FALSE(fs::exists("225a"));
}

TEST(GmsExecution, does_nothing_behind_a_condition_that_does_not_hold) {
  const WorkingFolder folder;
  EXPECT_EQ(put_by(changed(program_text, "z.up = -1;", "z.up = -2.2;")), " 19\n");
  EXPECT_FALSE(fs::exists("merged.gdx"));
  EXPECT_FALSE(fs::exists("case1.gdx"));
}

struct FailingRow {
  const char* name;
  const char* from;
  const char* to;
};

void PrintTo(const FailingRow& row, std::ostream* out) {
  *out << row.name;
}

class GmsCommands : public testing::TestWithParam<FailingRow> {};

TEST_P(GmsCommands, end_the_program_where_they_fail) {
  const WorkingFolder folder;
  EXPECT_THROW(put_by(changed(program_text, GetParam().from, GetParam().to)), std::runtime_error);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, GmsCommands,
    testing::Values(FailingRow{"unknown", "'gdxmerge case", "'gdxdump case"},
                    FailingRow{"report_in_no_folder", "> %gams.scrdir%merge", "> nowhere/merge"},
                    FailingRow{"removal_of_no_file", "'rm %gams.scrdir%merge.txt'",
                               "'rm merge.txt'"},
                    FailingRow{"other_file_loaded", "'merged.gdx'", "'merge.gdx'"},
                    FailingRow{"other_files_merged", "case*.gdx", "cases*.gdx"}),
    RowName());

}  // namespace
}  // namespace torve::test
