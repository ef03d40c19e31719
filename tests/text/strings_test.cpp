#include "text/strings.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace torve {
namespace {

struct TrimRow {
  std::string_view name;
  std::string_view text;
  std::string_view right;
  std::string_view both;
};

class Trim : public testing::TestWithParam<TrimRow> {};

TEST_P(Trim, removes_blanks_only) {
  EXPECT_EQ(trim_right(GetParam().text), GetParam().right);
  EXPECT_EQ(trim(GetParam().text), GetParam().both);
}

constexpr TrimRow trim_rows[] = {
    {"empty", "", "", ""},
    {"one_blank", " ", "", ""},
    {"blanks", "    ", "", ""},
    {"nothing_to_trim", "ab", "ab", "ab"},
    {"both_sides", "  ab  ", "  ab", "ab"},
    {"left_only", " ab", " ab", "ab"},
    {"inner_blanks_stay", " a  b ", " a  b", "a  b"},
    {"tab_stays", "\ta\t", "\ta\t", "\ta\t"},
};

INSTANTIATE_TEST_SUITE_P(Rows, Trim, testing::ValuesIn(trim_rows),
                         [](const auto& row) { return std::string(row.param.name); });

struct FieldRow {
  std::string_view name;
  std::string_view text;
  std::size_t width;
  std::string_view cut;
  std::string_view padded;
};

class Field : public testing::TestWithParam<FieldRow> {};

TEST_P(Field, is_cut_and_padded) {
  EXPECT_EQ(cut(GetParam().text, GetParam().width), GetParam().cut);
  EXPECT_EQ(pad_right(GetParam().text, GetParam().width), GetParam().padded);
}

constexpr FieldRow field_rows[] = {
    {"empty", "", 3, "", "   "},
    {"no_width", "abc", 0, "", "abc"},
    {"shorter", "ab", 4, "ab", "ab  "},
    {"exact", "abcd", 4, "abcd", "abcd"},
    {"longer", "abcdef", 4, "abcd", "abcdef"},
    {"blanks_at_the_cut", "ab  ef", 4, "ab", "ab  ef"},
    {"leading_blanks_count", "  abc", 4, "  ab", "  abc"},
    {"only_blanks_in_field", "    x", 4, "", "    x"},
};

INSTANTIATE_TEST_SUITE_P(Rows, Field, testing::ValuesIn(field_rows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(FoldLower, changes_capital_letters_only) {
  EXPECT_EQ(fold_lower("AbcXYZ_09[@`{"), "abcxyz_09[@`{");
  EXPECT_EQ(fold_lower("\xC4\xD6"), "\xC4\xD6");
  EXPECT_EQ(fold_lower(""), "");
}

TEST(EqualFolded, compares_without_case) {
  EXPECT_TRUE(equal_folded("", ""));
  EXPECT_TRUE(equal_folded("LOG10", "log10"));
  EXPECT_TRUE(equal_folded("x_1", "X_1"));
  EXPECT_FALSE(equal_folded("log", "log10"));
  EXPECT_FALSE(equal_folded("log10", "log"));
  EXPECT_FALSE(equal_folded("a ", "a"));
  // These two differ by the same bit as a capital and its small letter.
  EXPECT_FALSE(equal_folded("@", "`"));
  EXPECT_FALSE(equal_folded("\xC4", "\xE4"));
}

TEST(Characters, are_classified_over_all_bytes) {
  constexpr std::string_view digits = "0123456789";
  constexpr std::string_view letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    const bool digit = digits.find(c) != std::string_view::npos;
    const bool letter = letters.find(c) != std::string_view::npos;
    EXPECT_EQ(is_digit(c), digit) << byte;
    EXPECT_EQ(is_letter(c), letter) << byte;
    EXPECT_EQ(is_label_character(c), digit || letter || c == '_') << byte;
  }
}

}  // namespace
}  // namespace torve
