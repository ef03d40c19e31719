#include "adaptive/point_source.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "run/workspace.h"
#include "support/sampling_state.h"

namespace torve::test {
namespace {

namespace fs = std::filesystem;

Request request_of(int maxrow) {
  Request request;
  request.maxrow = maxrow;
  request.last = 3;
  return request;
}

void expect_points_in_the_box(RunState& run, const Request& request) {
  for (int i = request.last; i < request.nreqlast; ++i) {
    EXPECT_GE(run.points.xdata(i, 0), 0.0);
    EXPECT_LE(run.points.xdata(i, 0), 10.0);
  }
}

TEST(PointSource, asks_for_no_more_than_the_pass_has_room_for) {
  SamplingState state(20);
  EXPECT_EQ(state.run().sizes.requestpoints, 7);
  EXPECT_EQ(points_to_request(state.run(), request_of(20)), 7);
  EXPECT_EQ(points_to_request(state.run(), request_of(5)), 2);
}

TEST(PointSource, puts_points_into_the_box) {
  SamplingState state(20);
  for (const auto& [x, inside] : {std::pair{-3.0, 0.0}, {11.0, 10.0}, {5.0, 5.0}}) {
    place_point(state.run(), 3, std::vector{x});
    EXPECT_EQ(state.run().points.xdata(3, 0), inside);
  }
}

TEST(PointSource, gives_random_points_from_the_stream_of_the_run) {
  SamplingState state(20);
  state.run().randstate = 0;
  state.run().options.seed = 1;
  place_random_points(state.run(), 3, 2);
  EXPECT_EQ(state.run().points.xdata(3, 0), 10.0 * 65539 / 2147483648.0);
  EXPECT_EQ(state.run().points.xdata(4, 0), 10.0 * 393225 / 2147483648.0);
}

TEST(SnobfitStep, fills_the_request) {
  SamplingState state(20);
  Request request = request_of(20);
  snobfitstep(state.run(), request, true);
  EXPECT_FALSE(failed(state.run()));
  EXPECT_EQ(request.nreqlast, 10);
  expect_points_in_the_box(state.run(), request);
}

TEST(SnobfitStep, asks_for_nothing_when_there_is_no_room) {
  SamplingState state(20);
  Request request = request_of(3);
  snobfitstep(state.run(), request, true);
  EXPECT_FALSE(failed(state.run()));
  EXPECT_EQ(request.nreqlast, 3);
}

// Without errors to look for, the next request of one run still brings other points.
TEST(SnobfitStep, varies_its_requests) {
  SamplingState state(20);
  Request request = request_of(20);
  snobfitstep(state.run(), request, true);
  std::vector<double> first;
  for (int i = 3; i < 10; ++i) first.push_back(state.run().points.xdata(i, 0));
  snobfitstep(state.run(), request, true);
  std::vector<double> second;
  for (int i = 3; i < 10; ++i) second.push_back(state.run().points.xdata(i, 0));
  EXPECT_NE(first, second);
}

TEST(SnobfitStep, leaves_the_random_numbers_of_the_run_alone) {
  SamplingState state(20);
  state.run().randstate = 12345;
  Request request = request_of(20);
  snobfitstep(state.run(), request, true);
  EXPECT_EQ(state.run().randstate, 12345);
}

TEST(SnobfitStep, falls_back_to_random_points) {
  SamplingState state(20);
  state.run().options.snobfitresolution = 0.0;
  state.run().randstate = 0;
  state.run().options.seed = 1;
  Request request = request_of(5);
  testing::internal::CaptureStdout();
  snobfitstep(state.run(), request, true);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "snobfit: dx should only contain positive entries!\n");
  EXPECT_EQ(request.nreqlast, 5);
  EXPECT_EQ(state.run().points.xdata(3, 0), 10.0 * 65539 / 2147483648.0);
}

TEST(SnobfitStep, tells_of_the_fallback_with_debug) {
  SamplingState state(20);
  state.run().options.snobfitresolution = 0.0;
  state.run().options.debug = true;
  Request request = request_of(5);
  testing::internal::CaptureStdout();
  snobfitstep(state.run(), request, true);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "snobfit: dx should only contain positive entries!\n"
            "Failure in SNOBFIT; temporarily switched to random sampler\n");
}

TEST(SnobfitStep, asks_nothing_of_an_input_without_room) {
  SamplingState state(20);
  state.run().inputs.xmax[0] = state.run().inputs.xmin[0];
  Request request = request_of(5);
  testing::internal::CaptureStdout();
  snobfitstep(state.run(), request, true);
  testing::internal::GetCapturedStdout();
  EXPECT_FALSE(failed(state.run()));
  EXPECT_EQ(request.nreqlast, 5);
  EXPECT_EQ(state.run().points.xdata(3, 0), 0.0);
}

using Route = void (*)(RunState&, Request&);

void expect_codes(Route route, int scratch_location, int execution_location) {
  SamplingState state(20);
  RunState& run = state.run();
  Request request = request_of(5);
  run.options.usescratch = true;
  route(run, request);
  EXPECT_EQ(run.status.trvstatus, Code::cannot_enter_scratch);
  EXPECT_EQ(run.status.trvlocation, scratch_location);

  run.status.trvstatus = Code::normal;
  state.use_scratch();
  const std::string here = run.files.execdir;
  run.files.execdir = here + "/gone";
  route(run, request);
  fs::current_path(here);
  EXPECT_EQ(run.status.trvstatus, Code::cannot_enter_execution_folder);
  EXPECT_EQ(run.status.trvlocation, execution_location);
}

// Puts a program `matlab` in front of all others.
class MatlabStandIn {
 public:
  explicit MatlabStandIn(const std::string& script) : path_(::getenv("PATH")) {
    const fs::path folder = fs::current_path() / "bin";
    fs::create_directory(folder);
    std::ofstream(folder / "matlab") << "#!/bin/sh\n" << script << "\n";
    fs::permissions(folder / "matlab", fs::perms::owner_all);
    ::setenv("PATH", (folder.string() + ":" + path_).c_str(), 1);
  }
  MatlabStandIn(const MatlabStandIn&) = delete;
  MatlabStandIn& operator=(const MatlabStandIn&) = delete;
  ~MatlabStandIn() { ::setenv("PATH", path_.c_str(), 1); }

 private:
  std::string path_;
};

TEST(Folders, have_codes_of_their_own) {
  expect_codes([](RunState& run, Request& request) { snobfitstep(run, request, true); }, 54, 56);
}

TEST(Folders, have_codes_of_their_own_with_matlab) {
  const WorkingFolder folder;
  const MatlabStandIn matlab("true");
  expect_codes(matlabsnobfit, 59, 62);
}

TEST(Matlab, gives_points_that_are_put_into_the_box) {
  SamplingState state(20);
  const MatlabStandIn matlab("printf '3\\n1.5\\n12\\n-4\\n' > ems.out");
  Request request = request_of(20);
  matlabsnobfit(state.run(), request);
  ASSERT_EQ(request.nreqlast, 6);
  EXPECT_EQ(state.run().points.xdata(3, 0), 1.5);
  EXPECT_EQ(state.run().points.xdata(4, 0), 10.0);
  EXPECT_EQ(state.run().points.xdata(5, 0), 0.0);
}

TEST(Matlab, gives_no_more_points_than_there_is_room_for) {
  SamplingState state(20);
  for (const std::string count : {"99", "1e300"}) {
    const MatlabStandIn matlab("{ echo " + count + "; seq 1 9; } > ems.out");
    Request request = request_of(5);
    matlabsnobfit(state.run(), request);
    EXPECT_EQ(request.nreqlast, 5);
  }
}

TEST(Matlab, gives_none_without_a_count) {
  for (const std::string script :
       {"true", ": > ems.out", "echo none > ems.out", "echo -3 > ems.out", "echo nan > ems.out"}) {
    SamplingState state(20);
    const MatlabStandIn matlab(script);
    Request request = request_of(20);
    matlabsnobfit(state.run(), request);
    EXPECT_FALSE(failed(state.run())) << script;
    EXPECT_EQ(request.nreqlast, 3) << script;
  }
}

TEST(Matlab, does_not_take_an_old_answer) {
  SamplingState state(20);
  std::ofstream("ems.out") << "1\n5\n";
  const MatlabStandIn matlab("true");
  Request request = request_of(20);
  matlabsnobfit(state.run(), request);
  EXPECT_EQ(request.nreqlast, 3);
}

TEST(Matlab, is_told_which_call_is_the_first) {
  SamplingState state(20);
  const MatlabStandIn matlab("sed -n 5p ems.in > first; : > ems.out");
  for (const int last : {3, 4}) {
    Request request = request_of(20);
    request.last = last;
    matlabsnobfit(state.run(), request);
    EXPECT_EQ(text_of("first"), last == 3 ? "1\n" : "0\n");
  }
}

// The program itself, with Octave for MATLAB and a function that answers with what it was given.
TEST(Matlab, runs_its_program_under_octave) {
  if (!trvonpath("octave")) GTEST_SKIP() << "octave isn't installed";
  SamplingState state(20, "debug 0\n");
  RunState& run = state.run();
  const std::string folder = run.files.execdir;
  std::ofstream("snobfit.m") << "function [request, xbest, fbest] = snobfit(file, x, f, p, dx)\n"
                                "  request = [x(1,1); f(2,1); dx(1); p(1).nreq; p(2).bounds];\n"
                                "  xbest = strcmp(file, 'test.mat'); fbest = 0;\n"
                                "end\n";
  fs::create_directory("minq");
  const MatlabStandIn matlab("octave --no-gui --quiet --eval \"trvems\" >&2");
  run.options.snobfitpath = folder;
  run.options.minqpath = folder + "/minq";
  run.options.snobfitresolution = 0.125;
  run.points.zerror(1, 0) = -7.5;
  Request request = request_of(20);
  matlabsnobfit(run, request);
  ASSERT_FALSE(failed(run));
  ASSERT_EQ(request.nreqlast, 8);
  const std::vector<double> answer{1, 7.5, 1.25, 7, 10};
  for (int i = 0; i < 5; ++i) EXPECT_EQ(run.points.xdata(3 + i, 0), answer[at(i)]) << i;
}

TEST(Matlab, is_ended_with_the_time) {
  SamplingState state(20);
  const MatlabStandIn matlab("sleep 1000");
  state.run().options.maxtime = elapsed(state.run()) + 0.3;
  const std::size_t descriptors = open_descriptors();
  Request request = request_of(20);
  matlabsnobfit(state.run(), request);
  EXPECT_EQ(state.run().status.trvstatus, Code::time_used_up);
  EXPECT_EQ(open_descriptors(), descriptors);
  EXPECT_FALSE(has_children());
}

}  // namespace
}  // namespace torve::test
