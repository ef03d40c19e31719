// Formulas given as text, checked, compiled once and evaluated on many rows of values.
//
// A formula has the operators + - * / ^ (also written **), parentheses, numbers, named variables,
// the constant pi, and the functions abs, exp, log10, log (natural), sqrt, sinh, cosh, tanh, sin,
// cos, tan, asin, acos and atan. Blanks may stand anywhere.
//
// Names of functions are read in any case; names of variables count as they are given. A function's
// name at the start of an operand is always read as that function, so that a variable called
// `single` can't be used. The word pi in lower case is always the constant; another spelling of it
// is the constant unless a variable is spelled so. Of two equal variable names the first counts.
//
// Equal operators associate to the left, also ^. A sign may open a formula or a parenthesis, and no
// operator may follow another; -a^b is -(a^b). Each operator has a precedence of its own, from low
// to high + - * / ^, so that a+b-c is a+(b-c) and a*b/c is a*(b/c): this fixes the rounding.

#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "run/formula_table.h"

namespace torve {

/// Makes a table of `count` empty slots. `status` is 1 when there is no memory for them, else 0.
void fninit(FormulaTable& table, std::size_t count, int& status);

/// Gives back all memory of the table and leaves it without slots.
void fnfree(FormulaTable& table);

/// Compiles `text` into `slot`, counted from 0; a slot out of range is ignored. After a syntax
/// error `status` isn't 0 and the slot is empty; `report`, when given, gets three lines more: the
/// message, the formula, and a question mark under the place of the error.
void fnparse(FormulaTable& table, std::size_t slot, std::string_view text,
             std::span<const std::string> varnames, int& status,
             std::vector<std::string>* report = nullptr);

/// The syntax check of `fnparse` alone.
void fncheck(std::string_view text, std::span<const std::string> varnames, int& status,
             std::vector<std::string>* report = nullptr);

/// The value of the formula in `slot` at one row of values, one for each variable in the order of
/// the names it was compiled with. Where the formula isn't defined the value is 0 and `fnerrtype`
/// tells why. Overflow and NaN are no errors and come out as arithmetic gives them. An empty slot
/// has the value 0. Allocates nothing.
double fneval(FormulaTable& table, std::size_t slot, std::span<const double> values);

/// What went wrong in the last evaluation; empty when nothing did.
std::string_view fnerrmsg(const FormulaTable& table);

}  // namespace torve
