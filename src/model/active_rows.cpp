#include "model/active_rows.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>

#include "model/lapack.h"

// The dual active-set method in the words of nonnegative least squares: the multipliers u >= 0 of
// the rows take the place of the coefficients, a violated row that of the column with a positive
// dual value. Lawson and Hanson, chapter 23, for the walk along u; D. Goldfarb and A. Idnani,
// A numerically stable dual method for solving strictly convex quadratic programs, Math.
// Programming 27 (1983), for the exchange with a row that depends on the active ones.
//
// Each set of active rows is solved as a least-squares problem with equations,
//
//   minimise |T y - f|  subject to  G_S y = h_S,
//
// by the null-space method (Lawson and Hanson, chapter 20): with G_S^T = Q [R; 0] and
// y = Q [v; t], R^T v = h_S, and t solves T Q_2 t = f - T Q_1 v. Nothing is squared and nothing is
// updated from step to step, so the answer is as accurate as the last solve alone.

namespace torve {
namespace {

constexpr double epsilon = std::numeric_limits<double>::epsilon();
constexpr int one = 1;

constexpr double multiplier_rounding = 2e-15;  // of |f| + |y|
constexpr double dependence = 1e-13;           // of a row's length
constexpr double direction_rounding = 1e-11;   // of the largest coefficient of a dependent row

enum State : int { inactive, active, set_aside };

int leading_dimension(const MutableMatrixView& m) {
  return static_cast<int>(m.stride);
}

double length(const double* x, int n) {
  return dnrm2_(&n, x, &one);
}

class Search {
 public:
  Search(const ReducedProblem& problem, const ActiveRowsWork& work)
      : p_(problem), w_(work), per_round_(p_.n + p_.g.rows + 10) {
    std::fill_n(w_.state, p_.g.rows, inactive);
  }

  Verdict run(const int* guess, int guesses);

 private:
  enum class Step { entered, set_aside, contradiction };

  Verdict settle();
  void make_start();
  void solve_on_active(int data_rows, double smallest);
  void correct(int data_rows);
  void find_residual(int data_rows);
  void find_multipliers(int data_rows);
  int most_violated() const;
  Step enter(int row);
  Step exchange(int row);
  bool walk();
  bool shorten();
  void lower_weight();

  double violation(int row) const;
  void transform(int row);
  bool append(int row, double multiplier);
  void remove(int place);
  void apply_q(double* x) const;
  double multiplier_tolerance() const;
  bool spent();

  const ReducedProblem& p_;
  ActiveRowsWork w_;
  int count_ = 0;   // active rows
  int solves_ = 0;  // in this round
  int rounds_ = 0;
  const int per_round_;
  // Tolerances grow with the rounds, so that rounding can't turn the search in a circle forever.
  double looseness_ = 1.0;
};

// The rows of the guess that are independent, then the search; where the data leave y undetermined,
// again with less weight on its length until the answer is the best fit beyond doubt.
Verdict Search::run(const int* guess, int guesses) {
  constexpr int most_weights = 6;
  for (int i = 0; i < guesses; ++i) append(guess[i], 0.0);
  const Verdict verdict = settle();
  const bool undetermined = p_.rank > 0 && p_.rank < p_.n;
  if (verdict != Verdict::solved || !undetermined) return verdict;
  for (int i = 0; i < most_weights && !shorten(); ++i) {
    lower_weight();
    if (settle() == Verdict::solved) continue;
    // There is an answer already, if not the best fit.
    std::copy_n(w_.kept, p_.n, w_.y);
    break;
  }
  return Verdict::solved;
}

// One violated row after the other enters until there is none.
Verdict Search::settle() {
  make_start();
  for (;;) {
    const int row = most_violated();
    if (row < 0) return Verdict::solved;
    switch (enter(row)) {
      case Step::entered:
        if (!walk()) return Verdict::gave_up;
        break;
      case Step::set_aside:
        break;
      case Step::contradiction:
        return Verdict::contradictory;
    }
  }
}

// Drops active rows whose multiplier comes out negative, so that u >= 0 holds.
void Search::make_start() {
  for (;;) {
    solve_on_active(p_.n, 0.0);
    const double* lowest = std::min_element(w_.next, w_.next + count_);
    if (count_ == 0 || *lowest >= -multiplier_tolerance()) break;
    remove(static_cast<int>(lowest - w_.next));
  }
  for (int i = 0; i < count_; ++i) w_.u[i] = std::max(w_.next[i], 0.0);
}

// y and the multipliers `next` for the active rows taken as equations, over the first `data_rows`
// rows of T. Where these rows don't determine y, `smallest` is what counts as a zero of T Q_2, and
// y becomes the shortest one.
void Search::solve_on_active(int data_rows, double smallest) {
  const int n = p_.n;
  const int ldq = leading_dimension(w_.q);
  const int ldt = leading_dimension(w_.turned);

  for (int j = 0; j < n; ++j) std::copy_n(p_.t.column_data(j), data_rows, w_.turned.column_data(j));
  if (count_ > 0) {
    int info = 0;
    dormqr_("R", "N", &data_rows, &n, &count_, w_.q.data, &ldq, w_.tau, w_.turned.data, &ldt,
            w_.free.work, &w_.free.work_length, &info);
    assert(info == 0);
  }
  if (count_ < n) {
    w_.free.a = {w_.turned.column_data(count_), data_rows, n - count_, w_.turned.stride};
    factorize(w_.free);
    cut_rank(w_.free, smallest);
    complete(w_.free);
  }

  // Q spreads the rounding of the largest unknown over all of them; the second pass takes it away.
  std::fill_n(w_.y, n, 0.0);
  for (int pass = 0; pass < 2; ++pass) correct(data_rows);
  find_multipliers(data_rows);
}

// y := y + the solution for what y leaves of f and of h.
void Search::correct(int data_rows) {
  const int n = p_.n;
  const int ldq = leading_dimension(w_.q);
  const int ldt = leading_dimension(w_.turned);
  const double minus_one = -1.0;
  const double plus_one = 1.0;
  find_residual(data_rows);
  if (count_ > 0) {
    for (int i = 0; i < count_; ++i) w_.image[i] = violation(w_.active[i]);
    dtrsv_("U", "T", "N", &count_, w_.q.data, &ldq, w_.image, &one);
    dgemv_("N", &data_rows, &count_, &minus_one, w_.turned.data, &ldt, w_.image, &one, &plus_one,
           w_.rest, &one);
  }
  if (count_ < n) {
    apply_q_transposed(w_.free, w_.rest);
    solve_triangle(w_.free, w_.rest, w_.next);
    turn_back(w_.free, w_.next, w_.image + count_);
  }
  apply_q(w_.image);
  for (int j = 0; j < n; ++j) w_.y[j] += w_.image[j];
}

// rest := f - T y.
void Search::find_residual(int data_rows) {
  for (int i = 0; i < data_rows; ++i) {
    long double sum = p_.f[i];
    for (int j = i; j < p_.n; ++j) sum -= static_cast<long double>(p_.t(i, j)) * w_.y[j];
    w_.rest[i] = static_cast<double>(sum);
  }
}

// next := u from the gradient, T^T (T y - f) = G_S^T u.
void Search::find_multipliers(int data_rows) {
  if (count_ == 0) return;
  const int n = p_.n;
  const int ldq = leading_dimension(w_.q);
  const int t_stride = static_cast<int>(p_.t.stride);
  const double minus_one = -1.0;
  const double zero = 0.0;
  find_residual(data_rows);
  dgemv_("T", &data_rows, &n, &minus_one, p_.t.data, &t_stride, w_.rest, &one, &zero, w_.next,
         &one);
  int info = 0;
  dormqr_("L", "T", &n, &one, &count_, w_.q.data, &ldq, w_.tau, w_.next, &n, w_.free.work,
          &w_.free.work_length, &info);
  assert(info == 0);
  dtrsv_("U", "N", "N", &count_, w_.q.data, &ldq, w_.next, &one);
}

// -1 when every row holds, but for rounding.
int Search::most_violated() const {
  const double y_length = length(w_.y, p_.n);
  int worst = -1;
  double most = 0.0;
  for (int i = 0; i < p_.g.rows; ++i) {
    if (w_.state[i] != inactive) continue;
    const RowCheck check = check_row(p_.g, p_.h, i, w_.y, y_length);
    if (check.violation <= looseness_ * row_rounding * check.size || check.violation <= most)
      continue;
    most = check.violation;
    worst = i;
  }
  return worst;
}

Search::Step Search::enter(int row) {
  if (append(row, 0.0)) return Step::entered;
  return exchange(row);
}

// The row depends on the active ones, G_row = sum r_i G_i. Its multiplier can grow at the cost of
// theirs until one of them is 0; that row makes room. When none of them shrinks, the rows
// contradict each other: G_row + sum |r_i| G_i is 0, and the same sum of h is the violation.
Search::Step Search::exchange(int row) {
  transform(row);
  double* r = w_.image;
  const int ldq = leading_dimension(w_.q);
  if (count_ > 0) dtrsv_("U", "N", "N", &count_, w_.q.data, &ldq, r, &one);

  const double y_length = length(w_.y, p_.n);
  const RowCheck check = check_row(p_.g, p_.h, row, w_.y, y_length);
  double largest = 1.0;
  double rows = 1.0;
  double size = check.size;
  for (int i = 0; i < count_; ++i) {
    largest = std::max(largest, std::abs(r[i]));
    rows += std::abs(r[i]);
    size += std::abs(r[i]) * check_row(p_.g, p_.h, w_.active[i], w_.y, y_length).size;
  }
  const double rounding = row_rounding * size + dependence * rows * y_length;
  if (check.violation <= looseness_ * rounding) {
    w_.state[row] = set_aside;
    return Step::set_aside;
  }

  int leaving = -1;
  double step = 0.0;
  for (int i = 0; i < count_; ++i) {
    if (r[i] <= direction_rounding * largest) continue;
    const double ratio = w_.u[i] / r[i];
    if (leaving >= 0 && ratio >= step) continue;
    step = ratio;
    leaving = i;
  }
  if (leaving < 0) return Step::contradiction;

  for (int i = 0; i < count_; ++i) w_.u[i] = std::max(w_.u[i] - step * r[i], 0.0);
  remove(leaving);
  append(row, step);
  return Step::entered;
}

// From u towards the multipliers of the active rows; a row whose multiplier reaches 0 on the way
// leaves and the goal is computed anew. False when the search has to be given up.
bool Search::walk() {
  for (;;) {
    if (spent()) return false;
    solve_on_active(p_.n, 0.0);
    int blocking = -1;
    double step = 1.0;
    const double tolerance = multiplier_tolerance();
    for (int i = 0; i < count_; ++i) {
      if (w_.next[i] >= -tolerance) continue;
      const double ratio = w_.u[i] / (w_.u[i] - w_.next[i]);
      if (blocking >= 0 && ratio >= step) continue;
      step = ratio;
      blocking = i;
    }
    for (int i = 0; i < count_; ++i)
      w_.u[i] = std::max(w_.u[i] + step * (w_.next[i] - w_.u[i]), 0.0);
    if (blocking < 0) break;
    remove(blocking);
  }
  for (int i = 0; i < p_.g.rows; ++i) {
    if (w_.state[i] == set_aside) w_.state[i] = inactive;
  }
  return true;
}

// Solves once more on the active rows without the added rows of T, for the shortest y among those
// that fit the data equally well. True when that proves to be the answer: it keeps all rows, and no
// multiplier is negative. Otherwise y stays.
bool Search::shorten() {
  std::copy_n(w_.y, p_.n, w_.kept);
  const double old_length = length(w_.y, p_.n);
  double smallest = std::abs(p_.t(0, 0));
  for (int i = 1; i < p_.rank; ++i) smallest = std::min(smallest, std::abs(p_.t(i, i)));
  // A zero of T Q_2 that is only rounding must fall below, the smallest true one stay above.
  solve_on_active(p_.rank, std::clamp(1e-4 * smallest, 8.0 * epsilon, 1e-11));

  const double y_length = length(w_.y, p_.n);
  // A solution that is suddenly much longer went astray for want of a clear rank.
  bool proven = y_length <= 1e6 * old_length;
  for (int i = 0; i < count_ && proven; ++i) proven = w_.next[i] >= -multiplier_tolerance();
  for (int i = 0; i < p_.g.rows && proven; ++i) {
    const RowCheck check = check_row(p_.g, p_.h, i, w_.y, y_length);
    proven = check.violation <= 10.0 * looseness_ * row_rounding * check.size;
  }
  if (!proven) std::copy_n(w_.kept, p_.n, w_.y);
  return proven;
}

// The added rows of T now pull y towards where it is, not towards 0, and less than before: steps of
// the proximal point method, which ends at a best fit after finitely many of them.
void Search::lower_weight() {
  constexpr double factor = 1e-1;
  for (int i = p_.rank; i < p_.n; ++i) {
    p_.t(i, i) *= factor;
    p_.f[i] = p_.t(i, i) * w_.y[i];
  }
}

double Search::violation(int row) const {
  return check_row(p_.g, p_.h, row, w_.y, 0.0).violation;
}

// image := Q^T G_row.
void Search::transform(int row) {
  for (int j = 0; j < p_.n; ++j) w_.image[j] = p_.g(row, j);
  if (count_ == 0) return;
  const int ldq = leading_dimension(w_.q);
  int info = 0;
  dormqr_("L", "T", &p_.n, &one, &count_, w_.q.data, &ldq, w_.tau, w_.image, &p_.n, w_.free.work,
          &w_.free.work_length, &info);
  assert(info == 0);
}

// Makes the row active. False, and nothing done, when it depends on those that are.
bool Search::append(int row, double multiplier) {
  transform(row);
  const int tail = p_.n - count_;
  if (tail == 0 ||
      length(w_.image + count_, tail) <= dependence * looseness_ * length(w_.image, p_.n))
    return false;
  double* column = w_.q.column_data(count_);
  std::copy_n(w_.image, p_.n, column);
  dlarfg_(&tail, column + count_, column + count_ + 1, &one, &w_.tau[count_]);
  w_.active[count_] = row;
  w_.u[count_] = multiplier;
  w_.state[row] = active;
  ++count_;
  return true;
}

// Takes an active row out and factors those behind it anew.
void Search::remove(int place) {
  const int old_count = count_;
  w_.state[w_.active[place]] = inactive;
  count_ = place;
  for (int i = place + 1; i < old_count; ++i) {
    const int row = w_.active[i];
    w_.state[row] = inactive;
    append(row, w_.u[i]);
  }
}

// x := Q x.
void Search::apply_q(double* x) const {
  if (count_ == 0) return;
  const int ldq = leading_dimension(w_.q);
  int info = 0;
  dormqr_("L", "N", &p_.n, &one, &count_, w_.q.data, &ldq, w_.tau, x, &p_.n, w_.free.work,
          &w_.free.work_length, &info);
  assert(info == 0);
}

double Search::multiplier_tolerance() const {
  return looseness_ * multiplier_rounding * (length(p_.f, p_.rank) + length(w_.y, p_.n));
}

// Counts a solve.
bool Search::spent() {
  constexpr int most_rounds = 6;
  if (++solves_ < per_round_) return false;
  solves_ = 0;
  looseness_ *= 10.0;
  return ++rounds_ >= most_rounds;
}

}  // namespace

Verdict settle_active_rows(const ReducedProblem& problem, const ActiveRowsWork& work,
                           const int* guess, int guesses) {
  return Search(problem, work).run(guess, guesses);
}

RowCheck check_row(const MatrixView& g, const double* h, int row, const double* y,
                   double y_length) {
  constexpr double little = 5e-4;
  long double violation = h[row];
  double size = std::abs(h[row]) + little * y_length;
  for (int j = 0; j < g.columns; ++j) {
    const long double term = static_cast<long double>(g(row, j)) * y[j];
    violation -= term;
    size += static_cast<double>(std::abs(term));
  }
  return {static_cast<double>(violation), size};
}

}  // namespace torve
