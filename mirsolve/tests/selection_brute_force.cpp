#include "mirsolve/tests/selection_brute_force.h"

#include <algorithm>
#include <cmath>

namespace mirsolve::test {

namespace {

using Real = long double;
using Matrix = std::vector<std::vector<Real>>;  // columns

std::size_t at(int i) {
  return static_cast<std::size_t>(i);
}

bool holds(Sense sense, double value, double limit) {
  switch (sense) {
    case Sense::at_most:
      return value <= limit + 1e-9;
    case Sense::at_least:
      return value >= limit - 1e-9;
    case Sense::equal:
      break;
  }
  return std::abs(value - limit) <= 1e-9;
}

Real product(const std::vector<Real>& a, const std::vector<Real>& b) {
  Real sum = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i) sum += a[i] * b[i];
  return sum;
}

// Takes from b what lies along the columns, which are made orthogonal twice over on the way.
// Columns of which nothing is left are passed over. `kept` and `factors` allow to get coefficients.
struct Orthogonal {
  Matrix q;
  std::vector<std::size_t> kept;
  Matrix r;  // by kept column: its factors on q
};

Orthogonal orthogonalise(const Matrix& columns) {
  Orthogonal made;
  for (std::size_t j = 0; j < columns.size(); ++j) {
    std::vector<Real> v = columns[j];
    const Real before = product(v, v);
    std::vector<Real> factors(made.q.size() + 1, 0.0L);
    for (int round = 0; round < 2; ++round) {
      for (std::size_t k = 0; k < made.q.size(); ++k) {
        const Real along = product(made.q[k], v);
        factors[k] += along;
        for (std::size_t i = 0; i < v.size(); ++i) v[i] -= along * made.q[k][i];
      }
    }
    const Real left = std::sqrt(product(v, v));
    if (!(left > 1e-13L * std::sqrt(before))) continue;
    for (Real& a : v) a /= left;
    factors[made.q.size()] = left;
    made.q.push_back(std::move(v));
    made.kept.push_back(j);
    made.r.push_back(std::move(factors));
  }
  return made;
}

struct LeastSquares {
  std::vector<Real> x;
  Real squares = 0.0;
};

LeastSquares fit(const Matrix& columns, std::vector<Real> b) {
  const Orthogonal basis = orthogonalise(columns);
  std::vector<Real> y(basis.q.size(), 0.0L);
  for (int round = 0; round < 2; ++round) {
    for (std::size_t k = 0; k < basis.q.size(); ++k) {
      const Real along = product(basis.q[k], b);
      y[k] += along;
      for (std::size_t i = 0; i < b.size(); ++i) b[i] -= along * basis.q[k][i];
    }
  }
  LeastSquares made;
  made.x.assign(columns.size(), 0.0L);
  for (std::size_t k = basis.q.size(); k-- > 0;) {
    const Real x = y[k] / basis.r[k][k];
    made.x[basis.kept[k]] = x;
    for (std::size_t i = 0; i < k; ++i) y[i] -= x * basis.r[k][i];
  }
  made.squares = product(b, b);
  return made;
}

struct Limit {
  std::vector<Real> factors;  // on the columns of the model
  Real limit;
  bool is_equation;
};

// Everything about a problem that doesn't depend on the model.
class Search {
 public:
  explicit Search(const SelectionCase& from) : from_(from), n_(from.columns()) {
    for (int j = 0; j <= n_; ++j) {
      std::vector<Real> column;
      for (std::size_t i = 0; i < from.rows.size(); ++i) {
        const Real weight = from.weights.empty() ? 1.0 : from.weights[i];
        column.push_back(std::sqrt(weight) * (j < n_ ? from.rows[i][at(j)] : from.z[i]));
      }
      data_.push_back(std::move(column));
    }
    b_ = data_.back();
    data_.pop_back();
  }

  std::optional<BruteForce> run() {
    std::optional<BruteForce> best;
    for (unsigned choice = 0; choice < (1U << n_); ++choice) {
      const std::optional<double> value = objective(choice);
      if (!value || !(*value < from_.options.cutoff)) continue;
      if (!best || *value < best->objective) {
        const std::optional<double> next = best ? std::optional(best->objective) : std::nullopt;
        best = BruteForce{*value, columns_of(choice), next};
      } else if (!best->next || *value < *best->next) {
        best->next = *value;
      }
    }
    return best;
  }

  Real squares(const std::vector<int>& columns) const { return fit(matrix(columns), b_).squares; }

 private:
  std::vector<int> columns_of(unsigned choice) const {
    std::vector<int> columns;
    for (int j = 0; j < n_; ++j) {
      if ((choice >> j & 1U) != 0) columns.push_back(j);
    }
    return columns;
  }

  Matrix matrix(const std::vector<int>& columns) const {
    Matrix made;
    for (const int j : columns) made.push_back(data_[at(j)]);
    return made;
  }

  bool logic_holds(unsigned choice, unsigned groups) const {
    const unsigned all = choice | groups << n_;
    for (const LinearRow& row : from_.logic) {
      double value = 0.0;
      for (const auto& [variable, factor] : row.terms) {
        if ((all >> variable & 1U) != 0) value += factor;
      }
      if (!holds(row.sense, value, row.limit)) return false;
    }
    return true;
  }

  std::optional<double> objective(unsigned choice) const {
    const std::vector<int> columns = columns_of(choice);
    const auto size = static_cast<double>(columns.size());
    for (const LinearRow& row : from_.sizes) {
      if (!holds(row.sense, size, row.limit)) return std::nullopt;
    }
    bool is_possible = false;
    for (unsigned groups = 0; groups < (1U << from_.groups); ++groups) {
      is_possible = is_possible || logic_holds(choice, groups);
    }
    if (!is_possible) return std::nullopt;
    const std::optional<Real> squares = limited_squares(columns);
    if (!squares || (from_.square_limit && *squares > *from_.square_limit)) return std::nullopt;
    return static_cast<double>(from_.counts_squares ? *squares : 0.0L) + from_.penalty * size;
  }

  std::vector<Limit> limits(const std::vector<int>& columns) const {
    std::vector<Limit> made;
    const auto bound = [&](std::size_t place, Real sign, double value) {
      if (std::abs(value) >= 1e30) return;
      made.push_back({std::vector<Real>(columns.size(), 0.0L), sign * value, false});
      made.back().factors[place] = sign;
    };
    for (std::size_t i = 0; i < columns.size(); ++i) {
      if (!from_.lower.empty()) bound(i, -1.0L, from_.lower[at(columns[i])]);
      if (!from_.upper.empty()) bound(i, 1.0L, from_.upper[at(columns[i])]);
    }
    for (const LinearRow& row : from_.limits) {
      const Real sign = row.sense == Sense::at_least ? -1.0L : 1.0L;
      Limit limit{{}, sign * row.limit, row.sense == Sense::equal};
      for (const int j : columns) {
        Real factor = 0.0;
        for (const auto& [column, value] : row.terms) factor += column == j ? sign * value : 0.0L;
        limit.factors.push_back(factor);
      }
      made.push_back(std::move(limit));
    }
    return made;
  }

  // The least sum over all sets of limits made equations, of those whose answer holds all limits.
  std::optional<Real> limited_squares(const std::vector<int>& columns) const {
    const std::vector<Limit> all = limits(columns);
    std::optional<Real> best;
    for (unsigned active = 0; active < (1U << all.size()); ++active) {
      std::vector<const Limit*> chosen;
      for (std::size_t i = 0; i < all.size(); ++i) {
        if ((active >> i & 1U) != 0 || all[i].is_equation) chosen.push_back(&all[i]);
      }
      const std::optional<LeastSquares> made = fit_with(columns, chosen);
      if (!made || !within(all, made->x)) continue;
      if (!best || made->squares < *best) best = made->squares;
    }
    return best;
  }

  static bool within(const std::vector<Limit>& limits, const std::vector<Real>& x) {
    return std::ranges::all_of(limits, [&](const Limit& limit) {
      const Real value = product(limit.factors, x) - limit.limit;
      const Real slack = 1e-12L * (1.0L + std::abs(limit.limit));
      return value <= slack && (!limit.is_equation || value >= -slack);
    });
  }

  // Equations come in as rows of so great a weight that nothing else counts beside them.
  std::optional<LeastSquares> fit_with(const std::vector<int>& columns,
                                       const std::vector<const Limit*>& chosen) const {
    constexpr Real weight = 1e9L;
    if (chosen.size() > columns.size() + 1) return std::nullopt;
    Matrix extended = matrix(columns);
    std::vector<Real> b = b_;
    for (const Limit* limit : chosen) {
      for (std::size_t j = 0; j < columns.size(); ++j) {
        extended[j].push_back(weight * limit->factors[j]);
      }
      b.push_back(weight * limit->limit);
    }
    LeastSquares made = fit(extended, b);
    std::vector<Real> rest = b_;
    for (std::size_t j = 0; j < columns.size(); ++j) {
      for (std::size_t i = 0; i < rest.size(); ++i) rest[i] -= made.x[j] * data_[at(columns[j])][i];
    }
    made.squares = product(rest, rest);
    return made;
  }

  const SelectionCase& from_;
  int n_;
  Matrix data_;
  std::vector<Real> b_;
};

bool holds(Relation relation, double left, double right, double slack) {
  switch (relation) {
    case Relation::at_most:
      return left <= right + slack;
    case Relation::at_least:
      return left >= right - slack;
    case Relation::equal:
      break;
  }
  return std::abs(left - right) <= slack;
}

}  // namespace

std::optional<BruteForce> solve_by_brute_force(const SelectionCase& problem) {
  return Search(problem).run();
}

double squares_by_brute_force(const SelectionCase& problem, const std::vector<int>& columns) {
  return static_cast<double>(Search(problem).squares(columns));
}

std::string broken_by(const Problem& problem, const std::vector<double>& point) {
  for (std::size_t i = 0; i < problem.variables.size(); ++i) {
    const Variable& variable = problem.variables[i];
    const bool is_whole = variable.kind != VariableKind::binary || point[i] == std::round(point[i]);
    if (!(variable.lower <= point[i] && point[i] <= variable.upper) || !is_whole) {
      return variable.name;
    }
  }
  for (const Statement& statement : problem.statements) {
    const double left = evaluate(problem.graph, statement.left, point);
    const double right = evaluate(problem.graph, statement.right, point);
    // The limit of the squares is far below the sizes of other rows.
    const double slack =
        statement.name == "sselimit" ? 1e-9 * right : 1e-8 * (1.0 + std::abs(right));
    if (!holds(statement.relation, left, right, slack)) return statement.name;
  }
  return "";
}

}  // namespace mirsolve::test
