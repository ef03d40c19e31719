// Problems made up in memory, for benchmarks and for tests of speed-bound paths. The numbers come
// from a generator of our own, so that they are the same everywhere.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "run/trvspace.h"

namespace torve::test {

// A run that is ready to select: one output over `rows` points and `columns` columns with values
// between -1 and 1. The output is made of columns 2, 7 and 11 (as many as there are) and noise that
// no subset explains.
void fill_selection(RunState& run, int rows, int columns);

// The same for columns and an output that the caller has.
void fill_selection(RunState& run, const std::vector<std::vector<double>>& columns,
                    const std::vector<double>& output);

// A run with `points` points of four inputs a, b, c and d between 1 and 2, checked and with its
// catalogue built as the keywords (lines of a problem file) ask for.
void fill_catalogue(RunState& run, int points, std::string_view keywords);

// Rows of `numbers` numbers of either sign and different magnitudes, with so many significant
// digits.
std::string data_rows(int rows, int numbers, int digits);

// A run that knows its sizes, one output, and can read a DATA section.
void declare_data(RunState& run, int rows, int inputs);

}  // namespace torve::test
