#include "adaptive/linalg/matrix.h"

#include <utility>

namespace torve {

MATRIX::MATRIX(std::initializer_list<std::initializer_list<double>> rows)
    : MATRIX(static_cast<int>(rows.size()),
             rows.size() == 0 ? 0 : static_cast<int>(rows.begin()->size())) {
  int i = 0;
  for (const std::initializer_list<double>& row : rows) {
    assert(static_cast<int>(row.size()) == columns_);
    int j = 0;
    for (const double value : row) (*this)(i, j++) = value;
    ++i;
  }
}

VECTOR MATRIX::row(int i) const {
  VECTOR result(columns_);
  for (int j = 0; j < columns_; ++j) result(j) = (*this)(i, j);
  return result;
}

VECTOR MATRIX::column(int j) const {
  assert(j >= 0 && j < columns_);
  VECTOR result(rows_);
  for (int i = 0; i < rows_; ++i) result(i) = (*this)(i, j);
  return result;
}

void MATRIX::set_row(int i, const VECTOR& values) {
  assert(values.size() == columns_);
  for (int j = 0; j < columns_; ++j) (*this)(i, j) = values(j);
}

void MATRIX::set_column(int j, const VECTOR& values) {
  assert(values.size() == rows_);
  for (int i = 0; i < rows_; ++i) (*this)(i, j) = values(i);
}

// A column-major matrix grows downward only by moving every column.
void MATRIX::append_row(const VECTOR& values) {
  if (rows_ == 0) columns_ = values.size();
  assert(values.size() == columns_);
  MATRIX taller(rows_ + 1, columns_);
  for (int j = 0; j < columns_; ++j) {
    for (int i = 0; i < rows_; ++i) taller(i, j) = (*this)(i, j);
    taller(rows_, j) = values(j);
  }
  *this = std::move(taller);
}

}  // namespace torve
