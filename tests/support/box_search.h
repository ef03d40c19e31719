// The search of a box for points where a function has the values that are wanted, as a global
// solver would do it: for the stand-ins of solvers.
#pragma once

#include <functional>
#include <limits>
#include <vector>

namespace torve::test {

struct BoxPoint {
  std::vector<double> x;
  double value = 0.0;
};

struct BoxProblem {
  std::vector<double> lowest, highest;
  std::function<double(const std::vector<double>&)> value;  // NaN where a point isn't allowed
  bool maximize = false;
  double least_wanted = -std::numeric_limits<double>::infinity();
  double most_wanted = std::numeric_limits<double>::infinity();
  std::size_t count = 1;  // points that are asked for
  double apart = 0.0;     // how far they lie from each other in some input
};

// The best point first, found on a dense grid and by steps from there that halve when none helps;
// behind it the best points of the grid that lie apart from those before them. Nothing when the
// best value isn't wanted.
std::vector<BoxPoint> search_box(const BoxProblem& problem);

}  // namespace torve::test
