#include <fmt/format.h>

#include "basis/formula/formula.h"
#include "input/trvcheck.h"
#include "report/printer.h"
#include "text/strings.h"

namespace torve {

namespace {

// One kind of formulas and how a syntax error in it ends the run.
struct FormulaKind {
  std::string_view words;
  Code code;
  int location;
};
constexpr FormulaKind custom_functions{"custom basis function", Code::custombas_syntax, 269};
constexpr FormulaKind custom_constraints{"custom constraint", Code::customcon_syntax, 270};
constexpr FormulaKind output_transforms{"output transformation function", Code::transform_syntax,
                                        271};

bool start(RunState& run, FormulaTable& table, std::size_t count) {
  int status = 0;
  fninit(table, count, status);
  return status == 0 || fail(run, Code::custombas_before_ncustombas, 272);
}

bool parse(RunState& run, FormulaTable& table, std::size_t slot, const std::string& text,
           std::span<const std::string> names, const FormulaKind& kind) {
  int status = 0;
  std::vector<std::string> report;
  fnparse(table, slot, fold_lower(text), names, status, &report);
  if (status == 0) return true;
  for (const std::string& line : report) trvprint(run, line);
  trvprint(run, fmt::format("Syntax error in {} {}", kind.words, slot + 1));
  return fail(run, kind.code, kind.location);
}

std::vector<std::string> folded(const std::vector<std::string>& labels) {
  std::vector<std::string> names;
  names.reserve(labels.size());
  for (const std::string& label : labels) names.push_back(fold_lower(label));
  return names;
}

bool parse_custom_functions(RunState& run, std::span<const std::string> inputs) {
  const std::vector<std::string>& texts = run.basis.custombas;
  FormulaTable& table = run.basis.customformulas;
  if (!texts.empty() && !start(run, table, texts.size())) return false;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    if (!parse(run, table, i, texts[i], inputs, custom_functions)) return false;
  }
  return true;
}

// A constraint speaks of the inputs and of its own output alone.
bool parse_custom_constraints(RunState& run, const std::vector<std::string>& inputs) {
  const std::vector<std::string>& texts = run.outputs.customcon;
  FormulaTable& table = run.basis.constraintformulas;
  if (!texts.empty() && !start(run, table, texts.size())) return false;
  std::vector<std::string> names = inputs;
  names.emplace_back();
  for (std::size_t i = 0; i < texts.size(); ++i) {
    names.back() = fold_lower(run.outputs.zlabels[at(run.outputs.crcustomind[i])]);
    if (!parse(run, table, i, texts[i], names, custom_constraints)) return false;
  }
  return true;
}

bool parse_transforms(RunState& run) {
  const std::vector<std::string>& texts = run.outputs.transforms;
  FormulaTable& table = run.basis.transformformulas;
  if (!texts.empty() && !start(run, table, texts.size())) return false;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    if (!parse(run, table, i, texts[i], run.basis.formulanames, output_transforms)) return false;
  }
  return true;
}

}  // namespace

bool parse_formulas(RunState& run) {
  const std::vector<std::string> inputs = folded(run.inputs.xlabels);
  run.basis.formulanames = inputs;
  for (const std::string& label : run.outputs.zlabels) {
    run.basis.formulanames.push_back(fold_lower(label));
  }
  return parse_custom_functions(run, inputs) && parse_custom_constraints(run, inputs) &&
         parse_transforms(run);
}

}  // namespace torve
