// Rows over binary variables alone, and what follows from them when some variables are decided.
// Source: bounds of a row's activity, Savelsbergh, ORSA J. on Computing 6 (1994) 445, section 1.1.
#pragma once

#include <span>
#include <vector>

#include "mirsolve/selection/model.h"

namespace mirsolve::selection {

enum class Position : signed char { open = -1, off = 0, on = 1 };

class Logic {
 public:
  explicit Logic(const Model& model);

  // The positions with which a search begins: those that the variables may have.
  std::vector<Position> start() const;
  // Decides what the rows decide. False when they contradict the positions. Repeats until nothing
  // changes, by a list of the rows in question.
  bool propagate(std::span<Position> positions);
  // The same after one variable was decided.
  bool propagate_from(std::span<Position> positions, int choice);
  // Decides the open ones as cheaply as a dive finds it, taking back at most a fixed number of
  // decisions. False when nothing was found, which proves nothing.
  bool complete(std::span<Position> positions);

 private:
  struct Activity {
    double least = 0.0;
    double tolerance = 0.0;
  };

  Activity activity(const Row& row, std::span<const Position> positions) const;
  bool visit(int row, std::span<Position> positions);
  void mark_rows_of(int choice);
  bool work_off(std::span<Position> positions);
  int next_open(std::span<const Position> positions) const;

  const Model& model_;
  std::vector<std::vector<int>> rows_of_;  // by choice
  std::vector<int> waiting_;               // rows to be visited
  std::vector<char> waits_;                // by row
};

}  // namespace mirsolve::selection
