// One test for every folder beside this file: see support/run_folder.h and support/run_setup.h.
//   TORVE_PROGRAM  another program than the one that was built
//   TORVE_UPDATE   1: write what the program does as what is expected, and skip the test
//   TORVE_KEEP     leave the folders in which the program ran
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "../support/run_folder.h"

namespace torve::test {
namespace {

std::vector<std::string> cases() {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(TORVE_RUNS_DIR)) {
    const std::string name = entry.path().filename().string();
    if (entry.is_directory() && !name.starts_with('.')) names.push_back(name);
  }
  std::ranges::sort(names);
  return names;
}

// The name of a folder as the framework accepts it.
std::string name_of(const std::string& folder) {
  std::string name = folder;
  std::ranges::replace_if(
      name, [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
  return name;
}

fs::path program() {
  const char* other = std::getenv("TORVE_PROGRAM");
  return fs::absolute(other != nullptr ? other : TORVE_PROGRAM);
}

Mode mode() {
  const char* update = std::getenv("TORVE_UPDATE");
  return update != nullptr && std::string_view(update) == "1" ? Mode::update : Mode::compare;
}

class Run : public testing::TestWithParam<std::string> {};

TEST_P(Run, leaves_what_is_expected) {
  const CaseReport report = run_case(fs::path(TORVE_RUNS_DIR) / GetParam(), program(), mode());
  for (const std::string& fault : report.faults) ADD_FAILURE() << GetParam() << ": " << fault;
  if (!report.skipped.empty()) GTEST_SKIP() << report.skipped;
}

INSTANTIATE_TEST_SUITE_P(Folders, Run, testing::ValuesIn(cases()),
                         [](const auto& row) { return name_of(row.param); });

TEST(Runs, exist) {
  EXPECT_FALSE(cases().empty()) << "no case in " << TORVE_RUNS_DIR;
}

}  // namespace
}  // namespace torve::test
