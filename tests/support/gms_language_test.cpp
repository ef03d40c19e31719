// The reader of GAMS programs and the solver behind the stand-in, on programs written by hand.
#include "gms_language.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <map>
#include <regex>
#include <stdexcept>
#include <string>
#include <vector>

#include "gms_execution.h"
#include "gms_model_values.h"
#include "gms_solver.h"
#include "rows.h"
#include "run_setup.h"

namespace torve::test {
namespace {

// A choice of columns for z = 2 x1 + 1; the parts are replaced by the cases below.
const std::string program_text = R"($offdigit
$offsymxref offsymlist
$ONTEXT
what stands here; is (no program
$OFFTEXT
set i /1*3/;
set j /1*2/;
set few(i) /1,3/;
parameters z(i), xij(i,j), upper ;
upper = 100;
z('1') = 3;
z('2') = 5;
z('3') = 7;
xij(i,'2') = 1;
xij('1','1') = 1;
xij('2','1') = 2;
xij('3','1') = 3;
binary variables y(j);
variables beta(j), total;
beta.lo(j) = -upper;
beta.up(j) = upper;
equations least, link1, link2;
link1(j) .. -upper*y(j) =l= beta(j);
link2(j) .. beta(j) =l= upper*y(j);
least .. total =e= sum(i, power(z(i)-sum(j, xij(i,j)*beta(j)),2))
 / 2 + 0.01 * sum(j, y(j)) ;
model choice /all/;
option optcr = 1e-6 ;
$onecho > mirak.opt
firstfeas 1
$offecho
choice.optfile = 1;
solve choice minimizing total using miqcp;
file res;
put res;
res.pc=4;
put choice.modelstat:3:0 / ;
put total.l / ;
loop(j,
put y.l(j):1:0, beta.l(j) /;
);
putclose res;
)";

std::string changed(std::string text, const std::string& from, const std::string& to) {
  const std::size_t place = text.find(from);
  EXPECT_NE(place, std::string::npos) << from;
  return text.replace(place, from.size(), to);
}

TEST(GmsLanguage, is_read) {
  const GmsProgram program = read_gms(program_text);
  EXPECT_EQ(program.model, "choice");
  EXPECT_EQ(program.objective, "total");
  EXPECT_EQ(program.solved_by, "miqcp");
  EXPECT_TRUE(program.minimizes);
  EXPECT_EQ(program.put_file, "res");
  EXPECT_EQ(program.options.at("optcr"), "1e-6");
  EXPECT_EQ(program.option_files.at("mirak.opt"), std::vector<std::string>{"firstfeas 1"});
  EXPECT_EQ(program.symbol("few").elements, (std::vector<std::string>{"1", "3"}));
  EXPECT_EQ(unused_names(program), std::vector<std::string>{"few"});
}

TEST(GmsLanguage, has_values) {
  const GmsModelValues model = evaluate_gms(read_gms(program_text));
  EXPECT_EQ(model.parameter("xij(3,1)"), 3.0);
  EXPECT_EQ(model.parameter("xij(2,2)"), 1.0);
  EXPECT_EQ(model.parameter("xij(9,9)"), 0.0);
  EXPECT_EQ(model.variables.at("beta(2)").lower, -100.0);
  EXPECT_EQ(model.attributes.at("choice.optfile"), 1.0);
  ASSERT_EQ(model.rows.size(), 5U);
  GmsPoint point;
  point["total"] = 20.0;
  point["beta(1)"] = 1.0;
  point["y(1)"] = 1.0;
  // 20 - ((3 - 1)^2 + (5 - 2)^2 + (7 - 3)^2) / 2 - 0.01
  EXPECT_DOUBLE_EQ(model.rows.back().form.at(point), 5.49);
}

TEST(GmsLanguage, is_solved_and_put) {
  const GmsProgram program = read_gms(program_text);
  const GmsModelValues model = evaluate_gms(program);
  const GmsSolution solution = solve_gms(program, model);
  EXPECT_EQ(solution.modelstat, 1);
  EXPECT_NEAR(solution.levels.at("beta(1)"), 2.0, 1e-12);
  EXPECT_NEAR(solution.levels.at("beta(2)"), 1.0, 1e-12);
  EXPECT_NEAR(solution.levels.at("total"), 0.02, 1e-12);
  const std::string text = put_text(program, model, {1, {{"total", 1.0}, {"y(1)", 1.0}}, {}});
  EXPECT_EQ(text, "  1\n1\n1 0\n0 0\n");
}

// The programs of a file to which a run has appended one after the other.
std::vector<std::string> programs_of(const std::string& text) {
  const std::string first_line = "$offdigit\n";
  std::vector<std::string> programs;
  for (std::size_t at = text.find(first_line); at != std::string::npos;) {
    const std::size_t next = text.find(first_line, at + 1);
    programs.push_back(text.substr(at, next - at));
    at = next;
  }
  return programs;
}

// The time left is masked in what whole runs have kept.
TEST(GmsLanguage, reads_what_runs_have_kept) {
  std::map<std::string, int> counts;
  for (const auto& folder : fs::directory_iterator(TORVE_SOURCE_DIR "/tests/runs")) {
    if (!folder.is_directory()) continue;
    for (const auto& file : fs::directory_iterator(folder.path())) {
      if (file.path().extension() != ".gms") continue;
      const std::string text =
          std::regex_replace(read_file(file.path()), std::regex("<t>"), "999.5");
      for (const std::string& program : programs_of(text)) {
        EXPECT_NO_THROW(read_gms(program)) << file.path();
        ++counts[file.path().filename().string()];
      }
    }
  }
  EXPECT_GT(counts["expected.conreg.gms"], 0);
}

// --- statements that change the answer ----------------------------------------------------------

struct AnswerRow {
  const char* name;
  const char* more;  // statements ahead of the model
  int modelstat;
  double total, beta1, beta2;
};

class GmsAnswers : public testing::TestWithParam<AnswerRow> {};

TEST_P(GmsAnswers, are_the_least) {
  const std::string text =
      changed(program_text, "model choice", std::string(GetParam().more) + "model choice");
  const GmsProgram program = read_gms(text);
  const GmsSolution solution = solve_gms(program, evaluate_gms(program));
  ASSERT_EQ(solution.modelstat, GetParam().modelstat);
  if (solution.modelstat != 1) return;
  EXPECT_NEAR(solution.levels.at("total"), GetParam().total, 1e-9);
  EXPECT_NEAR(solution.levels.at("beta(1)"), GetParam().beta1, 1e-9);
  EXPECT_NEAR(solution.levels.at("beta(2)"), GetParam().beta2, 1e-9);
}

// One column alone: 34/14, and (83 - 34^2/14)/2 + 0.01.
constexpr double slope = 34.0 / 14.0;
constexpr double of_slope = (83.0 - 34.0 * 34.0 / 14.0) / 2.0 + 0.01;

INSTANTIATE_TEST_SUITE_P(
    Rows, GmsAnswers,
    testing::Values(
        AnswerRow{"one_column", "equation most; most .. sum(j, y(j)) =l= 1;\n", 1, of_slope, slope,
                  0.0},
        AnswerRow{"no_column", "equation most; most .. sum(j, y(j)) =e= 0;\n", 1, 41.5, 0.0, 0.0},
        AnswerRow{"contradiction", "equations a, b; a .. sum(j, y(j)) =g= 2; b .. y('1') =e= 0;\n",
                  4, 0, 0, 0},
        // On beta1 + beta2 = 2.5 the least is at 2.3, 0.2.
        AnswerRow{"bounded_fit", "equation a; a .. beta('1') + beta('2') =l= 2.5;\n", 1,
                  0.02 + (0.25 + 0.04 + 0.01) / 2.0, 2.3, 0.2},
        AnswerRow{"equal_sum",
                  "equation a; a .. sum(few, 0*ord(few)) + beta('1') + beta('2') "
                  "=e= 2.5;\n",
                  1, 0.02 + (0.25 + 0.04 + 0.01) / 2.0, 2.3, 0.2},
        AnswerRow{"impossible_bounds",
                  "equations a, b; a .. beta('1') =g= 5; b .. beta('1') + 0*beta('2') =l= 4;\n", 4,
                  0, 0, 0}),
    RowName());

TEST(GmsSolver, does_not_look_beyond_a_cutoff) {
  const GmsProgram program =
      read_gms(changed(program_text, "choice.optfile = 1;", "choice.cutoff =0.019;"));
  EXPECT_EQ(solve_gms(program, evaluate_gms(program)).modelstat, 4);
}

// The least sum of absolute errors, and the largest error.
TEST(GmsSolver, solves_linear_programs) {
  std::string text =
      changed(program_text, "sum(i, power(z(i)-sum(j, xij(i,j)*beta(j)),2))\n / 2", "sum(i, e(i))");
  text = changed(text, "variables beta(j), total;",
                 "variables beta(j), total; positive variables e(i);");
  text = changed(text, "model choice",
                 "equations a, b, most;\n"
                 "a(i) .. z(i)-sum(j, xij(i,j)*beta(j)) =l= e(i);\n"
                 "b(i) .. -z(i)+sum(j, xij(i,j)*beta(j)) =l= e(i);\n"
                 "most .. y('2') =l= 0;\nmodel choice");
  const GmsProgram program = read_gms(text);
  const GmsSolution solution = solve_gms(program, evaluate_gms(program));
  ASSERT_EQ(solution.modelstat, 1);
  // Through the origin: the weighted median of 3, 2.5 and 7/3 with weights 1, 2 and 3.
  EXPECT_NEAR(solution.levels.at("beta(1)"), 7.0 / 3.0, 1.0 / 6.0 + 1e-9);
  EXPECT_NEAR(solution.levels.at("total"), 1.0 + 0.01, 1e-9);
}

TEST(GmsSolver, keeps_a_limit_on_squares) {
  std::string text =
      changed(program_text, "sum(i, power(z(i)-sum(j, xij(i,j)*beta(j)),2))\n / 2 +", "");
  text = changed(text, "model choice",
                 "equation limit; limit .. sum(i, power(z(i)-sum(j, xij(i,j)*beta(j)),2)) =L= "
                 "2e-10 ;\nmodel choice");
  const GmsProgram program = read_gms(text);
  const GmsSolution solution = solve_gms(program, evaluate_gms(program));
  ASSERT_EQ(solution.modelstat, 1);
  EXPECT_NEAR(solution.levels.at("total"), 0.02, 1e-12);
  EXPECT_NEAR(solution.levels.at("beta(1)"), 2.0, 1e-9);
}

// --- what isn't GAMS ----------------------------------------------------------------------------

struct SlipRow {
  const char* name;
  const char* from;
  const char* to;
};

class GmsSlips : public testing::TestWithParam<SlipRow> {};

TEST_P(GmsSlips, are_found) {
  const std::string text = changed(program_text, GetParam().from, GetParam().to);
  EXPECT_THROW(evaluate_gms(read_gms(text)), std::runtime_error) << text;
}

INSTANTIATE_TEST_SUITE_P(
    Statements, GmsSlips,
    testing::Values(SlipRow{"semicolon", "set j /1*2/;", "set j /1*2/"},
                    SlipRow{"bracket", "sum(j, y(j)) ;", "sum(j, y(j) ;"},
                    SlipRow{"bracket_too_many", "sum(j, y(j)) ;", "sum(j, y(j))) ;"},
                    SlipRow{"unknown_statement", "file res;", "files res;"},
                    SlipRow{"unknown_sign", "upper = 100;", "upper = 100!;"},
                    SlipRow{"number_runs_on", "upper = 100;", "upper = 100x;"},
                    SlipRow{"no_number", "z('1') = 3;", "z('1') = NaN;"},
                    SlipRow{"comma", "variables beta(j), total;", "variables beta(j) total;"},
                    SlipRow{"quote", "z('1') = 3;", "z('1) = 3;"},
                    SlipRow{"relation", "=l= beta(j)", "= beta(j)"},
                    SlipRow{"two_relations", "=l= beta(j)", "=l= 3 =l= beta(j)"},
                    SlipRow{"remark_by_a_star", " / 2 + 0.01 *", "* 2 + 0.01 *"},
                    SlipRow{"dollar_line", "$offdigit", "$offdigits"},
                    SlipRow{"block_not_closed", "$OFFTEXT", "OFFTEXT"},
                    SlipRow{"file_block_not_closed", "$offecho", "offecho"},
                    SlipRow{"last_line_end", "putclose res;\n", "putclose res;"},
                    SlipRow{"no_solve", "solve choice minimizing total using miqcp;", ""},
                    SlipRow{"two_solves", "file res;",
                            "solve choice minimizing total using miqcp; file res;"},
                    SlipRow{"put_without_file", "put res;", ""},
                    SlipRow{"other_file_closed", "putclose res;", "putclose z;"},
                    SlipRow{"option_without_value", "optcr = 1e-6", "optcr = "}),
    RowName());

INSTANTIATE_TEST_SUITE_P(
    Names, GmsSlips,
    testing::Values(
        SlipRow{"not_declared", "parameters z(i), ", "parameters "},
        SlipRow{"declared_twice", "xij(i,j), upper", "xij(i,j), upper, z(i)"},
        SlipRow{"declared_too_late", "set j /1*2/;\nset few(i) /1,3/;",
                "set few(k) /1,3/;\nset j /1*2/;"},
        SlipRow{"word_of_the_language", "xij(i,j), upper", "xij(i,j), upper, sum"},
        SlipRow{"equation_without_statement", "equations least,", "equations more, least,"},
        SlipRow{"second_statement", "model choice", "link1(j) .. y(j) =l= 1; model choice"},
        SlipRow{"unknown_attribute", "beta.lo(j)", "beta.low(j)"},
        SlipRow{"variable_without_attribute", "beta.lo(j)", "beta(j)"},
        SlipRow{"no_model", "solve choice", "solve choices"},
        SlipRow{"no_objective", "minimizing total", "minimizing upper"},
        SlipRow{"set_without_value", "z('1') = 3;", "i = 3;"}),
    RowName());

INSTANTIATE_TEST_SUITE_P(
    Indices, GmsSlips,
    testing::Values(SlipRow{"too_few", "z('1') = 3;", "z = 3;"},
                    SlipRow{"too_many", "z('1') = 3;", "z('1','1') = 3;"},
                    SlipRow{"no_such_element", "z('1') = 3;", "z('4') = 3;"},
                    SlipRow{"of_another_set", "z('1') = 3;", "z(j) = 3;"},
                    SlipRow{"without_control", "z('1') = 3;", "z('1') = z(i);"},
                    SlipRow{"without_control_in_an_equation", "link1(j) ..", "link1 .."},
                    SlipRow{"no_set", "sum(j, y(j))", "sum(upper, y(j))"},
                    SlipRow{"subset_of_another_set", "set few(i) /1,3/", "set few(j) /1,3/"},
                    SlipRow{"element_twice", "/1,3/", "/1,1/"}),
    RowName());

INSTANTIATE_TEST_SUITE_P(
    Values, GmsSlips,
    testing::Values(SlipRow{"product_of_variables", "upper*y(j) =l=", "beta(j)*y(j) =l="},
                    SlipRow{"division_by_zero", " / 2 + ", " / (2-2) + "},
                    SlipRow{"division_by_a_variable", " / 2 + ", " / total + "},
                    SlipRow{"cube", "beta(j)),2))", "beta(j)),3))"},
                    SlipRow{"variable_for_a_number", "z('1') = 3;", "z('1') = total;"},
                    SlipRow{"function_of_a_variable", "0.01 * sum(j, y(j))", "abs(total)"}),
    RowName());

}  // namespace
}  // namespace torve::test
