// The ranges of the scalar options. The table below is written by hand and on its own: it is what
// users were promised, whatever the option table says.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "input/problem_reader.h"
#include "run/option_table.h"
#include "support/in_process.h"
#include "text/number_edits.h"

namespace torve {
namespace {

// Name, kind, lowest and highest value, and what replaces a value that is refused: a number, the
// present value of the option, or twice the number of inputs.
constexpr const char* promised = R"(
ninputs           whole 1                     1000000000 1
nvars             whole 1                     1000000000 1
noutputs          whole 1                     1000000000 1
ngroups           whole 0                     1000000000 0
ntrans            whole 0                     1000000000 0
ncvf              whole 2                     1000000000 5
funform           whole 1                     6          1
npenl             whole 2                     1000000000 100
ndata             whole 0                     1000000000 0
nsample           whole 0                     1000000000 0
ntestdata         whole 0                     1000000000 0
npredata          whole 0                     1000000000 0
seed              whole 1                     1000000000 19631963
tolrelmetric      real  0                     1e+50      0.0001
prfreq            whole 0                     1000000000 1
datalimitterms    whole 0                     1          1
numlimitbasis     whole 0                     1          1
matsnob           whole 0                     1          0
usegams           whole 0                     1          0
usescratch        whole 0                     1          0
xscaling          whole 0                     1          1
firstfeas         whole 0                     1          1
dive              whole 0                     1          1
shortcut          whole 0                     1          1
deltaterm         whole 0                     1          1
debug             whole 0                     1          0
cvxbic            whole 0                     1          1
solvemip          whole 0                     1          1
olrone            whole 0                     1          1
olrgsi            whole 0                     1          1
olrdgels          whole 0                     1          1
olrclr            whole 0                     1          1
olrmir            whole 0                     1          1
olrgms            whole 0                     1          1
lassogms          whole 0                     1          1
lassomir          whole 0                     1          0
mipgms            whole 0                     1          1
mipmir            whole 0                     1          0
crgms             whole 0                     1          1
crmir             whole 0                     1          0
tolsse            real  0                     1e+50      1e-05
gsiabstol         real  0                     1e+50      1e-05
gsireltol         real  0                     1e+50      1e-05
gsimaxi           whole -1                    1e+50      10000
nulltol           real  0                     1e+50      1e-09
print_to_file     whole 0                     1          1
print_to_screen   whole 0                     1          1
print_gams_out    whole 0                     1          1
print_mirak_out   whole 0                     1          1
removescratch     whole 0                     1          1
sselimit          whole 0                     1          0
relerror          whole 0                     1          1
initialpoints     whole 1                     1000000000 10
initializer       whole 1                     3          1
sampler           whole 1                     3          1
modeler           whole 1                     8          3
builder           whole 0                     1          1
backstepper       whole 0                     1          0
greedybuild       whole 0                     1          1
maxsim            whole 0                     1000000000 10
ndgels            whole 0                     1000000000 120
screener          whole -2                    2          0
tolmaxerror       real  0                     1e+50      0.05
minpoints         whole 1                     1000000000 0
maxpoints         whole 1                     1000000000 0
requestpoints     whole 0                     1000000000 0
objfun            whole 1                     2          1
snobfitp          real  0                     1e+50      0.5
snobfitresolution real  0                     1e+50      1e-05
preset            real  -1e+50                1e+50      -111111
maxtime           real  0                     1e+50      1000
convpen           real  0                     1e+50      10
sismult           real  0                     1e+50      1
mono              whole 0                     1000000000 0
multi2            whole 0                     1000000000 0
multi3            whole 0                     1000000000 0
ratios            whole 0                     1000000000 0
expfcns           whole 0                     1          0
logfcns           whole 0                     1          0
linfcns           whole 0                     1          1
sinfcns           whole 0                     1          0
cosfcns           whole 0                     1          0
constant          whole 0                     1          1
otherbasis        whole 0                     1          0
maxiter           whole -1                    1000000000 present
enumall           whole -2                    1000000000 present
enum1             whole -2                    1000000000 present
tolesterror       real  0                     1e+50      0.009999999776482582
crninitial        whole 0                     1e+50      0
crmaxiter         whole 0                     1e+50      10
crnviol           whole 1                     1e+50      twice
crntrials         whole 0                     1e+50      100
crtol             real  1e-05                 1e+50      0.001
crisoltol         real  9.999999974752427e-07 1e+50      0.10000000149011612
crncc             whole 0                     1e+50      0
realopt1          real  -1e+50                1e+50      0
realopt2          real  -1e+50                1e+50      0
realopt3          real  -1e+50                1e+50      0
realopt4          real  -1e+50                1e+50      0
realopt5          real  -1e+50                1e+50      0
intopt1           whole -1e+50                1e+50      0
intopt2           whole -1e+50                1e+50      0
intopt3           whole -1e+50                1e+50      0
intopt4           whole -1e+50                1e+50      0
intopt5           whole -1e+50                1e+50      0
)";

struct LimitRow {
  std::string name;
  bool whole = false;
  double lowest = 0.0;
  double highest = 0.0;
  std::string replacement;
};

std::vector<LimitRow> promised_rows() {
  std::vector<LimitRow> rows;
  std::istringstream text(promised);
  LimitRow row;
  std::string kind;
  while (text >> row.name >> kind >> row.lowest >> row.highest >> row.replacement) {
    row.whole = kind == "whole";
    rows.push_back(row);
  }
  return rows;
}

// A run with values of its own where a replacement depends on them.
RunState run_with_values() {
  RunState run;
  run.sizes.ninputs = 3;
  run.options.maxiter = 7;
  run.options.enumall = 8;
  run.options.enum1 = 9;
  return run;
}

double replacement(const LimitRow& row) {
  if (row.replacement == "twice") return 6.0;
  if (row.replacement == "present") {
    return row.name == "maxiter" ? 7.0 : row.name == "enumall" ? 8.0 : 9.0;
  }
  return std::stod(row.replacement);
}

// What the reader makes of a value, and what it says about it.
struct Checked {
  double value;
  std::string screen;
};

Checked check(const LimitRow& row, double value, bool verbose = true) {
  const test::WorkingFolder folder;
  RunState run = run_with_values();
  Checked checked{value, ""};
  checked.screen = test::screen_of([&] { checkoption(run, row.name, checked.value, verbose); });
  return checked;
}

std::string three_lines(const LimitRow& row, double value, const std::string& reason) {
  return fmt::format(" Supplied value for {0} is {1}\n {2}\n Setting {0} to {3} and continuing.\n",
                     row.name, free_form(value), reason, free_form(replacement(row)));
}

class OptionLimits : public testing::TestWithParam<LimitRow> {};

TEST_P(OptionLimits, stand_in_the_table) {
  const LimitRow& row = GetParam();
  const std::optional<OptionName> option = look_up(row.name);
  ASSERT_TRUE(option);
  ASSERT_TRUE(option->shares_limits);
  const Limits& limits = option->row->limits;
  ASSERT_TRUE(limits.exist);
  EXPECT_EQ(limits.lowest, row.lowest);
  EXPECT_EQ(limits.highest, row.highest);
  switch (limits.replacement.kind) {
    case OnError::constant:
      EXPECT_EQ(limits.replacement.value, replacement(row));
      break;
    case OnError::present_value:
      EXPECT_EQ(row.replacement, "present");
      break;
    case OnError::twice_ninputs:
      EXPECT_EQ(row.replacement, "twice");
      break;
  }
}

TEST_P(OptionLimits, let_their_own_values_pass) {
  const LimitRow& row = GetParam();
  for (const double value : {row.lowest, row.highest}) {
    const Checked checked = check(row, value);
    EXPECT_EQ(checked.value, value);
    EXPECT_EQ(checked.screen, "");
  }
}

// The next value that is refused.
double beyond(double limit, double direction) {
  return std::max(std::abs(limit), 1.0) * direction + limit;
}

TEST_P(OptionLimits, refuse_what_is_below) {
  const LimitRow& row = GetParam();
  const double value = beyond(row.lowest, -1.0);
  const Checked checked = check(row, value);
  EXPECT_EQ(checked.value, replacement(row));
  EXPECT_EQ(checked.screen,
            three_lines(row, value, "This is below allowable minimum for this option."));
}

TEST_P(OptionLimits, refuse_what_is_above) {
  const LimitRow& row = GetParam();
  const double value = beyond(row.highest, 1.0);
  const Checked checked = check(row, value);
  EXPECT_EQ(checked.value, replacement(row));
  EXPECT_EQ(checked.screen,
            three_lines(row, value, "This is above allowable maximum for this option."));
}

TEST_P(OptionLimits, refuse_fractions_of_whole_numbers) {
  const LimitRow& row = GetParam();
  const double value = std::max(row.lowest, 0.0) + 0.5;
  const Checked checked = check(row, value);
  EXPECT_EQ(checked.value, row.whole ? replacement(row) : value);
  EXPECT_EQ(checked.screen,
            row.whole
                ? three_lines(row, value, "Noninteger values are not allowable for this option.")
                : "");
}

TEST_P(OptionLimits, let_next_to_whole_numbers_pass) {
  const LimitRow& row = GetParam();
  const double value = std::max(row.lowest, 0.0) + 0.0000005;
  EXPECT_EQ(check(row, value).value, value);
}

TEST_P(OptionLimits, can_be_silent) {
  const LimitRow& row = GetParam();
  const Checked checked = check(row, beyond(row.highest, 1.0), false);
  EXPECT_EQ(checked.value, replacement(row));
  EXPECT_EQ(checked.screen, "");
}

INSTANTIATE_TEST_SUITE_P(Rows, OptionLimits, testing::ValuesIn(promised_rows()),
                         [](const auto& row) { return row.param.name; });

TEST(Limits, belong_to_no_other_option) {
  std::set<std::string_view> known;
  const std::vector<LimitRow> rows = promised_rows();
  for (const LimitRow& row : rows) known.insert(row.name);
  for (const OptionRow& row : option_table) {
    EXPECT_EQ(row.limits.exist, known.contains(row.name)) << row.name;
  }
  for (const AliasRow& alias : alias_table) {
    if (known.contains(alias.option)) {
      EXPECT_EQ(alias.shares_limits, known.contains(alias.name)) << alias.name;
    }
  }
}

TEST(Limits, leave_values_of_unknown_names) {
  const test::WorkingFolder folder;
  RunState run;
  double value = -1e300;
  EXPECT_EQ(test::screen_of([&] { checkoption(run, "nosuchoption", value, true); }), "");
  EXPECT_EQ(value, -1e300);
}

// A replacement that is itself too high is tested against the highest value, and stays.
TEST(Limits, leave_a_replacement_that_is_too_high) {
  RunState run;
  run.sizes.ninputs = 0;
  double value = 0.0;
  checkoption(run, "crnviol", value, false);
  EXPECT_EQ(value, 0.0);
}

TEST(Limits, have_nothing_against_a_replacement_below_the_lowest) {
  RunState run;
  double value = 0.0;
  checkoption(run, "minpoints", value, false);
  EXPECT_EQ(value, 0.0);
}

// Every option of the table that is a scalar keyword, in one problem file.
TEST(Limits, are_told_line_by_line_while_a_file_is_read) {
  const test::WorkingFolder folder;
  std::string text;
  std::string expected;
  for (const LimitRow& row : promised_rows()) {
    const std::optional<OptionName> option = look_up(row.name);
    const bool scalar = option->row->kind == Kind::whole || option->row->kind == Kind::logical ||
                        option->row->kind == Kind::real;
    // Seventeen letters are too many for a file, and sizes have rules of their own.
    if (!scalar || row.name.size() > 16 || option->row->name == "ninputs" ||
        row.name == "noutputs" || row.name == "ntrans") {
      continue;
    }
    const double value = beyond(row.lowest, -1.0);
    text += fmt::format("{} {}\n", row.name, free_form(value));
    LimitRow fresh = row;
    if (row.replacement == "twice") fresh.replacement = "0";
    if (row.replacement == "present") fresh.replacement = row.name == "maxiter" ? "1" : "-2";
    expected += three_lines(fresh, value, "This is below allowable minimum for this option.");
  }
  std::ofstream("problem.trv") << text;
  RunState run;
  test::set_command_line(run, "problem.trv");
  const std::string screen = test::screen_of([&] { trvread(run); });
  EXPECT_EQ(screen, "Reading input data\n" + expected + " NINPUTS not defined in input file\n");
  EXPECT_EQ(run.options.crnviol, 0);
  EXPECT_EQ(run.options.modeler, 3);
}

}  // namespace
}  // namespace torve
