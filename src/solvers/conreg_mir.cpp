// The search for violations in the solver's own language, and its answer.
#include "basis/model_text.h"
#include "solvers/conreg_search.h"
#include "solvers/custom_constraint.h"
#include "solvers/mir_results.h"
#include "solvers/mir_text.h"
#include "text/strings.h"

namespace torve {

namespace {

void write_options(MirText& text, const ViolationSearch& search) {
  text.line("OPTIONS{{");
  write_solver_switches(text, search.allowcplex, search.print_solver);
  text.line("epsr: 0.05;");
  text.number_line("maxtime: {} ;", free_form(search.seconds));
  if (search.deltaterm) {
    for (const char* const line : {"deltaTerm: 1;", "deltaT: 5;", "deltaA: 0.1;", "deltaR: 0.1;"}) {
      text.line("{}", line);
    }
  }
  text.number_line("NumSol: {};", search.wanted);
  text.line("isoltol: 0.01;");
  text.line("}}");
}

void write_variables(MirText& text, const ViolationSearch& search) {
  text.line("VARIABLE trv_z");
  for (const std::string& label : search.labels) text.line(" , {}", fold_lower(label));
  text.line(" ;");
  text.empty_line();
}

void write_bounds(MirText& text, const ViolationSearch& search, std::string_view section,
                  const std::vector<double>& bounds, bool bounds_z) {
  text.line("{}{{", section);
  for (std::size_t d = 0; d < search.labels.size(); ++d) {
    text.number_line("{}: {} ;", fold_lower(search.labels[d]), free_form(bounds[d]));
  }
  if (bounds_z) text.number_line("trv_z : {} ;", free_form(search.bound));
  text.line("}}");
  text.empty_line();
}

std::string model_sum(const ViolationSearch& search) {
  std::string sum;
  for (const SearchTerm& term : search.terms) {
    sum += " + (" + free_form(term.beta) + ")* (" + term.text + ")";
  }
  return sum;
}

// What trv_z stands for: the model, or the constraint with the model for its output.
std::string searched_expression(const ViolationSearch& search) {
  if (search.kind != SearchKind::custom) return model_sum(search);
  const std::string model = search.terms.empty() ? "(0)" : "(" + model_sum(search) + ")";
  return " + (" + replaceterm(text_with_carets(search.custom), fold_lower(search.zlabel), model) +
         ")";
}

// Inputs that the expression doesn't name join it without weight.
std::string missing_inputs(const ViolationSearch& search, const std::string& expression) {
  std::string text;
  for (const std::string& label : search.labels) {
    const std::string name = fold_lower(label);
    if (replaceterm(expression, name, "") == expression) text += " + (0)*" + name;
  }
  return text;
}

}  // namespace

std::string conreg_mir(const ViolationSearch& search) {
  MirText text;
  text.line("// file written by TORVE");
  text.empty_line();
  write_options(text, search);
  text.empty_line();
  write_variables(text, search);
  const bool minimize = search.kind == SearchKind::below_zmin;
  write_bounds(text, search, "LOWER_BOUNDS", search.lowest, !minimize);
  write_bounds(text, search, "UPPER_BOUNDS", search.highest, minimize);
  text.line("EQUATION trv_defz;");
  text.empty_line();
  const std::string expression = searched_expression(search);
  text.line("trv_defz: - trv_z {}{} == 0;", expression, missing_inputs(search, expression));
  text.empty_line();
  text.line("OBJ: {} trv_z;", minimize ? "minimize" : "maximize");
  return text.take();
}

std::optional<std::vector<std::vector<double>>> read_conreg_mir(std::string_view res, int inputs) {
  constexpr int records_to_skip = 2;
  ResultReader reader(res);
  std::vector<std::vector<double>> points;
  while (reader.find_line("The best solution found")) {
    if (!reader.skip_lines(records_to_skip)) return std::nullopt;
    auto values = read_mir_values(reader, inputs + 1);
    if (!values) return std::nullopt;
    values->erase(values->begin());  // trv_z
    points.push_back(std::move(*values));
  }
  if (points.empty()) return std::nullopt;
  return points;
}

}  // namespace torve
