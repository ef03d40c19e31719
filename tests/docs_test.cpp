// The pages of docs/ against the tables of the program. TORVE_SOURCE_DIR is the top folder of the
// project.
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <regex>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "input/message_table.h"
#include "input/problem_reader.h"
#include "model/metrics.h"
#include "run/option_table.h"

namespace torve {
namespace {

namespace fs = std::filesystem;

// ---- Pages -------------------------------------------------------------------------------------

using Cells = std::vector<std::string>;

struct PageTable {
  Cells headings;
  std::vector<Cells> rows;
};

std::string read_page(const std::string& name) {
  std::ifstream file(fs::path(TORVE_SOURCE_DIR) / "docs" / name, std::ios::binary);
  EXPECT_TRUE(file) << name;
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return "";
  return std::string(text.substr(first, text.find_last_not_of(' ') - first + 1));
}

// "| a | b |" as "a" and "b".
Cells cells_of(std::string_view line) {
  Cells cells;
  line.remove_prefix(1);
  for (std::size_t bar = line.find('|'); bar != std::string_view::npos; bar = line.find('|')) {
    cells.push_back(trimmed(line.substr(0, bar)));
    line.remove_prefix(bar + 1);
  }
  return cells;
}

// Lines that begin with a bar: headings, a rule, rows.
std::vector<PageTable> tables_of(const std::string& page) {
  std::vector<PageTable> tables;
  bool in_table = false;
  std::size_t start = 0;
  while (start < page.size()) {
    const std::size_t end = std::min(page.find('\n', start), page.size());
    const std::string line = page.substr(start, end - start);
    start = end + 1;
    if (!line.starts_with('|')) {
      in_table = false;
    } else if (!in_table) {
      in_table = true;
      tables.push_back({cells_of(line), {}});
    } else if (!line.starts_with("|---")) {
      tables.back().rows.push_back(cells_of(line));
    }
  }
  return tables;
}

// The rows of all tables with these headings, in the order of the page.
std::vector<Cells> rows_under(const std::string& page, const Cells& headings) {
  std::vector<Cells> rows;
  for (const PageTable& table : tables_of(page)) {
    if (table.headings != headings) continue;
    for (const Cells& row : table.rows) {
      EXPECT_EQ(row.size(), headings.size()) << row.front();
      if (row.size() == headings.size()) rows.push_back(row);
    }
  }
  EXPECT_FALSE(rows.empty()) << headings.front();
  return rows;
}

std::string code_span(std::string_view text) {
  return fmt::format("`{}`", text);
}

// ---- Options -----------------------------------------------------------------------------------

const Cells option_headings{"Keyword", "Value", "Range", "Default", "Meaning"};

std::string value_text(Kind kind) {
  switch (kind) {
    case Kind::whole:
      return "whole number";
    case Kind::logical:
      return "0 or 1";
    case Kind::real:
    case Kind::ignored:
      return "number";
    case Kind::reals:
      return "list of numbers";
    case Kind::wholes:
      return "list of whole numbers";
    case Kind::logicals:
      return "list of 0 and 1";
    case Kind::labels:
      return "list of labels";
    case Kind::powers:
      return "numbers on one line";
    case Kind::text:
      return "rest of the line";
    case Kind::token:
      return "word";
    case Kind::section:
    case Kind::unreachable:
      break;
  }
  return "";
}

bool is_scalar(Kind kind) {
  return kind == Kind::whole || kind == Kind::logical || kind == Kind::real;
}

std::string number_text(double value) {
  if (value == most_whole) return "1e9";
  if (value == most_real) return "1e50";
  if (value == -most_real) return "-1e50";
  return fmt::format("{}", value);
}

std::string replacement_text(const Replacement& replacement) {
  switch (replacement.kind) {
    case OnError::constant:
      return number_text(replacement.value);
    case OnError::present_value:
      return "as it was";
    case OnError::twice_ninputs:
      return "2 × `ninputs`";
  }
  return "";
}

// Limits are applied to single values alone.
std::string range_text(const OptionRow& row) {
  if (!row.limits.exist || !is_scalar(row.kind)) return "any";
  return fmt::format("{} to {}, else {}", number_text(row.limits.lowest),
                     number_text(row.limits.highest), replacement_text(row.limits.replacement));
}

// What the program derives when the file doesn't say.
const std::map<std::string_view, std::string_view>& derived_defaults() {
  static const std::map<std::string_view, std::string_view> texts{
      {"ninputs", "required"},
      {"noutputs", "required"},
      {"xmin", "required"},
      {"xmax", "required"},
      {"xlabels", "X1, X2, ..."},
      {"zlabels", "Z1, Z2, ..."},
      {"zmin", "none"},
      {"zmax", "none"},
      {"minpoints", "`ninputs`"},
      {"maxpoints", "`ninputs` + 6"},
      {"initialpoints", "`ndata` + `nsample`"},
      {"crnviol", "2 × `ninputs`"},
  };
  return texts;
}

// The run state behind a file that gives no more than a file has to.
const RunState& smallest_run() {
  static RunState run;
  static const bool read = [] {
    // The cases of this file run side by side, each in a process of its own.
    const fs::path file =
        fs::path(testing::TempDir()) / fmt::format("docs_test_{}.trv", ::getpid());
    std::ofstream(file) << "ninputs 3\nnoutputs 2\nxmin 0 0 0\nxmax 1 1 1\n";
    run.files.fname = file.string();
    trvread(run);
    fs::remove(file);
    return true;
  }();
  EXPECT_TRUE(read && run.status.trvstatus == Code::normal);
  return run;
}

template <class T>
std::string default_of(const T& value) {
  if constexpr (std::is_same_v<T, std::string>) {
    return value.empty() ? "none" : code_span(value);
  } else if constexpr (std::is_same_v<T, bool>) {
    return value ? "1" : "0";
  } else if constexpr (std::is_arithmetic_v<T>) {
    return fmt::format("{}", value);
  } else {
    return "none";
  }
}

struct DefaultText {
  std::string operator()(std::monostate) const { return "none"; }
  template <class T>
  std::string operator()(T Options::*member) const {
    return default_of(Options{}.*member);
  }
  template <class T>
  std::string operator()(T Sizes::*member) const {
    return default_of(Sizes{}.*member);
  }
  template <class T>
  std::string operator()(Array<T> Outputs::*member) const {
    return default_of((smallest_run().outputs.*member)[0]) + " each";
  }
  std::string operator()(Array<bool> Inputs::*) const { return "0 each"; }
  template <class Record, class T>
  std::string operator()(T Record::*) const {
    return "none";
  }
};

std::string default_text(const OptionRow& row) {
  const auto derived = derived_defaults().find(row.name);
  if (derived != derived_defaults().end()) return std::string(derived->second);
  return std::visit(DefaultText{}, row.storage);
}

bool has_row_on_the_page(const OptionRow& row) {
  return row.kind != Kind::section && row.kind != Kind::unreachable;
}

TEST(ProblemFilePage, describes_every_keyword) {
  std::map<std::string, Cells> page;
  for (const Cells& row : rows_under(read_page("problem-file.md"), option_headings)) {
    EXPECT_TRUE(page.emplace(row[0], row).second) << row[0] << " stands there twice";
  }
  for (const OptionRow& row : option_table) {
    if (!has_row_on_the_page(row)) continue;
    const auto found = page.find(code_span(row.name));
    if (found == page.end()) {
      ADD_FAILURE() << row.name << " is missing";
      continue;
    }
    const Cells& cells = found->second;
    EXPECT_EQ(cells[1], value_text(row.kind)) << row.name;
    EXPECT_EQ(cells[2], range_text(row)) << row.name;
    EXPECT_EQ(cells[3], default_text(row)) << row.name;
    EXPECT_FALSE(cells[4].empty()) << row.name;
    page.erase(found);
  }
  for (const auto& [keyword, row] : page) ADD_FAILURE() << keyword << " isn't a keyword";
}

TEST(ProblemFilePage, tells_what_is_derived) {
  const RunState& run = smallest_run();
  EXPECT_EQ(run.options.minpoints, run.sizes.ninputs);
  EXPECT_EQ(run.options.maxpoints, run.sizes.ninputs + 6);
  EXPECT_EQ(run.sizes.initialpoints, run.sizes.ndata + run.sizes.nsample);
}

TEST(ProblemFilePage, lists_the_sections) {
  std::set<std::string> expected;
  for (const OptionRow& row : option_table) {
    if (row.kind == Kind::section) expected.insert(code_span(row.name));
  }
  for (const AliasRow& alias : alias_table) {
    if (alias.name.starts_with("begin_")) expected.insert(code_span(alias.name));
  }
  std::set<std::string> listed;
  for (const Cells& row : rows_under(read_page("problem-file.md"),
                                     {"Section", "Ends with", "Needs before it", "Rows"})) {
    EXPECT_TRUE(listed.insert(row[0]).second) << row[0];
    EXPECT_EQ(row[1], "`end_" + row[0].substr(row[0].find('_') + 1));
  }
  EXPECT_EQ(listed, expected);
}

TEST(ProblemFilePage, lists_the_order_rules) {
  std::map<std::string, Cells> expected;
  for (const OptionRow& row : option_table) {
    if (row.needs.option.empty()) continue;
    const std::string name = code_span(row.name);
    expected[name] = {name, code_span(row.needs.option),
                      fmt::format("{}", static_cast<int>(row.needs.code))};
  }
  std::map<std::string, Cells> listed;
  for (const Cells& row :
       rows_under(read_page("problem-file.md"), {"Keyword", "Needs before it", "Otherwise code"})) {
    listed[row[0]] = row;
  }
  EXPECT_EQ(listed, expected);
}

TEST(ProblemFilePage, lists_the_other_names) {
  const std::string page = read_page("problem-file.md");
  const std::vector<Cells> aliases =
      rows_under(page, {"Other name", "Stands for", "Given beside it", "Range"});
  ASSERT_EQ(aliases.size(), alias_table.size());
  for (std::size_t i = 0; i < alias_table.size(); ++i) {
    const AliasRow& alias = alias_table[i];
    const Cells& row = aliases[i];
    EXPECT_EQ(row[0], code_span(alias.name));
    EXPECT_TRUE(row[1].starts_with(code_span(alias.option))) << alias.name;
    EXPECT_EQ(row[2], alias.shares_flag ? "code 64" : "allowed") << alias.name;
    EXPECT_EQ(row[3], alias.shares_limits ? "the same" : "any") << alias.name;
  }
  const std::vector<Cells> words = rows_under(page, {"Word", "Replaced by"});
  ASSERT_EQ(words.size(), rename_table.size());
  for (std::size_t i = 0; i < rename_table.size(); ++i) {
    EXPECT_EQ(words[i],
              (Cells{code_span(rename_table[i].word), code_span(rename_table[i].meaning)}));
  }
}

TEST(ProblemFilePage, tells_what_may_be_given_again) {
  std::set<std::string> expected;
  for (const OptionRow& row : option_table) {
    const bool repeats = row.occurs == Occurs::repeat && row.kind != Kind::powers;
    if (repeats && has_row_on_the_page(row)) expected.insert(std::string(row.name));
  }
  const std::string page = read_page("problem-file.md");
  const std::size_t begin = page.find("the last value stands:");
  ASSERT_NE(begin, std::string::npos);
  const std::string list = page.substr(begin, page.find('.', begin) - begin);
  std::set<std::string> listed;
  const std::regex word("`(\\w+)`");
  for (std::sregex_iterator it(list.begin(), list.end(), word); it != std::sregex_iterator();
       ++it) {
    EXPECT_TRUE(listed.insert((*it)[1].str()).second) << (*it)[1];
  }
  EXPECT_EQ(listed, expected);
}

TEST(ProblemFilePage, lists_the_metrics) {
  const std::vector<Cells> rows =
      rows_under(read_page("problem-file.md"),
                 {"`modeler`", "Metric", "Value with p terms, n points, sum of squares f"});
  ASSERT_EQ(rows.size(), metric_table.size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(rows[i][0], fmt::format("{}", static_cast<int>(metric_table[i].metric)));
    EXPECT_EQ(rows[i][1], metric_table[i].name);
  }
}

// ---- Termination codes -------------------------------------------------------------------------

std::string message_text(const MessageRow& message) {
  std::string text;
  for (const std::string_view line : message.lines) {
    if (!line.empty()) text += (text.empty() ? "" : " / ") + trimmed(line);
  }
  return std::regex_replace(text, std::regex("<tracefname>"), "`$&`");
}

TEST(MessagesPage, lists_every_code) {
  const std::vector<Cells> rows =
      rows_under(read_page("messages.md"), {"Code", "Message", "Remark"});
  ASSERT_EQ(rows.size(), messages.size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(rows[i][0], fmt::format("{}", static_cast<int>(messages[i].code)));
    EXPECT_EQ(rows[i][1], message_text(messages[i])) << rows[i][0];
  }
}

}  // namespace
}  // namespace torve
