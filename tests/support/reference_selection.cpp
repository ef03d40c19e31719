#include "reference_selection.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <utility>

namespace torve::test {

namespace {

using Real = long double;

constexpr double nothing_yet = 1e31;

Mask bit(int j) {
  return Mask{1} << static_cast<unsigned>(j);
}

bool beats(double metric, double fit, const ReferenceModel& other) {
  return metric < other.metric || (metric <= other.metric && fit < other.fit);
}

bool jumps_to_last_size(int modeler) {
  return modeler == 1 || modeler == 2 || modeler >= 6;
}

}  // namespace

bool ReferenceGroups::allow(Mask subset) const {
  const int n = static_cast<int>(members.size());
  Mask on = 0;
  for (int g = 0; g < n; ++g) {
    if ((members[static_cast<std::size_t>(g)] & subset) != 0) on |= bit(g);
  }
  if (on != 0) {
    for (int g = 0; g < n; ++g) {
      if (holds[static_cast<std::size_t>(g)] != 0) on |= bit(g);
    }
  }
  return std::all_of(rules.begin(), rules.end(), [&](const ReferenceRule& rule) {
    const auto g = static_cast<std::size_t>(rule.group);
    const bool is_on = (on & bit(rule.group)) != 0;
    const int members_on =
        __builtin_popcount(members[g] & subset) + __builtin_popcount(holds[g] & on);
    if (rule.type == 1) return members_on <= rule.parameter;
    if (rule.type == 2) return members_on >= rule.parameter;
    const bool other_on = (on & bit(rule.parameter)) != 0;
    return !is_on || other_on == (rule.type == 3);
  });
}

double reference_metric(const ReferenceOptions& o, double fit, int p, int n) {
  const Real f = fit;
  const Real terms = p;
  const Real points = n;
  switch (o.modeler) {
    case 1:
      if (fit <= 0.0) return -1e30;
      if (o.cvxbic) return static_cast<double>(terms * std::log(points) + f / o.sigma);
      return static_cast<double>(terms * std::log(points) + points * std::log(f / points));
    case 2:
      return static_cast<double>(2 * terms + f / o.sigma - points);
    case 3: {
      if (fit <= 0.0) return -1e30;
      Real value = points * std::log(f / points) + 2 * terms;
      if (p + 1 < n) value += 2 * terms * (terms + 1) / (points - terms - 1);
      return static_cast<double>(value);
    }
    case 4: {
      if (fit <= 0.0) return -1e30;
      const float inner = std::log(static_cast<float>(n));
      return static_cast<double>(points * std::log(f / points) + 2 * terms * std::log(inner));
    }
    case 5:
      if (fit <= 0.0) return 0.0;
      return static_cast<double>(p + 1 < n ? f / (points - terms - 1) : f);
    case 7:
      return static_cast<double>(f / o.sigma + 2 * terms * std::log(static_cast<Real>(o.nbasmax)));
    default:
      return static_cast<double>(f + o.convpen * terms);
  }
}

std::vector<long double> reference_least_squares(const std::vector<std::vector<double>>& columns,
                                                 const std::vector<double>& z,
                                                 const std::vector<bool>& use) {
  const std::size_t n = columns.size();
  std::vector<std::vector<Real>> a(n + 1);  // the last column is the right-hand side
  for (std::size_t i = 0; i < z.size(); ++i) {
    if (!use[i]) continue;
    for (std::size_t j = 0; j < n; ++j) a[j].push_back(columns[j][i]);
    a[n].push_back(z[i]);
  }
  const std::size_t m = a[n].size();
  std::vector<Real> diagonal(n);
  for (std::size_t p = 0; p < n; ++p) {
    Real square = 0;
    for (std::size_t i = p; i < m; ++i) square += a[p][i] * a[p][i];
    const Real alpha = a[p][p] > 0 ? -std::sqrt(square) : std::sqrt(square);
    diagonal[p] = alpha;
    a[p][p] -= alpha;
    Real norm = 0;
    for (std::size_t i = p; i < m; ++i) norm += a[p][i] * a[p][i];
    for (std::size_t q = p + 1; q <= n; ++q) {
      Real product = 0;
      for (std::size_t i = p; i < m; ++i) product += a[p][i] * a[q][i];
      for (std::size_t i = p; i < m; ++i) a[q][i] -= 2 * product / norm * a[p][i];
    }
  }
  std::vector<Real> beta(n);
  for (std::size_t p = n; p-- > 0;) {
    Real sum = a[n][p];
    for (std::size_t q = p + 1; q < n; ++q) sum -= a[q][p] * beta[q];
    beta[p] = sum / diagonal[p];
  }
  return beta;
}

std::vector<Mask> subsets_in_order(Mask allowed, int size) {
  std::vector<int> positions;
  for (int j = 0; j < 32; ++j) {
    if ((allowed & bit(j)) != 0) positions.push_back(j);
  }
  std::vector<Mask> result;
  const std::function<void(std::size_t, int, Mask)> extend = [&](std::size_t from, int left,
                                                                 Mask chosen) {
    if (left == 0) {
      result.push_back(chosen);
      return;
    }
    for (std::size_t i = from; i < positions.size(); ++i) {
      extend(i + 1, left - 1, chosen | bit(positions[i]));
    }
  };
  extend(0, size, 0);
  return result;
}

ReferenceSelection::ReferenceSelection(std::vector<std::vector<double>> columns,
                                       std::vector<double> z, std::vector<bool> use, Mask screened,
                                       ReferenceOptions options)
    : columns_(std::move(columns)),
      z_(std::move(z)),
      use_(std::move(use)),
      screened_(screened),
      options_(options),
      nbas_(static_cast<int>(columns_.size())),
      ndata_(static_cast<int>(z_.size())) {
  make_full_fit();
}

void ReferenceSelection::make_full_fit() {
  const int modeler = options_.modeler;
  options_.modeler = 1;
  least_ = fit(screened_).fit;
  fits_.clear();
  options_.modeler = modeler;
  const bool needs_sigma = modeler == 1 || modeler == 2 || modeler == 7;
  if (!options_.estimate_sigma || !needs_sigma || ndata_ <= nbas_ + 1) return;
  options_.sigma = least_ <= 1e-10 ? 1e-10 : std::sqrt(least_ / ndata_);
}

double ReferenceSelection::mean_error(double fit) const {
  return options_.modeler == 8 ? fit : std::sqrt(fit) / ndata_;
}

const ReferenceSelection::Fit& ReferenceSelection::fit(Mask subset) {
  const auto known = fits_.find(subset);
  if (known != fits_.end()) return known->second;
  std::vector<std::vector<double>> chosen;
  for (int j = 0; j < nbas_; ++j) {
    if (has(subset, j)) chosen.push_back(columns_[static_cast<std::size_t>(j)]);
  }
  const std::vector<Real> solution = reference_least_squares(chosen, z_, use_);
  Fit result{std::vector<double>(static_cast<std::size_t>(nbas_), 0.0), 0.0};
  std::size_t p = 0;
  for (int j = 0; j < nbas_; ++j) {
    if (has(subset, j)) {
      result.beta[static_cast<std::size_t>(j)] = static_cast<double>(solution[p++]);
    }
  }
  Real squares = 0;
  Real worst = 0;
  for (std::size_t i = 0; i < z_.size(); ++i) {
    if (!use_[i]) continue;
    Real error = z_[i];
    for (std::size_t c = 0; c < chosen.size(); ++c) error -= solution[c] * chosen[c][i];
    squares += error * error;
    const Real size = std::abs(error);
    worst = std::max(worst, std::abs(z_[i]) > 0.001 ? 100 * size / std::abs(z_[i]) : size);
  }
  result.fit = static_cast<double>(options_.modeler == 8 ? worst : squares);
  return fits_.emplace(subset, std::move(result)).first->second;
}

ReferenceModel ReferenceSelection::value(Mask subset, int p) {
  const Fit& found = fit(subset);
  return {subset,
          found.beta,
          reference_metric(options_, found.fit, p, ndata_),
          found.fit,
          mean_error(found.fit),
          true};
}

ReferenceModel ReferenceSelection::exhaust() {
  ReferenceModel best;
  for (int size = 1; size <= options_.nmax; ++size) {
    for (const Mask subset : subsets_in_order(screened_, size)) {
      if (!groups.allow(subset)) continue;
      const ReferenceModel model = value(subset, size);
      if (beats(model.metric, model.fit, best)) best = model;
    }
  }
  return best;
}

void ReferenceSelection::enumerate_size(int size, ReferenceModel& best) {
  std::vector<Mask> subsets = subsets_in_order(screened_, size);
  if (subsets.empty()) subsets = {screened_};
  for (const Mask subset : subsets) {
    if (!groups.allow(subset)) continue;
    ReferenceModel model = value(subset, size);
    // Here the plain formula holds for every criterion.
    model.meanerr = std::sqrt(model.fit) / ndata_;
    const double error = model.meanerr;
    if (beats(model.metric, model.fit, best)) best = std::move(model);
    if (error <= options_.tolmeanerror) return;
  }
}

bool ReferenceSelection::gains_too_little(double metric, double previous) const {
  double tolerance = options_.tolrelmetric * std::abs(previous);
  if (tolerance <= options_.tolabsmetric) tolerance = options_.tolabsmetric;
  return metric + tolerance >= previous;
}

bool ReferenceSelection::takes_full_fit(ReferenceModel& model) {
  if (options_.modeler != 6 || options_.convpen > 0.0) return false;
  if (count(screened_) > options_.nmax || !groups.allow(screened_)) return false;
  model = value(screened_, count(screened_));
  model.metric = least_;
  return true;
}

ReferenceModel ReferenceSelection::enumerate_all() {
  ReferenceModel best;
  if (takes_full_fit(best)) return best;
  double previous = nothing_yet;
  for (int size = 1; size <= options_.nmax; ++size) {
    enumerate_size(size, best);
    if (best.meanerr <= options_.tolmeanerror) break;
    if (size >= 2 && best.metric < 1e30 && gains_too_little(best.metric, previous)) break;
    previous = std::min(previous, best.metric);
  }
  return best;
}

ReferenceModel ReferenceSelection::walk() {
  ReferenceModel kept;
  if (takes_full_fit(kept)) return kept;
  ReferenceModel model;
  model.meanerr = mean_error(nothing_yet);
  double previous = nothing_yet;
  const bool is_madp = options_.modeler == 8;
  const auto reaches_full_fit = [&] { return full_is_least_ && model.fit <= least_ && !is_madp; };
  const auto note_better_fit = [&] {
    if (is_madp || model.fit >= least_) return;
    least_ = model.fit;
    full_is_least_ = false;
  };
  const auto take_greedy = [&](const ReferenceModel& found, bool nogain) {
    if (found.metric < model.metric ||
        (found.metric <= model.metric && found.fit <= model.fit && !nogain)) {
      kept = model = found;
    }
    note_better_fit();
    return reaches_full_fit() || model.meanerr <= options_.tolmeanerror;
  };
  int size = 1;
  while (size <= options_.nmax && model.meanerr > options_.tolmeanerror) {
    double incumbent = previous;
    double subsets = 1.0;
    for (int i = 1; i <= size; ++i) subsets = subsets * (nbas_ - i + 1) / i;
    const bool skipped =
        options_.enum1 == 0 || subsets < 1.0 || (options_.enum1 > 0 && subsets > options_.enum1);
    if (!skipped) {
      enumerate_size(size, model);
      note_better_fit();
      if (model.metric < incumbent) {
        kept = model;
        if (reaches_full_fit()) return kept;
        incumbent = model.metric;
      } else if (groups.rules.empty() && !is_madp) {
        return kept;
      }
    }
    if (skipped || (is_madp && size == options_.nmax)) {
      if (jumps_to_last_size(options_.modeler)) size = options_.nmax;
      if (options_.builder) {
        ReferenceModel found = model;
        found.mask = kept.mask;
        found.beta = kept.beta;
        const bool nogain = build_up(size, found);
        if (take_greedy(found, nogain)) return kept;
        incumbent = model.metric;
      }
      if (options_.backstepper) {
        ReferenceModel found = model;
        found.mask = screened_;
        const bool nogain = step_back(size, found);
        if (take_greedy(found, nogain)) return kept;
        incumbent = model.metric;
      }
      if (skipped) return kept;
    }
    if (!is_madp && size >= 2 && size < options_.nmax && model.metric < 1e30 &&
        gains_too_little(model.metric, previous)) {
      return kept;
    }
    previous = incumbent;
    model.meanerr = mean_error(model.fit);
    ++size;
  }
  return kept;
}

bool ReferenceSelection::build_up(int most_terms, ReferenceModel& model) {
  bool nogain = true;
  Mask present = model.mask;
  for (int terms = count(present) + 1; terms <= most_terms; ++terms) {
    int added = -1;
    bool taken = false;
    for (int j = 0; j < nbas_ && !taken; ++j) {
      if (has(present, j) || !has(screened_, j)) continue;
      const Mask candidate = present | bit(j);
      if (groups.allow(candidate)) {
        const ReferenceModel found = value(candidate, terms);
        if (beats(found.metric, found.fit, model)) {
          model = found;
          nogain = false;
          added = j;
          taken = options_.greedybuild;
        }
      }
      if (!taken && model.meanerr <= options_.tolmeanerror) return nogain;
    }
    if (added < 0) break;
    present |= bit(added);
  }
  return nogain;
}

bool ReferenceSelection::step_back(int most_terms, ReferenceModel& model) {
  bool nogain = true;
  Mask present = model.mask;
  for (int terms = count(present); terms > 0; --terms) {
    const bool must_shrink = terms > most_terms;
    int dropped = -1;
    bool taken = false;
    for (int j = 0; j < nbas_ && !taken; ++j) {
      if (!has(present, j)) continue;
      const Mask candidate = present & ~bit(j);
      if (groups.allow(candidate)) {
        const ReferenceModel found = value(candidate, terms - 1);
        if (must_shrink || beats(found.metric, found.fit, model)) {
          model = found;
          nogain = false;
          dropped = j;
          taken = options_.greedyback;
        }
      }
      if (!taken && !must_shrink && model.meanerr <= options_.tolmeanerror) return nogain;
    }
    if (dropped < 0) break;
    present &= ~bit(dropped);
  }
  return nogain;
}

}  // namespace torve::test
