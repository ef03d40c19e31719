#include "model/combinations.h"

#include <algorithm>
#include <limits>

namespace torve {

namespace {

// Marks the first `wanted` screened columns from `from` on.
void mark(ColumnMask screened, std::size_t from, int wanted, std::span<bool> choice) {
  for (std::size_t j = from; j < screened.size() && wanted > 0; ++j) {
    if (!screened[j]) continue;
    choice[j] = true;
    --wanted;
  }
}

}  // namespace

void first_subset(ColumnMask screened, int size, std::span<bool> choice) {
  std::fill(choice.begin(), choice.end(), false);
  mark(screened, 0, size, choice);
}

bool next_subset(ColumnMask screened, std::span<bool> choice) {
  // Chosen columns at the very end can't move on; the last one before a free column can.
  std::size_t p = screened.size();
  int moved = 1;
  while (p > 0 && !(screened[p - 1] && !choice[p - 1])) {
    if (choice[p - 1]) ++moved;
    --p;
  }
  if (p == 0) return false;
  std::size_t q = p - 1;
  while (q > 0 && !choice[q - 1]) --q;
  if (q == 0) return false;
  std::fill(choice.begin() + static_cast<std::ptrdiff_t>(q - 1), choice.end(), false);
  mark(screened, q, moved, choice);
  return true;
}

std::int32_t nextcombos(std::int32_t size, std::int32_t nbas, std::int32_t prev) {
  constexpr std::int32_t most = std::numeric_limits<std::int32_t>::max();
  if (size < 1 || nbas < 1 || prev < 1) return 0;
  const std::int32_t left = nbas - size + 1;
  if (most / prev <= left / size) return most;
  const auto product = static_cast<std::int32_t>(static_cast<std::uint32_t>(left) *
                                                 static_cast<std::uint32_t>(prev));
  return std::max(product / size, 0);
}

std::int32_t most_combos(std::int32_t nbas) {
  std::int32_t combos = 1;
  std::int32_t most = 0;
  for (std::int32_t size = 1; size <= nbas / 2; ++size) {
    combos = nextcombos(size, nbas, combos);
    most = std::max(most, combos);
    if (combos == 0) break;
  }
  return most;
}

}  // namespace torve
