// The end of a branch where few columns can still come in: all subsets of these sizes at once, by
// the walk over subsets of the main library. Columns that depend on each other nearly leave the
// bounds of the search without force, but models of few columns are soon counted out.
#pragma once

#include <span>
#include <vector>

#include "mirsolve/problem/deadline.h"
#include "mirsolve/selection/bound.h"
#include "mirsolve/selection/incumbent.h"
#include "mirsolve/selection/triangle.h"

namespace mirsolve::selection {

// Sums of squares that fits on some columns of a triangle leave. A column that is made of those
// ahead of it is passed over. Keeps what the last fit had in common with the next, so that subsets
// in lexicographic order take the work of a column or two each. Source: Gram and Schmidt, each
// column orthogonalised again where it has lost much (Daniel, Gragg, Kaufman and Stewart, Math.
// Comp. 30 (1976) 772).
class SubsetFit {
 public:
  void begin(const Triangle& triangle);
  double squares(std::span<const int> columns);

 private:
  void add(int column);
  double* vector(int i) { return vectors_.data() + static_cast<std::ptrdiff_t>(i) * size_; }
  double* rest(int i) { return rests_.data() + static_cast<std::ptrdiff_t>(i) * size_; }

  const Triangle* triangle_ = nullptr;
  int size_ = 0;
  std::vector<int> columns_;     // of the last fit
  std::vector<double> vectors_;  // a unit vector a column, or zeros
  std::vector<double> rests_;    // what is left of z ahead of each column, and at the end
};

class SmallRest {
 public:
  SmallRest(const Model& model, const Data& data, Logic& logic, Incumbent& incumbent,
            const Deadline& deadline);

  // The columns of the triangle, and what else is decided.
  struct Node {
    const Triangle& triangle;
    std::span<const int> columns;
    std::span<const Position> positions;
  };

  // How many subsets there are of the sizes that may give something below the threshold. Needed
  // ahead of what follows.
  double count(const Outlook& outlook);
  int most() const { return most_; }  // columns
  // What has been done, in subsets of the walk; a fit of a doubtful one is as much as many.
  double work() const { return leaves_ + of_a_fit * fits_; }
  // What so many subsets will take, by those that there were.
  double work_of(double leaves) const { return leaves * (work() + 1e4) / (leaves_ + 1e4); }
  // Tries all of these sizes. False when the time was over before.
  bool try_all(const Node& node, const Outlook& outlook);
  // Tries one size.
  bool try_one(const Node& node, const Outlook& outlook, int size);

 private:
  class Offers;

  static constexpr double of_a_fit = 100.0;

  void begin(const Node& node, const Outlook& outlook);
  double limit_of(int size) const;
  void offer(std::span<const int> places, double squares);
  bool try_size(int size);

  const Model& model_;
  const Data& data_;
  Logic& logic_;
  Incumbent& incumbent_;
  const Deadline& deadline_;
  const Triangle* triangle_ = nullptr;
  std::span<const int> columns_;
  std::span<const Position> positions_;
  double cost_ = 0.0;          // of what is decided
  double square_limit_ = 0.0;  // of the sum, with room for rounding
  int least_ = 0;              // sizes in question, from `count`
  int most_ = -1;
  std::vector<double> cheapest_;  // by size: the least cost of so many columns
  SubsetFit fit_;
  double leaves_ = 0.0;
  double fits_ = 0.0;
};

}  // namespace mirsolve::selection
