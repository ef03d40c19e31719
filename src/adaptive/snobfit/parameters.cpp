#include "adaptive/snobfit/snobfit.h"

namespace torve {

bool create_parameters(PARAMETERS& parameters, const VECTOR& u, const VECTOR& v, int nreq, double p,
                       int seed, Messages& messages) {
  if (parameters.created) {
    return messages.fail("create_parameters: (u,v) are already created!");
  }
  parameters = {u, v, nreq, p, seed, true};
  return true;
}

}  // namespace torve
