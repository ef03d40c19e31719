#include "model/dgels.h"

#include <algorithm>
#include <cassert>

#include "model/lapack.h"

namespace torve {

int dgels(int m, int n, double* a, int lda, double* b, double* work, int lwork) {
  const int right_hand_sides = 1;
  const int ldb = std::max(std::max(m, n), 1);
  int info = 0;
  dgels_("N", &m, &n, &right_hand_sides, a, &lda, b, &ldb, work, &lwork, &info);
  assert(info >= 0 || lwork == -1);
  return info;
}

int dgels_workspace(int m, int n, int lda) {
  double size = 0.0;
  double unused = 0.0;
  const int info = dgels(m, n, &unused, lda, &unused, &size, -1);
  return info == 0 ? static_cast<int>(size) : 0;
}

}  // namespace torve
