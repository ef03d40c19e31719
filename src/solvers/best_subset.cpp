#include "solvers/best_subset.h"

#include <new>

#include "basis/model_text.h"
#include "solvers/gms_route.h"
#include "solvers/mir_route.h"

namespace torve {

namespace {

// The solver's own language writes powers with ^ alone.
void write_powers_with_carets(RunState& run) {
  for (std::string& text : run.outputs.customcon) text = replaceterm(text, "**", "^");
}

}  // namespace

void trvsolvemip(RunState& run, int it, int k, double betabound, double bestmetric, int& miperr) {
  miperr = 0;
  try {
    if (run.options.mipmir) {
      write_powers_with_carets(run);
      trvsolvemipmir(run, it, k, betabound, bestmetric, miperr);
    } else {
      trvsolvemipgms(run, it, k, betabound, bestmetric, miperr);
    }
  } catch (const std::bad_alloc&) {
    fail(run, Code::out_of_memory, 40);
  }
}

}  // namespace torve
