// A problem as its file states it: variables, bounds, statements, objective, options.
#pragma once

#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "mirsolve/problem/expression_graph.h"

namespace mirsolve {

inline constexpr double infinite = std::numeric_limits<double>::infinity();

enum class VariableKind : unsigned char { binary, positive, free };

struct Variable {
  std::string name;
  VariableKind kind = VariableKind::free;
  double lower = -infinite;  // 0 for binary and positive ones unless the file says otherwise
  double upper = infinite;   // 1 for binary ones
  std::optional<double> start;
};

enum class Relation : unsigned char { at_most, at_least, equal };

struct Statement {
  std::string name;
  NodeId left = 0;
  Relation relation = Relation::at_most;
  NodeId right = 0;
};

struct Options {
  double absolute_gap = 1e-9;                 // epsa
  double relative_gap = 1e-9;                 // epsr
  double cutoff = infinite;                   // only better points are wanted
  double seconds = 1e6;                       // maxtime
  bool first_feasible = false;                // firstfeas: the first point will do
  int solutions = 1;                          // NumSol
  double isolation = 0.01;                    // isoltol: least distance of two solutions
  double absolute_integer_tolerance = 1e-12;  // AbsIntFeasTol
  double relative_integer_tolerance = 0.0;    // RelIntFeasTol
  int print_level = 1;                        // prlevel: 0 prints nothing
};

struct Problem {
  std::string title;  // the file's name without folder and ending
  Options options;
  std::vector<Variable> variables;  // in the order of their declaration
  ExpressionGraph graph;
  std::vector<Statement> statements;
  bool maximize = false;
  NodeId objective = 0;
  std::vector<std::string> oddities;  // of the format that were met, by name
};

}  // namespace mirsolve
