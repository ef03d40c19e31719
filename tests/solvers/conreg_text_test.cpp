// The search for broken constraints in both languages, word by word.
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "solvers/conreg_search.h"
#include "solvers/custom_constraint.h"
#include "support/gms_language.h"
#include "support/mir_language.h"

namespace torve {
namespace {

ViolationSearch search_of(SearchKind kind) {
  ViolationSearch search;
  search.kind = kind;
  search.bound = 0.5;
  search.labels = {"Temp", "p"};
  search.lowest = {1.0, -2.0};
  search.highest = {4.0, 1e31};
  search.terms = {{0, 2.5, "Temp", false}, {3, -1e-7, "power(Temp,2)", false}};
  search.zlabel = "z";
  search.custom = "Z**2-p";
  search.nbas = 5;
  search.ndata = 7;
  search.wanted = 4;
  search.seconds = 99.5;
  search.nlpsolver = "mirak";
  return search;
}

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

// The part up to the solution; what collects several solutions is compared word by word.
TEST(ConregGms, is_a_program) {
  for (const SearchKind kind :
       {SearchKind::below_zmin, SearchKind::above_zmax, SearchKind::custom}) {
    ViolationSearch search = search_of(kind);
    search.nlpsolver = "other";
    const test::GmsProgram program = test::read_gms(conreg_gms(search));
    EXPECT_EQ(program.objective, "trv_z");
    EXPECT_EQ(program.model, "trv_conreg");
    EXPECT_EQ(program.minimizes, kind == SearchKind::below_zmin);
    EXPECT_EQ(program.equations.size(), 2U);
  }
}

TEST(ConregGms, looks_for_points_below) {
  EXPECT_EQ(conreg_gms(search_of(SearchKind::below_zmin)),
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
  search.terms = {{2, 2.5, "a+b", true}};
  search.nlpsolver = "other";
  const std::string text = conreg_gms(search);
  EXPECT_EQ(line_with(text, "trv_zmax ="), "trv_zmax = 0.5; trv_z.lo = trv_zmax;");
  EXPECT_EQ(line_with(text, "trv_obj.."), "trv_obj.. trv_z =E=  + trv_beta('3')*(a+b) ;");
  EXPECT_TRUE(text.ends_with("SOLVE trv_conreg maximizing trv_z using NLP;\n"));
  EXPECT_EQ(text.find("onecho"), std::string::npos);
}

TEST(ConregGms, has_a_model_of_nothing) {
  ViolationSearch search = search_of(SearchKind::above_zmax);
  search.terms.clear();
  EXPECT_EQ(line_with(conreg_gms(search), "trv_obj.."), "trv_obj.. trv_z =E= 0 ;");
}

TEST(ConregGms, puts_the_model_into_a_custom_constraint) {
  ViolationSearch search = search_of(SearchKind::custom);
  search.custom = "z^2-p";
  search.terms.resize(1);
  EXPECT_EQ(line_with(conreg_gms(search), "trv_obj.."),
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
