// The tests' own reader of the solver's language: what it reads and what it refuses.
#include "support/mir_language.h"

#include <gtest/gtest.h>

#include <cmath>

#include "support/rows.h"

namespace torve::test {
namespace {

constexpr const char* small_file = R"(// a remark
OPTIONS{
maxtime: 1e+03 ;
deltaA: 0.1;
}
BINARY_VARIABLES a , b ;
VARIABLES c ;
LOWER_BOUNDS{ c: -2.5; }
EQUATIONS first , second ;
first: a + b <= 1 ;
second: -c^2 + (2)* (c) /4 >= -a ;
OBJ: minimize ((1) - ( + (2) * c ) ) ^2 + log(2) * ( + a + b ) ;
STARTING_POINT{ c: 1; }
)";

TEST(MirLanguage, reads_sections_and_expressions) {
  const MirFile file = read_mir(small_file);
  EXPECT_EQ(file.options, (MirValues{{"maxtime", 1000.0}, {"deltaA", 0.1}}));
  EXPECT_EQ(file.variables(), (std::vector<std::string>{"a", "b", "c"}));
  EXPECT_EQ(file.lower, (MirValues{{"c", -2.5}}));
  EXPECT_EQ(file.start, (MirValues{{"c", 1.0}}));
  const MirValues values{{"a", 1.0}, {"b", 1.0}, {"c", 3.0}};
  EXPECT_DOUBLE_EQ(evaluate(file.objective, values), 25.0 + 2.0 * std::log(2.0));
  EXPECT_DOUBLE_EQ(file.statements.at(0).violation(values), 1.0);
  EXPECT_DOUBLE_EQ(file.statements.at(1).violation(values), 9.0 - 1.5 - 1.0);
  EXPECT_TRUE(name_complaints(file).empty());
  EXPECT_TRUE(file.oddities.empty());
}

struct Refusal {
  const char* name;
  const char* text;
  const char* message;
};

class MirRefusal : public testing::TestWithParam<Refusal> {};

TEST_P(MirRefusal, names_its_line) {
  try {
    read_mir(GetParam().text);
    FAIL() << "no error";
  } catch (const MirError& error) {
    EXPECT_STREQ(error.what(), GetParam().message);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Texts, MirRefusal,
    testing::Values(
        Refusal{"no_objective", "VARIABLES a ;\n", "line 2: no objective at the end"},
        Refusal{"order", "VARIABLES a ;\nOPTIONS{}\n", "line 2: OPTIONS is out of order at {"},
        Refusal{"twice", "VARIABLES a ;\nVARIABLES b ;\n",
                "line 2: VARIABLES is out of order at b"},
        Refusal{"bracket", "OBJ: minimize (a ;\n", "line 1: expected ) at ;"},
        Refusal{"stray_bracket", "\nc: a ) <= 1;\n", "line 2: expected a relation at )"},
        Refusal{"no_semicolon", "c: a <= 1\nd: a <= 1;", "line 2: expected ; at d"},
        Refusal{"semicolon_of_an_error", "trv_erra_1: a <= b;",
                "line 1: unexpected end of a statement at ;"},
        Refusal{"quote", "c: ('2) <= 1;", "line 1: expected a name at '"},
        Refusal{"comma", "VARIABLES , a ;", "line 1: expected a name at ,"},
        Refusal{"character", "OBJ: minimize a ! b;", "line 1: unknown character !"},
        Refusal{"not_a_number", "OPTIONS{ a: NaN; }", "line 1: expected a number at NaN"},
        Refusal{"two_operands", "OBJ: minimize 2 b;", "line 1: expected ; at b"},
        Refusal{"digits", "OBJ: minimize 2b;", "line 1: name after digits"}),
    RowName());

TEST(MirLanguage, complains_about_names) {
  const MirFile file = read_mir(
      "BINARY_VARIABLES a, a, b;\nUPPER_BOUNDS{ d: 1; }\nEQUATIONS x, x, y;\n"
      "x: a <= c;\nz: a <= 1;\nOBJ: minimize a;");
  const std::vector<std::string> expected = {
      "variable declared twice: a",     "undeclared: c",   "never used: b",
      "value of an undeclared name: d", "listed twice: x", "listed and not stated: y",
      "stated and not listed: z"};
  EXPECT_EQ(name_complaints(file), expected);
}

}  // namespace
}  // namespace torve::test
