#include "model/nnls.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "model/lapack.h"

// C. L. Lawson and R. J. Hanson, Solving Least Squares Problems, chapter 23,
// algorithm NNLS: an active-set method that keeps the QR factorization of the
// passive columns (those free to be positive) up to date, with a reflector
// for a column that enters and rotations for a column that leaves.
//
// Deviations: a column is a candidate only when its dual value stands clear
// of rounding, and the number of inner iterations is limited.

namespace torve {
namespace {

constexpr double epsilon = std::numeric_limits<double>::epsilon();

// Below this share of |E_j| |r| a dual value is rounding.
constexpr double dual_tolerance = 16.0 * epsilon;

// A column that sticks out of the passive ones by less than this share of its
// length counts as dependent on them.
constexpr double dependence_tolerance = 64.0 * epsilon;

constexpr int one = 1;

class Solver {
 public:
  Solver(const NnlsProblem& problem, int limit) : p_(problem), left_(limit) {
    for (int j = 0; j < p_.e.columns; ++j) p_.index[j] = j;
    std::fill_n(p_.u, p_.e.columns, 0.0);
  }

  NnlsOutcome run() {
    while (passive_ < p_.e.columns && passive_ < p_.e.rows && enter_a_column()) {
      solve_triangle();
      while (!trial_is_positive()) {
        if (left_-- <= 0) return {passive_, false};
        go_to_boundary();
        drop_zeros();
        solve_triangle();
      }
      for (int i = 0; i < passive_; ++i) p_.u[p_.index[i]] = p_.trial[i];
    }
    return {passive_, true};
  }

 private:
  // Picks the column with the greatest dual value, tests that it's independent
  // of the passive ones and would get a positive value, and moves it over.
  // False when no column qualifies: the solution is optimal.
  bool enter_a_column() {
    const int tail = p_.e.rows - passive_;
    const double residual = dnrm2_(&tail, p_.f + passive_, &one);
    for (int k = passive_; k < p_.e.columns; ++k) {
      const double* column = p_.e.column_data(p_.index[k]);
      double sum = 0.0;
      for (int i = passive_; i < p_.e.rows; ++i) sum += column[i] * p_.f[i];
      const double length = dnrm2_(&p_.e.rows, column, &one);
      p_.dual[k] = sum > dual_tolerance * length * residual ? sum : 0.0;
    }
    for (;;) {
      const double* best = std::max_element(p_.dual + passive_, p_.dual + p_.e.columns);
      if (!(*best > 0.0)) return false;
      const int place = static_cast<int>(best - p_.dual);
      if (try_column(place)) return true;
      p_.dual[place] = 0.0;
    }
  }

  // The column is left as it was when it doesn't qualify.
  bool try_column(int place) {
    const int j = p_.index[place];
    double* column = p_.e.column_data(j);
    const int tail = p_.e.rows - passive_;
    const double length = dnrm2_(&p_.e.rows, column, &one);
    const double sticking_out = dnrm2_(&tail, column + passive_, &one);
    if (sticking_out <= dependence_tolerance * length) return false;

    // Rows passive_ .. of trial hold the reflector's vector, its first
    // element an implied 1.
    double* v = p_.trial + passive_;
    std::copy_n(column + passive_, tail, v);
    double pivot = v[0];
    double tau = 0.0;
    dlarfg_(&tail, &pivot, v + 1, &one, &tau);
    v[0] = 1.0;
    double reflected = p_.f[passive_];
    if (tau != 0.0) {
      double sum = 0.0;
      for (int i = 0; i < tail; ++i) sum += v[i] * p_.f[passive_ + i];
      reflected -= tau * sum;
    }
    if (!(reflected / pivot > 0.0)) return false;

    reflect(p_.f + passive_, v, tail, tau);
    std::swap(p_.index[passive_], p_.index[place]);
    for (int k = passive_ + 1; k < p_.e.columns; ++k)
      reflect(p_.e.column_data(p_.index[k]) + passive_, v, tail, tau);
    column[passive_] = pivot;
    std::fill_n(column + passive_ + 1, tail - 1, 0.0);
    ++passive_;
    return true;
  }

  static void reflect(double* x, const double* v, int n, double tau) {
    double sum = 0.0;
    for (int i = 0; i < n; ++i) sum += v[i] * x[i];
    sum *= tau;
    for (int i = 0; i < n; ++i) x[i] -= sum * v[i];
  }

  // trial := R^-1 (Q^T f), R in the passive columns.
  void solve_triangle() {
    std::copy_n(p_.f, passive_, p_.trial);
    for (int i = passive_ - 1; i >= 0; --i) {
      const double* column = p_.e.column_data(p_.index[i]);
      p_.trial[i] /= column[i];
      for (int l = 0; l < i; ++l) p_.trial[l] -= p_.trial[i] * column[l];
    }
  }

  bool trial_is_positive() const {
    return std::all_of(p_.trial, p_.trial + passive_, [](double value) { return value > 0.0; });
  }

  // u := the last nonnegative point on the way from u to trial. At least one
  // passive value becomes exactly 0.
  void go_to_boundary() {
    double step = 1.0;
    int blocking = -1;
    for (int i = 0; i < passive_; ++i) {
      if (p_.trial[i] > 0.0) continue;
      const double from = p_.u[p_.index[i]];
      const double ratio = from > 0.0 ? from / (from - p_.trial[i]) : 0.0;
      if (blocking >= 0 && ratio >= step) continue;
      step = ratio;
      blocking = i;
    }
    for (int i = 0; i < passive_; ++i) {
      double& value = p_.u[p_.index[i]];
      value += step * (p_.trial[i] - value);
    }
    if (blocking >= 0) p_.u[p_.index[blocking]] = 0.0;
  }

  void drop_zeros() {
    for (int i = passive_ - 1; i >= 0; --i) {
      if (p_.u[p_.index[i]] > 0.0) continue;
      p_.u[p_.index[i]] = 0.0;
      drop(i);
    }
  }

  // Takes the column at `place` out of the passive ones and restores the
  // triangle with rotations of neighbouring rows.
  void drop(int place) {
    const int leaving = p_.index[place];
    for (int i = place; i + 1 < passive_; ++i) {
      p_.index[i] = p_.index[i + 1];
      const double* column = p_.e.column_data(p_.index[i]);
      const double length = std::hypot(column[i], column[i + 1]);
      if (length == 0.0) continue;
      const double c = column[i] / length;
      const double s = column[i + 1] / length;
      for (int j = 0; j < p_.e.columns; ++j) rotate(p_.e.column_data(j) + i, c, s);
      rotate(p_.f + i, c, s);
      p_.e(i + 1, p_.index[i]) = 0.0;
    }
    --passive_;
    p_.index[passive_] = leaving;
  }

  static void rotate(double* pair, double c, double s) {
    const double upper = pair[0];
    pair[0] = c * upper + s * pair[1];
    pair[1] = c * pair[1] - s * upper;
  }

  const NnlsProblem& p_;
  int left_;         // inner iterations still allowed
  int passive_ = 0;  // index[0 .. passive_) are the passive columns
};

}  // namespace

NnlsOutcome nnls(const NnlsProblem& problem, int limit) {
  return Solver(problem, limit).run();
}

}  // namespace torve
