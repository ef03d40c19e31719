#pragma once

#include <string>
#include <vector>

#include "basis/catalogue_row.h"
#include "run/trvspace.h"

namespace torve {

// Sorts a power list, ascending, and returns what was dropped because it equals the entry before it
// within 1e-10.
std::vector<double> drop_duplicate_powers(std::vector<double>& powers);

// Cleans the four lists of real powers, with a warning for each entry that goes. The monomial list
// loses its zeros and ones too, which the constant and the linear family stand for.
void clean_power_lists(RunState& run);

// Lays out the columns: how many each family has, where it starts, and nbas. False (code 51) when
// there are more than memory can hold.
bool lay_out_columns(RunState& run);

// Forms the four texts of every column, marks the live ones and counts them in nbasmax.
void build_catalogue(RunState& run);

// Drops active columns that can't be evaluated at the bounds of the inputs.
void screen_by_bounds(RunState& run);

// Fills xij for the data and, if there is one, the bank; columns that fail there are dropped when
// numlimitbasis holds.
void fill_regression_matrix(RunState& run);

// Drops a column, with a warning. A column that is out already stays so.
void eliminatebasis(RunState& run, int column);

// The rules of the row evaluation for the run's catalogue.
CatalogueRules catalogue_rules(RunState& run);

// Evaluates row `point` of the points into row `row` of the table. With warn and numlimitbasis a
// column that fails is dropped.
void evaluate_point(RunState& run, MatrixView points, int point, Table<double>& target, int row,
                    bool warn);

// The same into the run's row for points outside the tables. What isn't evaluated is `preset`.
std::span<const double> evaluate_loose_point(RunState& run, MatrixView points, int point);

}  // namespace torve
