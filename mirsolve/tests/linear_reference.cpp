#include "linear_reference.h"

#include <cmath>
#include <cstdlib>
#include <utility>

namespace mirsolve::test {

namespace {

constexpr double huge = 1e29;
constexpr double tolerance = 1e-7;

using Vector = std::vector<long double>;

// factors * x <= right
struct Side {
  Vector factors;
  long double right = 0.0L;
};

// What the problem is once the binary variables have their values.
struct Polyhedron {
  std::vector<int> columns;  // continuous variables
  std::vector<Side> sides;
  Vector cost;
  long double constant = 0.0L;
  bool is_empty = false;
};

// Differences of the formula's values: exact enough for numbers of ordinary size.
Side take_apart(const Problem& problem, NodeId node, std::vector<double> at,
                const std::vector<int>& columns) {
  Side side;
  for (const int j : columns) at[static_cast<std::size_t>(j)] = 0.0;
  const double here = evaluate(problem.graph, node, at);
  side.right = here;
  for (const int j : columns) {
    at[static_cast<std::size_t>(j)] = 1.0;
    const double there = evaluate(problem.graph, node, at);
    at[static_cast<std::size_t>(j)] = 0.0;
    side.factors.push_back(std::abs(here) > huge ? 0.0L : static_cast<long double>(there) - here);
  }
  return side;
}

void add_side(Polyhedron& p, Side side, long double sign) {
  for (long double& factor : side.factors) factor *= sign;
  side.right *= sign;
  if (side.right > static_cast<long double>(huge)) return;
  bool is_number = true;
  for (const long double factor : side.factors) is_number = is_number && factor == 0.0L;
  if (!is_number) {
    p.sides.push_back(std::move(side));
  } else if (side.right < -static_cast<long double>(tolerance)) {
    p.is_empty = true;
  }
}

Polyhedron polyhedron(const Problem& problem, const std::vector<double>& binaries) {
  Polyhedron p;
  for (std::size_t j = 0; j < problem.variables.size(); ++j)
    if (problem.variables[j].kind != VariableKind::binary) p.columns.push_back(static_cast<int>(j));
  const Side cost = take_apart(problem, problem.objective, binaries, p.columns);
  p.cost = cost.factors;
  p.constant = cost.right;
  for (const Statement& statement : problem.statements) {
    Side side = take_apart(problem, statement.left, binaries, p.columns);
    const Side right = take_apart(problem, statement.right, binaries, p.columns);
    for (std::size_t j = 0; j < side.factors.size(); ++j) side.factors[j] -= right.factors[j];
    side.right = right.right - side.right;
    if (statement.relation != Relation::at_least) add_side(p, side, 1.0L);
    if (statement.relation != Relation::at_most) add_side(p, side, -1.0L);
  }
  for (std::size_t j = 0; j < p.columns.size(); ++j) {
    const Variable& variable = problem.variables[static_cast<std::size_t>(p.columns[j])];
    Side side{Vector(p.columns.size(), 0.0L), 0.0L};
    side.factors[j] = 1.0L;
    side.right = variable.upper;
    add_side(p, side, 1.0L);
    side.right = variable.lower;
    add_side(p, side, -1.0L);
  }
  return p;
}

// Gauss's elimination with the largest pivot; false when there is none.
bool solve(std::vector<Vector> m, Vector& x) {
  const std::size_t n = m.size();
  for (std::size_t k = 0; k < n; ++k) {
    std::size_t best = k;
    for (std::size_t i = k; i < n; ++i)
      if (std::abs(m[i][k]) > std::abs(m[best][k])) best = i;
    if (std::abs(m[best][k]) < 1e-12L) return false;
    std::swap(m[k], m[best]);
    for (std::size_t i = 0; i < n; ++i) {
      if (i == k) continue;
      const long double factor = m[i][k] / m[k][k];
      for (std::size_t j = k; j <= n; ++j) m[i][j] -= factor * m[k][j];
    }
  }
  for (std::size_t k = 0; k < n; ++k) x[k] = m[k][n] / m[k][k];
  return true;
}

long double product(const Vector& a, const Vector& b) {
  long double sum = 0.0L;
  for (std::size_t j = 0; j < a.size(); ++j) sum += a[j] * b[j];
  return sum;
}

bool holds(const Polyhedron& p, const Vector& x) {
  for (const Side& side : p.sides) {
    const long double size = 1.0L + std::abs(side.right);
    if (product(side.factors, x) > side.right + static_cast<long double>(tolerance) * size)
      return false;
  }
  return true;
}

// The next choice of as many sides as there are columns, in order; false behind the last one.
bool advance(std::vector<std::size_t>& chosen, std::size_t sides) {
  for (std::size_t k = chosen.size(); k-- > 0;) {
    if (chosen[k] + chosen.size() - k >= sides) continue;
    ++chosen[k];
    for (std::size_t next = k + 1; next < chosen.size(); ++next)
      chosen[next] = chosen[next - 1] + 1;
    return true;
  }
  return false;
}

std::optional<std::pair<long double, Vector>> best_corner(const Polyhedron& p) {
  const std::size_t n = p.columns.size();
  std::optional<std::pair<long double, Vector>> best;
  Vector x(n, 0.0L);
  if (p.is_empty) return best;
  if (n == 0) return std::pair(p.constant, x);
  if (p.sides.size() < n) std::abort();
  std::vector<std::size_t> chosen(n);
  for (std::size_t k = 0; k < n; ++k) chosen[k] = k;
  do {
    std::vector<Vector> m;
    for (const std::size_t k : chosen) {
      m.push_back(p.sides[k].factors);
      m.back().push_back(p.sides[k].right);
    }
    if (!solve(std::move(m), x) || !holds(p, x)) continue;
    const long double value = p.constant + product(p.cost, x);
    if (!best || value < best->first) best = {value, x};
  } while (advance(chosen, p.sides.size()));
  return best;
}

}  // namespace

std::optional<Reference> reference_minimum(const Problem& problem,
                                           const std::vector<double>& binaries) {
  Polyhedron p = polyhedron(problem, binaries);
  if (problem.maximize) {
    for (long double& cost : p.cost) cost = -cost;
    p.constant = -p.constant;
  }
  const auto best = best_corner(p);
  if (!best) return std::nullopt;
  Reference result{static_cast<double>(problem.maximize ? -best->first : best->first), binaries};
  for (std::size_t j = 0; j < p.columns.size(); ++j)
    result.point[static_cast<std::size_t>(p.columns[j])] = static_cast<double>(best->second[j]);
  return result;
}

std::optional<Reference> reference_minimum(const Problem& problem) {
  std::vector<std::size_t> switches;
  for (std::size_t j = 0; j < problem.variables.size(); ++j)
    if (problem.variables[j].kind == VariableKind::binary) switches.push_back(j);
  std::optional<Reference> best;
  for (std::size_t choice = 0; choice < std::size_t{1} << switches.size(); ++choice) {
    std::vector<double> binaries(problem.variables.size(), 0.0);
    bool is_allowed = true;
    for (std::size_t k = 0; k < switches.size(); ++k) {
      const Variable& variable = problem.variables[switches[k]];
      const double value = (choice >> k & 1U) != 0 ? 1.0 : 0.0;
      binaries[switches[k]] = value;
      is_allowed = is_allowed && value >= variable.lower && value <= variable.upper;
    }
    if (!is_allowed) continue;
    const std::optional<Reference> found = reference_minimum(problem, binaries);
    if (!found) continue;
    const bool is_better = !best || (problem.maximize ? found->objective > best->objective
                                                      : found->objective < best->objective);
    if (is_better) best = found;
  }
  return best;
}

}  // namespace mirsolve::test
