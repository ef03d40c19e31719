// Which folder of src may include which: a table of levels, and a failure for every include line
// that goes against it. TORVE_SOURCE_DIR is the top folder of the project.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace {

namespace fs = std::filesystem;

// The folders of the table. "run-base" and "run" share the folder src/run: the headers that all
// may use, and the driver that uses all.
struct Level {
  std::string_view folder;
  std::vector<std::string_view> may_include;  // besides itself
};

// From the bottom to the top.
const std::vector<Level>& levels() {
  static const std::vector<Level> rows = {
      {"text", {}},
      {"system", {"text"}},
      {"run-base", {"text", "system"}},
      {"basis/formula", {"text"}},
      {"basis", {"text", "system", "run-base", "basis/formula"}},
      {"data", {"text", "system", "run-base", "basis/formula", "basis"}},
      {"model", {"text", "system", "run-base", "basis/formula", "basis", "data", "solvers"}},
      {"solvers", {"text", "system", "run-base", "basis/formula", "basis", "data", "model"}},
      {"input",
       {"text", "system", "run-base", "basis/formula", "basis", "data", "model", "solvers"}},
      {"adaptive", {"text", "system", "run-base", "basis/formula", "basis", "data", "model"}},
      {"report",
       {"text", "system", "run-base", "basis/formula", "basis", "data", "model", "solvers"}},
      {"run",
       {"text", "system", "run-base", "basis/formula", "basis", "data", "model", "solvers", "input",
        "adaptive", "report"}},
  };
  return rows;
}

// Single files that a folder may include although the table of levels forbids it.
struct Exception {
  std::string_view folder;
  std::string_view file;
};

constexpr std::array exceptions = {
    Exception{"basis/formula", "run/formula_table.h"},
    // Every message of a run goes through the printer.
    Exception{"system", "report/printer.h"},
    Exception{"run-base", "report/printer.h"},
    Exception{"basis", "report/printer.h"},
    Exception{"data", "report/printer.h"},
    Exception{"model", "report/printer.h"},
    Exception{"solvers", "report/printer.h"},
    Exception{"input", "report/printer.h"},
    Exception{"adaptive", "report/printer.h"},
};

// Model building and the solver routes call each other.
constexpr std::array<std::string_view, 2> includes_both_ways = {"model", "solvers"};

// The files of src/run, without extension, that belong to the driver; so does any driver_*.
constexpr std::array<std::string_view, 7> driver_files = {
    "trvrun", "final_report", "set_calls", "set_vectors", "get_calls", "c_calls", "main"};

constexpr int most_lines = 600;

const Level* level_of(std::string_view folder) {
  const auto row = std::ranges::find(levels(), folder, &Level::folder);
  return row == levels().end() ? nullptr : &*row;
}

bool is_driver(const fs::path& file) {
  const std::string stem = file.stem().string();
  return stem.starts_with("driver_") || std::ranges::find(driver_files, stem) != driver_files.end();
}

// The row of the table for a file whose path is relative to src. A subfolder without a row of its
// own belongs to the folder above it.
std::string folder_of(const fs::path& file) {
  fs::path folder = file.parent_path();
  while (folder.has_parent_path() && level_of(folder.string()) == nullptr) {
    folder = folder.parent_path();
  }
  if (folder == "run" || folder.empty()) return is_driver(file) ? "run" : "run-base";
  return folder.string();
}

bool may_include(const fs::path& includer, const fs::path& included) {
  const std::string from = folder_of(includer);
  const std::string to = folder_of(included);
  const Level* level = level_of(from);
  if (level == nullptr || level_of(to) == nullptr) return false;
  if (from == to || std::ranges::count(level->may_include, to) > 0) return true;
  return std::ranges::any_of(exceptions, [&](const Exception& exception) {
    return exception.folder == from && exception.file == included.generic_string();
  });
}

fs::path source_folder() {
  return fs::path(TORVE_SOURCE_DIR) / "src";
}

// All files below src, relative to it.
std::vector<fs::path> source_files() {
  std::vector<fs::path> files;
  if (!fs::is_directory(source_folder())) return files;
  for (const auto& entry : fs::recursive_directory_iterator(source_folder())) {
    if (entry.is_regular_file()) files.push_back(fs::relative(entry.path(), source_folder()));
  }
  std::ranges::sort(files);
  return files;
}

struct Include {
  fs::path includer;
  int line;
  std::string text;   // between the quotes
  fs::path included;  // relative to src; empty: there is no such file
};

std::string name_in_include(const std::string& line) {
  static const std::regex pattern(R"re(^\s*#\s*include\s*"([^"]+)")re");
  std::smatch match;
  return std::regex_search(line, match, pattern) ? match[1].str() : "";
}

// A name is looked up from src and then from the folder of the includer.
fs::path find_included(const fs::path& includer, const std::string& name) {
  for (const fs::path& folder : {fs::path(), includer.parent_path()}) {
    fs::path file = (folder / name).lexically_normal();
    if (fs::is_regular_file(source_folder() / file)) return file;
  }
  return {};
}

std::vector<Include> includes_of(const fs::path& file) {
  std::vector<Include> includes;
  std::ifstream stream(source_folder() / file);
  std::string line;
  for (int number = 1; std::getline(stream, line); ++number) {
    const std::string name = name_in_include(line);
    if (!name.empty()) includes.push_back({file, number, name, find_included(file, name)});
  }
  return includes;
}

// The folders that a folder reaches through the table, itself only if there is a way back.
std::set<std::string_view> reached_from(std::string_view folder) {
  std::set<std::string_view> reached;
  std::vector<std::string_view> open = {folder};
  while (!open.empty()) {
    const std::string_view next = open.back();
    open.pop_back();
    for (const std::string_view below : level_of(next)->may_include) {
      if (reached.insert(below).second) open.push_back(below);
    }
  }
  return reached;
}

TEST(Includes, go_downward_only) {
  for (const fs::path& file : source_files()) {
    if (level_of(folder_of(file)) == nullptr) {
      ADD_FAILURE_AT((source_folder() / file).c_str(), 1) << folder_of(file) << " has no level";
      continue;
    }
    for (const Include& include : includes_of(file)) {
      if (include.included.empty() || may_include(file, include.included)) continue;
      ADD_FAILURE_AT((source_folder() / file).c_str(), include.line)
          << folder_of(file) << " may not include " << folder_of(include.included) << ": "
          << include.text;
    }
  }
}

TEST(Includes, name_files_that_exist) {
  for (const fs::path& file : source_files()) {
    for (const Include& include : includes_of(file)) {
      if (!include.included.empty()) continue;
      ADD_FAILURE_AT((source_folder() / file).c_str(), include.line) << "no file " << include.text;
    }
  }
}

TEST(Includes, of_a_file_do_not_lead_back_to_it) {
  std::map<fs::path, std::vector<Include>> includes;
  for (const fs::path& file : source_files()) includes[file] = includes_of(file);
  for (const auto& [file, direct] : includes) {
    std::set<fs::path> reached;
    std::vector<fs::path> open = {file};
    while (!open.empty()) {
      const fs::path next = open.back();
      open.pop_back();
      for (const Include& include : includes[next]) {
        if (!include.included.empty() && reached.insert(include.included).second) {
          open.push_back(include.included);
        }
      }
    }
    if (reached.contains(file)) {
      ADD_FAILURE_AT((source_folder() / file).c_str(), 1) << "includes itself by way of others";
    }
  }
}

TEST(Sources, exist) {
  EXPECT_FALSE(source_files().empty()) << "no file in " << source_folder();
}

TEST(Sources, are_not_too_long) {
  for (const fs::path& file : source_files()) {
    std::ifstream stream(source_folder() / file);
    std::string line;
    int lines = 0;
    while (std::getline(stream, line)) ++lines;
    if (lines > most_lines) {
      ADD_FAILURE_AT((source_folder() / file).c_str(), lines) << lines << " lines";
    }
  }
}

TEST(Levels, name_folders_of_the_table_once) {
  std::set<std::string_view> names;
  for (const Level& level : levels()) {
    EXPECT_TRUE(names.insert(level.folder).second) << level.folder;
    for (const std::string_view below : level.may_include) {
      EXPECT_NE(level_of(below), nullptr) << level.folder << " -> " << below;
    }
  }
  for (const Exception& exception : exceptions) {
    EXPECT_NE(level_of(exception.folder), nullptr) << exception.folder;
  }
}

TEST(Levels, have_no_way_back) {
  for (const Level& level : levels()) {
    const bool both_ways =
        std::ranges::find(includes_both_ways, level.folder) != includes_both_ways.end();
    EXPECT_EQ(reached_from(level.folder).contains(level.folder), both_ways) << level.folder;
  }
}

// Rows stand after the rows they include, so that the table reads from the bottom to the top.
TEST(Levels, stand_in_order) {
  std::set<std::string_view> above = {includes_both_ways.begin(), includes_both_ways.end()};
  for (const Level& level : levels()) {
    for (const std::string_view below : level.may_include) {
      EXPECT_TRUE(above.contains(below)) << level.folder << " -> " << below;
    }
    above.insert(level.folder);
  }
}

struct PairRow {
  const char* name;
  const char* includer;
  const char* included;
  bool allowed;
};

class Pairs : public testing::TestWithParam<PairRow> {};

TEST_P(Pairs, follow_the_table) {
  EXPECT_EQ(may_include(GetParam().includer, GetParam().included), GetParam().allowed);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Pairs,
    testing::Values(
        PairRow{"own_folder", "text/a.cpp", "text/a.h", true},
        PairRow{"text_stands_alone", "text/a.cpp", "system/a.h", false},
        PairRow{"text_does_not_print", "text/a.cpp", "report/printer.h", false},
        PairRow{"system_uses_text", "system/a.cpp", "text/a.h", true},
        PairRow{"system_prints", "system/a.cpp", "report/printer.h", true},
        PairRow{"data_prints", "data/a.cpp", "report/printer.h", true},
        PairRow{"data_does_not_report", "data/a.cpp", "report/results.h", false},
        PairRow{"data_uses_state", "data/a.cpp", "run/state.h", true},
        PairRow{"data_does_not_drive", "data/a.cpp", "run/trvrun.h", false},
        PairRow{"base_does_not_drive", "run/state.cpp", "run/driver_steps.h", false},
        PairRow{"base_knows_no_data", "run/state.h", "data/points.h", false},
        PairRow{"driver_knows_all", "run/driver_steps.cpp", "report/results.h", true},
        PairRow{"driver_knows_base", "run/final_report.cpp", "run/state.h", true},
        PairRow{"main_is_driver", "main.cpp", "run/set_calls.h", true},
        PairRow{"data_uses_basis", "data/a.cpp", "basis/catalogue.h", true},
        PairRow{"basis_knows_no_data", "basis/a.cpp", "data/points.h", false},
        PairRow{"formula_uses_its_table", "basis/formula/a.h", "run/formula_table.h", true},
        PairRow{"formula_uses_no_other_state", "basis/formula/a.h", "run/state.h", false},
        PairRow{"formula_knows_no_basis", "basis/formula/a.h", "basis/catalogue.h", false},
        PairRow{"basis_uses_formula", "basis/a.cpp", "basis/formula/a.h", true},
        PairRow{"model_calls_solvers", "model/a.cpp", "solvers/a.h", true},
        PairRow{"solvers_call_model", "solvers/a.cpp", "model/a.h", true},
        PairRow{"model_knows_no_input", "model/a.cpp", "input/a.h", false},
        PairRow{"subfolder_is_its_folder", "model/lsei/a.cpp", "data/points.h", true},
        PairRow{"subfolder_within_folder", "adaptive/minq/a.h", "adaptive/linalg/a.h", true},
        PairRow{"adaptive_uses_model", "adaptive/a.cpp", "model/a.h", true},
        PairRow{"adaptive_uses_no_solver", "adaptive/a.cpp", "solvers/a.h", false},
        PairRow{"input_does_not_report", "input/a.cpp", "report/results.h", false},
        PairRow{"report_does_not_read", "report/a.cpp", "input/a.h", false},
        PairRow{"report_does_not_sample", "report/a.cpp", "adaptive/a.h", false},
        PairRow{"unknown_folder", "other/a.cpp", "text/a.h", false}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(IncludeLines, are_recognised) {
  EXPECT_EQ(name_in_include("#include \"a/b.h\"  // why"), "a/b.h");
  EXPECT_EQ(name_in_include("  #  include\"b.h\""), "b.h");
  EXPECT_EQ(name_in_include("#include <vector>"), "");
  EXPECT_EQ(name_in_include("// #include \"a.h\""), "");
}

}  // namespace
