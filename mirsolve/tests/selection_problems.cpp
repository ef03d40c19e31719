#include "mirsolve/tests/selection_problems.h"

#include <array>
#include <cmath>
#include <random>

namespace mirsolve::test {

namespace {

std::size_t at(int i) {
  return static_cast<std::size_t>(i);
}

Relation relation(Sense sense) {
  switch (sense) {
    case Sense::at_most:
      return Relation::at_most;
    case Sense::at_least:
      return Relation::at_least;
    case Sense::equal:
      break;
  }
  return Relation::equal;
}

class Builder {
 public:
  explicit Builder(const SelectionCase& from) : from_(from), n_(from.columns()) {}

  Problem run() {
    problem_.options = from_.options;
    declare();
    link();
    for (const LinearRow& row : from_.sizes) {
      LinearRow full = row;
      for (int j = 0; j < n_; ++j) full.terms.emplace_back(j, 1.0);
      add("size", full, 0);
    }
    for (const LinearRow& row : from_.logic) add("logic", row, 0);
    for (const LinearRow& row : from_.limits) add("limit", row, n_ + from_.groups);
    if (from_.square_limit) {
      problem_.statements.push_back(
          {"sselimit", squares(), Relation::at_most, graph().number(*from_.square_limit)});
    }
    problem_.objective = objective();
    return std::move(problem_);
  }

 private:
  ExpressionGraph& graph() { return problem_.graph; }
  double lower(int j) const { return from_.lower.empty() ? -1e31 : from_.lower[at(j)]; }
  double upper(int j) const { return from_.upper.empty() ? 1e31 : from_.upper[at(j)]; }
  int coefficient(int j) const { return n_ + from_.groups + j; }

  void declare() {
    for (int i = 0; i < n_ + from_.groups; ++i) {
      problem_.variables.push_back(
          {"y" + std::to_string(i), VariableKind::binary, 0.0, 1.0, std::nullopt});
    }
    for (int j = 0; j < n_; ++j) {
      problem_.variables.push_back({"beta" + std::to_string(j), VariableKind::free,
                                    std::min(0.0, lower(j)), std::max(0.0, upper(j)),
                                    std::nullopt});
    }
  }

  NodeId term(double factor, int variable) {
    return graph().binary(Operation::product, graph().number(factor), graph().variable(variable));
  }

  // lower * y - beta <= 0, beta - upper * y <= 0
  void link() {
    for (int j = 0; j < n_; ++j) {
      const NodeId zero = graph().number(0.0);
      const NodeId beta = graph().variable(coefficient(j));
      const NodeId below =
          graph().sum(std::array{term(lower(j), j), graph().unary(Operation::negate, beta)});
      const NodeId above =
          graph().sum(std::array{beta, graph().unary(Operation::negate, term(upper(j), j))});
      problem_.statements.push_back({"eq2", below, Relation::at_most, zero});
      problem_.statements.push_back({"eq3", above, Relation::at_most, zero});
    }
  }

  void add(const std::string& name, const LinearRow& row, int first) {
    std::vector<NodeId> terms;
    for (const auto& [variable, factor] : row.terms)
      terms.push_back(term(factor, first + variable));
    problem_.statements.push_back(
        {name, graph().sum(terms), relation(row.sense), graph().number(row.limit)});
  }

  NodeId squares() {
    if (squares_ >= 0) return squares_;
    std::vector<NodeId> terms;
    for (std::size_t i = 0; i < from_.rows.size(); ++i) {
      std::vector<NodeId> fit;
      for (int j = 0; j < n_; ++j) fit.push_back(term(from_.rows[i][at(j)], coefficient(j)));
      const NodeId error = graph().sum(std::array{
          graph().number(from_.z[i]), graph().unary(Operation::negate, graph().sum(fit))});
      const NodeId square = graph().binary(Operation::power, error, graph().number(2.0));
      const double weight = from_.weights.empty() ? 1.0 : from_.weights[i];
      terms.push_back(weight == 1.0 ? square
                                    : graph().binary(Operation::quotient, square,
                                                     graph().number(1.0 / weight)));
    }
    squares_ = graph().sum(terms);
    return squares_;
  }

  NodeId objective() {
    std::vector<NodeId> terms;
    if (from_.counts_squares) terms.push_back(squares());
    if (from_.penalty != 0.0) {
      std::vector<NodeId> switches;
      for (int j = 0; j < n_; ++j) switches.push_back(graph().variable(j));
      terms.push_back(
          graph().binary(Operation::product, graph().number(from_.penalty), graph().sum(switches)));
    }
    return graph().sum(terms);
  }

  const SelectionCase& from_;
  int n_;
  Problem problem_;
  NodeId squares_ = -1;
};

}  // namespace

Problem build(const SelectionCase& problem) {
  return Builder(problem).run();
}

namespace {

// Normal numbers by Box and Muller, as std::normal_distribution differs between libraries.
class Normal {
 public:
  explicit Normal(unsigned seed) : engine_(seed) {}
  double uniform() { return (static_cast<double>(engine_()) + 0.5) / 4294967296.0; }
  double operator()() {
    constexpr double pi = 3.141592653589793;
    return std::sqrt(-2.0 * std::log(uniform())) * std::cos(2.0 * pi * uniform());
  }

 private:
  std::mt19937 engine_;
};

}  // namespace

SelectionCase random_case(int points, int columns, int true_columns, double noise, unsigned seed) {
  Normal normal(seed);
  SelectionCase made;
  for (int i = 0; i < points; ++i) {
    std::vector<double> row(at(columns));
    for (double& x : row) x = normal();
    double z = noise * normal();
    for (int j = 0; j < true_columns; ++j)
      z += (1.0 - 0.5 * (j % 3)) * row[at(j * columns / true_columns)];
    made.rows.push_back(std::move(row));
    made.z.push_back(z);
  }
  return made;
}

SelectionCase catalogue_case(int points, int columns, double noise, unsigned seed) {
  Normal normal(seed);
  SelectionCase made;
  for (int i = 0; i < points; ++i) {
    const double x = 0.5 + 2.0 * normal.uniform();
    const double y = 0.5 + 2.0 * normal.uniform();
    std::vector<double> terms = {1.0,         x,           y,           x * y,
                                 std::exp(x), std::exp(y), std::log(x), std::log(y),
                                 std::sin(x), std::sin(y), std::cos(x), std::cos(y)};
    for (int power = 3; power < 40; ++power) {  // 2 would make the columns of x and y again
      const double exponent = power % 2 == 0 ? power / 2 + 1 : -power / 2;
      terms.push_back(std::pow(x, exponent / 2));
      terms.push_back(std::pow(y, exponent / 2));
      terms.push_back(std::pow(x, exponent / 2) * y);
    }
    terms.resize(at(columns));
    made.rows.push_back(terms);
    made.z.push_back(1.0 + 0.7 * x * y - 0.3 * std::exp(x) + 0.5 * std::sin(y) + noise * normal());
  }
  for (int j = 0; j < columns; ++j) {
    double mean = 0.0;
    for (const auto& row : made.rows) mean += std::abs(row[at(j)]) / points;
    for (auto& row : made.rows) row[at(j)] /= mean;
  }
  return made;
}

}  // namespace mirsolve::test
