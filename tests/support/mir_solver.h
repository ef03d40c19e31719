// Solves problems in the language of the solver mirak, as far as the program states any: linear or
// quadratic ones by trying every choice of the binary variables, and the search for the largest or
// least value of one equation over a box.
#pragma once

#include <optional>

#include "mir_language.h"

namespace torve::test {

struct MirSolved {
  MirValues values;
  double objective = 0.0;
  std::vector<MirValues> others;  // further points over a box, as many as option NumSol asks for
};

// Nothing when no point holds all statements, or none is as good as the cut-off. Throws
// std::runtime_error for a problem that is beyond it.
std::optional<MirSolved> solve_mir(const MirFile& file);

}  // namespace torve::test
