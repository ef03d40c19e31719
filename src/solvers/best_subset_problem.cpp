#include "solvers/best_subset_problem.h"

#include <algorithm>
#include <cmath>

#include "model/fit.h"
#include "text/strings.h"

namespace torve {

namespace {

constexpr double no_cutoff = 1e30;

bool walks_the_sizes(Metric metric) {
  return metric == Metric::aicc || metric == Metric::hqc || metric == Metric::mse;
}

int count(std::span<const bool> mask) {
  return static_cast<int>(std::ranges::count(mask, true));
}

double mean_magnitude(std::span<const double> values) {
  double sum = 0.0;
  for (const double value : values) sum += std::abs(value);
  return values.empty() ? 1.0 : sum / static_cast<double>(values.size());
}

ErrorModel error_model(const Options& options, Metric metric) {
  if (options.linearerror) return ErrorModel::absolute;
  if (metric == Metric::madp) return ErrorModel::largest_percent;
  return options.relerror ? ErrorModel::relative_squares : ErrorModel::squares;
}

void state_data(RunState& run, int k, BestSubsetProblem& problem) {
  const Sizes& sizes = run.sizes;
  const std::size_t nbas = at(sizes.nbas);
  problem.xij = run.basis.xij.view(sizes.ndata, sizes.nbas);
  problem.zdata = run.points.zdata.column(k, sizes.ndata);
  problem.simulated = run.points.simulated.column(k, sizes.ndata);
  problem.screened = run.models.screened.first(nbas);
  problem.labels = run.basis.basislabel;
  problem.scalez = run.options.scalez;
  problem.scalebases = run.options.scalebases;
  problem.zscale = problem.scalez ? mean_magnitude(problem.zdata) : 1.0;
  problem.xscale.assign(nbas, 1.0);
  if (problem.scalebases) std::ranges::copy(run.models.xscale.first(nbas), problem.xscale.begin());
}

void state_equations(RunState& run, BestSubsetProblem& problem) {
  const Options& options = run.options;
  problem.exactly_it = walks_the_sizes(problem.metric);
  problem.cardinality = problem.exactly_it || problem.it < count(problem.screened);
  problem.sseterm = run.models.sseterm;
  if (!problem.sseterm && problem.metric != Metric::madp && options.sselimit) {
    problem.sse_limit = 2.0 * run.models.ssezero;
  }
  const int first = run.basis.basisstart[static_cast<std::size_t>(Family::power_radial)];
  const int next = run.basis.basisstart[static_cast<std::size_t>(Family::power_radial) + 1];
  // The block takes in the column behind it.
  if (run.sizes.nprbf > 0) problem.prbf = std::pair(first, std::min(next, run.sizes.nbas - 1));
}

void state_groups(RunState& run, int k, BestSubsetProblem& problem) {
  if (!run.groups.groupcon[at(k)]) return;
  const Sizes& sizes = run.sizes;
  problem.grpbas = std::as_const(run.groups.grpbas).view(sizes.nbas, sizes.ngroups);
  problem.grpgrp = std::as_const(run.groups.grpgrp).view(sizes.ngroups, sizes.ngroups);
  for (const GroupConstraint& rule : run.groups.constraints) {
    if (rule.output != -1 && rule.output != k) continue;
    const int m = static_cast<int>(problem.group_entries.size()) + 1;
    problem.group_entries.push_back({m, rule.group, rule.rule, rule.parameter});
  }
  const std::span<const bool> chosen = run.models.bestchosen.column(k, sizes.nbas);
  problem.group_start = close_groups(problem.grpbas, problem.grpgrp, chosen);
}

void state_bounding_set(RunState& run, int k, BestSubsetProblem& problem) {
  if (!run.models.conreg[at(k)]) return;
  const Outputs& outputs = run.outputs;
  problem.bounding = &run.models.bounding[at(k)];
  if (outputs.haszmin[at(k)]) problem.zmin = outputs.zmin[at(k)];
  if (outputs.haszmax[at(k)]) problem.zmax = outputs.zmax[at(k)];
  for (int c = 0; c < run.sizes.crncustom; ++c) {
    if (outputs.crcustomind[at(c)] == k) {
      problem.custom.push_back({c + 1, outputs.customcon[at(c)]});
    }
  }
  problem.xlabels = run.inputs.xlabels;
  problem.zlabel = outputs.zlabels[at(k)];
}

void state_start(RunState& run, int k, double bestmetric, BestSubsetProblem& problem) {
  problem.bestmetric = bestmetric;
  if (!run.models.hasmodel[at(k)]) return;
  StartingPoint start;
  for (int j = 0; j < run.sizes.nbas; ++j) {
    start.beta.push_back(run.models.bestbeta(j, k) * problem.xscale[at(j)]);
    start.chosen.push_back(run.models.bestchosen(j, k));
  }
  problem.start = std::move(start);
}

bool has_cutoff(const BestSubsetProblem& problem) {
  if (problem.has_bounding() || problem.error == ErrorModel::absolute) return false;
  if (walks_the_sizes(problem.metric)) return true;
  return problem.metric == Metric::ssep && (!problem.sseterm || problem.convpen <= 0.0);
}

void state_solver_options(RunState& run, int k, BestSubsetProblem& problem) {
  const Options& options = run.options;
  problem.tight_gaps = problem.metric == Metric::ssep && options.convpen <= 0.0;
  problem.epsa = options.mipoptca;
  problem.epsr = options.mipoptcr;
  problem.seconds = std::max(options.maxtime - elapsed(run), 0.0);
  problem.allowcplex = options.allowcplex;
  problem.firstfeas = options.firstfeas;
  problem.dive = options.dive;
  problem.shortcut = options.shortcut;
  problem.deltaterm = options.deltaterm;
  problem.debug = options.debug;
  if (!has_cutoff(problem)) return;
  const int terms = count(run.models.bestchosen.column(k, run.sizes.nbas));
  problem.cutoff = objective_cutoff(problem.metric, problem.bestmetric,
                                    run.outputs.tolrelmetric[at(k)], run.sizes.ndata, terms);
}

bool holds_active(View<const bool> grpgrp, int g, const std::vector<bool>& active) {
  for (int h = 0; h < grpgrp.columns; ++h) {
    if (active[at(h)] && grpgrp(g, h)) return true;
  }
  return false;
}

}  // namespace

bool BestSubsetProblem::is_divisible(int i) const {
  return std::abs(z(i)) > smallest_divisor;
}

double BestSubsetProblem::price_of_a_term() const {
  switch (metric) {
    case Metric::bic:
      return std::log(static_cast<double>(ndata()));
    case Metric::cp:
      return 2.0;
    case Metric::ric:
      return 2.0 * std::log(static_cast<double>(nbas()));
    case Metric::aicc:
    case Metric::hqc:
    case Metric::mse:
    case Metric::ssep:
    case Metric::madp:
      break;
  }
  return 0.0;
}

double coefficient_bound(double betabound, double xscale, double zscale) {
  const double base = std::max(100.0 * xscale, 100.0);
  // With zscale below 1 the quotient is above betabound.
  return std::max(betabound, std::min(base, betabound / zscale));
}

double objective_cutoff(Metric metric, double bestmetric, double tolrelmetric, int n, int terms) {
  const double b = bestmetric - tolrelmetric;
  const double p = terms;
  double cutoff = no_cutoff;
  if (n == terms + 1) return cutoff;
  switch (metric) {
    case Metric::aicc: {
      const long long quotient = (terms + 1LL) * 2 * terms / (n - terms - 1);
      cutoff = n * std::exp((b - 2.0 * p - static_cast<double>(quotient)) / n);
      break;
    }
    case Metric::hqc:
      cutoff = n * std::exp((b - 2.0 * p * std::log(std::log(static_cast<double>(n)))) / n);
      break;
    case Metric::mse:
      cutoff = (n - terms - 1) * bestmetric;
      break;
    case Metric::bic:
    case Metric::cp:
    case Metric::ssep:
    case Metric::ric:
    case Metric::madp:
      break;
  }
  // Before there is a model nothing is cut off.
  return cutoff < no_cutoff ? cutoff : no_cutoff;
}

std::vector<bool> close_groups(View<const bool> grpbas, View<const bool> grpgrp,
                               std::span<const bool> chosen) {
  std::vector<bool> active(at(grpbas.columns), false);
  for (int g = 0; g < grpbas.columns; ++g) {
    for (int j = 0; j < grpbas.rows && !active[at(g)]; ++j) {
      active[at(g)] = chosen[at(j)] && grpbas(j, g);
    }
  }
  for (bool grew = true; grew;) {
    grew = false;
    for (int g = 0; g < grpgrp.rows; ++g) {
      if (active[at(g)] || !holds_active(grpgrp, g, active)) continue;
      active[at(g)] = true;
      grew = true;
    }
  }
  return active;
}

BestSubsetProblem state_best_subset(RunState& run, int it, int k, double betabound,
                                    double bestmetric) {
  BestSubsetProblem problem;
  problem.it = it;
  problem.metric = static_cast<Metric>(run.options.modeler);
  problem.error = error_model(run.options, problem.metric);
  problem.sigma = run.options.sigma;
  problem.convpen = run.options.convpen;
  state_data(run, k, problem);
  for (const double scale : problem.xscale) {
    problem.betaup.push_back(coefficient_bound(betabound, scale, problem.zscale));
  }
  state_equations(run, problem);
  state_groups(run, k, problem);
  state_bounding_set(run, k, problem);
  state_start(run, k, bestmetric, problem);
  state_solver_options(run, k, problem);
  return problem;
}

void take_answer(RunState& run, const BestSubsetProblem& problem, const BestSubsetAnswer& answer) {
  forget_last_candidate(run);
  for (int j = 0; j < problem.nbas(); ++j) {
    const bool chosen = problem.screened[at(j)] && answer.chosen[at(j)];
    run.models.thischoice[at(j)] = chosen;
    run.models.thisbeta[at(j)] =
        chosen ? answer.beta[at(j)] / problem.xscale[at(j)] * problem.zscale : 0.0;
  }
}

}  // namespace torve
