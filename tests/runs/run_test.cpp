// One test for every folder beside this file: see support/run_folder.h and support/run_setup.h.
//   TORVE_PROGRAM  another program than the one that was built
//   TORVE_UPDATE   1: write what the program does as what is expected, and skip the test
//   TORVE_KEEP     leave the folders in which the program ran
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "../support/run_folder.h"
#include "../support/run_masks.h"

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

// The names in the last cell of each row of the tables of README.md, by the first cell: a code, or
// an event of the solvers.
std::multimap<std::string, std::string> named_in_tables() {
  std::multimap<std::string, std::string> named;
  const std::string text = read_file(fs::path(TORVE_RUNS_DIR) / "README.md");
  for (std::string_view line : lines_of(text)) {
    if (!line.starts_with("| ") || !line.ends_with(" |\n")) continue;
    line.remove_prefix(2);
    line.remove_suffix(3);
    const std::string first(line.substr(0, line.find(" | ")));
    std::string_view cell = line.substr(line.rfind(" | ") + 3);
    if (cell.starts_with("none")) continue;
    while (cell.find('`') != std::string_view::npos) {
      cell.remove_prefix(cell.find('`') + 1);
      named.emplace(first, cell.substr(0, cell.find('`')));
      cell.remove_prefix(cell.find('`') + 1);
    }
  }
  return named;
}

// The folder of a case that the table of codes names without its code.
std::string folder_of(const std::string& code, const std::string& name) {
  return "code_" + std::string(code.size() < 2 ? 2 - code.size() : 0, '0') + code + "_" + name;
}

TEST(Readme, lists_each_case_of_a_code) {
  std::set<std::string> listed;
  for (const auto& [first, name] : named_in_tables()) listed.insert(folder_of(first, name));
  for (const std::string& name : cases()) {
    const bool has_code = name.starts_with("code_");
    EXPECT_TRUE(!has_code || listed.contains(name)) << name;
  }
}

TEST(Readme, names_what_there_is) {
  const fs::path folder = TORVE_RUNS_DIR;
  const auto named = named_in_tables();
  EXPECT_FALSE(named.empty());
  for (const auto& [first, name] : named) {
    const bool exists = fs::is_directory(folder / folder_of(first, name)) ||
                        fs::is_directory(folder / name) ||
                        fs::is_regular_file(folder.parent_path() / name);
    EXPECT_TRUE(exists) << first << ": " << name;
  }
}

TEST(Runs, exist) {
  EXPECT_FALSE(cases().empty()) << "no case in " << TORVE_RUNS_DIR;
}

}  // namespace
}  // namespace torve::test
