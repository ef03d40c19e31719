// A problem file comes in blocks, and nothing that is read depends on where one ends. Every kind of
// line is read with short blocks, moved by one character after another across their ends, and
// compared with the outcome of the file in one block and with what is known to come out.
#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "input/problem_reader.h"
#include "support/in_process.h"
#include "support/rows.h"
#include "support/sample_problem.h"

namespace torve::test {
namespace {

using namespace std::string_literals;

// ---- What comes out of a file ------------------------------------------------------------------

struct Outcome {
  Code code = Code::normal;
  int location = 0;
  std::string screen;
  std::vector<double> values;  // rows of inputs and outputs, the bank last

  friend bool operator==(const Outcome&, const Outcome&) = default;
};

void add_rows(std::vector<double>& values, const Table<double>& x, const Table<double>& z,
              int rows) {
  for (int i = 0; i < rows; ++i) {
    for (int j = 0; x.exists() && j < x.columns(); ++j) values.push_back(x(i, j));
    for (int j = 0; z.exists() && j < z.columns(); ++j) values.push_back(z(i, j));
  }
}

Outcome outcome_of(const std::string& text, std::size_t block) {
  RunState run;
  run.status.cmdcount = 1;
  Outcome outcome;
  outcome.screen = screen_of([&] { read_problem_lines(run, LineReader(source_of(text), block)); });
  outcome.code = run.status.trvstatus;
  outcome.location = run.status.trvlocation;
  add_rows(outcome.values, run.points.xdata, run.points.zdata, run.points.xdata.rows());
  if (run.sizes.nbank > 0) {
    add_rows(outcome.values, run.points.xbank, run.points.zbank, run.points.xbank.rows());
  }
  return outcome;
}

// ---- Files -------------------------------------------------------------------------------------

const std::string head = "ninputs 1\nnoutputs 1\nxmin 0\nxmax 9\nndata 2\n";

std::string with_section(const std::string& section) {
  return head + "begin_data\n" + section + "end_data\n";
}

struct Row {
  std::string name;
  std::string text;
  std::vector<double> values;
  Code code = Code::normal;
  int location = 0;
  std::string screen{};  // what is said of the fault, without the line's number
};

Row refused(std::string name, std::string text, Code code, int location, std::string screen) {
  return {std::move(name), std::move(text), {}, code, location, std::move(screen)};
}

std::string with_returns(std::string text) {
  for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2) {
    text.insert(at, 1, '\r');
  }
  return text;
}

const std::vector<double> four{1.5, -2, 3, 4.25};

std::vector<Row> short_rows() {
  return {
      {"plain", with_section("1.5 -2\n3 4.25\n"), four},
      {"long_decimals", with_section("1.50000000000000000 -2.0000000000000000e+00\n3 4.25\n"),
       four},
      {"decimals_too_long_for_the_quick_way",
       with_section("1.5000000000000000000000000 -2\n30000000000000000000000000e-25 4.25\n"), four},
      {"plus_signs_and_letters_d", with_section("+1.5 -2\n3d0 4.25\n"), four},
      {"comments",
       "# first\n" + head + "!\nbegin_data # rows\n1.5 -2 ! one\n3 4.25 % two\nend_data\n* last\n",
       four},
      {"continuation", with_section("1.5 &\n-2\n3& more\n4.25\n"), four},
      {"continuation_behind_a_long_line",
       with_section("1.5 &" + std::string(230, '-') + "\n-2\n3 4.25\n"), four},
      {"tabs", with_section("\t1.5\t-2\t\n3\t\t4.25\n"), four},
      {"blank_lines", with_section("\n  \n1.5 -2\n\t\n3 4.25\n\n"), four},
      {"line_ends_of_two_bytes", with_returns(with_section("1.5 -2\n3 &\n4.25\n")), four},
      {"no_end_of_the_last_line", head + "begin_data\n1.5 -2\n3 4.25\nend_data", four},
      {"return_at_the_end", head + "begin_data\n1.5 -2\n3 4.25\nend_data\r", four},
      {"byte_order_mark", "\xEF\xBB\xBF" + with_section("1.5 -2\n3 4.25\n"), four},
      {"separators",
       "ninputs = 1\nnoutputs: 1\nxmin\n0\nxmax =\n9\nndata=2\nbegin_data\n1.5 -2\n3 "
       "4.25\nend_data\n",
       four},
      {"tail_of_a_long_comment", with_section("1.5 -2 !" + std::string(92, '-') + "3 4.25\n"),
       four},
      {"bank",
       "ninputs 1\nnoutputs 1\nxmin 0\nxmax 9\nndata 2\nnbank 1\nbegin_data\n1.5 -2\n3 "
       "4.25\nend_data\n",
       four},
      {"comment_section", "begin_comment\n<>[]=\nend_comment\n" + with_section("1.5 -2\n3 4.25\n"),
       four},
      refused("nul", with_section("1.5 -2\n3 \0 4.25\n"s), Code::syntax_error, 198,
              "Disallowed character \"\0\" found in input file (line # column 3)"s),
      refused("nul_in_a_number", with_section("1.\0005 -2\n3 4.25\n"s), Code::syntax_error, 198,
              "Disallowed character \"\0\" found in input file (line # column 3)"s),
      refused("comma", with_section("1.5 -2\n3 4.25,\n"), Code::syntax_error, 198,
              "Disallowed character \",\" found in input file (line # column 7)"),
      refused("lone_return", with_section("1.5\r-2\n3 4.25\n"), Code::syntax_error, 198,
              "Disallowed character \"\r\" found in input file (line # column 4)"),
      refused("third_number", with_section("1.5 -2\n3 4.25 77\n"), Code::extra_text, 202,
              "Extraneous characters found in input file (line # column 8)"),
      refused("missing_number", with_section("1.5\n3 4.25\n"), Code::premature_end, 199,
              "Premature end of input file at line #"),
      refused("word", with_section("1.5 nan\n3 4.25\n"), Code::syntax_error, 200,
              "Unexpected character in input file at line #"),
      refused("too_large", with_section("1.5 -2\n3 4.25e999\n"), Code::syntax_error, 200,
              "Unexpected character in input file at line #"),
      refused("end_within_a_section", head + "begin_data\n1.5 -2\n3 4.", Code::end_data_missing,
              125, "Error while reading line #"),
      refused("end_within_a_row", head + "begin_data\n1.5 -2\n3", Code::premature_end, 199,
              "Premature end of input file at line #"),
      refused("end_within_a_keyword", head + "begin_da", Code::premature_end, 192,
              "Premature end of input file at line #"),
      refused("return_behind_a_keyword", "ninputs \r 1\n" + head, Code::syntax_error, 198,
              "Disallowed character \"\r\" found in input file (line # column 9)"),
      refused("keyword_too_long", head + "snobfitresolution 3\n", Code::keyword_too_long, 94,
              "Keyword too long at line #"),
      refused("unknown_keyword", head + "nonsense 3\n", Code::unknown_keyword, 174,
              ">>> TORVE option nonsense not recognized at line #"),
  };
}

// Lines as long as may be. Their blocks aren't quite so short: a reader of plain rows starts anew
// with each.
std::vector<Row> long_rows() {
  const std::string blanks(10'000 - 6, ' ');
  const std::string zeros(9'990, '0');
  return {
      {"row_of_10000_characters", with_section("1.5 -2" + blanks + "\n3 4.25\n"), four},
      {"row_of_10000_characters_and_a_return", with_section("1.5 -2" + blanks + "\r\n3 4.25\n"),
       four},
      {"number_of_nearly_10000", with_section("1.5" + zeros + " -2\n3 4.25\n"), four},
      {"comment_of_many_characters",
       "#" + std::string(30'000, '-') + "\n" + with_section("1.5 -2\n3 4.25\n"), four},
      refused("row_of_10001_characters", with_section("1.5 -2" + blanks + " \n3 4.25\n"),
              Code::line_too_long, 197, "More than 10000 characters read in input file at line #"),
      refused("line_without_end", with_section("1.5 -2\n" + std::string(40'000, '7') + "\n"),
              Code::line_too_long, 197, "More than 10000 characters read in input file at line #"),
  };
}

// ---- The comparison ----------------------------------------------------------------------------

// The screen without the numbers of lines, which the moved files have one higher.
std::string without_line_numbers(const std::string& screen) {
  std::string text;
  bool behind_line = false;
  for (const char c : screen) {
    if (behind_line && c >= '0' && c <= '9') {
      if (text.back() != '#') text += '#';
      continue;
    }
    text += c;
    behind_line = text.ends_with("line ") || (behind_line && text.back() == '#');
  }
  return text;
}

void expect_known(const Row& row, const Outcome& outcome) {
  EXPECT_EQ(outcome.code, row.code);
  EXPECT_EQ(outcome.location, row.location);
  if (row.code == Code::normal) {
    EXPECT_EQ(outcome.values, row.values);
  } else {
    EXPECT_NE(without_line_numbers(outcome.screen).find(row.screen), std::string::npos)
        << outcome.screen;
  }
}

// A comment of so many characters in front of everything but a byte order mark, which only counts
// at the start.
std::string moved(const std::string& text, std::size_t count) {
  if (count < 2) return std::string(count, '\n') + text;
  return "#" + std::string(count - 2, 'x') + "\n" + text;
}

// In a folder of the test's own, since the screen is caught in a file.
void expect_no_difference(const Row& row, std::size_t block, std::size_t moves) {
  const WorkingFolder folder;
  const bool has_mark = row.text.starts_with("\xEF\xBB\xBF");
  for (std::size_t move = 0; move < (has_mark ? 1 : moves); ++move) {
    SCOPED_TRACE(testing::Message() << "blocks of " << block << ", moved by " << move);
    const std::string text = moved(row.text, move);
    const Outcome outcome = outcome_of(text, block);
    expect_known(row, outcome);
    EXPECT_EQ(outcome, outcome_of(text, text.size() + 1));
  }
}

class ShortLines : public testing::TestWithParam<Row> {};

TEST_P(ShortLines, may_end_a_block_anywhere) {
  for (const std::size_t block : {1U, 2U, 3U, 7U, 64U, 4096U}) {
    expect_no_difference(GetParam(), block, std::min<std::size_t>(block, 64));
  }
}

INSTANTIATE_TEST_SUITE_P(Rows, ShortLines, testing::ValuesIn(short_rows()), RowName());

class LongLines : public testing::TestWithParam<Row> {};

TEST_P(LongLines, may_end_a_block_anywhere) {
  expect_no_difference(GetParam(), 7, 3);
  expect_no_difference(GetParam(), 64, 64);
  expect_no_difference(GetParam(), 4096, 10);
  // The block ends around the end of the long line.
  const std::size_t end = GetParam().text.find('\n', 10'000);
  for (std::size_t block = end - 3; block < end + 4; ++block) {
    expect_no_difference(GetParam(), block, 1);
  }
}

INSTANTIATE_TEST_SUITE_P(Rows, LongLines, testing::ValuesIn(long_rows()), RowName());

// ---- Sources -----------------------------------------------------------------------------------

// A source that gives pieces of any length, as a pipe does.
TEST(TextSource, may_give_less_than_was_asked_for) {
  const std::string text = with_section("1.5 -2\n3 4.25\n");
  std::size_t taken = 0;
  std::size_t piece = 0;
  const auto source = [&](char* to, std::size_t most) -> std::optional<std::size_t> {
    piece = piece % 5 + 1;
    const std::size_t count = text.copy(to, std::min(piece, most), taken);
    taken += count;
    return count;
  };
  RunState run;
  read_problem_lines(run, LineReader(source, 4096));
  EXPECT_EQ(run.status.trvstatus, Code::normal);
  std::vector<double> values;
  add_rows(values, run.points.xdata, run.points.zdata, 2);
  EXPECT_EQ(values, four);
}

// A file that can't be read to its end is refused, also where what was read would do.
TEST(TextSource, may_break_off) {
  const WorkingFolder folder;
  const std::string text = with_section("1.5 -2\n3 4.25\n");
  for (std::size_t length = 0; length <= text.size(); ++length) {
    SCOPED_TRACE(length);
    int calls = 0;
    const auto source = [&](char* to, std::size_t) -> std::optional<std::size_t> {
      if (++calls > 1 || length == 0) return std::nullopt;
      return text.copy(to, length);
    };
    RunState run;
    run.status.cmdcount = 1;
    screen_of([&] { read_problem_lines(run, LineReader(source, 4096)); });
    EXPECT_NE(run.status.trvstatus, Code::normal);
    EXPECT_LE(calls, 2) << "asked again behind the end";
    if (length == text.size()) {
      EXPECT_EQ(run.status.trvstatus, Code::problem_file_cannot_be_opened);
      EXPECT_EQ(run.status.trvlocation, 93);
    }
  }
}

// ---- Files -------------------------------------------------------------------------------------

// Several blocks of the usual length, from a file.
TEST(ProblemFile, of_many_blocks_gives_every_number) {
  const WorkingFolder folder;
  constexpr int rows = 60'000;
  for (const int digits : {5, 17}) {
    SCOPED_TRACE(digits);
    const std::string section = data_rows(rows, 3, digits);
    ASSERT_GT(section.size(), usual_block);
    std::ofstream("big.trv") << "ninputs 2\nnoutputs 1\nxmin 0 0\nxmax 1 1\nndata " << rows
                             << "\nbegin_data\n"
                             << section << "end_data\n";
    RunState run;
    run.status.cmdcount = 1;
    run.files.fname = "big.trv";
    screen_of([&] { trvread(run); });
    ASSERT_EQ(run.status.trvstatus, Code::normal);
    std::vector<double> values;
    add_rows(values, run.points.xdata, run.points.zdata, rows);
    std::vector<double> expected;
    const char* at = section.data();
    const char* const end = at + section.size();
    while (at < end) {
      double value = 0.0;
      at = std::from_chars(at, end, value).ptr + 1;
      expected.push_back(value);
    }
    EXPECT_EQ(values, expected);
  }
}

struct UnreadableRow {
  std::string name;
  std::string file;
};

class UnreadableFile : public testing::TestWithParam<UnreadableRow> {};

TEST_P(UnreadableFile, is_told_before_anything_is_said) {
  const WorkingFolder folder;
  fs::create_directory("folder");
  RunState run;
  run.status.cmdcount = 1;
  run.files.fname = GetParam().file;
  EXPECT_EQ(screen_of([&] { trvread(run); }), "");
  EXPECT_EQ(run.status.trvstatus, Code::problem_file_cannot_be_opened);
  EXPECT_EQ(run.status.trvlocation, 93);
}

INSTANTIATE_TEST_SUITE_P(Rows, UnreadableFile,
                         testing::Values(UnreadableRow{"missing", "none.trv"},
                                         UnreadableRow{"folder", "folder"},
                                         // Opens, but address 0 can't be read.
                                         UnreadableRow{"memory", "/proc/self/mem"}),
                         RowName());

}  // namespace
}  // namespace torve::test
