#pragma once

#include <span>
#include <string>

#include "solvers/best_subset_problem.h"

namespace torve {

// The programs that GAMS is given, as texts. Each holds all of its data, solves one model and
// writes res.put: the model status, the objective, and for each column whether it is chosen and its
// coefficient (solvers/gms_results.h reads it back).

// How the problem is written besides what it says.
struct GmsOptions {
  std::string solver = "mirak";  // GAMS's name for the solver; mirak and cplex get an option file
};

// surrogate.gms: the best subset, model ssemip with the objective variable sseplus.
std::string gms_model(const BestSubsetProblem& problem, const GmsOptions& options);

// Least squares of chosen columns, unscaled.
struct GmsLeastSquares {
  MatrixView xij;  // ndata x nbas
  std::span<const double> z;
  RowMask rows;
  ColumnMask chosen;
  std::span<const std::string> labels;  // nbas: for remarks
  double epsa = 0.0;
  double epsr = 0.0;
  bool debug = false;
  std::string solver = "mirak";
};

// olr.gms: model olrnlp with the objective variable sse.
std::string gms_least_squares(const GmsLeastSquares& problem);

}  // namespace torve
