#include "solvers/custom_constraint.h"

#include <fmt/format.h>

#include "basis/model_text.h"
#include "text/number_edits.h"
#include "text/strings.h"

namespace torve {

namespace {

// Every input by what stands for its value, then the output by its model; labels are known in any
// case.
template <class InputText>
std::string replaced(const BestSubsetProblem& problem, std::string text,
                     const InputText& input_text, const std::string& model) {
  for (std::size_t d = 0; d < problem.xlabels.size(); ++d) {
    text = replaceterm(text, fold_lower(problem.xlabels[d]), input_text(static_cast<int>(d)));
  }
  return replaceterm(text, fold_lower(problem.zlabel), "(" + model + " )");
}

// The quote that nothing closes is a fixed feature of the format, and so is that zscale divides.
std::string coefficient_for_mir(const BestSubsetProblem& problem, int j) {
  std::string name = "trv_beta_" + free_form(j + 1);
  if (!problem.scalebases) return name;
  const double scale = problem.xscale[at(j)] * (problem.scalez ? problem.zscale : 1.0);
  return "(" + name + "/('" + free_form(scale) + "))";
}

}  // namespace

std::string text_with_carets(const std::string& formula) {
  return replaceterm(fold_lower(formula), "**", "^");
}

std::string text_with_stars(const std::string& formula) {
  std::string text;
  for (const char c : fold_lower(formula)) {
    if (c == '^') {
      text += "**";
    } else {
      text += c;
    }
  }
  return text;
}

std::string custom_text_for_mir(const BestSubsetProblem& problem,
                                const CustomConstraint& constraint, int point) {
  std::string model;
  for (int j = 0; j < problem.nbas(); ++j) {
    if (!problem.screened[at(j)]) continue;
    model += " + ( " + free_form(problem.bounding->crxij(point, j)) + " ) * " +
             coefficient_for_mir(problem, j);
  }
  const auto input = [&](int d) {
    return "(" + free_form(problem.bounding->crxdata(point, d)) + ")";
  };
  return replaced(problem, text_with_carets(constraint.text), input, model);
}

// The values of columns are scaled in the program, so that the coefficients stand as they are; the
// constraint speaks of the output in the user's units.
std::string custom_text_for_gms(const BestSubsetProblem& problem,
                                const CustomConstraint& constraint) {
  const std::string factor = problem.scalez ? free_form(problem.zscale) + "*" : "";
  std::string model;
  for (int j = 0; j < problem.nbas(); ++j) {
    if (!problem.screened[at(j)]) continue;
    model += fmt::format(" + ( {0}crxij(i2,'{1}') ) * beta('{1}')", factor, j + 1);
  }
  const auto input = [](int d) { return "(crxdata(i2,'" + free_form(d + 1) + "'))"; };
  return replaced(problem, text_with_stars(constraint.text), input, model);
}

}  // namespace torve
