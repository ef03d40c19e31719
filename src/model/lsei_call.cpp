#include "model/lsei_call.h"

#include "model/lsei.h"

#ifdef TORVE_HAS_SLATEC
extern "C" void dlsei_(double* w, const int* mdw, const int* me, const int* ma, const int* mg,
                       const int* n, const double* prgopt, double* x, double* rnorme,
                       double* rnorml, int* mode, double* ws, int* ip);
#endif

namespace torve {

void call_lsei(double* w, int mdw, int me, int ma, int mg, int n, const double* prgopt, double* x,
               double& rnorme, double& rnorml, int& mode, double* ws, int* ip) {
#ifdef TORVE_HAS_SLATEC
  dlsei_(w, &mdw, &me, &ma, &mg, &n, prgopt, x, &rnorme, &rnorml, &mode, ws, ip);
#else
  lsei(w, mdw, me, ma, mg, n, prgopt, x, rnorme, rnorml, mode, ws, ip);
#endif
}

}  // namespace torve
