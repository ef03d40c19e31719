#pragma once

#include <cstdint>
#include <random>

namespace torve {

// Random numbers whose whole state is one integer, kept in the state file: the multiplicative
// congruential generator s := 48271 s mod 2147483647, integers from 1 to 2147483646.
class Random {
 public:
  static constexpr std::uint32_t range = 2147483647;

  explicit Random(std::uint32_t state) : engine_(valid(state)), state_(valid(state)) {}

  // In [0, 1).
  double uniform() {
    state_ = static_cast<std::uint32_t>(engine_());
    return (state_ - 1) / (range - 1.0);
  }
  double uniform(double low, double high) { return low + uniform() * (high - low); }
  // From this state a new generator goes on as this one would.
  std::uint32_t state() const { return state_; }

 private:
  static_assert(std::minstd_rand::modulus == range);

  // 0 and multiples of the modulus would give the same number for ever.
  static std::uint32_t valid(std::uint32_t state) { return state % range == 0 ? 1 : state % range; }

  std::minstd_rand engine_;
  std::uint32_t state_;
};

}  // namespace torve
