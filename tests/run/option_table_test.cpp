// What the option table promises to problem files, against lists written by hand and on their own:
// which keywords may stand once, which words are one keyword, and the initial values.
#include "run/option_table.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "input/problem_reader.h"
#include "support/in_process.h"
#include "text/number_edits.h"

namespace torve {
namespace {

std::vector<std::string> words_of(std::string_view text) {
  std::istringstream stream{std::string(text)};
  std::vector<std::string> words;
  for (std::string word; stream >> word;) words.push_back(word);
  return words;
}

// ---- How often a keyword may stand -------------------------------------------------------------

// Keywords that a file may give once.
constexpr std::string_view once_words = R"(
ninputs nvars noutputs ntrans ncvf npenl ndata ntestdata nvaldata npredata begin_testdata
begin_valdata ntestsets nvalsets begin_xdata begin_data begin_zdata tolmeanerror tolrelmetric
tolabsmetric tolmaxerror initialpoints xmin xmax xfactor xfactors xlabel xlabels zlabel zlabels
prfreq firstfeas print_to_file printextrap usegpu print_gams_out print_mirak_out allowcplex
print_to_screen removescratch keepscratch sampler maxsim ndgels minpoints maxpoints objfun snobfitp
preset grbfcns linkernel mono multi2 multi3 ratios otherbasis maxiter tolesterror simulator simin
simout gams snobfitpath minqpath gamssolver gamsnlpsolver datalimitterms numlimitbasis matsnob
usegams usescratch expfcns logfcns linfcns sinfcns cosfcns constant initializer maxterms maxtime
ignore exclude zisint xisint rbfparam convpen sismult modeler screener lassometric lassopath dive
shortcut deltaterm debug seed xscaling scalebases relerror extrapxmin extrapxmax zmin begin_zmin
zmax begin_zmax begin_customcon begin_custombas tracefname)";

// Keywords that a file may repeat.
constexpr std::string_view repeatable_words = R"(
nbank nsample ngroups ncvl funform ntestsections nvalsections ntestsample nvalsample gsimaxi
regularizer gamsmiqcpsolver builder backstepper enumall enum1 crninitial crmaxiter crnviol crntrials
ncustombas crncustom intopt1 intopt2 intopt3 intopt4 intopt5 chkblnk sselimit cvxbic solvemip olrone
olrgsi olrdgels olrclr olrmir olrgms lassogms lassomir mipgms crgms crmir mipmir crcorner trace
crrobust linearerror scalez sigma tolsse gsiabstol gsireltol nulltol crtol mipoptca mipoptcr
realopt1 realopt2 realopt3 realopt4 realopt5 conreg begin_xpredata begin_transforms begin_groups
begin_groupcon begin_comment)";

// Lists of powers, which have codes of their own.
constexpr std::string_view power_words =
    "monomialpower multi2power multi3power ratiopower prbfpower";

// Sections: what has to stand before them, and their rows.
struct SectionText {
  std::string_view keyword;
  std::string_view before;
  std::string_view rows;
};
constexpr auto section_texts = std::to_array<SectionText>({
    {"begin_data", "ninputs 1\nnoutputs 1\nndata 1\n", "1 2\nend_data\n"},
    {"begin_xdata", "ninputs 1\nndata 1\n", "1\nend_xdata\n"},
    {"begin_zdata", "noutputs 1\nndata 1\n", "2\nend_zdata\n"},
    {"begin_testdata", "ninputs 1\nnoutputs 1\nntestdata 1\n", "1 2\nend_testdata\n"},
    {"begin_valdata", "ninputs 1\nnoutputs 1\nnvaldata 1\n", "1 2\nend_valdata\n"},
    {"begin_xpredata", "ninputs 1\nnpredata 1\n", "1\nend_xpredata\n"},
    {"begin_zmin", "noutputs 1\n", "1 2\nend_zmin\n"},
    {"begin_zmax", "noutputs 1\n", "1 2\nend_zmax\n"},
    {"begin_customcon", "noutputs 1\ncrncustom 1\n", "1 Z1\nend_customcon\n"},
    {"begin_custombas", "ncustombas 1\n", "X1\nend_custombas\n"},
    {"begin_transforms", "noutputs 2\nntrans 1\n", "Z1\nend_transforms\n"},
    {"begin_groups", "ngroups 1\nninputs 1\nnoutputs 1\nndata 1\n", "1 lin 1\nend_groups\n"},
    {"begin_groupcon", "ngroups 1\nnoutputs 1\n", "1 1 nmt 1\nend_groupcon\n"},
    {"begin_comment", "", "words\nend_comment\n"},
});

std::string text_before(const std::string& keyword) {
  for (const SectionText& section : section_texts) {
    if (section.keyword == keyword) return std::string(section.before);
  }
  if (keyword == "ntrans") return "noutputs 2\n";
  if (keyword == "nbank") return "ndata 1\n";
  const std::optional<OptionName> option = look_up(keyword);
  if (!option || option->row->needs.option.empty()) return "";
  return std::string(option->row->needs.option) + " 1\n";
}

std::string item(const std::string& keyword) {
  for (const SectionText& section : section_texts) {
    if (section.keyword == keyword) return keyword + "\n" + std::string(section.rows);
  }
  const std::optional<OptionName> option = look_up(keyword);
  const bool label = option && option->row->kind == Kind::labels;
  if (keyword == "ncvf" || keyword == "npenl") return keyword + " 2\n";
  return keyword + (label ? " a\n" : " 1\n");
}

struct Reading {
  Code code;
  int location;
  std::string screen;
};

Reading read(const std::string& text) {
  const test::WorkingFolder folder;
  std::ofstream("problem.trv") << text;
  RunState run;
  test::set_command_line(run, "problem.trv");
  const std::string screen = test::screen_of([&] { trvread(run); });
  return {run.status.trvstatus, run.status.trvlocation, screen};
}

std::string line_count(const std::string& text) {
  return std::to_string(std::count(text.begin(), text.end(), '\n'));
}

// The words that a message uses for others.
std::string told(const std::string& keyword) {
  for (const RenameRow& row : rename_table) {
    if (row.word == keyword) return std::string(row.meaning);
  }
  return keyword;
}

class Once : public testing::TestWithParam<std::string> {};

TEST_P(Once, may_stand_once) {
  const std::string& keyword = GetParam();
  const Reading once = read(text_before(keyword) + item(keyword));
  EXPECT_NE(once.code, Code::keyword_twice);
  EXPECT_NE(once.code, Code::unknown_keyword);
}

TEST_P(Once, may_not_stand_twice) {
  const std::string& keyword = GetParam();
  const std::string first = text_before(keyword) + item(keyword);
  const Reading twice = read(first + item(keyword));
  EXPECT_EQ(twice.code, Code::keyword_twice);
  EXPECT_EQ(twice.location, 95);
  EXPECT_EQ(twice.screen, "Reading input data\n Keyword " + told(keyword) +
                              " has already been defined.\n Second definition found in line " +
                              line_count(first + "\n") + "\n");
}

TEST_P(Once, may_not_stand_twice_in_capitals) {
  const std::string& keyword = GetParam();
  std::string capitals = keyword;
  for (char& c : capitals) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  const Reading twice = read(text_before(keyword) + item(keyword) + capitals + " 1\n");
  EXPECT_EQ(twice.code, Code::keyword_twice);
}

INSTANTIATE_TEST_SUITE_P(Keywords, Once, testing::ValuesIn(words_of(once_words)),
                         [](const auto& row) { return row.param; });

class Repeatable : public testing::TestWithParam<std::string> {};

TEST_P(Repeatable, may_stand_again) {
  const std::string& keyword = GetParam();
  const Reading thrice = read(text_before(keyword) + item(keyword) + item(keyword) + item(keyword));
  EXPECT_NE(thrice.code, Code::keyword_twice);
  EXPECT_NE(thrice.code, Code::unknown_keyword);
}

INSTANTIATE_TEST_SUITE_P(Keywords, Repeatable, testing::ValuesIn(words_of(repeatable_words)),
                         [](const auto& row) { return row.param; });

TEST(Repetition, leaves_the_last_value) {
  const test::WorkingFolder folder;
  std::ofstream("problem.trv") << "funform 1\nfunform 3\nregularizer 1\nregularizer 2\n";
  RunState run;
  test::set_command_line(run, "problem.trv");
  test::screen_of([&] { trvread(run); });
  EXPECT_EQ(run.options.funform, 3);
  EXPECT_EQ(run.options.screener, 2);
}

TEST(Repetition, is_settled_for_every_keyword) {
  std::set<std::string> settled;
  for (const std::string_view words : {once_words, repeatable_words, power_words}) {
    for (const std::string& word : words_of(words)) {
      EXPECT_TRUE(settled.insert(word).second) << word << " stands in two lists";
    }
  }
  std::set<std::string> known;
  for (const OptionRow& row : option_table) {
    // No keyword bears the names of these rows, and this one is too long for a file.
    const bool hidden = row.kind == Kind::unreachable || row.name == "snobfitresolution";
    if (!hidden) known.insert(std::string(row.name));
  }
  for (const AliasRow& row : alias_table) known.insert(std::string(row.name));
  for (const RenameRow& row : rename_table) {
    if (!row.word.starts_with("end_")) known.insert(std::string(row.word));
  }
  EXPECT_EQ(settled, known);
}

// ---- Words for one keyword ---------------------------------------------------------------------

struct PairRow {
  std::string name;
  std::string first, second;
  bool one_keyword;  // to the rule above
};

class Pair : public testing::TestWithParam<PairRow> {};

TEST_P(Pair, in_this_order) {
  const auto& [name, first, second, one_keyword] = GetParam();
  const Reading both = read(text_before(first) + item(first) + item(second));
  EXPECT_EQ(both.code == Code::keyword_twice, one_keyword);
}

TEST_P(Pair, in_the_other_order) {
  const auto& [name, first, second, one_keyword] = GetParam();
  const Reading both = read(text_before(second) + item(second) + item(first));
  EXPECT_EQ(both.code == Code::keyword_twice, one_keyword);
}

const PairRow pairs[] = {
    {"inputs", "ninputs", "nvars", true},
    {"factors", "xfactor", "xfactors", true},
    {"input_labels", "xlabel", "xlabels", true},
    {"output_labels", "zlabel", "zlabels", true},
    {"scratch", "removescratch", "keepscratch", true},
    {"lower_bounds", "zmin", "begin_zmin", true},
    {"upper_bounds", "zmax", "begin_zmax", true},
    {"test_rows", "ntestdata", "nvaldata", true},
    {"test_sets", "ntestsets", "nvalsets", true},
    {"test_sections", "begin_testdata", "begin_valdata", true},
    {"test_sets_by_sections", "ntestsets", "ntestsections", false},
    {"screener", "screener", "regularizer", false},
    {"folds", "ncvf", "ncvl", false},
    {"gams_solver", "gamssolver", "gamsmiqcpsolver", false},
    {"count_and_powers", "mono", "monomialpower", false},
    {"bounds_of_both_sides", "zmin", "zmax", false},
};

INSTANTIATE_TEST_SUITE_P(Words, Pair, testing::ValuesIn(pairs),
                         [](const auto& row) { return row.param.name; });

TEST(Aliases, lead_to_their_options) {
  struct Row {
    const char* alias;
    const char* option;
  };
  for (const Row& row : std::initializer_list<Row>{{"nvars", "ninputs"},
                                                   {"ncvl", "ncvf"},
                                                   {"xfactor", "xfactors"},
                                                   {"xlabel", "xlabels"},
                                                   {"zlabel", "zlabels"},
                                                   {"ntestsections", "ntestsets"},
                                                   {"regularizer", "screener"},
                                                   {"gamsmiqcpsolver", "gamssolver"},
                                                   {"keepscratch", "removescratch"},
                                                   {"begin_zmin", "zmin"},
                                                   {"begin_zmax", "zmax"}}) {
    const std::optional<OptionName> found = look_up(row.alias);
    ASSERT_TRUE(found) << row.alias;
    EXPECT_EQ(found->row->name, row.option);
  }
  EXPECT_FALSE(look_up("nosuchoption"));
  EXPECT_FALSE(look_up("pow"));
}

TEST(Aliases, of_a_negation_store_the_opposite) {
  const test::WorkingFolder folder;
  std::ofstream("problem.trv") << "keepscratch 1\n";
  RunState run;
  test::set_command_line(run, "problem.trv");
  test::screen_of([&] { trvread(run); });
  EXPECT_FALSE(run.options.removescratch);
}

// ---- Initial values ----------------------------------------------------------------------------

constexpr std::string_view initial_numbers = R"(
ninputs 0             noutputs 0            ntrans 0              ngroups 0
ndata 0               nbank 0               npredata 0            nsample 0
initialpoints 0       ntestsets 0           ncustombas 0          crncustom 0
mono 0                multi2 0              multi3 0              ratios 0
linfcns 1             expfcns 0             logfcns 0             sinfcns 0
cosfcns 0             grbfcns 0             linkernel 0           constant 1
otherbasis 0          rbfparam 1            xscaling 0            scalebases 1
scalez 0              numlimitbasis 1       datalimitterms 1      modeler 1
builder 1             backstepper 0         screener 0            lassometric -1
lassopath 0           enumall -2            enum1 -2              funform 5
npenl 100             ncvf 5                sigma 1               sismult 1
convpen 0             sselimit 0            relerror 0            linearerror 0
firstfeas 0           cvxbic 0              solvemip 0            dive 1
shortcut 1            deltaterm 1           tolsse 0
mipoptca 0.05000000074505806                mipoptcr 9.999999747378752e-05
olrone 1              olrgsi 1              olrdgels 1            olrclr 1
olrmir 1              olrgms 0              lassomir 1            lassogms 0
mipmir 1              mipgms 0              crmir 1               crgms 0
usegams 0             allowcplex 0          matsnob 0             usegpu 0
gsiabstol 1e-05       gsireltol 1e-05       gsimaxi 10000         nulltol 1e-09
ndgels 120            maxiter 1             maxtime 1000          minpoints 0
maxpoints 0           tolesterror 0.009999999776482582
initializer 3         sampler 2             seed 19631963         objfun 1
snobfitp 0.5          snobfitresolution 1e-05                     preset -111111
maxsim 10             crninitial 0          crmaxiter 10          crnviol 5
crntrials 100         crtol 0.001           crcorner 1            crrobust 1
print_to_screen 1     print_to_file 1       print_gams_out 0      print_mirak_out 0
printextrap 0         prfreq 1              debug 0               chkblnk 0
trace 0               usescratch 1          removescratch 1
intopt1 0 intopt2 0 intopt3 0 intopt4 0 intopt5 0
realopt1 0 realopt2 0 realopt3 0 realopt4 0 realopt5 0)";

struct TextRow {
  std::string_view option, value;
};
constexpr auto initial_texts = std::to_array<TextRow>({
    {"tracefname", "trace.trc"},
    {"simulator", ""},
    {"simin", "input.txt"},
    {"simout", "output.txt"},
    {"gams", "gams"},
    {"gamssolver", "mirak"},
    {"gamsnlpsolver", "mirak"},
    {"snobfitpath", "C:\\SNOBFIT\\"},
    {"minqpath", "C:\\MINQ5\\"},
});

struct NumberRow {
  std::string option;
  double value;
};

std::vector<NumberRow> number_rows() {
  std::vector<NumberRow> rows;
  std::istringstream text{std::string(initial_numbers)};
  for (NumberRow row; text >> row.option >> row.value;) rows.push_back(row);
  return rows;
}

double stored_number(const RunState& run, const OptionRow& row) {
  if (const auto* whole = std::get_if<int Options::*>(&row.storage)) return run.options.*(*whole);
  if (const auto* size = std::get_if<int Sizes::*>(&row.storage)) return run.sizes.*(*size);
  if (const auto* real = std::get_if<double Options::*>(&row.storage)) return run.options.*(*real);
  return run.options.*std::get<bool Options::*>(row.storage) ? 1.0 : 0.0;
}

TEST(InitialValues, of_numbers) {
  const RunState run;
  for (const NumberRow& row : number_rows()) {
    const OptionRow* option = find_option(row.option);
    ASSERT_NE(option, nullptr) << row.option;
    EXPECT_EQ(stored_number(run, *option), row.value) << row.option;
  }
}

TEST(InitialValues, of_texts) {
  const RunState run;
  for (const TextRow& row : initial_texts) {
    const OptionRow* option = find_option(row.option);
    ASSERT_NE(option, nullptr) << row.option;
    EXPECT_EQ(run.options.*std::get<std::string Options::*>(option->storage), row.value)
        << row.option;
  }
  EXPECT_EQ(run.options.gamsoptions, "Sys12=1 ExecErr=1e9");
  EXPECT_EQ(run.options.gamsnlpoptions, "Sys12=1 ExecErr=1e9");
  EXPECT_EQ(run.options.snobfittest, "test.mat");
  EXPECT_EQ(run.files.scratch, "trvscr");
}

TEST(InitialValues, are_settled_for_every_scalar_and_text) {
  std::set<std::string_view> settled;
  const std::vector<NumberRow> numbers = number_rows();
  for (const NumberRow& row : numbers) settled.insert(row.option);
  for (const TextRow& row : initial_texts) settled.insert(row.option);
  std::set<std::string_view> known;
  for (const OptionRow& row : option_table) {
    switch (row.kind) {
      case Kind::whole:
      case Kind::logical:
      case Kind::real:
      case Kind::text:
      case Kind::token:
        known.insert(row.name);
        break;
      case Kind::reals:
      case Kind::wholes:
      case Kind::logicals:
      case Kind::labels:
      case Kind::powers:
      case Kind::section:
      case Kind::ignored:
      case Kind::unreachable:
        break;
    }
  }
  EXPECT_EQ(settled, known);
}

TEST(InitialValues, of_what_each_output_has) {
  const test::WorkingFolder folder;
  std::ofstream("problem.trv") << "noutputs 2\n";
  RunState run;
  test::set_command_line(run, "problem.trv");
  test::screen_of([&] { trvread(run); });
  for (const std::size_t k : {0U, 1U}) {
    EXPECT_EQ(run.outputs.tolmeanerror[k], 0.0);
    EXPECT_EQ(run.outputs.tolmaxerror[k], 0.05);
    EXPECT_EQ(run.outputs.tolrelmetric[k], 1e-06);
    EXPECT_EQ(run.outputs.tolabsmetric[k], 1e-06);
    EXPECT_EQ(run.outputs.maxterms[k], -1);
    EXPECT_FALSE(run.outputs.ignore[k]);
    EXPECT_FALSE(run.outputs.zisint[k]);
  }
}

TEST(InitialValues, leave_every_option_unseen) {
  EXPECT_TRUE(RunState().seen.none());
}

}  // namespace
}  // namespace torve
