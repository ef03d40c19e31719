#include "mirsolve/linear/program.h"

#include <coin/ClpEventHandler.hpp>
#include <coin/CoinPackedMatrix.hpp>

namespace mirsolve::linear {

namespace {

constexpr double tolerance = 1e-9;  // of rows and of reduced costs

class StopAtDeadline : public ClpEventHandler {
 public:
  explicit StopAtDeadline(Clock* clock) : clock_(clock) {}
  ClpEventHandler* clone() const override { return new StopAtDeadline(*this); }
  int event(Event which) override {
    constexpr int go_on = -1;
    constexpr int stop = 0;
    return which == endOfIteration && clock_->is_over() ? stop : go_on;
  }

 private:
  Clock* clock_;
};

CoinPackedMatrix matrix_of(const std::vector<Row>& rows, int columns) {
  std::vector<int> row_of;
  std::vector<int> column_of;
  std::vector<double> factors;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    for (const auto& [column, factor] : rows[i].terms) {
      row_of.push_back(static_cast<int>(i));
      column_of.push_back(column);
      factors.push_back(factor);
    }
  }
  CoinPackedMatrix matrix(true, row_of.data(), column_of.data(), factors.data(),
                          static_cast<CoinBigIndex>(factors.size()));
  matrix.setDimensions(static_cast<int>(rows.size()), columns);
  return matrix;
}

}  // namespace

Program make_program(const Model& model, const Bounds& bounds, Clock& clock) {
  Program program;
  program.closed = static_cast<int>(model.lower.size());
  std::vector<Row> rows = model.rows;
  rows.push_back({{{program.closed, 1.0}}, -infinite, 0.0});
  std::vector<double> row_lower;
  std::vector<double> row_upper;
  for (const Row& row : rows) {
    row_lower.push_back(std::isinf(row.lower) ? -COIN_DBL_MAX : row.lower);
    row_upper.push_back(std::isinf(row.upper) ? COIN_DBL_MAX : row.upper);
  }
  std::vector<double> lower = bounds.lower;
  std::vector<double> upper = bounds.upper;
  std::vector<double> cost = model.cost;
  lower.push_back(0.0);
  upper.push_back(1.0);
  cost.push_back(0.0);
  for (double& bound : lower) bound = std::max(bound, -COIN_DBL_MAX);
  for (double& bound : upper) bound = std::min(bound, COIN_DBL_MAX);

  program.solver = std::make_unique<OsiClpSolverInterface>();
  OsiClpSolverInterface& solver = *program.solver;
  solver.messageHandler()->setLogLevel(0);
  solver.getModelPtr()->messageHandler()->setLogLevel(0);
  solver.getModelPtr()->setLogLevel(0);
  solver.loadProblem(matrix_of(rows, static_cast<int>(lower.size())), lower.data(), upper.data(),
                     cost.data(), row_lower.data(), row_upper.data());
  solver.setDblParam(OsiPrimalTolerance, tolerance);
  solver.setDblParam(OsiDualTolerance, tolerance);
  solver.setHintParam(OsiDoPresolveInInitial, false, OsiHintDo);
  solver.setHintParam(OsiDoReducePrint, true, OsiHintDo);
  const StopAtDeadline handler(&clock);
  solver.getModelPtr()->passInEventHandler(&handler);
  return program;
}

End end_of(const OsiClpSolverInterface& solver, const Clock& clock) {
  if (clock.has_stopped()) return End::stopped;
  if (solver.isProvenOptimal()) return End::optimal;
  if (solver.isProvenPrimalInfeasible()) return End::infeasible;
  if (solver.isProvenDualInfeasible()) return End::unbounded;
  return End::failed;
}

}  // namespace mirsolve::linear
