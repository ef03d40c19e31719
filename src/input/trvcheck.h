#pragma once

#include "run/trvspace.h"

namespace torve {

// Finishes what the problem file left open: default labels, tests across options, the range of the
// inputs, the catalogue with its formulas and first evaluation, and the choice among the solvers
// that are really there. Failures set the run's code.
void trvcheck(RunState& run);

// Its parts, in order; false when the run has to end.
bool check_labels(RunState& run);
bool check_inputs(RunState& run);
bool parse_formulas(RunState& run);
bool prepare_basis(RunState& run);
bool prepare_outputs(RunState& run);
bool find_simulator(RunState& run);
void choose_gams(RunState& run);
void derive_enumeration(RunState& run);
void choose_mirak(RunState& run);

}  // namespace torve
