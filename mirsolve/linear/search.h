// Branch and bound by COIN-OR Cbc over the switches of a model.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "mirsolve/linear/model.h"
#include "mirsolve/linear/program.h"

namespace mirsolve::linear {

struct SearchOptions {
  double absolute_gap = 0.0;
  double relative_gap = 0.0;
  double cutoff = infinite;  // only points below it are wanted
  bool first_point = false;
};

struct SearchEnd {
  End end = End::failed;  // optimal: all nodes were seen, with or without a point
  bool first_was_enough = false;
  std::vector<double> point;  // of all columns; empty where none was found
  double value = infinite;    // the point's objective, as the search has it
  double bound = -infinite;   // of the relaxation: no point is below it
  std::int64_t nodes = 0;
};

SearchEnd search(const Model& model, const SearchOptions& options, Clock& clock);

// The best point with the positions that binary variables have in `near`, if there is one.
struct Fit {
  End end = End::failed;
  std::vector<double> point;  // of the file's variables, the binary ones whole
  double objective = 0.0;     // of the model
};
Fit fit(const Model& model, std::span<const double> near, Clock& clock);

}  // namespace mirsolve::linear
