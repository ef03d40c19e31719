#pragma once

#include <cstdint>

namespace torve::test {

// Numbers that are the same with every standard library.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15U + 1) {}

  // In [low, high).
  double real(double low, double high) {
    return low + (high - low) * (static_cast<double>(next() >> 11U) * 0x1p-53);
  }
  // low to high, both included.
  int whole(int low, int high) {
    return low + static_cast<int>(next() % static_cast<std::uint64_t>(high - low + 1));
  }
  bool chance(double probability) { return real(0.0, 1.0) < probability; }
  // About standard normal.
  double normal() {
    double sum = -6.0;
    for (int i = 0; i < 12; ++i) sum += real(0.0, 1.0);
    return sum;
  }

 private:
  // SplitMix64 (Steele, Lea and Flood, OOPSLA 2014, 453).
  std::uint64_t next() {
    state_ += 0x9E3779B97F4A7C15U;
    std::uint64_t z = state_;
    z = (z ^ (z >> 30U)) * 0xBF58476D1CE4E5B9U;
    z = (z ^ (z >> 27U)) * 0x94D049BB133111EBU;
    return z ^ (z >> 31U);
  }

  std::uint64_t state_;
};

}  // namespace torve::test
