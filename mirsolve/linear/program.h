// A model as a linear program of COIN-OR Clp, silent and without presolve.
#pragma once

#include <coin/OsiClpSolverInterface.hpp>
#include <memory>

#include "mirsolve/linear/model.h"
#include "mirsolve/problem/deadline.h"

namespace mirsolve::linear {

// What stops the simplex method between two iterations, for good; its answers are of no use then.
class Clock {
 public:
  explicit Clock(const Deadline& deadline) : deadline_(deadline) {}
  bool has_stopped() const { return has_stopped_; }
  bool is_over() {
    has_stopped_ = has_stopped_ || deadline_.is_over();
    return has_stopped_;
  }
  double left() const { return deadline_.left(); }

 private:
  Deadline deadline_;
  bool has_stopped_ = false;
};

// `closed` is a column behind those of the model, 0 but in a node that is to have no point: a lower
// bound of 1 contradicts its row.
struct Program {
  std::unique_ptr<OsiClpSolverInterface> solver;
  int closed = 0;
};

// The clock must outlive the program and its copies.
Program make_program(const Model& model, const Bounds& bounds, Clock& clock);

enum class End { optimal, infeasible, unbounded, stopped, failed };
End end_of(const OsiClpSolverInterface& solver, const Clock& clock);

}  // namespace mirsolve::linear
