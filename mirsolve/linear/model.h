// A linear problem over binary and continuous variables, as its search wants it: minimized, and
// with every row that a binary variable switches taken apart into bounds that hold while it is 0
// and bounds that hold while it is 1.
//
// Such a row is sum + factor * y <= limit, one y. Files write the factor so large (up to 1e31) that
// a y within the tolerance of 0 lets the sum have any value, and an infinite one isn't a row that
// a linear program could hold. So the factor multiplies nothing here: the sum, a column of its own
// if there are several terms, is bounded when y is decided, and until then by the looser of its two
// bounds. Where the factor is small the row is kept besides, since it sharpens the relaxation.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "mirsolve/problem/forms.h"
#include "mirsolve/problem/problem.h"

namespace mirsolve::linear {

inline constexpr double as_good_as_infinite = 1e30;

// lower <= sum of factor * column <= upper
struct Row {
  std::vector<std::pair<int, double>> terms;
  double lower = -infinite;
  double upper = infinite;
  bool is_link = false;  // it gives a sum its column, or ties a column to its switch
};

struct Limits {
  int column = 0;
  double lower = -infinite;
  double upper = infinite;
};

struct Switch {
  int column = 0;  // of the binary variable
  std::vector<Limits> off;
  std::vector<Limits> on;

  const std::vector<Limits>& at(bool is_on) const { return is_on ? on : off; }
};

// form <relation> 0, as the file has it
struct Condition {
  LinearForm form;
  Relation relation = Relation::at_most;
};

struct Model {
  int variables = 0;  // the first columns are the variables of the file
  std::vector<double> lower;
  std::vector<double> upper;
  std::vector<double> cost;
  double constant = 0.0;
  std::vector<Row> rows;         // all that a linear program holds
  std::vector<Row> logic;        // those of them that are made of binary variables alone
  std::vector<Switch> switches;  // one for each binary variable, in order
  std::vector<Condition> conditions;
  std::vector<double> unit;  // by column: what 1 stands for; powers of two, 1 for binary variables
};

struct Bounds {
  std::vector<double> lower;
  std::vector<double> upper;
};

struct Recognised {
  Model model;
  std::string complaint;  // why there is no model, though the problem is linear
};

// Nothing when an objective or a statement isn't linear.
std::optional<Recognised> recognise(const Problem& problem);

// Chooses the units of all columns so that their largest factors are near 1, in rows other than
// links if there are any, and then multiplies each row so that its largest factor is near 1 as
// well. All factors are powers of two. What is left of a factor below 1e-16 is dropped: numbers so
// far apart in one row can't be weighed against each other by doubles.
void scale(Model& model);

// Narrows the bounds to those that hold for the decided value. False when they cross.
bool decide(const Switch& one, bool is_on, Bounds& bounds);

// Decides binary variables as the rows of logic ask for, again and again until nothing changes.
// False when a row can't hold or bounds cross. Source: bounds of a row's activity, Savelsbergh,
// ORSA J. on Computing 6 (1994) 445, section 1.1.
bool propagate(const Model& model, Bounds& bounds);

// How far the worst condition is from holding, each measured by the size of its terms and 1.
double worst_violation(const Model& model, std::span<const double> point);

}  // namespace mirsolve::linear
