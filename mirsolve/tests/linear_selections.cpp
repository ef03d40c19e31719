#include "linear_selections.h"

#include <cmath>

#include "support/random.h"

namespace mirsolve::test {

Data drawn_data(const Fit& fit, std::uint64_t seed) {
  torve::test::Random dice(seed);
  Data data;
  for (int i = 0; i < fit.rows; ++i) {
    Row row;
    for (int j = 0; j < fit.columns; ++j)
      row.push_back(j == 0 ? 1.0 : std::round(dice.real(-40.0, 40.0)) / 8.0);
    if (fit.column_twice) row.back() = row[0];
    data.z.push_back(std::round(dice.real(-80.0, 80.0)) / 8.0);
    data.x.push_back(row);
  }
  return data;
}

namespace {

void add_switches(Problem& problem, const Fit& fit, int first_beta) {
  ExpressionGraph& g = problem.graph;
  for (int j = 0; j < fit.columns; ++j) {
    const NodeId y = g.variable(j);
    const NodeId beta = g.variable(first_beta + j);
    add_statement(problem, minus(g, times(g, -fit.bound, y), beta), Relation::at_most, 0.0);
    add_statement(problem, minus(g, beta, times(g, fit.bound, y)), Relation::at_most, 0.0);
  }
}

void add_errors(Problem& problem, const Fit& fit, const Data& data, int first_error,
                int first_beta) {
  ExpressionGraph& g = problem.graph;
  for (std::size_t i = 0; i < data.x.size(); ++i) {
    const int error = first_error + (fit.largest_error ? 0 : static_cast<int>(i));
    const NodeId residual = minus(g, g.number(data.z[i]), linear(g, 0.0, data.x[i], first_beta));
    const double scale = fit.largest_error ? 100.0 / std::abs(data.z[i] + 0.0625) : 1.0;
    for (const double sign : {scale, -scale}) {
      add_statement(problem, minus(g, times(g, sign, residual), g.variable(error)),
                    Relation::at_most, 0.0);
    }
  }
}

void add_switched_sums(Problem& problem, const Fit& fit, const Data& data, int first_error) {
  ExpressionGraph& g = problem.graph;
  for (int j = 0; j < fit.columns; ++j) {
    Row column;
    for (const Row& row : data.x) column.push_back(row[static_cast<std::size_t>(j)]);
    const NodeId sum = linear(g, 0.0, column, first_error);
    const NodeId off = minus(g, g.number(1.0), g.variable(j));
    problem.statements.push_back({"a", sum, Relation::at_most, times(g, fit.bound, off)});
    problem.statements.push_back({"b", sum, Relation::at_least, times(g, -fit.bound, off)});
  }
}

}  // namespace

Problem selection(const Fit& fit, const Data& data) {
  Problem problem;
  ExpressionGraph& g = problem.graph;
  for (int j = 1; j <= fit.columns; ++j)
    add_variable(problem, VariableKind::binary, "y_" + std::to_string(j));
  const int errors = fit.largest_error ? 1 : fit.rows;
  for (int i = 1; i <= errors; ++i)
    add_variable(problem, VariableKind::positive, "e_" + std::to_string(i));
  const int first_beta = fit.columns + errors;
  for (int j = 1; j <= fit.columns; ++j) {
    Variable& beta = problem.variables[static_cast<std::size_t>(
        add_variable(problem, VariableKind::free, "beta_" + std::to_string(j)))];
    beta.lower = -fit.bound;
    beta.upper = fit.bound;
  }
  const NodeId count = linear(g, 0.0, ones(fit.columns));
  if (fit.most < fit.columns || fit.just_as_many) {
    add_statement(problem, count, fit.just_as_many ? Relation::equal : Relation::at_most, fit.most);
  }
  add_switches(problem, fit, first_beta);
  add_errors(problem, fit, data, fit.columns, first_beta);
  if (fit.switches_sums) add_switched_sums(problem, fit, data, fit.columns);
  problem.objective =
      g.sum(std::array{linear(g, 0.0, ones(errors), fit.columns), times(g, fit.penalty, count)});
  return problem;
}

}  // namespace mirsolve::test
