#include "stated_selection.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

namespace torve::test {

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nothing_yet = 1e31;
constexpr double smallest_divisor = 1e-3;
constexpr double exact_fit = 1e-10;
constexpr double rounding = 1e-7;

bool has(Mask mask, std::size_t j) {
  return ((mask >> j) & 1U) != 0;
}

std::vector<std::size_t> terms_of(Mask mask) {
  std::vector<std::size_t> terms;
  for (std::size_t j = 0; j < 32; ++j) {
    if (has(mask, j)) terms.push_back(j);
  }
  return terms;
}

double mean_magnitude(const std::vector<double>& values) {
  double sum = 0.0;
  for (const double value : values) sum += std::abs(value);
  return sum / static_cast<double>(values.size());
}

double fitted(const std::vector<std::vector<double>>& x, const std::vector<std::size_t>& terms,
              const std::vector<double>& coefficients, std::size_t i) {
  long double sum = 0;
  for (std::size_t p = 0; p < terms.size(); ++p) sum += x[terms[p]][i] * coefficients[p];
  return static_cast<double>(sum);
}

// constant + factor * fit is at most the largest error.
struct Side {
  double constant;
  double factor;
};

// The errors of a row in percent. The file of mirak has its own way with two of them: what exceeds
// a value isn't divided by it, and below a small value the fit alone is taken a hundred times.
std::vector<Side> sides_of(Route route, double z) {
  const bool mirak = route == Route::mirak;
  if (std::abs(z) <= smallest_divisor) {
    return {{z, mirak ? -100.0 : -1.0}, {-z, 1.0}};
  }
  const double percent = 100.0 / std::abs(z);
  const double above = mirak ? 100.0 : percent;
  return {{percent * z, -percent}, {-above * z, above}};
}

}  // namespace

StatedSelection::StatedSelection(std::vector<std::vector<double>> columns, std::vector<double> z,
                                 std::vector<bool> use, Mask screened, const StatedOptions& options)
    : columns_(std::move(columns)),
      z_(std::move(z)),
      use_(std::move(use)),
      screened_(screened),
      options_(options),
      nbas_(static_cast<int>(columns_.size())),
      ndata_(static_cast<int>(z_.size())) {
  scale();
  make_full_fit();
  list_parts();
}

bool StatedSelection::walks_the_sizes() const {
  return options_.metric.modeler >= 3 && options_.metric.modeler <= 5;
}

// --- the numbers of the statement ---------------------------------------------------------------

void StatedSelection::scale() {
  if (options_.scalez) zscale_ = mean_magnitude(z_);
  x_ = columns_;
  for (std::vector<double>& column : x_) {
    const double mean = mean_magnitude(column);
    xscale_.push_back(options_.scalebases && mean >= 0.001 ? mean : 1.0);
    for (double& value : column) value /= xscale_.back();
  }
}

// The full fit gives the box of the coefficients, and sigma where it isn't given.
void StatedSelection::make_full_fit() {
  ReferenceOptions& metric = options_.metric;
  const std::vector<std::size_t> terms = terms_of(screened_);
  std::vector<std::vector<double>> chosen;
  for (const std::size_t j : terms) chosen.push_back(columns_[j]);
  const auto solution = reference_least_squares(chosen, z_, use_);
  const std::vector<double> beta(solution.begin(), solution.end());
  double sum = 0.0;
  for (std::size_t p = 0; p < terms.size(); ++p) sum += std::abs(beta[p]) * xscale_[terms[p]];
  const double betabound = 1.25 * sum;
  for (const double scale : xscale_) {
    const double base = std::max(100.0 * scale, 100.0);
    box_.push_back(std::max(betabound, std::min(base, betabound / zscale_)));
  }
  double squares = 0.0;
  for (std::size_t i = 0; i < z_.size(); ++i) {
    if (use_[i]) squares += std::pow(z_[i] - fitted(columns_, terms, beta, i), 2);
  }
  const bool needs_sigma = metric.modeler <= 2 || metric.modeler == 7;
  if (!metric.estimate_sigma || !needs_sigma || ndata_ <= nbas_ + 1) return;
  sseterm_ = squares > exact_fit;
  metric.sigma = sseterm_ ? std::sqrt(squares / ndata_) : exact_fit;
}

// The divisor sigma stands behind the sum of the error. In the file of mirak it binds to the last
// row alone; in that of GAMS to the last of two sums, where relative errors need two.
void StatedSelection::list_parts() {
  const ReferenceOptions& metric = options_.metric;
  const bool relative = options_.relerror && !options_.linearerror;
  for (std::size_t i = 0; i < z_.size(); ++i) {
    if (!use_[i]) continue;
    const double z = z_[i] / zscale_;
    const bool divided = relative && std::abs(z) > smallest_divisor;
    parts_.push_back({i, divided ? 1.0 : z, divided ? 1.0 / z : 1.0, 1.0});
  }
  const bool has_divisor =
      metric.modeler <= 2 || metric.modeler == 7 || (metric.modeler == 6 && metric.convpen > 0.0);
  if (!has_divisor || !sseterm_) return;
  for (Part& part : parts_) {
    const bool is_last = &part == &parts_.back();
    const bool is_near_zero = std::abs(z_[part.row] / zscale_) <= smallest_divisor;
    const bool is_reached = options_.route == Route::mirak ? is_last : !relative || is_near_zero;
    if (is_reached) part.weight /= metric.sigma;
  }
}

double StatedSelection::price() const {
  switch (options_.metric.modeler) {
    case 1:
      return std::log(ndata_);
    case 2:
      return 2.0;
    case 6:
    case 8:
      return std::max(options_.metric.convpen, 0.0);
    case 7:
      return 2.0 * std::log(nbas_);  // with columns that are screened out
    default:
      return 0.0;
  }
}

// A group is active exactly if a column or a group in it is.
bool StatedSelection::allow(Mask subset) const {
  const std::size_t count = groups.members.size();
  Mask active = 0;
  for (std::size_t pass = 0; pass <= count; ++pass) {
    for (std::size_t g = 0; g < count; ++g) {
      const bool is_active = (groups.members[g] & subset) != 0 || (groups.holds[g] & active) != 0;
      if (is_active) active |= Mask{1} << g;
    }
  }
  return std::ranges::all_of(groups.rules, [&](const ReferenceRule& rule) {
    const auto g = static_cast<std::size_t>(rule.group);
    const int inside = ReferenceSelection::count(groups.members[g] & subset) +
                       ReferenceSelection::count(groups.holds[g] & active);
    if (rule.type == 1) return inside <= rule.parameter;
    if (rule.type == 2) return inside >= rule.parameter;
    const bool other = has(active, static_cast<std::size_t>(rule.parameter));
    return rule.type == 3 ? !has(active, g) || other : !has(active, g) || !other;
  });
}

// --- one subset ---------------------------------------------------------------------------------

std::vector<Inequality> StatedSelection::conditions(const std::vector<std::size_t>& terms,
                                                    std::size_t variables) const {
  std::vector<Inequality> rows;
  for (std::size_t p = 0; p < terms.size(); ++p) {
    for (const double sign : {1.0, -1.0}) {
      rows.push_back({Row(variables, 0.0), box_[terms[p]]});
      rows.back().coefficients[p] = sign;
    }
  }
  for (const PointBound& bound : bounds) {
    const double sign = bound.from_below ? -1.0 : 1.0;
    rows.push_back({Row(variables, 0.0), sign * bound.value / zscale_});
    for (std::size_t p = 0; p < terms.size(); ++p) {
      rows.back().coefficients[p] = sign * bound.columns[terms[p]] / xscale_[terms[p]];
    }
  }
  return rows;
}

bool StatedSelection::are_allowed(const std::vector<std::size_t>& terms,
                                  const std::vector<double>& gamma, double tolerance) const {
  return std::ranges::all_of(conditions(terms, terms.size()), [&](const Inequality& row) {
    double value = 0.0;
    for (std::size_t p = 0; p < terms.size(); ++p) value += row.coefficients[p] * gamma[p];
    return value <= row.bound + tolerance * (1.0 + std::abs(row.bound));
  });
}

std::optional<std::vector<double>> StatedSelection::least_squares(
    const std::vector<std::size_t>& terms) const {
  std::vector<std::vector<double>> a(terms.size());
  std::vector<double> b;
  for (const Part& part : parts_) {
    const double root = std::sqrt(part.weight);
    for (std::size_t p = 0; p < terms.size(); ++p) {
      a[p].push_back(root * part.factor * x_[terms[p]][part.row]);
    }
    b.push_back(root * part.value);
  }
  const auto solution = reference_least_squares(a, b, std::vector<bool>(b.size(), true));
  std::vector<double> gamma(solution.begin(), solution.end());
  if (are_allowed(terms, gamma, 0.0)) return gamma;
  if (terms.empty()) return std::nullopt;
  std::vector<Row> rows(b.size());
  for (std::size_t i = 0; i < b.size(); ++i) {
    for (const std::vector<double>& column : a) rows[i].push_back(column[i]);
  }
  return constrained_squares(rows, b, terms.size(), conditions(terms, terms.size()));
}

// The last variable is the largest error.
std::optional<std::vector<double>> StatedSelection::least_percent(
    const std::vector<std::size_t>& terms) const {
  const std::size_t n = terms.size();
  std::vector<Inequality> rows = conditions(terms, n + 1);
  for (const Part& part : parts_) {
    for (const Side& side : sides_of(options_.route, part.value)) {
      rows.push_back({Row(n + 1, -1.0), -side.constant});
      for (std::size_t p = 0; p < n; ++p) {
        rows.back().coefficients[p] = side.factor * x_[terms[p]][part.row];
      }
    }
  }
  rows.push_back({Row(n + 1, 0.0), 0.0});
  rows.back().coefficients[n] = -1.0;
  Row costs(n + 1, 0.0);
  costs[n] = 1.0;
  std::optional<std::vector<double>> solution = linear_program(costs, rows);
  if (solution) solution->resize(n);
  return solution;
}

// A chosen column balances the errors, variables behind `first`, that its values weigh; of another
// the balance is within the box. GAMS counts twice, and rows without a value as well.
void StatedSelection::add_balance(std::vector<Inequality>& rows, Mask subset, std::size_t first,
                                  std::size_t variables) const {
  const bool gams = options_.route == Route::gams;
  for (const std::size_t j : terms_of(screened_)) {
    for (const double sign : {1.0, -1.0}) {
      rows.push_back({Row(variables, 0.0), has(subset, j) ? 0.0 : box_[j]});
      for (std::size_t i = 0; i < z_.size(); ++i) {
        if (!gams && !use_[i]) continue;
        rows.back().coefficients[first + i] = sign * (gams ? 2.0 : 1.0) * x_[j][i];
      }
    }
  }
}

// Variables: the coefficients unless they are given, and an error for each row.
std::optional<StatedSelection::Point> StatedSelection::least_absolute(
    Mask subset, const std::vector<double>* given) const {
  const std::vector<std::size_t> terms = terms_of(subset);
  const std::size_t first = given == nullptr ? terms.size() : 0;
  const std::size_t variables = first + z_.size();
  std::vector<Inequality> rows;
  if (given == nullptr) rows = conditions(terms, variables);
  add_balance(rows, subset, first, variables);
  Row costs(variables, 0.0);
  for (std::size_t i = 0; i < z_.size(); ++i) {
    rows.push_back({Row(variables, 0.0), 0.0});
    rows.back().coefficients[first + i] = -1.0;
  }
  for (const Part& part : parts_) {
    costs[first + part.row] = part.weight;
    const double known = given == nullptr ? 0.0 : fitted(x_, terms, *given, part.row);
    for (const double sign : {1.0, -1.0}) {
      rows.push_back({Row(variables, 0.0), -sign * (part.value - known)});
      rows.back().coefficients[first + part.row] = -1.0;
      for (std::size_t p = 0; p < first; ++p) {
        rows.back().coefficients[p] = -sign * x_[terms[p]][part.row];
      }
    }
  }
  const std::optional<std::vector<double>> solution = linear_program(costs, rows);
  if (!solution) return std::nullopt;
  Point point{0.0, {}};
  for (std::size_t v = first; v < variables; ++v) point.error += costs[v] * (*solution)[v];
  point.gamma.assign(solution->begin(), solution->begin() + static_cast<std::ptrdiff_t>(first));
  return point;
}

// The error of coefficients; nothing where no errors can go with them.
std::optional<double> StatedSelection::error_at(Mask subset,
                                                const std::vector<double>& gamma) const {
  const std::vector<std::size_t> terms = terms_of(subset);
  if (options_.linearerror) {
    const std::optional<Point> point = least_absolute(subset, &gamma);
    if (!point) return std::nullopt;
    return point->error;
  }
  long double squares = 0;
  double largest = 0.0;
  for (const Part& part : parts_) {
    const double fit = fitted(x_, terms, gamma, part.row);
    const long double difference = part.value - part.factor * fit;
    squares += part.weight * difference * difference;
    if (options_.metric.modeler != 8) continue;
    for (const Side& side : sides_of(options_.route, part.value)) {
      largest = std::max(largest, side.constant + side.factor * fit);
    }
  }
  return options_.metric.modeler == 8 ? largest : static_cast<double>(squares);
}

// An error that doesn't stand in the objective may be limited instead.
std::optional<double> StatedSelection::share_of(std::optional<double> error) const {
  if (!error || sseterm_ || options_.metric.modeler == 8) return error;
  if (options_.sselimit && *error > 2.0 * exact_fit) return std::nullopt;
  return 0.0;
}

const std::optional<StatedSelection::Point>& StatedSelection::least(Mask subset) {
  const auto known = known_.find(subset);
  if (known != known_.end()) return known->second;
  std::optional<Point>& point = known_[subset];
  const std::vector<std::size_t> terms = terms_of(subset);
  if (!allow(subset)) return point;
  if (options_.linearerror) {
    point = least_absolute(subset, nullptr);
  } else {
    const auto gamma = options_.metric.modeler == 8 ? least_percent(terms) : least_squares(terms);
    if (gamma) point = Point{error_at(subset, *gamma).value_or(infinity), *gamma};
  }
  const std::optional<double> share = share_of(point ? std::optional(point->error) : std::nullopt);
  if (!share) return point = std::nullopt;
  point->error = *share;
  return point;
}

// --- selection ----------------------------------------------------------------------------------

StatedModel StatedSelection::solve(int it, double cutoff) {
  StatedModel best;
  for (Mask subset = screened_;; subset = (subset - 1) & screened_) {
    const int count = ReferenceSelection::count(subset);
    if (walks_the_sizes() ? count == it : count <= it) {
      const std::optional<Point>& point = least(subset);
      const double objective = point ? point->error + price() * count : infinity;
      if (point && objective <= cutoff && (!best.exists || objective < best.objective)) {
        best = {true, subset, std::vector<double>(columns_.size(), 0.0), objective};
        const std::vector<std::size_t> terms = terms_of(subset);
        for (std::size_t p = 0; p < terms.size(); ++p) {
          best.beta[terms[p]] = point->gamma[p] / xscale_[terms[p]] * zscale_;
        }
      }
    }
    if (subset == 0) return best;
  }
}

// A better model has at most this error. What is cut off reckons with the terms of the incumbent,
// in the units of the data, and with a whole number for the last share of AICc.
double StatedSelection::cutoff(const StatedModel& incumbent, double metric) const {
  const int p = ReferenceSelection::count(incumbent.mask);
  const int n = ndata_;
  if (!incumbent.exists || options_.linearerror || n == p + 1) return infinity;
  const double wanted = metric - options_.metric.tolrelmetric;
  if (options_.metric.modeler == 5) return (n - p - 1) * metric;
  const double penalty = options_.metric.modeler == 3 ? 2.0 * p + (p + 1) * 2 * p / (n - p - 1)
                                                      : 2.0 * p * std::log(std::log(n));
  return n * std::exp((wanted - penalty) / n);
}

StatedModel StatedSelection::run() {
  const ReferenceOptions& metric = options_.metric;
  if (!walks_the_sizes()) return solve(metric.nmax);
  StatedModel best;
  double incumbent = nothing_yet;
  double meanerr = nothing_yet;
  for (int size = 1; size <= metric.nmax && meanerr > metric.tolmeanerror; ++size) {
    const StatedModel found = solve(size, cutoff(best, incumbent));
    if (!found.exists) break;
    const double previous = incumbent;
    const double value = metric_of(found.mask, found.beta);
    if (value < incumbent) {
      best = found;
      incumbent = value;
    }
    const double gain = std::max(metric.tolrelmetric * std::abs(previous), metric.tolabsmetric);
    if (size >= 2 && size < metric.nmax && value + gain >= previous) break;
    meanerr = std::sqrt(fit_of(found.mask, found.beta)) / ndata_;
  }
  return best;
}

double StatedSelection::objective_at(Mask mask, const std::vector<double>& beta) const {
  const std::vector<std::size_t> terms = terms_of(mask);
  std::vector<double> gamma;
  for (const std::size_t j : terms) gamma.push_back(beta[j] * xscale_[j] / zscale_);
  if (!allow(mask) || !are_allowed(terms, gamma, rounding)) return infinity;
  const std::optional<double> share = share_of(error_at(mask, gamma));
  return share ? *share + price() * static_cast<double>(terms.size()) : infinity;
}

double StatedSelection::fit_of(Mask mask, const std::vector<double>& beta) const {
  long double squares = 0;
  double largest = 0.0;
  for (std::size_t i = 0; i < z_.size(); ++i) {
    if (!use_[i]) continue;
    long double error = z_[i];
    for (const std::size_t j : terms_of(mask)) error -= beta[j] * columns_[j][i];
    squares += error * error;
    const auto size = static_cast<double>(std::abs(error));
    largest = std::max(largest, std::abs(z_[i]) > 0.001 ? 100.0 * size / std::abs(z_[i]) : size);
  }
  return options_.metric.modeler == 8 ? largest : static_cast<double>(squares);
}

double StatedSelection::metric_of(Mask mask, const std::vector<double>& beta) const {
  return reference_metric(options_.metric, fit_of(mask, beta), ReferenceSelection::count(mask),
                          ndata_);
}

}  // namespace torve::test
