#include "model/combinations.h"

#include <algorithm>
#include <limits>

#include "model/masks.h"

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
  const std::size_t p = behind_last_but(screened, choice);
  if (p == 0) return false;
  const std::size_t q = behind_last(choice, p - 1);
  if (q == 0) return false;
  choice[q - 1] = false;
  const auto end = choice.begin() + static_cast<std::ptrdiff_t>(p);
  const auto closing_up = std::count(end, choice.end(), true);
  if (closing_up > 0) std::fill(end, choice.end(), false);
  mark(screened, q, static_cast<int>(closing_up) + 1, choice);
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
