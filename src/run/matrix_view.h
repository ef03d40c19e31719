#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>

namespace torve {

// A dense matrix that somebody else owns: rows x columns, column-major, stride elements from one
// column to the next. Indices count from 0 and are asserted in debug builds.
template <class T>
struct View {
  T* data = nullptr;
  int rows = 0;
  int columns = 0;
  std::int64_t stride = 0;

  T& operator()(int i, int j) const {
    assert(i >= 0 && i < rows && j >= 0 && j < columns);
    return data[j * stride + i];
  }
  T* column_data(int j) const {
    assert(j >= 0 && j < columns);
    return data + j * stride;
  }
  std::span<T> column(int j) const { return {column_data(j), static_cast<std::size_t>(rows)}; }
  operator View<const T>() const requires(!std::is_const_v<T>) {
    return {data, rows, columns, stride};
  }
};

using MatrixView = View<const double>;
using MutableMatrixView = View<double>;
// A count or index of the run state as an index of the standard library.
constexpr std::size_t at(int i) {
  return static_cast<std::size_t>(i);
}

// True where a row or a column takes part.
using RowMask = std::span<const bool>;
using ColumnMask = std::span<const bool>;

}  // namespace torve
