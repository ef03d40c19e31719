#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "run/trvspace.h"

namespace torve {

// The search for points of the box where a model leaves its bounds, for an outside solver.

enum class SearchKind : int { below_zmin = 1, above_zmax = 2, custom = 3 };

// A term of the model: its coefficient and the text of its column.
struct SearchTerm {
  int column = 0;  // from 0
  double beta = 0.0;
  std::string text;
  bool bracket = false;  // the text isn't a single factor
};

struct ViolationSearch {
  SearchKind kind = SearchKind::below_zmin;
  double bound = 0.0;               // zmin, zmax, or the tolerance of a custom constraint
  std::vector<std::string> labels;  // inputs
  std::vector<double> lowest;
  std::vector<double> highest;
  std::vector<SearchTerm> terms;
  std::string zlabel;
  std::string custom;  // the formula, for a custom constraint
  int nbas = 0;
  int ndata = 0;
  int wanted = 1;  // solutions
  double seconds = 0.0;
  bool allowcplex = false;
  bool print_solver = false;
  bool deltaterm = false;  // or shortcut
  std::string nlpsolver;   // of GAMS
};

// conreg.mir and conreg.gms.
std::string conreg_mir(const ViolationSearch& search);
std::string conreg_gms(const ViolationSearch& search);

// Points of res.lst, a row of inputs each: every block that begins with the line "The best solution
// found" holds trv_z and the inputs. Nothing when a block isn't whole, or when there is none.
std::optional<std::vector<std::vector<double>>> read_conreg_mir(std::string_view res, int inputs);

// What crres.put says.
struct ConregAnswer {
  int modelstat = 0;
  std::vector<std::vector<double>> points;
};
std::optional<ConregAnswer> read_conreg_gms(std::string_view put, int inputs);
// The solver says that there is no such point.
bool says_there_is_none(int modelstat);

struct FoundViolations {
  std::vector<std::vector<double>> points;  // in the user's units
  std::optional<double> bound;  // what the solver has proved of the objective, where it says so
};

// Asks the solver for violations of one kind by the current model of output k; custom: the
// constraint (from 0) for the third kind. Codes as for crfind.
FoundViolations trvsolveconreg(RunState& run, SearchKind runflag, int k, int custom);

}  // namespace torve
