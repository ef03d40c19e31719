// Turns the tokens of a formula without errors into code.

#pragma once

#include <span>

#include "basis/formula/formula_syntax.h"
#include "run/formula_table.h"

namespace torve::formula {

CompiledFormula compile(std::span<const Token> tokens);

}  // namespace torve::formula
