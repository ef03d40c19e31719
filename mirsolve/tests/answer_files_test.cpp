// The three files, as the readers of the program that asked understand them.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "mirsolve/answer/result_files.h"
#include "solvers/conreg_search.h"
#include "solvers/mir_results.h"
#include "support/run_folder.h"

namespace {

using namespace mirsolve;
namespace fs = std::filesystem;

constexpr double no_value = std::numeric_limits<double>::quiet_NaN();

Problem two_columns() {
  Problem problem;
  problem.title = "surrogate";
  for (const char* name : {"trv_y_1", "trv_y_2"}) {
    problem.variables.push_back({name, VariableKind::binary, 0.0, 1.0, {}});
  }
  problem.variables.push_back({"trv_yg_1", VariableKind::binary, 0.0, 1.0, {}});
  problem.variables.push_back({"trv_e_1", VariableKind::positive, 0.0, infinite, {}});
  for (const char* name : {"trv_beta_1", "trv_beta_2"}) {
    problem.variables.push_back({name, VariableKind::free, -100.0, 1e31, {}});
  }
  problem.objective = problem.graph.variable(4);
  problem.statements.resize(3);
  return problem;
}

void add_variable(Problem& problem, const char* name) {
  Variable variable;
  variable.name = name;
  problem.variables.push_back(variable);
}

Answer proven_answer() {
  Answer answer;
  answer.status = Status::proven;
  answer.problem_class = "a class";
  answer.method = "a method";
  answer.objective = 2.5;
  answer.bound = 2.25;
  answer.nodes = 17;
  answer.points = {{1.0, 0.0, 1.0, 0.5, 1.0 / 3.0, -1e-300}};
  answer.remarks = {"a remark"};
  return answer;
}

TEST(ResultFiles, hold_the_best_point) {
  const ResultTexts texts = result_texts(two_columns(), proven_answer(), 1.5);
  EXPECT_EQ(torve::read_mir_status(texts.tim), 1);
  const auto solution =
      torve::read_mir_solution(texts.res, {.terms = 2, .groups = 1, .positive = 1, .free = 2});
  ASSERT_TRUE(solution);
  EXPECT_EQ(solution->y, (std::vector<double>{1.0, 0.0}));
  EXPECT_EQ(solution->beta, (std::vector<double>{1.0 / 3.0, -1e-300}));
}

TEST(ResultFiles, count_what_there_is) {
  const ResultTexts texts = result_texts(two_columns(), proven_answer(), 1.5);
  EXPECT_EQ(texts.tim, " surrogate  3 6 3 17 2.25 2.5 0 1 1\n");
}

TEST(ResultFiles, tell_people) {
  Problem problem = two_columns();
  problem.oddities = {"an oddity"};
  const std::string sum = result_texts(problem, proven_answer(), 1.5).sum;
  for (const char* line :
       {" problem     surrogate\n", " class       a class\n", " method      a method\n",
        " status      1, the best point, proven within the gaps\n", " objective   2.5\n",
        " bound       2.25\n", " gap         0.25, relative 0.1\n", " points      1\n",
        " nodes       17\n", " time        1.500 s\n",
        " variables   6: 3 binary, 1 positive, 2 free\n", " statements  3\n",
        " remark      a remark\n", " oddity      an oddity\n"}) {
    EXPECT_NE(sum.find(line), std::string::npos) << line << sum;
  }
}

TEST(ResultFiles, hold_further_points_as_blocks) {
  Problem problem;
  problem.title = "conreg";
  for (const char* name : {"trv_z", "x1", "x2"}) add_variable(problem, name);
  problem.objective = problem.graph.variable(0);
  Answer answer = proven_answer();
  answer.points = {{2.5, 1.0, 2.0}, {2.0, 3.0, 4.0}, {1.0, 5.0, 6.0}};
  const ResultTexts texts = result_texts(problem, answer, 0.0);
  EXPECT_EQ(torve::read_conreg_mir(texts.res, 2),
            (std::vector<std::vector<double>>{{1.0, 2.0}, {3.0, 4.0}, {5.0, 6.0}}));
  EXPECT_NE(texts.res.find("\n objective 1\n"), std::string::npos);
}

struct StatusCase {
  Status status;
  int miperr;  // what the program that asked makes of it
  bool has_point;
};

class Statuses : public testing::TestWithParam<StatusCase> {};

TEST_P(Statuses, are_understood) {
  Answer answer = proven_answer();
  answer.status = GetParam().status;
  answer = checked(two_columns(), std::move(answer));
  EXPECT_EQ(answer.status, GetParam().status);
  const ResultTexts texts = result_texts(two_columns(), answer, 0.0);
  const auto status = torve::read_mir_status(texts.tim);
  ASSERT_EQ(status, static_cast<int>(GetParam().status));
  EXPECT_EQ(torve::miperr_of_status(*status), GetParam().miperr);
  const torve::MirLayout layout{.terms = 2, .groups = 1, .positive = 1, .free = 2};
  EXPECT_EQ(torve::read_mir_solution(texts.res, layout).has_value(), GetParam().has_point);
  EXPECT_EQ(has_point(GetParam().status), GetParam().has_point);
  EXPECT_FALSE(words_of(GetParam().status).empty());
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Statuses,
    testing::Values(StatusCase{Status::proven, 0, true}, StatusCase{Status::infeasible, 1, false},
                    StatusCase{Status::unproven, 0, true}, StatusCase{Status::wanted, 0, true},
                    StatusCase{Status::no_point, 3, false},
                    StatusCase{Status::not_understood, 3, false},
                    StatusCase{Status::bad_file, 3, false}, StatusCase{Status::failed, 3, false}),
    [](const auto& row) { return "status_" + std::to_string(static_cast<int>(row.param.status)); });

struct TitleCase {
  const char* name;
  const char* title;
  const char* expected;
};

class Titles : public testing::TestWithParam<TitleCase> {};

TEST_P(Titles, are_one_item_of_ten_characters) {
  Problem problem = two_columns();
  problem.title = GetParam().title;
  const ResultTexts texts = result_texts(problem, proven_answer(), 0.0);
  EXPECT_TRUE(texts.tim.starts_with(GetParam().expected)) << texts.tim;
  EXPECT_EQ(torve::read_mir_status(texts.tim), 1);
}

INSTANTIATE_TEST_SUITE_P(Rows, Titles,
                         testing::Values(TitleCase{"short_one", "olr", " olr        3 6"},
                                         TitleCase{"long_one", "surrogate12.3", " surrogate1 3 6"},
                                         TitleCase{"none", "", " problem    3 6"},
                                         TitleCase{"blanks", "a b\tc", " a_b_c      3 6"},
                                         TitleCase{"separators", "a,b/c*'\"", " a_b_c___   3 6"},
                                         TitleCase{"not_ascii", "\xc3\xa4", " __         3 6"}),
                         [](const auto& row) { return std::string(row.param.name); });

// Numbers that no reader takes never stand in a file.
TEST(ResultFiles, hold_finite_numbers_alone) {
  for (const double value : {infinite, -infinite, no_value}) {
    Answer answer = proven_answer();
    answer.objective = value;
    answer.bound = -value;
    answer.nodes = std::numeric_limits<std::int64_t>::max();
    const ResultTexts texts = result_texts(two_columns(), answer, 0.0);
    EXPECT_EQ(torve::read_mir_status(texts.tim), 1) << texts.tim;
    EXPECT_NE(texts.tim.find(" 2147483647 "), std::string::npos);
  }
}

struct BadPoints {
  const char* name;
  std::vector<std::vector<double>> points;
};

class Checks : public testing::TestWithParam<BadPoints> {};

TEST_P(Checks, refuse_what_is_no_point) {
  for (const Status status : {Status::proven, Status::unproven, Status::wanted}) {
    Answer answer = proven_answer();
    answer.status = status;
    answer.points = GetParam().points;
    answer = checked(two_columns(), std::move(answer));
    EXPECT_EQ(answer.status, Status::failed);
    EXPECT_TRUE(answer.points.empty());
    EXPECT_EQ(answer.remarks.size(), 2U);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Checks,
    testing::Values(BadPoints{"none", {}}, BadPoints{"short_one", {{1.0, 2.0}}},
                    BadPoints{"not_a_number", {{1.0, 0.0, 1.0, 0.5, no_value, 1.0}}},
                    BadPoints{"infinite_one", {{1.0, 0.0, 1.0, 0.5, infinite, 1.0}}},
                    BadPoints{"second", {{1.0, 0.0, 1.0, 0.5, 1.0, 1.0}, {1.0}}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(ResultFiles, hold_long_names_cut) {
  Problem problem;
  add_variable(problem, "a_name_of_more_than_twenty_three");
  problem.objective = problem.graph.variable(0);
  Answer answer = proven_answer();
  answer.points = {{2.5}};
  const ResultTexts texts = result_texts(problem, answer, 0.0);
  EXPECT_NE(texts.res.find("\n  a_name_of_more_than_twe "), std::string::npos) << texts.res;
}

// In a folder of its own.
class Places : public testing::Test {
 protected:
  Places() : before_(fs::current_path()) { fs::current_path(folder_.path()); }
  ~Places() override { fs::current_path(before_); }

  torve::test::TemporaryFolder folder_;
  fs::path before_;
};

TEST_F(Places, get_whole_files) {
  torve::test::write_file("res.lst", "of an earlier solve, longer than what follows");
  EXPECT_TRUE(write_results({"r", "s", "t"}));
  EXPECT_EQ(torve::test::read_file("res.lst"), "r");
  EXPECT_EQ(torve::test::read_file("sum.lst"), "s");
  EXPECT_EQ(torve::test::read_file("tim.lst"), "t");
  EXPECT_EQ(std::distance(fs::directory_iterator("."), {}), 3);
}

TEST_F(Places, keep_what_was_there_when_a_file_fails) {
  torve::test::write_file("res.lst", "before");
  fs::create_directory("tim.lst.new");
  EXPECT_FALSE(write_results({"r", "s", "t"}));
  EXPECT_EQ(torve::test::read_file("res.lst"), "before");
  EXPECT_FALSE(fs::exists("res.lst.new"));
  EXPECT_FALSE(fs::exists("sum.lst.new"));
}

TEST_F(Places, tell_a_full_disk) {
  fs::create_symlink("/dev/full", "sum.lst.new");
  EXPECT_FALSE(write_results({"r", "s", "t"}));
  EXPECT_FALSE(fs::exists("res.lst"));
  EXPECT_TRUE(fs::is_empty("."));
}

}  // namespace
