#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "run/matrix_view.h"

namespace torve {

// Masks eight entries at a time. The walk over subsets looks at a mask several times for each
// subset, and a loop over single entries ends at a place that the processor can't foresee.

static_assert(sizeof(bool) == 1 && std::endian::native == std::endian::little);

// Entries first to first + 7: entry i is bit 8 i.
inline std::uint64_t eight_flags(std::span<const bool> mask, std::size_t first) {
  std::uint64_t flags = 0;
  std::memcpy(&flags, mask.data() + first, sizeof flags);
  return flags;
}

// The number of true entries among eight.
inline int count_flags(std::uint64_t flags) {
  return static_cast<int>((flags * 0x0101010101010101U) >> 56U);
}

// The place behind the last true entry below `end`; 0 when there is none.
inline std::size_t behind_last(std::span<const bool> mask, std::size_t end) {
  for (; end >= 8; end -= 8) {
    const std::uint64_t flags = eight_flags(mask, end - 8);
    if (flags != 0) return end - static_cast<std::size_t>(std::countl_zero(flags)) / 8;
  }
  while (end > 0 && !mask[end - 1]) --end;
  return end;
}

// The same for the last entry that is true in one mask and false in the other.
inline std::size_t behind_last_but(std::span<const bool> mask, std::span<const bool> without) {
  std::size_t end = mask.size();
  for (; end >= 8; end -= 8) {
    const std::uint64_t flags = eight_flags(mask, end - 8) & ~eight_flags(without, end - 8);
    if (flags != 0) return end - static_cast<std::size_t>(std::countl_zero(flags)) / 8;
  }
  while (end > 0 && !(mask[end - 1] && !without[end - 1])) --end;
  return end;
}

// Writes the places of the true entries to `list`, in order; returns how many there are.
inline int list_true(std::span<const bool> mask, int* list) {
  int* to = list;
  std::size_t j = 0;
  const auto take = [&](std::uint64_t flags, std::size_t first) {
    for (; flags != 0; flags &= flags - 1) {
      *to++ = static_cast<int>(first) + std::countr_zero(flags) / 8;
    }
  };
  for (; j + 8 <= mask.size(); j += 8) take(eight_flags(mask, j), j);
  for (; j < mask.size(); ++j) {
    *to = static_cast<int>(j);  // there is room: fewer than j stand in the list
    to += mask[j] ? 1 : 0;
  }
  return static_cast<int>(to - list);
}

}  // namespace torve
