// Random models of the kind that TORVE writes, for tests and benchmarks.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

#include "box_formulas.h"
#include "support/random.h"

namespace mirsolve::test {

// A basis function of one or two inputs.
struct ModelTerm {
  enum class Kind : int { power, log, exponential, product, ratio, sine };
  Kind kind = Kind::power;
  std::size_t a = 0;
  std::size_t b = 0;
  double p = 1.0;
  double q = 1.0;

  double value(const std::vector<double>& x) const {
    switch (kind) {
      case Kind::power:
        return std::pow(x[a], p);
      case Kind::log:
        return std::log(x[a]);
      case Kind::exponential:
        return std::exp(x[a]);
      case Kind::product:
        return std::pow(x[a], p) * std::pow(x[b], q);
      case Kind::ratio:
        return std::pow(x[a] / x[b], p);
      case Kind::sine:
        return std::sin(x[a]);
    }
    return 0.0;
  }
  Term formula(std::span<const Term> x) const {
    switch (kind) {
      case Kind::power:
        return pow(x[a], p);
      case Kind::log:
        return log(x[a]);
      case Kind::exponential:
        return exp(x[a]);
      case Kind::product:
        return pow(x[a], p) * pow(x[b], q);
      case Kind::ratio:
        return pow(x[a] / x[b], p);
      case Kind::sine:
        return sin(x[a]);
    }
    return x[a];
  }
  friend bool operator==(const ModelTerm&, const ModelTerm&) = default;
};

struct Model {
  std::vector<ModelTerm> terms;
  std::vector<double> factors;
  Sides sides;

  double value(const std::vector<double>& x) const {
    double sum = 0.0;
    for (std::size_t i = 0; i < terms.size(); ++i) sum += factors[i] * terms[i].value(x);
    return sum;
  }
  Problem problem() const {
    return box_problem(sides, [this](std::span<const Term> x) {
      std::vector<NodeId> ids;
      for (std::size_t i = 0; i < terms.size(); ++i) {
        ids.push_back((factors[i] * terms[i].formula(x)).id);
      }
      return Term{x[0].graph, x[0].graph->sum(ids)};
    });
  }
};

inline std::vector<double> random_point(torve::test::Random& random, const Sides& sides) {
  std::vector<double> x;
  for (const auto& [low, high] : sides) x.push_back(random.real(low, high));
  return x;
}

inline ModelTerm random_term(torve::test::Random& random, int inputs) {
  constexpr double powers[] = {-2.0, -1.0, -0.5, 0.5, 1.0, 2.0, 3.0};
  ModelTerm term;
  term.kind = static_cast<ModelTerm::Kind>(random.whole(0, 5));
  term.a = static_cast<std::size_t>(random.whole(0, inputs - 1));
  term.b = static_cast<std::size_t>(random.whole(0, inputs - 1));
  term.p = powers[random.whole(0, 6)];
  term.q = powers[random.whole(0, 6)];
  return term;
}

// Gaussian elimination with row exchanges; rows of [A b].
inline std::vector<double> solved(std::vector<std::vector<double>> rows) {
  const std::size_t n = rows.size();
  for (std::size_t k = 0; k < n; ++k) {
    std::size_t pivot = k;
    for (std::size_t i = k; i < n; ++i) {
      if (std::abs(rows[i][k]) > std::abs(rows[pivot][k])) pivot = i;
    }
    std::swap(rows[k], rows[pivot]);
    for (std::size_t i = k + 1; i < n; ++i) {
      const double factor = rows[i][k] / rows[k][k];
      for (std::size_t j = k; j <= n; ++j) rows[i][j] -= factor * rows[k][j];
    }
  }
  std::vector<double> x(n);
  for (std::size_t k = n; k-- > 0;) {
    x[k] = rows[k][n];
    for (std::size_t j = k + 1; j < n; ++j) x[k] -= rows[k][j] * x[j];
    x[k] /= rows[k][k];
  }
  return x;
}

// Opposed: through random values at as many random points as there are terms, which gives large
// factors that nearly cancel. Otherwise the factors are random.
inline Model random_model(std::uint64_t seed, int inputs, int terms, bool opposed) {
  torve::test::Random random(seed);
  Model model;
  for (int i = 0; i < inputs; ++i)
    model.sides.emplace_back(random.real(0.5, 1.5), random.real(2.0, 4.0));
  while (static_cast<int>(model.terms.size()) < terms) {
    const ModelTerm term = random_term(random, inputs);
    const bool is_single =
        term.kind == ModelTerm::Kind::product || term.kind == ModelTerm::Kind::ratio;
    if (is_single && term.a == term.b) continue;
    const std::vector<double> x = random_point(random, model.sides);
    const bool is_known = std::ranges::any_of(model.terms, [&](const ModelTerm& other) {
      const std::vector<double> y = random_point(random, model.sides);
      return other.value(x) == term.value(x) && other.value(y) == term.value(y);
    });
    if (!is_known) model.terms.push_back(term);
  }
  for (int i = 0; i < terms; ++i) model.factors.push_back(10.0 * random.normal());
  if (!opposed) return model;
  std::vector<std::vector<double>> rows;
  for (int i = 0; i < terms; ++i) {
    const std::vector<double> x = random_point(random, model.sides);
    std::vector<double> row;
    for (const ModelTerm& term : model.terms) row.push_back(term.value(x));
    row.push_back(random.normal());
    rows.push_back(std::move(row));
  }
  model.factors = solved(std::move(rows));
  return model;
}

}  // namespace mirsolve::test
