#include "model/fast_enumeration.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <vector>

#include "model/debug_lines.h"
#include "model/fast_walk/triangle_fit.h"
#include "model/fast_walk/walk.h"
#include "model/fit.h"
#include "model/output_triangle.h"
#include "model/subset_classes.h"

namespace torve {

namespace {

using fast_walk::Triangle;

constexpr double infinite = std::numeric_limits<double>::infinity();

constexpr std::size_t most_waiting = 1024;  // subsets before they are fitted
constexpr std::size_t few_waiting = 2;      // so few are fitted without a second look

// What has to be as before when a walk is made again.
struct Before {
  explicit Before(RunState& run, int k, const ModelValue& best)
      : counters(run.counters),
        olrcalls(run.models.olrcalls[at(k)]),
        clrcalls(run.models.clrcalls[at(k)]),
        hasmodel(run.models.hasmodel[at(k)]),
        value(best) {
    const int nbas = run.sizes.nbas;
    const auto all_beta = run.models.bestbeta.column(k, nbas);
    const auto all_chosen = run.models.bestchosen.column(k, nbas);
    beta.assign(all_beta.begin(), all_beta.end());
    chosen.assign(all_chosen.begin(), all_chosen.end());
  }
  void restore(RunState& run, int k, ModelValue& best) const {
    run.counters = counters;
    run.models.olrcalls[at(k)] = olrcalls;
    run.models.clrcalls[at(k)] = clrcalls;
    run.models.hasmodel[at(k)] = hasmodel;
    const int nbas = run.sizes.nbas;
    std::copy(beta.begin(), beta.end(), run.models.bestbeta.column(k, nbas).begin());
    std::copy(chosen.begin(), chosen.end(), run.models.bestchosen.column(k, nbas).begin());
    best = value;
  }

  Counters counters;
  int olrcalls;
  int clrcalls;
  bool hasmodel;
  ModelValue value;
  std::vector<double> beta;
  std::vector<bool> chosen;
};

// Keeps what the walk hands over until it is fitted. Sums of squares are in the triangle's units.
class Fitter : public fast_walk::Visitor {
 public:
  // `classes`: the group rules of the output, or null.
  Fitter(RunState& run, int k, int size, const MetricRules& rules, ModelValue& best,
         const SubsetClasses* classes)
      : run_(run),
        k_(k),
        size_(size),
        rules_(rules),
        best_(best),
        triangle_(run.walk.triangle),
        look_(triangle_, size),
        classes_(classes),
        before_(run, k, best) {
    has_rules = classes != nullptr;
    ranks_.reserve(most_waiting);
    values_.reserve(most_waiting);
    looks_.reserve(most_waiting);
    columns_.reserve(most_waiting * at(size));
    is_madp_ = run.options.modeler == static_cast<int>(Metric::madp);
    if (is_madp_) {
      weight_ = least_weight(run.points.zdata.column(k, run.sizes.ndata),
                             run.lsq.rowsuse.first(at(run.sizes.ndata)));
    }
    const double tolerance = run.outputs.tolmeanerror[at(k)] * run.sizes.ndata;
    ending_ = tolerance < 0.0 ? -infinite : with_margin(square_of_fit(tolerance * tolerance));
    renew_limit();
  }

  // Starts again with every subset up to the best fit that was found.
  void reopen() {
    before_.restore(run_, k_, best_);
    lowest_ = best_fit_;
    is_fixed_ = true;
    best_fit_ = infinite;
    fitted_ = 0;
    is_over_ = failed_ = false;
    renew_limit();
  }

  bool is_hopeless(std::span<const int> prefix) override { return classes_->is_hopeless(prefix); }

  bool subset(std::uint64_t rank, std::span<const int> columns, double sse) override {
    if (has_rules && !classes_->allows(columns)) return true;
    if (ranks_.size() == most_waiting && !settle()) return false;
    ranks_.push_back(rank);
    values_.push_back(sse);
    columns_.insert(columns_.end(), columns.begin(), columns.end());
    if (sse >= 0.0 && sse < lowest_ && !is_fixed_ && !is_madp_) {
      lowest_ = sse;
      renew_limit();
    }
    return true;
  }

  bool pause(std::uint64_t rank) override {
    charge_time();
    if (timeup_lately(run_)) {
      past_ = rank;
      fit_all(true);
      is_over_ = true;
      return false;
    }
    // The limit of the largest error comes from fits alone.
    return !is_madp_ || ranks_.empty() || settle();
  }

  // The subsets left over; then the counts of those that needn't be fitted. `all`: subsets of the
  // size.
  void finish(std::uint64_t all) {
    charge_time();
    if (!is_over_) {
      past_ = all;
      settle();
    }
    charge_time();
    const std::uint64_t unfitted = subsets_past(all) - fitted_;
    count_up(run_.counters.numOLRs, unfitted);
    count_up(run_.counters.OLRdgelCalls, unfitted);
    count_up(run_.models.olrcalls[at(k_)], unfitted);
  }

  // Whether a subset may have been passed over that is better than the best that was fitted.
  // A walk that was cut short keeps what it has.
  bool missed_some() const { return !is_fixed_ && !is_madp_ && !failed(run_) && best_fit_ > limit; }
  bool failed_fit() const { return failed_; }

 private:
  double scaled(double f) const { return std::ldexp(f, -triangle_.exponent); }
  double with_margin(double square) const {
    return square * near_the_best + triangle_.margin * triangle_.yy;
  }
  // The subsets that a fit of each would have fitted.
  std::uint64_t subsets_past(std::uint64_t all) const {
    if (!has_rules) return past_;
    return past_ == all ? classes_->allowed() : classes_->allowed_among(past_);
  }
  // The sum of squares that goes with a fit, or that a fit can't be below.
  double square_of_fit(double f) const {
    if (!is_madp_) return scaled(f);
    const double root = f / weight_;
    return scaled(root * root * run_.walk.nrows);
  }

  void renew_limit() {
    if (is_madp_) {
      const double f = best_.metric - rules_.convpen * size_;
      lowest_ = best_.metric < no_model_yet ? square_of_fit(std::max(f, 0.0)) : infinite;
    }
    limit = std::max(with_margin(lowest_), ending_);
  }

  // Drops what a closer look shows not to matter, and fits the rest.
  bool settle() {
    drop_those_above_the_limit();
    if (ranks_.size() > few_waiting && !is_fixed_ && !is_madp_) drop_losers();
    return fit_all(false);
  }

  // The limit has come down since some were handed over.
  void drop_those_above_the_limit() {
    std::size_t kept = 0;
    for (std::size_t i = 0; i < ranks_.size(); ++i) {
      if (values_[i] <= limit) keep(i, kept++);
    }
    keep_first(kept);
  }

  // A subset that may end the walk leaves the best of those ahead of it as the winner; behind the
  // last such subset only the best of all can win.
  void drop_losers() {
    looks_.clear();
    std::size_t behind_ends = 0;
    double best_of_all = best_fit_;
    for (std::size_t i = 0; i < ranks_.size(); ++i) {
      looks_.push_back(look_at(i));
      best_of_all = std::min(best_of_all, looks_[i].highest);
      if (looks_[i].lowest <= ending_value()) behind_ends = i + 1;
    }
    std::size_t kept = 0;
    double best = best_fit_;
    for (std::size_t i = 0; i < ranks_.size(); ++i) {
      best = i < behind_ends ? std::min(best, looks_[i].highest) : best_of_all;
      if (looks_[i].lowest > best && looks_[i].lowest > ending_value()) continue;
      keep(i, kept++);
    }
    keep_first(kept);
  }
  void keep(std::size_t i, std::size_t place) {
    ranks_[place] = ranks_[i];
    values_[place] = values_[i];
    if (place == i) return;
    std::copy_n(columns_.begin() + offset(i), size_, columns_.begin() + offset(place));
  }
  void keep_first(std::size_t count) {
    ranks_.resize(count);
    values_.resize(count);
    columns_.resize(count * at(size_));
  }
  std::ptrdiff_t offset(std::size_t i) const { return static_cast<std::ptrdiff_t>(i) * size_; }

  // Between which values the sum of squares of a waiting subset lies.
  struct Range {
    double lowest;
    double highest;
  };
  Range look_at(std::size_t i) {
    constexpr Range any{-infinite, infinite};
    if (values_[i] < 0.0) return any;
    const fast_walk::Look look = look_.at({columns_.data() + offset(i), at(size_)});
    if (look.ratio < triangle_.least_ratio) return any;
    return {look.sse - look.error, look.sse + look.error};
  }

  // The sum of squares of a subset that ends the walk, without a margin.
  double ending_value() const {
    const double tolerance = run_.outputs.tolmeanerror[at(k_)] * run_.sizes.ndata;
    return tolerance < 0.0 ? -infinite : square_of_fit(tolerance * tolerance) * near_the_best;
  }

  // In their order, until one ends the walk. With `to_the_end` the walk is over anyway.
  bool fit_all(bool to_the_end) {
    const std::span<bool> choice = run_.models.thischoice.first(at(run_.sizes.nbas));
    for (std::size_t i = 0; i < ranks_.size(); ++i) {
      std::fill(choice.begin(), choice.end(), false);
      for (std::size_t p = 0; p < at(size_); ++p) {
        choice[at(run_.walk.columns[at(columns_[i * at(size_) + p])])] = true;
      }
      const double error = try_subset(run_, k_, size_, rules_, best_, failed_);
      ++fitted_;
      note_fit(error);
      if (to_the_end) continue;
      const bool ends = failed(run_) || timeup_lately(run_) || failed_ ||
                        error <= run_.outputs.tolmeanerror[at(k_)];
      if (!ends) continue;
      is_over_ = true;
      past_ = ranks_[i] + 1;
      break;
    }
    ranks_.clear();
    values_.clear();
    columns_.clear();
    renew_limit();
    return !is_over_;
  }
  void note_fit(double error) {
    const double root = error * run_.sizes.ndata;
    best_fit_ = std::min(best_fit_, scaled(root * root));
  }

  // The time of the walk is time in the least-squares layer.
  void charge_time() {
    const double before = run_.timers.clock.last_reading();
    const double seconds = run_.timers.clock.seconds() - before;
    run_.timers.t_olr += seconds;
    run_.models.olrtime[at(k_)] += seconds;
  }
  static void count_up(int& counter, std::uint64_t by) {
    constexpr auto most = static_cast<std::uint64_t>(std::numeric_limits<int>::max());
    const std::uint64_t sum = static_cast<std::uint64_t>(counter) + std::min(by, most);
    counter = static_cast<int>(std::min(sum, most));
  }

  RunState& run_;
  const int k_;
  const int size_;
  const MetricRules& rules_;
  ModelValue& best_;
  const Triangle& triangle_;
  fast_walk::TriangleFit look_;
  const SubsetClasses* classes_;
  Before before_;
  bool is_madp_ = false;
  double weight_ = 1.0;
  double ending_ = 0.0;         // subsets up to here may end the walk
  double lowest_ = infinite;    // of the values that the walk has handed over
  double best_fit_ = infinite;  // of the subsets that were fitted
  bool is_fixed_ = false;       // the walk is made again: its limit stays
  bool is_over_ = false;
  bool failed_ = false;
  std::uint64_t fitted_ = 0;
  std::uint64_t past_ = 0;  // subsets that the walk is past
  std::vector<std::uint64_t> ranks_;
  std::vector<double> values_;
  std::vector<Range> looks_;
  std::vector<int> columns_;  // size_ for each
};

// --- where it applies ---------------------------------------------------------------------------

bool applies(RunState& run, int k, int size, std::uint64_t subsets, int columns) {
  if (!run.walk.allowed || debugging(run) || run.models.conreg[at(k)]) return false;
  if (!run.options.olrdgels || size < 2) return false;
  if (run.lsq.seriesoutput != k) return false;  // the usable rows aren't marked
  if (run.lsq.seriesrows < size || !rises_with_squares(run)) return false;
  // A reduction of the data and what else has to be made once must be worth it.
  if (subsets < std::max<std::uint64_t>(64, 2 * static_cast<std::uint64_t>(columns))) return false;
  const double levels = std::max(size, 3) * static_cast<double>(columns);
  const double numbers = columns * levels + (columns + 1.0) * run.lsq.seriesrows;
  return run.memory.has_room(numbers, sizeof(double));
}

}  // namespace

bool enumerate_fast(RunState& run, int k, int size, const MetricRules& rules, ModelValue& best,
                    bool& failed_fit) {
  const ColumnMask screened = run.models.screened.first(at(run.sizes.nbas));
  const int columns = static_cast<int>(std::count(screened.begin(), screened.end(), true));
  const std::uint64_t subsets = fast_walk::binomial(columns, size);
  if (!applies(run, k, size, subsets, columns) || !has_triangle(run, k)) return false;
  std::optional<SubsetClasses> classes;
  if (run.groups.groupcon[at(k)]) {
    classes = SubsetClasses::make(run, k, run.walk.columns, size);
    if (!classes) return false;
  }
  fast_walk::Walk walk(run.walk.triangle, size, fast_walk::widest_kernels());
  Fitter fitter(run, k, size, rules, best, classes ? &*classes : nullptr);
  walk.run(fitter);
  fitter.finish(subsets);
  if (fitter.missed_some()) {
    fitter.reopen();
    walk.run(fitter);
    fitter.finish(subsets);
  }
  failed_fit = fitter.failed_fit();
  return true;
}

}  // namespace torve
