// Good models early: build-up, one column after the other, and exchanges of one column.
#pragma once

#include <span>
#include <vector>

#include "mirsolve/problem/deadline.h"
#include "mirsolve/selection/incumbent.h"

namespace mirsolve::selection {

// Products of the columns with each other and with the output, swept by the columns of a set.
// Source: the sweep operator, Goodnight, The American Statistician 33 (1979) 149. Loses figures
// where columns depend on each other, which matters little for a guess.
class Tableau {
 public:
  explicit Tableau(const Triangle& triangle);
  int size() const { return size_; }
  bool is_in(int j) const { return in_[static_cast<std::size_t>(j)] != 0; }
  double squares() const;
  // By how much the sum of squares falls when the column comes in; -infinite where it can't.
  double gain(int j) const;
  // By how much it rises when the column goes out.
  double loss(int j) const;
  // By how much it falls when column `out` goes and column `in` comes; -infinite where it can't.
  double gain(int out, int in) const;
  // In if out, out if in.
  void sweep(int j);

 private:
  double& number(int i, int j) { return numbers_[place(i, j)]; }
  double number(int i, int j) const { return numbers_[place(i, j)]; }
  std::size_t place(int i, int j) const {
    return static_cast<std::size_t>(i) * (static_cast<std::size_t>(size_) + 1) +
           static_cast<std::size_t>(j);
  }

  int size_;
  std::vector<double> numbers_;  // (size + 1) x (size + 1), row by row, the output last
  std::vector<double> squares_;  // of the columns at the beginning
  std::vector<char> in_;
};

// Offers what it finds. `start` is what the logic leaves at the beginning.
void look_for_models(const Model& model, const Data& data, std::span<const Position> start,
                     Logic& logic, Incumbent& incumbent, const Deadline& deadline);

}  // namespace mirsolve::selection
