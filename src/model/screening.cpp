#include "model/screening.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <numeric>
#include <vector>

#include "data/sampling.h"
#include "model/debug_lines.h"
#include "model/fast_lasso.h"
#include "model/fit.h"
#include "model/lasso.h"
#include "report/printer.h"

namespace torve {

namespace {

constexpr int lasso_screener = 1;
constexpr int sis_screener = 2;
constexpr double out_of_the_race = -1e51;

LassoProblem lasso_problem(const RunState& run, int k) {
  return {run.screening.xstd.view(run.sizes.ndata, run.sizes.nbasm1),
          run.screening.zc.column(k, run.sizes.ndata)};
}

// --- null columns -------------------------------------------------------------------------------

bool is_null(const RunState& run, int j) {
  const double tolerance = run.options.nulltol;
  for (const double value : run.basis.xij.column(j, run.sizes.ndata)) {
    if (value * value > tolerance) return false;
  }
  return true;
}

void keep_live_columns(RunState& run) {
  for (int j = 0; j < run.sizes.nbas; ++j) {
    run.models.screened[at(j)] = run.basis.basisactive[at(j)] && !is_null(run, j);
  }
}

void centre_output(RunState& run, int k) {
  Screening& screening = run.screening;
  const int ndata = run.sizes.ndata;
  const std::span<const double> z = run.points.zdata.column(k, ndata);
  const double mean = std::accumulate(z.begin(), z.end(), 0.0) / ndata;
  screening.zmean[at(k)] = mean;
  for (int i = 0; i < ndata; ++i) screening.zc(i, k) = z[at(i)] - mean;
}

// --- sure independence --------------------------------------------------------------------------

// Keeps the columns of highest score. The last column has no standardised copy and scores 0.
void sisscreen(RunState& run, int k, int nactive) {
  const int ndata = run.sizes.ndata;
  if (ndata < 2) return;
  const double most = std::floor(run.options.sismult * ndata / std::log(ndata));
  if (static_cast<double>(nactive) <= most) return;
  const int nkeep = static_cast<int>(most);
  const int nbas = run.sizes.nbas;
  Screening& screening = run.screening;
  const LassoProblem problem = lasso_problem(run, k);
  for (int j = 0; j < nbas; ++j) {
    screening.sisorder[at(j)] = j;
    double score = out_of_the_race;
    if (run.models.screened[at(j)]) {
      score = j < problem.xstd.columns && j < nbas - 1
                  ? inner_product(problem.xstd.column(j), problem.zc)
                  : 0.0;
    }
    // A score that is no number would leave the order undefined.
    screening.sisscore[at(j)] = std::isnan(score) ? out_of_the_race : score;
  }
  const std::span<int> order = screening.sisorder.first(at(nbas));
  std::sort(order.begin(), order.end(), [&](int a, int b) {
    const double left = screening.sisscore[at(a)];
    const double right = screening.sisscore[at(b)];
    return left > right || (left == right && a < b);
  });
  for (int position = nkeep; position < nbas; ++position) {
    run.models.screened[at(order[at(position)])] = false;
  }
}

// --- lasso --------------------------------------------------------------------------------------

LassoSets lasso_sets(RunState& run) {
  Screening& s = run.screening;
  const std::size_t n = at(run.sizes.nbasm1);
  return {s.lassoactive.first(n), s.lassostrong.first(n), s.lassotrial.first(n),
          s.lassocoef.first(n), s.lassoold.first(n)};
}

bool keeps_all(const RunState& run, int l) {
  for (int j = 0; j < run.sizes.nbasm1; ++j) {
    if (!run.screening.lassokeep(l, j)) return false;
  }
  return true;
}

// Marks the columns that are dead at point l and counts the others.
int mark_live(RunState& run, const LassoPath& path, int l) {
  int live = 0;
  for (int j = 0; j < run.sizes.nbasm1; ++j) {
    if (std::abs(path.coefficients()[at(j)]) <= smallest_lasso_coefficient)
      run.screening.lassokeep(l, j) = false;
    if (run.screening.lassokeep(l, j)) ++live;
  }
  return live;
}

// The lasso's model on the scale of the columns; the last column takes up the mean.
void unscale_lasso_model(RunState& run, int k) {
  const Screening& s = run.screening;
  const std::span<double> beta = run.models.lassobeta.all();
  double shift = 0.0;
  for (int j = 0; j < run.sizes.nbasm1; ++j) {
    if (run.basis.basisactive[at(j)]) beta[at(j)] /= s.xsd[at(j)];
    shift += s.xmean[at(j)] * beta[at(j)];
  }
  const int last = run.sizes.nbas - 1;
  if (run.basis.basisactive[at(last)]) beta[at(last)] = s.zmean[at(k)] - shift;
}

// Follows the path. bestl is the last point at which the metric fell.
int lassofit(RunState& run, int k) {
  const LassoProblem problem = lasso_problem(run, k);
  PlainLasso plain(problem, run.screening.lassoresidual.first(at(run.sizes.ndata)));
  const auto fast = run.walk.allowed ? FastLasso::make(problem, run.memory) : nullptr;
  LassoSteps& steps = fast ? static_cast<LassoSteps&>(*fast) : plain;
  LassoPath path(steps, lasso_sets(run));
  run.screening.lassokeep.fill(true);
  const int npenl = run.options.npenl;
  int bestl = 0;
  double previous = 0.0;
  for (int l = 0; l < npenl; ++l) {
    path.descend(run.screening.lassogrid[at(l)], [&] { return timeup(run); });
    if (l > 0 && keeps_all(run, l - 1)) break;
    const int live = mark_live(run, path, l);
    const double metric = fitmetric(run, steps.sse(path.coefficients()), live);
    const bool fell = l > 0 ? metric < previous : npenl == 1;
    if (fell) {
      bestl = l;
      if (run.options.lassopath) {
        std::ranges::copy(path.coefficients(), run.models.lassobeta.data());
      }
    }
    previous = metric;
    if (failed(run) || timeup(run)) break;
  }
  if (run.options.lassopath) unscale_lasso_model(run, k);
  return bestl;
}

void lassoscreen(RunState& run, int k) {
  cpu_start(run.timers, run.timers.t_lasso);
  ++run.counters.n_lasso;
  if (run.options.lassopath) run.models.lassobeta.fill(0.0);
  standardize(run);
  make_penalties(lasso_problem(run, k), run.screening.lassogrid.first(at(run.options.npenl)));
  const int bestl = lassofit(run, k);
  for (int j = 0; j < run.sizes.nbasm1; ++j) {
    run.models.screened[at(j)] = run.screening.lassokeep(bestl, j);
  }
  run.models.screened[at(run.sizes.nbas - 1)] = true;
  cpu_stop(run.timers, run.timers.t_lasso);
}

}  // namespace

void trvscreen(RunState& run, int k) {
  keep_live_columns(run);
  if (run.options.screener == 0) return;
  centre_output(run, k);
  const std::span<const bool> screened = run.models.screened.first(at(run.sizes.nbas));
  const int before = count(screened);
  if (debugging(run)) debug_whole(run, "before screening nbasactive = ", before);
  if (run.options.screener == lasso_screener) lassoscreen(run, k);
  if (run.options.screener == sis_screener) sisscreen(run, k, before);
  ++run.models.screenercalls[at(k)];
  const int after = count(screened);
  run.screening.nbasscreened = after;
  if (before <= after) {
    trvprint(run, fmt::format("Screener eliminated none out of {} active bases", before));
  } else {
    const int gone = before - after;
    trvprint(run, fmt::format("Screener eliminated {} out of {} active bases", gone, before));
    run.models.LassoRed[at(k)] += 100.0 * gone / before;
  }
  if (debugging(run)) debug_whole(run, "after screening nbasscreened = ", after);
}

void standardize(RunState& run) {
  Screening& s = run.screening;
  const int ndata = run.sizes.ndata;
  for (int j = 0; j < run.sizes.nbasm1; ++j) {
    const std::span<const double> x = run.basis.xij.column(j, ndata);
    const bool active = run.basis.basisactive[at(j)];
    const ColumnMoments moments = active ? column_moments(x) : ColumnMoments{0.0, 1.0};
    s.xmean[at(j)] = moments.mean;
    s.xsd[at(j)] = moments.deviation;
    for (int i = 0; i < ndata; ++i) {
      s.xstd(i, j) = active ? (x[at(i)] - moments.mean) / moments.deviation : 0.0;
    }
  }
}

void even_folds(std::span<int> fold_of, int folds) {
  const int rows = static_cast<int>(fold_of.size());
  const int lowest = rows / folds;
  const int highest = (rows + folds - 1) / folds;
  std::vector<int> held(at(folds), 0);
  for (const int fold : fold_of) ++held[at(fold)];
  int donor = 0;
  for (int fold = 0; fold < folds; ++fold) {
    while (held[at(fold)] < lowest) {
      while (donor < folds && (donor == fold || held[at(donor)] < highest)) ++donor;
      if (donor == folds) return;
      const auto row = std::find(fold_of.begin(), fold_of.end(), donor);
      *row = fold;
      --held[at(donor)];
      ++held[at(fold)];
    }
  }
}

void assignfolds(RunState& run) {
  constexpr int few_rows = 10;
  const int ndata = run.sizes.ndata;
  const int folds = ndata < few_rows ? 2 : run.options.ncvf;
  std::vector<int> fold_of(at(ndata));
  for (int& fold : fold_of) {
    const double u = randomnumber(run.randstate, run.options.seed);
    fold = std::clamp(static_cast<int>(std::ceil(u * folds)), 1, folds) - 1;
  }
  even_folds(fold_of, folds);
  run.points.foldof.fill(false);
  for (int i = 0; i < ndata; ++i) {
    if (fold_of[at(i)] < run.points.foldof.columns()) run.points.foldof(i, fold_of[at(i)]) = true;
  }
}

// Tables whose size an option gives, whatever the data, are filled whole; beyond this many entries
// that would be all that a run does.
bool is_filled_at_once(std::int64_t rows, std::int64_t columns) {
  constexpr std::int64_t most_entries = std::int64_t{1} << 28;
  return rows * columns <= most_entries;
}

bool request_screening(RunState& run) {
  const Sizes& sizes = run.sizes;
  const Options& options = run.options;
  MemoryAccount& memory = run.memory;
  Screening& s = run.screening;
  const int reached = sizes.nbasm1;
  bool enough = is_filled_at_once(sizes.ndatacap, options.ncvf) &&
                run.points.foldof.request(memory, sizes.ndatacap, options.ncvf);
  if (options.screener != 0) {
    enough = enough && s.xstd.request(memory, sizes.ndatacap, reached) &&
             s.xmean.request(memory, reached) && s.xsd.request(memory, reached) &&
             s.zc.request(memory, sizes.ndatacap, sizes.noutputs) &&
             s.zmean.request(memory, sizes.noutputs) && s.sisscore.request(memory, sizes.nbas) &&
             s.sisorder.request(memory, sizes.nbas);
  }
  if (options.screener < 0 || options.screener == lasso_screener) {
    enough = enough && is_filled_at_once(options.npenl, reached) &&
             s.lassogrid.request(memory, options.npenl) &&
             s.lassokeep.request(memory, options.npenl, reached) &&
             s.lassoactive.request(memory, reached) && s.lassostrong.request(memory, reached) &&
             s.lassotrial.request(memory, reached) && s.lassocoef.request(memory, reached) &&
             s.lassoold.request(memory, reached) && s.lassoresidual.request(memory, sizes.ndatacap);
  }
  return enough || fail(run, Code::out_of_memory, 53);
}

}  // namespace torve
