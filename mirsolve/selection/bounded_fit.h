// Least squares on some columns under the rows and bounds of the coefficients.
#pragma once

#include <span>
#include <vector>

#include "mirsolve/selection/data.h"
#include "mirsolve/selection/model.h"

namespace mirsolve::selection {

enum class Outcome { fitted, impossible, failed };

// Which rows of numbers a fit is made on: the triangle is smaller, the data are exact.
enum class Basis { triangle, data };

class BoundedFit {
 public:
  BoundedFit(const Model& model, const Data& data);

  // Fits the columns that are in, within their bounds, and those that are open, which may be 0
  // besides. Limits come in as far as answers break them, all that are broken at once; an answer
  // that breaks none is the best under all of them.
  Outcome fit(std::span<const int> in, std::span<const int> open, Basis basis);

  double squares() const { return squares_; }  // scaled
  // Scaled coefficients, in the order of the columns in and the open ones behind.
  std::span<const double> x() const { return x_; }
  bool was_limited() const { return !limits_.empty(); }

 private:
  struct Limit {
    std::vector<double> factors;  // on the columns fitted; factors * x <= limit
    double limit = 0.0;
  };

  double scaled_lower(int place) const;
  double scaled_upper(int place) const;
  void forget();
  bool add_broken(bool& contradicts, bool all);
  bool add_broken_bounds(bool all);
  Outcome solve(Basis basis);
  void copy_matrix(Basis basis, int rows, int stride);

  const Model& model_;
  const Data& data_;
  std::vector<int> columns_;
  std::size_t count_in_ = 0;
  std::vector<Limit> limits_;
  std::vector<char> row_is_in_;    // by row of coefficients
  std::vector<char> lower_is_in_;  // by place
  std::vector<char> upper_is_in_;
  std::vector<double> x_;
  double squares_ = 0.0;
  std::vector<double> matrix_;
  std::vector<double> work_;
  std::vector<int> places_;
};

}  // namespace mirsolve::selection
