#include "sampling_state.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "data/point_tables.h"
#include "system/files.h"

namespace torve::test {

namespace {

namespace fs = std::filesystem;

SmallProblem line_through_zero(const std::string& options) {
  SmallProblem problem;
  problem.x = {{1}, {2}, {4}};
  problem.z = {{2}, {4}, {8}};
  problem.xmin = {0};
  problem.xmax = {10};
  problem.options = "constant 0\n" + options;
  return problem;
}

}  // namespace

SamplingState::SamplingState(int rows, const std::string& options)
    : run_(line_through_zero(options).text()) {
  RunState& state = run();
  EXPECT_TRUE(run_.ended_normally()) << run_.screen();
  state.files.execdir = *current_folder();
  state.files.scratch = "scratch";
  state.options.usescratch = false;
  state.options.maxtime = 1000.0;
  state.sizes.ndatacap = rows;
  EXPECT_TRUE(grow_points(state));
}

void SamplingState::set_simulator(const std::string& script) {
  const std::string name = run().files.execdir + "/sim";
  std::ofstream(name) << "#!/bin/sh\n" << script << "\n";
  fs::permissions(name, fs::perms::owner_all);
  run().options.simulator = "\"" + name + "\"";
}

void SamplingState::set_bank(const std::vector<double>& x, const std::vector<double>& z) {
  RunState& state = run();
  const int n = static_cast<int>(x.size());
  ASSERT_TRUE(state.points.xbank.request(state.memory, n, 1));
  ASSERT_TRUE(state.points.zbank.request(state.memory, n, 1));
  ASSERT_TRUE(state.points.bankused.request(state.memory, n));
  for (int i = 0; i < n; ++i) {
    state.points.xbank(i, 0) = x[at(i)];
    state.points.zbank(i, 0) = z[at(i)];
    state.points.bankused[at(i)] = false;
  }
  state.sizes.nbank = state.sizes.nbankleft = n;
}

void SamplingState::use_scratch() {
  run().options.usescratch = true;
  fs::create_directory(run().files.scratch);
}

}  // namespace torve::test
