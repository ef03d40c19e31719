// Random small problems for selection: every metric with every kind of peculiarity. What they are
// is known beside their problem files, so that a selection in the test can take them up.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "support/reference_selection.h"
#include "support/small_problem.h"

namespace torve::test {

enum class Twist {
  plain,
  few_points,  // as many points as a model with every column has terms, and one more
  maxterms,
  ignored_output,
  missing_values,
  at_most,
  at_least,
  requires_group,
  excludes_group,
  nested_groups,
  null_column,
  estimated_sigma,
};

struct TwistRow {
  std::string_view name;
  Twist twist;
};

// A problem file, and what a selection has to know of it.
struct RandomCase {
  SmallProblem problem;
  std::vector<std::vector<double>> columns;
  std::vector<std::vector<bool>> use;  // by output
  Mask screened = 0;
  ReferenceGroups groups;  // of the first output, which every rule is for
  std::vector<bool> rule_is_for_all;
  ReferenceOptions options;
  std::vector<int> modelled;  // outputs with a model

  std::vector<double> values(int k) const;
  ReferenceGroups groups_of(int k) const;
  ReferenceSelection reference(int k) const;
};

struct RandomRow {
  int modeler;
  TwistRow twist;
};

std::vector<RandomRow> all_random_rows();
std::string random_row_name(const testing::TestParamInfo<RandomRow>& info);
// gtest shows a row by its name.
void PrintTo(const RandomRow& row, std::ostream* out);

// How many problems there are of a row. Their files name no strategy of selection.
inline constexpr int endless_rounds = 4;
inline constexpr int ending_rounds = 6;
// Tolerances are far below zero: no gain is too small to go on.
RandomCase endless_case(const RandomRow& row, int round);
// Tolerances are such that each rule that ends the walk over sizes has its turn.
RandomCase ending_case(const RandomRow& row, int round);

}  // namespace torve::test
