#include "run/arrays.h"

#include <algorithm>
#include <new>

namespace torve {

namespace {

constexpr double bytes_per_mebibyte = 1048576.0;

std::size_t index(MemoryKind kind) {
  return static_cast<std::size_t>(kind);
}

}  // namespace

bool MemoryAccount::charge(MemoryKind kind, std::int64_t old_bytes, std::int64_t new_bytes) {
  ++requests;
  if (fail_at > 0 && requests == fail_at) return false;
  const std::size_t k = index(kind);
  const std::int64_t change = new_bytes - old_bytes;
  const std::int64_t total = bytes_[0] + bytes_[1] + bytes_[2] + bytes_[3];
  if (machine_bytes > 0 && change > machine_bytes - total) return false;
  const std::int64_t wanted = bytes_[k] + change;
  if (limit[k] >= 0.0 && static_cast<double>(wanted) > limit[k] * bytes_per_mebibyte) return false;
  bytes_[k] = wanted;
  peak_[k] = std::max(peak_[k], wanted);
  return true;
}

bool MemoryAccount::has_room(double count, double bytes_each) const {
  const std::int64_t total = bytes_[0] + bytes_[1] + bytes_[2] + bytes_[3];
  return machine_bytes <= 0 || count * bytes_each <= static_cast<double>(machine_bytes - total);
}

void MemoryAccount::release(MemoryKind kind, std::int64_t bytes) {
  bytes_[index(kind)] -= bytes;
}

double MemoryAccount::mebibytes(MemoryKind kind) const {
  return static_cast<double>(bytes_[index(kind)]) / bytes_per_mebibyte;
}

double MemoryAccount::peak_mebibytes(MemoryKind kind) const {
  return static_cast<double>(peak_[index(kind)]) / bytes_per_mebibyte;
}

void MemoryAccount::clear_peaks() {
  peak_ = bytes_;
}

bool request_texts(MemoryAccount& account, std::vector<std::string>& texts, std::int64_t count) {
  if (count < 0) return false;
  if (static_cast<std::size_t>(count) <= texts.size()) return true;
  const auto size_of = [](std::int64_t n) {
    return n * static_cast<std::int64_t>(sizeof(std::string));
  };
  const auto present = static_cast<std::int64_t>(texts.size());
  if (count > most_elements<std::string>) return false;
  if (!account.charge(MemoryKind::text, size_of(present), size_of(count))) return false;
  try {
    texts.resize(static_cast<std::size_t>(count));
  } catch (const std::bad_alloc&) {
    account.release(MemoryKind::text, size_of(count) - size_of(present));
    return false;
  }
  return true;
}

}  // namespace torve
