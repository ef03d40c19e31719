#pragma once

#include <span>

#include "run/trvspace.h"

namespace torve {

// Decides which columns the selection of output k (from 0) may use: active columns that aren't null
// on the data, narrowed by the screener.
void trvscreen(RunState& run, int k);

// Draws the folds of the cross-validation. Nothing is steered by them, but their draws are part of
// the random stream.
void assignfolds(RunState& run);

// Standardised copies of the columns that the screeners reach: all but the last.
void standardize(RunState& run);

// Arrays that the options ask for, at the run's capacity of points. False: code 51.
bool request_screening(RunState& run);

// Evens out fold sizes: each fold below `lowest` rows takes the first rows of the next folds that
// hold at least `highest`. fold_of has the fold of each row, from 0.
void even_folds(std::span<int> fold_of, int folds);

}  // namespace torve
