// The best point of a small linear problem by trying every choice of the binary variables and every
// corner of what is left, straight from the problem's formulas.
#pragma once

#include <optional>
#include <vector>

#include "mirsolve/problem/problem.h"

namespace mirsolve::test {

struct Reference {
  double objective = 0.0;
  std::vector<double> point;
};

// Nothing where no point holds all statements. All continuous variables must be bounded, or held
// by statements; numbers from 1e29 on stand for infinity.
std::optional<Reference> reference_minimum(const Problem& problem);

// The same with these values of the binary variables alone.
std::optional<Reference> reference_minimum(const Problem& problem,
                                           const std::vector<double>& binaries);

}  // namespace mirsolve::test
