#include "small_programs.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace torve::test {

namespace {

constexpr Real tiny = 1e-12L;

Real product(const RealVector& a, const RealVector& x) {
  Real sum = 0;
  for (std::size_t j = 0; j < a.size(); ++j) sum += a[j] * x[j];
  return sum;
}

Real size_of(const RealVector& a) {
  Real size = 0;
  for (const Real value : a) size = std::max(size, std::abs(value));
  return size;
}

// A row whose largest coefficient is 1.
Row normalised(const Row& row) {
  const Real size = size_of(row.a);
  if (size == 0) return row;
  Row result = row;
  for (Real& value : result.a) value /= size;
  result.b /= size;
  return result;
}

bool holds(const Row& row, const RealVector& x) {
  const Real difference = product(row.a, x) - row.b;
  const Real tolerance = 1e-10L * (1 + std::abs(row.b));
  return row.equality ? std::abs(difference) <= tolerance : difference <= tolerance;
}

// Solves the square system by elimination with complete pivoting; what has no pivot is 0. Nothing
// when the system contradicts itself.
std::optional<RealVector> solve_system(std::vector<RealVector> a, RealVector b) {
  const std::size_t n = b.size();
  std::vector<std::size_t> order(n);
  for (std::size_t j = 0; j < n; ++j) order[j] = j;
  Real size = 0;
  for (const RealVector& row : a) size = std::max(size, size_of(row));
  std::size_t rank = 0;
  for (; rank < n; ++rank) {
    std::size_t p = rank;
    std::size_t q = rank;
    for (std::size_t i = rank; i < n; ++i) {
      for (std::size_t j = rank; j < n; ++j) {
        if (std::abs(a[i][j]) > std::abs(a[p][q])) p = i, q = j;
      }
    }
    if (std::abs(a[p][q]) <= 1e-15L * size) break;
    std::swap(a[rank], a[p]);
    std::swap(b[rank], b[p]);
    for (RealVector& row : a) std::swap(row[rank], row[q]);
    std::swap(order[rank], order[q]);
    for (std::size_t i = rank + 1; i < n; ++i) {
      const Real factor = a[i][rank] / a[rank][rank];
      for (std::size_t j = rank; j < n; ++j) a[i][j] -= factor * a[rank][j];
      b[i] -= factor * b[rank];
    }
  }
  for (std::size_t i = rank; i < n; ++i) {
    if (std::abs(b[i]) > 1e-9L * (1 + size_of(b))) return std::nullopt;
  }
  RealVector x(n, 0);
  for (std::size_t i = rank; i-- > 0;) {
    Real sum = b[i];
    for (std::size_t j = i + 1; j < rank; ++j) sum -= a[i][j] * x[order[j]];
    x[order[i]] = sum / a[i][i];
  }
  return x;
}

// Simplex in a full tableau. The column of the least reduced cost enters; while steps stay where
// they are, the rule of the least index, so that none comes back. Columns: those of `c`; the last
// entry of a row is its right-hand side, never negative.
class Tableau {
 public:
  Tableau(std::vector<RealVector> rows, std::vector<std::size_t> basis)
      : rows_(std::move(rows)), basis_(std::move(basis)) {}

  // False when the objective has no least value. Columns from `allowed` on stay out.
  bool minimise(const RealVector& c, std::size_t allowed);
  Real value(const RealVector& c) const;
  // Takes columns from `first` on out of the basis where that is possible.
  void drive_out(std::size_t first);
  RealVector solution(std::size_t count) const;

 private:
  void pivot(std::size_t row, std::size_t column);
  RealVector reduced_costs(const RealVector& c) const;

  std::vector<RealVector> rows_;
  std::vector<std::size_t> basis_;
};

void Tableau::pivot(std::size_t row, std::size_t column) {
  const Real p = rows_[row][column];
  std::vector<std::size_t> filled;
  for (std::size_t j = 0; j < rows_[row].size(); ++j) {
    if (rows_[row][j] == 0) continue;
    rows_[row][j] /= p;
    filled.push_back(j);
  }
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    const Real factor = rows_[i][column];
    if (i == row || factor == 0) continue;
    for (const std::size_t j : filled) rows_[i][j] -= factor * rows_[row][j];
  }
  basis_[row] = column;
}

RealVector Tableau::reduced_costs(const RealVector& c) const {
  RealVector costs = c;
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    const Real factor = c[basis_[i]];
    if (factor == 0) continue;
    for (std::size_t j = 0; j < costs.size(); ++j) costs[j] -= factor * rows_[i][j];
  }
  return costs;
}

bool Tableau::minimise(const RealVector& c, std::size_t allowed) {
  RealVector costs = reduced_costs(c);
  const auto end = costs.begin() + static_cast<std::ptrdiff_t>(allowed);
  const auto gains = [](Real cost) { return cost < -tiny; };
  bool stays = false;
  while (true) {
    const auto found =
        stays ? std::find_if(costs.begin(), end, gains) : std::min_element(costs.begin(), end);
    if (found == end || !gains(*found)) return true;
    const auto entering = static_cast<std::size_t>(found - costs.begin());
    std::optional<std::size_t> leaving;
    Real least = 0;
    for (std::size_t i = 0; i < rows_.size(); ++i) {
      if (rows_[i][entering] <= tiny) continue;
      const Real ratio = rows_[i].back() / rows_[i][entering];
      const bool tie = leaving && ratio == least && basis_[i] < basis_[*leaving];
      if (!leaving || ratio < least || tie) leaving = i, least = ratio;
    }
    if (!leaving) return false;
    stays = least <= tiny;
    pivot(*leaving, entering);
    const Real factor = costs[entering];
    for (std::size_t j = 0; j < costs.size(); ++j) costs[j] -= factor * rows_[*leaving][j];
  }
}

Real Tableau::value(const RealVector& c) const {
  Real sum = 0;
  for (std::size_t i = 0; i < rows_.size(); ++i) sum += c[basis_[i]] * rows_[i].back();
  return sum;
}

void Tableau::drive_out(std::size_t first) {
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    if (basis_[i] < first) continue;
    for (std::size_t j = 0; j < first; ++j) {
      if (std::abs(rows_[i][j]) > 1e-9L) {
        pivot(i, j);
        break;
      }
    }
  }
}

RealVector Tableau::solution(std::size_t count) const {
  RealVector x(count, 0);
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    if (basis_[i] < count) x[basis_[i]] = rows_[i].back();
  }
  return x;
}

// A quadratic program without rows but for equalities, by its conditions of optimality.
std::optional<RealVector> least_on_equalities(const std::vector<RealVector>& h, const RealVector& c,
                                              const std::vector<Row>& equalities) {
  const std::size_t n = c.size();
  const std::size_t m = equalities.size();
  std::vector<RealVector> a(n + m, RealVector(n + m, 0));
  RealVector b(n + m, 0);
  for (std::size_t i = 0; i < n; ++i) {
    std::copy(h[i].begin(), h[i].end(), a[i].begin());
    b[i] = -c[i];
  }
  for (std::size_t r = 0; r < m; ++r) {
    for (std::size_t j = 0; j < n; ++j) a[n + r][j] = a[j][n + r] = equalities[r].a[j];
    b[n + r] = equalities[r].b;
  }
  std::optional<RealVector> x = solve_system(std::move(a), std::move(b));
  if (x) x->resize(n);
  return x;
}

// If the least point over some active rows breaks others, one of those is active at the answer:
// otherwise a step from the answer towards that point would lower the objective. So the search
// branches over the broken rows.
class ActiveRows {
 public:
  ActiveRows(const std::vector<RealVector>& h, const RealVector& c, const std::vector<Row>& rows)
      : h_(h), c_(c), rows_(rows) {}

  void search(std::vector<Row> active);
  std::optional<ProgramAnswer> best;

 private:
  Real objective(const RealVector& x) const {
    Real sum = product(c_, x);
    for (std::size_t i = 0; i < x.size(); ++i) sum += product(h_[i], x) * x[i] / 2;
    return sum;
  }

  const std::vector<RealVector>& h_;
  const RealVector& c_;
  const std::vector<Row>& rows_;
};

void ActiveRows::search(std::vector<Row> active) {
  const std::optional<RealVector> x = least_on_equalities(h_, c_, active);
  if (!x) return;
  const Real value = objective(*x);
  if (best && value >= best->objective) return;
  std::vector<const Row*> broken;
  for (const Row& row : rows_) {
    if (!holds(row, *x)) broken.push_back(&row);
  }
  if (broken.empty()) {
    best = ProgramAnswer{*x, value};
    return;
  }
  if (active.size() >= c_.size()) return;
  for (const Row* row : broken) {
    active.push_back(*row);
    search(active);
    active.pop_back();
  }
}

}  // namespace

std::optional<ProgramAnswer> solve_linear(const RealVector& c, const std::vector<Row>& rows) {
  const std::size_t n = c.size();
  // Columns: the positive and the negative side of x, a slack a row, and an artificial value for
  // each row whose slack can't be where the search starts.
  const std::size_t slack = 2 * n;
  const std::size_t artificial = slack + rows.size();
  const auto needs_artificial = [](const Row& row) { return row.equality || row.b < 0; };
  const auto count = static_cast<std::size_t>(std::ranges::count_if(rows, needs_artificial));
  std::vector<RealVector> tableau;
  std::vector<std::size_t> basis;
  RealVector first_costs(artificial + count, 0);
  std::size_t next = artificial;
  for (std::size_t r = 0; r < rows.size(); ++r) {
    const Row row = normalised(rows[r]);
    const Real sign = row.b < 0 ? -1 : 1;
    RealVector line(artificial + count + 1, 0);
    for (std::size_t j = 0; j < n; ++j) {
      line[2 * j] = sign * row.a[j];
      line[2 * j + 1] = -sign * row.a[j];
    }
    if (!row.equality) line[slack + r] = sign;
    line.back() = sign * row.b;
    basis.push_back(slack + r);
    if (needs_artificial(row)) {
      line[next] = first_costs[next] = 1;
      basis.back() = next++;
    }
    tableau.push_back(std::move(line));
  }
  Tableau simplex(std::move(tableau), std::move(basis));
  simplex.minimise(first_costs, artificial + count);
  if (simplex.value(first_costs) > 1e-9L) return std::nullopt;
  simplex.drive_out(artificial);
  RealVector costs(artificial + count, 0);
  for (std::size_t j = 0; j < n; ++j) {
    costs[2 * j] = c[j];
    costs[2 * j + 1] = -c[j];
  }
  if (!simplex.minimise(costs, artificial)) return std::nullopt;
  const RealVector sides = simplex.solution(2 * n);
  ProgramAnswer answer;
  for (std::size_t j = 0; j < n; ++j) answer.x.push_back(sides[2 * j] - sides[2 * j + 1]);
  answer.objective = product(c, answer.x);
  return answer;
}

std::optional<ProgramAnswer> solve_quadratic(const std::vector<RealVector>& h, const RealVector& c,
                                             const std::vector<Row>& rows) {
  std::vector<Row> inequalities;
  std::vector<Row> active;
  for (const Row& row : rows) {
    (row.equality ? active : inequalities).push_back(normalised(row));
  }
  ActiveRows tree(h, c, inequalities);
  tree.search(active);
  return tree.best;
}

}  // namespace torve::test
