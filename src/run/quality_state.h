#pragma once

#include <array>
#include <string>
#include <vector>

#include "run/arrays.h"

namespace torve {

// How good one output's model is on one set of points. What doesn't exist is `preset`.
struct SetQuality {
  double sse = 0.0;
  double rmse = 0.0;
  double r2 = 0.0;
  double r2adjusted = 0.0;
  std::array<double, 8> metrics{};  // by option modeler, from BIC on
  double maxpercent = 0.0;          // largest absolute error in percent
};

// A set of points with its model values: the data, the bank, or a test section.
struct EvaluatedSet {
  std::string name;  // "", "banked set", "test set", "test set 2"
  int number = 0;    // 0 data, -1 bank, k test section k
  int first = 0;     // row of its first point in its table
  int rows = 0;
  const Table<double>* x = nullptr;
  const Table<double>* z = nullptr;
  Table<double> zmodel;             // rows x noutputs
  std::vector<SetQuality> outputs;  // noutputs
};

// The data first, then the bank if there is one, then the test sections.
struct Quality {
  std::vector<EvaluatedSet> sets;
};

}  // namespace torve
