// Set calls: options and data by name, for programs that drive a run without a problem file. Names
// are those of the problem file in any case, with trailing blanks or without; at most their first
// 8192 characters count. Values don't go through the limits of the problem file.
//
// A call returns 0 or a termination code. It doesn't store the code in the run's status, only its
// place, and a call that fails changes nothing else. All give
//   148  after a run, until trvinit,
//   142  for an empty name, 143 for a name that the call doesn't know,
//   8    for a number that isn't finite,
//   51   when memory is short.
#pragma once

#include <span>
#include <string_view>

#include "run/trvspace.h"

namespace torve {

// Whole numbers and logicals; a logical is true for 1. Also the single value of a list that
// repeats: maxterms for all outputs, ntestdata and ntestsample for the only test set.
//   64  for a size that was set before, and for a count whose data are there already
int trvsetint(RunState& run, std::string_view name, int value);

// Real numbers. The option convpen has the name convepen here.
int trvsetreal(RunState& run, std::string_view name, double value);

// Texts of 1 to 8192 characters; others give 149. A file, the scratch folder, outside programs.
int trvsetstring(RunState& run, std::string_view name, std::string_view value);

// Lists. Their sizes come first; a length that isn't the size gives 146.
int trvsetintvector(RunState& run, std::string_view name, std::span<const int> values);

// Lists, power lists of any length, and points: data, xdata, zdata, testdata, xpredata, row after
// row, all values of a row together. Each size and order code of the problem file is a result here.
int trvsetrealvector(RunState& run, std::string_view name, std::span<const double> values);

// xlabels or zlabels: `count` labels, divided by blanks, tabs or line ends.
int trvsetlabels(RunState& run, std::string_view name, int count, std::string_view labels);

}  // namespace torve
