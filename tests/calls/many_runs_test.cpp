// Many runs in one process against the same runs in processes of their own. TORVE_MANY_RUNS is the
// program that makes them, a caller of the library in C.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <numeric>
#include <string>
#include <vector>

#include "support/in_process.h"
#include "support/process.h"
#include "support/run_masks.h"

namespace torve::test {
namespace {

constexpr int problems = 10;

Finished run_them(const std::vector<int>& numbers) {
  Start start;
  for (const int number : numbers) start.arguments.push_back(fmt::format("{}", number));
  return run_process(TORVE_MANY_RUNS, start);
}

// Every file of a folder by its name, times masked.
std::map<std::string, std::string> files_of(const fs::path& folder) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::directory_iterator(folder)) {
    files[entry.path().filename()] = mask_output(read_file(entry.path()), folder);
  }
  return files;
}

void expect_same_files(const fs::path& expected_folder, const fs::path& folder) {
  const auto expected = files_of(expected_folder);
  const auto files = files_of(folder);
  EXPECT_EQ(expected.size(), files.size());
  for (const auto& [name, text] : expected) {
    ASSERT_EQ(files.count(name), 1U) << name;
    EXPECT_EQ(first_difference(text, files.at(name)), "") << name;
  }
}

// Each problem twice, the second time behind others than the first time.
std::vector<int> twenty_runs() {
  std::vector<int> numbers(problems);
  std::iota(numbers.begin(), numbers.end(), 0);
  for (int i = 0; i < problems; ++i) numbers.push_back((7 * i + 3) % problems);
  return numbers;
}

TEST(ManyRuns, leave_what_single_runs_leave) {
  const WorkingFolder together;
  const std::vector<int> numbers = twenty_runs();
  const Finished all = run_them(numbers);
  ASSERT_TRUE(all.ended_normally()) << all.screen;
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    SCOPED_TRACE(fmt::format("run {} of problem {}", i, numbers[i]));
    const WorkingFolder alone;
    ASSERT_TRUE(run_them({numbers[i]}).ended_normally());
    expect_same_files(alone.path() / "0", together.path() / fmt::format("{}", i));
  }
}

// The cases differ, so that the comparison above can fail.
TEST(ManyRuns, end_differently) {
  const WorkingFolder folder;
  ASSERT_TRUE(run_them({0, 1, 6, 8, 9}).ended_normally());
  const auto results = [&](int i) {
    return read_file(folder.path() / fmt::format("{}", i) / "results.txt");
  };
  EXPECT_NE(results(0).find("calls 0\nstatus 0\nmodel 1: 0, 0,  Z1 = "), std::string::npos);
  EXPECT_NE(results(0), results(1));
  EXPECT_NE(results(2).find("model 2: 0, 0,  Z2 = "), std::string::npos);
  EXPECT_NE(results(3).find("status 8\nmodel 1: 0, 0, \n"), std::string::npos);
  EXPECT_NE(results(4).find("status 136\n"), std::string::npos);
}

// Whole rounds over the same problems: the last ones leave no more on the heap than those before.
TEST(ManyRuns, do_not_grow) {
  constexpr int rounds = 8;
  // What the allocator doesn't split of a block, in all.
  constexpr std::size_t slack = 64;
  const WorkingFolder folder;
  Start start;
  for (int i = 0; i < rounds * problems; ++i) {
    start.arguments.push_back(fmt::format("{}", i % problems));
  }
  // Blocks that wait in a cache would count as used.
  start.in_child = [] { setenv("GLIBC_TUNABLES", "glibc.malloc.tcache_count=0", 1); };
  const Finished all = run_process(TORVE_MANY_RUNS, start);
  ASSERT_TRUE(all.ended_normally());
  std::size_t middle = 0;
  std::size_t last = 0;
  ASSERT_EQ(std::sscanf(all.screen.c_str(), "heap %zu %zu", &middle, &last), 2) << all.screen;
  // Sanitizers have a heap of their own and look for leaks at the end of the process.
  if (middle == 0) return;
  EXPECT_LE(last, middle + slack);
}

}  // namespace
}  // namespace torve::test
