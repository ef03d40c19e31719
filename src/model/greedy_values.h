// Sums of squares of the candidates of a greedy step, without a fit of each.
#pragma once

#include <span>
#include <vector>

#include "model/fast_greedy/kernels.h"
#include "model/least_squares.h"
#include "run/spare_room.h"
#include "run/subset_triangle.h"

namespace torve {

// The model that a search has come to, and what one column more or one less makes of it.
class GreedyValues {
 public:
  struct Value {
    double sse = 0.0;         // sum of squared errors; in the data times 2^exponent
    bool is_doubtful = true;  // a fit may differ, or fail, and the sum isn't valid
  };

  GreedyValues() = default;
  GreedyValues(const GreedyValues&) = delete;
  GreedyValues& operator=(const GreedyValues&) = delete;
  virtual ~GreedyValues() = default;

  // The model with the column added or dropped.
  virtual Value candidate(int column) = 0;
  // The same for good.
  virtual void take(int column) = 0;

  double margin() const { return margin_; }
  int exponent() const { return exponent_; }

 protected:
  double margin_ = 0.0;  // how far a sum may be from that of the fit, on all that isn't doubtful
  int exponent_ = 0;
};

// Grows a model. Columns of length 1, orthogonal to each other, span what those of the model do; a
// column that isn't in it is compared with them when it is asked for.
class GrowingValues : public GreedyValues {
 public:
  // The problem lists the columns of the model, `chosen` of them, and then those that may come. The
  // room is in use as long as this lives.
  GrowingValues(const Regression& problem, int chosen, SpareRoom& room);
  ~GrowingValues() override { room_.leave(); }
  // False where values can't be relied on, and nothing else may be called.
  bool is_usable() const { return usable_; }
  double length_of_all() const { return lengths_; }

  Value candidate(int column) override;
  void take(int column) override;

  static double numbers(int rows, int columns) { return (rows + 9.0) * (3.0 * columns + 1.0); }

 private:
  // A column that may come. Its square left is found by differences as long as they leave enough
  // digits of what it was at the start; then the column is turned away from the model and starts
  // again.
  struct Column {
    const double* x;       // the column, or what is left of it, at the start
    double square;         // of the column
    double start = 0.0;    // square at the start
    double left = 0.0;     // square that the model leaves
    std::size_t done = 0;  // columns of the model that `left` allows for
    bool dead = false;     // it leaves too little, for ever
  };
  void fetch(const Regression& problem);
  bool measure(const Regression& problem);
  double bring_up(Column& c);
  void turn_away(double* x);
  void append(Column& c);
  double product(const double* x, const double* y) const;
  double* model_column(std::size_t i) { return model_ + i * rows_; }

  SpareRoom& room_;
  std::size_t rows_;
  double* model_ = nullptr;   // its columns, then
  double* turned_ = nullptr;  // those that started again, by slot
  std::size_t terms_ = 0;
  std::vector<double> z_;  // what is left of the output
  std::vector<Column> columns_;
  std::vector<std::size_t> slots_;  // by column
  const fast_greedy::Kernels& kernels_;
  double sse_ = 0.0;
  double lengths_ = 0.0;
  double least_ratio_ = 0.0;
  bool doubtful_ = false;  // the model itself
  bool usable_ = false;
};

// Shrinks a model, on the triangle of its columns.
class ShrinkingValues : public GreedyValues {
 public:
  // `columns` ascending, as many as the triangle has, which has at least as many rows.
  ShrinkingValues(const fast_walk::Triangle& triangle, std::span<const int> columns);

  Value candidate(int column) override;
  void take(int column) override;

  static double numbers(int columns) { return (columns + 8.0) * (columns + 4.0); }

 private:
  // The direction that the column at a place alone reaches.
  struct Direction {
    double square = 0.0;   // 1 / square of what is left of the column behind all others
    double product = 0.0;  // with the output
  };
  Direction direction(int place);
  bool has_weak_column();
  int place_of(int column) const;
  void close_gap(int place);
  double* row(int i) { return rows_.data() + static_cast<std::ptrdiff_t>(i) * stride_; }

  int places_;
  int stride_;
  std::vector<double> rows_;
  std::vector<double> z_;
  std::vector<double> squares_;  // of the columns, by place
  std::vector<int> columns_;     // by place
  std::vector<double> work_;
  double sse_;
  double least_ratio_;
  bool doubtful_;
};

}  // namespace torve
