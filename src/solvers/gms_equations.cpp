// Statements of surrogate.gms on the chosen columns: points of the bounding set, which equations
// exist, cardinality and links, groups.

#include <string>
#include <vector>

#include "run/model_state.h"
#include "solvers/custom_constraint.h"
#include "solvers/gms_text.h"

namespace torve {

namespace {

constexpr int lower_bit = 1;
constexpr int upper_bit = 2;
constexpr int first_custom_type = 4;

// The points that `belongs` says of their type; true when there are any.
template <class Belongs>
bool write_point_set(GmsText& text, const CRELEM& bounding, std::string_view name,
                     Belongs belongs) {
  std::string points;
  for (int i = 0; i < bounding.crndata; ++i) {
    if (!belongs(bounding.type[at(i)])) continue;
    if (!points.empty()) points += ',';
    points += std::to_string(i + 1);
  }
  // An empty set would be an error in GAMS; so would an equation over a set that isn't there.
  if (!points.empty()) text.line(" set {} /{}/;", name, points);
  return !points.empty();
}

void write_bounding_points(GmsText& text, const BestSubsetProblem& problem) {
  const CRELEM& bounding = *problem.bounding;
  for (int i = 0; i < bounding.crndata; ++i) {
    if (bounding.type[at(i)] == 0) continue;
    for (int j = 0; j < problem.nbas(); ++j) {
      if (!problem.screened[at(j)]) continue;
      const double x = bounding.crxij(i, j) / problem.xscale[at(j)];
      text.line("crxij('{}', '{}') = {};", i + 1, j + 1, gms_number(x));
    }
  }
  const int ninputs = static_cast<int>(problem.xlabels.size());
  for (int i = 0; i < bounding.crndata; ++i) {
    if (bounding.type[at(i)] < first_custom_type) continue;
    for (int d = 0; d < ninputs; ++d) {
      text.line("crxdata('{}', '{}') = {};", i + 1, d + 1, gms_number(bounding.crxdata(i, d)));
    }
  }
}

void write_bounding_equations(GmsText& text, const BestSubsetProblem& problem,
                              const BoundingKinds& kinds) {
  if (kinds.lower) text.line("equations conreglo(i2);");
  if (kinds.upper) text.line("equations conregup(i2);");
  if (kinds.custom) {
    for (const CustomConstraint& constraint : problem.custom) {
      text.line("equations c{}(i2);", constraint.number);
    }
    for (const CustomConstraint& constraint : problem.custom) {
      text.line("c{}(i2)$(i2cust(i2)) ..  ", constraint.number);
      text.line(custom_text_for_gms(problem, constraint));
      text.line("=L= 0;");
    }
  }
  if (kinds.lower) {
    text.line("conreglo(i2)$(i2lo(i2)).. sum(j$screened(j),crxij(i2,j)*beta(j)) =G= zmin;");
  }
  if (kinds.upper) {
    text.line("conregup(i2)$(i2up(i2)).. sum(j$screened(j),crxij(i2,j)*beta(j)) =L= zmax;");
  }
}

// The parameter that says of which group a condition of this kind holds; its name with a p behind
// has the condition's number.
std::string_view rule_name(GroupRule rule) {
  switch (rule) {
    case GroupRule::at_most:
      return "nmt";
    case GroupRule::at_least:
      return "atl";
    case GroupRule::requires_group:
      return "req";
    case GroupRule::excludes_group:
      return "xcl";
  }
  return "";
}

void declare_groups(GmsText& text, const BestSubsetProblem& problem) {
  text.line("set g /1*{}/;", problem.ngroups());
  text.line("set m /1*{}/;", problem.group_entries.size());
  text.line("alias (g, gp);");
  text.line("parameters grpbas(g,j), grpgrp(g,g);");
  text.line("grpbas(g,j)=0; grpgrp(g,g)=0;");
  for (const std::string_view name : {"nmt", "atl", "req", "xcl"}) {
    text.line("parameters {}(m,g), {}p(m,g);", name, name);
  }
  for (const std::string_view name : {"nmt", "atl", "req", "xcl"}) {
    text.line("{}(m,g)=0; {}p(m,g)=0;", name, name);
  }
  for (int g = 0; g < problem.ngroups(); ++g) {
    for (int j = 0; j < problem.nbas(); ++j) {
      if (problem.screened[at(j)] && problem.grpbas(j, g)) {
        text.line("grpbas('{}', '{}') = 1;", g + 1, j + 1);
      }
    }
  }
  for (int g = 0; g < problem.ngroups(); ++g) {
    for (int gp = 0; gp < problem.ngroups(); ++gp) {
      if (problem.grpgrp(g, gp)) text.line("grpgrp('{}', '{}') = 1;", g + 1, gp + 1);
    }
  }
  text.line("binary variables yg(g);");
  if (!problem.start) return;
  for (int g = 0; g < problem.ngroups(); ++g) {
    if (problem.group_start[at(g)]) text.line("yg.l('{}') = 1;", g + 1);
  }
}

}  // namespace

BoundingKinds write_bounding_set(GmsText& text, const BestSubsetProblem& problem) {
  BoundingKinds kinds;
  if (!problem.has_bounding()) return kinds;
  const CRELEM& bounding = *problem.bounding;
  text.line("set i2   /1*{}/;", bounding.crndata);
  text.line("set d   /1*{}/;", problem.xlabels.size());
  kinds.lower =
      write_point_set(text, bounding, "i2lo", [](int type) { return (type & lower_bit) != 0; });
  kinds.upper =
      write_point_set(text, bounding, "i2up", [](int type) { return (type & upper_bit) != 0; });
  kinds.custom =
      write_point_set(text, bounding, "i2cust", [](int type) { return type >= first_custom_type; });
  text.line("parameters crxij(i2,j), ");
  text.line("crxdata(i2, d), zmin, zmax;");
  if (problem.zmin) text.line("zmin={};", gms_number(*problem.zmin / problem.zscale));
  if (problem.zmax) text.line("zmax={};", gms_number(*problem.zmax / problem.zscale));
  write_bounding_points(text, problem);
  return kinds;
}

void declare_equations(GmsText& text, const BestSubsetProblem& problem,
                       const BoundingKinds& kinds) {
  if (problem.cardinality) text.line("equations eq1;");
  text.line("equations eq2, eq3, obj;");
  if (problem.prbf) text.line("equations pc1;");
  write_bounding_equations(text, problem, kinds);
  if (has_absolute_errors(problem)) {
    text.line("equations erra(i), errb(i);");
    text.line("equations l1eca(j), l1ecb(j);");
  }
  if (has_percentage_errors(problem)) text.line("equations erra1, erra2, errb1, errb2;");
  if (problem.sse_limit) text.line("equation sselimit;");
}

void write_linking(GmsText& text, const BestSubsetProblem& problem) {
  if (problem.cardinality) {
    text.line("eq1 .. sum(j $(screened(j)), y(j)) {}{};",
              problem.exactly_it ? "=e= " : "=l= ", problem.it);
  }
  text.line("eq2(j) $(screened(j)) .. betalo(j)*y(j) =l= beta(j);");
  text.line("eq3(j) $(screened(j)) .. beta(j) =l= betaup(j)*y(j);");
}

void write_groups(GmsText& text, const BestSubsetProblem& problem) {
  declare_groups(text, problem);
  text.line("equations eqnmt, eqatl, eqreq, eqxcl;");
  text.line("equations selgrp1, selgrp2, selgrp3;");
  text.line("selgrp1(g) .. yg(g) =L= sum(j $ grpbas(g,j), y(j)) +");
  text.line("sum(gp $ grpgrp(g,gp), yg(gp)) ;");
  text.line("selgrp2(g,j) $ grpbas(g,j) ..y(j) =L= yg(g);");
  text.line("selgrp3(g,gp) $ grpgrp(g,gp) ..yg(gp) =L= yg(g);");
  for (const GroupEntry& entry : problem.group_entries) {
    const std::string_view name = rule_name(entry.rule);
    text.line("{}('{}', '{}') = 1;", name, entry.m, entry.group + 1);
    text.line("{}p('{}', '{}') = {};", name, entry.m, entry.group + 1, entry.parameter);
  }
  text.line("eqnmt(m,g) $ nmt(m,g) ..sum(j $ grpbas(g, j), y(j)) ");
  text.line("+ sum(gp $ grpgrp(g, gp), yg(gp)) =L= nmtp(m,g); ");
  text.line("eqatl(m,g) $ atl(m,g) ..sum(j $ grpbas(g, j), y(j)) ");
  text.line("+ sum(gp $ grpgrp(g, gp), yg(gp)) =G= atlp(m,g); ");
  text.line("eqreq(m,g) $ req(m,g) ..yg(g) =L= sum(gp $ (ord(gp) eq reqp(m,g)), yg(gp)); ");
  text.line("eqxcl(m,g) $ xcl(m,g) ..sum(gp $ (ord(gp) eq xclp(m,g)), yg(gp)) =L= 1-yg(g); ");
}

}  // namespace torve
