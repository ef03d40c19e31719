#pragma once

#include <string>

#include "run/trvspace.h"

namespace torve {

// The way to the solver mirak: the problem is written to a file of the current folder, the solver
// is run on it, and what it answers in tim.lst and res.lst is read back. The files stay there after
// a failure. With debug on each file is kept as a copy under the number of the model.

// The best subset of at most `it` terms for output k (from 0); see trvsolvemip. Ends the run with
// code 68 when the time is over, 74 when a copy fails, 33 when the solver fails or leaves no
// answer.
void trvsolvemipmir(RunState& run, int it, int k, double betabound, double bestmetric, int& miperr);

// The command that runs the solver on a model file. The path is quoted only where a shell would
// not take it as it stands.
std::string mirak_command(const std::string& path, const std::string& model);

}  // namespace torve
