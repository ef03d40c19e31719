// Statements of surrogate.gms on the error of the fit: the objective, its limit, and the equations
// of errors that have variables.

#include <cmath>
#include <string>

#include "solvers/gms_text.h"

namespace torve {

namespace {

// The error as an expression. What is written behind it binds to its last sum: of relative errors a
// divisor reaches those of values near zero alone.
void write_error(GmsText& text, const BestSubsetProblem& problem) {
  switch (problem.error) {
    case ErrorModel::relative_squares:
      text.line("sum(i $ (dismiss(i) < 0.5 and abs(z(i)) > 1e-3), ");
      text.line("power(1-sum(j $(screened(j)), xij(i,j)/z(i)*beta(j)),2)) +");
      text.line(" sum(i $ (dismiss(i) < 0.5 and abs(z(i)) <= 1e-3), ");
      text.line(" power(z(i)-sum(j$(screened(j)),xij(i,j)*beta(j)),2))");
      return;
    case ErrorModel::squares:
    case ErrorModel::largest_percent:  // whose error is a variable; it is never asked for
      text.line("sum(i $ (dismiss(i) < 0.5), ");
      text.line("power(z(i)-sum(j $(screened(j)),xij(i,j)*beta(j)),2))");
      return;
    case ErrorModel::absolute:
      text.line("sum(i $ (dismiss(i) < 0.5), e(i))");
      return;
  }
}

// What the metric adds to the error: a divisor of the error and the price of the terms. The error
// stands alone without either.
std::string objective_tail(const BestSubsetProblem& problem) {
  const std::string divisor =
      problem.sseterm ? fmt::format(" / {} + ", gms_number(problem.sigma)) : "";
  const std::string terms = "sum(j $(screened(j)), y(j)) ;";
  switch (problem.metric) {
    case Metric::bic:
      return fmt::format("{}{} * {}", divisor, gms_number(std::log(problem.ndata())), terms);
    case Metric::cp:
      return fmt::format("{} 2 * {}", divisor, terms);
    case Metric::aicc:
    case Metric::hqc:
    case Metric::mse:
      return " ;";
    case Metric::ssep:
      if (!problem.sseterm || !(problem.convpen > 0.0)) return " ;";
      return fmt::format("{}{} * {}", divisor, gms_number(problem.convpen), terms);
    case Metric::ric:
      return fmt::format("{}{}*2* {}", divisor, gms_number(std::log(problem.nbas())), terms);
    case Metric::madp:
      if (!(problem.convpen > 0.0)) return " mad  ; ";
      return fmt::format(" mad  + {} * {}", gms_number(problem.convpen), terms);
  }
  return " ;";
}

}  // namespace

void write_objective(GmsText& text, const BestSubsetProblem& problem) {
  text.line("obj .. sseplus =e= ");
  if (problem.sseterm) write_error(text, problem);
  text.line(objective_tail(problem));
}

void write_percentage_errors(GmsText& text) {
  text.line("erra1(i) $(dismiss(i) < 0.5 and abs(z(i)) > 1e-3) .. ");
  text.line("(z(i)-sum(j $(screened(j)),xij(i,j)*beta(j)))/abs(z(i))");
  text.line(" * 100 =L= mad ;");
  text.line("erra2(i) $(dismiss(i) < 0.5 and abs(z(i)) <= 1e-3) .. ");
  text.line("z(i)-sum(j $(screened(j)),xij(i,j)*beta(j)) =L= mad ;");
  text.line("errb1(i) $(dismiss(i) < 0.5 and abs(z(i)) > 1e-3) .. ");
  text.line("(-z(i)+sum(j$(screened(j)),xij(i,j)*beta(j)))/abs(z(i))");
  text.line(" *100 =L= mad;");
  text.line("errb2(i) $(dismiss(i) < 0.5 and abs(z(i)) <= 1e-3) .. ");
  text.line("-z(i)+sum(j $(screened(j)),xij(i,j)*beta(j)) =L= mad;");
}

void write_sse_limit(GmsText& text, const BestSubsetProblem& problem) {
  if (!problem.sse_limit) return;
  text.line("sselimit .. ");
  write_error(text, problem);
  text.line(" =L= ");
  text.line(gms_number(*problem.sse_limit));
  text.line(" ; ");
}

// The errors that a column sees vanish where the column is chosen, as at a least sum of squares;
// here the sum runs over all rows.
void write_absolute_errors(GmsText& text) {
  text.line("erra(i) $(dismiss(i) < 0.5) ..  ");
  text.line("z(i)-sum(j $(screened(j)),xij(i,j)*beta(j)) =L= e(i);");
  text.line("errb(i) $(dismiss(i) < 0.5) ..  ");
  text.line("-z(i)+sum(j $(screened(j)),xij(i,j)*beta(j)) =L= e(i);");
  text.line("l1eca(j) .. ");
  text.line("sum(i, 2*xij(i,j)*e(i)) =L= betaup(j) * (1 - y(j));");
  text.line("l1ecb(j) .. ");
  text.line("sum(i, 2*xij(i,j)*e(i)) =G= betalo(j) * (1 - y(j));");
}

}  // namespace torve
