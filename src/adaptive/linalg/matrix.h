#pragma once

#include <cassert>
#include <initializer_list>
#include <span>
#include <vector>

#include "adaptive/linalg/messages.h"
#include "run/matrix_view.h"

namespace torve {

// A real vector that owns its elements. Indices count from 0 and are asserted in debug builds.
class VECTOR {
 public:
  VECTOR() = default;
  explicit VECTOR(int n, double value = 0.0) : data_(at(n), value) {}
  VECTOR(std::initializer_list<double> values) : data_(values) {}

  int size() const { return static_cast<int>(data_.size()); }
  double& operator()(int i) {
    assert(i >= 0 && i < size());
    return data_[at(i)];
  }
  double operator()(int i) const {
    assert(i >= 0 && i < size());
    return data_[at(i)];
  }
  double* data() { return data_.data(); }
  const double* data() const { return data_.data(); }
  std::span<double> span() { return data_; }
  std::span<const double> span() const { return data_; }
  void push_back(double value) { data_.push_back(value); }

 private:
  std::vector<double> data_;
};

// A dense real matrix that owns its elements, column-major, rows x columns.
class MATRIX {
 public:
  MATRIX() = default;
  MATRIX(int rows, int columns, double value = 0.0)
      : rows_(rows), columns_(columns), data_(at(rows) * at(columns), value) {}
  // Row by row, as a matrix is written on paper; all rows of one length.
  MATRIX(std::initializer_list<std::initializer_list<double>> rows);

  int rows() const { return rows_; }
  int columns() const { return columns_; }
  bool empty() const { return data_.empty(); }
  double& operator()(int i, int j) {
    assert(i >= 0 && i < rows_ && j >= 0 && j < columns_);
    return data_[at(j) * at(rows_) + at(i)];
  }
  double operator()(int i, int j) const {
    assert(i >= 0 && i < rows_ && j >= 0 && j < columns_);
    return data_[at(j) * at(rows_) + at(i)];
  }
  double* data() { return data_.data(); }
  const double* data() const { return data_.data(); }
  MatrixView view() const { return {data_.data(), rows_, columns_, rows_}; }

  VECTOR row(int i) const;
  VECTOR column(int j) const;
  void set_row(int i, const VECTOR& values);     // values has columns() elements
  void set_column(int j, const VECTOR& values);  // values has rows() elements
  // Adds a row below; to an empty matrix it gives the first row and the number of columns.
  void append_row(const VECTOR& values);

 private:
  int rows_ = 0;
  int columns_ = 0;
  std::vector<double> data_;
};

}  // namespace torve
