// Random problems of the kinds that selection finds easy or hard, for tests that two ways to select
// leave the same.
#pragma once

#include <string>
#include <vector>

#include "support/small_problem.h"

namespace torve::test {

struct DesignProblem {
  std::string name;
  void (*make)(SmallProblem& problem, Random& random, int points);
  std::string options;  // its columns, and a trace
  int largest = 6;      // size for which a fit of every subset doesn't take too long
};

const std::vector<DesignProblem>& design_problems();

// Options of a metric: what it divides by and charges, and a tolerance that may end the search.
std::string metric_options(Random& random, int modeler);

// Screen, listing and trace, but for times.
void expect_same_texts(const SmallRun& expected, const SmallRun& found);

}  // namespace torve::test
