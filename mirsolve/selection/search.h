// Branch and bound over the positions, depth first.
//
// A node holds the triangle of its open columns; taking a decision makes the triangle smaller. A
// node is bounded by the fit on all that isn't out (leaps and bounds, Furnival and Wilson,
// Technometrics 16 (1974) 499), raised by what leaving out columns costs at least, and columns
// without which, or with which, nothing better is possible are decided at once.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "mirsolve/problem/deadline.h"
#include "mirsolve/selection/bound.h"
#include "mirsolve/selection/incumbent.h"
#include "mirsolve/selection/perspective.h"
#include "mirsolve/selection/small_rest.h"
#include "mirsolve/selection/triangle.h"

namespace mirsolve::selection {

struct Found {
  bool is_complete = false;  // the whole tree was searched
  double bound = -infinite;  // no model is better
  std::int64_t nodes = 0;
  std::string remark;
};

class Search {
 public:
  Search(const Model& model, const Data& data, Logic& logic, Incumbent& incumbent,
         const Deadline& deadline);

  // From these positions, which the logic has left. Ends at the first model when `first_will_do`.
  Found run(std::vector<Position> start, bool first_will_do);

 private:
  struct Level {
    std::vector<Position> positions;
    std::vector<int> columns;  // open ones, in the order of the triangle
    std::vector<double> part;  // by place; see separable_part
    int part_size = 0;         // number of columns when that was found
    Triangle triangle;
    double bound = -infinite;          // with that of the parent
    int branch = -1;                   // choice
    Position second = Position::open;  // open: both positions are done
    double second_bound = -infinite;
  };
  // A row that limits the number of all switches together.
  struct SizeRow {
    double factor;
    double limit;
  };

  void find_size_rows();
  void begin(std::vector<Position> start);
  bool settle(Level& level);
  void remove_decided(Level& level);
  bool look(Level& level);
  void refresh_part(Level& level);
  void improve(const Level& level);
  double loose_limit() const;
  int columns_on(const Level& level) const;
  void describe(const Level& level);
  bool is_excluded_by_limits(Level& level);
  bool decide(Level& level, bool& changed);
  double work() const;
  bool finish(Level& level);
  void keep_root();
  void raise_least_size();
  void set_branch(Level& level);
  void branch_on_group(Level& level);
  bool cut(double bound);
  void descend(std::size_t depth, Position position, double bound);
  double open_bound(std::size_t depth) const;

  const Model& model_;
  const Data& data_;
  Logic& logic_;
  Incumbent& incumbent_;
  const Deadline& deadline_;
  std::vector<SizeRow> size_rows_;
  std::vector<Level> levels_;
  double numbers_held_ = 0.0;
  double lowest_cut_ = infinite;
  Fit fit_;
  Triangle other_;
  Bounds bounds_;
  Outlook outlook_;
  std::vector<double> costs_;
  std::vector<double> parts_;
  std::vector<double> alone_;
  std::vector<int> in_;
  BoundedFit limited_fit_;
  Perspective perspective_;
  SmallRest small_rest_;
  bool has_rules_ = false;  // beside those of the size
  std::int64_t nodes_ = 0;
  // What is open at the root once it was bounded, for trying all models of a size at once.
  Outlook root_outlook_;
  std::vector<double> root_costs_;
  std::vector<double> root_parts_;
  std::vector<double> root_alone_;
  int root_on_ = 0;     // columns in the model there
  int least_size_ = 0;  // models with fewer open columns of the root have all been tried
};

}  // namespace mirsolve::selection
