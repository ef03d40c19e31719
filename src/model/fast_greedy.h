#pragma once

#include <limits>
#include <memory>
#include <vector>

#include "model/fit.h"
#include "model/greedy_search.h"
#include "model/greedy_values.h"

namespace torve {

// Build-up and back-step with few fits. Candidates are valued without a fit, between two bounds;
// the model in hand is fitted when a decision takes its exact value, and at the end. What can't be
// decided within the bounds is decided by the fits of both, in the order and by the rule of a
// search that fits every candidate, so that all steps are the same, to the last bit of what is
// stored, and so are all counts.
class FastGreedy {
 public:
  enum class Way { up, down };
  // Null where it doesn't apply: constraints, debug, a metric that doesn't rise with the sum of
  // squares, DGELS switched off, small problems.
  static std::unique_ptr<FastGreedy> make(GreedySearch& search, Way way);
  FastGreedy(GreedySearch& search, Way way);

  // Before a pass that makes models of p terms.
  void enter_pass(int p);
  // The candidate in thischoice, which differs by the column from the model of the pass.
  bool accept(int column, int p, bool forced);
  // The column of the pass.
  void take(int column);
  bool is_over();
  bool is_within_tolerance();
  // Leaves what fits of all candidates would have left, thisbeta by recall_last_candidate.
  void finish();

 private:
  // Between which values a fit lies.
  struct Bounds {
    double lowest = 0.0;
    double highest = 0.0;
  };
  // The model in hand.
  struct Incumbent {
    Bounds fit;
    Bounds metric;
    double least_meanerr = 0.0;
  };

  bool is_worth_it(int p) const;
  void make_values();
  void grow(const Regression& problem, int chosen);
  void shrink(const Regression& problem);
  Bounds bounds(double sse) const;
  bool is_hopeless(double lowest, int p);
  bool is_surely_better(double highest, int p) const;
  bool accept_fitted(int p, bool forced);
  bool accept_unfitted(const Bounds& b, int p);
  bool reject_unfitted(int p);
  void note_unfitted(int p);
  void count_unfitted(int p);
  void request_room(int p);
  void set_incumbent_exact();
  void settle();
  void leave_last();
  double metric(double f, int p) const;
  void charge_time();

  GreedySearch& search_;
  RunState& run_;
  const int k_;
  const Way way_;
  FitSeries series_;
  MetricRules rules_;
  std::unique_ptr<GreedyValues> values_;  // null: every candidate is fitted
  bool tried_ = false;                    // to make them
  double slack_ = 0.0;   // of a fit that leaves out coefficients that are next to nothing
  double weight_ = 0.0;  // of the largest error
  Incumbent incumbent_;
  bool pending_ = false;  // the model in workchoice hasn't been fitted
  int pending_terms_ = 0;
  int room_ = 0;          // most terms of the candidates so far, whether fitted or not
  int pending_room_ = 0;  // the same ahead of the model in workchoice
  double hopeless_from_ = std::numeric_limits<double>::infinity();  // fits in this pass
  int unlooked_ = 0;            // candidates since the last look at the clock
  bool last_unfitted_ = false;  // thisbeta isn't the last candidate's, last_choice_
  std::unique_ptr<bool[]> last_choice_;
  std::unique_ptr<bool[]> saved_choice_;
};

}  // namespace torve
