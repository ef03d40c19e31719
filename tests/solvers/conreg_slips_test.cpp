// Slips in the part of conreg.gms that collects several solutions: the tests' reader of the
// language finds each, and complains of what it is.
#include <gtest/gtest.h>

#include <ostream>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "conreg_case.h"
#include "support/rows.h"

namespace torve {
namespace {

struct SlipRow {
  std::string_view name;
  std::string_view from;
  std::string_view to;
  std::string_view complaint;
};

void PrintTo(const SlipRow& row, std::ostream* out) {
  *out << row.name;
}

std::string with_slip(const SlipRow& row) {
  std::string text = conreg_gms(search_of(SearchKind::below_zmin));
  const std::size_t solved = text.find("SOLVE trv_conreg");
  const std::size_t place = text.find(row.from, solved);
  EXPECT_NE(place, std::string::npos) << row.from;
  return text.replace(place, row.from.size(), row.to);
}

std::string complaint_about(const std::string& text) {
  try {
    test::read_gms(text);
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "none";
}

class ConregSlip : public testing::TestWithParam<SlipRow> {};

TEST_P(ConregSlip, is_found) {
  const std::string complaint = complaint_about(with_slip(GetParam()));
  EXPECT_NE(complaint.find(GetParam().complaint), std::string::npos) << complaint;
}

constexpr std::string_view no_semicolon = "';' is missing";
constexpr std::string_view no_bracket = "')' is missing";
constexpr std::string_view no_comma = "',' is missing";
constexpr std::string_view not_declared = " isn't declared";

INSTANTIATE_TEST_SUITE_P(
    Semicolons, ConregSlip,
    testing::Values(
        SlipRow{"of_solve", "using NLP;", "using NLP", no_semicolon},
        SlipRow{"of_the_set", "multsol4/;", "multsol4/", no_semicolon},
        SlipRow{"of_the_values", "trv_zsol(trv_sol);", "trv_zsol(trv_sol)", no_semicolon},
        SlipRow{"of_an_input", "Temptrv_sol(trv_sol);", "Temptrv_sol(trv_sol)", no_semicolon},
        // Only a word of the language may stand in its place.
        SlipRow{"of_a_file_ahead_of_a_name", "put crres;\n", "", no_semicolon},
        SlipRow{"of_the_file_to_put_into", "put crres;", "put crres", no_semicolon},
        SlipRow{"of_the_page_control", "crres.pc=4;", "crres.pc=4", no_semicolon},
        SlipRow{"of_the_status_put", ":3:0 / ;", ":3:0 /", no_semicolon},
        SlipRow{"of_the_parameter", "parameter trv_ms;", "parameter trv_ms", no_semicolon},
        SlipRow{"of_the_assignment", "=trv_conreg.modelstat;", "=trv_conreg.modelstat",
                no_semicolon},
        SlipRow{"of_the_merge", "merge.scr';", "merge.scr'", no_semicolon},
        SlipRow{"of_the_load", ", ptrv_sol=p\n;", ", ptrv_sol=p\n", no_semicolon},
        SlipRow{"of_the_removal", "rm %gams.scrdir%merge.scr';", "rm %gams.scrdir%merge.scr'",
                no_semicolon},
        SlipRow{"of_the_option", "decimals=8;", "decimals=8", no_semicolon},
        SlipRow{"of_the_display", ", ptrv_sol.l\n;", ", ptrv_sol.l\n", no_semicolon},
        SlipRow{"of_the_put_of_a_point", "(trv_sol) /;", "(trv_sol) /", no_semicolon},
        SlipRow{"of_the_loop", ");\n);\n", ")\n);\n", no_semicolon},
        SlipRow{"of_the_condition", ");\n);\n", ");\n)\n", no_semicolon}),
    test::RowName());

INSTANTIATE_TEST_SUITE_P(
    Brackets, ConregSlip,
    testing::Values(
        SlipRow{"of_a_domain", "trv_zsol(trv_sol);", "trv_zsol(trv_sol;", no_bracket},
        SlipRow{"before_the_condition", "if ((trv_ms ne 4)", "if trv_ms ne 4", "'(' is missing"},
        SlipRow{"of_a_comparison", "(trv_ms ne 10)", "(trv_ms ne 10", no_bracket},
        SlipRow{"of_a_comparison_too_many", "(trv_ms ne 10)", "(trv_ms ne 10))", no_comma},
        SlipRow{"before_the_loop", "loop(trv_sol", "loop trv_sol", "'(' is missing"},
        SlipRow{"of_an_index", "trv_zsol.l(trv_sol) /", "trv_zsol.l(trv_sol /", no_bracket},
        SlipRow{"behind_the_loop", ");\n);\n", ";\n);\n", " at ';'"},
        SlipRow{"behind_the_condition", ");\n);\n", ");\n", no_bracket},
        SlipRow{"one_too_many", ");\n);\n", ");\n);\n);\n", "a name is missing"}),
    test::RowName());

INSTANTIATE_TEST_SUITE_P(
    Names, ConregSlip,
    testing::Values(
        SlipRow{"set_left_out", "set trv_sol /multsol1*multsol4/;\n", "", not_declared},
        SlipRow{"value_left_out", "variables trv_zsol(trv_sol);\n", "", not_declared},
        SlipRow{"input_left_out", "VARIABLE ptrv_sol(trv_sol);\n", "", not_declared},
        SlipRow{"input_twice", "VARIABLE ptrv_sol", "VARIABLE Temptrv_sol", "declared twice"},
        SlipRow{"file_left_out", "file crres\n", "", not_declared},
        SlipRow{"status_left_out", "parameter trv_ms; ", "", not_declared},
        SlipRow{"of_another_file", "put crres;", "put crre;", not_declared},
        SlipRow{"of_another_model", "put trv_conreg.", "put trv_conregs.", not_declared},
        SlipRow{"in_the_condition", "(trv_ms ne 19)", "(trv_stat ne 19)", not_declared},
        SlipRow{"missing_in_the_condition", "(trv_ms ne 19)", "( ne 19)", not_declared},
        SlipRow{"loaded", "trv_zsol=trv_z", "trv_zs=trv_z", not_declared},
        SlipRow{"to_load", "trv_zsol=trv_z", "trv_zsol=trv_zz", not_declared},
        SlipRow{"missing_to_load", "trv_zsol=trv_z", "trv_zsol=", "a name is missing"},
        SlipRow{"missing_before_the_load", "trv_zsol=trv_z", "=trv_z", "a name is missing"},
        SlipRow{"shown", ", ptrv_sol.l\n", ", trv_psol.l\n", not_declared},
        SlipRow{"missing_among_those_shown", ", ptrv_sol.l\n", ", .l\n", "a name is missing"},
        SlipRow{"of_the_loop", "loop(trv_sol,", "loop(trv_sols,", not_declared},
        SlipRow{"put", "ptrv_sol.l(trv_sol), trv", "trv_psol.l(trv_sol), trv", not_declared},
        SlipRow{"missing_among_those_put", "ptrv_sol.l(trv_sol), trv", ", trv",
                "a name is missing"},
        SlipRow{"of_an_unknown_statement", "display", "displays", not_declared}),
    test::RowName());

INSTANTIATE_TEST_SUITE_P(
    Signs, ConregSlip,
    testing::Values(
        SlipRow{"slash_of_the_set", "multsol4/;", "multsol4;", "'/' is missing"},
        SlipRow{"range_of_two_names", "multsol1*multsol4", "multsol1*sol4", "a range of labels"},
        SlipRow{"range_without_number", "multsol1*multsol4", "multsol1*multsol", "a label without"},
        SlipRow{"no_comma_behind_the_condition", "ne 14),", "ne 14)", no_comma},
        SlipRow{"no_comma_in_the_load", ", ptrv_sol=p", "ptrv_sol=p", no_semicolon},
        SlipRow{"no_file_to_load", "'merged.gdx',", "", "a quoted text is missing"},
        SlipRow{"nothing_to_load", "trv_zsol=trv_z\n, Temptrv_sol=Temp\n, ptrv_sol=p\n", "",
                "a name is missing"},
        SlipRow{"no_comma_in_the_display", ", ptrv_sol.l\n", "ptrv_sol.l\n", no_semicolon},
        SlipRow{"no_comma_in_the_loop", "loop(trv_sol,", "loop(trv_sol", no_comma},
        SlipRow{"no_comma_in_the_put", "(trv_sol), ptrv", "(trv_sol) ptrv", no_semicolon},
        SlipRow{"no_and", "4) and (", "4) (", no_comma},
        SlipRow{"unknown_comparison", "trv_ms ne 4", "trv_ms not 4", no_bracket},
        SlipRow{"no_equals_sign", "trv_zsol=trv_z", "trv_zsol trv_z", "'=' is missing"},
        SlipRow{"quote_not_closed", "merge.scr';", "merge.scr;", "a quote isn't closed"},
        SlipRow{"command_without_quotes", "'gdxmerge", "gdxmerge", "no token begins with"},
        SlipRow{"unknown_variable_of_a_command", "%gams.scrdir%", "%gams.scratch%",
                "an unknown variable"},
        SlipRow{"variable_of_a_command_not_closed", "%gams.scrdir%", "%gams.scrdir",
                "an unknown variable"}),
    test::RowName());

INSTANTIATE_TEST_SUITE_P(
    Values, ConregSlip,
    testing::Values(
        SlipRow{"no_attribute_shown", "display trv_zsol.l", "display trv_zsol", "'.' is missing"},
        SlipRow{"other_attribute_shown", "display trv_zsol.l", "display trv_zsol.up",
                "'l' is missing"},
        SlipRow{"unknown_attribute_put", "put Temptrv_sol.l", "put Temptrv_sol.x",
                "no attribute x"},
        SlipRow{"no_attribute_put", "put Temptrv_sol.l", "put Temptrv_sol", "has no attribute"},
        SlipRow{"no_index_put", "put Temptrv_sol.l(trv_sol)", "put Temptrv_sol.l",
                "wrong number of indices"},
        SlipRow{"index_of_another_set", "put Temptrv_sol.l(trv_sol)", "put Temptrv_sol.l(trv_j)",
                "is of another set"},
        SlipRow{"index_that_nothing_controls", "loop(trv_sol,", "loop(trv_j,", "isn't controlled"},
        SlipRow{"loop_over_its_own_set", "put Temptrv_sol", "loop(trv_sol, put Temptrv_sol",
                "is controlled already"},
        SlipRow{"load_of_other_indices", "trv_zsol=trv_z", "trv_zsol=Temptrv_sol",
                "has other indices"},
        SlipRow{"load_into_no_variable", "trv_zsol=trv_z", "trv_beta=trv_z", "is no variable"},
        SlipRow{"declaration_inside", "execute 'gdx", "variable more; execute 'gdx", not_declared},
        SlipRow{"no_file_is_open", "file crres\nput crres;\n", "file crres;\n",
                "no file to put into"},
        SlipRow{"status_of_a_model_ahead_of_its_solution",
                "SOLVE trv_conreg minimizing trv_z using NLP;\n", "trv_zmax=trv_conreg.modelstat;",
                "isn't solved yet"},
        SlipRow{"solved_twice", "set trv_sol", "SOLVE trv_conreg minimizing trv_z using NLP; set s",
                "a second solve"},
        SlipRow{"equation_without_statement", "set trv_sol", "equation more; set trv_sol",
                "has no statement"}),
    test::RowName());

// What can be read and yet leaves something without use.
struct UnusedSlip {
  std::string_view name;
  std::string_view from;
  std::string_view to;
  std::string unused;
};

void PrintTo(const UnusedSlip& row, std::ostream* out) {
  *out << row.name;
}

class ConregUnused : public testing::TestWithParam<UnusedSlip> {};

TEST_P(ConregUnused, is_found) {
  const UnusedSlip& row = GetParam();
  const std::string text = with_slip({row.name, row.from, row.to, ""});
  EXPECT_EQ(unknown_unused(test::read_gms(text)), std::vector<std::string>{row.unused});
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ConregUnused,
    testing::Values(
        UnusedSlip{"input_not_put", "put Temptrv_sol.l(trv_sol), ", "put ", "temptrv_sol"},
        UnusedSlip{"value_not_put", ", trv_zsol.l(trv_sol) /;", " /;", "trv_zsol"},
        UnusedSlip{"status_not_tested",
                   "(trv_ms ne 4) and (trv_ms ne 10) and (trv_ms ne 19) and (trv_ms "
                   "ne 14)",
                   "1", "trv_ms"},
        UnusedSlip{"variable_more", "set trv_sol", "variable more; set trv_sol", "more"}),
    test::RowName());

TEST(ConregOddities, are_met_in_the_text_and_have_a_meaning) {
  const test::GmsProgram program = test::read_gms(conreg_gms(search_of(SearchKind::below_zmin)));
  std::set<std::string> names;
  for (const test::GmsOddity& oddity : test::gms_oddities) {
    EXPECT_FALSE(oddity.meaning.empty());
    names.insert(std::string(oddity.name));
  }
  EXPECT_EQ(program.oddities, names);
}

}  // namespace
}  // namespace torve
