// The search for broken constraints in both languages, word by word.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <ostream>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "conreg_case.h"
#include "solvers/custom_constraint.h"
#include "support/gms_language.h"
#include "support/gms_model_values.h"
#include "support/gms_numbers.h"
#include "support/mir_language.h"
#include "support/rows.h"

namespace torve {
namespace {

TEST(ConregMir, looks_for_points_below) {
  ViolationSearch search = search_of(SearchKind::below_zmin);
  search.terms[0].text = "temp";
  search.terms[1].text = "temp^2";
  search.deltaterm = true;
  EXPECT_EQ(conreg_mir(search),
            "// file written by TORVE\n"
            "\n"
            "OPTIONS{\n"
            "allowcplex: 0;\n"
            "prlevel: 0;\n"
            "epsr: 0.05;\n"
            " maxtime: 99.5 ;\n"
            "deltaTerm: 1;\n"
            "deltaT: 5;\n"
            "deltaA: 0.1;\n"
            "deltaR: 0.1;\n"
            " NumSol: 4;\n"
            "isoltol: 0.01;\n"
            "}\n"
            "\n"
            "VARIABLE trv_z\n"
            " , temp\n"
            " , p\n"
            " ;\n"
            "\n"
            "LOWER_BOUNDS{\n"
            " temp: 1 ;\n"
            " p: -2 ;\n"
            "}\n"
            "\n"
            "UPPER_BOUNDS{\n"
            " temp: 4 ;\n"
            " p: 1e+31 ;\n"
            " trv_z : 0.5 ;\n"
            "}\n"
            "\n"
            "EQUATION trv_defz;\n"
            "\n"
            "trv_defz: - trv_z  + (2.5)* (temp) + (-1e-07)* (temp^2) + (0)*p == 0;\n"
            "\n"
            "OBJ: minimize trv_z;\n");
}

std::string line_with(const std::string& text, const std::string& words) {
  const std::size_t place = text.find(words);
  if (place == std::string::npos) return "";
  const std::size_t begin = text.rfind('\n', place) + 1;
  return text.substr(begin, text.find('\n', place) - begin);
}

TEST(ConregMir, looks_for_points_above) {
  ViolationSearch search = search_of(SearchKind::above_zmax);
  search.terms.clear();
  search.allowcplex = search.print_solver = true;
  const std::string text = conreg_mir(search);
  EXPECT_EQ(text.find("allowcplex"), std::string::npos);
  EXPECT_EQ(text.find("prlevel"), std::string::npos);
  EXPECT_EQ(text.find("deltaTerm"), std::string::npos);
  EXPECT_LT(text.find(" trv_z : 0.5 ;\n}\n\nUPPER_BOUNDS{"), text.size());
  EXPECT_EQ(line_with(text, "trv_defz:"), "trv_defz: - trv_z  + (0)*temp + (0)*p == 0;");
  EXPECT_EQ(line_with(text, "OBJ"), "OBJ: maximize trv_z;");
}

TEST(ConregMir, puts_the_model_into_a_custom_constraint) {
  ViolationSearch search = search_of(SearchKind::custom);
  search.terms = {{0, 2.5, "temp", false}};
  EXPECT_EQ(line_with(conreg_mir(search), "trv_defz:"),
            "trv_defz: - trv_z  + (( + (2.5)* (temp))^2-p) == 0;");
}

// trv_z is the model, or the constraint with the model for its output.
TEST(ConregMir, states_the_model) {
  for (const SearchKind kind :
       {SearchKind::below_zmin, SearchKind::above_zmax, SearchKind::custom}) {
    ViolationSearch search = search_of(kind);
    search.terms[0].text = "temp";
    search.terms[1].text = "temp^2";
    const test::MirFile file = test::read_mir(conreg_mir(search));
    EXPECT_TRUE(test::name_complaints(file).empty());
    EXPECT_EQ(file.variables(), (std::vector<std::string>{"trv_z", "temp", "p"}));
    EXPECT_EQ(file.maximize, kind != SearchKind::below_zmin);
    EXPECT_EQ(file.lower.count("trv_z"), kind != SearchKind::below_zmin ? 1U : 0U);
    EXPECT_EQ(file.upper.count("trv_z"), kind == SearchKind::below_zmin ? 1U : 0U);
    const double model = 2.5 * 3.0 - 1e-7 * 9.0;
    const double z = kind == SearchKind::custom ? model * model - 7.0 : model;
    const test::MirValues values{{"temp", 3.0}, {"p", 7.0}, {"trv_z", z}};
    EXPECT_NEAR(test::evaluate(file.statement("trv_defz")->left, values), 0.0, 1e-12);
  }
}

// --- the program for GAMS -----------------------------------------------------------------------

// The text of a search, which is a program whatever it looks for.
std::string program_of(const ViolationSearch& search) {
  std::string text = conreg_gms(search);
  EXPECT_EQ(unknown_unused(test::read_gms(text)), std::vector<std::string>{}) << text;
  return text;
}

struct ProgramRow {
  std::string_view name;
  SearchKind kind;
  std::string_view solver;
  bool deltaterm = false;
};

void PrintTo(const ProgramRow& row, std::ostream* out) {
  *out << row.name;
}

class ConregProgram : public testing::TestWithParam<ProgramRow> {
 protected:
  static ViolationSearch search() {
    ViolationSearch search = search_of(GetParam().kind);
    search.nlpsolver = GetParam().solver;
    search.deltaterm = GetParam().deltaterm;
    return search;
  }
  static bool gives_several() { return GetParam().solver == "mirak"; }
};

TEST_P(ConregProgram, uses_its_names_and_asks_for_the_search) {
  const test::GmsProgram program = test::read_gms(program_of(search()));
  EXPECT_EQ(program.objective, "trv_z");
  EXPECT_EQ(program.model, "trv_conreg");
  EXPECT_EQ(program.solved_by, "nlp");
  EXPECT_EQ(program.options.at("nlp"), GetParam().solver);
  EXPECT_EQ(program.minimizes, GetParam().kind == SearchKind::below_zmin);
  const test::GmsModelValues data = test::evaluate_gms_data(program);
  const bool below = GetParam().kind == SearchKind::below_zmin;
  const test::GmsVariable& z = data.variables.at("trv_z");
  EXPECT_EQ(z.upper, below ? 0.5 : test::gms_infinity);
  EXPECT_EQ(z.lower, below ? -test::gms_infinity : 0.5);
  EXPECT_EQ(data.variables.at("temp").lower, 1.0);
  EXPECT_EQ(data.variables.at("temp").upper, 4.0);
  EXPECT_EQ(data.variables.at("p").lower, -2.0);
  EXPECT_EQ(data.variables.at("p").upper, 1e30);
}

// trv_z is the model, or the constraint with the model for its output.
TEST_P(ConregProgram, states_the_model) {
  const test::GmsProgram program = test::read_gms(program_of(search()));
  const test::GmsModelValues data = test::evaluate_gms_data(program);
  ASSERT_EQ(program.equations.size(), 2U);
  const test::GmsEquation& equation = program.equations[0];
  EXPECT_EQ(equation.left.name, "trv_z");
  EXPECT_EQ(equation.relation, 'e');
  const test::GmsPoint point{{"temp", 3.0}, {"p", 7.0}};
  test::GmsElements none;
  const double value = test::number_of(
      program, equation.right, none, [&](const test::GmsExpression&, const std::string& name) {
        const auto input = point.find(name);
        return input == point.end() ? data.parameter(name) : input->second;
      });
  const double model = 2.5 * 3.0 - 1e-7 * 9.0;
  EXPECT_NEAR(value, GetParam().kind == SearchKind::custom ? model * model - 7.0 : model, 1e-12);
}

// Only one solver gives several solutions, and only then is there an answer to read.
TEST_P(ConregProgram, collects_several_solutions_of_the_solver_that_gives_them) {
  const test::GmsProgram program = test::read_gms(program_of(search()));
  EXPECT_EQ(program.put_file, gives_several() ? "crres" : "");
  EXPECT_EQ(program.afterwards.empty(), !gives_several());
  EXPECT_EQ(program.oddities, gives_several() ? std::set<std::string>{"file_without_semicolon"}
                                              : std::set<std::string>{});
  EXPECT_EQ(program.option_files.contains("mirak.opt"), gives_several());
  if (!gives_several()) return;
  std::vector<std::string> lines{"NumSol  4", "isoltol 0.01", "gdxout multsol"};
  if (GetParam().deltaterm) {
    lines.insert(lines.end(), {"deltaTerm 1", "deltaT 5", "deltaA 0.1", "deltaR 0.1"});
  }
  EXPECT_EQ(program.option_files.at("mirak.opt"), lines);
  EXPECT_EQ(program.symbol("trv_sol").elements,
            (std::vector<std::string>{"multsol1", "multsol2", "multsol3", "multsol4"}));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ConregProgram,
    testing::Values(ProgramRow{"below_by_mirak", SearchKind::below_zmin, "mirak"},
                    ProgramRow{"below_by_mirak_within_deltas", SearchKind::below_zmin, "mirak",
                               true},
                    ProgramRow{"below_by_another", SearchKind::below_zmin, "other"},
                    ProgramRow{"above_by_mirak", SearchKind::above_zmax, "mirak"},
                    ProgramRow{"above_by_another", SearchKind::above_zmax, "other", true},
                    ProgramRow{"custom_by_mirak", SearchKind::custom, "mirak", true},
                    ProgramRow{"custom_by_another", SearchKind::custom, "other"}),
    test::RowName());

TEST(ConregGms, looks_for_points_below) {
  EXPECT_EQ(program_of(search_of(SearchKind::below_zmin)),
            "$offdigit\n"
            "$offsymxref offsymlist\n"
            "set trv_j /1*5/;\n"
            "set trv_i /1*7/;\n"
            "VARIABLE trv_z;\n"
            "PARAMETERS trv_beta(trv_j), trv_zmin, trv_zmax ;\n"
            "VARIABLE Temp;\n"
            "Temp.LO = 1;\n"
            "Temp.UP = 4;\n"
            "VARIABLE p;\n"
            "p.LO = -2;\n"
            "p.UP = 1e+30;\n"
            "trv_beta('1') = 2.5;\n"
            "trv_beta('4') = -1e-07;\n"
            "trv_zmin = 0.5; trv_z.up = trv_zmin;\n"
            "EQUATIONS trv_obj;\n"
            "trv_obj.. trv_z =E=  + trv_beta('1')*(Temp) + trv_beta('4')*power(Temp,2) ;\n"
            "EQUATION trv_dummy;\n"
            "trv_dummy .. Temp + p =L= 1e+30 ;\n"
            "option limrow=0 ;\n"
            "option limcol=0 ;\n"
            "option optcr=0.05 ;\n"
            "option reslim =99.5 ;\n"
            "option nlp=mirak ;\n"
            "MODEL trv_conreg /all/;\n"
            "$onecho > mirak.opt\n"
            "NumSol  4\n"
            "isoltol 0.01\n"
            "gdxout multsol\n"
            "$offecho\n"
            "trv_conreg.optfile = 1;\n"
            "SOLVE trv_conreg minimizing trv_z using NLP;\n"
            "set trv_sol /multsol1*multsol4/;\n"
            "variables trv_zsol(trv_sol);\n"
            "VARIABLE Temptrv_sol(trv_sol);\n"
            "VARIABLE ptrv_sol(trv_sol);\n"
            "file crres\n"
            "put crres;\n"
            "crres.pc=4;\n"
            "put trv_conreg.modelstat:3:0 / ;\n"
            "parameter trv_ms; trv_ms=trv_conreg.modelstat;\n"
            "if ((trv_ms ne 4) and (trv_ms ne 10) and (trv_ms ne 19) and (trv_ms ne 14),\n"
            "execute 'gdxmerge multsol*.gdx > %gams.scrdir%merge.scr';\n"
            "execute_load 'merged.gdx',trv_zsol=trv_z\n"
            ", Temptrv_sol=Temp\n"
            ", ptrv_sol=p\n"
            ";\n"
            "execute        'rm %gams.scrdir%merge.scr';\n"
            "option decimals=8;\n"
            "display trv_zsol.l\n"
            ", Temptrv_sol.l\n"
            ", ptrv_sol.l\n"
            ";\n"
            "loop(trv_sol,\n"
            "put Temptrv_sol.l(trv_sol), ptrv_sol.l(trv_sol), trv_zsol.l(trv_sol) /;\n"
            ");\n"
            ");\n");
}

TEST(ConregGms, looks_for_points_above) {
  ViolationSearch search = search_of(SearchKind::above_zmax);
  search.terms = {{2, 2.5, "temp+p", true}};
  search.nlpsolver = "other";
  const std::string text = program_of(search);
  EXPECT_EQ(line_with(text, "trv_zmax ="), "trv_zmax = 0.5; trv_z.lo = trv_zmax;");
  EXPECT_EQ(line_with(text, "trv_obj.."), "trv_obj.. trv_z =E=  + trv_beta('3')*(temp+p) ;");
  EXPECT_TRUE(text.ends_with("SOLVE trv_conreg maximizing trv_z using NLP;\n"));
  EXPECT_EQ(text.find("onecho"), std::string::npos);
}

// A formula of the user may have the sign that GAMS doesn't know.
TEST(ConregGms, writes_powers_of_formulas_with_stars) {
  ViolationSearch search = search_of(SearchKind::above_zmax);
  search.terms = {{2, 2.5, "temp^2", true}, {3, 1.5, "p^2", true}};
  EXPECT_EQ(line_with(program_of(search), "trv_obj.."),
            "trv_obj.. trv_z =E=  + trv_beta('3')*(temp**2) + trv_beta('4')*(p**2) ;");
}

TEST(ConregGms, has_a_model_of_nothing) {
  ViolationSearch search = search_of(SearchKind::above_zmax);
  search.terms.clear();
  EXPECT_EQ(line_with(program_of(search), "trv_obj.."), "trv_obj.. trv_z =E= 0 ;");
}

TEST(ConregGms, puts_the_model_into_a_custom_constraint) {
  ViolationSearch search = search_of(SearchKind::custom);
  search.custom = "z^2-p";
  search.terms.resize(1);
  EXPECT_EQ(line_with(program_of(search), "trv_obj.."),
            "trv_obj.. trv_z =E= ( + trv_beta('1')*Temp)**2-p ;");
}

// --- custom constraints in the best-subset problem ----------------------------------------------

struct CustomProblem {
  CRELEM set;
  MemoryAccount memory;
  BestSubsetProblem problem;
  std::vector<std::string> labels{"Temp", "p"};
  std::array<bool, 3> screened{true, false, true};
  std::array<double, 3> row{};

  CustomProblem() {
    EXPECT_TRUE(set.crxij.request(memory, 1, 3));
    EXPECT_TRUE(set.crxdata.request(memory, 1, 2));
    set.crndata = 1;
    set.crxij(0, 0) = 1.5;
    set.crxij(0, 2) = -3.0;
    set.crxdata(0, 0) = 1.5;
    set.crxdata(0, 1) = 40.0;
    problem.xij = {row.data(), 1, 3, 1};
    problem.screened = screened;
    problem.bounding = &set;
    problem.xlabels = labels;
    problem.zlabel = "Z";
    problem.xscale = {1.0, 1.0, 1.0};
  }
};

TEST(CustomText, holds_the_values_of_the_point) {
  const CustomProblem p;
  EXPECT_EQ(custom_text_for_mir(p.problem, {1, "z-Temp**2+ptotal-p"}, 0),
            "( + ( 1.5 ) * trv_beta_1 + ( -3 ) * trv_beta_3 )-(1.5)^2+ptotal-(40)");
}

TEST(CustomText, divides_coefficients_by_their_scales) {
  CustomProblem p;
  p.problem.scalebases = true;
  p.problem.xscale = {2.0, 1.0, 8.0};
  EXPECT_EQ(custom_text_for_mir(p.problem, {1, "z"}, 0),
            "( + ( 1.5 ) * (trv_beta_1/('2)) + ( -3 ) * (trv_beta_3/('8)) )");
  p.problem.scalez = true;
  p.problem.zscale = 10.0;
  EXPECT_EQ(custom_text_for_mir(p.problem, {1, "z"}, 0),
            "( + ( 1.5 ) * (trv_beta_1/('20)) + ( -3 ) * (trv_beta_3/('80)) )");
}

TEST(CustomText, is_indexed_for_gams) {
  CustomProblem p;
  EXPECT_EQ(custom_text_for_gms(p.problem, {1, "z^2-p"}),
            "( + ( crxij(i2,'1') ) * beta('1') + ( crxij(i2,'3') ) * beta('3') )**2-"
            "(crxdata(i2,'2'))");
  p.problem.scalez = true;
  p.problem.zscale = 10.0;
  EXPECT_EQ(custom_text_for_gms(p.problem, {1, "z"}),
            "( + ( 10*crxij(i2,'1') ) * beta('1') + ( 10*crxij(i2,'3') ) * beta('3') )");
}

}  // namespace
}  // namespace torve
