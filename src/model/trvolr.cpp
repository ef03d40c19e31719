#include "model/trvolr.h"

#include <algorithm>
#include <cmath>

#include "model/debug_lines.h"
#include "model/dgels.h"
#include "model/fit.h"
#include "model/least_squares.h"
#include "model/lsei.h"
#include "model/masks.h"
#include "model/residual_sums.h"
#include "report/printer.h"
#include "solvers/olr_routes.h"

namespace torve {

namespace {

// One call of the chain: the problem, and the coefficients of its columns in a row.
struct Call {
  RunState& run;
  int k;
  ColumnMask chosen;
  Regression problem;
  std::span<double> coefficients;  // one for each chosen column
  std::span<double> beta;          // one for each column of the catalogue
  double square;                   // sum of squared errors that the last check found
  bool tried = false;              // a link has set the coefficients
  bool beta_used = false;          // a link has worked in beta, which was clear before
};

void spread(const Call& call) {
  if (call.beta_used) std::fill(call.beta.begin(), call.beta.end(), 0.0);
  for (std::size_t p = 0; p < call.coefficients.size(); ++p) {
    call.beta[at(call.problem.columns[p])] = call.coefficients[p];
  }
}

void gather(Call& call) {
  call.beta_used = true;
  for (std::size_t p = 0; p < call.coefficients.size(); ++p) {
    call.coefficients[p] = call.beta[at(call.problem.columns[p])];
  }
}

bool rejected(Call& call, const double* sse) {
  RunState& run = call.run;
  call.square = sse_unknown;
  if (!run.lsq.lsqwork.request(run.memory, run.sizes.ndata)) {
    fail(run, Code::out_of_memory, 2);
    return true;
  }
  return olrcheck(call.problem, call.coefficients, sse, run.lsq.lsqwork.first(at(run.sizes.ndata)),
                  &call.square);
}

bool out_of_memory(RunState& run, int location) {
  fail(run, Code::out_of_memory, location);
  return true;
}

// True when DGELS failed; otherwise the call's coefficients are those in the solution.
bool trvdgels(Call& call, double& sse) {
  RunState& run = call.run;
  LeastSquares& lsq = run.lsq;
  const int m = call.problem.nrows;
  const int n = static_cast<int>(call.problem.columns.size());
  if (!request_dgels(run, m, n)) return true;
  std::fill(lsq.lsqb.data() + m, lsq.lsqb.data() + std::max(m, n), 0.0);
  pack(call.problem, lsq.lsqa.data(), m, lsq.lsqb.data());
  const int info = dgels(m, n, lsq.lsqa.data(), m, lsq.lsqb.data(), lsq.lsqwork.data(),
                         static_cast<int>(lsq.lsqwork.size()));
  if (info != 0) {
    if (run.options.debug) {
      trvprint(run, "Warning: Error in DGELS in TRVOLR: " + std::to_string(info));
    }
    return true;
  }
  call.coefficients = lsq.lsqb.first(at(n));
  sse = tail_square(lsq.lsqb.first(at(m)), n);
  return false;
}

// True when the iteration failed.
bool trvolrgsi(const Call& call) {
  RunState& run = call.run;
  LeastSquares& lsq = run.lsq;
  const int n = static_cast<int>(call.problem.columns.size());
  if (n > lsq.nbasgsi) return true;
  const std::size_t square = at(n) * at(n);
  const GaussSeidelWork work{lsq.gsigram.first(square), lsq.gsirhs.first(at(n))};
  const GaussSeidelRules rules{run.options.gsiabstol, run.options.gsireltol, run.options.gsimaxi};
  const bool converged =
      gauss_seidel(call.problem, call.coefficients, work, rules, [&] { return timeup(run); });
  if (!converged && run.options.debug) trvprint(run, ">>> trvolrgsi failed");
  return !converged;
}

// A link of the chain: what switches it on, its counters, and the attempt, which is true when
// the link's answer is rejected.
struct Link {
  bool Options::*option;
  int Counters::*calls;
  int Counters::*fails;
  bool (*attempt)(Call&);
};

bool attempt_one(Call& call) {
  call.coefficients[0] = one_term_coefficient(call.problem);
  return rejected(call, nullptr);
}

// A method that says itself that it failed isn't asked for its answer: on data of small magnitude
// the check would pass coefficients of zero.
bool attempt_dgels(Call& call) {
  double sse = 0.0;
  if (trvdgels(call, sse)) {
    std::fill(call.coefficients.begin(), call.coefficients.end(), 0.0);
    return true;
  }
  return rejected(call, &sse);
}

// The call through the chain shows in numCLRs alone.
bool attempt_clr(Call& call) {
  RunState& run = call.run;
  const double seconds = run.timers.t_clr;
  const double output_seconds = run.models.clrtime[at(call.k)];
  trvclr(run, nullptr, call.chosen, call.k, call.beta);
  run.timers.t_clr = seconds;
  run.models.clrtime[at(call.k)] = output_seconds;
  --run.models.clrcalls[at(call.k)];
  gather(call);
  return rejected(call, nullptr);
}

bool attempt_gsi(Call& call) {
  std::fill(call.coefficients.begin(), call.coefficients.end(), 0.0);
  trvolrgsi(call);
  return rejected(call, nullptr);
}

constexpr std::array<Link, 4> chain{{
    {&Options::olrone, &Counters::OLRoneCalls, &Counters::OLRoneFails, attempt_one},
    {&Options::olrdgels, &Counters::OLRdgelCalls, &Counters::OLRdgelFails, attempt_dgels},
    {&Options::olrclr, &Counters::OLRclrCalls, &Counters::OLRclrFails, attempt_clr},
    {&Options::olrgsi, &Counters::OLRgsiCalls, &Counters::OLRgsiFails, attempt_gsi},
}};

// The last link's answer is taken as it is: nothing stands behind it.
bool solve_by_file(Call& call, bool failed_so_far) {
  RunState& run = call.run;
  if (!run.options.olrmir && !run.options.olrgms) {
    if (!call.tried) std::fill(call.coefficients.begin(), call.coefficients.end(), 0.0);
    return failed_so_far;
  }
  const bool mir = run.options.olrmir;
  ++(mir ? run.counters.OLRmirCalls : run.counters.OLRgmsCalls);
  double sse = 0.0;
  (mir ? trvolrmir : trvolrgms)(run, call.chosen, call.k, call.beta, sse);
  gather(call);
  if (rejected(call, &sse)) ++(mir ? run.counters.OLRmirFails : run.counters.OLRgmsFails);
  return false;
}

// Runs the links in order; the first answer that passes ends the chain. A code or the clock ends it
// with the answer still missing.
bool run_chain(Call& call) {
  RunState& run = call.run;
  bool missing = false;
  for (const Link& link : chain) {
    const bool one = link.attempt == attempt_one;
    const bool clr = link.attempt == attempt_clr;
    if (run.options.*(link.option) && !(one && call.problem.columns.size() != 1)) {
      ++(run.counters.*(link.calls));
      call.tried = true;
      missing = link.attempt(call);
      if (!missing) return false;
      ++(run.counters.*(link.fails));
      if (failed(run) || timeup(run)) return true;
    } else if (clr && failed(run)) {
      return missing;
    }
  }
  return solve_by_file(call, missing);
}

void debug_entry(RunState& run, ColumnMask chosen, int k) {
  debug_line(run, ">>> Entering trvolr with");
  debug_whole(run, "    ndata     = ", run.sizes.ndata);
  debug_whole(run, "    nbas      = ", run.sizes.nbas);
  debug_matrix(run, "    xij       = ");
  debug_mask(run, "    chosen    = ", chosen);
  debug_mask(run, "    rows      = ", run.points.rows.first(at(run.sizes.ndata)));
  debug_whole(run, "    k         = ", k + 1);
  debug_reals(run, "    zdata     = ", run.points.zdata.column(k, run.sizes.ndata));
}

void debug_exit(RunState& run, const Call* call, bool has_failed) {
  debug_line(run, ">>> Exiting trvOLR with ");
  debug_logical(run, "    failed    = ", has_failed);
  debug_whole(run, "    trvstatus = ", static_cast<int>(run.status.trvstatus));
  if (has_failed || call == nullptr) return;
  double sse = 0.0;
  for (int i = 0; i < run.sizes.ndata; ++i) {
    if (!call->problem.rows[at(i)]) continue;
    double y = 0.0;
    for (std::size_t p = 0; p < call->coefficients.size(); ++p) {
      y += call->coefficients[p] * call->problem.x(i, call->problem.columns[p]);
    }
    const double e = call->problem.z[at(i)] - y;
    sse += e * e;
  }
  debug_value(run, "    sse       = ", sse);
  debug_reals(run, "    beta      = ", call->beta);
}

// A fit leaves out coefficients that are next to nothing, which the check doesn't.
double sse_of_fit(const Call& call) {
  const auto counts = [](double b) { return std::abs(b) > smallest_coefficient; };
  const bool all = std::all_of(call.coefficients.begin(), call.coefficients.end(), counts);
  return all ? call.square : sse_unknown;
}

}  // namespace

bool trvolr(RunState& run, ColumnMask chosen, int k, std::span<double> beta, double* sse) {
  const bool in_series = run.lsq.seriesoutput == k;
  const double start = in_series ? run.timers.clock.last_reading() : run.timers.clock.seconds();
  ++run.counters.numOLRs;
  ++run.models.olrcalls[at(k)];
  const bool debug = debugging(run);
  if (debug) debug_entry(run, chosen, k);
  bool has_failed = false;
  if (!request_row_arrays(run)) {
    has_failed = out_of_memory(run, 1);
    if (debug) debug_exit(run, nullptr, has_failed);
  } else {
    const int nrows = find_usable_rows(run, k);
    const int nchosen = list_true(chosen, run.lsq.chosen.data());
    if (nchosen > 0 && nrows > 0) {
      std::fill(beta.begin(), beta.end(), 0.0);
      // Made in place: to copy it would cost as much as the check of a small fit.
      const Sizes& sizes = run.sizes;
      Call call{
          run,
          k,
          chosen,
          {run.basis.xij.view(sizes.ndata, sizes.nbas), run.lsq.chosen.first(at(nchosen)),
           run.points.zdata.column(k, sizes.ndata), run.lsq.rowsuse.first(at(sizes.ndata)), nrows},
          run.lsq.coefficients.first(at(nchosen)),
          beta,
          sse_unknown};
      has_failed = run_chain(call);
      spread(call);
      if (sse != nullptr) *sse = sse_of_fit(call);
      if (debug) debug_exit(run, &call, has_failed);
    } else if (debug) {
      debug_exit(run, nullptr, has_failed);
    }
  }
  const double seconds = run.timers.clock.seconds() - start;
  run.timers.t_olr += seconds;
  run.models.olrtime[at(k)] += seconds;
  return has_failed;
}

// The size query is repeated only when the problem's size has changed.
bool request_dgels(RunState& run, int m, int n) {
  LeastSquares& lsq = run.lsq;
  if (!lsq.lsqa.request(run.memory, static_cast<long long>(m) * n) ||
      !lsq.lsqb.request(run.memory, std::max(m, n))) {
    return fail(run, Code::out_of_memory, 14);
  }
  if (m == lsq.query_rows && n == lsq.query_columns) return true;
  const int lwork = dgels_workspace(m, n, m);
  if (lwork < 1 || !lsq.lsqwork.request(run.memory, lwork)) {
    return fail(run, Code::out_of_memory, 14);
  }
  lsq.query_rows = m;
  lsq.query_columns = n;
  return true;
}

bool request_least_squares(RunState& run) {
  LeastSquares& lsq = run.lsq;
  MemoryAccount& memory = run.memory;
  const int nbas = run.sizes.nbas;
  if (!lsq.chosen.request(memory, nbas) || !lsq.coefficients.request(memory, nbas)) {
    return fail(run, Code::out_of_memory, 261);
  }
  if (!run.options.olrgsi) return true;
  lsq.nbasgsi = std::min(1000, run.sizes.nbasmax);
  const long long square = static_cast<long long>(lsq.nbasgsi) * lsq.nbasgsi;
  if (!lsq.gsigram.request(memory, square) || !lsq.gsirhs.request(memory, lsq.nbasgsi)) {
    return fail(run, Code::out_of_memory, 262);
  }
  return true;
}

}  // namespace torve
