#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

namespace torve {

// Linear least squares with inequality rows,
//
//   minimise |A x - b|  subject to  G x >= h,
//
// in the calling form and with the meaning of MODE of SLATEC's LSEI, for problems without
// equations.
//
// w         mdw x (n + 1), column-major: `ma` rows [A b], then `mg` rows [G h]. Overwritten.
// mdw       distance between columns, at least ma + mg
// me        number of equations; only 0 is taken
// ma, mg    numbers of least-squares and inequality rows; either or both may be 0
// n         unknowns, at least 1
// prgopt    one real, 1.0: no options. Other lists are refused
// x         the solution, n long. Written in mode 0 only
// rnorme    0
// rnorml    |A x - b|, 0 unless mode is 0
// mode      0  solved
//           2  the inequalities contradict each other
//           4  bad usage (sizes, workspace, a value that isn't finite), or the iteration limit was
//              reached before an answer passed the check
//           1 and 3 belong to equations and don't occur
// ws, ip    workspace. ip[0] and ip[1] hold their sizes on entry, which must be at least those of
//           the functions below, and are left as they are; ip[2] is the rank of A on return
//
// A may have any shape and rank. Columns are brought to unit length before the rank is decided; an
// A that is regular up to a condition of about 1e15 after that counts as regular. Where the data
// leave x undetermined the shortest one is taken, in units in which the columns of A have length
// one and empty columns count as they are. Rows of G may repeat, oppose each other or be empty;
// they hold to about 1e-13 of the size of their terms, 1e-9 at worst, and are taken for
// contradictory only beyond rounding of that size.
//
// Nothing is allocated, and the same input gives the same bits whatever the size of the workspace.
void lsei(double* w, int mdw, int me, int ma, int mg, int n, const double* prgopt, double* x,
          double& rnorme, double& rnorml, int& mode, double* ws, int* ip);

namespace lsei_detail {

constexpr std::int64_t real_workspace(std::int64_t me, std::int64_t ma, std::int64_t mg,
                                      std::int64_t n) {
  const std::int64_t published = 2 * (me + n) + std::max(ma + mg, n) + (mg + 2) * (n + 7);
  // Blocked factorizations, A and b once more for the refinement, and for inequality rows three
  // n x n matrices.
  const std::int64_t blocks = 40 * (n + 1) + mg;
  const std::int64_t copy = ma * (n + 3);
  return published + blocks + copy + (mg > 0 ? 3 * n * n + 12 * n : 0);
}

constexpr std::int64_t integer_workspace(std::int64_t mg, std::int64_t n) {
  return 2 * mg + 3 * n + 3;
}

constexpr int saturated(std::int64_t size) {
  return static_cast<int>(std::min<std::int64_t>(size, std::numeric_limits<int>::max()));
}

}  // namespace lsei_detail

// Sizes of ws and ip. More than SLATEC's routine of that name asks for, so that either can be
// called. A problem whose workspace can't be counted in an int gets the greatest int, with which
// lsei returns mode 4.
constexpr int lsei_real_workspace(int me, int ma, int mg, int n) {
  return lsei_detail::saturated(lsei_detail::real_workspace(me, ma, mg, n));
}
constexpr int lsei_integer_workspace(int mg, int n) {
  return lsei_detail::saturated(lsei_detail::integer_workspace(mg, n));
}

}  // namespace torve
