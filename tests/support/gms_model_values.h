// What a GAMS program says once its sets and parameters have values: its variables with bounds, and
// its equations, a row for each combination of indices that they hold for.
#pragma once

#include <limits>
#include <map>
#include <string>
#include <vector>

#include "gms_language.h"

namespace torve::test {

inline constexpr double gms_infinity = std::numeric_limits<double>::infinity();

// Values by the name of a variable with its indices: beta(3).
using GmsPoint = std::map<std::string, double>;

// constant + sum of coefficient times variable.
struct GmsLinear {
  double constant = 0.0;
  std::map<std::string, double> coefficients;

  double at(const GmsPoint& point) const;
};

// A linear expression and weighted squares of such.
struct GmsForm {
  struct Square {
    double weight = 1.0;
    GmsLinear root;
  };
  GmsLinear linear;
  std::vector<Square> squares;

  bool is_number() const { return squares.empty() && linear.coefficients.empty(); }
  double at(const GmsPoint& point) const;
};

// form =l=, =g= or =e= 0.
struct GmsRow {
  std::string name;  // with its indices
  GmsForm form;
  char relation = 'e';

  bool holds(const GmsPoint& point, double tolerance) const;
};

struct GmsVariable {
  std::string type;  // free, binary, positive
  double lower = -gms_infinity;
  double upper = gms_infinity;
  double level = 0.0;  // where a solver may start
};

struct GmsModelValues {
  std::map<std::string, double> parameters;  // z(1); what isn't there is 0
  std::map<std::string, GmsVariable> variables;
  std::vector<GmsRow> rows;
  std::map<std::string, double> attributes;  // ssemip.cutoff

  double parameter(const std::string& name) const;
};

// Throws std::runtime_error for an expression that is neither linear nor a sum of squares.
GmsModelValues evaluate_gms(const GmsProgram& program);
// The same without rows, for a program whose equations may be of any kind.
GmsModelValues evaluate_gms_data(const GmsProgram& program);

}  // namespace torve::test
