#include "data/sampling.h"

namespace torve {

namespace {

constexpr std::uint64_t multiplier = 65539;
constexpr std::uint64_t modulus = std::uint64_t{1} << 31;
constexpr double scale = 1.0 / static_cast<double>(modulus);

}  // namespace

double randomnumber(std::int32_t& state, std::int32_t seed, bool reset) {
  const std::int32_t from = reset || state == 0 ? seed : state;
  // The modulus is a power of two, so that wrapping of a negative seed gives the same residue.
  const auto wide = static_cast<std::uint64_t>(static_cast<std::int64_t>(from)) * multiplier;
  state = static_cast<std::int32_t>(wide % modulus);
  return state * scale;
}

void samplepoints(RunState& run, int, int, int&, bool) {
  fail(run, Code::simulator_failed, 211);
}

}  // namespace torve
