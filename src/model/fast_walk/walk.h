// The walk over all subsets of one size, with the least sum of squared errors of each.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "model/fast_walk/kernels.h"
#include "model/fast_walk/triangle.h"

namespace torve::fast_walk {

// The number of subsets of k out of n, at most the largest 64-bit number.
std::uint64_t binomial(int n, int k);

// What is done with subsets. They come in lexicographic order of their columns.
class Visitor {
 public:
  virtual ~Visitor() = default;
  // A subset at or below the limit, or a doubtful one, whose value is negative. `rank` is the
  // number of subsets before it. False ends the walk.
  virtual bool subset(std::uint64_t rank, std::span<const int> columns, double sse) = 0;
  // Comes now and then, with the number of subsets that the walk is past. False ends the walk.
  virtual bool pause(std::uint64_t rank) = 0;

  // Whether no subset that begins so is wanted; asked where `has_rules`.
  virtual bool is_hopeless(std::span<const int> prefix) { return prefix.empty(); }

  bool has_rules = false;
  // Values up to here are wanted, in the triangle's units. Read again after every call.
  double limit = 0.0;
};

// Work space of a walk; allocates when it is made and never in the walk.
class Walk {
 public:
  // Subsets of `size` (2 or more) of the triangle's columns, which outlives the walk.
  Walk(const Triangle& triangle, int size, const Kernels& kernels);
  // Whether the walk came to its end.
  bool run(Visitor& visitor);

 private:
  // A prefix and what is left below it.
  struct Level {
    std::vector<double> rows;
    std::vector<double> z;
    int places = 0;
    int height = 0;
    double tail = 0.0;  // square that no column left reaches
  };
  struct Hit {
    int place;
    double sse;
  };

  Remainder remainder(const Level& level) const;
  double left_square(const Level& level, int t) const;
  bool is_doubtful(double pivot, int t) const;
  bool descend(int depth);
  bool last_three(const Level& level);
  bool last_two(const Products& products, const Pivot& pivot, int places, double sse, int depth,
                std::uint64_t before);
  bool whole_row(int b, int depth, std::uint64_t before);
  void collect(const Leaves& leaves, int bits);
  bool hand_over(int b, int depth, std::uint64_t before);
  bool hand_over_all(int depth, int places, std::uint64_t before);
  bool pause(std::uint64_t rank, std::uint64_t work);
  void choose(int depth, int place);
  bool is_hopeless(int depth) const;

  const Triangle& triangle_;
  const Kernels& kernels_;
  const int size_;
  Visitor* visitor_ = nullptr;
  std::uint64_t rank_ = 0;    // subsets that the walk is past
  std::uint64_t worked_ = 0;  // since the last pause
  std::vector<Level> levels_;
  std::vector<double> work_;  // a row
  std::vector<double> gram_;  // products below a prefix
  std::vector<double> gram_z_;
  std::vector<double> diagonal_;
  std::vector<double> doubt_;
  std::vector<double> zeros_;       // products of no pivot
  std::vector<double> eliminated_;  // by place, without the first of the last three
  Eliminated left_{};
  std::vector<int> columns_;  // of the subset at hand
  std::vector<Hit> hits_;     // of a row, last column first
};

}  // namespace torve::fast_walk
