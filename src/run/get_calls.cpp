#include "run/get_calls.h"

#include "basis/model_line.h"
#include "run/call_names.h"

namespace torve {

Version trvgetversion() {
  return {TORVE_VERSION_YEAR, TORVE_VERSION_MONTH, TORVE_VERSION_DAY};
}

int trvgetstatus(const RunState& run) {
  return static_cast<int>(run.status.trvstatus);
}

double trvgettime(const RunState& run) {
  return run.timers.t_total;
}

int trvgetmodel(RunState& run, int output, std::string& text) {
  if (output < 1 || output > run.sizes.noutputs) return refuse(run, Code::no_such_output, 471);
  const int k = output - 1;
  const bool has_model = run.models.hasmodel.size() > at(k) && run.models.hasmodel[at(k)];
  text = has_model ? model_line(run, k, ModelDigits::full) : "";
  return 0;
}

}  // namespace torve
