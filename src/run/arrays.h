#pragma once

#include <array>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "run/matrix_view.h"

namespace torve {

enum class MemoryKind : std::size_t { integer, real, logical, text };
inline constexpr std::size_t memory_kinds = 4;

// What the arrays of the run state hold, by kind, in bytes. A request is charged before memory is
// taken, so that a count like 1e9 in a problem file is refused before it swallows the machine.
class MemoryAccount {
 public:
  // Charges the change from old_bytes to new_bytes; false when a limit stands against it.
  bool charge(MemoryKind kind, std::int64_t old_bytes, std::int64_t new_bytes);
  void release(MemoryKind kind, std::int64_t bytes);
  // Whether so many things of so many bytes each fit beside what is held. For what comes in many
  // small pieces or isn't an array; charges nothing.
  bool has_room(double count, double bytes_each) const;

  double mebibytes(MemoryKind kind) const;
  double peak_mebibytes(MemoryKind kind) const;
  void clear_peaks();
  void clear() { bytes_ = {}; }  // everything was released

  // Most mebibytes of a kind; -1 for no limit.
  std::array<double, memory_kinds> limit{-1.0, -1.0, -1.0, -1.0};
  // The machine's memory in bytes, the limit of all kinds together; 0 for no limit.
  std::int64_t machine_bytes = 0;
  // For tests: the request with this number (from 1) fails; 0 for none.
  std::int64_t fail_at = 0;
  std::int64_t requests = 0;

 private:
  std::array<std::int64_t, memory_kinds> bytes_{};
  std::array<std::int64_t, memory_kinds> peak_{};
};

template <class T>
constexpr MemoryKind memory_kind_of() {
  if constexpr (std::is_same_v<T, bool>) return MemoryKind::logical;
  if constexpr (std::is_floating_point_v<T>) return MemoryKind::real;
  return MemoryKind::integer;
}

// Elements of this type that fit in the largest object; more is refused before it is multiplied.
template <class T>
inline constexpr std::int64_t most_elements = INT64_MAX / 16 / static_cast<std::int64_t>(sizeof(T));

// A zero-filled block that only grows. Pages are touched when they are used, not when they are
// asked for.
template <class T>
class Array {
  static_assert(std::is_trivially_copyable_v<T>);

 public:
  Array() = default;
  Array(const Array&) = delete;
  Array& operator=(const Array&) = delete;
  Array(Array&& other) noexcept { swap(other); }
  Array& operator=(Array&& other) noexcept {
    swap(other);
    return *this;
  }
  ~Array() { std::free(data_); }

  // At least count elements. A present size that is large enough changes nothing; otherwise the old
  // contents are gone and all elements are zero. False when the memory can't be had.
  bool request(MemoryAccount& account, std::int64_t count) { return resize(account, count, false); }
  // The same, but contents are kept; the new elements are zero.
  bool grow(MemoryAccount& account, std::int64_t count) { return resize(account, count, true); }

  void release(MemoryAccount& account) {
    account.release(memory_kind_of<T>(), bytes());
    std::free(data_);
    data_ = nullptr;
    size_ = 0;
  }

  bool exists() const { return data_ != nullptr; }
  std::size_t size() const { return size_; }
  T* data() { return data_; }
  const T* data() const { return data_; }
  T& operator[](std::size_t i) {
    assert(i < size_);
    return data_[i];
  }
  const T& operator[](std::size_t i) const {
    assert(i < size_);
    return data_[i];
  }
  // The first count elements.
  std::span<T> first(std::size_t count) {
    assert(count <= size_);
    return {data_, count};
  }
  std::span<const T> first(std::size_t count) const {
    assert(count <= size_);
    return {data_, count};
  }
  std::span<T> all() { return {data_, size_}; }
  std::span<const T> all() const { return {data_, size_}; }
  void fill(const T& value) {
    for (std::size_t i = 0; i < size_; ++i) data_[i] = value;
  }

 private:
  std::int64_t bytes() const { return static_cast<std::int64_t>(size_ * sizeof(T)); }
  void swap(Array& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
  }
  bool resize(MemoryAccount& account, std::int64_t count, bool keep) {
    if (count < 0 || count > most_elements<T>) return false;
    if (count < 1) count = 1;
    if (static_cast<std::size_t>(count) <= size_) return true;
    const auto wanted = static_cast<std::size_t>(count);
    const std::int64_t old_bytes = bytes();
    const std::int64_t new_bytes = static_cast<std::int64_t>(wanted * sizeof(T));
    if (!account.charge(memory_kind_of<T>(), old_bytes, new_bytes)) return false;
    auto* fresh = static_cast<T*>(std::calloc(wanted, sizeof(T)));
    if (fresh == nullptr) {
      account.release(memory_kind_of<T>(), new_bytes - old_bytes);
      return false;
    }
    if (keep && size_ > 0) std::memcpy(fresh, data_, size_ * sizeof(T));
    std::free(data_);
    data_ = fresh;
    size_ = wanted;
    return true;
  }

  T* data_ = nullptr;
  std::size_t size_ = 0;
};

// rows x columns, column-major, stride = rows in store. Rows grow, columns are fixed at the
// request.
template <class T>
class Table {
 public:
  // A zero-filled table of at least rows x columns.
  bool request(MemoryAccount& account, std::int64_t rows, std::int64_t columns) {
    if (rows < 1) rows = 1;
    if (columns < 1) columns = 1;
    if (rows > most_elements<T> / columns) return false;
    if (rows <= rows_ && columns <= columns_) return true;
    block_.release(account);
    rows_ = columns_ = 0;
    if (!block_.request(account, rows * columns)) return false;
    rows_ = rows;
    columns_ = columns;
    return true;
  }
  // More rows, contents kept; the slots of new rows are zero.
  bool grow_rows(MemoryAccount& account, std::int64_t rows) {
    if (rows <= rows_) return true;
    Table fresh;
    if (!fresh.request(account, rows, columns_)) return false;
    for (std::int64_t j = 0; j < columns_; ++j) {
      const std::size_t from = static_cast<std::size_t>(j * rows_);
      const std::size_t to = static_cast<std::size_t>(j * rows);
      for (std::size_t i = 0; i < static_cast<std::size_t>(rows_); ++i) {
        fresh.block_[to + i] = block_[from + i];
      }
    }
    block_.release(account);
    *this = std::move(fresh);
    return true;
  }
  void release(MemoryAccount& account) {
    block_.release(account);
    rows_ = columns_ = 0;
  }

  bool exists() const { return block_.exists(); }
  int rows() const { return static_cast<int>(rows_); }
  int columns() const { return static_cast<int>(columns_); }
  T& operator()(int i, int j) { return block_[offset(i, j)]; }
  const T& operator()(int i, int j) const { return block_[offset(i, j)]; }
  void fill(const T& value) { block_.fill(value); }
  // The first count rows of column j.
  std::span<T> column(int j, int count) { return {block_.data() + offset(0, j), size(count)}; }
  std::span<const T> column(int j, int count) const {
    return {block_.data() + offset(0, j), size(count)};
  }
  View<const T> view(int rows, int columns) const {
    assert(rows <= rows_ && columns <= columns_);
    return {block_.data(), rows, columns, rows_};
  }
  View<T> view(int rows, int columns) {
    assert(rows <= rows_ && columns <= columns_);
    return {block_.data(), rows, columns, rows_};
  }

 private:
  std::size_t offset(int i, int j) const {
    assert(i >= 0 && i < rows_ && j >= 0 && j < columns_);
    return static_cast<std::size_t>(j * rows_ + i);
  }
  static std::size_t size(int count) { return static_cast<std::size_t>(count); }

  Array<T> block_;
  std::int64_t rows_ = 0;
  std::int64_t columns_ = 0;
};

// count texts; those that exist stay. False when the memory can't be had.
bool request_texts(MemoryAccount& account, std::vector<std::string>& texts, std::int64_t count);

}  // namespace torve
