// How large a problem may be. What is beyond is refused by a message, before it takes memory.
#pragma once

#include <cstddef>

namespace mirsolve {

struct Limits {
  std::size_t text = std::size_t{64} << 20U;  // bytes
  std::size_t brackets = 1000;                // open at once
  std::size_t nodes = 5'000'000;              // of the graph
  std::size_t operands = 10'000'000;          // of all nodes
  std::size_t variables = 200'000;
  std::size_t statements = 1'000'000;
};

}  // namespace mirsolve
