// Where rows of points go: the sections of the problem file and the data vectors of the set calls.
#pragma once

#include <string_view>

#include "input/option_storage.h"

namespace torve {

enum class PointSection { data, xdata, zdata, testdata, xpredata };

// What must and must not have been given before the section.
Refusal check_section(const RunState& run, PointSection section);

// The tables and their rows, for `rows` rows of `width` values each, inputs ahead of outputs.
// Outputs that are formulas aren't among the values.
struct PointRows {
  Table<double>* x = nullptr;
  Table<double>* z = nullptr;
  Table<double>* xbank = nullptr;  // of the rows behind the first `points`
  Table<double>* zbank = nullptr;
  int points = 0;
  int rows = 0;
  int inputs = 0;  // values of a row that are inputs
  int width = 0;

  void put(int row, int j, double value) const {
    const bool bank = row >= points;
    if (bank) row -= points;
    if (j < inputs) {
      (*(bank ? xbank : x))(row, j) = value;
    } else {
      (*(bank ? zbank : z))(row, j - inputs) = value;
    }
  }
};

// The rows that the section has, before anything is allocated.
PointRows rows_of(RunState& run, PointSection section);
// Memory for them. The points of the bank are the last of those given; whichever section comes
// first takes them off the data. False when the memory can't be had.
bool allocate_section(RunState& run, PointSection section);

}  // namespace torve
