#include "adaptive/adaptive_sampling.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "adaptive/point_source.h"
#include "basis/catalogue.h"
#include "data/sampling.h"
#include "data/simulator.h"
#include "model/debug_lines.h"
#include "model/predict.h"
#include "report/printer.h"
#include "text/number_edits.h"

namespace torve {

namespace {

constexpr double no_bound = 1e30;
constexpr double small_output = 1e-3;  // below it the error itself is taken

// What the points so far say about the model of an output.
enum class Verdict {
  open,             // nothing yet
  rejected_by_max,  // the largest error is beyond its tolerance
  rejected_by_mean,
  converged,
};

struct Errors {
  double max = 0.0;  // largest error of the sample
  double sum = 0.0;  // sum of squares
  double est = 0.0;  // square root of the sum, divided by the points
};

struct Pass {
  int ndata = 0;  // rows at the start
  Request request;
};

double prediction(const RunState& run, int row, int k) {
  const MatrixView xij = run.basis.xij.view(row + 1, run.sizes.nbas);
  return predict(run, k, xij.data + row, xij.stride);
}

// Not a number stays what it is, so that no test passes for want of a value.
void raise_to(double& largest, double value) {
  if (!std::isnan(largest) && !(value <= largest)) largest = value;
}

std::string error_text(double value) {
  return fmt::format("{:.14g}", value);
}

bool is_undecided(const RunState& run, int k) {
  return !run.outputs.ignore[at(k)] && !run.models.converged[at(k)];
}

void note_convergence(RunState& run, int k, double error) {
  trvprint(run, fmt::format("Converged model for output {} with max error {}",
                            run.outputs.zlabels[at(k)], error_text(error)));
  Models& models = run.models;
  models.converged[at(k)] = true;
  models.iterconv[at(k)] = run.status.iteration;
  models.ndataconv[at(k)] = run.sizes.ndata;
  models.timeconv[at(k)] = elapsed(run);
  ++run.status.nconverged;
}

bool lives_on_bank(const RunState& run) {
  return run.sizes.nbank != 0 && run.options.simulator.empty();
}

// The bank limits what a pass can add where there is no simulator.
int largest_row(const RunState& run) {
  const int ndata = run.sizes.ndata;
  const int most = run.options.maxpoints;
  if (lives_on_bank(run) && most - 1 >= run.sizes.nbankleft) return ndata + run.sizes.nbankleft;
  return ndata + most;
}

// --- a batch of points --------------------------------------------------------------------------

void sample_batch(RunState& run, Pass& pass) {
  Request& request = pass.request;
  int last = request.maxrow - 1;
  if (last < pass.ndata) return;
  samplepoints(run, run.options.sampler, pass.ndata, last, true);
  if (failed(run)) return;
  request.last = last + 1;
  if (request.last < pass.ndata + 1 + run.options.minpoints) return;
  for (int k = 0; k < run.sizes.noutputs; ++k) {
    if (!is_undecided(run, k)) continue;
    const double tolerance = run.outputs.tolmaxerror[at(k)];
    const double e = maxrelsqerror(run, pass.ndata, last, k, tolerance);
    if (tolerance >= e) note_convergence(run, k, e);
  }
}

// --- points by SNOBFIT --------------------------------------------------------------------------

void fill_errors(RunState& run) {
  for (int k = 0; k < run.sizes.noutputs; ++k) {
    if (run.outputs.ignore[at(k)]) continue;
    for (int i = 0; i < run.sizes.ndata; ++i) {
      run.points.zerror(i, k) = maxsqerror(run, i, i, k, no_bound);
    }
  }
}

Errors sum_up_errors(const RunState& run, const Pass& pass, int k) {
  Errors errors;
  errors.max = -std::numeric_limits<double>::max();
  for (int i = pass.ndata; i < pass.request.last; ++i) {
    raise_to(errors.max, std::sqrt(run.points.zerror(i, k)));
    errors.sum += run.points.zerror(i, k);
  }
  // The program's tolerance for the mean is set against this value, which is not the root of the
  // mean square.
  errors.est = std::sqrt(errors.sum) / std::max(pass.request.last - pass.ndata, 1);
  return errors;
}

// Rejects on the first error beyond the tolerance, however large the sample; accepts on a full
// sample only.
Verdict judge(const RunState& run, const Pass& pass, int k, const Errors& errors) {
  const int last = pass.request.last;
  const Options& options = run.options;
  if (last <= pass.ndata + options.minpoints && last < pass.ndata + options.maxpoints) {
    return Verdict::open;
  }
  if (last == pass.request.maxrow - 1) return Verdict::open;
  const bool too_large = !(errors.max <= run.outputs.tolmaxerror[at(k)]);
  if (too_large) return Verdict::rejected_by_max;
  if (last < pass.request.maxrow) return Verdict::open;
  return errors.est > options.tolesterror ? Verdict::rejected_by_mean : Verdict::converged;
}

void tell_verdict(RunState& run, const Pass& pass, int k, Verdict verdict, const Errors& errors) {
  const auto debug = [&](std::string_view text) {
    if (run.options.debug) debug_line(run, text);
  };
  const std::string line = fmt::format("{}: ({},{})", run.outputs.zlabels[at(k)],
                                       error_text(errors.max), error_text(errors.est));
  switch (verdict) {
    case Verdict::rejected_by_mean:
      debug(line);
      debug(" - Model rejected, mean error violation");
      break;
    case Verdict::rejected_by_max:
      debug(line);
      debug(" - Model rejected, max error violation");
      break;
    case Verdict::converged:
      note_convergence(run, k, errors.max);
      break;
    case Verdict::open:
      debug("Error in DFO adaptive sampling");
      break;
  }
  const std::string added = fmt::format("New points added: {}", pass.request.last - pass.ndata);
  trvprint(run, added);
  debug(added);
}

// True when the newest point decides about an output, which ends the pass.
bool is_decided(RunState& run, const Pass& pass) {
  const int newest = pass.request.last - 1;
  for (int k = 0; k < run.sizes.noutputs; ++k) {
    if (!is_undecided(run, k)) continue;
    run.points.zerror(newest, k) = maxsqerror(run, newest, newest, k, no_bound);
    const Errors errors = sum_up_errors(run, pass, k);
    const Verdict verdict = judge(run, pass, k, errors);
    if (verdict == Verdict::open) continue;
    tell_verdict(run, pass, k, verdict, errors);
    return true;
  }
  return false;
}

enum class Next {
  go_on,     // the point gave no decision, or no result
  end_pass,  // there is a decision, or no time left
  leave,     // the run has a code
};

// Moves the point asked for behind the rows in use, where an earlier one gave no result.
void close_gap(RunState& run, int from, int to) {
  if (from == to) return;
  for (int j = 0; j < run.sizes.ninputs; ++j) {
    run.points.xdata(to, j) = run.points.xdata(from, j);
  }
}

Next try_point(RunState& run, Pass& pass, int requested) {
  const int row = pass.request.last;
  close_gap(run, requested, row);
  int lastobtained = row - 1;
  runsimulator(run, row, row, lastobtained, true);
  if (failed(run)) return Next::leave;
  if (lastobtained < row) return Next::go_on;
  ++pass.request.last;
  const MatrixView points = run.points.xdata.view(row + 1, run.sizes.ninputs);
  evaluate_point(run, points, row, run.basis.xij, row, false);
  return is_decided(run, pass) ? Next::end_pass : Next::go_on;
}

// The clock ends a pass without a decision; the driver then ends the run with the rows in hand.
bool time_is_over(RunState& run) {
  return interrupted() || run.options.maxtime - elapsed(run) <= 0.0;
}

Next try_request(RunState& run, Pass& pass, bool firstcall) {
  Request& request = pass.request;
  if (run.options.matsnob) {
    matlabsnobfit(run, request);
  } else {
    snobfitstep(run, request, firstcall);
  }
  if (failed(run)) return Next::leave;
  const int nreqlast = request.nreqlast;
  for (int requested = request.last; requested < nreqlast; ++requested) {
    const Next next = try_point(run, pass, requested);
    if (next != Next::go_on) return next;
    if (time_is_over(run)) return Next::end_pass;
  }
  const bool no_more = lives_on_bank(run) && run.sizes.nbankleft == 0;
  return no_more || request.last >= request.maxrow || time_is_over(run) ? Next::end_pass
                                                                        : Next::go_on;
}

void sample_by_snobfit(RunState& run, Pass& pass) {
  fill_errors(run);
  if (run.options.debug) debug_line(run, "Relative error on new points: (est, max)");
  // Every request begins anew: errors of old points change with the models.
  const bool firstcall = true;
  while (try_request(run, pass, firstcall) == Next::go_on) {
  }
}

// --- end of a pass ------------------------------------------------------------------------------

std::string row_text(const RunState& run, int i) {
  std::string text = free_form(i + 1);
  const auto add = [&](const Table<double>& table, int columns) {
    for (int j = 0; j < columns; ++j) text += " " + free_form(table(i, j));
  };
  add(run.points.xdata, run.sizes.ninputs);
  add(run.points.zdata, run.sizes.noutputs);
  add(run.points.zerror, run.sizes.noutputs);
  return text;
}

void keep_rows(RunState& run, const Pass& pass) {
  if (run.options.debug) debug_line(run, ">>> Exiting trvadativesampling with ");
  for (int i = pass.ndata; i < pass.request.last; ++i) {
    if (run.options.debug) {
      debug_line(run, "id, x, z, e");
      debug_line(run, row_text(run, i));
    }
    run.points.newrow[at(i)] = true;
  }
  run.sizes.ndata = pass.request.last;
}

// Largest error of the rows that count, as far as bound.
template <class Error>
double largest_error(int first, int last, double bound, Error error) {
  double largest = 0.0;
  if (bound < 0.0) return largest;
  for (int i = first; i <= last && largest <= bound; ++i) raise_to(largest, error(i));
  return largest;
}

}  // namespace

double maxsqerror(const RunState& run, int first, int last, int k, double bound) {
  return largest_error(first, last, bound, [&](int i) {
    const double e = run.points.zdata(i, k) - prediction(run, i, k);
    return e * e;
  });
}

double maxrelsqerror(const RunState& run, int first, int last, int k, double bound) {
  return largest_error(first, last, bound, [&](int i) {
    if (!run.points.simulated(i, k)) return 0.0;
    const double z = run.points.zdata(i, k);
    const double y = prediction(run, i, k);
    const double e = std::abs(z) > small_output ? 1.0 - y / z : z - y;
    return e * e;
  });
}

void trvadaptivesampling(RunState& run) {
  constexpr int random_sampler = 1;
  constexpr int snobfit_sampler = 2;
  constexpr int faure_sampler = 3;
  Pass pass;
  pass.ndata = run.sizes.ndata;
  pass.request.maxrow = largest_row(run);
  pass.request.last = pass.ndata;
  run.points.zerror.fill(0.0);
  const int sampler = run.options.sampler;
  if (sampler == random_sampler || sampler == faure_sampler) sample_batch(run, pass);
  if (sampler == snobfit_sampler) sample_by_snobfit(run, pass);
  if (!failed(run)) keep_rows(run, pass);
}

}  // namespace torve
