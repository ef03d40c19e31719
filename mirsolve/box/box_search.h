// Branch and bound over a box with proven bounds.
#pragma once

#include <cstdint>
#include <random>
#include <span>
#include <vector>

#include "mirsolve/box/examiner.h"
#include "mirsolve/box/points.h"
#include "mirsolve/problem/deadline.h"

namespace mirsolve::box {

struct SearchRules {
  Wanted wanted;
  bool first_will_do = false;
  std::vector<std::vector<double>> starts;         // points to begin with, in the box
  std::size_t most_bytes = std::size_t{1} << 28U;  // for boxes that wait
};

struct SearchResult {
  std::vector<Point> points;
  double bound = -infinity;  // no point that counts has a value below it
  double gap = 0.0;          // that was asked for at the best point
  bool time_is_over = false;
  bool is_first = false;       // ended with the first point, as asked for
  bool ran_short = false;      // of room for boxes: went on depth first
  std::int64_t examined = 0;   // boxes
  std::int64_t left = 0;       // boxes that were still to be looked at
  double share_left = 0.0;     // of the whole box
  std::int64_t undecided = 0;  // boxes too small to be split
  double undecided_bound = infinity;
};

// R. E. Moore, R. B. Kearfott, M. J. Cloud: Introduction to Interval Analysis. SIAM 2009, chapter
// 10 has the frame: the box with the least bound is halved first, and boxes leave when they can't
// hold what is looked for. When the boxes that wait take all the room that they may have, the
// search goes into the depth, where their number hardly grows.
class BoxSearch {
 public:
  BoxSearch(const Formula& formula, std::span<const Interval> sides, const SearchRules& rules,
            const Deadline& deadline);

  SearchResult run();

 private:
  bool is_over() const;
  void search_starts();
  void search_samples(int samples, std::size_t most_searches);
  void branch();
  bool take(Box& box);
  void split(const Box& box);
  void add(Box box);
  void spread();
  void spread_around(const Point& point);
  void finish();
  std::vector<double> sample();
  double chance() { return static_cast<double>(random_() >> 11U) * 0x1p-53; }

  std::vector<Interval> sides_;
  SearchRules rules_;
  Deadline deadline_;
  Examiner examiner_;
  Points points_;
  std::vector<Box> heap_;   // the least bound in front
  std::vector<Box> stack_;  // what goes before the heap
  std::size_t most_boxes_;
  std::mt19937_64 random_;
  SearchResult result_;
};

}  // namespace mirsolve::box
