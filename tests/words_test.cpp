// Words that no file of the project may hold. TORVE_SOURCE_DIR is the top folder of the project.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr std::array searched = {"src",   "docs", "README.md", "examples", "scripts", "tests",
                                 "bench", "fuzz", "cmake",     "python",   "mirsolve"};

// References to texts that a reader of the project doesn't have. The literals are split, so that
// this file doesn't hold the words itself.
const std::regex& forbidden() {
  static const std::regex pattern(
      "\\bPart"
      "s? [0-9]\\.[0-9]"
      "|\\bsp"
      "ec\\.md\\b");
  return pattern;
}

bool holds_forbidden_words(const std::string& text) {
  return std::regex_search(text, forbidden());
}

bool is_left_by_a_tool(const fs::path& path) {
  const std::string name = path.filename().string();
  return name.starts_with('.') || name == "__pycache__";
}

std::vector<fs::path> searched_files() {
  std::vector<fs::path> files;
  for (const char* name : searched) {
    const fs::path path = fs::path(TORVE_SOURCE_DIR) / name;
    if (fs::is_regular_file(path)) files.push_back(path);
    if (!fs::is_directory(path)) continue;
    for (auto entry = fs::recursive_directory_iterator(path); entry != fs::end(entry); ++entry) {
      if (is_left_by_a_tool(entry->path())) {
        entry.disable_recursion_pending();
      } else if (entry->is_regular_file()) {
        files.push_back(entry->path());
      }
    }
  }
  std::ranges::sort(files);
  return files;
}

TEST(Words, are_understood_by_every_reader) {
  for (const fs::path& file : searched_files()) {
    EXPECT_FALSE(holds_forbidden_words(file.filename().string())) << file;
    std::ifstream stream(file, std::ios::binary);
    std::string line;
    for (int number = 1; std::getline(stream, line); ++number) {
      if (holds_forbidden_words(line)) ADD_FAILURE_AT(file.c_str(), number) << line;
    }
  }
}

TEST(Words, are_searched_somewhere) {
  EXPECT_FALSE(searched_files().empty());
}

struct WordRow {
  const char* name;
  const char* text;
  bool forbidden;
};

class ForbiddenWords : public testing::TestWithParam<WordRow> {};

TEST_P(ForbiddenWords, are_found) {
  EXPECT_EQ(holds_forbidden_words(GetParam().text), GetParam().forbidden);
}

INSTANTIATE_TEST_SUITE_P(Rows, ForbiddenWords,
                         testing::Values(WordRow{"one",
                                                 "see Part"
                                                 " 1.2 there",
                                                 true},
                                         WordRow{"several",
                                                 "Part"
                                                 "s 3.4 and 5.6",
                                                 true},
                                         WordRow{"document",
                                                 "in sp"
                                                 "ec.md",
                                                 true},
                                         WordRow{"whole_number",
                                                 "Part"
                                                 " 1 of 2",
                                                 false},
                                         WordRow{"within_a_word",
                                                 "rampart"
                                                 " 1.2",
                                                 false},
                                         WordRow{"other_file",
                                                 "asp"
                                                 "ec.md",
                                                 false}),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
