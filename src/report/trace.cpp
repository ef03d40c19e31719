#include "report/trace.h"

#include <fmt/format.h>

#include <array>

#include "basis/model_line.h"
#include "model/metrics.h"
#include "text/number_edits.h"
#include "text/strings.h"

namespace torve {

namespace {

// What one row speaks of.
struct Subject {
  const RunState& run;
  int k;  // output, from 0
  const EvaluatedSet& set;

  const SetQuality& quality() const { return set.outputs[at(k)]; }
  const Options& options() const { return run.options; }
  const Counters& counters() const { return run.counters; }
  const Timers& timers() const { return run.timers; }
  const Models& models() const { return run.models; }
  bool converged() const { return run.models.converged[at(k)]; }
};

std::string text(int value) {
  return free_form(value);
}
std::string text(double value) {
  return free_form(value);
}
std::string option(bool value) {
  return value ? "1" : "0";
}
std::string metric(const Subject& s, Metric m) {
  return text(s.quality().metrics[at(static_cast<int>(m) - 1)]);
}

// What is known of an output only once it has converged.
std::string when_converged(const Subject& s, const std::string& value) {
  return s.converged() ? value : text(s.options().preset);
}

std::string lasso_reduction(const Subject& s) {
  const int calls = s.models().screenercalls[at(s.k)];
  return text(calls < 1 ? 0.0 : s.models().LassoRed[at(s.k)] / calls);
}

std::string other_time(const Subject& s) {
  const Timers& t = s.timers();
  return time_text(t.t_total - t.t_initial - t.t_sim - t.t_olr - t.t_clr - t.t_lasso);
}

std::string version(const Subject&) {
  return fmt::format("{}.{}.{}", TORVE_VERSION_YEAR, TORVE_VERSION_MONTH, TORVE_VERSION_DAY);
}

struct TraceColumn {
  std::string_view title;
  std::string (*value)(const Subject&);
};

// In the order of the file. The last column ends the line and may hold commas.
constexpr auto columns = std::to_array<TraceColumn>({
    {"#filename", [](const Subject& s) { return s.run.files.fname; }},
    {"NINPUTS", [](const Subject& s) { return text(s.run.sizes.ninputs); }},
    {"NOUTPUTS", [](const Subject& s) { return text(s.run.sizes.noutputs); }},
    {"INITIALPOINTS", [](const Subject& s) { return text(s.run.sizes.initialpoints); }},
    {"OUTPUT", [](const Subject& s) { return text(s.k + 1); }},
    {"SET", [](const Subject& s) { return text(s.set.number); }},
    {"INITIALIZER", [](const Subject& s) { return text(s.options().initializer); }},
    {"SAMPLER", [](const Subject& s) { return text(s.options().sampler); }},
    {"MODELER", [](const Subject& s) { return text(s.options().modeler); }},
    {"BUILDER", [](const Subject& s) { return text(s.options().builder); }},
    {"GREEDYBUILD", [](const Subject& s) { return option(s.options().greedybuild); }},
    {"BACKSTEPPER", [](const Subject& s) { return text(s.options().backstepper); }},
    {"GREEDYBACK", [](const Subject& s) { return option(s.options().greedyback); }},
    {"REGULARIZER", [](const Subject& s) { return text(s.options().screener); }},
    {"SOLVEMIP", [](const Subject& s) { return option(s.options().solvemip); }},
    {"SSEOLR", [](const Subject& s) { return text(s.models().SSEOLR[at(s.k)]); }},
    {"SSE", [](const Subject& s) { return text(s.quality().sse); }},
    {"RMSE", [](const Subject& s) { return text(s.quality().rmse); }},
    {"R2", [](const Subject& s) { return text(s.quality().r2); }},
    {"ModelSize", [](const Subject& s) { return text(s.models().ModelSize[at(s.k)]); }},
    {"BIC", [](const Subject& s) { return metric(s, Metric::bic); }},
    {"RIC", [](const Subject& s) { return metric(s, Metric::ric); }},
    {"Cp", [](const Subject& s) { return metric(s, Metric::cp); }},
    {"AICc", [](const Subject& s) { return metric(s, Metric::aicc); }},
    {"HQC", [](const Subject& s) { return metric(s, Metric::hqc); }},
    {"MSE", [](const Subject& s) { return metric(s, Metric::mse); }},
    {"SSEp", [](const Subject& s) { return metric(s, Metric::ssep); }},
    {"MADp", [](const Subject& s) { return metric(s, Metric::madp); }},
    {"OLRTime", [](const Subject& s) { return time_text(s.timers().t_olr); }},
    {"numOLRs", [](const Subject& s) { return text(s.counters().numOLRs); }},
    {"OLRoneCalls", [](const Subject& s) { return text(s.counters().OLRoneCalls); }},
    {"OLRoneFails", [](const Subject& s) { return text(s.counters().OLRoneFails); }},
    {"OLRgsiCalls", [](const Subject& s) { return text(s.counters().OLRgsiCalls); }},
    {"OLRgsiFails", [](const Subject& s) { return text(s.counters().OLRgsiFails); }},
    {"OLRdgelCalls", [](const Subject& s) { return text(s.counters().OLRdgelCalls); }},
    {"OLRdgelFails", [](const Subject& s) { return text(s.counters().OLRdgelFails); }},
    {"OLRclrCalls", [](const Subject& s) { return text(s.counters().OLRclrCalls); }},
    {"OLRclrFails", [](const Subject& s) { return text(s.counters().OLRclrFails); }},
    {"OLRgmsCalls",
     [](const Subject& s) { return text(s.counters().OLRgmsCalls + s.counters().OLRmirCalls); }},
    {"OLRgmsFails",
     [](const Subject& s) { return text(s.counters().OLRgmsFails + s.counters().OLRmirFails); }},
    {"CLRTime", [](const Subject& s) { return time_text(s.timers().t_clr); }},
    {"numCLRs", [](const Subject& s) { return text(s.counters().numCLRs); }},
    {"MIPTime", [](const Subject& s) { return time_text(s.timers().t_mip + s.timers().t_mip2); }},
    {"NumMIPs", [](const Subject& s) { return text(s.counters().n_mip); }},
    {"LassoTime", [](const Subject& s) { return time_text(s.timers().t_lasso); }},
    {"Metric1Lasso", [](const Subject& s) { return text(s.models().Metric1Lasso[at(s.k)]); }},
    {"Metric2Lasso", [](const Subject& s) { return text(s.models().Metric2Lasso[at(s.k)]); }},
    {"LassoSuccess",
     [](const Subject& s) { return std::string(s.models().LassoSuccess[at(s.k)] ? "T" : "F"); }},
    {"LassoRed", lasso_reduction},
    {"nBasInitAct", [](const Subject& s) { return text(s.run.sizes.nbasinitact); }},
    {"nBas", [](const Subject& s) { return text(s.run.sizes.nbas); }},
    {"SimTime", [](const Subject& s) { return time_text(s.timers().t_sim); }},
    {"SimData",
     [](const Subject& s) { return text(s.run.sizes.ndata - s.run.sizes.initialpoints); }},
    {"TotData", [](const Subject& s) { return text(s.run.sizes.ndata); }},
    {"NdataConv",
     [](const Subject& s) { return when_converged(s, text(s.models().ndataconv[at(s.k)])); }},
    {"OtherTime", other_time},
    {"NumIters", [](const Subject& s) { return text(s.run.status.iteration); }},
    {"IterConv",
     [](const Subject& s) { return when_converged(s, text(s.models().iterconv[at(s.k)])); }},
    {"TimeConv",
     [](const Subject& s) { return when_converged(s, time_text(s.models().timeconv[at(s.k)])); }},
    {"Step0Time", [](const Subject& s) { return time_text(s.timers().t_initial); }},
    {"Step1Time", [](const Subject& s) { return time_text(s.timers().t_model); }},
    {"Step2Time", [](const Subject& s) { return time_text(s.timers().t_adaptive); }},
    {"TotalTime", [](const Subject& s) { return time_text(s.timers().t_total); }},
    {"TorveStatus",
     [](const Subject& s) { return text(static_cast<int>(s.run.status.trvstatus)); }},
    {"TorveVersion", version},
    {"Model", [](const Subject& s) { return model_line(s.run, s.k, ModelDigits::full); }},
});
static_assert(columns.size() == 66);

std::string trace_row(const Subject& subject) {
  std::string row;
  for (const TraceColumn& column : columns) {
    if (!row.empty()) row += ", ";
    row += trim(column.value(subject));
  }
  return row;
}

}  // namespace

std::string trace_header() {
  std::string header;
  for (const TraceColumn& column : columns) {
    if (!header.empty()) header += ", ";
    header += column.title;
  }
  return header;
}

void write_trace_header(RunState& run) {
  run.files.tracefile.line(trace_header());
}

void write_trace_rows(RunState& run) {
  if (!run.files.tracefile.is_open()) return;
  std::vector<std::string> rows;
  for (int k = 0; k < run.sizes.noutputs; ++k) {
    if (run.outputs.ignore[at(k)]) continue;
    for (const EvaluatedSet& set : run.quality.sets) rows.push_back(trace_row({run, k, set}));
  }
  for (const std::string& row : rows) run.files.tracefile.line(row);
}

}  // namespace torve
