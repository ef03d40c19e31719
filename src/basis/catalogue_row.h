#pragma once

#include <cstdint>
#include <span>

#include "run/basis_state.h"
#include "run/matrix_view.h"

namespace torve {

// Whether base^exponent must not be formed: nothing may be NaN, and a base or exponent of 0 and an
// exponent of 1 count as unsafe on purpose, since such a column repeats another one or fails
// elsewhere. A negative base is safe with whole exponents only; a positive one as long as the power
// stays below limit.
bool powunsafe(double base, double exponent, double limit);

// What a row of the catalogue depends on, besides the point.
struct CatalogueRules {
  std::span<const Column> columns;
  ColumnMask basisactive;          // inactive columns of guarded families aren't evaluated
  ColumnMask logusable;            // ninputs
  ColumnMask excluded;             // ninputs: left out of distances
  std::span<const double> xscale;  // ninputs: formulas see the inputs in the user's units
  double rbfparam = 1.0;
  double preset = 0.0;             // the value of what can't be evaluated
  FormulaTable* custom = nullptr;  // one slot a custom function
};

// Evaluates the catalogue at row `point` of `points` (one column an input) into out[j * stride] for
// column j. Radial families take their centres from the rows of the same matrix; a centre that it
// doesn't have gives `preset`. Columns that could not be evaluated get `preset` and are marked in
// `failed` (one entry a column); the result tells whether there were any. `formula_inputs` is
// scratch of at least as many entries as there are inputs. Allocates nothing.
bool evaluate_row(const CatalogueRules& rules, MatrixView points, int point, double* out,
                  std::int64_t stride, std::span<bool> failed, std::span<double> formula_inputs);

}  // namespace torve
