#include "input/line_reader.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace torve {
namespace {

using namespace std::string_literals;

// A reader that stands on the first line of a text.
LineReader reader_of(std::string text) {
  LineReader reader(std::move(text));
  reader.lineno = 1;
  return reader;
}

std::string dashes(std::size_t count) {
  return std::string(count, '-');
}

template <class Row>
std::string name_of(const testing::TestParamInfo<Row>& row) {
  return row.param.name;
}

// ---- Logical lines -----------------------------------------------------------------------------

struct LinesRow {
  std::string name;
  std::string text;
  std::vector<std::string> lines;
};

class LogicalLines : public testing::TestWithParam<LinesRow> {};

TEST_P(LogicalLines, are_these) {
  LineReader reader = reader_of(GetParam().text);
  std::vector<std::string> lines;
  while (reader.readline()) lines.emplace_back(reader.line());
  EXPECT_EQ(lines, GetParam().lines);
  EXPECT_EQ(reader.fault().code, Code::premature_end);
  EXPECT_EQ(reader.fault().location, 196);
}

const LinesRow lines_rows[] = {
    {"none", "", {}},
    {"one_without_end", "1 2", {"1 2"}},
    {"empty_lines", "\n\n3\n", {"", "", "3"}},
    {"blanks_at_the_end", "1  \n   \n", {"1", ""}},
    {"blanks_at_the_start_stay", "  1\n", {"  1"}},
    {"tabs", "\t1\t2\t\n", {" 1 2"}},
    {"exclamation_mark", "1 ! 2\n3\n", {"1", "3"}},
    {"hash", "1 # 2\n3\n", {"1", "3"}},
    {"percent", "1 % 2\n3\n", {"1", "3"}},
    {"nothing_but_a_comment", "! 1\n2\n", {"", "2"}},
    {"first_of_three_marks", "1 % 2 # 3 ! 4\n", {"1"}},
    {"mark_in_quotes", "\"a # b\"\n", {"\"a"}},
    {"mark_without_blank", "12#34\n", {"12"}},
    {"comment_hides_continuation", "1 ! &\n2\n", {"1", "2"}},
    {"continuation_mark_stays", "1 2 & 3\n4\n", {"1 2 &", "4"}},
    {"continuation_hides_comment", "1 & # 3 = 4\n5\n", {"1 &", "5"}},
    {"continuation_skips_a_long_line", "1 &" + dashes(300) + "\n2\n", {"1 &", "2"}},
    {"two_byte_ends", "1 \r\n2\r\n", {"1", "2"}},
    {"two_byte_ends_and_marks", "1 ! 2\r\n3 &\r\n4\r\n", {"1", "3 &", "4"}},
    {"return_at_the_end_of_the_file", "1\r", {"1"}},
    {"byte_order_mark",
     "\xEF\xBB\xBF"
     "1\n",
     {"1"}},
    {"all_allowed_characters", "azAZ09.-+_^\":/*~()\\\n", {"azAZ09.-+_^\":/*~()\\"}},
    {"a_hundred_characters", dashes(100) + "\n1\n", {dashes(100), "1"}},
    {"more_than_a_hundred_characters", dashes(250) + "\n1\n", {dashes(250), "1"}},
    {"ten_thousand_characters", dashes(10000) + "\n", {dashes(10000)}},
    {"ten_thousand_before_a_comment", dashes(10000) + "# more\n", {dashes(10000)}},
    {"comment_up_to_the_hundredth_character", "1 !" + dashes(97) + "\n2\n", {"1", "2"}},
    {"hundred_characters_and_an_end_of_two_bytes", "1 !" + dashes(97) + "\r\n2\n", {"1", "2"}},
    {"tail_of_a_long_comment", "1 !" + dashes(97) + "2 3\n4\n", {"1", "2 3", "4"}},
    {"tail_of_blanks", "1 !" + dashes(97) + "  \n4\n", {"1", "", "4"}},
    {"mark_as_hundredth_character", dashes(99) + "!2\n", {dashes(99), "2"}},
    {"mark_as_first_of_the_second_hundred", dashes(100) + "!2\n", {dashes(100)}},
    {"tail_behind_the_second_hundred", dashes(150) + "!" + dashes(49) + "2\n", {dashes(150), "2"}},
    {"comment_within_a_tail", "1 !" + dashes(97) + "2 # 3\n", {"1", "2"}},
};

INSTANTIATE_TEST_SUITE_P(Rows, LogicalLines, testing::ValuesIn(lines_rows), name_of<LinesRow>);

// ---- Faults of a line --------------------------------------------------------------------------

struct FaultRow {
  std::string name;
  std::string text;
  Code code;
  int location;
  std::string words;
};

class LineFault : public testing::TestWithParam<FaultRow> {};

TEST_P(LineFault, is_told) {
  LineReader reader = reader_of(GetParam().text);
  EXPECT_FALSE(reader.readline());
  EXPECT_EQ(reader.fault().code, GetParam().code);
  EXPECT_EQ(reader.fault().location, GetParam().location);
  EXPECT_EQ(reader.fault().text, GetParam().words);
}

FaultRow refused(std::string name, std::string text, std::string character, int column) {
  return {std::move(name), std::move(text), Code::syntax_error, 198,
          "Disallowed character \"" + character + "\" found in input file (line 1 column " +
              std::to_string(column) + ")"};
}

const FaultRow fault_rows[] = {
    {"end_of_file", "", Code::premature_end, 196, "Premature end of input file at line 1"},
    {"one_character_too_many", dashes(10001) + "\n", Code::line_too_long, 197,
     "More than 10000 characters read in input file at line 1"},
    {"blanks_too_many", "1" + std::string(10000, ' ') + "\n", Code::line_too_long, 197,
     "More than 10000 characters read in input file at line 1"},
    {"mark_too_many", dashes(10000) + "&\n", Code::line_too_long, 197,
     "More than 10000 characters read in input file at line 1"},
    refused("comma", "1,2\n", ",", 2),
    refused("equals_sign", "1 = 2\n", "=", 3),
    refused("semicolon", "1 ;\n", ";", 3),
    refused("less", "<\n", "<", 1),
    refused("greater", " >\n", ">", 2),
    refused("bracket", "[1]\n", "[", 1),
    refused("closing_bracket", "1]\n", "]", 2),
    refused("dollar", "$\n", "$", 1),
    refused("apostrophe", "'\n", "'", 1),
    refused("at", "a@b\n", "@", 2),
    refused("nul", "1 \0 2\n"s, "\0"s, 3),
    refused("delete_character", "\x7f\n", "\x7f", 1),
    refused("byte_above_127", "\xE9\n", "\xE9", 1),
    refused("return_within_a_line", "1\r2\n", "\r", 2),
    refused("vertical_tab", "1\v2\n", "\v", 2),
    refused("behind_a_tab", "\t1\t,\n", ",", 4),
    refused("behind_the_first_hundred", dashes(149) + ",\n", ",", 150),
    refused("first_of_several", "1 ? , ;\n", "?", 3),
};

INSTANTIATE_TEST_SUITE_P(Rows, LineFault, testing::ValuesIn(fault_rows), name_of<FaultRow>);

TEST(LineReader, counts_columns_from_the_start_of_the_physical_line) {
  LineReader reader = reader_of("keyword 1,\n");
  char c = ' ';
  for (int i = 0; i < 8; ++i) reader.next(c);
  EXPECT_EQ(reader.column(), 8U);
  EXPECT_FALSE(reader.readline());
  EXPECT_EQ(reader.fault().text,
            "Disallowed character \",\" found in input file (line 1 column 10)");
}

TEST(LineReader, counts_columns_of_what_is_left_the_same_way) {
  LineReader reader = reader_of("keyword 1 22\n");
  char c = ' ';
  for (int i = 0; i < 8; ++i) reader.next(c);
  ASSERT_TRUE(reader.readline());
  ASSERT_TRUE(reader.number());
  EXPECT_FALSE(reader.checkeol());
  EXPECT_EQ(reader.fault().text, "Extraneous characters found in input file (line 1 column 11)");
}

TEST(LineReader, checks_no_characters_of_a_comment) {
  LineReader reader = reader_of("a, b = [\xE9\0]\n"s);
  reader.incomment = true;
  EXPECT_TRUE(reader.readline());
}

// ---- Characters --------------------------------------------------------------------------------

struct EventsRow {
  std::string name;
  std::string text;
  std::string events;  // the characters, '|' for the end of a line, '.' for that of the file
};

class Characters : public testing::TestWithParam<EventsRow> {};

TEST_P(Characters, are_these) {
  LineReader reader = reader_of(GetParam().text);
  std::string events;
  char c = ' ';
  while (true) {
    const LineReader::Event event = reader.next(c);
    if (event == LineReader::Event::end_of_file) break;
    events += event == LineReader::Event::end_of_line ? '|' : c;
  }
  EXPECT_TRUE(reader.at_end_of_file());
  EXPECT_EQ(events, GetParam().events);
}

const EventsRow events_rows[] = {
    {"empty_file", "", ""},
    {"line", "ab\n", "ab|"},
    {"no_line_end", "ab", "ab"},
    {"two_byte_end", "a\r\nb\r\n", "a|b|"},
    {"lone_return", "a\rb", "a\rb"},
    {"byte_order_mark",
     "\xEF\xBB\xBF"
     "a",
     "a"},
    {"mark_further_on", "a\xEF\xBB\xBF", "a\xEF\xBB\xBF"},
};

INSTANTIATE_TEST_SUITE_P(Rows, Characters, testing::ValuesIn(events_rows), name_of<EventsRow>);

TEST(LineReader, skips_the_rest_of_a_line) {
  LineReader reader = reader_of("abc\r\ndef");
  char c = ' ';
  reader.next(c);
  reader.skip_line();
  EXPECT_EQ(reader.column(), 0U);
  reader.next(c);
  EXPECT_EQ(c, 'd');
}

// ---- What separates a keyword from its value ---------------------------------------------------

struct SeparatorRow {
  std::string name;
  std::string text;  // behind the keyword
  std::string line;  // that readline gives then
};

class Separator : public testing::TestWithParam<SeparatorRow> {};

TEST_P(Separator, is_passed) {
  LineReader reader = reader_of(GetParam().text);
  reader.skip_separator();
  reader.incomment = true;  // what is not passed shows
  ASSERT_TRUE(reader.readline());
  EXPECT_EQ(reader.line(), GetParam().line);
  EXPECT_EQ(reader.lineno, 1);
}

const SeparatorRow separator_rows[] = {
    {"blanks", "  3\n", "3"},
    {"equals_sign", "= 3\n", "3"},
    {"equals_sign_between_blanks", " =3\n", "3"},
    {"colon", ": 3\n", "3"},
    {"tabs", "\t:\t3\n", "3"},
    {"second_equals_sign_stays", "= = 3\n", "= 3"},
    {"colon_behind_equals_sign_stays", "=:3\n", ":3"},
    {"line_end", "\n3\n", "3"},
    {"equals_sign_and_line_end", " = \r\n3\n", "3"},
    {"only_one_line_end", "\n\n3\n", ""},
};

INSTANTIATE_TEST_SUITE_P(Rows, Separator, testing::ValuesIn(separator_rows), name_of<SeparatorRow>);

struct RowsRow {
  std::string name;
  std::string text;  // behind the keyword of a section
  bool clean;
};

class Rows : public testing::TestWithParam<RowsRow> {};

TEST_P(Rows, begin_on_the_next_line) {
  LineReader reader = reader_of(GetParam().text);
  EXPECT_EQ(reader.skip_to_rows(), GetParam().clean);
  if (!GetParam().clean) return;
  ASSERT_TRUE(reader.readline());
  EXPECT_EQ(reader.line(), "1 2");
}

const RowsRow rows_rows[] = {
    {"at_once", "\n1 2\n", true},
    {"behind_blanks", "  \t\n1 2\n", true},
    {"behind_a_comment", " # rows\n1 2\n", true},
    {"behind_a_stray_character", " x\n1 2\n", true},
    {"not_behind_a_word", " rows\n1 2\n", false},
};

INSTANTIATE_TEST_SUITE_P(Rows, Rows, testing::ValuesIn(rows_rows), name_of<RowsRow>);

// ---- Tokens ------------------------------------------------------------------------------------

struct NumbersRow {
  std::string name;
  std::string text;
  std::vector<double> numbers;
  int lineno;  // of the line they end on
};

class Numbers : public testing::TestWithParam<NumbersRow> {};

TEST_P(Numbers, are_these) {
  LineReader reader = reader_of(GetParam().text);
  reader.incomment = true;  // the token routine's own rules
  ASSERT_TRUE(reader.readline());
  for (const double number : GetParam().numbers) {
    const std::optional<double> value = reader.number();
    ASSERT_TRUE(value);
    EXPECT_EQ(*value, number);
  }
  EXPECT_EQ(reader.lineno, GetParam().lineno);
  EXPECT_TRUE(reader.checkeol());
}

const NumbersRow numbers_rows[] = {
    {"forms", "5 5.0 5. .5 -1e-3 1d3 1.5E+3\n", {5, 5, 5, 0.5, -0.001, 1000, 1500}, 1},
    {"signs", "+5 -5 +.5 -.5e1\n", {5, -5, 0.5, -5}, 1},
    {"comma_ends_the_number", "1,2 3\n", {1, 3}, 1},
    {"slash_ends_the_number", "1/2 3\n", {1, 3}, 1},
    {"tabs", "\t1\t2\t\n", {1, 2}, 1},
    {"continued", "1 2 &\n3\n", {1, 2, 3}, 2},
    {"continued_twice", "1 & and more\n\t2 &\n 3 ! end\n", {1, 2, 3}, 3},
    {"mark_close_to_the_number", "1 2&\n3\n", {1, 2, 3}, 2},
    {"too_small_for_a_real", "1e-999\n", {0}, 1},
};

INSTANTIATE_TEST_SUITE_P(Rows, Numbers, testing::ValuesIn(numbers_rows), name_of<NumbersRow>);

class NumberFault : public testing::TestWithParam<FaultRow> {};

TEST_P(NumberFault, is_told) {
  LineReader reader = reader_of(GetParam().text);
  ASSERT_TRUE(reader.readline());
  EXPECT_FALSE(reader.number());
  EXPECT_EQ(reader.fault().code, GetParam().code);
  EXPECT_EQ(reader.fault().location, GetParam().location);
  EXPECT_EQ(reader.fault().text, GetParam().words);
}

TEST_P(NumberFault, is_passed_over_in_silence) {
  LineReader reader = reader_of(GetParam().text);
  ASSERT_TRUE(reader.readline());
  EXPECT_FALSE(reader.quiet_number());
}

const FaultRow number_faults[] = {
    {"line_of_nothing", " \n", Code::premature_end, 199, "Premature end of input file at line 1"},
    {"line_of_a_comment", "# 1\n", Code::premature_end, 199,
     "Premature end of input file at line 1"},
    {"word", "one\n", Code::syntax_error, 200, "Unexpected character in input file at line 1"},
    {"number_and_letter", "1x\n", Code::syntax_error, 200,
     "Unexpected character in input file at line 1"},
    {"two_points", "1.2.3\n", Code::syntax_error, 200,
     "Unexpected character in input file at line 1"},
    {"two_signs", "--1\n", Code::syntax_error, 200, "Unexpected character in input file at line 1"},
    {"no_exponent", "1e\n", Code::syntax_error, 200,
     "Unexpected character in input file at line 1"},
    {"too_large", "1e999\n", Code::syntax_error, 200,
     "Unexpected character in input file at line 1"},
    {"nan", "nan\n", Code::syntax_error, 200, "Unexpected character in input file at line 1"},
    {"infinity", "-inf\n", Code::syntax_error, 200, "Unexpected character in input file at line 1"},
};

INSTANTIATE_TEST_SUITE_P(Rows, NumberFault, testing::ValuesIn(number_faults), name_of<FaultRow>);

TEST(LineReader, wants_a_line_behind_a_continuation_mark) {
  LineReader reader = reader_of("1 &\n");
  ASSERT_TRUE(reader.readline());
  ASSERT_TRUE(reader.number());
  EXPECT_TRUE(reader.continues());
  EXPECT_FALSE(reader.number());
  EXPECT_EQ(reader.fault().location, 196);
  EXPECT_EQ(reader.fault().text, "Premature end of input file at line 2");
}

TEST(LineReader, can_forget_a_continuation_mark) {
  LineReader reader = reader_of("1 &\n2\n");
  ASSERT_TRUE(reader.readline());
  ASSERT_TRUE(reader.number());
  reader.forget_continuation();
  EXPECT_FALSE(reader.continues());
  ASSERT_TRUE(reader.readline());
  EXPECT_EQ(reader.lineno, 1);
  EXPECT_EQ(reader.line(), "2");
}

TEST(LineReader, hands_out_words_as_they_stand) {
  LineReader reader = reader_of("  Abc d.e &\n f\n");
  ASSERT_TRUE(reader.readline());
  EXPECT_EQ(reader.first_word_folded(), "abc");
  EXPECT_EQ(reader.word(), "Abc");
  EXPECT_EQ(reader.word(), "d.e");
  EXPECT_EQ(reader.word(), "f");
  EXPECT_EQ(reader.lineno, 2);
  EXPECT_FALSE(reader.word());
  EXPECT_EQ(reader.fault().location, 199);
}

TEST(LineReader, hands_out_the_rest_with_its_blanks) {
  LineReader reader = reader_of("1  a  b \n\n");
  ASSERT_TRUE(reader.readline());
  ASSERT_TRUE(reader.number());
  EXPECT_EQ(reader.rest(), "a  b");
  EXPECT_TRUE(reader.blank());
  EXPECT_FALSE(reader.rest());
  EXPECT_EQ(reader.fault().code, Code::premature_end);
  EXPECT_EQ(reader.fault().location, 201);
}

struct CountRow {
  std::string name;
  std::string text;
  int count;
};

class CountTokens : public testing::TestWithParam<CountRow> {};

TEST_P(CountTokens, leaves_the_column) {
  LineReader reader = reader_of(GetParam().text);
  ASSERT_TRUE(reader.readline());
  EXPECT_EQ(reader.counttokens(), GetParam().count);
  EXPECT_EQ(reader.counttokens(), GetParam().count);
  EXPECT_EQ(reader.blank(), GetParam().count == 0);
}

const CountRow count_rows[] = {
    {"none", "\n", 0},       {"blanks", "   \n", 0},         {"comment", "! 1 2\n", 0},
    {"one", "1\n", 1},       {"three", " 1  2 3 \n", 3},     {"before_comment", "1 2 # 3\n", 2},
    {"tabs", "\t1\t2\n", 2}, {"continued", "1 2 &\n3\n", 2},
};

INSTANTIATE_TEST_SUITE_P(Rows, CountTokens, testing::ValuesIn(count_rows), name_of<CountRow>);

// ---- The end of a line -------------------------------------------------------------------------

struct EndRow {
  std::string name;
  std::string text;  // behind one number
  bool clean;
};

class EndOfLine : public testing::TestWithParam<EndRow> {};

TEST_P(EndOfLine, is_looked_at) {
  LineReader reader = reader_of("1" + GetParam().text + "\n");
  ASSERT_TRUE(reader.readline());
  ASSERT_TRUE(reader.number());
  EXPECT_EQ(reader.checkeol(), GetParam().clean);
  if (GetParam().clean) return;
  EXPECT_EQ(reader.fault().code, Code::extra_text);
  EXPECT_EQ(reader.fault().location, 202);
  EXPECT_EQ(reader.fault().text, "Extraneous characters found in input file (line 1 column 3)");
}

const EndRow end_rows[] = {
    {"nothing", "", true},
    {"blanks", "  ", true},
    {"exclamation_mark", " ! more", true},
    {"hash", " # more", true},
    {"percent", " % more", true},
    {"one_stray_character_in_the_last_column", " 2", true},
    {"two_characters", " 22", false},
    {"two_tokens", " 2 3", false},
    {"one_character_and_a_comment", " 2 # 3", true},
};

INSTANTIATE_TEST_SUITE_P(Rows, EndOfLine, testing::ValuesIn(end_rows), name_of<EndRow>);

// --- plain rows ---------------------------------------------------------------------------------

struct PlainRowCase {
  std::string name;
  std::string text;
  bool taken;
};

class PlainRows : public testing::TestWithParam<PlainRowCase> {};

// What isn't taken is left for the readers that know the rest of the format.
TEST_P(PlainRows, are_taken_whole_or_not_at_all) {
  LineReader lines(GetParam().text + "7\n");
  std::vector<double> values(2, 0.0);
  const auto put = [&](int j, double value) { values[static_cast<std::size_t>(j)] = value; };
  ASSERT_EQ(lines.plain_row(2, put), GetParam().taken);
  if (GetParam().taken) {
    EXPECT_EQ(values, (std::vector<double>{1.5, -2.0}));
    ASSERT_TRUE(lines.readline());
    EXPECT_EQ(lines.number(), 7.0);
  } else {
    EXPECT_EQ(lines.column(), 0U);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PlainRows,
    testing::Values(
        PlainRowCase{"plain", "1.5 -2\n", true},
        PlainRowCase{"with_blanks_around", "  1.5\t\t-2.0  \n", true},
        PlainRowCase{"with_line_ends_of_two_bytes", "1.5 -2\r\n", true},
        PlainRowCase{"with_exponents", "15e-1 -0.2E1\n", true},
        PlainRowCase{"as_long_as_a_line", "1.5 -2" + std::string(9994, ' ') + "\n", true},
        PlainRowCase{"longer_than_a_line", "1.5 -2" + std::string(9995, ' ') + "\n", false},
        PlainRowCase{"of_three_numbers", "1.5 -2 3\n", false},
        PlainRowCase{"of_one_number", "1.5\n-2\n", false},
        PlainRowCase{"with_a_comment", "1.5 -2 # end\n", false},
        PlainRowCase{"with_a_continuation", "1.5 &\n-2\n", false},
        PlainRowCase{"with_a_foreign_exponent", "1.5d0 -2\n", false},
        PlainRowCase{"with_a_comma", "1.5, -2\n", false},
        PlainRowCase{"with_a_sign", "+1.5 -2\n", false},
        PlainRowCase{"with_a_word", "1.5 nan\n", false},
        PlainRowCase{"too_large", "1.5 -2e999\n", false}, PlainRowCase{"blank", "\n", false}),
    [](const auto& row) { return row.param.name; });

TEST(PlainRow, needs_the_end_of_its_line) {
  LineReader lines("1.5 -2");
  EXPECT_FALSE(lines.plain_row(2, [](int, double) {}));
}

}  // namespace
}  // namespace torve
