#include "solvers/gms_model.h"

#include <algorithm>

#include "solvers/gms_text.h"
#include "text/number_edits.h"

namespace torve {

namespace {

void write_sets(GmsText& text, const BestSubsetProblem& problem) {
  text.line("set i /1*{}/;", problem.ndata());
  text.line("set j /1*{}/;", problem.nbas());
  if (problem.prbf) {
    text.line("set prbf(j) / {}*{} /;", problem.prbf->first + 1, problem.prbf->second + 1);
  }
  text.line("parameters z(i), xij(i,j), screened(j), dismiss(i) ;");
  text.line("dismiss(i) = 0;");
  text.line("parameters betalo(j), betaup(j) ;");
}

// All rows are written, also those without a value: they are dismissed, and the equations ask.
void write_data(GmsText& text, const BestSubsetProblem& problem) {
  const int ndata = problem.ndata();
  for (int i = 0; i < ndata; ++i) text.line("z('{}') = {};", i + 1, gms_number(problem.z(i)));
  for (int i = 0; i < ndata; ++i) {
    if (!problem.simulated[at(i)]) text.line("dismiss('{}') = 1;", i + 1);
  }
  for (int i = 0; i < ndata; ++i) {
    for (int j = 0; j < problem.nbas(); ++j) {
      if (!problem.screened[at(j)]) continue;
      text.line("xij('{}', '{}') = {};", i + 1, j + 1, gms_number(problem.x(i, j)));
    }
  }
  for (int j = 0; j < problem.nbas(); ++j) {
    const bool screened = problem.screened[at(j)];
    text.line("screened('{}') = {};", j + 1, screened ? 1 : 0);
    if (!screened) continue;
    text.line("betalo('{}') = {};", j + 1, gms_number(-problem.betaup[at(j)]));
    text.line("betaup('{}') = {};", j + 1, gms_number(problem.betaup[at(j)]));
  }
}

void write_variables(GmsText& text, const BestSubsetProblem& problem) {
  text.line("binary variables y(j);");
  text.line("variables beta(j), sseplus;");
  if (has_percentage_errors(problem)) {
    text.line("positive variable mad;");
    if (problem.start) text.line("mad.L = {};", gms_number(problem.bestmetric));
  }
  text.line("beta.lo(j)=betalo(j);");
  text.line("beta.up(j)=betaup(j);");
  if (has_absolute_errors(problem)) text.line("positive variables e(i);");
}

void write_start(GmsText& text, const BestSubsetProblem& problem) {
  if (!problem.start) return;
  text.line("");
  for (int j = 0; j < problem.nbas(); ++j) {
    if (!problem.screened[at(j)]) continue;
    text.line("beta.L(\"{}\") = {};", j + 1, gms_number(problem.start->beta[at(j)]));
    text.line("y.L(\"{}\") = {};", j + 1, problem.start->chosen[at(j)] ? 1 : 0);
  }
}

}  // namespace

std::string gms_number(double value) {
  constexpr double largest = 1e30;
  // What is no number stays so: GAMS refuses the program, which is better than a fit to something
  // else.
  return free_form(std::clamp(value, -largest, largest));
}

void write_heading(GmsText& text, bool debug, std::string_view title, ColumnMask columns,
                   std::span<const std::string> labels) {
  text.line("$offdigit");
  text.line("$offsymxref offsymlist");
  if (!debug) return;
  text.line("$ONTEXT");
  text.line(title);
  for (std::size_t j = 0; j < columns.size(); ++j) {
    if (columns[j]) text.line("  j = {},  basis: {}", j + 1, labels[j]);
  }
  text.line("$OFFTEXT");
}

void write_put_block(GmsText& text, std::string_view model, std::string_view objective,
                     std::string_view choice) {
  text.line("file res;");
  text.line("put res;");
  text.line("res.pc=4;");
  text.line("put {}.modelstat:3:0 / ;", model);
  text.line("put {}.l / ;", objective);
  text.line("loop(j,");
  text.line("put {}:1:0, beta.l(j) /;", choice);
  text.line(");");
  text.line("putclose res;");
}

std::string gms_model(const BestSubsetProblem& problem, const GmsOptions& options) {
  GmsText text;
  write_heading(text, problem.debug, "Screened basis functions:", problem.screened, problem.labels);
  write_sets(text, problem);
  const BoundingKinds kinds = write_bounding_set(text, problem);
  write_data(text, problem);
  write_variables(text, problem);
  write_start(text, problem);
  declare_equations(text, problem, kinds);
  write_linking(text, problem);
  write_objective(text, problem);
  if (has_percentage_errors(problem)) write_percentage_errors(text);
  write_sse_limit(text, problem);
  if (has_absolute_errors(problem)) write_absolute_errors(text);
  if (problem.prbf) text.line("pc1 .. sum(prbf, beta(prbf)) =e= 0;");
  if (problem.has_groups()) write_groups(text, problem);
  write_solve(text, problem, options);
  write_put_block(text, "ssemip", "sseplus", "y.l(j)");
  return text.take();
}

// Rows that take no part are left out: a parameter without a value is 0, and such a row adds
// nothing to the sum.
std::string gms_least_squares(const GmsLeastSquares& problem) {
  GmsText text;
  write_heading(text, problem.debug, "Chosen basis functions:", problem.chosen, problem.labels);
  text.line("set i /1*{}/;", problem.xij.rows);
  text.line("set j /1*{}/;", problem.xij.columns);
  text.line("parameters z(i), xij(i,j), chosen(j) ;");
  for (int i = 0; i < problem.xij.rows; ++i) {
    if (!problem.rows[at(i)]) continue;
    text.line("z('{}') = {};", i + 1, gms_number(problem.z[at(i)]));
    for (int j = 0; j < problem.xij.columns; ++j) {
      if (!problem.chosen[at(j)]) continue;
      text.line("xij('{}', '{}') = {};", i + 1, j + 1, gms_number(problem.xij(i, j)));
    }
  }
  for (int j = 0; j < problem.xij.columns; ++j) {
    text.line("chosen('{}') = {};", j + 1, problem.chosen[at(j)] ? 1 : 0);
  }
  text.line("variables beta(j), sse;");
  text.line("equation obj;");
  text.line(
      "obj .. sse =e=  sum(i, ( power ( sum(j $(chosen(j)), xij(i,j)*beta(j)) - z(i), 2) ) ) ;");
  text.line("model olrnlp /all/;");
  text.line("option optca = {} ;", gms_number(problem.epsa));
  text.line("option optcr = {} ;", gms_number(problem.epsr));
  text.line("option limrow=0 ;");
  text.line("option limcol=0 ;");
  text.line("option nlp={} ;", problem.solver);
  text.line("solve olrnlp minimizing sse using nlp;");
  write_put_block(text, "olrnlp", "sse", "chosen(j)");
  return text.take();
}

}  // namespace torve
