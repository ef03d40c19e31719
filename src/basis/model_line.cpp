#include "basis/model_line.h"

namespace torve {

std::string model_line(const RunState& run, int k, ModelDigits digits) {
  const int nbas = run.sizes.nbas;
  const auto column = static_cast<std::size_t>(k);
  ModelTerms terms;
  terms.zlabel = run.outputs.zlabels[column];
  terms.zisint = run.outputs.zisint[column];
  terms.constant = run.options.constant != 0;
  terms.chosen = run.models.bestchosen.column(k, nbas);
  terms.beta = run.models.bestbeta.column(k, nbas);
  terms.basismodel = run.basis.basismodel;
  return writemodel(terms, digits);
}

}  // namespace torve
