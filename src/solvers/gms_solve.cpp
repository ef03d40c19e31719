// The end of surrogate.gms: the model, limits and tolerances, option files, the solve statement.

#include "solvers/gms_text.h"
#include "text/strings.h"

namespace torve {

namespace {

void write_limits(GmsText& text, const BestSubsetProblem& problem) {
  text.line("model ssemip /all/;");
  if (problem.cutoff) text.line("ssemip.cutoff ={};", gms_number(*problem.cutoff));
  if (problem.tight_gaps) {
    text.line("option optca = 1e-6 ;");
    text.line("option optcr = 1e-6 ;");
  } else {
    text.line("option optca = {} ;", gms_number(problem.epsa));
    text.line("option optcr = {} ;", gms_number(problem.epsr));
  }
  text.line("option limrow=0 ;");
  text.line("option limcol=0 ;");
  text.line("option solprint=off ;");
  text.line("option reslim ={} ;", gms_number(problem.seconds));
}

void write_mirak_options(GmsText& text, const BestSubsetProblem& problem) {
  text.line("$onecho > mirak.opt");
  if (problem.firstfeas) text.line("firstfeas 1");
  if (problem.dive || problem.shortcut) text.line("secret maxiphdives: -1");
  if (problem.deltaterm || problem.shortcut) {
    text.line("deltaTerm 1");
    text.line("deltaT 5");
    text.line("deltaA 0.1");
    text.line("deltaR 0.1");
  }
  text.line("AbsIntFeasTol 1e-12");
  text.line("RelIntFeasTol 0");
  text.line("$offecho");
  text.line("ssemip.optfile = 1;");
}

void write_cplex_options(GmsText& text) {
  text.line("$onecho > cplex.opt");
  text.line("OptimalityTarget=3");
  text.line("$offecho");
  text.line("ssemip.optfile = 1;");
}

}  // namespace

void write_solve(GmsText& text, const BestSubsetProblem& problem, const GmsOptions& options) {
  write_limits(text, problem);
  const std::string_view solver = trim(options.solver);
  if (equal_folded(solver, "mirak")) {
    write_mirak_options(text, problem);
  } else if (equal_folded(solver, "cplex")) {
    write_cplex_options(text);
  }
  const bool linear = has_absolute_errors(problem) || has_percentage_errors(problem);
  const std::string_view kind = linear ? "mip" : "miqcp";
  text.line("option {}={} ;", kind, solver);
  text.line("solve ssemip minimizing sseplus using {};", kind);
}

}  // namespace torve
