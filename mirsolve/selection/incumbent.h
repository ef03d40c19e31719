// The best model so far, and from which bound on a part of the search can't give a better one.
#pragma once

#include <optional>
#include <span>
#include <vector>

#include "mirsolve/selection/bounded_fit.h"
#include "mirsolve/selection/data.h"
#include "mirsolve/selection/logic.h"
#include "mirsolve/selection/model.h"

namespace mirsolve::selection {

struct Goal {
  double absolute_gap = 0.0;
  double relative_gap = 0.0;
  double cutoff = infinite;  // only objectives below it count
};

class Incumbent {
 public:
  Incumbent(const Model& model, const Data& data, const Goal& goal);

  // Fits the model of these positions, all of which are decided and fit the logic, and keeps it
  // when it is better than the last. What the triangle shows to be no better isn't fitted on the
  // data.
  void offer(std::span<const Position> positions);

  bool exists() const { return exists_; }
  double objective() const { return objective_; }
  std::span<const Position> positions() const { return positions_; }
  std::span<const double> x() const { return x_; }
  // From here on models that are so much better aren't looked for.
  void set_gaps(double absolute, double relative) {
    goal_.absolute_gap = absolute;
    goal_.relative_gap = relative;
  }
  // A node whose bound is as great as this is of no use.
  double threshold() const;
  bool is_useful(double objective) const { return objective < (exists_ ? objective_ : cutoff_); }
  // Whether some fit was held back by bounds or rows of coefficients.
  bool limits_matter() const { return limits_matter_; }
  // Whether a model couldn't be fitted for reasons of arithmetic, and the least that it may have.
  bool has_failure() const { return has_failure_; }
  double failure_bound() const { return failure_bound_; }

 private:
  std::optional<double> value(Basis basis, double cost, std::span<const int> in);

  const Model& model_;
  const Data& data_;
  Goal goal_;
  double cutoff_;
  BoundedFit fit_;
  bool exists_ = false;
  double objective_ = infinite;
  std::vector<Position> positions_;
  std::vector<double> x_;  // by column
  bool limits_matter_;
  bool has_failure_ = false;
  double failure_bound_ = infinite;
};

// Cost of the choices that are on.
double cost_of(const Model& model, std::span<const Position> positions);
// Columns that are in the model for certain.
void list_columns_in(const Model& model, std::span<const Position> positions,
                     std::vector<int>& columns);

}  // namespace mirsolve::selection
