#include "model/lsei.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>

#include "model/active_rows.h"
#include "model/lapack.h"
#include "model/nnls.h"
#include "model/orthogonal.h"
#include "run/matrix_view.h"

// C. L. Lawson and R. J. Hanson, Solving Least Squares Problems, chapter 23: problem LSI is turned
// into the least-distance problem LDP by orthogonal transformations of A, LDP into nonnegative
// least squares (NNLS) by duality. K. H. Haskell and R. J. Hanson, An algorithm for linear least
// squares problems with equality and nonnegativity constraints, Math. Programming 21 (1981), for
// the treatment of an A of deficient rank.
//
// Deviations:
// - LDP multiplies the rows of G by T^-1, which loses the digits that the condition of A costs. Its
//   answer is used only for the choice of the active rows; the search of active_rows.h checks the
//   choice, corrects it and computes x from orthogonal factors of A and G.
// - Undetermined directions get a small weight in the objective instead of equations in the dual
//   problem; the last solve leaves it out.
// - The plain solution is refined, so that the condition of A costs fewer digits.

namespace torve {
namespace {

constexpr double epsilon = std::numeric_limits<double>::epsilon();
constexpr int one = 1;

// A column that sticks out of the ones before it by at most this share of the first one's length
// depends on them. Rounding of the entries alone leaves one to three epsilon.
constexpr double rank_tolerance = 5.0 * epsilon;

// Weight of the undetermined directions: its square must stand clear of rounding in the
// multipliers, yet bend the fit less than anything that is looked at.
constexpr double weight_of_undetermined = 1e-5;

// An answer may miss a row by this share of the size of its terms.
constexpr double acceptable_violation = 1e-9;

enum Mode { mode_solved = 0, mode_contradictory = 2, mode_failed = 4 };

// Hands out pieces of an array, one after the other.
template <class T>
class Slices {
 public:
  Slices(T* data, std::int64_t size) : next_(data), left_(size) {}
  T* take(std::int64_t size) {
    assert(size <= left_);
    T* slice = next_;
    next_ += size;
    left_ -= size;
    return slice;
  }
  std::int64_t left() const { return left_; }

 private:
  T* next_;
  std::int64_t left_;
};

struct Problem {
  int ma, mg, n;
  MutableMatrixView a;       // ma x n, in w
  MutableMatrixView g;       // mg x n, in w
  double* b;                 // ma
  double* h;                 // mg
  double* column_scale;      // n, powers of 2
  double* y;                 // n: the solution in the turned unknowns
  MutableMatrixView a_kept;  // ma x n: A, scaled
  double* b_kept;            // ma
  double* residual;          // ma
  double* correction;        // ma
  CompleteFactor factor;
  double* reals;  // workspace not yet given out
  std::int64_t reals_left;
  int* integers;
  std::int64_t integers_left;
};

double length(const double* x, int n) {
  return dnrm2_(&n, x, &one);
}

// The power of 2 that brings a length to [1/2, 1); 1 for a length of 0. Multiplying by it is exact.
double exact_scale(double length_of) {
  if (length_of == 0.0) return 1.0;
  int exponent = 0;
  std::frexp(length_of, &exponent);
  return std::ldexp(1.0, std::clamp(-exponent, -1000, 1000));
}

bool usage_is_good(const double* w, int mdw, int me, int ma, int mg, int n, const double* prgopt,
                   const int* ip) {
  if (me != 0 || ma < 0 || mg < 0 || n < 1) return false;
  const std::int64_t rows = std::int64_t{ma} + mg;
  if (mdw < 1 || mdw < rows) return false;
  if (prgopt != nullptr && prgopt[0] != 1.0) return false;
  if (ip[0] < lsei_detail::real_workspace(me, ma, mg, n)) return false;
  if (ip[1] < lsei_detail::integer_workspace(mg, n)) return false;
  for (int j = 0; j <= n; ++j) {
    const double* column = w + std::int64_t{j} * mdw;
    if (!std::all_of(column, column + rows, [](double value) { return std::isfinite(value); }))
      return false;
  }
  return true;
}

Problem take_apart(double* w, int mdw, int ma, int mg, int n, double* ws, int* ip) {
  double* right = w + std::int64_t{n} * mdw;
  Slices<double> reals(ws, ip[0]);
  Slices<int> integers(ip + 3, std::int64_t{ip[1]} - 3);
  Problem p{};
  p.ma = ma;
  p.mg = mg;
  p.n = n;
  p.a = {w, ma, n, mdw};
  p.g = {w + ma, mg, n, mdw};
  p.b = right;
  p.h = right + ma;
  p.column_scale = reals.take(n);
  p.y = reals.take(n);
  p.factor.a = p.a;
  p.factor.pivot = integers.take(n);
  p.factor.tau = reals.take(n);
  p.factor.ztau = reals.take(n);
  p.factor.work_length = factor_workspace(n) + mg;
  p.factor.work = reals.take(p.factor.work_length);
  p.a_kept = {reals.take(std::int64_t{ma} * n), ma, n, ma};
  p.b_kept = reals.take(ma);
  p.residual = reals.take(ma);
  p.correction = reals.take(ma);
  p.reals_left = reals.left();
  p.reals = reals.take(p.reals_left);
  p.integers_left = integers.left();
  p.integers = integers.take(p.integers_left);
  return p;
}

// Columns of A to unit length, then rows of G.
void scale(Problem& p) {
  for (int j = 0; j < p.n; ++j) {
    const double s = exact_scale(length(p.a.data + j * p.a.stride, p.ma));
    p.column_scale[j] = s;
    for (int i = 0; i < p.ma; ++i) p.a(i, j) *= s;
    for (int i = 0; i < p.mg; ++i) p.g(i, j) *= s;
  }
  const int stride = static_cast<int>(p.g.stride);
  for (int i = 0; i < p.mg; ++i) {
    const double s = exact_scale(dnrm2_(&p.n, p.g.data + i, &stride));
    for (int j = 0; j < p.n; ++j) p.g(i, j) *= s;
    p.h[i] *= s;
  }
}

// The distance of the last column that counts from the span of those before it. That's the last
// diagonal element of the triangle, but free of the rounding in the factorization.
double distance_of_last_column(const Problem& p) {
  Slices<double> slices(p.reals, p.reals_left);
  double* y = slices.take(p.n);
  double* work = slices.take(p.n);
  const int before = p.factor.rank - 1;
  const int stride = static_cast<int>(p.a.stride);
  std::copy_n(p.a.column_data(before), before, y);
  dtrsv_("U", "N", "N", &before, p.a.data, &stride, y, &one);
  return refine(p.factor, before, p.a_kept, p.a_kept.column_data(p.factor.pivot[before] - 1), y,
                p.residual, p.correction, work);
}

// Many rows can let the rounding in the factorization exceed the tolerance. What may be no more
// than that is computed anew before it counts.
void find_rank(Problem& p) {
  CompleteFactor& factor = p.factor;
  factorize(factor);
  if (factor.rank == 0) return;
  const double first = std::abs(p.a(0, 0));
  cut_rank(factor, rank_tolerance * first);
  const double doubtful = epsilon * std::max(p.ma, p.n) * first;
  while (factor.rank > 1 && std::abs(p.a(factor.rank - 1, factor.rank - 1)) <= doubtful &&
         distance_of_last_column(p) <= rank_tolerance * first)
    --factor.rank;
}

// Factors A and leaves in p.y the solution without the rows. Returns |A x - b|.
double solve_plainly(Problem& p) {
  for (int j = 0; j < p.n; ++j) std::copy_n(p.a.column_data(j), p.ma, p.a_kept.column_data(j));
  std::copy_n(p.b, p.ma, p.b_kept);
  CompleteFactor& factor = p.factor;
  find_rank(p);
  complete(factor);
  apply_q_transposed(factor, p.b);
  solve_triangle(factor, p.b, p.y);
  if (factor.rank < p.n)
    return factor.rank < p.ma ? length(p.b + factor.rank, p.ma - factor.rank) : 0.0;
  double* work = Slices<double>(p.reals, p.reals_left).take(p.n);
  return refine(factor, p.n, p.a_kept, p.b_kept, p.y, p.residual, p.correction, work);
}

bool row_is_empty(const Problem& p, int i) {
  for (int j = 0; j < p.n; ++j)
    if (p.g(i, j) != 0.0) return false;
  return true;
}

// 0 >= h holds or it doesn't, whatever x is.
bool empty_rows_hold(const Problem& p) {
  for (int i = 0; i < p.mg; ++i)
    if (p.h[i] > 0.0 && row_is_empty(p, i)) return false;
  return true;
}

// Rows that aren't empty hold, but for `share` of the size of their terms.
bool rows_hold(const Problem& p, double share) {
  const double y_length = length(p.y, p.n);
  for (int i = 0; i < p.mg; ++i) {
    const RowCheck check = check_row(p.g, p.h, i, p.y, y_length);
    if (check.violation > share * check.size && !row_is_empty(p, i)) return false;
  }
  return true;
}

// T and f of the reduced problem, square: undetermined directions get a weight of their own.
void fill_reduced(const Problem& p, const MutableMatrixView& t, double* f) {
  const int rank = p.factor.rank;
  double smallest = 1.0;
  for (int i = 0; i < rank; ++i) smallest = std::min(smallest, std::abs(p.a(i, i)));
  const double weight = rank == 0 ? 1.0 : std::min(weight_of_undetermined, 1e-3 * smallest);
  for (int j = 0; j < p.n; ++j) {
    std::fill_n(t.column_data(j), p.n, 0.0);
    if (j < rank) {
      std::copy_n(p.a.column_data(j), j + 1, t.column_data(j));
    } else {
      t(j, j) = weight;
    }
    f[j] = j < rank ? p.b[j] : 0.0;
  }
}

// Problem LDP: with z = T y - f, the shortest z for which G T^-1 z >= h - G T^-1 f. Its dual is
// NNLS with the columns [T^-T G_i; h_i - G_i T^-1 f] and the right-hand side (0, ..., 0, 1); the
// rows with a positive dual value are the active ones. Lengths are in units of the distance to the
// farthest single row, so that the last row of the residual stays clear of rounding.
// Returns how many rows index then begins with.
int guess_active_rows(const Problem& p, const MatrixView& t, double* reals, int* index) {
  const int n = p.n;
  NnlsProblem dual{};
  Slices<double> slices(reals, p.reals_left - (reals - p.reals));
  dual.e = {slices.take(std::int64_t{n + 1} * p.mg), n + 1, p.mg, n + 1};
  dual.f = slices.take(n + 1);
  dual.trial = slices.take(n + 1);
  dual.u = slices.take(p.mg);
  dual.dual = slices.take(p.mg);
  dual.index = index;

  const int stride = static_cast<int>(t.stride);
  double farthest = 0.0;
  for (int i = 0; i < p.mg; ++i) {
    double* column = dual.e.column_data(i);
    column[n] = p.h[i];
    for (int j = 0; j < n; ++j) {
      column[j] = p.g(i, j);
      column[n] -= p.g(i, j) * p.y[j];
    }
    dtrsv_("U", "T", "N", &n, t.data, &stride, column, &one);
    const double size = length(column, n);
    if (size > 0.0) farthest = std::max(farthest, column[n] / size);
  }
  for (int i = 0; i < p.mg; ++i) {
    double* column = dual.e.column_data(i);
    if (row_is_empty(p, i)) column[n] = 0.0;
    if (farthest > 0.0) column[n] /= farthest;
    const double size = length(column, n + 1);
    for (int j = 0; j <= n && size > 0.0; ++j) column[j] /= size;
  }
  std::fill_n(dual.f, n, 0.0);
  dual.f[n] = 1.0;
  return nnls(dual, 3 * (n + p.mg)).passive;
}

// p.y holds the solution without the rows on entry, the solution with them on return.
Verdict solve_with_rows(Problem& p) {
  const int n = p.n;
  const std::int64_t square = std::int64_t{n} * n;
  Slices<double> reals(p.reals, p.reals_left);
  Slices<int> integers(p.integers, p.integers_left);
  const MutableMatrixView t{reals.take(square), n, n, n};
  double* f = reals.take(n);
  fill_reduced(p, t, f);
  const ReducedProblem reduced{n, p.factor.rank, t, f, p.g, p.h};

  ActiveRowsWork work{};
  work.q = {reals.take(square), n, n, n};
  work.turned = {reals.take(square), n, n, n};
  for (double** vector : {&work.tau, &work.image, &work.rest, &work.kept, &work.u, &work.next,
                          &work.free.tau, &work.free.ztau})
    *vector = reals.take(n);
  work.y = p.y;
  work.free.work = p.factor.work;
  work.free.work_length = p.factor.work_length;
  work.free.pivot = integers.take(n);
  work.active = integers.take(n);
  work.state = integers.take(p.mg);
  int* index = integers.take(p.mg);

  const int guesses = guess_active_rows(p, t, reals.take(0), index);
  const Verdict verdict = settle_active_rows(reduced, work, index, guesses);
  if (verdict == Verdict::solved && !rows_hold(p, acceptable_violation)) return Verdict::gave_up;
  return verdict;
}

// |A x - b| from what the triangle leaves and what it doesn't reach.
double residual_length(const Problem& p) {
  const int rank = p.factor.rank;
  double all = rank < p.ma ? length(p.b + rank, p.ma - rank) : 0.0;
  for (int i = 0; i < rank; ++i) {
    double rest = -p.b[i];
    for (int j = i; j < rank; ++j) rest += p.a(i, j) * p.y[j];
    all = std::hypot(all, rest);
  }
  return all;
}

}  // namespace

// Reduces A, takes the plain solution if the rows allow it, otherwise searches for the active rows.
void lsei(double* w, int mdw, int me, int ma, int mg, int n, const double* prgopt, double* x,
          double& rnorme, double& rnorml, int& mode, double* ws, int* ip) {
  rnorme = 0.0;
  rnorml = 0.0;
  mode = mode_failed;
  if (!usage_is_good(w, mdw, me, ma, mg, n, prgopt, ip)) return;
  ip[2] = 0;

  Problem p = take_apart(w, mdw, ma, mg, n, ws, ip);
  scale(p);
  if (!empty_rows_hold(p)) {
    mode = mode_contradictory;
    return;
  }

  double rest = solve_plainly(p);
  ip[2] = p.factor.rank;

  if (mg > 0) {
    turn_rows(p.factor, p.g);
    if (!rows_hold(p, row_rounding)) {
      const Verdict verdict = solve_with_rows(p);
      if (verdict == Verdict::contradictory) mode = mode_contradictory;
      if (verdict != Verdict::solved) return;
      rest = residual_length(p);
    }
  }

  turn_back(p.factor, p.y, x);
  for (int j = 0; j < n; ++j) x[j] *= p.column_scale[j];
  rnorml = rest;
  mode = mode_solved;
}

}  // namespace torve
