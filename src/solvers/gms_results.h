#pragma once

#include <string_view>

#include "solvers/best_subset_problem.h"

namespace torve {

// What res.put says of a solve. The coefficients are those of the program, of all columns.
struct GmsAnswer {
  int miperr = 0;      // 0 solved, 1 no solution, 2 the file is no good, 3 other
  int modelstat = 0;   // GAMS's model status
  double value = 0.0;  // of the objective
  BestSubsetAnswer subset;
};

// Whether GAMS's status 14 ("no solution") is an answer: a search that may stop at the first point
// it finds, and did not find one.
enum class NoSolution { is_a_failure, is_an_answer };

// Reads the text of res.put: the status in three characters, the objective, and for each of nbas
// columns whether it is chosen (above 0) and its coefficient. Every value must be there and finite,
// also those of columns that nobody asks for. Without a solution nothing behind the status counts.
GmsAnswer read_gms_answer(std::string_view text, int nbas, NoSolution no_solution);

}  // namespace torve
