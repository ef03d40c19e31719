// The search for violations as a GAMS program, and its answer.
#include <algorithm>
#include <cmath>

#include "basis/model_text.h"
#include "data/simulator_files.h"
#include "solvers/conreg_search.h"
#include "solvers/custom_constraint.h"
#include "solvers/gms_text.h"
#include "text/strings.h"

namespace torve {

namespace {

constexpr std::string_view multiple_solver = "mirak";  // can give more than one solution

std::string joined_labels(const ViolationSearch& search, std::string_view between,
                          std::string_view ending = "") {
  std::string text;
  for (const std::string& label : search.labels) {
    if (!text.empty()) text += between;
    text += label;
    text += ending;
  }
  return text;
}

void declare(GmsText& text, const ViolationSearch& search) {
  text.line("$offdigit");
  text.line("$offsymxref offsymlist");
  text.line("set trv_j /1*{}/;", search.nbas);
  text.line("set trv_i /1*{}/;", search.ndata);
  text.line("VARIABLE trv_z;");
  text.line("PARAMETERS trv_beta(trv_j), trv_zmin, trv_zmax ;");
  for (std::size_t d = 0; d < search.labels.size(); ++d) {
    const std::string& label = search.labels[d];
    text.line("VARIABLE {};", label);
    text.line("{}.LO = {};", label, gms_number(search.lowest[d]));
    text.line("{}.UP = {};", label, gms_number(search.highest[d]));
  }
  for (const SearchTerm& term : search.terms) {
    text.line("trv_beta('{}') = {};", term.column + 1, gms_number(term.beta));
  }
}

void bound_objective(GmsText& text, const ViolationSearch& search) {
  const std::string bound = gms_number(search.bound);
  switch (search.kind) {
    case SearchKind::below_zmin:
      text.line("trv_zmin = {}; trv_z.up = trv_zmin;", bound);
      break;
    case SearchKind::above_zmax:
      text.line("trv_zmax = {}; trv_z.lo = trv_zmax;", bound);
      break;
    case SearchKind::custom:
      text.line("trv_z.lo = {};", bound);
      break;
  }
}

// The first term has brackets when more follow, and a formula of the user always, whose powers may
// have the sign that GAMS doesn't know.
std::string model_sum(const ViolationSearch& search) {
  if (search.terms.empty()) return "0";
  std::string sum;
  for (const SearchTerm& term : search.terms) {
    const bool first_of_several = &term == &search.terms.front() && search.terms.size() > 1;
    sum += fmt::format(" + trv_beta('{}')*", term.column + 1);
    const std::string text = term.bracket ? text_with_stars(term.text) : term.text;
    sum += first_of_several || term.bracket ? "(" + text + ")" : text;
  }
  return sum;
}

void define_objective(GmsText& text, const ViolationSearch& search) {
  std::string expression = model_sum(search);
  if (search.kind == SearchKind::custom) {
    expression = replaceterm(text_with_stars(search.custom), fold_lower(search.zlabel),
                             "(" + expression + ")");
  }
  text.line("EQUATIONS trv_obj;");
  text.line("trv_obj.. trv_z =E= {} ;", expression);
  double highest = 0.0;
  for (const double bound : search.highest) highest += bound;
  // It holds anyway, and names every input.
  text.line("EQUATION trv_dummy;");
  text.line("trv_dummy .. {} =L= {} ;", joined_labels(search, " + "), gms_number(highest));
}

void set_solver(GmsText& text, const ViolationSearch& search) {
  text.line("option limrow=0 ;");
  text.line("option limcol=0 ;");
  text.line("option optcr=0.05 ;");
  text.line("option reslim ={} ;", gms_number(search.seconds));
  text.line("option nlp={} ;", search.nlpsolver);
  text.line("MODEL trv_conreg /all/;");
  if (search.nlpsolver != multiple_solver) return;
  text.line("$onecho > mirak.opt");
  text.line("NumSol  {}", search.wanted);
  text.line("isoltol 0.01");
  text.line("gdxout multsol");
  if (search.deltaterm) {
    for (const char* const line : {"deltaTerm 1", "deltaT 5", "deltaA 0.1", "deltaR 0.1"}) {
      text.line(line);
    }
  }
  text.line("$offecho");
  text.line("trv_conreg.optfile = 1;");
}

// The solutions lie in files of their own, which are merged; only where there are any.
void collect_solutions(GmsText& text, const ViolationSearch& search) {
  text.line("set trv_sol /multsol1*multsol{}/;", search.wanted);
  text.line("variables trv_zsol(trv_sol);");
  for (const std::string& label : search.labels) text.line("VARIABLE {}trv_sol(trv_sol);", label);
  text.line("file crres");
  text.line("put crres;");
  text.line("crres.pc=4;");
  text.line("put trv_conreg.modelstat:3:0 / ;");
  text.line("parameter trv_ms; trv_ms=trv_conreg.modelstat;");
  text.line("if ((trv_ms ne 4) and (trv_ms ne 10) and (trv_ms ne 19) and (trv_ms ne 14),");
  text.line("execute 'gdxmerge multsol*.gdx > %gams.scrdir%merge.scr';");
  text.line("execute_load 'merged.gdx',trv_zsol=trv_z");
  for (const std::string& label : search.labels) text.line(", {}trv_sol={}", label, label);
  text.line(";");
  text.line("execute        'rm %gams.scrdir%merge.scr';");
  text.line("option decimals=8;");
  text.line("display trv_zsol.l");
  for (const std::string& label : search.labels) text.line(", {}trv_sol.l", label);
  text.line(";");
  text.line("loop(trv_sol,");
  std::string put = "put ";
  for (const std::string& label : search.labels) put += label + "trv_sol.l(trv_sol), ";
  text.line("{}trv_zsol.l(trv_sol) /;", put);
  text.line(");");
  text.line(");");
}

}  // namespace

std::string conreg_gms(const ViolationSearch& search) {
  GmsText text;
  declare(text, search);
  bound_objective(text, search);
  define_objective(text, search);
  set_solver(text, search);
  const bool minimize = search.kind == SearchKind::below_zmin;
  text.line("SOLVE trv_conreg {} trv_z using NLP;", minimize ? "minimizing" : "maximizing");
  if (search.nlpsolver == multiple_solver) collect_solutions(text, search);
  return text.take();
}

// Infeasible in one way or another. A search that just ended without a solution (14) proves
// nothing.
bool says_there_is_none(int modelstat) {
  constexpr std::array none{4, 10, 19};
  return std::ranges::find(none, modelstat) != none.end();
}

// The rows of a file that ends early are left out; a value that is none spoils the file.
std::optional<ConregAnswer> read_conreg_gms(std::string_view put, int inputs) {
  RecordReader reader(put);
  double modelstat = -1.0;
  if (reader.next({&modelstat, 1}) != RecordReader::Outcome::read) return std::nullopt;
  if (!(modelstat >= 0.0 && modelstat < 1000.0)) return std::nullopt;
  ConregAnswer answer;
  answer.modelstat = static_cast<int>(modelstat);
  std::vector<double> row(at(inputs) + 1);
  for (;;) {
    std::ranges::fill(row, std::nan(""));
    const RecordReader::Outcome outcome = reader.next(row);
    if (outcome == RecordReader::Outcome::end_of_file) return answer;
    const bool whole = std::ranges::all_of(row, [](double value) { return std::isfinite(value); });
    if (outcome == RecordReader::Outcome::no_number || !whole) return std::nullopt;
    answer.points.emplace_back(row.begin(), row.end() - 1);
  }
}

}  // namespace torve
