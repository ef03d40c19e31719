#include "basis/catalogue.h"
#include "basis/column_text.h"
#include "basis/model_text.h"
#include "report/printer.h"
#include "text/strings.h"

namespace torve {

namespace {

// A logarithm needs inputs that stay above zero in their whole range.
void find_usable_logarithms(RunState& run) {
  for (int j = 0; j < run.sizes.ninputs; ++j) {
    const bool usable = run.inputs.xmin[at(j)] > 0.0;
    run.basis.logusable[at(j)] = usable;
    if (usable || !run.options.numlimitbasis || !run.options.logfcns) continue;
    trvprint(run, "Warning: eliminating basis log(" + run.inputs.xlabels[at(j)] + ")");
  }
}

bool has_constraints(const RunState& run) {
  return run.outputs.bounded || run.sizes.crncustom > 0;
}

TextRules text_rules(RunState& run) {
  const std::size_t n = at(run.sizes.ninputs);
  TextRules rules;
  rules.xlabels = {run.inputs.xlabels.data(), n};
  rules.xscale = run.inputs.xscale.first(n);
  rules.xscaling = run.options.xscaling;
  rules.excluded = run.inputs.exclude.first(n);
  rules.logusable = run.basis.logusable.first(n);
  rules.rbfparam = run.options.rbfparam;
  rules.centres = run.points.xdata.view(run.sizes.ndata, run.sizes.ninputs);
  rules.custombas = run.basis.custombas;
  return rules;
}

// A solver that searches the box can't read radial columns that aren't formulas.
bool dies_under_constraints(const Column& column, bool shortened) {
  return column.family == Family::power_radial || (column.family == Family::gaussian && shortened);
}

void form_column(RunState& run, const TextRules& rules, int j) {
  Basis& basis = run.basis;
  const Column& column = basis.columns[at(j)];
  bool shortened = false;
  ColumnText text = column_text(rules, column, shortened);
  if (!text.label.empty() && touches_excluded(rules, column)) {
    trvprint(run, "Warning: excluding basis " + text.label);
    text = {};
  }
  if (has_constraints(run) && dies_under_constraints(column, shortened)) {
    trvprint(run, "Warning: eliminating RBF basis " + text.label);
    text = {};
  }
  const bool plain = column.family == Family::linear || column.family == Family::kernel ||
                     column.family == Family::constant;
  basis.basismodel[at(j)] =
      plain ? text.label
            : applyfunform(run.options.funform, text.label, text.power, basis.basismodel[at(j)]);
  basis.basislabel[at(j)] = std::move(text.label);
  basis.basispower[at(j)] = std::move(text.power);
}

// What all columns have in common once their texts stand.
void close_catalogue(RunState& run) {
  Basis& basis = run.basis;
  run.sizes.nbasmax = 0;
  for (std::size_t j = 0; j < at(run.sizes.nbas); ++j) {
    const bool live = !basis.basislabel[j].empty();
    basis.basisactive[j] = live;
    if (live) ++run.sizes.nbasmax;
    basis.basispower[j] = fold_lower(basis.basispower[j]);
    basis.basiscaret[j] = replaceterm(fold_lower(basis.basislabel[j]), "**", "^");
  }
  run.sizes.nbasinitact = run.sizes.nbasmax;
}

}  // namespace

void build_catalogue(RunState& run) {
  find_usable_logarithms(run);
  const TextRules rules = text_rules(run);
  for (int j = 0; j < run.sizes.nbas; ++j) form_column(run, rules, j);
  close_catalogue(run);
}

}  // namespace torve
