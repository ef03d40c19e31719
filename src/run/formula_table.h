// The formulas of a run in compiled form. Plain records: `basis/formula/formula.h` has the
// procedures that fill and evaluate them.

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace torve {

/// One formula as code for a stack machine. Empty until a formula was compiled without error.
struct CompiledFormula {
  std::vector<std::int32_t> codes;  // 32 bits, since each variable has a code of its own
  std::vector<double> immediates;   // the numbers of the formula, in the order of their pushes
  std::vector<double> stack;        // work space of one evaluation, `stack_depth` entries
  std::size_t stack_depth = 0;      // the most entries that an evaluation holds at a time
};

struct FormulaTable {
  std::vector<CompiledFormula> slots;
  int fnerrtype = 0;   // of the last evaluation: 0 good, else the kind of error
  int fnparseerr = 0;  // of the last formula parsed: 0 good
};

}  // namespace torve
