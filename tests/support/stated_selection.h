// The problems that the routes to outside solvers state, solved a second time, plainly: over all
// subsets, each of them a least-squares problem or a linear program. Where the statement isn't the
// metric, or differs between the routes, so does this.
#pragma once

#include <cstddef>
#include <limits>
#include <map>
#include <optional>
#include <vector>

#include "support/reference_selection.h"
#include "support/small_optimizer.h"

namespace torve::test {

enum class Route { mirak, gams };

struct StatedOptions {
  Route route = Route::mirak;
  ReferenceOptions metric;  // with the sizes and tolerances of the walk
  bool relerror = false;
  bool linearerror = false;
  bool scalebases = true;
  bool scalez = false;
  bool sselimit = false;
};

// A condition on the model's value at a point: `columns` of the basis there.
struct PointBound {
  std::vector<double> columns;
  double value;
  bool from_below;
};

struct StatedModel {
  bool exists = false;
  Mask mask = 0;
  std::vector<double> beta;  // in the user's units
  double objective = 0.0;    // of the statement
};

class StatedSelection {
 public:
  StatedSelection(std::vector<std::vector<double>> columns, std::vector<double> z,
                  std::vector<bool> use, Mask screened, const StatedOptions& options);

  ReferenceGroups groups;
  std::vector<PointBound> bounds;

  // The least point with at most `it` terms, or with `it` terms where the metric asks for that, and
  // with an objective up to the cut-off.
  StatedModel solve(int it, double cutoff = std::numeric_limits<double>::infinity());
  // What is left after all solves of an output.
  StatedModel run();

  // What the statement says of a model: its least objective with these coefficients. Infinite when
  // a condition is broken by more than rounding.
  double objective_at(Mask mask, const std::vector<double>& beta) const;
  // The metric's value, which isn't the objective.
  double metric_of(Mask mask, const std::vector<double>& beta) const;
  double fit_of(Mask mask, const std::vector<double>& beta) const;
  bool walks_the_sizes() const;

 private:
  struct Point {
    double error;               // what stands in the objective beside the price of terms
    std::vector<double> gamma;  // scaled coefficients of the subset's terms
  };
  // A row of the error: its value, the factor of its columns, its weight in the objective.
  struct Part {
    std::size_t row;
    double value;
    double factor;
    double weight;
  };
  using Terms = std::vector<std::size_t>;

  void scale();
  void make_full_fit();
  void list_parts();
  double price() const;
  bool allow(Mask subset) const;
  // The box and the bounds of points, over the coefficients and what variables there are behind.
  std::vector<Inequality> conditions(const Terms& terms, std::size_t variables) const;
  bool are_allowed(const Terms& terms, const std::vector<double>& gamma, double tolerance) const;
  void add_balance(std::vector<Inequality>& rows, Mask subset, std::size_t first,
                   std::size_t variables) const;
  // Coefficients of the least error; nothing when none are allowed.
  std::optional<std::vector<double>> least_squares(const Terms& terms) const;
  std::optional<std::vector<double>> least_percent(const Terms& terms) const;
  std::optional<Point> least_absolute(Mask subset, const std::vector<double>* given) const;
  std::optional<double> error_at(Mask subset, const std::vector<double>& gamma) const;
  std::optional<double> share_of(std::optional<double> error) const;
  const std::optional<Point>& least(Mask subset);
  double cutoff(const StatedModel& incumbent, double metric) const;

  std::vector<std::vector<double>> columns_;
  std::vector<double> z_;
  std::vector<bool> use_;
  Mask screened_;
  StatedOptions options_;
  int nbas_;
  int ndata_;
  std::vector<std::vector<double>> x_;  // scaled columns
  std::vector<double> xscale_;
  double zscale_ = 1.0;
  std::vector<double> box_;  // of the scaled coefficients
  bool sseterm_ = true;      // the error stands in the objective
  std::vector<Part> parts_;
  std::map<Mask, std::optional<Point>> known_;
};

}  // namespace torve::test
