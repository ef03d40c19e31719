#pragma once

#include <span>
#include <string>

#include "run/matrix_view.h"
#include "solvers/best_subset_problem.h"

namespace torve {

// Problems in the language of the solver mirak: sections of options, names and bounds, then named
// statements that end with a semicolon. Blanks and line ends mean nothing to its reader; every
// statement is spread over lines so that no line grows with the problem. Some texts look like slips
// and are a fixed feature of the format all the same; each is named where it is written.

// The best-subset problem as the text of surrogate.mir.
std::string mir_model(const BestSubsetProblem& problem);

// Least squares of chosen columns, unscaled.
struct LeastSquaresProblem {
  MatrixView x;                         // ndata x nbas
  std::span<const double> z;            // ndata
  RowMask rows;                         // ndata: rows of the sum
  ColumnMask chosen;                    // nbas
  std::span<const std::string> labels;  // nbas: for remarks
  double epsa = 0.0;
  double epsr = 0.0;
  double seconds = 0.0;  // time left, not below 0
  bool allowcplex = false;
  bool print_solver = false;  // the solver may print
  bool debug = false;
};

// The same for the text of olr.mir.
std::string mir_least_squares(const LeastSquaresProblem& problem);

}  // namespace torve
