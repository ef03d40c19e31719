#include "basis/groups.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "support/rows.h"
#include "support/small_problem.h"

namespace torve::test {
namespace {

// --- members ------------------------------------------------------------------------------------

// Three inputs, four points; columns from 0:
//    0 inputs      3 log       6 exp        9 sin       12 cos     15 powers 2 and 3
//   21 pairs of 0.5 and 2      27 triples of 2 and 3    29 ratios of -1 and 2
//   41 Gaussian   45 powers 2 and 3 of the distance     53 kernel  57 custom     59 constant
SmallProblem all_families() {
  SmallProblem problem;
  problem.x = {{1.1, 1.9, 1.3}, {1.4, 1.2, 1.8}, {1.7, 1.6, 1.2}, {1.9, 1.3, 1.5}};
  for (const auto& row : problem.x) problem.z.push_back({row[0] * row[1]});
  problem.options =
      "logfcns 1\nexpfcns 1\nsinfcns 1\ncosfcns 1\nmonomialpower 3 2\nmulti2power 0.5 2\n"
      "multi3power 2 3\nratiopower -1 2\ngrbfcns 1\nprbfpower 2 3\nlinkernel 1\nncustombas 2\n"
      "numlimitbasis 0\nmaxterms 1\n";
  problem.sections = "begin_custombas\nX1*X2+1\nX1+X2\nend_custombas\n";
  return problem;
}

std::string with_groups(SmallProblem problem, int groups, std::string_view rows) {
  problem.options += fmt::format("ngroups {}\n", groups);
  problem.sections +=
      fmt::format("begin_groups\n{}end_groups\nbegin_groupcon\n1 1 nmt 1000\nend_groupcon\n", rows);
  return problem.text();
}

std::vector<int> columns_of(SmallRun& run, int group) {
  std::vector<int> columns;
  for (int j = 0; j < run.state().sizes.nbas; ++j) {
    if (run.state().groups.grpbas(j, group)) columns.push_back(j);
  }
  return columns;
}

struct MemberCase {
  std::string_view name;
  std::string_view row;
  std::vector<int> columns;
};

void PrintTo(const MemberCase& row, std::ostream* out) {
  *out << row.row;
}

class Member : public testing::TestWithParam<MemberCase> {};

TEST_P(Member, names_its_columns) {
  SmallRun run(with_groups(all_families(), 1, "1 " + std::string(GetParam().row) + "\n"));
  ASSERT_TRUE(run.ended_normally()) << run.screen();
  ASSERT_EQ(run.state().sizes.nbas, 60);
  EXPECT_EQ(columns_of(run, 0), GetParam().columns);
  EXPECT_TRUE(run.state().groups.groupcon[0]);
}

std::vector<int> range(int first, int last) {
  std::vector<int> result;
  for (int j = first; j <= last; ++j) result.push_back(j);
  return result;
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Member,
    testing::Values(
        MemberCase{"lin", "lin 2", {1}}, MemberCase{"lin_two", "lin 1 3", {0, 2}},
        MemberCase{"lin_all", "lin -1", range(0, 2)}, MemberCase{"log", "log 2", {4}},
        MemberCase{"log_all", "log -1", range(3, 5)}, MemberCase{"exp", "exp 1 2 3", range(6, 8)},
        MemberCase{"sin", "sin 3", {11}}, MemberCase{"cos", "COS 1", {12}},
        MemberCase{"mono_first_power", "mono 2 2", {16}},
        MemberCase{"mono_second", "mono 1 3", {18}},
        MemberCase{"mono_nearly", "mono 1 3.000009", {18}},
        MemberCase{"mono_all", "mono -1 2", range(15, 20)},
        MemberCase{"mono_all_of_any_power", "mono -1 7", range(15, 20)},
        MemberCase{"multi2", "multi2 1 3 0.5", {22}},
        MemberCase{"multi2_second", "multi2 2 3 2", {26}},
        MemberCase{"multi2_reversed", "multi2 3 2 2", {26}},
        MemberCase{"multi2_with_any", "multi2 3 -1 0.5", {22, 23}},
        MemberCase{"multi2_all", "multi2 -1 -1 9", range(21, 26)},
        MemberCase{"multi3", "multi3 1 2 3 3", {28}},
        MemberCase{"multi3_reversed", "multi3 3 1 2 2", {27}},
        MemberCase{"multi3_all", "multi3 -1 -1 -1 5", {27, 28}},
        MemberCase{"ratio", "ratio 1 2 -1", {29}},
        MemberCase{"ratio_inverse", "ratio 2 1 -1", {31}},
        MemberCase{"ratio_last", "ratio 3 2 2", {40}},
        MemberCase{"ratio_any_denominator", "ratio 2 -1 2", {37, 38}},
        MemberCase{"ratio_any_numerator", "ratio -1 2 -1", {29, 34}},
        MemberCase{"ratio_all", "ratio -1 -1 4", range(29, 40)},
        MemberCase{"grbf", "grbf 1 4", {41, 44}}, MemberCase{"grbf_all", "grbf -1", range(41, 44)},
        MemberCase{"prbf", "prbf 3", {47}}, MemberCase{"prbf_all", "prbf -1", range(45, 52)},
        MemberCase{"lk", "lk 2", {54}}, MemberCase{"cust", "cust 2", {58}},
        MemberCase{"cust_all", "cust -1", {57, 58}}, MemberCase{"const", "const", {59}}),
    RowName());

TEST(Groups, hold_what_all_their_rows_name) {
  SmallRun run(with_groups(all_families(), 2, "1 lin 1\n2 log 1\n1 mono 1 2\n2 const\n"));
  EXPECT_EQ(columns_of(run, 0), (std::vector<int>{0, 15}));
  EXPECT_EQ(columns_of(run, 1), (std::vector<int>{3, 59}));
}

TEST(Groups, know_columns_that_are_out) {
  SmallProblem problem = all_families();
  problem.xmin = {0, 1, 1};
  problem.xmax = {2, 2, 2};
  SmallRun run(with_groups(problem, 1, "1 log 1\n"));
  EXPECT_EQ(columns_of(run, 0), (std::vector<int>{3}));
  EXPECT_FALSE(run.state().basis.basisactive[3]);
}

TEST(Groups, are_told_of_powers_that_were_discarded) {
  SmallRun one(with_groups(all_families(), 1, "1 mono 2 1\n1 lin 1\n"));
  EXPECT_TRUE(one.ended_normally());
  EXPECT_EQ(columns_of(one, 0), (std::vector<int>{0}));
  EXPECT_NE(one.screen().find("of 1 are ignored in group composition\n"), std::string::npos);
  SmallRun zero(with_groups(all_families(), 1, "1 mono 2 0\n1 lin 1\n"));
  EXPECT_TRUE(zero.ended_normally());
  EXPECT_EQ(columns_of(zero, 0), (std::vector<int>{0}));
  EXPECT_NE(zero.screen().find(
                "Warning: powers of 0 will be discarded from the set of basis functions.\n"),
            std::string::npos);
}

struct UnknownCase {
  std::string_view name;
  std::string_view row;
  std::string_view word;
};

void PrintTo(const UnknownCase& row, std::ostream* out) {
  *out << row.name;
}

class UnknownPower : public testing::TestWithParam<UnknownCase> {};

TEST_P(UnknownPower, ends_the_run) {
  const std::string text =
      with_groups(all_families(), 1, "1 lin 1\n1 " + std::string(GetParam().row) + "\n");
  const std::string before = text.substr(0, text.find(GetParam().row));
  const auto line = 1 + std::count(before.begin(), before.end(), '\n');
  SmallRun run(text);
  EXPECT_EQ(run.state().status.trvstatus, Code::group_power);
  EXPECT_NE(
      run.screen().find(fmt::format("{} power not found in line {}\n", GetParam().word, line)),
      std::string::npos)
      << run.screen();
}

INSTANTIATE_TEST_SUITE_P(Rows, UnknownPower,
                         testing::Values(UnknownCase{"mono", "mono 1 4", "MONO"},
                                         UnknownCase{"mono_beyond_tolerance", "mono 1 2.00002",
                                                     "MONO"},
                                         UnknownCase{"multi2", "multi2 1 2 1", "MULTI2"},
                                         UnknownCase{"multi2_of_zero", "multi2 1 2 0", "MULTI2"},
                                         UnknownCase{"multi3", "multi3 1 2 3 4", "MULTI3"},
                                         UnknownCase{"ratio", "ratio 1 2 1", "RATIO"}),
                         RowName());

TEST(Groups, without_a_constraint_are_dropped) {
  SmallProblem problem = all_families();
  problem.options += "ngroups 1\n";
  problem.sections += "begin_groups\n1 lin 1\nend_groups\n";
  SmallRun run(problem.text());
  EXPECT_TRUE(run.ended_normally());
  EXPECT_EQ(run.state().sizes.ngroups, 0);
  EXPECT_FALSE(run.state().groups.groupcon[0]);
}

TEST(Groups, are_ruled_per_output) {
  SmallProblem problem = all_families();
  for (auto& row : problem.z) row.assign({row[0], row[0] + 1, row[0] - 1});
  problem.options += "ngroups 1\n";
  problem.options.replace(problem.options.find("maxterms 1"), 10, "maxterms 1 1 1");
  problem.sections +=
      "begin_groups\n1 lin 1\nend_groups\nbegin_groupcon\n1 2 nmt 1\nend_groupcon\n";
  SmallRun run(problem.text());
  const Array<bool>& ruled = run.state().groups.groupcon;
  EXPECT_FALSE(ruled[0]);
  EXPECT_TRUE(ruled[1]);
  EXPECT_FALSE(ruled[2]);
}

// --- groups in groups ---------------------------------------------------------------------------

TEST(GroupsInGroups, take_over_the_rows) {
  SmallRun run(with_groups(all_families(), 3, "1 lin 1\n2 log 2\n3 grp 1 2\n3 const\n"));
  EXPECT_EQ(columns_of(run, 2), (std::vector<int>{0, 4, 59}));
  const Table<bool>& holds = run.state().groups.grpgrp;
  EXPECT_TRUE(holds(2, 0) && holds(2, 1));
  EXPECT_FALSE(holds(2, 2) || holds(0, 2) || holds(1, 2) || holds(0, 1));
}

TEST(GroupsInGroups, that_refer_back_are_expanded_once) {
  SmallRun run(with_groups(all_families(), 2, "1 lin 1\n1 grp 2\n2 log 2\n2 grp 1\n"));
  EXPECT_TRUE(run.ended_normally());
  EXPECT_EQ(columns_of(run, 0), (std::vector<int>{0, 4}));
  EXPECT_EQ(columns_of(run, 1), (std::vector<int>{0, 4}));
}

TEST(GroupsInGroups, go_one_level_deep) {
  SmallRun run(with_groups(all_families(), 3, "1 lin 1\n2 grp 1\n3 grp 2\n3 const\n"));
  EXPECT_EQ(columns_of(run, 1), (std::vector<int>{0}));
  EXPECT_EQ(columns_of(run, 2), (std::vector<int>{59}));
}

TEST(GroupsInGroups, may_be_all_others) {
  SmallRun run(with_groups(all_families(), 3, "1 grp -1\n2 lin 1\n3 lin 2\n"));
  EXPECT_EQ(columns_of(run, 0), (std::vector<int>{0, 1}));
}

// --- rules --------------------------------------------------------------------------------------

// Five columns in four groups: A = {0, 1}, B = {2, 3}, C = {4}, and D, which holds A and C and has
// no column of its own beyond theirs unless a case says so.
struct RuleCase {
  std::string_view name;
  GroupConstraint rule;
  std::string_view choice;
  bool d_holds_groups;
  bool broken;
};

void PrintTo(const RuleCase& row, std::ostream* out) {
  *out << row.name;
}

class Rule : public testing::TestWithParam<RuleCase> {};

TEST_P(Rule, is_kept_or_broken) {
  const RuleCase& row = GetParam();
  constexpr int columns = 5;
  constexpr int groups = 4;
  std::array<bool, columns * groups> members{};
  for (const auto& [g, j] : {std::pair{0, 0}, {0, 1}, {1, 2}, {1, 3}, {2, 4}}) {
    members[static_cast<std::size_t>(g * columns + j)] = true;
  }
  std::array<bool, groups * groups> holds{};
  if (row.d_holds_groups) holds[0 * groups + 3] = holds[2 * groups + 3] = true;
  std::array<bool, columns> choice{};
  for (std::size_t j = 0; j < columns; ++j) choice[j] = row.choice[j] == '1';
  std::array<bool, groups> on{};
  const std::array rules = {row.rule};
  const GroupTables tables{
      {members.data(), columns, groups, columns}, {holds.data(), groups, groups, groups}, rules};
  EXPECT_EQ(breaks_group_rule(tables, 0, choice, on), row.broken);
}

constexpr GroupRule at_most = GroupRule::at_most;
constexpr GroupRule at_least = GroupRule::at_least;
constexpr GroupRule needs = GroupRule::requires_group;
constexpr GroupRule bars = GroupRule::excludes_group;

INSTANTIATE_TEST_SUITE_P(
    Rows, Rule,
    testing::Values(
        RuleCase{"at_most_kept", {0, -1, at_most, 1}, "10110", false, false},
        RuleCase{"at_most_broken", {0, -1, at_most, 1}, "11000", false, true},
        RuleCase{"at_most_zero", {0, -1, at_most, 0}, "00110", false, false},
        RuleCase{"at_most_zero_broken", {0, -1, at_most, 0}, "01000", false, true},
        RuleCase{"at_least_kept", {1, -1, at_least, 2}, "00110", false, false},
        RuleCase{"at_least_broken", {1, -1, at_least, 2}, "11101", false, true},
        // Also without any member: the rule doesn't ask whether the group is there.
        RuleCase{"at_least_without_members", {1, -1, at_least, 1}, "10000", false, true},
        RuleCase{"requires_kept", {0, -1, needs, 2}, "10100", false, false},
        RuleCase{"requires_broken", {0, -1, needs, 2}, "10001", false, true},
        RuleCase{"requires_idle", {0, -1, needs, 2}, "00001", false, false},
        RuleCase{"excludes_kept", {0, -1, bars, 2}, "11001", false, false},
        RuleCase{"excludes_broken", {0, -1, bars, 2}, "10100", false, true},
        RuleCase{"excludes_idle", {0, -1, bars, 2}, "00111", false, false},
        RuleCase{"of_this_output", {0, 0, at_most, 0}, "10000", false, true},
        RuleCase{"of_another_output", {0, 1, at_most, 0}, "10000", false, false},
        // D counts the groups it holds that are on.
        RuleCase{"groups_count", {3, -1, at_most, 1}, "10001", true, true},
        RuleCase{"groups_that_are_on_count", {3, -1, at_most, 1}, "11110", true, false},
        RuleCase{"groups_count_as_enough", {3, -1, at_least, 2}, "10001", true, false},
        // While any column is chosen, a group that holds groups is on, whatever these are.
        RuleCase{"holder_is_on", {3, -1, bars, 2}, "00100", true, true},
        RuleCase{"holder_is_off_alone", {3, -1, bars, 2}, "00100", false, false},
        RuleCase{"nothing_chosen", {3, -1, needs, 1}, "00000", true, false},
        RuleCase{"holder_requires", {3, -1, needs, 1}, "00100", true, true}),
    RowName());

TEST(Rule, is_one_of_several) {
  std::array<bool, 4> members = {true, false, false, true};  // A = {0}, B = {1}
  std::array<bool, 4> holds{};
  std::array<bool, 2> on{};
  const std::array rules = {GroupConstraint{0, -1, at_most, 1}, GroupConstraint{1, -1, at_most, 0}};
  const GroupTables tables{{members.data(), 2, 2, 2}, {holds.data(), 2, 2, 2}, rules};
  EXPECT_FALSE(breaks_group_rule(tables, 0, std::array{true, false}, on));
  EXPECT_TRUE(breaks_group_rule(tables, 0, std::array{true, true}, on));
}

}  // namespace
}  // namespace torve::test
