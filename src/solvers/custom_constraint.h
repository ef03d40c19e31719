#pragma once

#include <string>

#include "solvers/best_subset_problem.h"

namespace torve {

// A custom constraint as a statement in the unknown coefficients: its output becomes the sum of
// the columns' values times their coefficients, its inputs the values of the point. The text is
// what stands on the left of `<= 0`.

// A formula in lower case, with the sign for powers of either language.
std::string text_with_carets(const std::string& formula);
std::string text_with_stars(const std::string& formula);

// For one point (from 0) of the bounding set.
std::string custom_text_for_mir(const BestSubsetProblem& problem,
                                const CustomConstraint& constraint, int point);

// For all points at once, by the index i2.
std::string custom_text_for_gms(const BestSubsetProblem& problem,
                                const CustomConstraint& constraint);

}  // namespace torve
