#pragma once

#include <algorithm>
#include <span>

#include "run/matrix_view.h"

namespace torve {

// Kernels of the least-squares layer. `columns` lists the chosen columns of x in order, `beta`
// holds one coefficient for each of them, `rows` tells which rows take part. Sums run in an order
// that is fixed whatever the processor.

// A subset's least-squares problem.
struct Regression {
  MatrixView x;                  // all rows, all columns
  std::span<const int> columns;  // chosen ones, from 0
  std::span<const double> z;     // all rows
  RowMask rows;
  int nrows = 0;  // rows that take part
};

// The coefficient of a single column: sum x z / sum x x, or 0 for a column of zeros.
double one_term_coefficient(const Regression& problem);

// The chosen columns, packed to the rows that take part: a is nrows x columns with leading
// dimension lda, b gets the right-hand side.
void pack(const Regression& problem, double* a, int lda, double* b);

// Tests an answer by the normal equations, independently of the method that made it: the residual
// is orthogonal to every chosen column within 0.001 or one part in a hundred. With `sse` (not
// negative) the sum of squares must agree with it in the same way. `yhat` is scratch with a place
// for every row. True when the answer is rejected. The sum of squares itself is left in `found`, if
// that is given.
bool olrcheck(const Regression& problem, std::span<const double> beta, const double* sse,
              std::span<double> yhat, double* found = nullptr);

// Work space of the Gauss-Seidel method for n columns: gram n x n, the others n.
struct GaussSeidelWork {
  std::span<double> gram;
  std::span<double> rhs;
};
struct GaussSeidelRules {
  double abstol = 0.0;
  double reltol = 0.0;
  int maxi = 0;  // sweeps; negative for no limit
};

// Gauss-Seidel iteration on the normal equations, started from each column alone. False when the
// sweeps ran out; a limit is never less than ten sweeps a column. `stop` is asked once a sweep and
// ends the iteration.
template <class Stop>
bool gauss_seidel(const Regression& problem, std::span<double> beta, const GaussSeidelWork& work,
                  const GaussSeidelRules& rules, Stop stop);

// One sweep of it; true when no coefficient moved beyond the tolerances.
bool gauss_seidel_sweep(std::span<double> beta, const GaussSeidelWork& work,
                        const GaussSeidelRules& rules);
// Start values and the normal equations.
void gauss_seidel_start(const Regression& problem, std::span<double> beta,
                        const GaussSeidelWork& work);

template <class Stop>
bool gauss_seidel(const Regression& problem, std::span<double> beta, const GaussSeidelWork& work,
                  const GaussSeidelRules& rules, Stop stop) {
  const int n = static_cast<int>(problem.columns.size());
  const long long limit = std::max(10LL * n, static_cast<long long>(rules.maxi));
  gauss_seidel_start(problem, beta, work);
  for (long long sweep = 1;; ++sweep) {
    if (gauss_seidel_sweep(beta, work, rules)) return true;
    if (rules.maxi >= 0 && sweep == limit) return false;
    if (stop()) return false;
  }
}

}  // namespace torve
