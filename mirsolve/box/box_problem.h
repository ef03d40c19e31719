// A problem that asks for the least value of one formula over a box.
#pragma once

#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "mirsolve/box/interval.h"
#include "mirsolve/problem/problem.h"

namespace mirsolve::box {

struct BoxProblem {
  std::vector<int> inputs;      // variables of the problem
  std::vector<Interval> sides;  // of each input
  bool is_empty = false;        // a lower bound lies above its upper one
  // Minimised: sum of factor * node. Of a maximised formula that is its negative.
  std::vector<std::pair<double, NodeId>> sum;
  bool maximize = false;
  int defined = -1;  // the variable that stands for the formula in the problem; -1: none does
  // Only points with values between these count, in the minimised sense.
  double least_wanted = -infinity;
  double most_wanted = infinity;

  double in_user_sense(double minimised) const { return maximize ? -minimised : minimised; }
};

// Nothing when the problem is something else: when it has binary variables, inputs without finite
// bounds, or statements other than one equation which defines the objective's variable as a formula
// of the others.
std::optional<BoxProblem> recognise_box(const Problem& problem);

}  // namespace mirsolve::box
