#include "basis/formula/formula.h"

#include <iterator>
#include <new>
#include <optional>
#include <stdexcept>

#include "basis/formula/formula_compile.h"
#include "basis/formula/formula_syntax.h"

namespace torve {
namespace {

constexpr int syntax_error = 1;

/// Leaves the tokens of a formula without errors; returns the parse status.
int read_checked(std::string_view text, std::span<const std::string> varnames,
                 std::vector<formula::Token>& tokens, std::vector<std::string>* report) {
  const std::optional<formula::SyntaxError> error = formula::read_formula(text, varnames, tokens);
  if (!error) return 0;
  if (report != nullptr) {
    std::vector<std::string> lines = formula::error_lines(text, *error);
    std::move(lines.begin(), lines.end(), std::back_inserter(*report));
  }
  return syntax_error;
}

}  // namespace

void fninit(FormulaTable& table, std::size_t count, int& status) {
  fnfree(table);
  status = 0;
  try {
    table.slots.resize(count);
  } catch (const std::bad_alloc&) {
    status = 1;
  } catch (const std::length_error&) {  // more than any memory could hold
    status = 1;
  }
}

void fnfree(FormulaTable& table) {
  table = FormulaTable{};
}

void fnparse(FormulaTable& table, std::size_t slot, std::string_view text,
             std::span<const std::string> varnames, int& status, std::vector<std::string>* report) {
  status = 0;
  if (slot >= table.slots.size()) return;
  table.slots[slot] = CompiledFormula{};
  std::vector<formula::Token> tokens;
  status = read_checked(text, varnames, tokens, report);
  table.fnparseerr = status;
  if (status == 0) table.slots[slot] = formula::compile(tokens);
}

void fncheck(std::string_view text, std::span<const std::string> varnames, int& status,
             std::vector<std::string>* report) {
  std::vector<formula::Token> tokens;
  status = read_checked(text, varnames, tokens, report);
}

}  // namespace torve
