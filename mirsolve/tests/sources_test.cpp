// Which folder of mirsolve may include which, and what of the program's own sources. The other way
// there is nothing: src is a program without a solver.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

namespace fs = std::filesystem;

// Names of headers begin with one of these.
struct Level {
  std::string_view folder;
  std::vector<std::string_view> may_include;
};

const std::vector<Level>& levels() {
  static const std::vector<Level> rows = {
      {"problem", {"mirsolve/problem/"}},
      {"language", {"mirsolve/language/", "mirsolve/problem/"}},
      {"answer", {"mirsolve/answer/", "mirsolve/problem/"}},
      {"squares", {"mirsolve/squares/", "mirsolve/problem/", "mirsolve/answer/"}},
      {"selection",
       {"mirsolve/selection/", "mirsolve/squares/", "mirsolve/problem/", "mirsolve/answer/"}},
      {"linear", {"mirsolve/linear/", "mirsolve/problem/", "mirsolve/answer/"}},
      {"box", {"mirsolve/box/", "mirsolve/problem/", "mirsolve/answer/"}},
      {"run", {"mirsolve/"}},
  };
  return rows;
}

// Kernels of the program and what it stands on, which know nothing of a run; and what each solver
// implements.
constexpr std::string_view for_all[] = {"model/", "system/", "text/", "run/matrix_view.h",
                                        "mirsolve/run/solvers.h"};
constexpr int most_lines = 600;

bool may_include(const Level& level, std::string_view name) {
  const auto begins = [&](std::string_view start) { return name.starts_with(start); };
  return std::ranges::any_of(for_all, begins) || std::ranges::any_of(level.may_include, begins);
}

// What stands between the quotes of an include line; nothing of other lines.
std::string_view included_by(std::string_view line) {
  constexpr std::string_view start = "#include \"";
  if (!line.starts_with(start)) return {};
  line.remove_prefix(start.size());
  return line.substr(0, line.find('"'));
}

class Folders : public testing::TestWithParam<Level> {};

TEST_P(Folders, include_what_they_may_and_are_not_too_long) {
  int files = 0;
  const fs::path folder = fs::path(TORVE_SOURCE_DIR) / "mirsolve" / GetParam().folder;
  for (const auto& entry : fs::directory_iterator(folder)) {
    std::ifstream stream(entry.path());
    std::string line;
    int lines = 0;
    for (; std::getline(stream, line); ++lines) {
      const std::string_view name = included_by(line);
      if (name.empty() || may_include(GetParam(), name)) continue;
      ADD_FAILURE_AT(entry.path().c_str(), lines + 1) << "may not include " << name;
    }
    EXPECT_LE(lines, most_lines) << entry.path();
    ++files;
  }
  EXPECT_GT(files, 0);
}

INSTANTIATE_TEST_SUITE_P(Mirsolve, Folders, testing::ValuesIn(levels()),
                         [](const auto& row) { return std::string(row.param.folder); });

TEST(Levels, name_all_folders) {
  for (const auto& entry : fs::directory_iterator(fs::path(TORVE_SOURCE_DIR) / "mirsolve")) {
    const std::string name = entry.path().filename().string();
    if (!entry.is_directory() || name == "tests" || name == "bench") continue;
    EXPECT_EQ(std::ranges::count(levels(), name, &Level::folder), 1) << name;
  }
}

}  // namespace
