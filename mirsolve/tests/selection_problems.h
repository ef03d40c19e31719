// Problems of selection for tests and benchmarks: numbers from which a Problem is built as the
// program that writes such files states it.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "mirsolve/problem/problem.h"

namespace mirsolve::test {

enum class Sense { at_most, at_least, equal };

// sum of factor * variable, in relation to a limit; variables by number.
struct LinearRow {
  std::vector<std::pair<int, double>> terms;
  Sense sense = Sense::at_most;
  double limit = 0.0;
};

struct SelectionCase {
  std::vector<std::vector<double>> rows;  // data, one row a point
  std::vector<double> z;
  std::vector<double> weights;  // one a row; empty: all 1
  bool counts_squares = true;
  double penalty = 0.0;           // a switch
  std::vector<double> lower;      // of coefficients; empty: -1e31
  std::vector<double> upper;      // empty: 1e31
  std::vector<LinearRow> sizes;   // over all switches: only sense and limit are read
  int groups = 0;                 // binary variables behind the switches
  std::vector<LinearRow> logic;   // over switches, then groups
  std::vector<LinearRow> limits;  // over coefficients
  std::optional<double> square_limit;
  Options options;

  int columns() const { return rows.empty() ? 0 : static_cast<int>(rows.front().size()); }
};

// Switches, groups and coefficients in this order.
Problem build(const SelectionCase& problem);

// Data of so many points and columns, independent and normal, z made of a few of the columns and
// noise. The same numbers everywhere.
SelectionCase random_case(int points, int columns, int true_columns, double noise, unsigned seed);
// Columns as a catalogue has them: powers and products of two inputs, exponentials, logarithms,
// sines, each divided by the mean of its absolute values.
SelectionCase catalogue_case(int points, int columns, double noise, unsigned seed);

}  // namespace mirsolve::test
