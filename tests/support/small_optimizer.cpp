#include "small_optimizer.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace torve::test {

namespace {

constexpr double never_reached = 1e29;  // bounds from here on are none

double dot(const Row& a, const Row& b) {
  double sum = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i) sum += a[i] * b[i];
  return sum;
}

double norm(const Row& a) {
  return std::sqrt(dot(a, a));
}

// a = Q r by modified Gram-Schmidt, columns of q by rows; q^T b beside it. Twice, so that columns
// that nearly depend on each other stay orthogonal.
struct Triangle {
  std::vector<Row> r;  // n x n, upper
  Row q_b;
};

Triangle factor(const std::vector<Row>& a, const Row& b, std::size_t n) {
  std::vector<Row> q(n, Row(a.size(), 0.0));
  Triangle result{std::vector<Row>(n, Row(n, 0.0)), Row(n, 0.0)};
  for (std::size_t j = 0; j < n; ++j) {
    for (std::size_t i = 0; i < a.size(); ++i) q[j][i] = a[i][j];
    for (int pass = 0; pass < 2; ++pass) {
      for (std::size_t k = 0; k < j; ++k) {
        const double projection = dot(q[k], q[j]);
        result.r[k][j] += projection;
        for (std::size_t i = 0; i < a.size(); ++i) q[j][i] -= projection * q[k][i];
      }
    }
    result.r[j][j] = norm(q[j]);
    if (result.r[j][j] > 0.0) {
      for (double& value : q[j]) value /= result.r[j][j];
    }
  }
  Row rest = b;
  for (std::size_t j = 0; j < n; ++j) {
    result.q_b[j] = dot(q[j], rest);
    for (std::size_t i = 0; i < rest.size(); ++i) rest[i] -= result.q_b[j] * q[j][i];
  }
  return result;
}

Row solve_upper(const std::vector<Row>& r, Row right) {
  for (std::size_t j = right.size(); j-- > 0;) {
    for (std::size_t k = j + 1; k < right.size(); ++k) right[j] -= r[j][k] * right[k];
    right[j] /= r[j][j];
  }
  return right;
}

// y of y^T r = left^T.
Row solve_upper_from_left(const std::vector<Row>& r, Row left) {
  for (std::size_t j = 0; j < left.size(); ++j) {
    for (std::size_t k = 0; k < j; ++k) left[j] -= r[k][j] * left[k];
    left[j] /= r[j][j];
  }
  return left;
}

bool is_dependent(const Triangle& triangle) {
  for (std::size_t j = 0; j < triangle.r.size(); ++j) {
    double column = 0.0;
    for (std::size_t k = 0; k <= j; ++k) column = std::hypot(column, triangle.r[k][j]);
    if (triangle.r[j][j] <= 1e-12 * column || column == 0.0) return true;
  }
  return false;
}

// Least squares, where dependent columns get a little weight on their own coefficients.
Triangle factor_safely(std::vector<Row> a, Row b, std::size_t n) {
  Triangle triangle = factor(a, b, n);
  if (!is_dependent(triangle)) return triangle;
  for (std::size_t j = 0; j < n; ++j) {
    double column = 0.0;
    for (const Row& row : a) column = std::hypot(column, row[j]);
    a.emplace_back(n, 0.0);
    a.back()[j] = column > 0.0 ? 1e-7 * column : 1.0;
    b.push_back(0.0);
  }
  return factor(a, b, n);
}

bool holds(const Inequality& inequality, const Row& x, double tolerance) {
  double size = 1.0 + std::abs(inequality.bound);
  for (std::size_t j = 0; j < x.size(); ++j) {
    size += std::abs(inequality.coefficients[j] * x[j]);
  }
  return dot(inequality.coefficients, x) <= inequality.bound + tolerance * size;
}

bool all_hold(const std::vector<Inequality>& inequalities, const Row& x, double tolerance) {
  return std::ranges::all_of(
      inequalities, [&](const Inequality& inequality) { return holds(inequality, x, tolerance); });
}

// min |sum of w(k) columns(k) - f| for w >= 0.
Row nonnegative_squares(const std::vector<Row>& columns, const Row& f) {
  Row w(columns.size(), 0.0);
  std::vector<bool> passive(columns.size(), false);
  const auto residual = [&] {
    Row r = f;
    for (std::size_t k = 0; k < columns.size(); ++k) {
      for (std::size_t i = 0; i < f.size(); ++i) r[i] -= w[k] * columns[k][i];
    }
    return r;
  };
  for (std::size_t round = 0; round < 10 * columns.size() + 10; ++round) {
    const Row r = residual();
    std::size_t enters = columns.size();
    double steepest = 1e-12;
    for (std::size_t k = 0; k < columns.size(); ++k) {
      const double gain = passive[k] ? 0.0 : dot(columns[k], r);
      if (gain > steepest) {
        steepest = gain;
        enters = k;
      }
    }
    if (enters == columns.size()) break;
    passive[enters] = true;
    while (true) {
      std::vector<std::size_t> list;
      for (std::size_t k = 0; k < columns.size(); ++k) {
        if (passive[k]) list.push_back(k);
      }
      std::vector<Row> a(f.size(), Row(list.size(), 0.0));
      for (std::size_t i = 0; i < f.size(); ++i) {
        for (std::size_t p = 0; p < list.size(); ++p) a[i][p] = columns[list[p]][i];
      }
      const Triangle triangle = factor_safely(a, f, list.size());
      const Row s = solve_upper(triangle.r, triangle.q_b);
      double step = 1.0;
      for (std::size_t p = 0; p < list.size(); ++p) {
        if (s[p] <= 0.0) step = std::min(step, w[list[p]] / (w[list[p]] - s[p]));
      }
      for (std::size_t p = 0; p < list.size(); ++p) {
        double& value = w[list[p]];
        value += step * (s[p] - value);
        if (s[p] <= 0.0 && value <= 1e-14) {
          value = 0.0;
          passive[list[p]] = false;
        }
      }
      if (step >= 1.0) break;
    }
  }
  return w;
}

// The least u that fulfils g u >= h; nothing when none does.
std::optional<Row> least_distance(std::vector<Row> g, Row h, std::size_t n) {
  double largest = 0.0;
  for (std::size_t k = 0; k < g.size(); ++k) {
    const double size = norm(g[k]);
    if (size == 0.0) {
      if (h[k] > 0.0) return std::nullopt;
      continue;
    }
    for (double& value : g[k]) value /= size;
    h[k] /= size;
    largest = std::max(largest, h[k]);
  }
  if (largest <= 0.0) return Row(n, 0.0);
  std::vector<Row> columns = g;
  for (std::size_t k = 0; k < g.size(); ++k) columns[k].push_back(h[k] / largest);
  Row f(n + 1, 0.0);
  f[n] = 1.0;
  const Row w = nonnegative_squares(columns, f);
  Row r = f;
  for (std::size_t k = 0; k < columns.size(); ++k) {
    for (std::size_t i = 0; i <= n; ++i) r[i] -= w[k] * columns[k][i];
  }
  if (norm(r) < 1e-7) return std::nullopt;
  Row u(n);
  for (std::size_t j = 0; j < n; ++j) u[j] = -r[j] / r[n] * largest;
  return u;
}

// The tableau of a linear program: rows of equations, the last one of reduced costs.
class Tableau {
 public:
  Tableau(const std::vector<Inequality>& inequalities, std::size_t n)
      : n_(n), m_(inequalities.size()), columns_(2 * n + 2 * m_) {
    for (std::size_t i = 0; i < m_; ++i) {
      const Inequality& inequality = inequalities[i];
      const double sign = inequality.bound < 0.0 ? -1.0 : 1.0;
      Row row(columns_ + 1, 0.0);
      for (std::size_t j = 0; j < n; ++j) {
        row[j] = sign * inequality.coefficients[j];
        row[n + j] = -row[j];
      }
      row[2 * n + i] = sign;
      if (sign < 0.0) row[2 * n + m_ + i] = 1.0;
      row[columns_] = sign * inequality.bound;
      rows_.push_back(std::move(row));
      basis_.push_back(sign < 0.0 ? 2 * n + m_ + i : 2 * n + i);
    }
  }

  // False when there is no least.
  bool minimize(const Row& costs, std::size_t allowed) {
    costs_ = costs;
    costs_.resize(columns_ + 1, 0.0);
    for (std::size_t i = 0; i < m_; ++i) {
      const double cost = costs_[basis_[i]];
      if (cost == 0.0) continue;
      for (std::size_t j = 0; j <= columns_; ++j) costs_[j] -= cost * rows_[i][j];
    }
    for (int pivots = 0; pivots < 20000; ++pivots) {
      const std::size_t enters = find_entering(allowed, pivots > 500);
      if (enters == columns_) return true;
      const std::size_t leaves = find_leaving(enters);
      if (leaves == m_) return false;
      pivot(leaves, enters);
    }
    return false;
  }

  bool make_feasible() {
    Row costs(columns_, 0.0);
    std::fill(costs.begin() + static_cast<std::ptrdiff_t>(artificial()), costs.end(), 1.0);
    minimize(costs, columns_);
    double sum = 0.0;
    double size = 1.0;
    for (std::size_t i = 0; i < m_; ++i) {
      size = std::max(size, std::abs(rows_[i][columns_]));
      if (basis_[i] >= artificial()) sum += rows_[i][columns_];
    }
    if (sum > 1e-8 * size) return false;
    for (std::size_t i = 0; i < m_; ++i) {
      for (std::size_t j = 0; j < artificial() && basis_[i] >= artificial(); ++j) {
        if (std::abs(rows_[i][j]) > 1e-9) pivot(i, j);
      }
    }
    return true;
  }

  Row solution() const {
    Row x(n_, 0.0);
    for (std::size_t i = 0; i < m_; ++i) {
      if (basis_[i] < n_) x[basis_[i]] += rows_[i][columns_];
      if (basis_[i] >= n_ && basis_[i] < 2 * n_) x[basis_[i] - n_] -= rows_[i][columns_];
    }
    return x;
  }

  std::size_t artificial() const { return 2 * n_ + m_; }

 private:
  std::size_t find_entering(std::size_t allowed, bool first) const {
    std::size_t enters = columns_;
    double steepest = -1e-10;
    for (std::size_t j = 0; j < allowed; ++j) {
      if (costs_[j] >= steepest) continue;
      enters = j;
      if (first) return enters;
      steepest = costs_[j];
    }
    return enters;
  }
  std::size_t find_leaving(std::size_t enters) const {
    std::size_t leaves = m_;
    double least = 0.0;
    for (std::size_t i = 0; i < m_; ++i) {
      if (rows_[i][enters] <= 1e-10) continue;
      const double ratio = rows_[i][columns_] / rows_[i][enters];
      if (leaves == m_ || ratio < least || (ratio <= least && basis_[i] < basis_[leaves])) {
        leaves = i;
        least = ratio;
      }
    }
    return leaves;
  }
  void pivot(std::size_t leaves, std::size_t enters) {
    const double value = rows_[leaves][enters];
    for (double& entry : rows_[leaves]) entry /= value;
    const auto clear = [&](Row& row) {
      const double factor = row[enters];
      if (factor == 0.0) return;
      for (std::size_t j = 0; j <= columns_; ++j) row[j] -= factor * rows_[leaves][j];
      row[enters] = 0.0;
    };
    for (std::size_t i = 0; i < m_; ++i) {
      if (i != leaves) clear(rows_[i]);
    }
    clear(costs_);
    basis_[leaves] = enters;
  }

  std::size_t n_, m_, columns_;
  std::vector<Row> rows_;
  std::vector<std::size_t> basis_;
  Row costs_;
};

}  // namespace

std::optional<Row> constrained_squares(const std::vector<Row>& a, const Row& b, std::size_t n,
                                       const std::vector<Inequality>& inequalities) {
  std::vector<Inequality> kept;
  for (const Inequality& inequality : inequalities) {
    if (inequality.bound < never_reached) kept.push_back(inequality);
  }
  const Triangle triangle = factor_safely(a, b, n);
  const Row free = solve_upper(triangle.r, triangle.q_b);
  if (all_hold(kept, free, 1e-12)) return free;
  // x = r^-1 (q_b + u), u the least.
  std::vector<Row> g;
  Row h;
  for (const Inequality& inequality : kept) {
    g.push_back(solve_upper_from_left(triangle.r, inequality.coefficients));
    for (double& value : g.back()) value = -value;
    h.push_back(dot(inequality.coefficients, free) - inequality.bound);
  }
  const std::optional<Row> u = least_distance(g, h, n);
  if (!u) return std::nullopt;
  Row right = triangle.q_b;
  for (std::size_t j = 0; j < n; ++j) right[j] += (*u)[j];
  Row x = solve_upper(triangle.r, right);
  if (!all_hold(kept, x, 1e-6)) return std::nullopt;
  return x;
}

std::optional<Row> linear_program(const Row& costs, const std::vector<Inequality>& inequalities) {
  const std::size_t n = costs.size();
  std::vector<Inequality> kept;
  for (Inequality inequality : inequalities) {
    if (inequality.bound >= never_reached) continue;
    double size = 0.0;
    for (const double value : inequality.coefficients) size = std::max(size, std::abs(value));
    if (size > 0.0) {
      for (double& value : inequality.coefficients) value /= size;
      inequality.bound /= size;
    }
    kept.push_back(std::move(inequality));
  }
  Tableau tableau(kept, n);
  if (!tableau.make_feasible()) return std::nullopt;
  Row both = costs;
  for (const double cost : costs) both.push_back(-cost);
  if (!tableau.minimize(both, tableau.artificial())) return std::nullopt;
  return tableau.solution();
}

}  // namespace torve::test
