#pragma once

namespace torve {

// LSEI for the constrained fit: SLATEC's double-precision routine where the build found that
// library, otherwise the program's own of the same form (model/lsei.h, which tells the arguments).
void call_lsei(double* w, int mdw, int me, int ma, int mg, int n, const double* prgopt, double* x,
               double& rnorme, double& rnorml, int& mode, double* ws, int* ip);

}  // namespace torve
