// A run that has built its model from given data and stands before sampling, in a folder of its
// own: for tests of the steps that sample.
#pragma once

#include <string>
#include <vector>

#include "in_process.h"
#include "leftovers.h"
#include "small_problem.h"

namespace torve::test {

class SamplingState {
 public:
  // z = 2 x on 0..10 from the points 1, 2, 4, with room for `rows` rows in all.
  explicit SamplingState(int rows, const std::string& options = "");

  RunState& run() { return run_.state(); }
  // Writes an executable script for /bin/sh into the folder and makes it the simulator.
  void set_simulator(const std::string& script);
  // Gives the run a bank.
  void set_bank(const std::vector<double>& x, const std::vector<double>& z);
  // Makes the scratch folder and switches its use on.
  void use_scratch();

 private:
  WorkingFolder folder_;
  SmallRun run_;
};

}  // namespace torve::test
